#include "pixel/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

#if defined(__x86_64__) || defined(__i386__)
// The wide registers are usable only when the operating system saves them on a context switch:
// XCR0 must have the SSE (bit 1) and AVX (bit 2) state enabled. Without OSXSAVE the register
// cannot even be read.
bool os_saves_avx_state(unsigned int leaf1_ecx) {
    if ((leaf1_ecx & bit_OSXSAVE) == 0) return false;
    unsigned int xcr0_low = 0, xcr0_high = 0;
    __asm__ volatile("xgetbv" : "=a"(xcr0_low), "=d"(xcr0_high) : "c"(0));
    return (xcr0_low & 0x6u) == 0x6u;
}
#endif

cpu_flags_t read_cpu_flags() {
    cpu_flags_t flags;
#if defined(__x86_64__) || defined(__i386__)
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
        flags.m_ssse3 = (ecx & bit_SSSE3) != 0;
        flags.m_sse41 = (ecx & bit_SSE4_1) != 0;
        const bool avx_usable = (ecx & bit_AVX) != 0 && os_saves_avx_state(ecx);
        unsigned int eax7 = 0, ebx7 = 0, ecx7 = 0, edx7 = 0;
        if (avx_usable && __get_cpuid_count(7, 0, &eax7, &ebx7, &ecx7, &edx7)) flags.m_avx2 = (ebx7 & bit_AVX2) != 0;
    }
#endif
    return flags;
}

const cpu_flags_t g_flags_at_load = read_cpu_flags();

}  // namespace

const cpu_flags_t& cpu_flags_at_load() {
    return g_flags_at_load;
}

bool g_cpu_has_ssse3 = g_flags_at_load.m_ssse3;
bool g_cpu_has_sse41 = g_flags_at_load.m_sse41;
bool g_cpu_has_avx2 = g_flags_at_load.m_avx2;

}  // namespace Drivers::Mac::ZAV::VirtualCamera

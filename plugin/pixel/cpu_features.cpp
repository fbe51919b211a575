#include "pixel/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

cpu_flags_t read_cpu_flags() {
    cpu_flags_t flags;
#if defined(__x86_64__) || defined(__i386__)
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
        flags.m_ssse3 = (ecx & bit_SSSE3) != 0;
        flags.m_sse41 = (ecx & bit_SSE4_1) != 0;
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

}  // namespace Drivers::Mac::ZAV::VirtualCamera

// Processor features recorded once per process.
#pragma once

namespace Drivers::Mac::ZAV::VirtualCamera {

// What the processor (and, for AVX2, the operating system's saving of the wide registers)
// offers; all false on processors that are not x86.
struct cpu_flags_t {
    bool m_ssse3 = false;
    bool m_sse41 = false;
    bool m_avx2 = false;
};

// Read by a static initialiser when the library is loaded. The kernels are built for SSSE3; the
// selection points of their row sets read these flags for wider variants. SSE4.1 has no variant
// of its own and is recorded for the process's logs.
const cpu_flags_t& cpu_flags_at_load();

extern bool g_cpu_has_ssse3;
extern bool g_cpu_has_sse41;
extern bool g_cpu_has_avx2;

}  // namespace Drivers::Mac::ZAV::VirtualCamera

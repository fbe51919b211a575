// Processor features recorded once per process.
#pragma once

namespace Drivers::Mac::ZAV::VirtualCamera {

// What the processor offers; all false on processors that are not x86.
struct cpu_flags_t {
    bool m_ssse3 = false;
    bool m_sse41 = false;
};

// Read by a static initialiser when the library is loaded. The kernels are built for SSSE3 and
// choose their variants only by the alignment of their data; the flags record what the processor
// offers beside that baseline (SSE4.1 has no variant of its own).
const cpu_flags_t& cpu_flags_at_load();

extern bool g_cpu_has_ssse3;
extern bool g_cpu_has_sse41;

}  // namespace Drivers::Mac::ZAV::VirtualCamera

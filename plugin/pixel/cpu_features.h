// Processor features recorded once per process.
#pragma once

namespace Drivers::Mac::ZAV::VirtualCamera {

// Set by a static initialiser when the library is loaded; false on processors that are not
// x86. The kernels are built for SSSE3 and do not branch on these: they tell the rest of the
// process (and its logs) what the processor offers.
extern bool g_cpu_has_ssse3;
extern bool g_cpu_has_sse41;

}  // namespace Drivers::Mac::ZAV::VirtualCamera

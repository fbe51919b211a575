// The arithmetic bound of BGRA to UYVY at the SSSE3 baseline (see the header).
#include "bgra_to_uyvy_arithmetic_bound.h"

namespace {

void bgra_to_uyvy_arithmetic_bound(benchmark::State& state) {
    using namespace Drivers::Mac::ZAV::VirtualCamera;
    bound::run<vec4_t>(state);
}

}  // namespace

BENCHMARK(bgra_to_uyvy_arithmetic_bound)->Name("bgra_to_uyvy_1080p/arithmetic_bound")->Unit(benchmark::kMillisecond);

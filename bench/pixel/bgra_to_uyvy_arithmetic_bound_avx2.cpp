// The arithmetic bound of BGRA to UYVY on AVX2 (see the header); registered only where this
// file is built for AVX2 and the processor has it.
#include "bgra_to_uyvy_arithmetic_bound.h"
#include "pixel/cpu_features.h"

#if defined(__AVX2__) && ZAV_PIXEL_NATIVE_X86

namespace {

void bgra_to_uyvy_arithmetic_bound_avx2(benchmark::State& state) {
    using namespace Drivers::Mac::ZAV::VirtualCamera;
    if (!cpu_flags_at_load().m_avx2) {
        state.SkipWithError("no AVX2 on this processor");
        return;
    }
    bound::run<vec8_t>(state);
}

}  // namespace

BENCHMARK(bgra_to_uyvy_arithmetic_bound_avx2)
    ->Name("bgra_to_uyvy_1080p/avx2_arithmetic_bound")
    ->Unit(benchmark::kMillisecond);

#endif

#include "pixel/convert_bgra_to_uyvy_alpha.h"

#include <memory>

#include "pixel/bgra_to_uyvy_passes.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

void convert_bgra_to_uyvy_alpha(const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                                uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix) {
    // One allocation per call, deliberately not cleared: every slot that reaches an output byte
    // of an even-width image is converted before it is read.
    const std::unique_ptr<float[]> scratch(new float[bgra_to_uyvy_scratch_floats(width, height)]);
    bgra_to_uyvy_run_passes(scratch.get(), src, src_stride, dst, dst_stride, alpha, alpha_stride, width, height, matrix,
                            select_bgra_to_uyvy_rows(cpu_flags_at_load()));
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

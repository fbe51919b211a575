// The two passes of the BGRA to UYVY converter over a scratch image that the caller provides,
// with the row functions of one set.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/bgra_to_uyvy_rows.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

// Number of floats of the scratch for an image: (height + 1) * (width + 3) slots of three
// floats. The slot count is formed in wrapping signed 32-bit arithmetic; a negative count or a
// byte size that does not fit throws std::bad_alloc, as an allocation of the largest size would.
size_t bgra_to_uyvy_scratch_floats(int32_t width, int32_t height);

// Runs both passes; `scratch` holds bgra_to_uyvy_scratch_floats(width, height) floats. With a
// matrix other than 601 or 709 the colour pass is skipped and the packing pass runs over
// whatever the scratch holds. Every row set gives the bytes of the reference set.
void bgra_to_uyvy_run_passes(float* scratch, const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                             uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix,
                             const bgra_to_uyvy_rows_t& rows);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

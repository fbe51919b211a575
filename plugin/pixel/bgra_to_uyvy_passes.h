// The two passes of the BGRA to UYVY converter run over a scratch image that the caller
// provides, in one of two schedules that give the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

enum class bgra_to_uyvy_schedule_t {
    // The defining order: the whole colour-matrix pass with the reference row function, then
    // the packing pass row by row with the reference row function.
    reference,
    // The production schedule: the vector colour row, converted only just ahead of the packing
    // pass so that the scratch rows are still in cache, and the packing pass with several rows
    // in flight in the lanes of vectors.
    // Unless the alpha plane overlaps the source, the packing kernel converts the pixels itself
    // as it loads them, and the scratch carries only guard slots and the rows between bands.
    fast,
};

// Number of floats of the scratch for an image: (height + 1) * (width + 3) slots of three
// floats. The slot count is formed in wrapping signed 32-bit arithmetic; a negative count or a
// byte size that does not fit throws std::bad_alloc, as an allocation of the largest size would.
size_t bgra_to_uyvy_scratch_floats(int32_t width, int32_t height);

// Runs both passes; `scratch` holds bgra_to_uyvy_scratch_floats(width, height) floats. With a
// matrix other than 601 or 709 the colour pass is skipped and the packing pass runs over
// whatever the scratch holds.
void bgra_to_uyvy_run_passes(float* scratch, const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                             uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix,
                             bgra_to_uyvy_schedule_t schedule);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

// Packing pass of the BGRA to UYVY converter: pair-averaged chroma and luma quantised to
// bytes with Floyd-Steinberg error diffusion over the float scratch.
//
// Scratch rows are `row_floats` = 3 * (width + 3) floats apart and addressed as one flat
// array: slot 0 is column -1, slots 1..width the image, width+1 and width+2 right guards, so
// slot -1 of a row is the last guard slot of the row above. Every row handed over must have a
// row below it (the last image row's is the guard row).
#pragma once

#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

// The shares of a quantisation error: to the right, below left, below and below right. Each
// target becomes (error * share) + target.
constexpr float k_share_right = 0.4375f;        // 7/16
constexpr float k_share_below_left = 0.1875f;   // 3/16
constexpr float k_share_below = 0.3125f;        // 5/16
constexpr float k_share_below_right = 0.0625f;  // 1/16

// Reference: one row, pairs left to right, within a pair Cb, Cr, Y0, Y1. `row` points at slot 0
// of the row; `dst` receives ceil(width / 2) * 4 bytes.
void dither_uyvy_row_c(float* row, int32_t width, uint8_t* dst);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

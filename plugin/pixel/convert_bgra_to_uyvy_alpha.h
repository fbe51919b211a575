// BGRA to UYVY 4:2:2 with a separate alpha plane.
#pragma once

#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

// Converts a packed BGRA image (bytes blue, green, red, alpha) into UYVY (per pixel pair Cb, Y0,
// Cr, Y1, studio range) with the 601 or 709 matrix in single precision, averaging chroma over
// each pair and quantising every component with Floyd-Steinberg error diffusion; the source
// alpha bytes are copied into `alpha`. Each destination row receives ceil(width / 2) * 4 bytes,
// so with an odd width it needs room for width + 1 pixels; the last pair's second pixel is
// then made of nothing but diffused error on an uncleared scratch and its bytes (and the error
// it passes down) are unspecified. Nothing is written when width or height is below 1. Throws
// std::bad_alloc, with nothing written, when the float scratch cannot be allocated.
void convert_bgra_to_uyvy_alpha(const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                                uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

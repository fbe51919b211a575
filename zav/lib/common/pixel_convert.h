// The few pixel conversions the library and its sender need. They are done with libyuv where the
// build has it (always on Linux; Homebrew's on macOS), else with the plain loops of
// pixel_convert.cpp, so that a macOS build without libyuv still has them. YCbCr is BT.709 studio
// range throughout; 32-bit output is B, G, R, A in memory with alpha 255.
#ifndef ZAV_LIB_COMMON_PIXEL_CONVERT_H
#define ZAV_LIB_COMMON_PIXEL_CONVERT_H

#include <cstdint>

namespace Drivers::Mac::ZAV {

void uyvy_to_bgrx_709(const uint8_t* p_src, int src_stride, uint8_t* p_dst, int dst_stride, int width, int height);
// 32-bit R, G, B, A to B, G, R, A.
void rgba_to_bgra(const uint8_t* p_src, int src_stride, uint8_t* p_dst, int dst_stride, int width, int height);
// 24-bit R, G, B (rgb_order) or B, G, R to B, G, R, A.
void rgb24_to_bgra(const uint8_t* p_src, int src_stride, bool rgb_order, uint8_t* p_dst, int dst_stride, int width,
                   int height);

// Planar 8-bit YCbCr with chroma halved across (and, when chroma_rows_halved, down) to UYVY or to
// 32-bit BGRA. Widths are even.
struct planar_picture_t {
    const uint8_t* p_y;
    const uint8_t* p_u;
    const uint8_t* p_v;
    int width, height;
    bool chroma_rows_halved;
};
void planar_to_uyvy(const planar_picture_t& src, uint8_t* p_dst, int dst_stride);
void planar_to_bgra_709(const planar_picture_t& src, uint8_t* p_dst, int dst_stride);

}  // namespace Drivers::Mac::ZAV

#endif

#include "common/pixel_convert.h"

#include <memory>

#if ZAV_HAVE_LIBYUV
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>
#endif

namespace Drivers::Mac::ZAV {

namespace {

#if !ZAV_HAVE_LIBYUV
uint8_t clamp_byte(int v) {
    return uint8_t(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// BT.709 studio range to full-range B, G, R in 16.16 fixed point.
void ycbcr_to_bgr(int y, int cb, int cr, uint8_t* p_out) {
    const int l = (y - 16) * 76309;  // 255/219
    const int u = cb - 128, v = cr - 128;
    p_out[0] = clamp_byte((l + 138438 * u + 32768) >> 16);             // 2.1124 * 255/224
    p_out[1] = clamp_byte((l - 13974 * u - 34923 * v + 32768) >> 16);  // 0.2132, 0.5329 * 255/224
    p_out[2] = clamp_byte((l + 117489 * v + 32768) >> 16);             // 1.7927 * 255/224
    p_out[3] = 255;
}
#endif

}  // namespace

void uyvy_to_bgrx_709(const uint8_t* p_src, int src_stride, uint8_t* p_dst, int dst_stride, int width, int height) {
#if ZAV_HAVE_LIBYUV
    // Through planar rows: libyuv's packed 4:2:2 readers know only the BT.601 matrix.
    const int chroma_w = (width + 1) / 2;
    std::unique_ptr<uint8_t[]> rows(new uint8_t[std::size_t(width + 2 * chroma_w)]);
    uint8_t* y = rows.get();
    uint8_t* u = y + width;
    uint8_t* v = u + chroma_w;
    for (int row = 0; row < height; ++row) {
        libyuv::UYVYToI422(p_src + std::ptrdiff_t(row) * src_stride, src_stride, y, width, u, chroma_w, v, chroma_w,
                           width, 1);
        libyuv::I422ToARGBMatrix(y, width, u, chroma_w, v, chroma_w, p_dst + std::ptrdiff_t(row) * dst_stride,
                                 dst_stride, &libyuv::kYuvH709Constants, width, 1);
    }
#else
    for (int row = 0; row < height; ++row) {
        const uint8_t* s = p_src + std::ptrdiff_t(row) * src_stride;
        uint8_t* d = p_dst + std::ptrdiff_t(row) * dst_stride;
        for (int x = 0; x < width; ++x)
            ycbcr_to_bgr(s[(x / 2) * 4 + 1 + 2 * (x % 2)], s[(x / 2) * 4], s[(x / 2) * 4 + 2], d + 4 * x);
    }
#endif
}

void rgba_to_bgra(const uint8_t* p_src, int src_stride, uint8_t* p_dst, int dst_stride, int width, int height) {
#if ZAV_HAVE_LIBYUV
    libyuv::ABGRToARGB(p_src, src_stride, p_dst, dst_stride, width, height);
#else
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x) {
            const uint8_t* s = p_src + std::ptrdiff_t(row) * src_stride + 4 * x;
            uint8_t* d = p_dst + std::ptrdiff_t(row) * dst_stride + 4 * x;
            d[0] = s[2], d[1] = s[1], d[2] = s[0], d[3] = s[3];
        }
#endif
}

void rgb24_to_bgra(const uint8_t* p_src, int src_stride, bool rgb_order, uint8_t* p_dst, int dst_stride, int width,
                   int height) {
#if ZAV_HAVE_LIBYUV
    if (rgb_order)
        libyuv::RAWToARGB(p_src, src_stride, p_dst, dst_stride, width, height);
    else
        libyuv::RGB24ToARGB(p_src, src_stride, p_dst, dst_stride, width, height);
#else
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x) {
            const uint8_t* s = p_src + std::ptrdiff_t(row) * src_stride + 3 * x;
            uint8_t* d = p_dst + std::ptrdiff_t(row) * dst_stride + 4 * x;
            d[0] = rgb_order ? s[2] : s[0], d[1] = s[1], d[2] = rgb_order ? s[0] : s[2], d[3] = 255;
        }
#endif
}

void planar_to_uyvy(const planar_picture_t& src, uint8_t* p_dst, int dst_stride) {
    const int cw = src.width / 2;
#if ZAV_HAVE_LIBYUV
    if (src.chroma_rows_halved)
        libyuv::I420ToUYVY(src.p_y, src.width, src.p_u, cw, src.p_v, cw, p_dst, dst_stride, src.width, src.height);
    else
        libyuv::I422ToUYVY(src.p_y, src.width, src.p_u, cw, src.p_v, cw, p_dst, dst_stride, src.width, src.height);
#else
    for (int row = 0; row < src.height; ++row) {
        const int crow = src.chroma_rows_halved ? row / 2 : row;
        uint8_t* d = p_dst + std::ptrdiff_t(row) * dst_stride;
        for (int pair = 0; pair < cw; ++pair) {
            d[4 * pair] = src.p_u[crow * cw + pair];
            d[4 * pair + 1] = src.p_y[row * src.width + 2 * pair];
            d[4 * pair + 2] = src.p_v[crow * cw + pair];
            d[4 * pair + 3] = src.p_y[row * src.width + 2 * pair + 1];
        }
    }
#endif
}

void planar_to_bgra_709(const planar_picture_t& src, uint8_t* p_dst, int dst_stride) {
    const int cw = src.width / 2;
#if ZAV_HAVE_LIBYUV
    if (src.chroma_rows_halved)
        libyuv::I420ToARGBMatrix(src.p_y, src.width, src.p_u, cw, src.p_v, cw, p_dst, dst_stride,
                                 &libyuv::kYuvH709Constants, src.width, src.height);
    else
        libyuv::I422ToARGBMatrix(src.p_y, src.width, src.p_u, cw, src.p_v, cw, p_dst, dst_stride,
                                 &libyuv::kYuvH709Constants, src.width, src.height);
#else
    for (int row = 0; row < src.height; ++row) {
        const int crow = src.chroma_rows_halved ? row / 2 : row;
        uint8_t* d = p_dst + std::ptrdiff_t(row) * dst_stride;
        for (int x = 0; x < src.width; ++x)
            ycbcr_to_bgr(src.p_y[row * src.width + x], src.p_u[crow * cw + x / 2], src.p_v[crow * cw + x / 2],
                         d + 4 * x);
    }
#endif
}

}  // namespace Drivers::Mac::ZAV

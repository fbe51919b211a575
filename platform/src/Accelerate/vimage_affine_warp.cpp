// vImageAffineWarp_ARGB8888 through libyuv. The transform maps source coordinates to
// destination coordinates (origin at the top-left corner, y down, pixel i covering [i, i+1)).
// Each destination pixel takes the source pixel under the inverse image of its centre.
//
// - A scale with positive factors (no rotation or shear) and background fill draws the
//   scaled source into its destination rectangle with libyuv's bilinear scaler and fills the
//   rest with the background colour.
// - Any other transform samples the nearest source pixel: runs of destination pixels whose
//   source lies safely inside the image go through libyuv's affine row copier, in short
//   chunks so that its single-precision stepping cannot drift; the pixels near the image's
//   edges and outside it are done one by one (background colour or nearest edge pixel).
#include <Accelerate/Geometry.h>

#include "vimage_checks.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

using namespace zav_platform;

namespace {

// Source pixels within this distance of the image's border are not left to libyuv's row
// copier, which truncates without bounds checks.
constexpr double k_edge_margin = 0.5;
constexpr int k_chunk = 16;

struct inverse_t {
    // u = m_u0 + m_ux * X + m_uy * Y, v likewise, for destination point (X, Y).
    double m_u0, m_ux, m_uy, m_v0, m_vx, m_vy;
};

bool invert(const vImage_AffineTransform& t, inverse_t* inverse) {
    const double a = t.a, b = t.b, c = t.c, d = t.d;
    const double det = a * d - b * c;
    if (!std::isfinite(det) || std::fabs(det) < 1e-12) return false;
    // X = a u + c v + tx, Y = b u + d v + ty.
    inverse->m_ux = d / det;
    inverse->m_uy = -c / det;
    inverse->m_vx = -b / det;
    inverse->m_vy = a / det;
    inverse->m_u0 = -(inverse->m_ux * t.tx + inverse->m_uy * t.ty);
    inverse->m_v0 = -(inverse->m_vx * t.tx + inverse->m_vy * t.ty);
    return true;
}

void fill_row(uint8_t* row, std::size_t count, const uint8_t pixel[4]) {
    for (std::size_t i = 0; i < count; ++i) std::memcpy(row + i * 4, pixel, 4);
}

void fill_all(const vImage_Buffer& dest, const uint8_t pixel[4]) {
    for (std::size_t y = 0; y < dest.height; ++y)
        fill_row(static_cast<uint8_t*>(dest.data) + y * dest.rowBytes, dest.width, pixel);
}

// Destination span [begin, end) covered by the source along one axis: pixel centres p + 0.5
// with origin <= p + 0.5 < origin + extent.
void covered_span(double origin, double extent, std::size_t limit, long* begin, long* end) {
    const double first = std::ceil(origin - 0.5);
    const double last = std::ceil(origin + extent - 0.5);
    *begin = static_cast<long>(std::clamp(first, 0.0, static_cast<double>(limit)));
    *end = static_cast<long>(std::clamp(last, 0.0, static_cast<double>(limit)));
}

vImage_Error scale_into_rectangle(const vImage_Buffer& src, const vImage_Buffer& dest, const vImage_AffineTransform& t,
                                  const uint8_t background[4]) {
    const double width = static_cast<double>(t.a) * static_cast<double>(src.width);
    const double height = static_cast<double>(t.d) * static_cast<double>(src.height);
    long x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    covered_span(t.tx, width, dest.width, &x0, &x1);
    covered_span(t.ty, height, dest.height, &y0, &y1);
    // The rectangle as libyuv sees it starts at the first covered pixel; clipping happens
    // only on the right and bottom, so a rectangle reaching past the left or top edge is
    // left to the general path by the caller.
    const double rect_width = std::ceil(t.tx + width - 0.5) - std::ceil(t.tx - 0.5);
    const double rect_height = std::ceil(t.ty + height - 0.5) - std::ceil(t.ty - 0.5);
    auto* out = static_cast<uint8_t*>(dest.data);
    for (long y = 0; y < static_cast<long>(dest.height); ++y) {
        uint8_t* row = out + static_cast<std::size_t>(y) * dest.rowBytes;
        if (y < y0 || y >= y1) {
            fill_row(row, dest.width, background);
            continue;
        }
        fill_row(row, static_cast<std::size_t>(x0), background);
        fill_row(row + x1 * 4, dest.width - static_cast<std::size_t>(x1), background);
    }
    if (x1 <= x0 || y1 <= y0 || rect_width < 1 || rect_height < 1 || rect_width > INT32_MAX / 4 ||
        rect_height > INT32_MAX)
        return kvImageNoError;
    const int result = libyuv::ARGBScaleClip(
        static_cast<const uint8_t*>(src.data), static_cast<int>(src.rowBytes), static_cast<int>(src.width),
        static_cast<int>(src.height), out + static_cast<std::size_t>(y0) * dest.rowBytes + x0 * 4,
        static_cast<int>(dest.rowBytes), static_cast<int>(rect_width), static_cast<int>(rect_height), 0, 0,
        static_cast<int>(x1 - x0), static_cast<int>(y1 - y0), libyuv::kFilterBilinear);
    return result == 0 ? kvImageNoError : kvImageInternalError;
}

void warp_nearest(const vImage_Buffer& src, const vImage_Buffer& dest, const inverse_t& m, bool edge_extend,
                  const uint8_t background[4]) {
    const auto* in = static_cast<const uint8_t*>(src.data);
    auto* out = static_cast<uint8_t*>(dest.data);
    const double sw = static_cast<double>(src.width);
    const double sh = static_cast<double>(src.height);
    auto source_at = [&](double u, double v) {
        const long sx = std::clamp(static_cast<long>(std::floor(u)), 0L, static_cast<long>(src.width) - 1);
        const long sy = std::clamp(static_cast<long>(std::floor(v)), 0L, static_cast<long>(src.height) - 1);
        return in + static_cast<std::size_t>(sy) * src.rowBytes + static_cast<std::size_t>(sx) * 4;
    };
    for (std::size_t y = 0; y < dest.height; ++y) {
        uint8_t* row = out + y * dest.rowBytes;
        const double Y = static_cast<double>(y) + 0.5;
        std::size_t x = 0;
        while (x < dest.width) {
            const double X = static_cast<double>(x) + 0.5;
            const double u = m.m_u0 + m.m_ux * X + m.m_uy * Y;
            const double v = m.m_v0 + m.m_vx * X + m.m_vy * Y;
            const bool safe =
                u >= k_edge_margin && u < sw - k_edge_margin && v >= k_edge_margin && v < sh - k_edge_margin;
            if (!safe) {
                const bool inside = u >= 0 && u < sw && v >= 0 && v < sh;
                if (inside || edge_extend) {
                    std::memcpy(row + x * 4, source_at(u, v), 4);
                } else {
                    std::memcpy(row + x * 4, background, 4);
                }
                ++x;
                continue;
            }
            // A run of safe pixels, at most one chunk long, for libyuv's row copier.
            std::size_t run = 1;
            while (run < static_cast<std::size_t>(k_chunk) && x + run < dest.width) {
                const double Xn = static_cast<double>(x + run) + 0.5;
                const double un = m.m_u0 + m.m_ux * Xn + m.m_uy * Y;
                const double vn = m.m_v0 + m.m_vx * Xn + m.m_vy * Y;
                if (!(un >= k_edge_margin && un < sw - k_edge_margin && vn >= k_edge_margin && vn < sh - k_edge_margin))
                    break;
                ++run;
            }
            const float uv_dudv[4] = {static_cast<float>(u), static_cast<float>(v), static_cast<float>(m.m_ux),
                                      static_cast<float>(m.m_vx)};
            libyuv::ARGBAffineRow_C(in, static_cast<int>(src.rowBytes), row + x * 4, uv_dudv, static_cast<int>(run));
            x += run;
        }
    }
}

}  // namespace

vImage_Error vImageAffineWarp_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest, void*,
                                       const vImage_AffineTransform* transform, const Pixel_8888 backColor,
                                       vImage_Flags flags) {
    if ((flags & ~k_known_flags) != 0) return kvImageUnknownFlagsBit;
    const bool size_only = (flags & kvImageGetTempBufferSize) != 0;
    if (const vImage_Error error = check_argb8888(src, !size_only)) return error;
    if (const vImage_Error error = check_argb8888(dest, !size_only)) return error;
    if (transform == nullptr) return kvImageNullPointerArgument;
    if (size_only) return temp_buffer_size(*src, *dest);
    const bool fill = (flags & kvImageBackgroundColorFill) != 0;
    const bool extend = (flags & kvImageEdgeExtend) != 0;
    // Exactly one edge style.
    if (fill == extend) return kvImageInvalidEdgeStyle;
    if (fill && backColor == nullptr) return kvImageNullPointerArgument;
    if (src->data == dest->data) return kvImageOutOfPlaceOperationRequired;
    const uint8_t transparent[4] = {0, 0, 0, 0};
    const uint8_t* background = fill ? backColor : transparent;

    const vImage_AffineTransform& t = *transform;
    if (!std::isfinite(t.a) || !std::isfinite(t.b) || !std::isfinite(t.c) || !std::isfinite(t.d) ||
        !std::isfinite(t.tx) || !std::isfinite(t.ty))
        return kvImageInvalidParameter;
    inverse_t inverse{};
    if (!invert(t, &inverse)) {
        // A transform that squashes the image to a line or a point draws nothing.
        if (fill) fill_all(*dest, background);
        return kvImageNoError;
    }
    if (fill && t.b == 0 && t.c == 0 && t.a > 0 && t.d > 0 && std::ceil(t.tx - 0.5) >= 0 && std::ceil(t.ty - 0.5) >= 0)
        return scale_into_rectangle(*src, *dest, t, background);
    warp_nearest(*src, *dest, inverse, extend, background);
    return kvImageNoError;
}

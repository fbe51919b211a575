// An independent, deliberately plain model of the UYVY resampler, written from the rules of
// the scaler (mapping, positions, phases, clamps, truncating blends) one sample at a time,
// for comparison with the library. Images are packed: 2 * width bytes per row.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "guarded_image.h"

namespace zav_resample_test {

struct packed_t {
    uint32_t m_width, m_height;
    std::vector<uint8_t> m_bytes;

    packed_t(uint32_t w, uint32_t h) : m_width(w), m_height(h), m_bytes(size_t{w} * h * 2, 0) {}
    // The rows of a guarded picture.
    explicit packed_t(const zav_test::uyvy_image_t& img)
        : m_width(img.width()), m_height(uint32_t(img.rows())), m_bytes(img.rows_bytes()) {}
    uint8_t* row(uint32_t y) { return m_bytes.data() + size_t{y} * 2 * m_width; }
    const uint8_t* row(uint32_t y) const { return m_bytes.data() + size_t{y} * 2 * m_width; }
};

// Aligned pictures: 16-byte start, row bytes a multiple of 16 (a spare group on odd salts);
// unaligned ones: odd start and odd row padding.
inline zav_test::uyvy_image_t make_image(uint32_t w, uint32_t h, bool aligned, uint32_t salt) {
    if (aligned) return zav_test::uyvy_image_t(w, h, (2 * w + 15) / 16 * 16 + 16 * (salt % 2), 0);
    return zav_test::uyvy_image_t(w, h, 2 * w + 1 + 2 * (salt % 3), 3 + 2 * (salt % 4));
}

// Every row byte of a picture equals the model's; the first difference is reported by place.
inline void expect_rows_equal(const zav_test::uyvy_image_t& img, const packed_t& want) {
    const std::vector<uint8_t> got = img.rows_bytes();
    const size_t i =
        size_t(std::mismatch(got.begin(), got.end(), want.m_bytes.begin(), want.m_bytes.end()).first - got.begin());
    EXPECT_TRUE(got == want.m_bytes) << "first difference in row " << i / (2 * want.m_width) << " at byte "
                                     << i % (2 * want.m_width);
}

namespace model {

using row_t = std::vector<uint8_t>;

inline int luma(const row_t& row, int64_t i) {
    return i < 0 || 2 * i + 1 >= int64_t(row.size()) ? 0 : row[2 * i + 1];
}
// Chroma sample c (0 Cb, 1 Cr) of pixel pair p; 0 outside the row (only ever weighted by 0).
inline int chroma(const row_t& row, int64_t p, int c) {
    return p < 0 || 4 * p + 2 * c >= int64_t(row.size()) ? 0 : row[4 * p + 2 * c];
}
inline int lerp6(int a, int b, int f) {
    return (a * (64 - f) + b * f) >> 6;
}
inline int avg(int a, int b) {
    return (a + b + 1) >> 1;
}

inline float default_offset(uint32_t s, uint32_t d) {
    return (float(s) - float(d)) * 0.5f / float(d);
}
inline bool remapped(float scale, float offset, uint32_t s, uint32_t d) {
    return !(std::fabs(offset - default_offset(s, d)) < 0.1f && std::fabs(float(d) * scale - float(s)) < 0.1f);
}

inline row_t source_row(const packed_t& src, int64_t y) {
    const uint8_t* r = src.row(uint32_t(std::clamp<int64_t>(y, 0, src.m_height - 1)));
    return row_t(r, r + 2 * src.m_width);
}

inline void halve(const packed_t& src, packed_t& dst) {
    for (uint32_t y = 0; y < dst.m_height; ++y) {
        const row_t s = source_row(src, 2 * y), t = source_row(src, 2 * y + 1);
        uint8_t* out = dst.row(y);
        for (uint32_t k = 0; k < dst.m_width; ++k)
            out[2 * k + 1] =
                uint8_t(avg(avg(luma(s, 2 * k), luma(t, 2 * k)), avg(luma(s, 2 * k + 1), luma(t, 2 * k + 1))));
        for (uint32_t m = 0; 2 * m < dst.m_width; ++m)
            for (int c = 0; c < 2; ++c)
                out[4 * m + 2 * c] = uint8_t(avg(avg(chroma(s, 2 * m, c), chroma(t, 2 * m, c)),
                                                 avg(chroma(s, 2 * m + 1, c), chroma(t, 2 * m + 1, c))));
    }
}

// The 3-to-2 filter: per axis, output 2b from inputs 3b - 1 .. 3b + 2 and output 2b + 1
// from 3b .. 3b + 3 (clamped to the picture), weights out of 128 from a Lanczos-3 kernel
// stretched by 1.5 at the output's position (luma and rows 0.25 / 1.75 into the triple,
// chroma 0.125 / 1.625 on its own grid); vertical first, each pass rounded to a byte.
inline int tap4(const int (&w)[4], int a, int b, int c, int d) {
    return std::clamp((w[0] * a + w[1] * b + w[2] * c + w[3] * d + 64) >> 7, 0, 255);
}

inline void two_thirds(const packed_t& src, packed_t& dst) {
    static const int luma_w[2][4] = {{13, 75, 48, -8}, {-8, 48, 75, 13}};
    static const int chroma_w[2][4] = {{21, 78, 40, -11}, {-5, 56, 71, 6}};
    const int64_t last_y = int64_t(src.m_width) - 1, last_p = int64_t(src.m_width) / 2 - 1;
    for (uint32_t y = 0; y < dst.m_height; ++y) {
        const int64_t r = int64_t(y / 2) * 3 - 1 + (y & 1);
        const row_t a = source_row(src, r), b = source_row(src, r + 1), c = source_row(src, r + 2),
                    d = source_row(src, r + 3);
        row_t v(a.size());
        for (size_t i = 0; i < v.size(); ++i) v[i] = uint8_t(tap4(luma_w[y & 1], a[i], b[i], c[i], d[i]));
        uint8_t* out = dst.row(y);
        const auto yv = [&](int64_t i) { return luma(v, std::clamp<int64_t>(i, 0, last_y)); };
        const auto cv = [&](int64_t p, int ch) { return chroma(v, std::clamp<int64_t>(p, 0, last_p), ch); };
        for (uint32_t k = 0; k < dst.m_width; ++k) {
            const int64_t f = int64_t(k / 2) * 3 - 1 + (k & 1);
            out[2 * k + 1] = uint8_t(tap4(luma_w[k & 1], yv(f), yv(f + 1), yv(f + 2), yv(f + 3)));
        }
        for (uint32_t m = 0; 2 * m < dst.m_width; ++m) {
            const int64_t f = int64_t(m / 2) * 3 - 1 + (m & 1);
            for (int ch = 0; ch < 2; ++ch)
                if (2 * m + ch < dst.m_width || ch == 0)
                    out[4 * m + 2 * ch] =
                        uint8_t(tap4(chroma_w[m & 1], cv(f, ch), cv(f + 1, ch), cv(f + 2, ch), cv(f + 3, ch)));
        }
    }
}

inline void general(const packed_t& src, packed_t& dst, float sx, float ox, float sy, float oy, bool rx, bool ry) {
    const int64_t ws = src.m_width, x0 = int32_t(ox * 65536.0f), dx = int32_t(sx * 65536.0f);
    const int64_t y0 = int32_t(oy * 65536.0f), dy = int32_t(sy * 65536.0f);
    const int64_t luma_max = (ws << 16) - 65537, chroma_max = ((ws << 16) - 65536) / 131072 * 131072;
    for (uint32_t y = 0; y < dst.m_height; ++y) {
        // Vertical: one source row, or two blended with a 6-bit phase.
        row_t v = source_row(src, y);
        if (ry || dst.m_height != src.m_height) {
            const int64_t pos = y0 + int64_t(y) * dy;
            int64_t r = pos >> 16;
            int f = int((pos >> 10) & 63);
            if (f > 61) r += 1, f = 0;
            const row_t a = source_row(src, r), b = source_row(src, r + 1);
            v = a;
            if (f >= 3)
                for (size_t i = 0; i < v.size(); ++i) v[i] = uint8_t(lerp6(a[i], b[i], f));
        }
        uint8_t* out = dst.row(y);
        if (!rx && dst.m_width == src.m_width) {
            std::copy(v.begin(), v.end(), out);
            continue;
        }
        for (uint32_t k = 0; k < dst.m_width; ++k) {
            const int64_t x = std::max<int64_t>(std::min(x0 + int64_t(k) * dx, luma_max), 0), i = x >> 16;
            out[2 * k + 1] = uint8_t(lerp6(luma(v, i), luma(v, i + 1), int((x >> 10) & 63)));
        }
        for (uint32_t m = 0; 2 * m < dst.m_width; ++m) {
            const int64_t x = std::max<int64_t>(std::min(x0 + int64_t(2 * m) * dx, chroma_max), 0), p = x >> 17;
            const int f = int((x >> 11) & 63);
            out[4 * m] = uint8_t(lerp6(chroma(v, p, 0), chroma(v, p + 1, 0), f));
            if (2 * m + 1 < dst.m_width) out[4 * m + 2] = uint8_t(lerp6(chroma(v, p, 1), chroma(v, p + 1, 1), f));
        }
    }
}

}  // namespace model

// The kernel: explicit (x, y) scales and offsets when both are given, else centre-aligned.
inline void model_kernel(const packed_t& src, packed_t& dst, const float* scales = nullptr,
                         const float* offsets = nullptr) {
    if (!src.m_width || !src.m_height || !dst.m_width || !dst.m_height) return;
    float sx = float(src.m_width) / float(dst.m_width), ox = model::default_offset(src.m_width, dst.m_width);
    float sy = float(src.m_height) / float(dst.m_height), oy = model::default_offset(src.m_height, dst.m_height);
    if (scales && offsets) sx = scales[0], sy = scales[1], ox = offsets[0], oy = offsets[1];
    const bool rx = model::remapped(sx, ox, src.m_width, dst.m_width);
    const bool ry = model::remapped(sy, oy, src.m_height, dst.m_height);
    if (!rx && !ry) {
        if (dst.m_width == (src.m_width / 2 & ~1u) && dst.m_height == src.m_height / 2) return model::halve(src, dst);
        if (dst.m_width == (2 * src.m_width / 3 & ~1u) && dst.m_height == 2 * src.m_height / 3 && src.m_width % 2 == 0)
            return model::two_thirds(src, dst);
    }
    model::general(src, dst, sx, ox, sy, oy, rx, ry);
}

}  // namespace zav_resample_test

// vImage ARGB8888 scale and affine warp against a plain reference written here: bilinear
// sampling at pixel centres, background where the source does not reach.
#include <Accelerate/Accelerate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

// An image with padded rows, bytes after each row's pixels set to a sentinel.
struct image_t {
    std::size_t m_width;
    std::size_t m_height;
    std::size_t m_row_bytes;
    std::vector<uint8_t> m_bytes;

    image_t(std::size_t width, std::size_t height, std::size_t padding = 12)
        : m_width(width), m_height(height), m_row_bytes(width * 4 + padding), m_bytes(m_row_bytes * height, 0xEE) {}

    uint8_t* pixel(std::size_t x, std::size_t y) { return &m_bytes[y * m_row_bytes + x * 4]; }
    const uint8_t* pixel(std::size_t x, std::size_t y) const { return &m_bytes[y * m_row_bytes + x * 4]; }
    vImage_Buffer buffer() { return vImage_Buffer{m_bytes.data(), m_height, m_width, m_row_bytes}; }
    bool padding_intact() const {
        for (std::size_t y = 0; y < m_height; ++y)
            for (std::size_t i = m_width * 4; i < m_row_bytes; ++i)
                if (m_bytes[y * m_row_bytes + i] != 0xEE) return false;
        return true;
    }
};

// Smooth content that differs per channel and per axis, so that swapped channels, axes or a
// mirrored picture show: two linear ramps, a product term and a constant alpha.
image_t smooth_image(std::size_t width, std::size_t height) {
    image_t image(width, height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const double u = (static_cast<double>(x) + 0.5) / static_cast<double>(width);
            const double v = (static_cast<double>(y) + 0.5) / static_cast<double>(height);
            uint8_t* p = image.pixel(x, y);
            p[0] = 255;
            p[1] = static_cast<uint8_t>(std::lround(20 + 200 * u));
            p[2] = static_cast<uint8_t>(std::lround(30 + 190 * v));
            p[3] = static_cast<uint8_t>(std::lround(40 + 180 * u * v));
        }
    }
    return image;
}

// Bilinear sample of `image` at continuous pixel coordinates (pixel i centred at i + 0.5).
void reference_sample(const image_t& image, double u, double v, double out[4]) {
    const double fx = std::clamp(u - 0.5, 0.0, static_cast<double>(image.m_width - 1));
    const double fy = std::clamp(v - 0.5, 0.0, static_cast<double>(image.m_height - 1));
    const std::size_t x0 = static_cast<std::size_t>(fx);
    const std::size_t y0 = static_cast<std::size_t>(fy);
    const std::size_t x1 = std::min(x0 + 1, image.m_width - 1);
    const std::size_t y1 = std::min(y0 + 1, image.m_height - 1);
    const double ax = fx - static_cast<double>(x0);
    const double ay = fy - static_cast<double>(y0);
    for (int c = 0; c < 4; ++c) {
        const double top = image.pixel(x0, y0)[c] * (1 - ax) + image.pixel(x1, y0)[c] * ax;
        const double bottom = image.pixel(x0, y1)[c] * (1 - ax) + image.pixel(x1, y1)[c] * ax;
        out[c] = top * (1 - ay) + bottom * ay;
    }
}

// How far `actual` is from the reference picture scaled by (sx, sy), over the covered
// rectangle: the largest channel difference, and the pixels off the picture even when the
// sampling phase may differ by up to half a source pixel (scalers differ there: libyuv aligns
// corners when enlarging) and by 3 levels of rounding (libyuv's filters lose up to 2 levels at
// full intensity), i.e. each channel must lie between the reference values sampled half a
// source pixel around the exact position.
struct picture_error_t {
    double m_worst = 0;
    std::size_t m_off = 0;
};

picture_error_t compare_with_reference(const image_t& actual, const image_t& src, double sx, double sy,
                                       std::size_t covered_w, std::size_t covered_h) {
    picture_error_t error;
    for (std::size_t y = 0; y < covered_h; ++y) {
        for (std::size_t x = 0; x < covered_w; ++x) {
            const double u = (static_cast<double>(x) + 0.5) / sx;
            const double v = (static_cast<double>(y) + 0.5) / sy;
            double exact[4], low[4] = {1e9, 1e9, 1e9, 1e9}, high[4] = {-1e9, -1e9, -1e9, -1e9};
            reference_sample(src, u, v, exact);
            for (double du : {-0.5, 0.0, 0.5}) {
                for (double dv : {-0.5, 0.0, 0.5}) {
                    double sample[4];
                    reference_sample(src, u + du, v + dv, sample);
                    for (int c = 0; c < 4; ++c) {
                        low[c] = std::min(low[c], sample[c]);
                        high[c] = std::max(high[c], sample[c]);
                    }
                }
            }
            bool off = false;
            for (int c = 0; c < 4; ++c) {
                const double value = actual.pixel(x, y)[c];
                error.m_worst = std::max(error.m_worst, std::fabs(value - exact[c]));
                off = off || value < low[c] - 3 || value > high[c] + 3;
            }
            error.m_off += off ? 1 : 0;
        }
    }
    return error;
}

// Every pixel on the picture; video-sized pictures change slowly per pixel, so there the
// result must also be close to the exact reference everywhere.
void expect_picture(const image_t& actual, const image_t& src, double sx, double sy, std::size_t covered_w,
                    std::size_t covered_h) {
    const picture_error_t error = compare_with_reference(actual, src, sx, sy, covered_w, covered_h);
    EXPECT_EQ(error.m_off, 0u);
    if (src.m_width >= 640) {
        EXPECT_LE(error.m_worst, 3.0);
    }
    EXPECT_TRUE(actual.padding_intact());
}

struct size_case_t {
    std::size_t m_sw, m_sh, m_dw, m_dh;
};

const size_case_t k_sizes[] = {
    {64, 48, 32, 24},     {33, 17, 100, 50},   {7, 5, 7, 5},          {640, 480, 1280, 720},
    {1280, 720, 854, 480}, {640, 360, 960, 540}, {3, 2, 17, 9},
};

TEST(vimage_scale, matches_the_reference_on_several_sizes) {
    for (const auto& c : k_sizes) {
        SCOPED_TRACE(testing::Message() << c.m_sw << "x" << c.m_sh << " -> " << c.m_dw << "x" << c.m_dh);
        image_t src = smooth_image(c.m_sw, c.m_sh);
        image_t dst(c.m_dw, c.m_dh);
        vImage_Buffer s = src.buffer();
        vImage_Buffer d = dst.buffer();
        ASSERT_EQ(vImageScale_ARGB8888(&s, &d, nullptr, kvImageNoFlags), kvImageNoError);
        expect_picture(dst, src, static_cast<double>(c.m_dw) / static_cast<double>(c.m_sw),
                       static_cast<double>(c.m_dh) / static_cast<double>(c.m_sh), c.m_dw, c.m_dh);
    }
}

TEST(vimage_scale, temp_size_query_touches_nothing_and_bad_arguments_are_refused) {
    image_t src = smooth_image(40, 30);
    image_t dst(20, 10);
    const std::vector<uint8_t> before = dst.m_bytes;
    vImage_Buffer s = src.buffer();
    vImage_Buffer d = dst.buffer();
    const vImage_Error size = vImageScale_ARGB8888(&s, &d, nullptr, kvImageGetTempBufferSize);
    EXPECT_GT(size, 0);
    EXPECT_EQ(dst.m_bytes, before);
    // Only the sizes matter for the query.
    vImage_Buffer no_data_s = s, no_data_d = d;
    no_data_s.data = no_data_d.data = nullptr;
    EXPECT_EQ(vImageScale_ARGB8888(&no_data_s, &no_data_d, nullptr, kvImageGetTempBufferSize), size);
    // A caller-provided temporary buffer of that size is accepted.
    std::vector<uint8_t> temp(static_cast<std::size_t>(size));
    EXPECT_EQ(vImageScale_ARGB8888(&s, &d, temp.data(), kvImageNoFlags), kvImageNoError);

    EXPECT_EQ(vImageScale_ARGB8888(nullptr, &d, nullptr, kvImageNoFlags), kvImageNullPointerArgument);
    EXPECT_EQ(vImageScale_ARGB8888(&s, &d, nullptr, 1u << 20), kvImageUnknownFlagsBit);
    vImage_Buffer short_rows = s;
    short_rows.rowBytes = 40 * 4 - 1;
    EXPECT_EQ(vImageScale_ARGB8888(&short_rows, &d, nullptr, kvImageNoFlags), kvImageInvalidRowBytes);
    vImage_Buffer empty = d;
    empty.width = 0;
    EXPECT_EQ(vImageScale_ARGB8888(&s, &empty, nullptr, kvImageNoFlags), kvImageInvalidParameter);
}

// ---- Affine warp ----

const Pixel_8888 k_background = {9, 18, 27, 36};

bool is_background(const uint8_t* p) { return std::equal(p, p + 4, k_background); }

TEST(vimage_affine_warp, uniform_scale_draws_the_picture_and_background_elsewhere) {
    for (const auto& c : k_sizes) {
        SCOPED_TRACE(testing::Message() << c.m_sw << "x" << c.m_sh << " -> " << c.m_dw << "x" << c.m_dh);
        image_t src = smooth_image(c.m_sw, c.m_sh);
        image_t dst(c.m_dw, c.m_dh);
        const float s = std::min(static_cast<float>(c.m_dw) / static_cast<float>(c.m_sw),
                                 static_cast<float>(c.m_dh) / static_cast<float>(c.m_sh));
        const vImage_AffineTransform transform{s, 0, 0, s, 0, 0};
        vImage_Buffer sb = src.buffer();
        vImage_Buffer db = dst.buffer();
        ASSERT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &transform, k_background, kvImageBackgroundColorFill),
                  kvImageNoError);
        // Pixels whose centre falls inside the scaled picture show it; all others are background.
        std::size_t covered_w = 0, covered_h = 0;
        while (covered_w < c.m_dw && (static_cast<double>(covered_w) + 0.5) < s * static_cast<double>(c.m_sw)) ++covered_w;
        while (covered_h < c.m_dh && (static_cast<double>(covered_h) + 0.5) < s * static_cast<double>(c.m_sh)) ++covered_h;
        expect_picture(dst, src, s, s, covered_w, covered_h);
        std::size_t wrong_background = 0;
        for (std::size_t y = 0; y < c.m_dh; ++y)
            for (std::size_t x = 0; x < c.m_dw; ++x)
                if ((x >= covered_w || y >= covered_h) && !is_background(dst.pixel(x, y))) ++wrong_background;
        EXPECT_EQ(wrong_background, 0u);
    }
}

// Transforms that map pixel centres onto pixel centres move every pixel exactly: each output pixel
// is the source pixel under its centre, background (or with extended edges, the nearest edge
// pixel) where the source does not reach.
TEST(vimage_affine_warp, whole_pixel_transforms_move_every_pixel_exactly) {
    const struct {
        const char* m_name;
        std::size_t m_sw, m_sh, m_dw, m_dh;
        vImage_AffineTransform m_transform;  // (u, v) -> (a u + c v + tx, b u + d v + ty)
    } cases[] = {
        {"left 5, down 3", 50, 20, 50, 20, {1, 0, 0, 1, -5, 3}},
        {"quarter turn", 37, 23, 23, 37, {0, 1, -1, 0, 23, 0}},
        {"half turn, larger output", 21, 13, 25, 15, {-1, 0, 0, -1, 21, 13}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_name);
        image_t src = smooth_image(c.m_sw, c.m_sh);
        for (std::size_t y = 0; y < c.m_sh; ++y) src.pixel(5, y)[0] = static_cast<uint8_t>(y);  // a marker column
        vImage_Buffer sb = src.buffer();
        const vImage_AffineTransform& t = c.m_transform;
        for (const vImage_Flags edge : {kvImageBackgroundColorFill, kvImageEdgeExtend}) {
            image_t dst(c.m_dw, c.m_dh);
            vImage_Buffer db = dst.buffer();
            ASSERT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &t, k_background, edge), kvImageNoError);
            std::size_t mismatches = 0;
            const double det = double(t.a) * t.d - double(t.b) * t.c;
            for (std::size_t y = 0; y < c.m_dh; ++y) {
                for (std::size_t x = 0; x < c.m_dw; ++x) {
                    const double px = x + 0.5 - t.tx, py = y + 0.5 - t.ty;
                    const long u = std::lround(std::floor((t.d * px - t.c * py) / det));
                    const long v = std::lround(std::floor((-t.b * px + t.a * py) / det));
                    const bool inside = u >= 0 && v >= 0 && u < long(c.m_sw) && v < long(c.m_sh);
                    const uint8_t* nearest = src.pixel(std::size_t(std::clamp<long>(u, 0, long(c.m_sw) - 1)),
                                                       std::size_t(std::clamp<long>(v, 0, long(c.m_sh) - 1)));
                    const bool fill = !inside && edge == kvImageBackgroundColorFill;
                    if (fill ? !is_background(dst.pixel(x, y)) : !std::equal(nearest, nearest + 4, dst.pixel(x, y)))
                        ++mismatches;
                }
            }
            EXPECT_EQ(mismatches, 0u) << "edge flags " << edge;
            EXPECT_TRUE(dst.padding_intact());
        }
    }
}

TEST(vimage_affine_warp, temp_size_query_and_argument_checks) {
    image_t src = smooth_image(16, 16);
    image_t dst(8, 8);
    const std::vector<uint8_t> before = dst.m_bytes;
    vImage_Buffer sb = src.buffer();
    vImage_Buffer db = dst.buffer();
    const vImage_AffineTransform half{0.5f, 0, 0, 0.5f, 0, 0};
    EXPECT_GT(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &half, k_background, kvImageGetTempBufferSize), 0);
    EXPECT_EQ(dst.m_bytes, before);
    EXPECT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &half, k_background,
                                        kvImageBackgroundColorFill | kvImageEdgeExtend),
              kvImageInvalidEdgeStyle);
    EXPECT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &half, k_background, kvImageNoFlags),
              kvImageInvalidEdgeStyle);
    EXPECT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, nullptr, k_background, kvImageBackgroundColorFill),
              kvImageNullPointerArgument);
    EXPECT_EQ(dst.m_bytes, before);
    // A transform that flattens the picture draws only background.
    const vImage_AffineTransform flat{1, 1, 1, 1, 0, 0};
    ASSERT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &flat, k_background, kvImageBackgroundColorFill),
              kvImageNoError);
    for (std::size_t y = 0; y < 8; ++y)
        for (std::size_t x = 0; x < 8; ++x) EXPECT_TRUE(is_background(dst.pixel(x, y)));
}

}  // namespace

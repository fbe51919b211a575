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
    std::size_t m_width, m_height, m_row_bytes;
    std::vector<uint8_t> m_bytes;
    image_t(std::size_t width, std::size_t height)
        : m_width(width), m_height(height), m_row_bytes(width * 4 + 12), m_bytes(m_row_bytes * height, 0xEE) {}
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
            const double u = (x + 0.5) / static_cast<double>(width), v = (y + 0.5) / static_cast<double>(height);
            const double levels[4] = {255, 20 + 200 * u, 30 + 190 * v, 40 + 180 * u * v};
            for (int c = 0; c < 4; ++c) image.pixel(x, y)[c] = static_cast<uint8_t>(std::lround(levels[c]));
        }
    }
    return image;
}

// Bilinear sample of `image` at continuous pixel coordinates (pixel i centred at i + 0.5).
void reference_sample(const image_t& image, double u, double v, double out[4]) {
    const double fx = std::clamp(u - 0.5, 0.0, image.m_width - 1.0);
    const double fy = std::clamp(v - 0.5, 0.0, image.m_height - 1.0);
    const std::size_t x0 = static_cast<std::size_t>(fx), y0 = static_cast<std::size_t>(fy);
    const std::size_t x1 = std::min(x0 + 1, image.m_width - 1), y1 = std::min(y0 + 1, image.m_height - 1);
    const double ax = fx - x0, ay = fy - y0;
    for (int c = 0; c < 4; ++c) {
        const double top = image.pixel(x0, y0)[c] * (1 - ax) + image.pixel(x1, y0)[c] * ax;
        const double bottom = image.pixel(x0, y1)[c] * (1 - ax) + image.pixel(x1, y1)[c] * ax;
        out[c] = top * (1 - ay) + bottom * ay;
    }
}

// `actual` shows `src` scaled by (sx, sy) over the covered rectangle. The sampling phase may
// differ by up to half a source pixel (scalers differ there: libyuv aligns corners when
// enlarging) and by 3 levels of rounding (libyuv's filters lose up to 2 levels at full
// intensity): each channel must lie between the reference values sampled half a source pixel
// around the exact position. Video-sized pictures change slowly per pixel, so there the result
// must also be within 3 levels of the exact reference everywhere.
void expect_picture(const image_t& actual, const image_t& src, double sx, double sy, std::size_t covered_w,
                    std::size_t covered_h) {
    double worst = 0;
    std::size_t off_picture = 0;
    for (std::size_t y = 0; y < covered_h; ++y) {
        for (std::size_t x = 0; x < covered_w; ++x) {
            const double u = (x + 0.5) / sx, v = (y + 0.5) / sy;
            double exact[4], low[4] = {1e9, 1e9, 1e9, 1e9}, high[4] = {-1e9, -1e9, -1e9, -1e9}, sample[4];
            reference_sample(src, u, v, exact);
            for (int k = 0; k < 9; ++k) {  // the 3 x 3 positions half a source pixel apart
                reference_sample(src, u + (k % 3 - 1) * 0.5, v + (k / 3 - 1) * 0.5, sample);
                for (int c = 0; c < 4; ++c) {
                    low[c] = std::min(low[c], sample[c]);
                    high[c] = std::max(high[c], sample[c]);
                }
            }
            bool off = false;
            for (int c = 0; c < 4; ++c) {
                const double value = actual.pixel(x, y)[c];
                worst = std::max(worst, std::fabs(value - exact[c]));
                off = off || value < low[c] - 3 || value > high[c] + 3;
            }
            off_picture += off ? 1 : 0;
        }
    }
    EXPECT_EQ(off_picture, 0u);
    EXPECT_TRUE(src.m_width < 640 || worst <= 3.0) << worst;
    EXPECT_TRUE(actual.padding_intact());
}

const Pixel_8888 k_background = {9, 18, 27, 36};

bool is_background(const uint8_t* p) {
    return std::equal(p, p + 4, k_background);
}

// Scale fills the whole output with the picture; a uniform warp draws it where pixel centres
// fall inside the scaled picture and background everywhere else. Both on a table of sizes.
struct resize_case_t {
    std::size_t m_sw, m_sh, m_dw, m_dh;
};

std::string resize_name(const resize_case_t& c) {
    return std::to_string(c.m_sw) + "x" + std::to_string(c.m_sh) + "_to_" + std::to_string(c.m_dw) + "x" +
           std::to_string(c.m_dh);
}

void PrintTo(const resize_case_t& c, std::ostream* out) {
    *out << resize_name(c);
}

const resize_case_t k_resizes[] = {
    {64, 48, 32, 24},      {33, 17, 100, 50},    {7, 5, 7, 5},  {640, 480, 1280, 720},
    {1280, 720, 854, 480}, {640, 360, 960, 540}, {3, 2, 17, 9},
};

// The source picture of a case, an output of the case's size, and the scale factors between them.
class vimage_resize : public ::testing::TestWithParam<resize_case_t> {
protected:
    const resize_case_t& m_case = GetParam();
    image_t m_src = smooth_image(m_case.m_sw, m_case.m_sh);
    image_t m_out{m_case.m_dw, m_case.m_dh};
    const double m_sx = double(m_case.m_dw) / double(m_case.m_sw), m_sy = double(m_case.m_dh) / double(m_case.m_sh);
};

TEST_P(vimage_resize, scale_fills_the_output_with_the_reference_picture) {
    vImage_Buffer sb = m_src.buffer(), scaled_b = m_out.buffer();
    ASSERT_EQ(vImageScale_ARGB8888(&sb, &scaled_b, nullptr, kvImageNoFlags), kvImageNoError);
    expect_picture(m_out, m_src, m_sx, m_sy, m_case.m_dw, m_case.m_dh);
}

TEST_P(vimage_resize, uniform_warp_draws_the_reference_picture_on_background) {
    image_t& warped = m_out;
    vImage_Buffer sb = m_src.buffer(), warped_b = warped.buffer();
    const float s = static_cast<float>(std::min(m_sx, m_sy));
    const vImage_AffineTransform t{s, 0, 0, s, 0, 0};
    ASSERT_EQ(vImageAffineWarp_ARGB8888(&sb, &warped_b, nullptr, &t, k_background, kvImageBackgroundColorFill),
              kvImageNoError);
    // The picture covers the output pixels whose centres fall inside the scaled source.
    std::size_t covered_w = 0, covered_h = 0;
    while (covered_w < m_case.m_dw && covered_w + 0.5 < s * double(m_case.m_sw)) ++covered_w;
    while (covered_h < m_case.m_dh && covered_h + 0.5 < s * double(m_case.m_sh)) ++covered_h;
    expect_picture(warped, m_src, s, s, covered_w, covered_h);
    std::size_t wrong_background = 0;
    for (std::size_t y = 0; y < m_case.m_dh; ++y)
        for (std::size_t x = 0; x < m_case.m_dw; ++x)
            wrong_background += (x >= covered_w || y >= covered_h) && !is_background(warped.pixel(x, y));
    EXPECT_EQ(wrong_background, 0u);
}

std::string resize_param_name(const ::testing::TestParamInfo<resize_case_t>& param) {
    return resize_name(param.param);
}

INSTANTIATE_TEST_SUITE_P(sizes, vimage_resize, ::testing::ValuesIn(k_resizes), resize_param_name);

// Transforms that map pixel centres onto pixel centres move every pixel exactly: each output
// pixel is the source pixel under its centre; where the source does not reach, background or,
// with extended edges, the nearest edge pixel.
TEST(vimage, whole_pixel_warps_move_every_pixel_exactly) {
    const struct {
        const char* m_name;
        std::size_t m_sw, m_sh, m_dw, m_dh;
        vImage_AffineTransform m_transform;  // (u, v) -> (a u + c v + tx, b u + d v + ty)
    } cases[] = {
        {"left 5, down 3", 50, 20, 50, 20, {1, 0, 0, 1, -5, 3}},
        {"quarter turn", 37, 23, 23, 37, {0, 1, -1, 0, 23, 0}},
        {"half turn into a larger output", 21, 13, 25, 15, {-1, 0, 0, -1, 21, 13}},
    };
    for (const auto& c : cases) {
        image_t src = smooth_image(c.m_sw, c.m_sh);
        for (std::size_t y = 0; y < c.m_sh; ++y) src.pixel(5, y)[0] = static_cast<uint8_t>(y);  // a marker column
        const vImage_AffineTransform& t = c.m_transform;
        const double det = double(t.a) * t.d - double(t.b) * t.c;
        for (const vImage_Flags edge : {kvImageBackgroundColorFill, kvImageEdgeExtend}) {
            SCOPED_TRACE(testing::Message() << c.m_name << ", edge flags " << edge);
            image_t dst(c.m_dw, c.m_dh);
            vImage_Buffer sb = src.buffer(), db = dst.buffer();
            ASSERT_EQ(vImageAffineWarp_ARGB8888(&sb, &db, nullptr, &t, k_background, edge), kvImageNoError);
            std::size_t mismatches = 0;
            for (std::size_t y = 0; y < c.m_dh; ++y) {
                for (std::size_t x = 0; x < c.m_dw; ++x) {
                    const double px = x + 0.5 - t.tx, py = y + 0.5 - t.ty;
                    const long u = std::lround(std::floor((t.d * px - t.c * py) / det));
                    const long v = std::lround(std::floor((-t.b * px + t.a * py) / det));
                    const bool inside = u >= 0 && v >= 0 && u < long(c.m_sw) && v < long(c.m_sh);
                    const uint8_t* want = !inside && edge == kvImageBackgroundColorFill
                                              ? k_background
                                              : src.pixel(std::size_t(std::clamp<long>(u, 0, long(c.m_sw) - 1)),
                                                          std::size_t(std::clamp<long>(v, 0, long(c.m_sh) - 1)));
                    mismatches += !std::equal(want, want + 4, dst.pixel(x, y));
                }
            }
            EXPECT_EQ(mismatches, 0u);
            EXPECT_TRUE(dst.padding_intact());
        }
    }
}

// Both calls: a temp-size query touches nothing and needs no pixels, and a caller's buffer of
// the queried size will do.
TEST(vimage, temp_size_queries_leave_the_output_untouched_and_need_no_pixels) {
    image_t src = smooth_image(40, 30);
    image_t dst(20, 10);
    const std::vector<uint8_t> before = dst.m_bytes;
    vImage_Buffer s = src.buffer(), d = dst.buffer();
    vImage_Buffer no_data_s = s, no_data_d = d;
    no_data_s.data = no_data_d.data = nullptr;
    const vImage_AffineTransform half{0.5f, 0, 0, 0.5f, 0, 0};
    const vImage_Error size = vImageScale_ARGB8888(&s, &d, nullptr, kvImageGetTempBufferSize);
    EXPECT_GT(size, 0);
    EXPECT_EQ(vImageScale_ARGB8888(&no_data_s, &no_data_d, nullptr, kvImageGetTempBufferSize), size);
    EXPECT_GT(vImageAffineWarp_ARGB8888(&s, &d, nullptr, &half, k_background, kvImageGetTempBufferSize), 0);
    EXPECT_EQ(dst.m_bytes, before);
    std::vector<uint8_t> temp(static_cast<std::size_t>(size));
    EXPECT_EQ(vImageScale_ARGB8888(&s, &d, temp.data(), kvImageNoFlags), kvImageNoError);
}

// Bad arguments are refused before anything is drawn.
TEST(vimage, bad_arguments_are_refused_with_the_output_untouched) {
    image_t src = smooth_image(40, 30);
    image_t dst(20, 10);
    const std::vector<uint8_t> before = dst.m_bytes;
    vImage_Buffer s = src.buffer(), d = dst.buffer();
    const vImage_AffineTransform half{0.5f, 0, 0, 0.5f, 0, 0};
    vImage_Buffer short_rows = s, empty = d;
    short_rows.rowBytes = 40 * 4 - 1;
    empty.width = 0;
    EXPECT_EQ(vImageScale_ARGB8888(nullptr, &d, nullptr, kvImageNoFlags), kvImageNullPointerArgument);
    EXPECT_EQ(vImageScale_ARGB8888(&s, &d, nullptr, 1u << 20), kvImageUnknownFlagsBit);
    EXPECT_EQ(vImageScale_ARGB8888(&short_rows, &d, nullptr, kvImageNoFlags), kvImageInvalidRowBytes);
    EXPECT_EQ(vImageScale_ARGB8888(&s, &empty, nullptr, kvImageNoFlags), kvImageInvalidParameter);
    for (const vImage_Flags edge : {vImage_Flags{kvImageBackgroundColorFill | kvImageEdgeExtend}, vImage_Flags{0}})
        EXPECT_EQ(vImageAffineWarp_ARGB8888(&s, &d, nullptr, &half, k_background, edge), kvImageInvalidEdgeStyle);
    EXPECT_EQ(vImageAffineWarp_ARGB8888(&s, &d, nullptr, nullptr, k_background, kvImageBackgroundColorFill),
              kvImageNullPointerArgument);
    EXPECT_EQ(dst.m_bytes, before);
}

TEST(vimage, a_transform_that_flattens_the_picture_draws_only_background) {
    image_t src = smooth_image(40, 30);
    image_t dst(20, 10);
    vImage_Buffer s = src.buffer(), d = dst.buffer();
    const vImage_AffineTransform flat{1, 1, 1, 1, 0, 0};
    ASSERT_EQ(vImageAffineWarp_ARGB8888(&s, &d, nullptr, &flat, k_background, kvImageBackgroundColorFill),
              kvImageNoError);
    for (std::size_t y = 0; y < dst.m_height; ++y)
        for (std::size_t x = 0; x < dst.m_width; ++x) EXPECT_TRUE(is_background(dst.pixel(x, y)));
}

}  // namespace

// The public BGRA to UYVY conversion against the independent model, the worked examples of
// the format, and its behaviour at the boundaries.
#include <gtest/gtest.h>

#include <cmath>
#include <new>
#include <random>

#include "bgra_to_uyvy_model.h"
#include "guarded_image.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"

namespace {

using Drivers::Mac::ZAV::VirtualCamera::convert_bgra_to_uyvy_alpha;
using zav_test::guarded_image_t;

size_t uyvy_row_bytes(int width) { return static_cast<size_t>((width + 1) / 2) * 4; }

// Source, destination and alpha images of one conversion; strides padded by `pad` bytes and
// negated (bottom-up rows) when `flip` is set.
struct conversion_t {
    int m_width;
    int m_height;
    guarded_image_t m_src;
    guarded_image_t m_dst;
    guarded_image_t m_alpha;

    conversion_t(int width, int height, int pad = 0, bool flip = false)
        : m_width(width), m_height(height),
          m_src(height, 4 * size_t(width), (flip ? -1 : 1) * ptrdiff_t(4 * width + pad)),
          m_dst(height, uyvy_row_bytes(width), (flip ? -1 : 1) * ptrdiff_t(uyvy_row_bytes(width) + pad)),
          m_alpha(height, size_t(width), (flip ? -1 : 1) * ptrdiff_t(width + pad))
    {
    }

    void run(uint32_t matrix)
    {
        convert_bgra_to_uyvy_alpha(m_src.row(0), int32_t(m_src.stride()), m_dst.row(0), int32_t(m_dst.stride()),
                                   m_alpha.row(0), int32_t(m_alpha.stride()), m_width, m_height, matrix);
    }

    // The model's output for the same source, as packed rows.
    void model(uint32_t matrix, std::vector<uint8_t>& dst, std::vector<uint8_t>& alpha) const
    {
        dst.assign(uyvy_row_bytes(m_width) * m_height, 0);
        alpha.assign(size_t(m_width) * m_height, 0);
        std::vector<float> scratch;
        zav_test::model_bgra_to_uyvy(m_src.row(0), m_src.stride(), dst.data(), ptrdiff_t(uyvy_row_bytes(m_width)),
                                     alpha.data(), m_width, m_width, m_height, matrix, scratch);
    }
};

struct size_case_t {
    int width;
    int height;
    int pad;
    bool flip;
};

class even_width_matches_model_t : public ::testing::TestWithParam<size_case_t> {};

// Even widths read no uncleared scratch, so every byte is defined and must equal the model's.
TEST_P(even_width_matches_model_t, every_byte_and_no_write_outside_rows)
{
    const size_case_t c = GetParam();
    for (uint32_t matrix : {709u, 601u}) {
        std::mt19937 rng(uint32_t(c.width * 7919 + c.height * 31 + matrix));
        conversion_t conv(c.width, c.height, c.pad, c.flip);
        conv.m_src.fill_rows_random(rng);
        conv.run(matrix);

        std::vector<uint8_t> dst, alpha;
        conv.model(matrix, dst, alpha);
        EXPECT_EQ(conv.m_dst.rows_bytes(), dst) << "matrix " << matrix;
        EXPECT_EQ(conv.m_alpha.rows_bytes(), alpha) << "matrix " << matrix;
        EXPECT_TRUE(conv.m_dst.guards_intact());
        EXPECT_TRUE(conv.m_alpha.guards_intact());
        EXPECT_TRUE(conv.m_src.guards_intact());
    }
}

INSTANTIATE_TEST_SUITE_P(sizes, even_width_matches_model_t,
                         ::testing::Values(size_case_t{2, 1, 0, false}, size_case_t{2, 5, 3, false},
                                           size_case_t{4, 4, 0, false}, size_case_t{6, 3, 12, false},
                                           size_case_t{8, 9, 1, false}, size_case_t{14, 7, 0, false},
                                           size_case_t{16, 5, 16, false}, size_case_t{18, 6, 2, false},
                                           size_case_t{30, 11, 0, false}, size_case_t{32, 4, 64, false},
                                           size_case_t{34, 13, 5, false}, size_case_t{62, 3, 0, false},
                                           size_case_t{64, 10, 0, false}, size_case_t{66, 17, 7, false},
                                           size_case_t{10, 8, 4, true}, size_case_t{36, 5, 0, true},
                                           size_case_t{1920, 1080, 0, false}));

// Odd widths: the last pair's second pixel is an uncleared guard slot, whose garbage spreads
// down and to the left. The bytes of the first row before that pair, the first row's last Y0
// and the whole alpha plane are still defined.
TEST(convert_bgra_to_uyvy, odd_width_defined_bytes_match_model)
{
    for (int width : {1, 3, 5, 7, 15, 17, 33, 65}) {
        for (uint32_t matrix : {709u, 601u}) {
            std::mt19937 rng(uint32_t(width * 13 + matrix));
            conversion_t conv(width, 4, 3);
            conv.m_src.fill_rows_random(rng);
            conv.run(matrix);

            std::vector<uint8_t> dst, alpha;
            conv.model(matrix, dst, alpha);
            const size_t last_pair = uyvy_row_bytes(width) - 4;
            const std::vector<uint8_t> got(conv.m_dst.row(0), conv.m_dst.row(0) + last_pair);
            EXPECT_EQ(got, std::vector<uint8_t>(dst.begin(), dst.begin() + long(last_pair))) << "width " << width;
            EXPECT_EQ(conv.m_dst.row(0)[last_pair + 1], dst[last_pair + 1]) << "width " << width;
            EXPECT_EQ(conv.m_alpha.rows_bytes(), alpha) << "width " << width;
            EXPECT_TRUE(conv.m_dst.guards_intact()) << "width " << width;
            EXPECT_TRUE(conv.m_alpha.guards_intact()) << "width " << width;
        }
    }
}

// A uniform image: the bytes dither around the exact value, so over a large area their mean
// is that value and their range is narrow.
TEST(convert_bgra_to_uyvy, uniform_colours_dither_around_their_value)
{
    const struct {
        uint8_t grey;
        uint32_t matrix;
        int y_min, y_max;
        double y_mean;
        int cb_min, cb_max, cr_min, cr_max;
        double cb_mean_below;
    } cases[] = {
        // Y = 128 * (0.183 + 0.614 + 0.062) + 16 = 125.952. The Cr row sums to zero exactly. The
        // Cb row sums to -0.001, giving 127.872, but chroma error reaches the next average at half
        // weight, so a pair settles at 127.744 and always rounds to 128 (a full-weight diffusion
        // would emit some 127s).
        {128, 709, 125, 126, 125.952, 128, 128, 128, 128, 256},
        {128, 601, 125, 126, 128 * 0.859 + 16, 128, 128, 128, 128, 256},
        {0, 709, 16, 16, 16, 128, 128, 128, 128, 256},
        {0, 601, 16, 16, 16, 128, 128, 128, 128, 256},
        // For white, 709's Cb settles near 127.49 with the halved error: some bytes drop to 127.
        {255, 709, 235, 236, 255 * 0.859 + 16, 127, 128, 127, 129, 127.99},
        {255, 601, 235, 236, 255 * 0.859 + 16, 127, 128, 127, 129, 256},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.grey) << " under " << c.matrix);
        conversion_t conv(256, 64);
        for (int y = 0; y < 64; ++y) {
            std::fill(conv.m_src.row(y), conv.m_src.row(y) + 4 * 256, c.grey);
            for (int x = 0; x < 256; ++x) conv.m_src.row(y)[4 * x + 3] = 255;
        }
        conv.run(c.matrix);
        const std::vector<uint8_t> bytes = conv.m_dst.rows_bytes();
        int y_min = 255, y_max = 0, cb_min = 255, cb_max = 0, cr_min = 255, cr_max = 0;
        double y_sum = 0, cb_sum = 0, cr_sum = 0;
        for (size_t i = 0; i < bytes.size(); i += 4) {
            const int cb = bytes[i], y0 = bytes[i + 1], cr = bytes[i + 2], y1 = bytes[i + 3];
            y_min = std::min({y_min, y0, y1}), y_max = std::max({y_max, y0, y1});
            cb_min = std::min(cb_min, cb), cb_max = std::max(cb_max, cb);
            cr_min = std::min(cr_min, cr), cr_max = std::max(cr_max, cr);
            y_sum += y0 + y1, cb_sum += cb, cr_sum += cr;
        }
        const double pairs = double(bytes.size() / 4);
        EXPECT_GE(y_min, c.y_min);
        EXPECT_LE(y_max, c.y_max);
        EXPECT_NEAR(y_sum / (2 * pairs), c.y_mean, 0.01);
        EXPECT_GE(cb_min, c.cb_min);
        EXPECT_EQ(cb_max, c.cb_max);
        if (c.cb_mean_below < 255) {
            EXPECT_LT(cb_sum / pairs, c.cb_mean_below);
        }
        EXPECT_GE(cr_min, c.cr_min);
        EXPECT_LE(cr_max, c.cr_max);
        EXPECT_NEAR(cr_sum / pairs, 128.0, 0.01);
        if (c.grey != 255) {
            EXPECT_EQ(cb_min, c.cb_min);
            EXPECT_EQ(cr_min, c.cr_min);
            EXPECT_EQ(y_min, c.y_min);
        }
    }
}

TEST(convert_bgra_to_uyvy, refusals_write_nothing_outside_their_rows)
{
    struct dims_t {
        int w, h;
    };
    // Empty sizes write nothing.
    for (dims_t d : {dims_t{0, 4}, dims_t{-3, 4}, dims_t{4, 0}, dims_t{4, -1}, dims_t{0, 0}}) {
        guarded_image_t src(4, 64, 64), dst(4, 64, 64), alpha(4, 64, 64);
        convert_bgra_to_uyvy_alpha(src.row(0), 64, dst.row(0), 64, alpha.row(0), 64, d.w, d.h, 709);
        EXPECT_TRUE(dst.untouched()) << d.w << "x" << d.h;
        EXPECT_TRUE(alpha.untouched()) << d.w << "x" << d.h;
    }
    // An impossible scratch size throws before writing: (49999 + 1) * (49997 + 3) slots wraps
    // negative in 32-bit arithmetic, and a height below -1 makes a negative count.
    guarded_image_t src(4, 64, 64), dst(4, 64, 64), alpha(4, 64, 64);
    EXPECT_THROW(convert_bgra_to_uyvy_alpha(src.row(0), 64, dst.row(0), 64, alpha.row(0), 64, 49997, 49999, 709),
                 std::bad_alloc);
    EXPECT_THROW(convert_bgra_to_uyvy_alpha(src.row(0), 64, dst.row(0), 64, alpha.row(0), 64, 4, -5, 709),
                 std::bad_alloc);
    EXPECT_TRUE(dst.untouched());
    EXPECT_TRUE(alpha.untouched());
    // An unknown matrix leaves alpha alone and stays inside the rows.
    for (uint32_t matrix : {0u, 600u, 710u}) {
        std::mt19937 rng(matrix);
        conversion_t conv(8, 4, 4);
        conv.m_src.fill_rows_random(rng);
        conv.run(matrix);
        EXPECT_TRUE(conv.m_alpha.untouched()) << matrix;
        EXPECT_TRUE(conv.m_dst.guards_intact()) << matrix;
    }
}

// An alpha row that shares memory with its source row: each pixel is read before its alpha byte
// lands, left to right, so the result is that of the in-order loop.
TEST(convert_bgra_to_uyvy, alpha_overlapping_the_source_follows_pixel_order)
{
    for (int width : {4, 8, 14, 32}) {
        for (ptrdiff_t alpha_offset : {ptrdiff_t(0), ptrdiff_t(1), ptrdiff_t(width)}) {
            const int height = 3;
            const ptrdiff_t stride = 4 * width;
            std::mt19937 rng(uint32_t(width * 100 + alpha_offset));
            std::vector<uint8_t> image(size_t(stride) * height + 64);
            for (uint8_t& b : image) b = uint8_t(rng());
            std::vector<uint8_t> expected_image = image;

            guarded_image_t dst(height, uyvy_row_bytes(width), ptrdiff_t(uyvy_row_bytes(width)));
            convert_bgra_to_uyvy_alpha(image.data(), int32_t(stride), dst.row(0), int32_t(dst.stride()),
                                       image.data() + alpha_offset, int32_t(stride), width, height, 709);

            std::vector<uint8_t> expected_dst(uyvy_row_bytes(width) * height);
            std::vector<float> scratch;
            zav_test::model_bgra_to_uyvy(expected_image.data(), stride, expected_dst.data(),
                                         ptrdiff_t(uyvy_row_bytes(width)), expected_image.data() + alpha_offset, stride,
                                         width, height, 709, scratch);
            EXPECT_EQ(image, expected_image) << "width " << width << " offset " << alpha_offset;
            EXPECT_EQ(dst.rows_bytes(), expected_dst) << "width " << width << " offset " << alpha_offset;
        }
    }
}

// Converting in place (the UYVY rows over the BGRA rows they came from) gives the bytes of a
// conversion from a separate copy: every source row is read before it is overwritten.
TEST(convert_bgra_to_uyvy, in_place_equals_conversion_of_a_copy)
{
    for (ptrdiff_t dst_stride_factor : {ptrdiff_t(4), ptrdiff_t(2)}) {
        const int width = 24, height = 10;
        std::mt19937 rng(static_cast<uint32_t>(dst_stride_factor));
        std::vector<uint8_t> image(size_t(4 * width) * height);
        for (uint8_t& b : image) b = uint8_t(rng());
        const std::vector<uint8_t> source = image;
        std::vector<uint8_t> alpha(size_t(width) * height);
        const ptrdiff_t dst_stride = dst_stride_factor * width;
        // The output is written bottom-up from the end of the source, so its first rows cover
        // source rows that a row-interleaved schedule would not have read yet.
        uint8_t* dst = image.data() + (height - 1) * dst_stride;
        convert_bgra_to_uyvy_alpha(image.data(), 4 * width, dst, int32_t(-dst_stride), alpha.data(), width, width,
                                   height, 709);

        std::vector<uint8_t> expected(size_t(2 * width) * height), expected_alpha(alpha.size());
        std::vector<float> scratch;
        zav_test::model_bgra_to_uyvy(source.data(), 4 * width, expected.data() + (height - 1) * 2 * width,
                                     -2 * width, expected_alpha.data(), width, width, height, 709, scratch);
        for (int y = 0; y < height; ++y) {
            const uint8_t* got = dst - y * dst_stride;
            const uint8_t* want = expected.data() + (height - 1 - y) * 2 * width;
            ASSERT_EQ(std::vector<uint8_t>(got, got + 2 * width), std::vector<uint8_t>(want, want + 2 * width))
                << "row " << y << " stride factor " << dst_stride_factor;
        }
        EXPECT_EQ(alpha, expected_alpha);
    }
}

}  // namespace

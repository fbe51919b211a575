// The BGRA to UYVY converter: the public conversion against the independent model, the worked
// examples of the format and its boundaries; its fast kernels against the reference row
// functions (the vector colour row, and the fast schedule, rows converted just ahead and several
// dithered in flight, against the row-by-row order over scratch contents the tests choose).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "bgra_to_uyvy_model.h"
#include "guarded_image.h"
#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/bgra_to_uyvy_passes.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/cpu_features.h"

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;
using zav_test::guarded_image_t;
using zav_test::uyvy_row_bytes;

// Source (random bytes from `seed`), destination and alpha images of one conversion; strides
// padded by `pad` bytes and negated (bottom-up rows) when `flip` is set.
struct conversion_t {
    int m_width, m_height;
    guarded_image_t m_src, m_dst, m_alpha;

    conversion_t(int width, int height, int pad = 0, bool flip = false, uint32_t seed = 0)
        : m_width(width),
          m_height(height),
          m_src(height, 4 * size_t(width), (flip ? -1 : 1) * ptrdiff_t(4 * width + pad)),
          m_dst(height, uyvy_row_bytes(width), (flip ? -1 : 1) * ptrdiff_t(uyvy_row_bytes(width) + pad)),
          m_alpha(height, size_t(width), (flip ? -1 : 1) * ptrdiff_t(width + pad)) {
        std::mt19937 rng(seed);
        m_src.fill_rows_random(rng);
    }

    // Through the public entry, or one schedule of the passes over the given scratch.
    void run(uint32_t matrix, std::vector<float>* scratch = nullptr, bgra_to_uyvy_schedule_t schedule = {}) {
        if (!scratch)
            return convert_bgra_to_uyvy_alpha(m_src.row(0), int32_t(m_src.stride()), m_dst.row(0),
                                              int32_t(m_dst.stride()), m_alpha.row(0), int32_t(m_alpha.stride()),
                                              m_width, m_height, matrix);
        bgra_to_uyvy_run_passes(scratch->data(), m_src.row(0), int32_t(m_src.stride()), m_dst.row(0),
                                int32_t(m_dst.stride()), m_alpha.row(0), int32_t(m_alpha.stride()), m_width, m_height,
                                matrix, schedule);
    }

    // Both outputs equal the model's (run on a cleared scratch), and nothing was written outside the rows.
    void expect_model(uint32_t matrix) const {
        const zav_test::model_output_t want =
            zav_test::model_packed(m_src.row(0), m_src.stride(), m_width, m_height, matrix);
        EXPECT_EQ(m_dst.rows_bytes(), want.m_dst);
        EXPECT_EQ(m_alpha.rows_bytes(), want.m_alpha);
        EXPECT_TRUE(m_dst.guards_intact() && m_alpha.guards_intact() && m_src.guards_intact());
    }
};

struct size_case_t {
    int width, height, pad;
    bool flip;
};

class even_width_matches_model_t : public ::testing::TestWithParam<size_case_t> {};

// Even widths read no uncleared scratch, so every byte is defined and must equal the model's.
// (Odd widths are checked on a cleared scratch, where they are defined, with the schedules.)
TEST_P(even_width_matches_model_t, every_byte_and_no_write_outside_rows) {
    const size_case_t c = GetParam();
    for (uint32_t matrix : {709u, 601u}) {
        SCOPED_TRACE(matrix);
        conversion_t conv(c.width, c.height, c.pad, c.flip, uint32_t(c.width * 7919 + c.height * 31 + matrix));
        conv.run(matrix);
        conv.expect_model(matrix);
    }
}

const size_case_t k_sizes[] = {{2, 1, 0, false},      {2, 5, 3, false},   {4, 4, 0, false},   {6, 3, 12, false},
                               {8, 9, 1, false},      {14, 7, 0, false},  {16, 5, 16, false}, {18, 6, 2, false},
                               {30, 11, 0, false},    {32, 4, 64, false}, {34, 13, 5, false}, {62, 3, 0, false},
                               {64, 10, 0, false},    {66, 17, 7, false}, {10, 8, 4, true},   {36, 5, 0, true},
                               {1920, 1080, 0, false}};
INSTANTIATE_TEST_SUITE_P(sizes, even_width_matches_model_t, ::testing::ValuesIn(k_sizes));

// A uniform image: the bytes dither around the exact value, so over a large area their mean
// is that value and their range is narrow.
TEST(convert_bgra_to_uyvy, uniform_colours_dither_around_their_value) {
    const struct {
        int grey, matrix, y_min, y_max;
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
        {0, 709, 16, 16, 16, 128, 128, 128, 128, 256},  // zero input: the same for any coefficients
        // For white, 709's Cb settles near 127.49 with the halved error: some bytes drop to 127.
        {255, 709, 235, 236, 255 * 0.859 + 16, 127, 128, 127, 129, 127.99},
        {255, 601, 235, 236, 255 * 0.859 + 16, 127, 128, 127, 129, 256},
    };
    struct stats_t {
        int lo = 255, hi = 0, n = 0;
        double sum = 0;
        void add(int v) { lo = std::min(lo, v), hi = std::max(hi, v), sum += v, ++n; }
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.grey << " under " << c.matrix);
        conversion_t conv(256, 64);
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 4 * 256; ++x) conv.m_src.row(y)[x] = uint8_t(x % 4 == 3 ? 255 : c.grey);
        conv.run(uint32_t(c.matrix));
        const std::vector<uint8_t> bytes = conv.m_dst.rows_bytes();
        stats_t cb, y, cr;
        for (size_t i = 0; i < bytes.size(); i += 4)
            cb.add(bytes[i]), y.add(bytes[i + 1]), cr.add(bytes[i + 2]), y.add(bytes[i + 3]);
        // Below white nothing is clipped, so the lower bounds are reached exactly.
        EXPECT_TRUE(c.grey == 255 || (y.lo == c.y_min && cb.lo == c.cb_min && cr.lo == c.cr_min));
        EXPECT_TRUE(y.lo >= c.y_min && y.hi <= c.y_max && cb.lo >= c.cb_min && cr.lo >= c.cr_min && cr.hi <= c.cr_max);
        EXPECT_EQ(cb.hi, c.cb_max);
        EXPECT_NEAR(y.sum / y.n, c.y_mean, 0.01);
        EXPECT_NEAR(cr.sum / cr.n, 128.0, 0.01);
        EXPECT_LT(cb.sum / cb.n, c.cb_mean_below);
    }
}

// The scratch size, formed in wrapping 32-bit arithmetic; refusals write nothing.
TEST(convert_bgra_to_uyvy, scratch_size_and_refusals) {
    EXPECT_EQ(colour_matrix_for(600), nullptr);
    EXPECT_EQ(colour_matrix_for(0), nullptr);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1920, 1080), size_t(1081) * 1923 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1, 1), size_t(2) * 4 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, 0), size_t(8) * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, -1), size_t(0));
    EXPECT_THROW(bgra_to_uyvy_scratch_floats(5, -2), std::bad_alloc);
    // Wraps past 2^32 back to a small positive count: the request the 32-bit product makes.
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(65533, 65536), size_t(65536) * 3);

    guarded_image_t src(4, 64, 64), dst(4, 64, 64), alpha(4, 64, 64);
    const auto convert = [&](int w, int h, uint32_t matrix) {
        convert_bgra_to_uyvy_alpha(src.row(0), 64, dst.row(0), 64, alpha.row(0), 64, w, h, matrix);
    };
    // Empty sizes write nothing.
    const int empty[][2] = {{0, 4}, {-3, 4}, {4, 0}, {4, -1}, {0, 0}};
    for (const auto& d : empty) convert(d[0], d[1], 709);
    // An impossible scratch size throws before writing: (49999 + 1) * (49997 + 3) slots wraps
    // negative in 32-bit arithmetic, and a height below -1 makes a negative count.
    EXPECT_THROW(convert(49997, 49999, 709), std::bad_alloc);
    EXPECT_THROW(convert(4, -5, 709), std::bad_alloc);
    EXPECT_TRUE(dst.untouched() && alpha.untouched());
    // An unknown matrix leaves alpha alone and stays inside the rows.
    for (uint32_t matrix : {0u, 600u, 710u}) {
        conversion_t conv(8, 4, 4, false, matrix);
        conv.run(matrix);
        EXPECT_TRUE(conv.m_alpha.untouched() && conv.m_dst.guards_intact()) << matrix;
    }
}

// Shared memory: an alpha row over its source row (each pixel is read before its alpha byte
// lands, left to right), and UYVY rows over the BGRA rows they came from (every source row is
// read before it is overwritten) give the bytes of the plain in-order loop.
TEST(convert_bgra_to_uyvy, alpha_over_the_source_and_conversion_in_place) {
    for (int width : {4, 8, 14, 32})
        for (ptrdiff_t alpha_offset : {ptrdiff_t(0), ptrdiff_t(1), ptrdiff_t(width)}) {
            SCOPED_TRACE(testing::Message() << "width " << width << " offset " << alpha_offset);
            const int height = 3, stride = 4 * width;
            std::mt19937 rng(uint32_t(width * 100 + alpha_offset));
            std::vector<uint8_t> image(size_t(stride) * height + 64);
            for (uint8_t& b : image) b = uint8_t(rng());
            std::vector<uint8_t> expected_image = image, expected_dst(uyvy_row_bytes(width) * height);
            guarded_image_t dst(height, uyvy_row_bytes(width), ptrdiff_t(uyvy_row_bytes(width)));
            convert_bgra_to_uyvy_alpha(image.data(), stride, dst.row(0), int32_t(dst.stride()),
                                       image.data() + alpha_offset, stride, width, height, 709);
            std::vector<float> scratch;
            zav_test::model_bgra_to_uyvy(expected_image.data(), stride, expected_dst.data(),
                                         ptrdiff_t(uyvy_row_bytes(width)), expected_image.data() + alpha_offset, stride,
                                         width, height, 709, scratch);
            EXPECT_EQ(image, expected_image);
            EXPECT_EQ(dst.rows_bytes(), expected_dst);
        }
    for (int dst_stride_factor : {4, 2}) {
        SCOPED_TRACE(dst_stride_factor);
        const int width = 24, height = 10, dst_stride = dst_stride_factor * width;
        std::mt19937 rng(static_cast<uint32_t>(dst_stride_factor));
        std::vector<uint8_t> image(size_t(4 * width) * height), alpha(size_t(width) * height);
        for (uint8_t& b : image) b = uint8_t(rng());
        const zav_test::model_output_t want = zav_test::model_packed(image.data(), 4 * width, width, height, 709);
        // The output is written bottom-up from the end of the source, so its first rows cover
        // source rows that a row-interleaved schedule would not have read yet.
        uint8_t* dst = image.data() + (height - 1) * dst_stride;
        convert_bgra_to_uyvy_alpha(image.data(), 4 * width, dst, -dst_stride, alpha.data(), width, width, height, 709);
        for (int y = 0; y < height; ++y)
            ASSERT_TRUE(
                std::equal(dst - y * dst_stride, dst - y * dst_stride + 2 * width, want.m_dst.begin() + 2 * width * y))
                << "row " << y;
        EXPECT_EQ(alpha, want.m_alpha);
    }
}

// The load-time processor flags against the compiler's own feature query.
TEST(cpu_features, flags_match_the_processor) {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    EXPECT_EQ(g_cpu_has_ssse3, __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(g_cpu_has_sse41, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_TRUE(g_cpu_has_ssse3);  // the kernels are built for SSSE3; a processor that runs these tests has it
#else
    EXPECT_FALSE(g_cpu_has_ssse3 || g_cpu_has_sse41);
#endif
}

// Widths 1 to 41 of random pixels, then 768 pixels that hold every value of every channel in
// all four lane positions; slots of one pixel more on each side show that nothing is written
// past the row.
TEST(bgra_to_yuv_row, vector_form_gives_the_reference_floats) {
    for (uint32_t matrix : {709u, 601u}) {
        const colour_matrix_t& m = *colour_matrix_for(matrix);
        for (int width = 1; width <= 768; width += width == 41 ? 727 : 1) {
            SCOPED_TRACE(testing::Message() << "width " << width << " matrix " << matrix);
            std::mt19937 rng(uint32_t(width + matrix));
            std::vector<uint8_t> src(4 * size_t(width)), ref_alpha(size_t(width) + 2, 0xA5), vec_alpha = ref_alpha;
            for (int i = 0; i < width; ++i) {
                const uint8_t v = uint8_t(i), c[4] = {uint8_t(255 - v), uint8_t(v / 2), uint8_t(v ^ 0x5a), v};
                for (int k = 0; k < 4; ++k) src[4 * i + k] = width < 768 ? uint8_t(rng()) : i / 256 == k ? v : c[k];
            }
            std::vector<float> ref(3 * size_t(width + 2), -7.0f), vec = ref;
            bgra_to_yuv_row_c(src.data(), ref.data() + 3, ref_alpha.data() + 1, width, m);
            (width < 768 ? bgra_to_yuv_row : bgra_to_yuv_row_ssse3)(src.data(), vec.data() + 3, vec_alpha.data() + 1,
                                                                    width, m);
            EXPECT_EQ(std::memcmp(ref.data(), vec.data(), ref.size() * sizeof(float)), 0);  // bit for bit
            EXPECT_EQ(ref_alpha, vec_alpha);
            EXPECT_TRUE(vec.front() == -7.0f && vec.back() == -7.0f && vec_alpha.back() == 0xA5);
        }
    }
}

// Runs every schedule over copies of one scratch: the faster ones must give the bytes of the
// row-by-row one, and on a cleared scratch (odd widths then defined too) those of the model.
void compare_schedules(int width, int height, int pad, uint32_t matrix, const std::vector<float>* contents) {
    SCOPED_TRACE(testing::Message() << width << "x" << height << " matrix " << matrix);
    std::vector<uint8_t> ref_dst, ref_alpha;
    for (auto schedule : {bgra_to_uyvy_schedule_t::reference, bgra_to_uyvy_schedule_t::fast}) {
        SCOPED_TRACE(int(schedule));
        conversion_t conv(width, height, pad, false, uint32_t(width * 64 + height));
        std::vector<float> scratch =
            contents ? *contents : std::vector<float>(bgra_to_uyvy_scratch_floats(width, height), 0.0f);
        conv.run(matrix, &scratch, schedule);
        if (schedule == bgra_to_uyvy_schedule_t::reference) {
            ref_dst = conv.m_dst.rows_bytes(), ref_alpha = conv.m_alpha.rows_bytes();
            if (!contents) conv.expect_model(matrix);
        }
        EXPECT_EQ(conv.m_dst.rows_bytes(), ref_dst);
        EXPECT_EQ(conv.m_alpha.rows_bytes(), ref_alpha);
        EXPECT_TRUE(conv.m_dst.guards_intact() && conv.m_alpha.guards_intact());
    }
}

TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_and_the_model_on_cleared_scratch) {
    for (int width = 1; width <= 40; ++width)
        for (int height : {1, 2, 3, 4, 5, 7, 8, 9, 13, 14, 15, 16, 17, 31, 46})
            for (uint32_t matrix : {709u, 601u})
                compare_schedules(width, height, width % 3 == 0 ? 5 : 0, matrix, nullptr);
    for (int height : {1, 2, 5, 8}) compare_schedules(1919, height, 0, 709, nullptr);
}

// Whatever the uncleared slots hold, including values whose truncation leaves the 32-bit range,
// NaN and infinities, every schedule passes the same error along in the same order.
TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_on_any_scratch_contents) {
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              3.0e9f,
                              -3.0e9f,
                              2147483520.0f,
                              -2147483904.0f,
                              1.0e30f,
                              -0.0f,
                              255.75f,
                              -1.5f};
    for (int width : {1, 2, 3, 5, 6, 9, 16, 17, 31, 33})
        for (int height : {1, 3, 4, 6, 9, 16, 30}) {
            std::mt19937 rng(uint32_t(width * height));
            std::uniform_real_distribution<float> wide(-1.0e4f, 1.0e4f);
            std::vector<float> contents(bgra_to_uyvy_scratch_floats(width, height));
            for (float& f : contents) f = rng() % 4 == 0 ? specials[rng() % std::size(specials)] : wide(rng);
            for (uint32_t matrix : {709u, 601u, 0u}) compare_schedules(width, height, 0, matrix, &contents);
        }
}

}  // namespace

// The BGRA to UYVY converter: the public conversion against the independent model, the worked
// examples of the format and its boundaries; its vector row sets against the reference set (the
// colour and alpha rows, and the passes with rows converted just ahead and several dithered in
// flight, against the row-by-row order over scratch contents the tests choose).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "bgra_to_uyvy_model.h"
#include "guarded_image.h"
#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/bgra_to_uyvy_passes.h"
#include "pixel/bgra_to_uyvy_rows.h"
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

    // Through the public entry, or the passes with one row set over the given scratch.
    void run(uint32_t matrix, std::vector<float>* scratch = nullptr, const bgra_to_uyvy_rows_t* rows = nullptr) {
        if (!scratch)
            return convert_bgra_to_uyvy_alpha(m_src.row(0), int32_t(m_src.stride()), m_dst.row(0),
                                              int32_t(m_dst.stride()), m_alpha.row(0), int32_t(m_alpha.stride()),
                                              m_width, m_height, matrix);
        bgra_to_uyvy_run_passes(scratch->data(), m_src.row(0), int32_t(m_src.stride()), m_dst.row(0),
                                int32_t(m_dst.stride()), m_alpha.row(0), int32_t(m_alpha.stride()), m_width, m_height,
                                matrix, *rows);
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
TEST_P(even_width_matches_model_t, writes_exactly_the_model_bytes) {
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
// "1920x1080", "10x8_pad_4_flipped".
std::string describe(const size_case_t& c) {
    std::string name = std::to_string(c.width) + "x" + std::to_string(c.height);
    if (c.pad) name += "_pad_" + std::to_string(c.pad);
    if (c.flip) name += "_flipped";
    return name;
}

std::string size_case_name(const ::testing::TestParamInfo<size_case_t>& info) {
    return describe(info.param);
}

// The case as the test lists print it: the same words, not a dump of its bytes.
void PrintTo(const size_case_t& c, std::ostream* os) {
    *os << describe(c);
}
INSTANTIATE_TEST_SUITE_P(sizes, even_width_matches_model_t, ::testing::ValuesIn(k_sizes), size_case_name);

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

// The scratch size, formed in wrapping 32-bit arithmetic.
TEST(bgra_to_uyvy_scratch_floats, is_the_slot_count_of_the_wrapping_32_bit_product) {
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1920, 1080), size_t(1081) * 1923 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1, 1), size_t(2) * 4 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, 0), size_t(8) * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, -1), size_t(0));
    // Wraps past 2^32 back to a small positive count: the request the 32-bit product makes.
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(65533, 65536), size_t(65536) * 3);
}

TEST(bgra_to_uyvy_scratch_floats, negative_count_throws) {
    EXPECT_THROW(bgra_to_uyvy_scratch_floats(5, -2), std::bad_alloc);
}

TEST(colour_matrix_for, names_only_601_and_709) {
    EXPECT_NE(colour_matrix_for(601), nullptr);
    EXPECT_NE(colour_matrix_for(709), nullptr);
    EXPECT_EQ(colour_matrix_for(600), nullptr);
    EXPECT_EQ(colour_matrix_for(0), nullptr);
}

// Images of 4 rows of 64 bytes, each between guard bytes.
struct refusal_images_t {
    guarded_image_t m_src{4, 64, 64}, m_dst{4, 64, 64}, m_alpha{4, 64, 64};

    void convert(int width, int height, uint32_t matrix) {
        convert_bgra_to_uyvy_alpha(m_src.row(0), 64, m_dst.row(0), 64, m_alpha.row(0), 64, width, height, matrix);
    }
};

TEST(convert_bgra_to_uyvy, empty_sizes_write_nothing) {
    const struct { int width, height; } empty[] = {{0, 4}, {-3, 4}, {4, 0}, {4, -1}, {0, 0}};
    refusal_images_t images;
    for (const auto& size : empty) images.convert(size.width, size.height, 709);
    EXPECT_TRUE(images.m_dst.untouched() && images.m_alpha.untouched());
}

// (49999 + 1) * (49997 + 3) slots wraps negative in 32-bit arithmetic, and a height below -1
// makes a negative count.
TEST(convert_bgra_to_uyvy, impossible_scratch_size_throws_before_writing) {
    refusal_images_t images;
    EXPECT_THROW(images.convert(49997, 49999, 709), std::bad_alloc);
    EXPECT_THROW(images.convert(4, -5, 709), std::bad_alloc);
    EXPECT_TRUE(images.m_dst.untouched() && images.m_alpha.untouched());
}

TEST(convert_bgra_to_uyvy, unknown_matrix_leaves_alpha_alone_inside_the_rows) {
    for (uint32_t matrix : {0u, 600u, 710u}) {
        conversion_t conv(8, 4, 4, false, matrix);
        conv.run(matrix);
        EXPECT_TRUE(conv.m_alpha.untouched() && conv.m_dst.guards_intact()) << matrix;
    }
}

// Shared memory: an alpha row over its source row (each pixel is read before its alpha byte
// lands, left to right) gives the bytes of the plain in-order loop.
TEST(convert_bgra_to_uyvy, alpha_over_the_source_gives_the_in_order_bytes) {
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
}

// UYVY rows over the BGRA rows they came from: every source row is read before it is
// overwritten, as in the plain in-order loop.
TEST(convert_bgra_to_uyvy, conversion_in_place_gives_the_in_order_bytes) {
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
    EXPECT_EQ(cpu_flags_at_load().m_ssse3, g_cpu_has_ssse3);
}

// The selection point runs the SSSE3 baseline.
TEST(select_bgra_to_uyvy_rows, picks_the_ssse3_baseline) {
    EXPECT_EQ(&select_bgra_to_uyvy_rows(cpu_flags_at_load()), &ssse3_bgra_to_uyvy_rows());
}

// The vector row sets that this processor can run, with their names for the traces.
struct row_set_t {
    const char* m_p_name;
    const bgra_to_uyvy_rows_t* m_p_rows;
};

std::vector<row_set_t> vector_row_sets() {
    return {{"ssse3", &ssse3_bgra_to_uyvy_rows()}};
}

// Pixels for the colour row: random bytes, or (every_value) 768 pixels that hold every value of
// every channel in all four lane positions.
std::vector<uint8_t> colour_row_pixels(int width, bool every_value, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> src(4 * size_t(width));
    for (int i = 0; i < width; ++i) {
        const uint8_t v = uint8_t(i);
        const uint8_t others[4] = {uint8_t(255 - v), uint8_t(v / 2), uint8_t(v ^ 0x5a), v};
        for (int k = 0; k < 4; ++k) {
            if (!every_value)
                src[4 * i + k] = uint8_t(rng());
            else
                src[4 * i + k] = i / 256 == k ? v : others[k];
        }
    }
    return src;
}

// Slots of one pixel more on each side show that nothing is written past the row.
void expect_colour_row_matches_reference(const row_set_t& set, int width, bool every_value) {
    for (uint32_t matrix : {709u, 601u}) {
        SCOPED_TRACE(testing::Message() << set.m_p_name << " width " << width << " matrix " << matrix);
        const colour_matrix_t& m = *colour_matrix_for(matrix);
        const std::vector<uint8_t> src = colour_row_pixels(width, every_value, uint32_t(width + matrix));
        std::vector<uint8_t> ref_alpha(size_t(width) + 2, 0xA5), vec_alpha = ref_alpha;
        std::vector<float> ref(3 * size_t(width + 2), -7.0f), vec = ref;
        bgra_to_yuv_row_c(src.data(), ref.data() + 3, ref_alpha.data() + 1, width, m);
        set.m_p_rows->m_p_colour_row(src.data(), vec.data() + 3, vec_alpha.data() + 1, width, m);
        EXPECT_EQ(std::memcmp(ref.data(), vec.data(), ref.size() * sizeof(float)), 0);  // bit for bit
        EXPECT_EQ(ref_alpha, vec_alpha);
        EXPECT_TRUE(vec.front() == -7.0f && vec.back() == -7.0f && vec_alpha.back() == 0xA5);
    }
}

TEST(bgra_to_yuv_row, vector_rows_give_the_reference_floats_at_narrow_widths) {
    // Below one vector, one vector, and one vector plus each possible tail.
    const int widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 15, 16, 17, 31, 33, 41};
    for (const row_set_t& set : vector_row_sets())
        for (int width : widths) expect_colour_row_matches_reference(set, width, false);
}

TEST(bgra_to_yuv_row, vector_rows_give_the_reference_floats_for_every_channel_value) {
    for (const row_set_t& set : vector_row_sets()) expect_colour_row_matches_reference(set, 768, true);
}

TEST(bgra_to_yuv_alpha_row, vector_rows_copy_every_alpha_byte) {
    const int widths[] = {1, 3, 15, 16, 17, 33, 100};
    for (const row_set_t& set : vector_row_sets())
        for (int width : widths) {
            SCOPED_TRACE(testing::Message() << set.m_p_name << " width " << width);
            const std::vector<uint8_t> src = colour_row_pixels(width, false, uint32_t(width));
            std::vector<uint8_t> alpha(size_t(width) + 1, 0xA5), want = alpha;
            for (int x = 0; x < width; ++x) want[size_t(x)] = src[4 * size_t(x) + 3];
            set.m_p_rows->m_p_alpha_row(src.data(), alpha.data(), width);
            EXPECT_EQ(alpha, want);
        }
}

// One conversion through the passes with a row set.
struct row_set_case_t {
    int m_width;
    int m_height;
    int m_pad;
    bool m_flip;
};

// Runs every row set over copies of one scratch: the vector sets must give the bytes of the
// reference set, and on a cleared scratch (odd widths then defined too) those of the model.
void compare_row_sets(const row_set_case_t& c, uint32_t matrix, const std::vector<float>* contents) {
    SCOPED_TRACE(testing::Message() << c.m_width << "x" << c.m_height << " pad " << c.m_pad
                                    << (c.m_flip ? " flipped" : "") << " matrix " << matrix);
    const auto fresh_scratch = [&] {
        return contents ? *contents : std::vector<float>(bgra_to_uyvy_scratch_floats(c.m_width, c.m_height), 0.0f);
    };
    const uint32_t seed = uint32_t(c.m_width * 64 + c.m_height);
    conversion_t ref(c.m_width, c.m_height, c.m_pad, c.m_flip, seed);
    std::vector<float> ref_scratch = fresh_scratch();
    ref.run(matrix, &ref_scratch, &reference_bgra_to_uyvy_rows());
    if (!contents && matrix != 0) ref.expect_model(matrix);
    for (const row_set_t& set : vector_row_sets()) {
        SCOPED_TRACE(set.m_p_name);
        conversion_t conv(c.m_width, c.m_height, c.m_pad, c.m_flip, seed);
        std::vector<float> scratch = fresh_scratch();
        conv.run(matrix, &scratch, set.m_p_rows);
        EXPECT_EQ(conv.m_dst.rows_bytes(), ref.m_dst.rows_bytes());
        EXPECT_EQ(conv.m_alpha.rows_bytes(), ref.m_alpha.rows_bytes());
        EXPECT_TRUE(conv.m_dst.guards_intact() && conv.m_alpha.guards_intact());
    }
}

// Heights around the bands of the vector set: 15 rows dithered at a time.
const int k_band_heights[] = {1, 2, 3, 4, 5, 7, 8, 9, 13, 14, 15, 16, 17, 30, 31, 32, 33, 46, 63, 64};

TEST(bgra_to_uyvy_row_sets, vector_sets_give_the_reference_bytes_at_every_small_width) {
    for (int width = 1; width <= 40; ++width)
        for (int height : k_band_heights)
            for (uint32_t matrix : {709u, 601u})
                compare_row_sets({width, height, width % 3 == 0 ? 5 : 0, false}, matrix, nullptr);
}

TEST(bgra_to_uyvy_row_sets, vector_sets_give_the_reference_bytes_on_wide_odd_rows) {
    const row_set_case_t cases[] = {
        {1919, 1, 0, false}, {1919, 2, 0, false}, {1919, 5, 0, false}, {1919, 8, 0, false}, {1919, 33, 0, false},
    };
    for (const row_set_case_t& c : cases) compare_row_sets(c, 709, nullptr);
}

TEST(bgra_to_uyvy_row_sets, vector_sets_give_the_reference_bytes_with_negative_strides) {
    const row_set_case_t cases[] = {
        {7, 9, 0, true}, {10, 8, 4, true}, {33, 31, 3, true}, {36, 5, 0, true}, {65, 47, 12, true},
    };
    for (const row_set_case_t& c : cases)
        for (uint32_t matrix : {709u, 601u}) compare_row_sets(c, matrix, nullptr);
}

// Whatever the uncleared slots hold, including values whose truncation leaves the 32-bit range,
// NaN and infinities, every row set passes the same error along in the same order.
TEST(bgra_to_uyvy_row_sets, vector_sets_give_the_reference_bytes_on_any_scratch_contents) {
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
        for (int height : {1, 3, 4, 6, 9, 16, 30, 32, 33}) {
            std::mt19937 rng(uint32_t(width * height));
            std::uniform_real_distribution<float> wide(-1.0e4f, 1.0e4f);
            std::vector<float> contents(bgra_to_uyvy_scratch_floats(width, height));
            for (float& f : contents) f = rng() % 4 == 0 ? specials[rng() % std::size(specials)] : wide(rng);
            // Matrix 0 skips the colour pass: the packing pass then runs over these contents alone.
            for (uint32_t matrix : {709u, 601u, 0u}) compare_row_sets({width, height, 0, false}, matrix, &contents);
        }
}

// An alpha plane over the source: the vector sets fall back to the reference colour row and
// still give its bytes.
TEST(bgra_to_uyvy_row_sets, vector_sets_give_the_reference_bytes_with_alpha_over_the_source) {
    const int widths[] = {4, 9, 32, 33, 70};
    const int heights[] = {3, 17, 40};
    for (int width : widths)
        for (int height : heights)
            for (uint32_t matrix : {709u, 601u}) {
                SCOPED_TRACE(testing::Message() << width << "x" << height << " matrix " << matrix);
                const int stride = 4 * width;
                std::mt19937 rng(uint32_t(width * 100 + height));
                std::vector<uint8_t> original(size_t(stride) * height + 64);
                for (uint8_t& b : original) b = uint8_t(rng());
                const auto convert = [&](const bgra_to_uyvy_rows_t& rows, std::vector<uint8_t>& dst) {
                    std::vector<uint8_t> image = original;
                    dst.assign(uyvy_row_bytes(width) * size_t(height), 0);
                    std::vector<float> scratch(bgra_to_uyvy_scratch_floats(width, height), 0.0f);
                    bgra_to_uyvy_run_passes(scratch.data(), image.data(), stride, dst.data(),
                                            int32_t(uyvy_row_bytes(width)), image.data() + 1, stride, width, height,
                                            matrix, rows);
                    return image;
                };
                std::vector<uint8_t> ref_dst, dst;
                const std::vector<uint8_t> ref_image = convert(reference_bgra_to_uyvy_rows(), ref_dst);
                for (const row_set_t& set : vector_row_sets()) {
                    SCOPED_TRACE(set.m_p_name);
                    EXPECT_EQ(convert(*set.m_p_rows, dst), ref_image);
                    EXPECT_EQ(dst, ref_dst);
                }
            }
}

}  // namespace

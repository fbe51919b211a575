// The converter's fast kernels against its reference row functions: the vector colour row, and
// the fast schedule (rows converted just ahead, several rows dithered in flight) against the
// row-by-row order, over scratch contents that the tests choose.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "bgra_to_uyvy_model.h"
#include "guarded_image.h"
#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/bgra_to_uyvy_passes.h"

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;
using zav_test::guarded_image_t;

size_t uyvy_row_bytes(int width) { return static_cast<size_t>((width + 1) / 2) * 4; }

bool same_bits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Widths 1 to 41 of random pixels through the dispatched form, with slots of one pixel more
// on each side to see that it writes nothing past the row; then every value of every channel
// in all four lane positions through the vector form itself.
TEST(bgra_to_yuv_row, vector_form_gives_the_reference_floats)
{
    for (uint32_t matrix : {709u, 601u}) {
        const colour_matrix_t& m = *colour_matrix_for(matrix);
        for (int width = 1; width <= 41; ++width) {
            std::mt19937 rng(uint32_t(width + matrix));
            std::vector<uint8_t> src(4 * size_t(width));
            for (uint8_t& b : src) b = uint8_t(rng());
            std::vector<float> ref(3 * size_t(width + 2), -7.0f), vec = ref;
            std::vector<uint8_t> ref_alpha(size_t(width) + 2, 0xA5), vec_alpha = ref_alpha;
            bgra_to_yuv_row_c(src.data(), ref.data() + 3, ref_alpha.data() + 1, width, m);
            bgra_to_yuv_row(src.data(), vec.data() + 3, vec_alpha.data() + 1, width, m);
            EXPECT_TRUE(same_bits(ref, vec)) << "width " << width << " matrix " << matrix;
            EXPECT_EQ(ref_alpha, vec_alpha) << "width " << width;
            EXPECT_EQ(vec.front(), -7.0f);
            EXPECT_EQ(vec.back(), -7.0f);
            EXPECT_EQ(vec_alpha.back(), 0xA5);
        }
        const int width = 256 * 3;
        std::vector<uint8_t> src(4 * size_t(width));
        for (int i = 0; i < width; ++i) {
            const uint8_t v = uint8_t(i);
            src[4 * i + 0] = i / 256 == 0 ? v : uint8_t(255 - v);
            src[4 * i + 1] = i / 256 == 1 ? v : uint8_t(v / 2);
            src[4 * i + 2] = i / 256 == 2 ? v : uint8_t(v ^ 0x5a);
            src[4 * i + 3] = v;
        }
        std::vector<float> ref(3 * size_t(width)), vec(ref.size());
        std::vector<uint8_t> ref_alpha(width), vec_alpha(width);
        bgra_to_yuv_row_c(src.data(), ref.data(), ref_alpha.data(), width, m);
        bgra_to_yuv_row_ssse3(src.data(), vec.data(), vec_alpha.data(), width, m);
        EXPECT_TRUE(same_bits(ref, vec)) << matrix;
        EXPECT_EQ(ref_alpha, vec_alpha);
    }
}

TEST(bgra_to_uyvy_scratch, size_and_refusals)
{
    EXPECT_EQ(colour_matrix_for(600), nullptr);
    EXPECT_EQ(colour_matrix_for(0), nullptr);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1920, 1080), size_t(1081) * 1923 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(1, 1), size_t(2) * 4 * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, 0), size_t(8) * 3);
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(5, -1), size_t(0));
    EXPECT_THROW(bgra_to_uyvy_scratch_floats(5, -2), std::bad_alloc);
    EXPECT_THROW(bgra_to_uyvy_scratch_floats(49997, 49999), std::bad_alloc);
    // Wraps past 2^32 back to a small positive count: the request the 32-bit product makes.
    EXPECT_EQ(bgra_to_uyvy_scratch_floats(65533, 65536), size_t(65536) * 3);
}

// Runs both schedules over copies of one scratch and returns whether their bytes agree.
struct schedules_t {
    int m_width, m_height;
    guarded_image_t m_src;
    std::vector<float> m_scratch;

    schedules_t(int width, int height, int pad, uint32_t seed)
        : m_width(width), m_height(height), m_src(height, 4 * size_t(width), ptrdiff_t(4 * width + pad)),
          m_scratch(bgra_to_uyvy_scratch_floats(width, height), 0.0f)
    {
        std::mt19937 rng(seed);
        m_src.fill_rows_random(rng);
    }

    void run(bgra_to_uyvy_schedule_t schedule, uint32_t matrix, guarded_image_t& dst, guarded_image_t& alpha,
             std::vector<float>& scratch) const
    {
        scratch = m_scratch;
        bgra_to_uyvy_run_passes(scratch.data(), m_src.row(0), int32_t(m_src.stride()), dst.row(0),
                                int32_t(dst.stride()), alpha.row(0), int32_t(alpha.stride()), m_width, m_height,
                                matrix, schedule);
    }

    void compare(uint32_t matrix, int pad) const
    {
        guarded_image_t ref_dst(m_height, uyvy_row_bytes(m_width), ptrdiff_t(uyvy_row_bytes(m_width) + pad));
        guarded_image_t ref_alpha(m_height, size_t(m_width), ptrdiff_t(m_width + pad));
        std::vector<float> ref_scratch, fast_scratch;
        run(bgra_to_uyvy_schedule_t::reference, matrix, ref_dst, ref_alpha, ref_scratch);
        EXPECT_TRUE(ref_dst.guards_intact()) << m_width << "x" << m_height;
        for (auto schedule : {bgra_to_uyvy_schedule_t::wavefront, bgra_to_uyvy_schedule_t::fast}) {
            guarded_image_t fast_dst(m_height, uyvy_row_bytes(m_width), ptrdiff_t(uyvy_row_bytes(m_width) + pad));
            guarded_image_t fast_alpha(m_height, size_t(m_width), ptrdiff_t(m_width + pad));
            run(schedule, matrix, fast_dst, fast_alpha, fast_scratch);
            const char* name = schedule == bgra_to_uyvy_schedule_t::fast ? "lanes" : "wavefront";
            EXPECT_EQ(ref_dst.rows_bytes(), fast_dst.rows_bytes())
                << name << " " << m_width << "x" << m_height << " matrix " << matrix;
            EXPECT_EQ(ref_alpha.rows_bytes(), fast_alpha.rows_bytes()) << name << " " << m_width << "x" << m_height;
            EXPECT_TRUE(fast_dst.guards_intact()) << name << " " << m_width << "x" << m_height;
            EXPECT_TRUE(fast_alpha.guards_intact()) << name << " " << m_width << "x" << m_height;
        }
    }
};

TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_on_cleared_scratch)
{
    for (int width = 1; width <= 40; ++width)
        for (int height : {1, 2, 3, 4, 5, 7, 8, 9, 13, 14, 15, 16, 17, 31, 46})
            for (uint32_t matrix : {709u, 601u}) {
                const int pad = width % 3 == 0 ? 5 : 0;
                schedules_t(width, height, pad, uint32_t(width * 64 + height)).compare(matrix, pad);
            }
}

// Whatever the uncleared slots hold, including values whose truncation leaves the 32-bit range,
// NaN and infinities, both schedules pass the same error along in the same order.
TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_on_any_scratch_contents)
{
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 3.0e9f, -3.0e9f, 2147483520.0f,
                              -2147483904.0f, 1.0e30f, -0.0f, 255.75f, -1.5f};
    for (int width : {1, 2, 3, 5, 6, 9, 16, 17, 31, 33}) {
        for (int height : {1, 3, 4, 6, 9, 16, 30}) {
            schedules_t s(width, height, 0, uint32_t(width + 1000 * height));
            std::mt19937 rng(uint32_t(width * height));
            std::uniform_real_distribution<float> wide(-1.0e4f, 1.0e4f);
            for (size_t i = 0; i < s.m_scratch.size(); ++i)
                s.m_scratch[i] = rng() % 4 == 0 ? specials[rng() % std::size(specials)] : wide(rng);
            for (uint32_t matrix : {709u, 601u, 0u}) s.compare(matrix, 0);
        }
    }
}

// With a cleared scratch the odd widths are defined, and the fast schedule matches the model.
TEST(bgra_to_uyvy_schedules, odd_widths_on_cleared_scratch_match_model)
{
    for (int width : {1, 3, 5, 7, 9, 15, 17, 31, 33, 1919}) {
        for (int height : {1, 2, 5, 8}) {
            schedules_t s(width, height, 0, uint32_t(width * 3 + height));
            guarded_image_t dst(height, uyvy_row_bytes(width), ptrdiff_t(uyvy_row_bytes(width)));
            guarded_image_t alpha(height, size_t(width), ptrdiff_t(width));
            std::vector<float> scratch;
            s.run(bgra_to_uyvy_schedule_t::fast, 709, dst, alpha, scratch);

            std::vector<uint8_t> want(uyvy_row_bytes(width) * height), want_alpha(size_t(width) * height);
            std::vector<float> model_scratch;
            zav_test::model_bgra_to_uyvy(s.m_src.row(0), s.m_src.stride(), want.data(),
                                         ptrdiff_t(uyvy_row_bytes(width)), want_alpha.data(), width, width, height,
                                         709, model_scratch);
            EXPECT_EQ(dst.rows_bytes(), want) << width << "x" << height;
            EXPECT_EQ(alpha.rows_bytes(), want_alpha) << width << "x" << height;
        }
    }
}

}  // namespace

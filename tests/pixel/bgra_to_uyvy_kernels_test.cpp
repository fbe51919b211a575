// The converter's fast kernels against its reference row functions: the vector colour row, and
// the fast schedule (rows converted just ahead, several rows dithered in flight) against the
// row-by-row order, over scratch contents that the tests choose.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "bgra_to_uyvy_model.h"
#include "guarded_image.h"
#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/bgra_to_uyvy_passes.h"
#include "pixel/cpu_features.h"

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;
using zav_test::guarded_image_t;
using zav_test::uyvy_row_bytes;

// The load-time processor flags against the compiler's own feature query.
TEST(cpu_features, flags_match_the_processor)
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    EXPECT_EQ(g_cpu_has_ssse3, __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(g_cpu_has_sse41, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_TRUE(g_cpu_has_ssse3);  // the kernels are built for SSSE3; a processor that runs these tests has it
#else
    EXPECT_FALSE(g_cpu_has_ssse3 || g_cpu_has_sse41);
#endif
}

// Float vectors equal bit for bit (NaN and -0 included).
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
            std::vector<uint8_t> src(4 * size_t(width)), ref_alpha(size_t(width) + 2, 0xA5), vec_alpha = ref_alpha;
            for (uint8_t& b : src) b = uint8_t(rng());
            std::vector<float> ref(3 * size_t(width + 2), -7.0f), vec = ref;
            bgra_to_yuv_row_c(src.data(), ref.data() + 3, ref_alpha.data() + 1, width, m);
            bgra_to_yuv_row(src.data(), vec.data() + 3, vec_alpha.data() + 1, width, m);
            EXPECT_TRUE(same_bits(ref, vec)) << "width " << width << " matrix " << matrix;
            EXPECT_EQ(ref_alpha, vec_alpha) << "width " << width;
            EXPECT_TRUE(vec.front() == -7.0f && vec.back() == -7.0f && vec_alpha.back() == 0xA5) << "width " << width;
        }
        const int width = 256 * 3;
        std::vector<uint8_t> src(4 * size_t(width)), ref_alpha(width), vec_alpha(width);
        for (int i = 0; i < width; ++i) {
            const uint8_t v = uint8_t(i);
            src[4 * i + 0] = i / 256 == 0 ? v : uint8_t(255 - v);
            src[4 * i + 1] = i / 256 == 1 ? v : uint8_t(v / 2);
            src[4 * i + 2] = i / 256 == 2 ? v : uint8_t(v ^ 0x5a);
            src[4 * i + 3] = v;
        }
        std::vector<float> ref(3 * size_t(width)), vec(ref.size());
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

// Runs every schedule over copies of one scratch: the faster ones must give the bytes of the
// row-by-row one, and on a cleared scratch (odd widths then defined too) those of the model.
void compare_schedules(int width, int height, int pad, uint32_t matrix, const std::vector<float>* contents)
{
    SCOPED_TRACE(testing::Message() << width << "x" << height << " matrix " << matrix);
    std::mt19937 rng(uint32_t(width * 64 + height));
    guarded_image_t src(height, 4 * size_t(width), ptrdiff_t(4 * width + pad));
    src.fill_rows_random(rng);
    std::vector<uint8_t> ref_dst, ref_alpha;
    for (auto schedule : {bgra_to_uyvy_schedule_t::reference, bgra_to_uyvy_schedule_t::wavefront, bgra_to_uyvy_schedule_t::fast}) {
        SCOPED_TRACE(int(schedule));
        std::vector<float> scratch = contents ? *contents : std::vector<float>(bgra_to_uyvy_scratch_floats(width, height), 0.0f);
        guarded_image_t dst(height, uyvy_row_bytes(width), ptrdiff_t(uyvy_row_bytes(width) + pad));
        guarded_image_t alpha(height, size_t(width), ptrdiff_t(width + pad));
        bgra_to_uyvy_run_passes(scratch.data(), src.row(0), int32_t(src.stride()), dst.row(0), int32_t(dst.stride()),
                                alpha.row(0), int32_t(alpha.stride()), width, height, matrix, schedule);
        EXPECT_TRUE(dst.guards_intact() && alpha.guards_intact());
        if (schedule == bgra_to_uyvy_schedule_t::reference) {
            ref_dst = dst.rows_bytes(), ref_alpha = alpha.rows_bytes();
            if (contents) continue;
            const zav_test::model_output_t want = zav_test::model_packed(src.row(0), src.stride(), width, height, matrix);
            EXPECT_EQ(ref_dst, want.m_dst);
            EXPECT_EQ(ref_alpha, want.m_alpha);
        }
        EXPECT_EQ(dst.rows_bytes(), ref_dst);
        EXPECT_EQ(alpha.rows_bytes(), ref_alpha);
    }
}

TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_and_the_model_on_cleared_scratch)
{
    for (int width = 1; width <= 40; ++width)
        for (int height : {1, 2, 3, 4, 5, 7, 8, 9, 13, 14, 15, 16, 17, 31, 46})
            for (uint32_t matrix : {709u, 601u}) compare_schedules(width, height, width % 3 == 0 ? 5 : 0, matrix, nullptr);
    for (int height : {1, 2, 5, 8}) compare_schedules(1919, height, 0, 709, nullptr);
}

// Whatever the uncleared slots hold, including values whose truncation leaves the 32-bit range,
// NaN and infinities, every schedule passes the same error along in the same order.
TEST(bgra_to_uyvy_schedules, fast_equals_row_by_row_on_any_scratch_contents)
{
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 3.0e9f, -3.0e9f, 2147483520.0f,
                              -2147483904.0f, 1.0e30f, -0.0f, 255.75f, -1.5f};
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

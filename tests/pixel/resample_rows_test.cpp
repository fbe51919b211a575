// Each vector row function, in all four alignment variants, against the reference row
// function that defines it; and the coefficient table's choice of layout.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "guarded_image.h"
#include "pixel/resample_internal.h"

namespace {

namespace rs = Drivers::Mac::ZAV::VirtualCamera::resample;
using zav_test::guarded_image_t;

// One row of `bytes` bytes at a 16-byte boundary or 5 past one, between guard bytes.
guarded_image_t row_of(size_t bytes, bool aligned) { return guarded_image_t(1, bytes, ptrdiff_t(bytes), aligned ? 0 : 5); }

guarded_image_t random_row(size_t bytes, bool aligned, std::mt19937& rng)
{
    guarded_image_t row = row_of(bytes, aligned);
    row.fill_rows_random(rng);
    return row;
}

class row_functions_match_reference_t : public testing::TestWithParam<int> {
protected:
    bool src_aligned() const { return GetParam() & 1; }
    bool dst_aligned() const { return GetParam() & 2; }
    const rs::row_functions_t& simd() const { return rs::ssse3_row_functions(src_aligned(), dst_aligned()); }
    const rs::row_functions_t& ref() const { return rs::reference_row_functions(); }
    guarded_image_t src_row(size_t bytes) { return random_row(bytes, src_aligned(), m_rng); }

    // The vector output equals the reference output, and neither wrote past its row.
    static void expect_same(const guarded_image_t& got, const guarded_image_t& want)
    {
        ASSERT_EQ(got.rows_bytes(), want.rows_bytes());
        ASSERT_TRUE(got.guards_intact());
        ASSERT_TRUE(want.guards_intact());
    }

    std::mt19937 m_rng{11};
};

// Byte counts of 0 to 4 pixel pairs, around one and two 16-byte groups, and full rows.
const uint32_t k_lengths[] = {0, 2, 4, 8, 12, 14, 16, 18, 20, 28, 32, 36, 44, 48, 60, 64, 100, 2560, 3840};

TEST_P(row_functions_match_reference_t, vertical_blend_halving_and_two_thirds_rows)
{
    for (uint32_t n : k_lengths) {
        SCOPED_TRACE(n);
        for (uint32_t f = 0; f < 64; ++f) {
            SCOPED_TRACE(f);
            const guarded_image_t a = src_row(n), b = src_row(n);
            guarded_image_t want = row_of(n, true), to_buffer = row_of(n, true), to_dst = row_of(n, dst_aligned());
            ref().m_p_blend_to_buffer(a.row(0), b.row(0), want.row(0), n, f);
            simd().m_p_blend_to_buffer(a.row(0), b.row(0), to_buffer.row(0), n, f);
            simd().m_p_blend_to_destination(a.row(0), b.row(0), to_dst.row(0), n, f);
            expect_same(to_buffer, want);
            expect_same(to_dst, want);
        }
        if (n % 4 == 0) {
            const guarded_image_t a = src_row(2 * n), b = src_row(2 * n);
            guarded_image_t want = row_of(n, true), got = row_of(n, dst_aligned());
            ref().m_p_halve(a.row(0), b.row(0), want.row(0), n);
            simd().m_p_halve(a.row(0), b.row(0), got.row(0), n);
            expect_same(got, want);
        }
        for (uint32_t phase = 0; phase < 2; ++phase) {
            const guarded_image_t r0 = src_row(n), r1 = src_row(n), r2 = src_row(n), r3 = src_row(n);
            const uint8_t* const rows[4] = {r0.row(0), r1.row(0), r2.row(0), r3.row(0)};
            guarded_image_t want = row_of(n, true), got = row_of(n, true);
            ref().m_p_two_thirds_vertical(rows, phase, want.row(0), n);
            simd().m_p_two_thirds_vertical(rows, phase, got.row(0), n);
            expect_same(got, want);
        }
        // The horizontal pass reads a row buffer whose edge pixels repeat 4 bytes either side.
        if (n % 4 || n < 8) continue;
        const uint32_t dst_bytes = uint32_t(2 * ((2 * (n / 2) / 3) & ~1u));
        guarded_image_t src = random_row(n + 64, true, m_rng);
        uint8_t* row = src.row(0) + 4;
        row[-4] = row[0], row[-3] = row[1], row[-2] = row[2], row[-1] = row[1];
        row[n] = row[n - 4], row[n + 1] = row[n - 1], row[n + 2] = row[n - 2], row[n + 3] = row[n - 1];
        guarded_image_t want = row_of(dst_bytes, true), got = row_of(dst_bytes, dst_aligned());
        ref().m_p_two_thirds_horizontal(row, n, want.row(0), dst_bytes);
        simd().m_p_two_thirds_horizontal(row, n, got.row(0), dst_bytes);
        expect_same(got, want);
    }
}

rs::horizontal_map_t map_for(uint32_t ws, uint32_t wd, float scale, float offset)
{
    return {rs::to_fixed_16_16(offset), rs::to_fixed_16_16(scale), ws, wd, nullptr};
}

// A coefficient table built with the layout rule fed `rule_scale` (so that the general
// layout can be forced onto any step).
rs::coefficient_table_t table_for(rs::horizontal_map_t& map, float rule_scale,
                                  std::vector<rs::coefficient_group_t>& groups)
{
    groups.resize(rs::coefficient_group_count(map.m_dst_width));
    rs::coefficient_table_t table;
    table.m_p_groups = groups.data();
    rs::build_coefficient_table(map, rule_scale, table);
    return table;
}

TEST_P(row_functions_match_reference_t, horizontal_in_both_table_layouts)
{
    const auto check = [this](uint32_t ws, uint32_t wd, float scale, float offset, float rule_scale, int layout) {
        SCOPED_TRACE(testing::Message() << ws << " -> " << wd << " rule scale " << rule_scale);
        rs::horizontal_map_t map = map_for(ws, wd, scale, offset);
        std::vector<rs::coefficient_group_t> groups;
        const rs::coefficient_table_t table = table_for(map, rule_scale, groups);
        map.m_p_table = &table;
        if (layout >= 0) {
            EXPECT_EQ(int(table.m_layout), layout);
        }
        const guarded_image_t src = random_row(std::max<size_t>(2 * ws, table.m_read_end) + 16, true, m_rng);
        guarded_image_t want = row_of(2 * wd, true), got = row_of(2 * wd, true);
        ref().m_p_horizontal(src.row(0), want.row(0), map);
        simd().m_p_horizontal(src.row(0), got.row(0), map);
        expect_same(got, want);
    };
    const uint32_t pairs[][2] = {{2, 2},   {2, 6},   {4, 8},      {6, 16},     {8, 24},    {16, 10},     {20, 34},
                                 {64, 66}, {100, 18}, {640, 640}, {1280, 1920}, {1920, 640}, {1920, 1366}, {7, 12},
                                 {9, 6}};
    for (const auto& p : pairs) {
        const float scale = float(p[0]) / float(p[1]), offset = (float(p[0]) - float(p[1])) * 0.5f / float(p[1]);
        check(p[0], p[1], scale, offset, scale, -1);
        check(p[0], p[1], scale, offset, 3.0f, 1);  // the general layout forced onto the same step
    }
    check(64, 40, -1.5f, 60.0f, 1.5f, -1);
    check(64, 40, 0.0f, 20.3f, 0.0f, 0);
}

INSTANTIATE_TEST_SUITE_P(alignments, row_functions_match_reference_t, testing::Range(0, 4),
                         [](const testing::TestParamInfo<int>& p) {
                             return std::string(p.param & 1 ? "src_aligned" : "src_unaligned") +
                                    (p.param & 2 ? "_dst_aligned" : "_dst_unaligned");
                         });

TEST(resample_coefficients, layout_follows_the_step_and_the_span_of_each_group)
{
    const struct {
        uint32_t ws, wd;
        int layout;
    } cases[] = {
        // Upscales keep each group of 16 destination bytes inside one 16-byte source span.
        {1280, 1920, 0}, {640, 1920, 0}, {2, 4, 0},
        // A step near 1 spreads 8 destination pixels over more than 16 source bytes; past 2.01
        // the general layout is used whatever the spans.
        {1920, 1800, 1}, {1920, 640, 1}, {8, 2, 1},
    };
    for (const auto& c : cases) {
        const rs::axis_mapping_t m = rs::default_axis_mapping(c.ws, c.wd);
        rs::horizontal_map_t map = map_for(c.ws, c.wd, m.m_scale, m.m_offset);
        std::vector<rs::coefficient_group_t> groups;
        EXPECT_EQ(table_for(map, m.m_scale, groups).m_layout, c.layout) << c.ws << " -> " << c.wd;
    }
}

TEST(resample_coefficients, every_weight_pair_sums_to_64_and_taps_are_neighbours)
{
    const uint32_t cases[][2] = {{1280, 1920}, {1920, 640}, {37, 5}, {6, 100}};
    for (const auto& c : cases) {
        const rs::axis_mapping_t m = rs::default_axis_mapping(c[0], c[1]);
        const rs::horizontal_map_t map = map_for(c[0], c[1], m.m_scale, m.m_offset);
        for (uint32_t j = 0; j < 2 * c[1]; ++j) {
            const rs::tap_t t = rs::horizontal_tap(map, j);
            ASSERT_LT(t.m_phase, 64u);
            // Luma neighbours are 2 bytes apart, chroma neighbours (same kind, next pair) 4.
            ASSERT_EQ(t.m_second - t.m_first, (j & 1) ? 2u : 4u);
            ASSERT_EQ(t.m_first % 2, j % 2);
            if (j & 1) {
                ASSERT_LT(t.m_second, 2 * c[0]);
            }
        }
    }
}

}  // namespace

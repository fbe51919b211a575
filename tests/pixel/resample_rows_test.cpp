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

class row_functions_match_reference_t : public testing::TestWithParam<int> {
protected:
    bool src_aligned() const { return GetParam() & 1; }
    bool dst_aligned() const { return GetParam() & 2; }
    const rs::row_functions_t& simd() const { return rs::ssse3_row_functions(src_aligned(), dst_aligned()); }
    const rs::row_functions_t& ref() const { return rs::reference_row_functions(); }
    guarded_image_t src_row(size_t bytes, bool aligned) { guarded_image_t r = row_of(bytes, aligned); r.fill_rows_random(m_rng); return r; }
    guarded_image_t src_row(size_t bytes) { return src_row(bytes, src_aligned()); }

    // The vector output equals the reference output, and neither wrote past its row.
    static void expect_same(const guarded_image_t& got, const guarded_image_t& want)
    {
        ASSERT_EQ(got.rows_bytes(), want.rows_bytes());
        ASSERT_TRUE(got.guards_intact() && want.guards_intact());
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
        // One band of five rows: each phase alone, then both at once, all against the single
        // reference phase.
        const guarded_image_t r[5] = {src_row(n), src_row(n), src_row(n), src_row(n), src_row(n)};
        const uint8_t* const rows[5] = {r[0].row(0), r[1].row(0), r[2].row(0), r[3].row(0), r[4].row(0)};
        guarded_image_t want[2] = {row_of(n, true), row_of(n, true)}, got[2] = {row_of(n, true), row_of(n, true)};
        guarded_image_t pair[2] = {row_of(n, true), row_of(n, true)}, ref_pair[2] = {row_of(n, true), row_of(n, true)};
        for (uint32_t phase = 0; phase < 2; ++phase) {
            ref().m_p_two_thirds_vertical(rows + phase, phase, want[phase].row(0), n);
            simd().m_p_two_thirds_vertical(rows + phase, phase, got[phase].row(0), n);
        }
        simd().m_p_two_thirds_vertical_pair(rows, pair[0].row(0), pair[1].row(0), n);
        ref().m_p_two_thirds_vertical_pair(rows, ref_pair[0].row(0), ref_pair[1].row(0), n);
        for (int i = 0; i < 2; ++i) expect_same(got[i], want[i]), expect_same(pair[i], want[i]), expect_same(ref_pair[i], want[i]);
        // The horizontal pass reads a row buffer whose edge pixels repeat 4 bytes either side.
        if (n % 4 || n < 8) continue;
        const uint32_t dst_bytes = uint32_t(2 * ((2 * (n / 2) / 3) & ~1u));
        guarded_image_t src = src_row(n + 64, true);
        uint8_t* row = src.row(0) + 4;
        row[-4] = row[0], row[-3] = row[1], row[-2] = row[2], row[-1] = row[1];
        row[n] = row[n - 4], row[n + 1] = row[n - 1], row[n + 2] = row[n - 2], row[n + 3] = row[n - 1];
        guarded_image_t want_h = row_of(dst_bytes, true), got_h = row_of(dst_bytes, dst_aligned());
        ref().m_p_two_thirds_horizontal(row, n, want_h.row(0), dst_bytes);
        simd().m_p_two_thirds_horizontal(row, n, got_h.row(0), dst_bytes);
        expect_same(got_h, want_h);
    }
}

// The horizontal pass in both table layouts, and for layout 0 the fused blend: the reference
// blend then the reference horizontal pass.
TEST_P(row_functions_match_reference_t, horizontal_and_fused_blend_in_both_table_layouts)
{
    const auto check = [this](uint32_t ws, uint32_t wd, float scale, float offset, float rule_scale, int layout) {
        SCOPED_TRACE(testing::Message() << ws << " -> " << wd << " rule scale " << rule_scale);
        rs::horizontal_map_t map{rs::to_fixed_16_16(offset), rs::to_fixed_16_16(scale), ws, wd, nullptr};
        std::vector<rs::coefficient_group_t> groups(rs::coefficient_group_count(wd));
        rs::coefficient_table_t table{0, 0, 0, groups.data()};
        rs::build_coefficient_table(map, rule_scale, table);
        map.m_p_table = &table;
        EXPECT_TRUE(layout < 0 || table.m_layout == layout) << int(table.m_layout);
        const size_t read = std::max<size_t>(2 * ws, table.m_read_end) + 16;
        const guarded_image_t src = src_row(read), bottom = src_row(read);
        guarded_image_t want = row_of(2 * wd, true), got = row_of(2 * wd, dst_aligned());
        ref().m_p_horizontal(src.row(0), want.row(0), map);
        simd().m_p_horizontal(src.row(0), got.row(0), map);
        expect_same(got, want);
        for (uint32_t f : {3u, 32u, 61u}) {
            if (table.m_layout != 0) break;
            guarded_image_t blended = row_of(read, true), fused = row_of(2 * wd, dst_aligned());
            ref().m_p_blend_to_buffer(src.row(0), bottom.row(0), blended.row(0), uint32_t(read), f);
            ref().m_p_horizontal(blended.row(0), want.row(0), map);
            simd().m_p_blend_horizontal(src.row(0), bottom.row(0), f, fused.row(0), map);
            expect_same(fused, want);
        }
    };
    // Default mappings with the layout the rule picks: upscales keep each group of 16
    // destination bytes inside one 16-byte source span (0); a step near 1 spreads 8 pixels over
    // more than 16 source bytes, and past 2.01 the general layout is used whatever the spans (1).
    const int k_any = -1;
    const struct {
        uint32_t ws, wd;
        int layout;
    } cases[] = {{2, 2, k_any},     {2, 6, k_any},       {4, 8, k_any},       {6, 16, k_any},     {8, 24, k_any},
                 {16, 10, k_any},   {20, 34, k_any},     {64, 66, k_any},     {100, 18, k_any},   {640, 640, k_any},
                 {1280, 1920, 0},   {640, 1920, 0},      {2, 4, 0},           {1920, 1800, 1},    {1920, 640, 1},
                 {8, 2, 1},         {1920, 1366, k_any}, {7, 12, k_any},      {9, 6, k_any}};
    for (const auto& c : cases) {
        const rs::axis_mapping_t m = rs::default_axis_mapping(c.ws, c.wd);
        check(c.ws, c.wd, m.m_scale, m.m_offset, m.m_scale, c.layout);
        check(c.ws, c.wd, m.m_scale, m.m_offset, 3.0f, 1);  // the general layout forced onto the same step
    }
    check(64, 40, -1.5f, 60.0f, 1.5f, k_any);
    check(64, 40, 0.0f, 20.3f, 0.0f, 0);
}

INSTANTIATE_TEST_SUITE_P(alignments, row_functions_match_reference_t, testing::Range(0, 4), [](const testing::TestParamInfo<int>& p) {
    return std::string(p.param & 1 ? "src_aligned" : "src_unaligned") + (p.param & 2 ? "_dst_aligned" : "_dst_unaligned");
});

}  // namespace

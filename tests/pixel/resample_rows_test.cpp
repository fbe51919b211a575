// Each vector row function, in all four alignment variants, against the reference row
// function that defines it; and the coefficient table's choice of layout.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "pixel/resample_internal.h"

namespace {

namespace rs = Drivers::Mac::ZAV::VirtualCamera::resample;

// A row at a 16-byte boundary (aligned) or 16k + 5 (unaligned), with random bytes around it.
struct row_t {
    std::vector<uint8_t> m_storage;
    uint8_t* m_p_row;
    row_t(size_t bytes, bool aligned, std::mt19937& rng) : m_storage(bytes + 128)
    {
        for (uint8_t& b : m_storage) b = static_cast<uint8_t>(rng());
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_storage.data());
        m_p_row = m_storage.data() + ((16 - (raw & 15u)) & 15u) + (aligned ? 0 : 5) + 32;
    }
};

struct variant_t {
    bool m_src_aligned;
    bool m_dst_aligned;
};

std::string variant_name(const testing::TestParamInfo<variant_t>& info)
{
    return std::string(info.param.m_src_aligned ? "src_aligned" : "src_unaligned") + (info.param.m_dst_aligned ? "_dst_aligned" : "_dst_unaligned");
}

// Output buffer with guard bytes both sides, to compare the written bytes and nothing else.
struct out_t {
    static constexpr uint8_t k_guard = 0xC3;
    std::vector<uint8_t> m_storage;
    uint8_t* m_p_row;
    size_t m_bytes;
    out_t(size_t bytes, bool aligned) : m_storage(bytes + 96, k_guard), m_bytes(bytes)
    {
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_storage.data());
        m_p_row = m_storage.data() + ((16 - (raw & 15u)) & 15u) + (aligned ? 32 : 37);
    }
    std::vector<uint8_t> bytes() const { return {m_p_row, m_p_row + m_bytes}; }
    bool guards_intact() const
    {
        for (size_t i = 0; i < m_storage.size(); ++i) {
            const bool inside = m_storage.data() + i >= m_p_row && m_storage.data() + i < m_p_row + m_bytes;
            if (!inside && m_storage[i] != k_guard) return false;
        }
        return true;
    }
};

class row_functions_match_reference_t : public testing::TestWithParam<variant_t> {
protected:
    const rs::row_functions_t& simd() const { return rs::ssse3_row_functions(GetParam().m_src_aligned, GetParam().m_dst_aligned); }
    const rs::row_functions_t& ref() const { return rs::reference_row_functions(); }
    std::mt19937 m_rng{11};
};

const uint32_t k_lengths[] = {0, 2, 4, 8, 12, 14, 16, 18, 20, 28, 32, 36, 44, 48, 60, 64, 100, 1280, 2560, 3840};

TEST_P(row_functions_match_reference_t, vertical_blend_every_phase)
{
    for (uint32_t n : k_lengths)
        for (uint32_t f = 0; f < 64; ++f) {
            row_t a(n, GetParam().m_src_aligned, m_rng), b(n, GetParam().m_src_aligned, m_rng);
            out_t want(n, true), to_buffer(n, true), to_dst(n, GetParam().m_dst_aligned);
            ref().m_p_blend_to_buffer(a.m_p_row, b.m_p_row, want.m_p_row, n, f);
            simd().m_p_blend_to_buffer(a.m_p_row, b.m_p_row, to_buffer.m_p_row, n, f);
            simd().m_p_blend_to_destination(a.m_p_row, b.m_p_row, to_dst.m_p_row, n, f);
            ASSERT_EQ(to_buffer.bytes(), want.bytes()) << n << " bytes, phase " << f;
            ASSERT_EQ(to_dst.bytes(), want.bytes()) << n << " bytes, phase " << f;
            ASSERT_TRUE(to_buffer.guards_intact() && to_dst.guards_intact());
        }
}

TEST_P(row_functions_match_reference_t, halving)
{
    for (uint32_t n : k_lengths) {
        if (n % 4) continue;
        row_t a(2 * n, GetParam().m_src_aligned, m_rng), b(2 * n, GetParam().m_src_aligned, m_rng);
        out_t want(n, true), got(n, GetParam().m_dst_aligned);
        ref().m_p_halve(a.m_p_row, b.m_p_row, want.m_p_row, n);
        simd().m_p_halve(a.m_p_row, b.m_p_row, got.m_p_row, n);
        ASSERT_EQ(got.bytes(), want.bytes()) << n << " bytes";
        ASSERT_TRUE(got.guards_intact());
    }
}

TEST_P(row_functions_match_reference_t, two_thirds_passes)
{
    for (uint32_t n : k_lengths) {
        for (uint32_t phase = 0; phase < 2; ++phase) {
            row_t r0(n, GetParam().m_src_aligned, m_rng), r1(n, GetParam().m_src_aligned, m_rng);
            row_t r2(n, GetParam().m_src_aligned, m_rng), r3(n, GetParam().m_src_aligned, m_rng);
            const uint8_t* const rows[4] = {r0.m_p_row, r1.m_p_row, r2.m_p_row, r3.m_p_row};
            out_t want(n, true), got(n, true);
            ref().m_p_two_thirds_vertical(rows, phase, want.m_p_row, n);
            simd().m_p_two_thirds_vertical(rows, phase, got.m_p_row, n);
            ASSERT_EQ(got.bytes(), want.bytes()) << n << " bytes, phase " << phase;
            ASSERT_TRUE(got.guards_intact());
        }
        // The horizontal pass reads a row buffer whose edge pixels repeat 4 bytes either side.
        if (n % 4 || n < 8) continue;
        const uint32_t dst_bytes = uint32_t(2 * ((2 * (n / 2) / 3) & ~1u));
        row_t src(n + 64, true, m_rng);
        uint8_t* row = src.m_p_row + 4;
        row[-4] = row[0], row[-3] = row[1], row[-2] = row[2], row[-1] = row[1];
        row[n] = row[n - 4], row[n + 1] = row[n - 1], row[n + 2] = row[n - 2], row[n + 3] = row[n - 1];
        out_t want_h(dst_bytes, true), got_h(dst_bytes, GetParam().m_dst_aligned);
        ref().m_p_two_thirds_horizontal(row, n, want_h.m_p_row, dst_bytes);
        simd().m_p_two_thirds_horizontal(row, n, got_h.m_p_row, dst_bytes);
        ASSERT_EQ(got_h.bytes(), want_h.bytes()) << n << " -> " << dst_bytes << " bytes";
        ASSERT_TRUE(got_h.guards_intact());
    }
}

// The horizontal pass for a given mapping, through a table built with the layout rule fed
// rule_scale (so that the general layout can be forced onto any step).
void check_horizontal(const rs::row_functions_t& simd, uint32_t ws, uint32_t wd, float scale, float offset, float rule_scale, int expect_layout, std::mt19937& rng)
{
    rs::horizontal_map_t map;
    map.m_x0 = rs::to_fixed_16_16(offset);
    map.m_step = rs::to_fixed_16_16(scale);
    map.m_src_width = ws;
    map.m_dst_width = wd;
    std::vector<rs::coefficient_group_t> groups(rs::coefficient_group_count(wd));
    rs::coefficient_table_t table;
    table.m_p_groups = groups.data();
    rs::build_coefficient_table(map, rule_scale, table);
    map.m_p_table = &table;
    if (expect_layout >= 0) {
        EXPECT_EQ(int(table.m_layout), expect_layout) << ws << " -> " << wd;
    }

    row_t src(std::max<size_t>(2 * ws, table.m_read_end) + 16, true, rng);
    out_t want(2 * wd, true), got(2 * wd, true);
    rs::reference_row_functions().m_p_horizontal(src.m_p_row, want.m_p_row, map);
    simd.m_p_horizontal(src.m_p_row, got.m_p_row, map);
    ASSERT_EQ(got.bytes(), want.bytes()) << ws << " -> " << wd << " layout " << int(table.m_layout);
    ASSERT_TRUE(got.guards_intact());
}

TEST_P(row_functions_match_reference_t, horizontal_in_both_table_layouts)
{
    const uint32_t pairs[][2] = {{2, 2}, {2, 6}, {4, 8}, {6, 16}, {8, 24}, {16, 10}, {20, 34}, {1280, 1920},
                                 {64, 66}, {100, 18}, {640, 640}, {1920, 640}, {1920, 1366}, {7, 12}, {9, 6}};
    for (const auto& p : pairs) {
        const float scale = float(p[0]) / float(p[1]);
        const float offset = (float(p[0]) - float(p[1])) * 0.5f / float(p[1]);
        check_horizontal(simd(), p[0], p[1], scale, offset, scale, -1, m_rng);
        check_horizontal(simd(), p[0], p[1], scale, offset, 3.0f, 1, m_rng);
    }
    check_horizontal(simd(), 64, 40, -1.5f, 60.0f, 1.5f, -1, m_rng);
    check_horizontal(simd(), 64, 40, 0.0f, 20.3f, 0.0f, 0, m_rng);
}

INSTANTIATE_TEST_SUITE_P(alignments, row_functions_match_reference_t,
                         testing::Values(variant_t{false, false}, variant_t{true, false}, variant_t{false, true}, variant_t{true, true}),
                         variant_name);

rs::coefficient_table_t layout_of(uint32_t ws, uint32_t wd, std::vector<rs::coefficient_group_t>& groups)
{
    const rs::axis_mapping_t m = rs::default_axis_mapping(ws, wd);
    rs::horizontal_map_t map;
    map.m_x0 = rs::to_fixed_16_16(m.m_offset);
    map.m_step = rs::to_fixed_16_16(m.m_scale);
    map.m_src_width = ws;
    map.m_dst_width = wd;
    groups.resize(rs::coefficient_group_count(wd));
    rs::coefficient_table_t table;
    table.m_p_groups = groups.data();
    rs::build_coefficient_table(map, m.m_scale, table);
    return table;
}

TEST(resample_coefficients, layout_follows_the_step_and_the_span_of_each_group)
{
    std::vector<rs::coefficient_group_t> groups;
    // Upscales keep each group of 16 destination bytes inside one 16-byte source span.
    EXPECT_EQ(layout_of(1280, 1920, groups).m_layout, 0);
    EXPECT_EQ(layout_of(640, 1920, groups).m_layout, 0);
    EXPECT_EQ(layout_of(2, 4, groups).m_layout, 0);
    // A step near 1 spreads 8 destination pixels over more than 16 source bytes.
    EXPECT_EQ(layout_of(1920, 1800, groups).m_layout, 1);
    // Past 2.01 the general layout is used whatever the spans.
    EXPECT_EQ(layout_of(1920, 640, groups).m_layout, 1);
    EXPECT_EQ(layout_of(8, 2, groups).m_layout, 1);
}

TEST(resample_coefficients, every_weight_pair_sums_to_64_and_taps_are_neighbours)
{
    const uint32_t cases[][2] = {{1280, 1920}, {1920, 640}, {37, 5}, {6, 100}};
    for (const auto& c : cases) {
        const rs::axis_mapping_t m = rs::default_axis_mapping(c[0], c[1]);
        rs::horizontal_map_t map{rs::to_fixed_16_16(m.m_offset), rs::to_fixed_16_16(m.m_scale), c[0], c[1], nullptr};
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

// The UYVY resampler: each vector row function, in all four alignment variants, against the
// reference row function that defines it, with the coefficient table's choice of layout; the
// scaling kernel and the aspect-fitting entry against the independent model (every byte, many
// sizes, strides and alignments, default and explicit mappings, bars, crops and the vertical
// fit of wide sources, guard bytes around every destination row); the worked examples of the
// arithmetic; the two-thirds path's quality against a float reference.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <chrono>
#include <future>
#include <sstream>
#include <vector>

#include "guarded_image.h"
#include "pixel/resample_internal.h"
#include "resample_model.h"

namespace {

using namespace zav_resample_test;
using zav_test::guarded_image_t;
using zav_test::uyvy_image_t;
namespace vc = Drivers::Mac::ZAV::VirtualCamera;
namespace rs = vc::resample;

// One row of `bytes` bytes at a 16-byte boundary or 5 past one, between guard bytes.
guarded_image_t row_of(size_t bytes, bool aligned) {
    return guarded_image_t(1, bytes, ptrdiff_t(bytes), aligned ? 0 : 5);
}

// What a horizontal check compares with the reference: one row alone, batches of rows against
// single rows, or (layout 0 only) the fused blend against the blend then the horizontal pass.
enum class horizontal_part_t { single_row, batched_rows, fused_blend };

class row_functions_match_reference_t : public testing::TestWithParam<int> {
protected:
    bool src_aligned() const { return GetParam() & 1; }
    bool dst_aligned() const { return GetParam() & 2; }
    const rs::row_functions_t& simd() const { return rs::ssse3_row_functions(src_aligned(), dst_aligned()); }
    const rs::row_functions_t& ref() const { return rs::reference_row_functions(); }
    guarded_image_t src_row(size_t bytes, bool aligned) {
        guarded_image_t r = row_of(bytes, aligned);
        r.fill_rows_random(m_rng);
        return r;
    }
    guarded_image_t src_row(size_t bytes) { return src_row(bytes, src_aligned()); }

    // The vector output equals the reference output, and neither wrote past its row.
    static void expect_same(const guarded_image_t& got, const guarded_image_t& want) {
        ASSERT_EQ(got.rows_bytes(), want.rows_bytes());
        ASSERT_TRUE(got.guards_intact() && want.guards_intact());
    }

    void check_horizontal(horizontal_part_t part);

    std::mt19937 m_rng{11};
};

// Byte counts of 0 to 4 pixel pairs, around one and two 16-byte groups, and full rows.
const uint32_t k_lengths[] = {0, 2, 4, 8, 12, 14, 16, 18, 20, 28, 32, 36, 44, 48, 60, 64, 100, 2560, 3840};

// Every phase, to a row buffer and to a destination row, and two phases of the same rows at
// once (this one and its mirror), each against its own single reference blend.
TEST_P(row_functions_match_reference_t, vertical_blend_rows) {
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
            guarded_image_t want_mirror = row_of(n, true), pair[2] = {row_of(n, true), row_of(n, true)};
            ref().m_p_blend_to_buffer(a.row(0), b.row(0), want_mirror.row(0), n, 63 - f);
            simd().m_p_blend_pair_to_buffers(a.row(0), b.row(0), pair[0].row(0), pair[1].row(0), n, f, 63 - f);
            expect_same(pair[0], want);
            expect_same(pair[1], want_mirror);
        }
    }
}

TEST_P(row_functions_match_reference_t, halving_rows) {
    for (uint32_t n : k_lengths) {
        if (n % 4 != 0) continue;  // whole pixel pairs of the destination
        SCOPED_TRACE(n);
        const guarded_image_t a = src_row(2 * n), b = src_row(2 * n);
        guarded_image_t want = row_of(n, true), got = row_of(n, dst_aligned());
        ref().m_p_halve(a.row(0), b.row(0), want.row(0), n);
        simd().m_p_halve(a.row(0), b.row(0), got.row(0), n);
        expect_same(got, want);
    }
}

// One band of five rows: each phase alone, then both at once, all against the single
// reference phase.
TEST_P(row_functions_match_reference_t, two_thirds_vertical_rows) {
    for (uint32_t n : k_lengths) {
        SCOPED_TRACE(n);
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
        for (int i = 0; i < 2; ++i) {
            expect_same(got[i], want[i]);
            expect_same(pair[i], want[i]);
            expect_same(ref_pair[i], want[i]);
        }
    }
}

// The horizontal pass reads a row buffer whose edge pixels repeat 4 bytes either side.
TEST_P(row_functions_match_reference_t, two_thirds_horizontal_rows) {
    for (uint32_t n : k_lengths) {
        if (n % 4 || n < 8) continue;  // whole pixel pairs, at least two
        SCOPED_TRACE(n);
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

// The horizontal pass in both table layouts over the default and forced mappings; see
// horizontal_part_t for what is compared.
void row_functions_match_reference_t::check_horizontal(horizontal_part_t part) {
    const auto check = [this, part](uint32_t ws, uint32_t wd, float scale, float offset, float rule_scale, int layout) {
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
        if (part == horizontal_part_t::single_row) {
            simd().m_p_horizontal(src.row(0), got.row(0), map);
            expect_same(got, want);
        }
        if (part == horizontal_part_t::batched_rows) {
            // Batches of 1 to k_batch_rows rows, each from its own source row, against the single pass.
            for (uint32_t count = 1; count <= rs::k_batch_rows; ++count) {
                SCOPED_TRACE(testing::Message() << "batch of " << count);
                std::vector<guarded_image_t> in, single, batch;
                for (uint32_t i = 0; i < count; ++i)
                    in.push_back(src_row(read)), single.push_back(row_of(2 * wd, true)),
                        batch.push_back(row_of(2 * wd, dst_aligned()));
                const uint8_t* batch_in[rs::k_batch_rows];
                uint8_t* batch_out[rs::k_batch_rows];
                for (uint32_t i = 0; i < count; ++i) {
                    batch_in[i] = in[i].row(0), batch_out[i] = batch[i].row(0);
                    ref().m_p_horizontal(in[i].row(0), single[i].row(0), map);
                }
                simd().m_p_horizontal_rows(batch_in, batch_out, count, map);
                for (uint32_t i = 0; i < count; ++i) expect_same(batch[i], single[i]);
            }
        }
        if (part == horizontal_part_t::fused_blend) {
            for (uint32_t f : {3u, 32u, 61u}) {
                if (table.m_layout != 0) break;
                guarded_image_t blended = row_of(read, true), fused = row_of(2 * wd, dst_aligned());
                ref().m_p_blend_to_buffer(src.row(0), bottom.row(0), blended.row(0), uint32_t(read), f);
                ref().m_p_horizontal(blended.row(0), want.row(0), map);
                simd().m_p_blend_horizontal(src.row(0), bottom.row(0), f, fused.row(0), map);
                expect_same(fused, want);
            }
        }
    };
    // Default mappings with the layout the rule picks: upscales keep each group of 16
    // destination bytes inside one 16-byte source span (0); a step near 1 spreads 8 pixels over
    // more than 16 source bytes, and past 2.01 the general layout is used whatever the spans (1).
    const int k_any = -1;
    const struct {
        uint32_t ws, wd;
        int layout;
    } cases[] = {{2, 2, k_any},   {2, 6, k_any},       {4, 8, k_any},   {6, 16, k_any},   {8, 24, k_any},
                 {16, 10, k_any}, {20, 34, k_any},     {64, 66, k_any}, {100, 18, k_any}, {640, 640, k_any},
                 {1280, 1920, 0}, {640, 1920, 0},      {2, 4, 0},       {1920, 1800, 1},  {1920, 640, 1},
                 {8, 2, 1},       {1920, 1366, k_any}, {7, 12, k_any},  {9, 6, k_any}};
    for (const auto& c : cases) {
        const rs::axis_mapping_t m = rs::default_axis_mapping(c.ws, c.wd);
        check(c.ws, c.wd, m.m_scale, m.m_offset, m.m_scale, c.layout);
        check(c.ws, c.wd, m.m_scale, m.m_offset, 3.0f, 1);  // the general layout forced onto the same step
    }
    check(64, 40, -1.5f, 60.0f, 1.5f, k_any);
    check(64, 40, 0.0f, 20.3f, 0.0f, 0);
}

TEST_P(row_functions_match_reference_t, horizontal_pass_in_both_table_layouts) {
    check_horizontal(horizontal_part_t::single_row);
}

TEST_P(row_functions_match_reference_t, horizontal_batches_give_the_single_row_bytes) {
    check_horizontal(horizontal_part_t::batched_rows);
}

TEST_P(row_functions_match_reference_t, fused_blend_gives_the_blend_then_horizontal_bytes) {
    check_horizontal(horizontal_part_t::fused_blend);
}

INSTANTIATE_TEST_SUITE_P(alignments, row_functions_match_reference_t, testing::Range(0, 4),
                         [](const testing::TestParamInfo<int>& p) {
                             return std::string(p.param & 1 ? "src_aligned" : "src_unaligned") +
                                    (p.param & 2 ? "_dst_aligned" : "_dst_unaligned");
                         });

struct size_case_t {
    uint32_t m_ws, m_hs, m_wd, m_hd;
};
struct kernel_case_t {
    size_case_t m_size;
    bool m_src_aligned, m_dst_aligned, m_explicit = false;
    float m_scales[2] = {1, 1}, m_offsets[2] = {0, 0};
};

class kernel_matches_model_t : public testing::TestWithParam<kernel_case_t> {};

TEST_P(kernel_matches_model_t, writes_exactly_the_model_bytes) {
    const kernel_case_t& c = GetParam();
    const size_case_t& s = c.m_size;
    std::mt19937 rng(s.m_ws * 131 + s.m_wd * 7 + s.m_hd);
    uyvy_image_t src = make_image(s.m_ws, s.m_hs, c.m_src_aligned, s.m_wd),
                 dst = make_image(s.m_wd, s.m_hd, c.m_dst_aligned, s.m_hs);
    src.fill_rows_random(rng);
    const std::vector<uint8_t> src_before = src.rows_bytes();
    packed_t expected(s.m_wd, s.m_hd);
    model_kernel(packed_t(src), expected, c.m_explicit ? c.m_scales : nullptr, c.m_offsets);
    if (c.m_explicit)
        vc::resample_uyvy_kernel(src.plane(), dst.plane(), c.m_scales, c.m_offsets);
    else
        vc::resample_uyvy(src.data(), src.pitch(), s.m_ws, s.m_hs, dst.data(), dst.pitch(), s.m_wd, s.m_hd);
    expect_rows_equal(dst, expected);
    EXPECT_TRUE(dst.guards_intact() && src.guards_intact() && src.rows_bytes() == src_before);
}

// A float in a test name: "1p5", "m3" (minus 3).
std::string name_of(float v) {
    std::ostringstream text;
    text << v;
    std::string name;
    for (char ch : text.str()) name += ch == '.' ? "p" : ch == '-' ? "m" : std::string(1, ch);
    return name;
}

// "1920x1080_to_1280x720_src_aligned_dst_unaligned", with "_scale_1p1_0p9_offset_m3_5" for an
// explicit mapping.
std::string describe(const kernel_case_t& c) {
    const size_case_t& s = c.m_size;
    std::string name = std::to_string(s.m_ws) + "x" + std::to_string(s.m_hs) + "_to_" + std::to_string(s.m_wd) + "x" +
                       std::to_string(s.m_hd);
    name += c.m_src_aligned ? "_src_aligned" : "_src_unaligned";
    name += c.m_dst_aligned ? "_dst_aligned" : "_dst_unaligned";
    if (c.m_explicit)
        name += "_scale_" + name_of(c.m_scales[0]) + "_" + name_of(c.m_scales[1]) + "_offset_" +
                name_of(c.m_offsets[0]) + "_" + name_of(c.m_offsets[1]);
    return name;
}

std::string kernel_case_name(const testing::TestParamInfo<kernel_case_t>& info) {
    return describe(info.param);
}

// The case as the test lists print it: the same words, not a dump of its bytes (which would
// hold padding and change between builds).
void PrintTo(const kernel_case_t& c, std::ostream* os) {
    *os << describe(c);
}

std::vector<kernel_case_t> with_alignments(const std::vector<size_case_t>& sizes) {
    std::vector<kernel_case_t> out;
    for (const size_case_t& s : sizes)
        for (int a = 0; a < 4; ++a) out.push_back({s, (a & 1) != 0, (a & 2) != 0});
    return out;
}

// Small pictures of 1 to 4 pixel pairs and odd sizes, on every path (copy, one axis, halving,
// two-thirds, upscale, downscale past the second table layout); widths around the 16-byte
// groups of the horizontal pass (7, 8, 9 pixels at a group edge); full-size frame fills.
const std::vector<size_case_t> k_sizes = {{2, 2, 2, 2},
                                          {2, 1, 4, 3},
                                          {2, 2, 8, 8},
                                          {4, 2, 2, 1},
                                          {4, 4, 2, 2},
                                          {6, 3, 4, 2},
                                          {8, 6, 2, 2},
                                          {4, 3, 6, 5},
                                          {6, 4, 6, 9},
                                          {10, 6, 14, 6},
                                          {8, 1, 8, 4},
                                          {2, 5, 6, 1},
                                          {12, 3, 8, 2},
                                          {9, 5, 6, 4},
                                          {7, 3, 12, 5},
                                          {10, 4, 7, 5},
                                          {3, 3, 2, 2},
                                          {5, 7, 3, 11},
                                          {1, 2, 4, 4},
                                          {6, 2, 1, 3},
                                          {16, 4, 6, 4},
                                          {8, 8, 16, 8},
                                          {14, 5, 18, 7},
                                          {16, 16, 10, 12},
                                          {24, 9, 16, 6},
                                          {32, 8, 30, 9},
                                          {34, 10, 66, 21},
                                          {48, 12, 12, 12},
                                          {40, 10, 8, 3},
                                          {18, 4, 16, 4},
                                          {16, 6, 18, 6},
                                          {64, 16, 24, 10},
                                          {22, 6, 32, 6},
                                          {100, 20, 48, 14},
                                          {38, 8, 24, 5},
                                          {200, 4, 34, 4},
                                          {1920, 1080, 1280, 720},
                                          {1920, 1080, 960, 540},
                                          {1280, 720, 1920, 1080},
                                          {1920, 1080, 640, 360},
                                          {1920, 1080, 1366, 768},
                                          {1440, 1080, 1440, 1080}};
INSTANTIATE_TEST_SUITE_P(sizes, kernel_matches_model_t, testing::ValuesIn(with_alignments(k_sizes)), kernel_case_name);

// Upscales, whose rows the general path blends into row buffers and scales in batches: vertical
// steps of 2/3 (two rows on the same source rows, which a batch keeps together by ending
// early), 1/2 and 1/4 (several rows of a batch on one source pair), 1 (rows read in place); odd
// heights (a short last batch); odd widths (rows copied into the buffers); source rows too wide
// for the buffers on the stack.
const std::vector<size_case_t> k_batched = {{64, 20, 96, 30}, {64, 21, 96, 31}, {40, 7, 64, 11},
                                            {32, 9, 48, 18},  {16, 4, 24, 16},  {20, 5, 30, 5},
                                            {21, 6, 33, 9},   {13, 8, 40, 25},  {2100, 3, 2200, 7}};
INSTANTIATE_TEST_SUITE_P(batched, kernel_matches_model_t, testing::ValuesIn(with_alignments(k_batched)),
                         kernel_case_name);

// Explicit mappings: shifted past the edges (clamping), mirrored (negative steps), a single
// source row or column, and mappings within 0.1 of the default (fast paths kept).
// (source aligned, destination aligned, explicit, {x, y} scales, {x, y} offsets)
const kernel_case_t k_mapped[] = {
    {{64, 32, 48, 24}, false, true, true, {1.1f, 0.9f}, {-3.0f, 5.0f}},
    {{64, 32, 48, 24}, true, true, true, {1.1f, 0.9f}, {-3.0f, 5.0f}},
    {{32, 16, 32, 16}, false, true, true, {-1.0f, 1.0f}, {31.0f, 0.0f}},
    {{32, 16, 40, 20}, true, false, true, {-0.7f, -0.8f}, {30.0f, 15.0f}},
    {{32, 16, 40, 20}, false, true, true, {2.5f, 3.0f}, {10.0f, -2.0f}},
    {{20, 10, 24, 12}, false, true, true, {0.0f, 0.0f}, {7.3f, 4.6f}},
    {{20, 10, 24, 12}, false, true, true, {1.0f, 1.0f}, {500.0f, -500.0f}},
    {{40, 20, 20, 10}, false, true, true, {2.0f, 2.0f}, {0.55f, 0.45f}},       // close to default: halving
    {{36, 18, 24, 12}, false, true, true, {1.5f, 1.5f}, {0.3f, 0.2f}},         // close to default: two-thirds
    {{36, 18, 24, 12}, false, true, true, {1.5f, 1.5f}, {0.4f, 0.25f}},        // x moved by 0.15: general path
    {{24, 12, 24, 12}, false, true, true, {1.0f, 1.0f}, {0.05f, 0.0f}},        // close to identity: copy
    {{1920, 1080, 1280, 720}, true, true, true, {1.5f, 1.5f}, {0.25f, 0.5f}},  // general path
    {{640, 120, 64, 120}, false, true, true, {10.0f, 1.0f}, {4.5f, 0.0f}},     // step of 10 pixels
    // Batched upscales: rows above the top edge (clamped), copied rows (phase below 3) and a
    // phase above 61 among the blends; mirrored rows; batches through the general table layout.
    {{48, 16, 80, 40}, false, false, true, {0.6f, 0.37f}, {0.2f, -1.3f}},
    {{30, 12, 50, 30}, true, true, true, {0.6f, -0.41f}, {0.0f, 11.7f}},
    {{15, 10, 40, 23}, false, true, true, {0.3f, 0.45f}, {0.0f, 0.1f}},
    {{200, 10, 40, 23}, true, false, true, {5.0f, 0.45f}, {0.0f, 0.1f}}};
INSTANTIATE_TEST_SUITE_P(mapped, kernel_matches_model_t, testing::ValuesIn(k_mapped), kernel_case_name);

// Worked examples of the arithmetic, computed from the stated rules.
// Worked examples of the arithmetic, computed from the stated rules.
TEST(resample_kernel, halving_averages_rows_first_then_columns) {
    uyvy_image_t src(4, 2), dst(2, 1);
    const uint8_t rows[16] = {128, 10, 128, 11, 100, 50, 90, 60, 128, 12, 128, 13, 101, 60, 91, 60};
    std::copy(rows, rows + 16, src.row(0));
    vc::resample_uyvy(src.data(), 8, 4, 2, dst.data(), 4, 2, 1);
    // Y: avg(avg(10, 12), avg(11, 13)) = 12 and avg(avg(50, 60), avg(60, 60)) = 58; Cb:
    // avg(avg(128, 128), avg(100, 101)) = 115; Cr: avg(avg(128, 128), avg(90, 91)) = 110.
    EXPECT_EQ(dst.rows_bytes(), (std::vector<uint8_t>{115, 12, 110, 58}));
    EXPECT_TRUE(dst.guards_intact());
}

// The bytes of one destination row scaled from rows A (all 0) and B (all 255) at vertical
// phase f.
std::vector<uint8_t> row_between_black_and_white_at_phase(uint32_t f) {
    uyvy_image_t src(4, 2), dst(4, 1);
    std::fill(src.row(0), src.row(0) + 8, 0);
    std::fill(src.row(1), src.row(1) + 8, 255);
    const float scales[2] = {1.0f, 1.0f}, offsets[2] = {0.0f, float(f) / 64.0f};
    vc::resample_uyvy_kernel(src.plane(), dst.plane(), scales, offsets);
    EXPECT_TRUE(dst.guards_intact());
    return dst.rows_bytes();
}

TEST(resample_kernel, vertical_phases_below_3_copy_the_upper_row) {
    for (uint32_t f : {0u, 1u, 2u})
        EXPECT_EQ(row_between_black_and_white_at_phase(f), std::vector<uint8_t>(8, 0)) << "phase " << f;
}

TEST(resample_kernel, vertical_phases_3_to_61_blend_truncating) {
    for (uint32_t f = 3; f <= 61; ++f) {
        const uint8_t expected = uint8_t((255 * f) >> 6);  // 127 at phase 32: no rounding
        EXPECT_EQ(row_between_black_and_white_at_phase(f), std::vector<uint8_t>(8, expected)) << "phase " << f;
    }
}

TEST(resample_kernel, vertical_phases_above_61_take_the_next_row) {
    for (uint32_t f : {62u, 63u})
        EXPECT_EQ(row_between_black_and_white_at_phase(f), std::vector<uint8_t>(8, 255)) << "phase " << f;
}

// Each call spoils one field of a good call (source 16x8, pitch 32; destination 8x4, pitch
// 16): row bytes shorter than a row, an empty size or a null pointer.
TEST(resample_kernel, empty_or_inconsistent_descriptors_write_nothing) {
    struct call_t {
        const char* m_p_what;
        bool m_null_src;
        uint32_t m_src_pitch, m_src_width, m_src_height;
        bool m_null_dst;
        uint32_t m_dst_pitch, m_dst_width, m_dst_height;
    };
    const call_t calls[] = {
        {"source pitch shorter than a row", false, 20, 16, 8, false, 16, 8, 4},
        {"source width 0", false, 32, 0, 8, false, 16, 8, 4},
        {"source height 0", false, 32, 16, 0, false, 16, 8, 4},
        {"destination pitch shorter than a row", false, 32, 16, 8, false, 15, 8, 4},
        {"destination width 0", false, 32, 16, 8, false, 16, 0, 4},
        {"destination height 0", false, 32, 16, 8, false, 16, 8, 0},
        {"null source", true, 32, 16, 8, false, 16, 8, 4},
        {"null destination", false, 32, 16, 8, true, 16, 8, 4},
    };
    std::mt19937 rng(6);
    uyvy_image_t src(16, 8), dst(8, 4);
    src.fill_rows_random(rng);
    for (const call_t& c : calls) {
        vc::resample_uyvy(c.m_null_src ? nullptr : src.data(), c.m_src_pitch, c.m_src_width, c.m_src_height,
                          c.m_null_dst ? nullptr : dst.data(), c.m_dst_pitch, c.m_dst_width, c.m_dst_height);
        EXPECT_TRUE(dst.untouched()) << c.m_p_what;
    }
}

TEST(resample_kernel, one_mapping_pointer_alone_means_the_default_mapping) {
    std::mt19937 rng(6);
    uyvy_image_t src(16, 8);
    src.fill_rows_random(rng);
    const float scales[2] = {5.0f, 5.0f};
    uyvy_image_t a(8, 4), b(8, 4);
    vc::resample_uyvy_kernel(src.plane(), a.plane(), scales, nullptr);
    vc::resample_uyvy_kernel(src.plane(), b.plane(), nullptr, nullptr);
    EXPECT_EQ(a.rows_bytes(), b.rows_bytes());
}

// The kernel keeps no shared state: threads scaling at once all get the single-thread bytes.
TEST(resample_kernel, concurrent_calls_give_the_same_bytes) {
    std::mt19937 rng(7);
    uyvy_image_t src(640, 360);
    src.fill_rows_random(rng);
    std::vector<uyvy_image_t> outs(5, uyvy_image_t(426, 240));
    const auto scale = [&src](uyvy_image_t* out) {
        vc::resample_uyvy(src.data(), src.pitch(), 640, 360, out->data(), out->pitch(), 426, 240);
    };
    scale(&outs[0]);
    std::vector<std::future<void>> runs;
    for (size_t i = 1; i < outs.size(); ++i)
        runs.push_back(std::async(std::launch::async, [&scale, out = &outs[i]] {
            for (int k = 0; k < 5; ++k) scale(out);
        }));
    // A hung call fails the test instead of stalling the run (the process then ends at exit
    // with the thread still blocked, which ctest's timeout reports).
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (auto& run : runs) ASSERT_EQ(run.wait_until(deadline), std::future_status::ready);
    for (auto& out : outs) EXPECT_EQ(out.rows_bytes(), outs[0].rows_bytes());
}

// The two-thirds path's quality: against a float reference downscale (a Lanczos-3 stretched
// to the 1.5 ratio, so that it band-limits), it must come at least as close as bilinear
// interpolation at the same geometry. A zone plate holds every frequency up to the source's
// Nyquist in every direction (what a 3-to-2 filter must remove rather than fold back); hard
// edges at arbitrary positions, like text, show ringing and misplaced phases.
constexpr double k_pi = 3.14159265358979323846;

double sinc(double t) {
    return t == 0.0 ? 1.0 : std::sin(k_pi * t) / (k_pi * t);
}

// Filters one plane sample(x, y) (n samples along the axis) at pos, clamping at the edges.
double filter_at(const std::function<double(int)>& sample, int n, double pos) {
    double sum = 0.0, wsum = 0.0;
    for (int i = int(std::floor(pos)) - 5; i <= int(std::floor(pos)) + 5; ++i) {
        const double d = (i - pos) / 1.5, w = std::fabs(d) < 3.0 ? sinc(d) * sinc(d / 3.0) : 0.0;
        sum += w * sample(std::clamp(i, 0, n - 1));
        wsum += w;
    }
    return sum / wsum;
}

// Squared error of one plane of `got` (bytes `first`, `first + step`, ...) against the float
// reference of the same plane of `src`, sampled on its own grid starting at x_origin.
double plane_error(const packed_t& src, const std::vector<uint8_t>& got, int first, int step, double x_origin) {
    const int w = int(src.m_width) * 2 / step, h = int(src.m_height), dw = w * 2 / 3, dh = h * 2 / 3;
    const auto at = [&](int x, int y) { return double(src.row(uint32_t(y))[first + step * x]); };
    double se = 0.0;
    std::vector<double> vertical(size_t(w), 0.0);
    for (int y = 0; y < dh; ++y) {
        for (int x = 0; x < w; ++x) vertical[size_t(x)] = filter_at([&](int r) { return at(x, r); }, h, 1.5 * y + 0.25);
        for (int x = 0; x < dw; ++x) {
            const double d = got[size_t(y) * src.m_width * 4 / 3 + size_t(first + step * x)] -
                             filter_at([&](int c) { return vertical[size_t(c)]; }, w, 1.5 * x + x_origin);
            se += d * d;
        }
    }
    return se;
}

double psnr(const packed_t& src, const std::vector<uint8_t>& got) {
    // Chroma pair m of the destination sits on source pixel 3m + 0.25: chroma-grid 1.5m + 0.125.
    const double se =
        plane_error(src, got, 1, 2, 0.25) + plane_error(src, got, 0, 4, 0.125) + plane_error(src, got, 2, 4, 0.125);
    return 10.0 * std::log10(255.0 * 255.0 * double(got.size()) / se);
}

TEST(two_thirds_quality, closer_to_the_float_reference_than_bilinear) {
    const uint32_t w = 480, h = 270, dw = 320, dh = 180;
    // Each picture's value at (x, y) in channel 0 Y, 1 Cb, 2 Cr.
    const struct {
        const char* m_name;
        std::function<double(double, double, int)> m_value;
    } pictures[] = {
        {"zone_plate",
         [](double x, double y, int) {
             return 128.0 + 90.0 * std::cos(k_pi * ((x - 240) * (x - 240) + (y - 135) * (y - 135)) / 540.0);
         }},
        // Overlapping rectangles of many sizes. (A period that is a multiple of 3 pixels would be
        // degenerate: its aliases fall exactly on its own fundamental.)
        {"edges",
         [](double x, double y, int c) {
             double v = 60.0;
             for (uint32_t i = 0, k = 0; i < 120; ++i, k = i * 2654435761u) {
                 const double x0 = k % 480, y0 = (k >> 9) % 270, bw = 1 + (k >> 18) % 23, bh = 1 + (k >> 23) % 17;
                 if (x >= x0 && x < x0 + bw && y >= y0 && y < y0 + bh) v = 40.0 + (k >> 5) % 180 + (c ? 10.0 : 0.0);
             }
             return v;
         }},
    };
    for (const auto& p : pictures) {
        packed_t src(w, h);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                const double c = p.m_value(double(x & ~1u), y, x % 2 ? 2 : 1), l = p.m_value(x, y, 0);
                src.row(y)[2 * x] = uint8_t(std::lround(std::clamp(c, 16.0, 240.0)));
                src.row(y)[2 * x + 1] = uint8_t(std::lround(std::clamp(l, 16.0, 235.0)));
            }
        zav_test::uyvy_image_t in(w, h), out(dw, dh);
        std::copy(src.m_bytes.begin(), src.m_bytes.end(), in.data());
        vc::resample_uyvy(in.data(), in.pitch(), w, h, out.data(), out.pitch(), dw, dh);
        // Bilinear at the same geometry: the general path's arithmetic, through the model.
        packed_t bilinear(dw, dh);
        model::general(src, bilinear, 1.5f, 0.25f, 1.5f, 0.25f, true, true);
        const double ours = psnr(src, out.rows_bytes()), theirs = psnr(src, bilinear.m_bytes);
        EXPECT_GE(ours, theirs) << p.m_name << ": two-thirds " << ours << " dB, bilinear " << theirs << " dB";
        EXPECT_TRUE(out.guards_intact());
    }
}

// The aspect fit: modes 0 to 2 byte for byte against the fitting rules applied to the model,
// the field modes only confined to the destination.
struct fit_case_t {
    const char* m_name;
    uint32_t m_ws, m_hs, m_wd, m_hd;
    float m_a, m_b;
    uint32_t m_fit_vertically;
    bool m_aligned;
};

// An edge of a bar or a crop: n * size / d, biased, made even, clamped to 0..limit.
uint32_t edge(float n, float size, float d, float bias, uint32_t limit) {
    const int32_t v = int32_t(n * size / d + bias) & ~1;
    return v < 0 ? 0u : std::min<uint32_t>(uint32_t(v), limit);
}

packed_t sub_image(const packed_t& img, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h) {
    packed_t out(w, h);
    for (uint32_t y = 0; y < h; ++y) std::copy(img.row(y0 + y) + 2 * x0, img.row(y0 + y) + 2 * (x0 + w), out.row(y));
    return out;
}

// The model scale of one fitted region; modes 1 and 2 move the source's top edge by +-0.25.
void model_scale(const packed_t& src, packed_t& dst, uint32_t mode, const float* scales = nullptr,
                 const float* offsets = nullptr) {
    if (mode == 0) return model_kernel(src, dst, scales, offsets);
    float s[2] = {float(src.m_width) / float(dst.m_width), float(src.m_height) / float(dst.m_height)};
    float o[2] = {model::default_offset(src.m_width, dst.m_width), model::default_offset(src.m_height, dst.m_height)};
    if (scales && offsets) s[0] = scales[0], s[1] = scales[1], o[0] = offsets[0], o[1] = offsets[1];
    o[1] += mode == 1 ? 0.25f : -0.25f;
    model_kernel(src, dst, s, o);
}

// What the destination must hold after the fit, given what it held before.
packed_t model_fit(const packed_t& src, const packed_t& before, const fit_case_t& c, uint32_t mode) {
    packed_t out = before;
    const float a = c.m_a, b = c.m_b, ws = float(c.m_ws), hs = float(c.m_hs), wd = float(c.m_wd);
    if (!c.m_fit_vertically && a < b) {
        const uint32_t left = edge(b - a, wd, 2 * b, 0.5f, c.m_wd), right = edge(a + b, wd, 2 * b, 1.5f, c.m_wd);
        for (uint32_t y = 0; y < c.m_hd && left > 0; ++y)
            for (uint32_t x = 0; x < c.m_wd; ++x)
                if (x < left || x >= right) out.row(y)[2 * x] = 0x80, out.row(y)[2 * x + 1] = 0x10;
        if (right <= left) return out;
        packed_t region(right - left, c.m_hd);
        model_scale(src, region, mode);
        for (uint32_t y = 0; y < c.m_hd; ++y)
            std::copy(region.row(y), region.row(y) + 2 * region.m_width, out.row(y) + 2 * left);
        return out;
    }
    if (!c.m_fit_vertically) {
        const uint32_t left = edge(a - b, ws, 2 * a, 0.5f, c.m_ws), right = edge(a + b, ws, 2 * a, 1.5f, c.m_ws);
        if (right > left) model_scale(sub_image(src, left, 0, right - left, c.m_hs), out, mode);
        return out;
    }
    if (a < b) {
        const uint32_t top = edge(b - a, hs, 2 * b, 0.5f, c.m_hs), bottom = edge(a + b, hs, 2 * b, 1.5f, c.m_hs);
        if (bottom > top) model_scale(sub_image(src, 0, top, c.m_ws, bottom - top), out, mode);
        return out;
    }
    const float p = ws * (1 / b - 1 / a) / (2 / b), q = ws * (1 / b + 1 / a) / (2 / b);
    float lo = 0, hi = ws;
    if (!(int32_t(p) == 0 && int32_t(q) == int32_t(c.m_ws))) {
        const float m = ((q - p) - hs) * 0.5f + p;
        lo = p - m, hi = q - m;
    }
    const float ys = (hi - lo) / float(c.m_hd), scales[2] = {ws / wd, ys},
                offsets[2] = {(ws - wd) * 0.5f / wd, (lo - 0.5f) + 0.5f * ys};
    model_scale(src, out, mode, scales, offsets);
    return out;
}

// The case as the test lists print it: its name, not a dump of its bytes (which hold a pointer).
void PrintTo(const fit_case_t& c, std::ostream* os) {
    *os << c.m_name;
}

class fit_matches_model_t : public testing::TestWithParam<fit_case_t> {};

// One fit in `mode` (0 to 6: modes 3 to 6 are mode 3 with field_select 0 to 3) over random
// source and destination bytes: the source stays unchanged and nothing is written outside the
// destination rows; with `against_model` the rows equal the model's.
void run_fit(const fit_case_t& c, uint32_t mode, bool against_model) {
    SCOPED_TRACE(testing::Message() << "mode " << mode);
    std::mt19937 rng(c.m_ws + 3 * c.m_wd + mode);
    uyvy_image_t src = make_image(c.m_ws, c.m_hs, c.m_aligned, 1), dst = make_image(c.m_wd, c.m_hd, c.m_aligned, 2);
    src.fill_rows_random(rng);
    dst.fill_rows_random(rng);
    const std::vector<uint8_t> src_before = src.rows_bytes();
    const packed_t expected = model_fit(packed_t(src), packed_t(dst), c, std::min(mode, 2u));
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), c.m_ws, c.m_hs, std::min(mode, 3u), dst.data(), c.m_a, c.m_b,
                                 dst.pitch(), c.m_wd, c.m_hd, mode < 3 ? 0 : mode - 3, c.m_fit_vertically);
    if (against_model) expect_rows_equal(dst, expected);
    EXPECT_TRUE(dst.guards_intact() && src.guards_intact() && src.rows_bytes() == src_before);
}

// Progressive and single-field mapping, byte for byte.
TEST_P(fit_matches_model_t, modes_0_to_2_give_the_model_bytes) {
    for (uint32_t mode = 0; mode < 3; ++mode) run_fit(GetParam(), mode, true);
}

// Field mode 3, with each field_select, only has to stay inside the destination.
TEST_P(fit_matches_model_t, field_modes_stay_inside_the_destination) {
    for (uint32_t mode = 3; mode < 7; ++mode) run_fit(GetParam(), mode, false);
}

const fit_case_t k_fits[] = {
    {"pillarbox_1440x1080_in_1080p", 1440, 1080, 1920, 1080, 4.0f / 3, 16.0f / 9, 0, true},
    {"pillarbox_1440x1080_in_1080p_unaligned", 1440, 1080, 1920, 1080, 4.0f / 3, 16.0f / 9, 0, false},
    {"side_crop_1080p_in_640x480", 1920, 1080, 640, 480, 16.0f / 9, 4.0f / 3, 0, true},
    {"top_crop_1440x1080_in_1080p", 1440, 1080, 1920, 1080, 4.0f / 3, 16.0f / 9, 1, false},
    {"wide_1080p_in_640x480", 1920, 1080, 640, 480, 16.0f / 9, 4.0f / 3, 1, true},
    {"wide_1080p_in_640x480_unaligned", 1920, 1080, 640, 480, 16.0f / 9, 4.0f / 3, 1, false},
    {"wide_equal_aspect_range_0_to_width", 128, 72, 64, 36, 16.0f / 9, 16.0f / 9, 1, false},
    {"wide_small", 24, 8, 10, 12, 3.0f, 10.0f / 12, 1, false},
    {"pillarbox_small", 12, 8, 20, 8, 1.5f, 2.5f, 0, false},
    {"pillarbox_left_bar_rounds_to_0", 8, 6, 21, 6, 2.0f - 4.0f / 21, 2.0f, 0, false},
    {"pillarbox_narrow_source", 4, 16, 40, 8, 0.25f, 5.0f, 0, true},
    {"side_crop_small", 30, 6, 8, 6, 5.0f, 4.0f / 3, 0, false},
    {"top_crop_small", 10, 30, 12, 8, 1.0f / 3, 1.5f, 1, false},
    {"equal_aspect_copy", 64, 36, 64, 36, 16.0f / 9, 16.0f / 9, 0, true},
};

INSTANTIATE_TEST_SUITE_P(fits, fit_matches_model_t, testing::ValuesIn(k_fits),
                         [](const testing::TestParamInfo<fit_case_t>& p) { return std::string(p.param.m_name); });

TEST(resample_fit, worked_examples_of_the_bars) {
    std::mt19937 rng(1);
    // 1440x1080 in 1080p: bars end at 240 and start at 1680; the picture, at equal height, lands
    // in columns 240..1679 unchanged.
    uyvy_image_t src(1440, 1080), dst(1920, 1080);
    src.fill_rows_random(rng);
    dst.fill_rows_random(rng);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 1440, 1080, 0, dst.data(), 4.0f / 3, 16.0f / 9, dst.pitch(),
                                 1920, 1080, 0, 0);
    for (uint32_t y : {0u, 539u, 1079u}) {
        for (uint32_t x = 0; x < 1920; ++x)
            ASSERT_TRUE((x >= 240 && x < 1680) || (dst.row(y)[2 * x] == 0x80 && dst.row(y)[2 * x + 1] == 0x10)) << x;
        EXPECT_TRUE(std::equal(src.row(y), src.row(y) + 2 * 1440, dst.row(y) + 2 * 240)) << "row " << y;
    }
    EXPECT_TRUE(dst.guards_intact());

    // left = even(1 + 0.5) = 0, right = even(20 + 1.5) = 20: no bar is painted, and column 20
    // of 21 keeps its bytes.
    uyvy_image_t small_src(8, 6), small_dst(21, 6);
    small_src.fill_rows_random(rng);
    std::fill(small_dst.row(0), small_dst.row(0) + 6 * 42, 0x33);
    vc::resample_uyvy_aspect_fit(small_src.data(), small_src.pitch(), 8, 6, 0, small_dst.data(), 2.0f - 4.0f / 21, 2.0f,
                                 small_dst.pitch(), 21, 6, 0, 0);
    for (uint32_t y = 0; y < 6; ++y)
        EXPECT_TRUE(small_dst.row(y)[40] == 0x33 && small_dst.row(y)[41] == 0x33 && small_dst.row(y)[1] != 0x33) << y;
    EXPECT_TRUE(small_dst.guards_intact());
}

TEST(resample_fit, degenerate_aspects_stay_inside_the_destination) {
    std::mt19937 rng(3);
    uyvy_image_t src(32, 16);
    src.fill_rows_random(rng);
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const float aspects[][2] = {{0.0f, 1.0f}, {1.0f, 0.0f}, {-2.0f, 1.0f},   {1.0f, -3.0f},  {nan, 1.0f},
                                {1.0f, nan},  {inf, 1.0f},  {1e-30f, 1e30f}, {1e30f, 1e-30f}};
    for (const auto& ab : aspects)
        for (uint32_t fv = 0; fv < 2; ++fv)
            for (uint32_t mode = 0; mode < 4; ++mode) {
                uyvy_image_t dst(24, 10, 2 * 24 + 5, 3);
                vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 16, mode, dst.data(), ab[0], ab[1],
                                             dst.pitch(), 24, 10, mode % 2, fv);
                ASSERT_TRUE(dst.guards_intact()) << ab[0] << " " << ab[1] << " fv " << fv << " mode " << mode;
            }
}

TEST(resample_fit, empty_images_write_nothing) {
    std::mt19937 rng(3);
    uyvy_image_t src(32, 16);
    src.fill_rows_random(rng);
    uyvy_image_t dst(24, 10);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 0, 16, 0, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 10, 0, 0);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 16, 0, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 0, 0, 1);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 0, 3, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 10, 0, 1);
    EXPECT_TRUE(dst.guards_intact());
}

}  // namespace

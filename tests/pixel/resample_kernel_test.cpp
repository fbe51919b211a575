// The scaling kernel against the independent model: every byte, many sizes, strides and
// alignments, default and explicit mappings, with guard bytes around every destination row.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "guarded_image.h"
#include "pixel/resample_uyvy.h"
#include "resample_model.h"

namespace {

using namespace zav_resample_test;
using zav_test::uyvy_image_t;
namespace vc = Drivers::Mac::ZAV::VirtualCamera;

struct size_case_t {
    uint32_t m_ws, m_hs, m_wd, m_hd;
};

struct kernel_case_t {
    size_case_t m_size;
    bool m_src_aligned, m_dst_aligned;
    bool m_explicit = false;
    float m_scales[2] = {1, 1};
    float m_offsets[2] = {0, 0};
};

class kernel_matches_model_t : public testing::TestWithParam<kernel_case_t> {};

TEST_P(kernel_matches_model_t, every_byte_and_no_write_outside_the_rows)
{
    const kernel_case_t& c = GetParam();
    const size_case_t& s = c.m_size;
    std::mt19937 rng(s.m_ws * 131 + s.m_wd * 7 + s.m_hd);
    uyvy_image_t src = make_image(s.m_ws, s.m_hs, c.m_src_aligned, s.m_wd), dst = make_image(s.m_wd, s.m_hd, c.m_dst_aligned, s.m_hs);
    src.fill_rows_random(rng);
    const std::vector<uint8_t> src_before = src.rows_bytes();
    packed_t expected(s.m_wd, s.m_hd);
    model_kernel(packed_of(src), expected, c.m_explicit ? c.m_scales : nullptr, c.m_offsets);
    if (c.m_explicit)
        vc::resample_uyvy_kernel(src.plane(), dst.plane(), c.m_scales, c.m_offsets);
    else
        vc::resample_uyvy(src.data(), src.pitch(), s.m_ws, s.m_hs, dst.data(), dst.pitch(), s.m_wd, s.m_hd);
    expect_rows_equal(dst, expected);
    EXPECT_TRUE(dst.guards_intact() && src.guards_intact() && src.rows_bytes() == src_before);
}

std::vector<kernel_case_t> with_alignments(const std::vector<size_case_t>& sizes)
{
    std::vector<kernel_case_t> out;
    for (const size_case_t& s : sizes)
        for (int a = 0; a < 4; ++a) out.push_back({s, (a & 1) != 0, (a & 2) != 0});
    return out;
}

// Small pictures of 1 to 4 pixel pairs and odd sizes, on every path (copy, one axis, halving,
// two-thirds, upscale, downscale past the second table layout); widths around the 16-byte
// groups of the horizontal pass (7, 8, 9 pixels at a group edge); full-size frame fills.
const std::vector<size_case_t> k_sizes = {
    {2, 2, 2, 2}, {2, 1, 4, 3}, {2, 2, 8, 8}, {4, 2, 2, 1}, {4, 4, 2, 2}, {6, 3, 4, 2}, {8, 6, 2, 2}, {4, 3, 6, 5},
    {6, 4, 6, 9}, {10, 6, 14, 6}, {8, 1, 8, 4}, {2, 5, 6, 1}, {12, 3, 8, 2}, {9, 5, 6, 4}, {7, 3, 12, 5},
    {10, 4, 7, 5}, {3, 3, 2, 2}, {5, 7, 3, 11}, {1, 2, 4, 4}, {6, 2, 1, 3}, {16, 4, 6, 4}, {8, 8, 16, 8},
    {14, 5, 18, 7}, {16, 16, 10, 12}, {24, 9, 16, 6}, {32, 8, 30, 9}, {34, 10, 66, 21}, {48, 12, 12, 12},
    {40, 10, 8, 3}, {18, 4, 16, 4}, {16, 6, 18, 6}, {64, 16, 24, 10}, {22, 6, 32, 6}, {100, 20, 48, 14},
    {38, 8, 24, 5}, {200, 4, 34, 4}, {1920, 1080, 1280, 720}, {1920, 1080, 960, 540}, {1280, 720, 1920, 1080},
    {1920, 1080, 640, 360}, {1920, 1080, 1366, 768}, {1440, 1080, 1440, 1080}};
INSTANTIATE_TEST_SUITE_P(sizes, kernel_matches_model_t, testing::ValuesIn(with_alignments(k_sizes)));

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
    {{40, 20, 20, 10}, false, true, true, {2.0f, 2.0f}, {0.55f, 0.45f}},         // close to default: halving
    {{36, 18, 24, 12}, false, true, true, {1.5f, 1.5f}, {0.3f, 0.2f}},           // close to default: two-thirds
    {{36, 18, 24, 12}, false, true, true, {1.5f, 1.5f}, {0.4f, 0.25f}},          // x moved by 0.15: general path
    {{24, 12, 24, 12}, false, true, true, {1.0f, 1.0f}, {0.05f, 0.0f}},          // close to identity: copy
    {{1920, 1080, 1280, 720}, true, true, true, {1.5f, 1.5f}, {0.25f, 0.5f}},    // general path
    {{640, 120, 64, 120}, false, true, true, {10.0f, 1.0f}, {4.5f, 0.0f}}};      // step of 10 pixels
INSTANTIATE_TEST_SUITE_P(mapped, kernel_matches_model_t, testing::ValuesIn(k_mapped));

// Worked examples of the arithmetic, computed from the stated rules.
// Worked examples of the arithmetic, computed from the stated rules.
TEST(resample_kernel, halving_averages_rows_first_then_columns)
{
    uyvy_image_t src(4, 2), dst(2, 1);
    const uint8_t rows[16] = {128, 10, 128, 11, 100, 50, 90, 60, 128, 12, 128, 13, 101, 60, 91, 60};
    std::copy(rows, rows + 16, src.row(0));
    vc::resample_uyvy(src.data(), 8, 4, 2, dst.data(), 4, 2, 1);
    // Y: avg(avg(10, 12), avg(11, 13)) = 12 and avg(avg(50, 60), avg(60, 60)) = 58; Cb:
    // avg(avg(128, 128), avg(100, 101)) = 115; Cr: avg(avg(128, 128), avg(90, 91)) = 110.
    EXPECT_EQ(dst.rows_bytes(), (std::vector<uint8_t>{115, 12, 110, 58}));
    EXPECT_TRUE(dst.guards_intact());
}

TEST(resample_kernel, vertical_phases_copy_blend_truncating_and_skip_to_the_next_row)
{
    // One destination row from rows A (all 0) and B (all 255) at vertical phase f.
    for (uint32_t f = 0; f < 64; ++f) {
        uyvy_image_t src(4, 2), dst(4, 1);
        std::fill(src.row(0), src.row(0) + 8, 0);
        std::fill(src.row(1), src.row(1) + 8, 255);
        const float scales[2] = {1.0f, 1.0f}, offsets[2] = {0.0f, float(f) / 64.0f};
        vc::resample_uyvy_kernel(src.plane(), dst.plane(), scales, offsets);
        const int expected = f < 3 ? 0 : f > 61 ? 255 : (255 * int(f)) >> 6;  // 127 at phase 32: no rounding
        EXPECT_EQ(dst.rows_bytes(), std::vector<uint8_t>(8, uint8_t(expected))) << "phase " << f;
        EXPECT_TRUE(dst.guards_intact());
    }
}

TEST(resample_kernel, empty_or_inconsistent_descriptors_write_nothing)
{
    std::mt19937 rng(6);
    uyvy_image_t src(16, 8), dst(8, 4);
    src.fill_rows_random(rng);
    // Empty sizes, row bytes shorter than a row, null pointers.
    const struct {
        const uint8_t* s;
        uint32_t s_pitch, ws, hs;
        uint8_t* d;
        uint32_t d_pitch, wd, hd;
    } calls[] = {{src.data(), 32, 0, 8, dst.data(), 16, 8, 4},  {src.data(), 32, 16, 0, dst.data(), 16, 8, 4},
                 {src.data(), 32, 16, 8, dst.data(), 16, 0, 4}, {src.data(), 32, 16, 8, dst.data(), 16, 8, 0},
                 {src.data(), 20, 16, 8, dst.data(), 16, 8, 4}, {src.data(), 32, 16, 8, dst.data(), 15, 8, 4},
                 {nullptr, 32, 16, 8, dst.data(), 16, 8, 4},    {src.data(), 32, 16, 8, nullptr, 16, 8, 4}};
    for (const auto& c : calls) vc::resample_uyvy(c.s, c.s_pitch, c.ws, c.hs, c.d, c.d_pitch, c.wd, c.hd);
    EXPECT_TRUE(dst.untouched());
    // A mapping needs both pointers: one alone means the default mapping.
    const float scales[2] = {5.0f, 5.0f};
    uyvy_image_t a(8, 4), b(8, 4);
    vc::resample_uyvy_kernel(src.plane(), a.plane(), scales, nullptr);
    vc::resample_uyvy_kernel(src.plane(), b.plane(), nullptr, nullptr);
    EXPECT_EQ(a.rows_bytes(), b.rows_bytes());
}

// The kernel keeps no shared state: threads scaling at once all get the single-thread bytes.
TEST(resample_kernel, concurrent_calls_give_the_same_bytes)
{
    std::mt19937 rng(7);
    uyvy_image_t src(640, 360);
    src.fill_rows_random(rng);
    std::vector<uyvy_image_t> outs(5, uyvy_image_t(426, 240));
    const auto scale = [&src](uyvy_image_t* out) { vc::resample_uyvy(src.data(), src.pitch(), 640, 360, out->data(), out->pitch(), 426, 240); };
    scale(&outs[0]);
    std::vector<std::thread> threads;
    for (size_t i = 1; i < outs.size(); ++i)
        threads.emplace_back([&scale, out = &outs[i]] { for (int k = 0; k < 5; ++k) scale(out); });
    for (auto& t : threads) t.join();
    for (auto& out : outs) EXPECT_EQ(out.rows_bytes(), outs[0].rows_bytes());
}

// The two-thirds path's quality: against a float reference downscale (a Lanczos-3 stretched
// to the 1.5 ratio, so that it band-limits), it must come at least as close as bilinear
// interpolation at the same geometry. A zone plate holds every frequency up to the source's
// Nyquist in every direction (what a 3-to-2 filter must remove rather than fold back); hard
// edges at arbitrary positions, like text, show ringing and misplaced phases.
constexpr double k_pi = 3.14159265358979323846;

double sinc(double t) { return t == 0.0 ? 1.0 : std::sin(k_pi * t) / (k_pi * t); }

// Filters one plane sample(x, y) (n samples along the axis) at pos, clamping at the edges.
double filter_at(const std::function<double(int)>& sample, int n, double pos)
{
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
double plane_error(const packed_t& src, const std::vector<uint8_t>& got, int first, int step, double x_origin)
{
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

double psnr(const packed_t& src, const std::vector<uint8_t>& got)
{
    // Chroma pair m of the destination sits on source pixel 3m + 0.25: chroma-grid 1.5m + 0.125.
    const double se = plane_error(src, got, 1, 2, 0.25) + plane_error(src, got, 0, 4, 0.125) +
                      plane_error(src, got, 2, 4, 0.125);
    return 10.0 * std::log10(255.0 * 255.0 * double(got.size()) / se);
}

TEST(two_thirds_quality, closer_to_the_float_reference_than_bilinear)
{
    const uint32_t w = 480, h = 270, dw = 320, dh = 180;
    const struct {
        const char* m_name;
        std::function<double(double, double, int)> m_value;  // (x, y, channel 0 Y / 1 Cb / 2 Cr)
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
             for (uint32_t i = 0; i < 120; ++i) {
                 const uint32_t k = i * 2654435761u;
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

}  // namespace

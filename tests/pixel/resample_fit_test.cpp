// The aspect-fitting entry: bars, crops and the vertical fit of wide sources, checked byte
// for byte against the fitting rules applied to the independent model, plus the field
// modes' confinement to the destination.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include "guarded_image.h"
#include "pixel/resample_uyvy.h"
#include "resample_model.h"

namespace {

using namespace zav_resample_test;
using zav_test::uyvy_image_t;
namespace vc = Drivers::Mac::ZAV::VirtualCamera;

struct fit_case_t {
    const char* m_name;
    uint32_t m_ws, m_hs, m_wd, m_hd;
    float m_a, m_b;
    uint32_t m_fit_vertically;
    bool m_aligned;
};

// An edge of a bar or a crop: n * size / d, biased, made even, clamped to 0..limit.
uint32_t edge(float n, float size, float d, float bias, uint32_t limit)
{
    const int32_t v = int32_t(n * size / d + bias) & ~1;
    return v < 0 ? 0u : std::min<uint32_t>(uint32_t(v), limit);
}

packed_t sub_image(const packed_t& img, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h)
{
    packed_t out(w, h);
    for (uint32_t y = 0; y < h; ++y) std::copy(img.row(y0 + y) + 2 * x0, img.row(y0 + y) + 2 * (x0 + w), out.row(y));
    return out;
}

// The model scale of one fitted region; modes 1 and 2 move the source's top edge by +-0.25.
void model_scale(const packed_t& src, packed_t& dst, uint32_t mode, const float* scales = nullptr, const float* offsets = nullptr)
{
    if (mode == 0) return model_kernel(src, dst, scales, offsets);
    float s[2] = {float(src.m_width) / float(dst.m_width), float(src.m_height) / float(dst.m_height)};
    float o[2] = {model::default_offset(src.m_width, dst.m_width), model::default_offset(src.m_height, dst.m_height)};
    if (scales && offsets) s[0] = scales[0], s[1] = scales[1], o[0] = offsets[0], o[1] = offsets[1];
    o[1] += mode == 1 ? 0.25f : -0.25f;
    model_kernel(src, dst, s, o);
}

// What the destination must hold after the fit, given what it held before.
packed_t model_fit(const packed_t& src, const packed_t& before, const fit_case_t& c, uint32_t mode)
{
    packed_t out = before;
    const float a = c.m_a, b = c.m_b, ws = float(c.m_ws), hs = float(c.m_hs), wd = float(c.m_wd);
    if (!c.m_fit_vertically && a < b) {
        const uint32_t left = edge(b - a, wd, 2 * b, 0.5f, c.m_wd), right = edge(a + b, wd, 2 * b, 1.5f, c.m_wd);
        if (left > 0)
            for (uint32_t y = 0; y < c.m_hd; ++y)
                for (uint32_t x = 0; x < c.m_wd; ++x)
                    if (x < left || x >= right) out.row(y)[2 * x] = 0x80, out.row(y)[2 * x + 1] = 0x10;
        if (right <= left) return out;
        packed_t region(right - left, c.m_hd);
        model_scale(src, region, mode);
        for (uint32_t y = 0; y < c.m_hd; ++y) std::copy(region.row(y), region.row(y) + 2 * region.m_width, out.row(y) + 2 * left);
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
    const float ys = (hi - lo) / float(c.m_hd), scales[2] = {ws / wd, ys}, offsets[2] = {(ws - wd) * 0.5f / wd, (lo - 0.5f) + 0.5f * ys};
    model_scale(src, out, mode, scales, offsets);
    return out;
}

class fit_matches_model_t : public testing::TestWithParam<fit_case_t> {};

// Modes 0, 1 and 2 byte for byte; the field modes (3) only confined to the destination.
TEST_P(fit_matches_model_t, modes_0_1_2_byte_for_byte_and_field_modes_inside)
{
    const fit_case_t& c = GetParam();
    for (uint32_t mode = 0; mode < 7; ++mode) {
        SCOPED_TRACE(mode);
        std::mt19937 rng(c.m_ws + 3 * c.m_wd + mode);
        uyvy_image_t src = make_image(c.m_ws, c.m_hs, c.m_aligned, 1), dst = make_image(c.m_wd, c.m_hd, c.m_aligned, 2);
        src.fill_rows_random(rng);
        dst.fill_rows_random(rng);
        const std::vector<uint8_t> src_before = src.rows_bytes();
        const packed_t expected = model_fit(packed_of(src), packed_of(dst), c, std::min(mode, 2u));
        vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), c.m_ws, c.m_hs, std::min(mode, 3u), dst.data(), c.m_a,
                                     c.m_b, dst.pitch(), c.m_wd, c.m_hd, mode < 3 ? 0 : mode - 3, c.m_fit_vertically);
        if (mode < 3) expect_rows_equal(dst, expected);
        EXPECT_TRUE(dst.guards_intact() && src.guards_intact() && src.rows_bytes() == src_before);
    }
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

TEST(resample_fit, worked_examples_of_the_bars)
{
    std::mt19937 rng(1);
    // 1440x1080 in 1080p: bars end at 240 and start at 1680; the picture, at equal height, lands
    // in columns 240..1679 unchanged.
    uyvy_image_t src(1440, 1080), dst(1920, 1080);
    src.fill_rows_random(rng);
    dst.fill_rows_random(rng);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 1440, 1080, 0, dst.data(), 4.0f / 3, 16.0f / 9, dst.pitch(), 1920, 1080, 0, 0);
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
    vc::resample_uyvy_aspect_fit(small_src.data(), small_src.pitch(), 8, 6, 0, small_dst.data(), 2.0f - 4.0f / 21, 2.0f, small_dst.pitch(), 21, 6, 0, 0);
    for (uint32_t y = 0; y < 6; ++y)
        EXPECT_TRUE(small_dst.row(y)[40] == 0x33 && small_dst.row(y)[41] == 0x33 && small_dst.row(y)[1] != 0x33) << y;
    EXPECT_TRUE(small_dst.guards_intact());
}

TEST(resample_fit, degenerate_aspects_and_sizes_stay_inside_the_destination)
{
    std::mt19937 rng(3);
    uyvy_image_t src(32, 16);
    src.fill_rows_random(rng);
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const float aspects[][2] = {{0.0f, 1.0f}, {1.0f, 0.0f}, {-2.0f, 1.0f}, {1.0f, -3.0f}, {nan, 1.0f}, {1.0f, nan}, {inf, 1.0f}, {1e-30f, 1e30f}, {1e30f, 1e-30f}};
    for (const auto& ab : aspects)
        for (uint32_t fv = 0; fv < 2; ++fv)
            for (uint32_t mode = 0; mode < 4; ++mode) {
                uyvy_image_t dst(24, 10, 2 * 24 + 5, 3);
                vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 16, mode, dst.data(), ab[0], ab[1], dst.pitch(), 24, 10, mode % 2, fv);
                ASSERT_TRUE(dst.guards_intact()) << ab[0] << " " << ab[1] << " fv " << fv << " mode " << mode;
            }
    // Empty images write nothing.
    uyvy_image_t dst(24, 10);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 0, 16, 0, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 10, 0, 0);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 16, 0, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 0, 0, 1);
    vc::resample_uyvy_aspect_fit(src.data(), src.pitch(), 32, 0, 3, dst.data(), 1.0f, 2.0f, dst.pitch(), 24, 10, 0, 1);
    EXPECT_TRUE(dst.guards_intact());
}

}  // namespace

// Quality of the two-thirds path: against a float reference downscale (a windowed sinc
// stretched to the 1.5 ratio), it must come at least as close as bilinear interpolation at
// the same geometry, on detailed pictures and on detail above the destination's Nyquist
// frequency (which a good 3-to-2 filter removes instead of folding back as aliasing).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "pixel/resample_uyvy.h"
#include "resample_model.h"
#include "guarded_image.h"

namespace {

using namespace zav_resample_test;
using zav_test::uyvy_image_t;
namespace vc = Drivers::Mac::ZAV::VirtualCamera;

constexpr double k_pi = 3.14159265358979323846;

double sinc(double t) { return t == 0.0 ? 1.0 : std::sin(k_pi * t) / (k_pi * t); }

// Lanczos-3 widened by the downscale ratio, so that it also band-limits.
double reference_weight(double d) { return std::fabs(d / 1.5) < 3.0 ? sinc(d / 1.5) * sinc(d / 4.5) : 0.0; }

// Filters samples(i), i in [0, n), at position pos with edge clamping.
double filter_at(const std::function<double(int)>& samples, int n, double pos)
{
    double sum = 0.0, wsum = 0.0;
    for (int i = int(std::floor(pos)) - 5; i <= int(std::floor(pos)) + 5; ++i) {
        const double w = reference_weight(i - pos);
        sum += w * samples(std::min(std::max(i, 0), n - 1));
        wsum += w;
    }
    return sum / wsum;
}

// Float reference of one plane (luma, Cb or Cr) sampled on its own grid; plane(x, y).
std::vector<double> reference_plane(const std::function<double(int, int)>& plane, int w, int h, int dw, int dh, double x_origin)
{
    std::vector<double> rows(size_t(dh) * w);
    for (int y = 0; y < dh; ++y)
        for (int x = 0; x < w; ++x) rows[size_t(y) * w + x] = filter_at([&](int r) { return plane(x, r); }, h, 1.5 * y + 0.25);
    std::vector<double> out(size_t(dh) * dw);
    for (int y = 0; y < dh; ++y)
        for (int x = 0; x < dw; ++x)
            out[size_t(y) * dw + x] = filter_at([&](int c) { return rows[size_t(y) * w + c]; }, w, 1.5 * x + x_origin);
    return out;
}

// Float reference of a whole UYVY picture, returned as UYVY-ordered doubles.
std::vector<double> reference_downscale(const packed_t& src, uint32_t dw, uint32_t dh)
{
    const int w = int(src.m_width), h = int(src.m_height);
    const auto luma = reference_plane([&](int x, int y) { return double(src.row(y)[2 * x + 1]); }, w, h, int(dw), int(dh), 0.25);
    // Chroma pair m of the destination sits on destination pixel 2m, that is on source pixel
    // 3m + 0.25, which is chroma-grid position 1.5m + 0.125.
    const auto cb = reference_plane([&](int x, int y) { return double(src.row(y)[4 * x]); }, w / 2, h, int(dw / 2), int(dh), 0.125);
    const auto cr = reference_plane([&](int x, int y) { return double(src.row(y)[4 * x + 2]); }, w / 2, h, int(dw / 2), int(dh), 0.125);
    std::vector<double> out(size_t(dw) * dh * 2);
    for (uint32_t y = 0; y < dh; ++y)
        for (uint32_t x = 0; x < dw; ++x) {
            const size_t at = (size_t(y) * dw + x) * 2;
            out[at + 1] = luma[size_t(y) * dw + x];
            out[at] = (x % 2 ? cr : cb)[size_t(y) * (dw / 2) + x / 2];
        }
    return out;
}

double psnr(const std::vector<uint8_t>& got, const std::vector<double>& want)
{
    double se = 0.0;
    for (size_t i = 0; i < got.size(); ++i) se += (got[i] - want[i]) * (got[i] - want[i]);
    return 10.0 * std::log10(255.0 * 255.0 / (se / double(got.size())));
}

struct picture_t {
    const char* m_name;
    std::function<double(double, double, int)> m_value;  // (x, y, channel 0 Y / 1 Cb / 2 Cr)
};

packed_t make_picture(const picture_t& p, uint32_t w, uint32_t h)
{
    packed_t img(w, h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const int channel = (x % 2 == 0) ? 1 : 2;
            const double c = p.m_value(double(x & ~1u), y, channel);
            const double l = p.m_value(x, y, 0);
            img.row(y)[2 * x] = uint8_t(std::lround(std::min(240.0, std::max(16.0, c))));
            img.row(y)[2 * x + 1] = uint8_t(std::lround(std::min(235.0, std::max(16.0, l))));
        }
    return img;
}

class two_thirds_quality_t : public testing::TestWithParam<picture_t> {};

TEST_P(two_thirds_quality_t, closer_to_the_float_reference_than_bilinear)
{
    const uint32_t w = 480, h = 270, dw = 320, dh = 180;
    const packed_t src = make_picture(GetParam(), w, h);
    uyvy_image_t in(w, h), out(dw, dh);
    std::copy(src.m_bytes.begin(), src.m_bytes.end(), in.data());
    vc::resample_uyvy(in.data(), in.pitch(), w, h, out.data(), out.pitch(), dw, dh);

    // Bilinear at the same geometry: the general path's arithmetic, through the model.
    packed_t bilinear(dw, dh);
    model::general(src, bilinear, 1.5f, 0.25f, 1.5f, 0.25f, true, true);

    const std::vector<double> reference = reference_downscale(src, dw, dh);
    const double ours = psnr(out.rows_bytes(), reference);
    const double theirs = psnr(bilinear.m_bytes, reference);
    RecordProperty("psnr_two_thirds", std::to_string(ours));
    RecordProperty("psnr_bilinear", std::to_string(theirs));
    EXPECT_GE(ours, theirs) << GetParam().m_name << ": two-thirds " << ours << " dB, bilinear " << theirs << " dB";
    EXPECT_TRUE(out.guards_intact());
}

double wave(double x, double y, double fx, double fy) { return std::sin(2.0 * k_pi * (fx * x + fy * y)); }

const picture_t k_pictures[] = {
    // Smooth shading with mid-frequency detail, as in camera pictures.
    {"natural",
     [](double x, double y, int c) {
         return 128.0 + 40.0 * wave(x, y, 0.004, 0.003) + 25.0 * wave(x, y, 0.06, 0.02) * (c ? 0.5 : 1.0) +
                15.0 * wave(x, y, 0.13, -0.09) + 10.0 * wave(x, y, 0.21, 0.17);
     }},
    // A zone plate: every frequency up to the source's Nyquist, in every direction.
    {"zone_plate", [](double x, double y, int) { return 128.0 + 90.0 * std::cos(k_pi * ((x - 240) * (x - 240) + (y - 135) * (y - 135)) / 540.0); }},
    // Fine detail between the destination's and the source's Nyquist frequencies only.
    {"above_nyquist", [](double x, double y, int) { return 128.0 + 60.0 * wave(x, y, 0.41, 0.0) + 40.0 * wave(x, y, 0.0, 0.38); }},
    // Hard edges at arbitrary positions: overlapping rectangles of many sizes, like text and
    // graphics. (A pattern whose period is a multiple of 3 pixels would be degenerate: its
    // aliases fall exactly on its own fundamental.)
    {"edges", [](double x, double y, int c) {
         double v = 60.0;
         for (uint32_t i = 0; i < 120; ++i) {
             const uint32_t h = i * 2654435761u;
             const double x0 = h % 480, y0 = (h >> 9) % 270, w = 1 + (h >> 18) % 23, hh = 1 + (h >> 23) % 17;
             if (x >= x0 && x < x0 + w && y >= y0 && y < y0 + hh) v = 40.0 + (h >> 5) % 180 + (c ? 10.0 : 0.0);
         }
         return v;
     }},
};

INSTANTIATE_TEST_SUITE_P(pictures, two_thirds_quality_t, testing::ValuesIn(k_pictures),
                         [](const testing::TestParamInfo<picture_t>& p) { return std::string(p.param.m_name); });

}  // namespace

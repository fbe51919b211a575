// Quality of the two-thirds path: against a float reference downscale (a Lanczos-3 stretched
// to the 1.5 ratio, so that it band-limits), it must come at least as close as bilinear
// interpolation at the same geometry. A zone plate holds every frequency up to the source's
// Nyquist in every direction (what a 3-to-2 filter must remove rather than fold back); hard
// edges at arbitrary positions, like text, show ringing and misplaced phases.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "pixel/resample_uyvy.h"
#include "resample_model.h"

namespace {

using namespace zav_resample_test;
namespace vc = Drivers::Mac::ZAV::VirtualCamera;

constexpr double k_pi = 3.14159265358979323846;

double sinc(double t) { return t == 0.0 ? 1.0 : std::sin(k_pi * t) / (k_pi * t); }

// Filters one plane sample(x, y) (n samples along the axis) at pos, clamping at the edges.
double filter_at(const std::function<double(int)>& sample, int n, double pos)
{
    double sum = 0.0, wsum = 0.0;
    for (int i = int(std::floor(pos)) - 5; i <= int(std::floor(pos)) + 5; ++i) {
        const double d = (i - pos) / 1.5, w = std::fabs(d) < 3.0 ? sinc(d) * sinc(d / 3.0) : 0.0;
        sum += w * sample(std::min(std::max(i, 0), n - 1));
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
                src.row(y)[2 * x] = uint8_t(std::lround(std::min(240.0, std::max(16.0, c))));
                src.row(y)[2 * x + 1] = uint8_t(std::lround(std::min(235.0, std::max(16.0, l))));
            }
        zav_test::uyvy_image_t in(w, h), out(dw, dh);
        std::copy(src.m_bytes.begin(), src.m_bytes.end(), in.data());
        vc::resample_uyvy(in.data(), in.pitch(), w, h, out.data(), out.pitch(), dw, dh);
        // Bilinear at the same geometry: the general path's arithmetic, through the model.
        packed_t bilinear(dw, dh);
        model::general(src, bilinear, 1.5f, 0.25f, 1.5f, 0.25f, true, true);
        const double ours = psnr(src, out.rows_bytes()), theirs = psnr(src, bilinear.m_bytes);
        RecordProperty(std::string("psnr_two_thirds_") + p.m_name, std::to_string(ours));
        RecordProperty(std::string("psnr_bilinear_") + p.m_name, std::to_string(theirs));
        EXPECT_GE(ours, theirs) << p.m_name << ": two-thirds " << ours << " dB, bilinear " << theirs << " dB";
        EXPECT_TRUE(out.guards_intact());
    }
}

}  // namespace

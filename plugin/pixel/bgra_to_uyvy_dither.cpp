#include "pixel/bgra_to_uyvy_dither.h"

#include <algorithm>
#include <climits>

#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

constexpr float k_right = 0.4375f;       // 7/16
constexpr float k_below_left = 0.1875f;  // 3/16
constexpr float k_below = 0.3125f;       // 5/16
constexpr float k_below_right = 0.0625f; // 1/16

// Rows in flight and how many pairs each one trails the row above. Two pairs is the least lag
// that keeps the row-by-row order: the pair at x of row y+1 reads slots that row y's pairs up
// to x+2 add to.
constexpr int32_t k_rows_in_flight = 4;
constexpr int32_t k_lag_pairs = 2;

// Quantisation: (v + 0.5) truncated toward zero, the low 8 bits stored, no clamping; the
// error is measured against the stored byte. A value outside the 32-bit range can only come
// from the uncleared guard slots of odd widths; it truncates to INT32_MIN, as the x86
// instruction does, instead of being undefined behaviour.

// Reference form, written out in plain C++.
struct quantise_c_t {
    static float apply(float v, uint8_t* out)
    {
        const float t = v + 0.5f;
        const int32_t q = (t > -2147483648.0f && t < 2147483648.0f) ? static_cast<int32_t>(t) : INT32_MIN;
        const uint8_t stored = static_cast<uint8_t>(q);
        *out = stored;
        return v - static_cast<float>(stored);
    }
};

// Fast form: one truncating conversion instruction, no branch.
struct quantise_simd_t {
    static float apply(float v, uint8_t* out)
    {
        const int32_t q = _mm_cvttss_si32(_mm_set_ss(v + 0.5f));
        const uint8_t stored = static_cast<uint8_t>(q);
        *out = stored;
        return v - static_cast<float>(stored);
    }
};

inline void spread(float& target, float e, float weight)
{
    target = e * weight + target;
}

// One pair starting at image column x: `cur` and `below` point at the pair's first slot (x+1)
// in its row and in the row below; `out` at byte 2x of the destination row.
template <typename quantise_t>
inline void dither_pair(float* cur, float* below, uint8_t* out)
{
    // Chroma lives on the grid of pairs: its shares go to the first pixel of the neighbouring
    // pairs (slots 2 away) and are halved again when that pixel is averaged with its partner.
    for (int c = 1; c <= 2; ++c) {
        const float v = (cur[c] + cur[3 + c]) * 0.5f;
        const float e = quantise_t::apply(v, out + 2 * (c - 1));
        spread(cur[6 + c], e, k_right);
        spread(below[-6 + c], e, k_below_left);
        spread(below[c], e, k_below);
        spread(below[6 + c], e, k_below_right);
    }
    const float e0 = quantise_t::apply(cur[0], out + 1);
    spread(cur[3], e0, k_right);
    spread(below[-3], e0, k_below_left);
    spread(below[0], e0, k_below);
    spread(below[3], e0, k_below_right);
    // Read after Y0's share has landed on it.
    const float e1 = quantise_t::apply(cur[3], out + 3);
    spread(cur[6], e1, k_right);
    spread(below[0], e1, k_below_left);
    spread(below[3], e1, k_below);
    spread(below[6], e1, k_below_right);
}

inline ptrdiff_t row_floats_for(int32_t width)
{
    return 3 * (static_cast<ptrdiff_t>(width) + 3);
}

// Pair i of a row: its first slot is 2i+1, its bytes start at 4i.
inline void dither_pair_at(float* row, ptrdiff_t row_floats, int32_t i, uint8_t* dst_row)
{
    float* cur = row + 3 * (2 * static_cast<ptrdiff_t>(i) + 1);
    dither_pair<quantise_simd_t>(cur, cur + row_floats, dst_row + 4 * static_cast<ptrdiff_t>(i));
}

}  // namespace

void dither_uyvy_row_c(float* row, int32_t width, uint8_t* dst)
{
    const ptrdiff_t row_floats = row_floats_for(width);
    for (int32_t x = 0; x < width; x += 2) {
        float* cur = row + 3 * (static_cast<ptrdiff_t>(x) + 1);
        dither_pair<quantise_c_t>(cur, cur + row_floats, dst + 2 * static_cast<ptrdiff_t>(x));
    }
}

void dither_uyvy_rows_wavefront(float* first_row, int32_t width, int32_t rows, uint8_t* dst,
                                ptrdiff_t dst_stride)
{
    if (width < 1) return;
    const ptrdiff_t row_floats = row_floats_for(width);
    const int32_t pairs = width / 2 + (width & 1);

    for (int32_t y = 0; y < rows; y += k_rows_in_flight) {
        const int32_t band = std::min(k_rows_in_flight, rows - y);
        float* band_row = first_row + row_floats * y;
        uint8_t* band_dst = dst + dst_stride * y;
        // At step t row r of the band works on pair t - r * lag. Within a step the rows go top
        // to bottom, so a row's shares into the row below always precede that row's own work.
        const int32_t ramp = k_lag_pairs * (band - 1);
        const int32_t steps = pairs + ramp;
        auto checked_step = [&](int32_t t) {
            for (int32_t r = 0; r < band; ++r) {
                const int32_t i = t - k_lag_pairs * r;
                if (i >= 0 && i < pairs)
                    dither_pair_at(band_row + row_floats * r, row_floats, i, band_dst + dst_stride * r);
            }
        };
        int32_t t = 0;
        if (band == k_rows_in_flight) {
            for (; t < std::min(ramp, steps); ++t) checked_step(t);
            // Every row of the band has a pair to do.
            for (; t < pairs; ++t) {
                dither_pair_at(band_row, row_floats, t, band_dst);
                dither_pair_at(band_row + row_floats, row_floats, t - k_lag_pairs, band_dst + dst_stride);
                dither_pair_at(band_row + 2 * row_floats, row_floats, t - 2 * k_lag_pairs, band_dst + 2 * dst_stride);
                dither_pair_at(band_row + 3 * row_floats, row_floats, t - 3 * k_lag_pairs, band_dst + 3 * dst_stride);
            }
        }
        for (; t < steps; ++t) checked_step(t);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

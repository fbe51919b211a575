// Plain C++ row functions of every resampler pass. They define the result: the vector row
// functions must give exactly the same bytes.
#include "pixel/resample_internal.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

// Truncating 6-bit blend: the pair of weights sums to 64 and no rounding bias is added.
inline uint8_t blend6(uint32_t a, uint32_t b, uint32_t f) { return static_cast<uint8_t>((a * (64 - f) + b * f) >> 6); }

inline uint32_t avg(uint32_t a, uint32_t b) { return (a + b + 1) >> 1; }

// The 3-to-2 filter: each output sample is 2/3 of its nearer and 1/3 of its farther source
// sample (the area that the output pixel covers), in 7-bit weights with rounding.
inline uint8_t third_blend(uint32_t near_v, uint32_t far_v) { return static_cast<uint8_t>((85 * near_v + 43 * far_v + 64) >> 7); }

void blend_rows_ref(const uint8_t* top, const uint8_t* bottom, uint8_t* out, uint32_t bytes, uint32_t phase)
{
    for (uint32_t i = 0; i < bytes; ++i) out[i] = blend6(top[i], bottom[i], phase);
}

void horizontal_ref(const uint8_t* src, uint8_t* dst, const horizontal_map_t& map)
{
    const uint32_t bytes = 2 * map.m_dst_width;
    for (uint32_t j = 0; j < bytes; ++j) {
        const tap_t t = horizontal_tap(map, j);
        dst[j] = blend6(src[t.m_first], src[t.m_second], t.m_phase);
    }
}

void halve_ref(const uint8_t* row0, const uint8_t* row1, uint8_t* dst, uint32_t bytes)
{
    // Destination pair m takes source pairs 2m and 2m + 1: Cb from bytes 8m and 8m + 4,
    // Y0 from 8m + 1 and 8m + 3, Cr from 8m + 2 and 8m + 6, Y1 from 8m + 5 and 8m + 7.
    static constexpr uint32_t first[4] = {0, 1, 2, 5};
    static constexpr uint32_t second[4] = {4, 3, 6, 7};
    for (uint32_t j = 0; j < bytes; ++j) {
        const uint32_t s = 8 * (j / 4);
        const uint32_t a = s + first[j % 4];
        const uint32_t b = s + second[j % 4];
        dst[j] = static_cast<uint8_t>(avg(avg(row0[a], row1[a]), avg(row0[b], row1[b])));
    }
}

void two_thirds_vertical_ref(const uint8_t* near_row, const uint8_t* middle_row, uint8_t* out, uint32_t bytes)
{
    for (uint32_t i = 0; i < bytes; ++i) out[i] = third_blend(near_row[i], middle_row[i]);
}

void two_thirds_horizontal_ref(const uint8_t* src, uint8_t* dst, uint32_t bytes)
{
    // Six source pixels (12 bytes) give four destination pixels (8 bytes). Luma Y0..Y5 become
    // f(Y0,Y1), f(Y2,Y1), f(Y3,Y4), f(Y5,Y4); the three Cb (and Cr) samples become
    // f(Cb0,Cb1), f(Cb2,Cb1), where f(near, far) = third_blend.
    static constexpr uint8_t near_tap[8] = {0, 1, 2, 5, 8, 7, 10, 11};
    static constexpr uint8_t far_tap[8] = {4, 3, 6, 3, 4, 9, 6, 9};
    for (uint32_t j = 0; j < bytes; ++j) {
        const uint32_t s = 12 * (j / 8);
        dst[j] = third_blend(src[s + near_tap[j % 8]], src[s + far_tap[j % 8]]);
    }
}

}  // namespace

const row_functions_t& reference_row_functions()
{
    static const row_functions_t s_rows = {blend_rows_ref, blend_rows_ref, horizontal_ref, halve_ref,
                                           two_thirds_vertical_ref, two_thirds_horizontal_ref};
    return s_rows;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

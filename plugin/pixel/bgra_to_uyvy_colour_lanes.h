// The colour-matrix arithmetic of the BGRA to UYVY converter on four pixels that come from four
// different rows, one pixel a lane: the form the lanes of the dithering kernel take.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

// The coefficients of one matrix broadcast to all lanes, built once per use of the kernel.
struct colour_lanes_t {
    __m128 m_k[3][3];
    __m128 m_offset[3];

    colour_lanes_t() : m_k{}, m_offset{} {}

    explicit colour_lanes_t(const colour_matrix_t& m) {
        for (int c = 0; c < 3; ++c) {
            for (int j = 0; j < 3; ++j) m_k[c][j] = _mm_set1_ps(m.m_k[c][j]);
            m_offset[c] = _mm_set1_ps(m.m_offset[c]);
        }
    }
};

// `px` holds one BGRA pixel in each 32-bit lane. Stores Y, Cb and Cr of the four lanes at `out`,
// `out + comp_stride` and `out + 2 * comp_stride` (16-byte aligned). Every lane gets the floats
// of bgra_to_yuv_row_c: the same products and the same order of additions.
inline void bgra_lanes_to_yuv(__m128i px, const colour_lanes_t& k, float* out, ptrdiff_t comp_stride) {
    const __m128i red = _mm_setr_epi8(2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1);
    const __m128i green = _mm_setr_epi8(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1);
    const __m128 r = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, red));
    const __m128 g = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, green));
    const __m128 b = _mm_cvtepi32_ps(_mm_and_si128(px, _mm_set1_epi32(0xff)));
    for (int c = 0; c < 3; ++c) {
        const __m128 rk = _mm_mul_ps(r, k.m_k[c][0]);
        const __m128 gk = _mm_mul_ps(g, k.m_k[c][1]);
        const __m128 bk = _mm_mul_ps(b, k.m_k[c][2]);
        _mm_store_ps(out + c * comp_stride, _mm_add_ps(_mm_add_ps(_mm_add_ps(rk, gk), bk), k.m_offset[c]));
    }
}

// Four consecutive pixels of each of four rows, `rows[r]` pointing at the first: transposed so
// that vector i holds pixel i of every row (row r in lane r), then converted. The floats of
// pixel i go to `out + i * cell_stride` as above.
inline void bgra_rows_to_yuv_lanes(const uint8_t* const rows[4], const colour_lanes_t& k, float* out,
                                   ptrdiff_t cell_stride, ptrdiff_t comp_stride) {
    const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[0]));
    const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[1]));
    const __m128i p2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[2]));
    const __m128i p3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[3]));
    const __m128i lo01 = _mm_unpacklo_epi32(p0, p1);  // 0.0 1.0 0.1 1.1
    const __m128i lo23 = _mm_unpacklo_epi32(p2, p3);  // 2.0 3.0 2.1 3.1
    const __m128i hi01 = _mm_unpackhi_epi32(p0, p1);  // 0.2 1.2 0.3 1.3
    const __m128i hi23 = _mm_unpackhi_epi32(p2, p3);  // 2.2 3.2 2.3 3.3
    bgra_lanes_to_yuv(_mm_unpacklo_epi64(lo01, lo23), k, out, comp_stride);
    bgra_lanes_to_yuv(_mm_unpackhi_epi64(lo01, lo23), k, out + cell_stride, comp_stride);
    bgra_lanes_to_yuv(_mm_unpacklo_epi64(hi01, hi23), k, out + 2 * cell_stride, comp_stride);
    bgra_lanes_to_yuv(_mm_unpackhi_epi64(hi01, hi23), k, out + 3 * cell_stride, comp_stride);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

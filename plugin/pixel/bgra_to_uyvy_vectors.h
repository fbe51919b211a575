// The vectors of the BGRA to UYVY converter's row sets and the colour arithmetic written once
// over them: four float lanes (SSSE3, the baseline). A row set's translation unit includes this
// header and instantiates the templates for its own vector type.
//
// Everything here has internal linkage on purpose: a row set for a wider instruction set is
// compiled with other flags than the rest, and an inline function with external linkage defined
// in both would leave the linker free to keep the wider copy for the baseline's callers too.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera {
namespace {

// Four 32-bit lanes. Memory operands of load/store are 16-byte aligned.
struct vec4_t {
    using f = __m128;
    using i = __m128i;
    static constexpr int32_t k_lanes = 4;

    static f load(const float* p) { return _mm_load_ps(p); }
    static void store(float* p, f v) { _mm_store_ps(p, v); }
    static i load_int(const int32_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store_int(uint32_t* p, i v) { _mm_store_si128(reinterpret_cast<__m128i*>(p), v); }
    static f set(float v) { return _mm_set1_ps(v); }
    static i set_int(int32_t v) { return _mm_set1_epi32(v); }
    static f zero() { return _mm_setzero_ps(); }
    static f add(f a, f b) { return _mm_add_ps(a, b); }
    static f sub(f a, f b) { return _mm_sub_ps(a, b); }
    static f mul(f a, f b) { return _mm_mul_ps(a, b); }
    static f and_(f a, f b) { return _mm_and_ps(a, b); }
    static f as_float(i a) { return _mm_castsi128_ps(a); }
    static i truncate(f a) { return _mm_cvttps_epi32(a); }
    static f to_float(i a) { return _mm_cvtepi32_ps(a); }
    static i and_(i a, i b) { return _mm_and_si128(a, b); }
    static i or_(i a, i b) { return _mm_or_si128(a, b); }
    template <int bits>
    static i shift_left(i a) {
        return _mm_slli_epi32(a, bits);
    }
    // The same byte shuffle in every 16 bytes (-1 selects zero).
    static i shuffle_bytes(i a, const int8_t (&pattern)[16]) {
        return _mm_shuffle_epi8(a, _mm_loadu_si128(reinterpret_cast<const __m128i*>(pattern)));
    }
    // Lane r's value moved to lane r + 1; lane 0 takes the last lane of `above`.
    static f shift_down(f share, f above) {
        return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(share), _mm_castps_si128(above), 12));
    }
    // Four consecutive BGRA pixels of each of the rows: out[p] holds pixel p of row r in lane r.
    static void pixels_of_rows(const uint8_t* const rows[k_lanes], i out[4]) {
        const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[0]));
        const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[1]));
        const __m128i p2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[2]));
        const __m128i p3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[3]));
        const __m128i lo01 = _mm_unpacklo_epi32(p0, p1);  // 0.0 1.0 0.1 1.1
        const __m128i lo23 = _mm_unpacklo_epi32(p2, p3);  // 2.0 3.0 2.1 3.1
        const __m128i hi01 = _mm_unpackhi_epi32(p0, p1);  // 0.2 1.2 0.3 1.3
        const __m128i hi23 = _mm_unpackhi_epi32(p2, p3);  // 2.2 3.2 2.3 3.3
        out[0] = _mm_unpacklo_epi64(lo01, lo23);
        out[1] = _mm_unpackhi_epi64(lo01, lo23);
        out[2] = _mm_unpacklo_epi64(hi01, hi23);
        out[3] = _mm_unpackhi_epi64(hi01, hi23);
    }
};

// Byte patterns that move one channel of each BGRA pixel into the low byte of its 32-bit lane.
constexpr int8_t k_red_bytes[16] = {2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1};
constexpr int8_t k_green_bytes[16] = {1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1};

// The coefficients of one matrix broadcast to every lane.
template <typename V>
struct colour_vectors_t {
    typename V::f m_k[3][3];
    typename V::f m_offset[3];

    explicit colour_vectors_t(const colour_matrix_t& m) {
        for (int c = 0; c < 3; ++c) {
            for (int j = 0; j < 3; ++j) m_k[c][j] = V::set(m.m_k[c][j]);
            m_offset[c] = V::set(m.m_offset[c]);
        }
    }
};

// `px` holds one BGRA pixel a lane; out[0..2] receive Y, Cb, Cr of every lane: the floats of
// bgra_to_yuv_row_c, ((R * kR + G * kG) + B * kB) + offset with every product rounded on its own.
template <typename V>
inline void yuv_of_bgra(typename V::i px, const colour_vectors_t<V>& k, typename V::f out[3]) {
    const typename V::f r = V::to_float(V::shuffle_bytes(px, k_red_bytes));
    const typename V::f g = V::to_float(V::shuffle_bytes(px, k_green_bytes));
    const typename V::f b = V::to_float(V::and_(px, V::set_int(0xff)));
    for (int c = 0; c < 3; ++c) {
        const typename V::f rk = V::mul(r, k.m_k[c][0]);
        const typename V::f gk = V::mul(g, k.m_k[c][1]);
        const typename V::f bk = V::mul(b, k.m_k[c][2]);
        out[c] = V::add(V::add(V::add(rk, gk), bk), k.m_offset[c]);
    }
}

}  // namespace
}  // namespace Drivers::Mac::ZAV::VirtualCamera

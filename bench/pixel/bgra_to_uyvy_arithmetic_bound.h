// A lower bound for BGRA to UYVY with the float matrix and error diffusion: the vector operations
// that any implementation giving our bytes has to perform, with none of the ordering that error
// diffusion imposes, written once over the converter's own vector types and colour arithmetic.
//
// The converter's bytes fix every float operation: each product rounded on its own (no fused
// multiply-add), sums in a fixed order, and per component a quantisation (add 0.5, truncate,
// keep the low byte, convert back, subtract) followed by four products and four sums that spread
// the error. Counted per 2 vectors of pixels (8 pixels in 4-lane vectors, 16 in 8-lane ones):
//   colour matrix    2 x (2 shuffles + 1 and + 3 conversions + 9 products + 9 sums)   = 48
//   luma             2 x (5 quantisation + 4 products + 4 sums)                       = 26
//   chroma (Cb, Cr)  2 x (sum + halve of the pair, 5 quantisation, 4 + 4 spreading)   = 30
//   packing          3 shifts + 3 ors; alpha 2 shuffles                               = 8
// This kernel runs exactly those on independent data: the shares go to accumulators in registers
// instead of to neighbouring pixels in memory, so nothing waits on the pixel to its left or the
// row above. What it measures is the time of the arithmetic alone, which the real converter
// cannot beat with the same vectors.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/bgra_to_uyvy_vectors.h"

namespace Drivers::Mac::ZAV::VirtualCamera {
namespace {
namespace bound {

constexpr int k_width = 1920;
constexpr int k_height = 1080;
constexpr int8_t k_alpha_bytes[16] = {3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

// Unaligned whole-vector loads and stores, and the alpha bytes of a vector of pixels.
inline __m128i load_bytes(const uint8_t* p, vec4_t) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void store_bytes(uint8_t* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline void store_alpha(uint8_t* out, __m128i px) {
    const int32_t a = _mm_cvtsi128_si32(vec4_t::shuffle_bytes(px, k_alpha_bytes));
    std::memcpy(out, &a, 4);
}
#if defined(__AVX2__) && ZAV_PIXEL_NATIVE_X86
inline __m256i load_bytes(const uint8_t* p, vec8_t) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
inline void store_bytes(uint8_t* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
inline void store_alpha(uint8_t* out, __m256i px) {
    const __m256i gathered = vec8_t::shuffle_bytes(px, k_alpha_bytes);
    const __m256i packed = _mm256_permutevar8x32_epi32(gathered, _mm256_setr_epi32(0, 4, 1, 1, 1, 1, 1, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
}
#endif

template <typename V>
struct quantised_t {
    typename V::i m_byte;
    typename V::f m_error;
};

template <typename V>
inline quantised_t<V> quantise(typename V::f v) {
    const typename V::i q = V::and_(V::truncate(V::add(v, V::set(0.5f))), V::set_int(0xff));
    return {q, V::sub(v, V::to_float(q))};
}

// Four error shares, each product rounded on its own, summed into two accumulators (two chains
// keep the additions from waiting on each other, and six accumulators stay in registers).
template <typename V>
struct shares_t {
    typename V::f m_a = V::zero();
    typename V::f m_b = V::zero();

    void spread(typename V::f e) {
        m_a = V::add(V::mul(e, V::set(k_share_right)), m_a);
        m_b = V::add(V::mul(e, V::set(k_share_below_left)), m_b);
        m_a = V::add(V::mul(e, V::set(k_share_below)), m_a);
        m_b = V::add(V::mul(e, V::set(k_share_below_right)), m_b);
    }
};

template <typename V>
void run(benchmark::State& state) {
    using f = typename V::f;
    constexpr int32_t n = V::k_lanes;
    std::vector<uint8_t> src(size_t(k_width) * k_height * 4);
    std::vector<uint8_t> dst(size_t(k_width) * k_height * 2);
    std::vector<uint8_t> alpha(size_t(k_width) * k_height);
    std::mt19937 rng(1);
    for (auto& byte : src) byte = uint8_t(rng());
    const colour_vectors_t<V> colour(*colour_matrix_for(709));

    for (auto _ : state) {
        shares_t<V> luma, cb, cr;
        const size_t pixels = size_t(k_width) * k_height;
        for (size_t i = 0; i < pixels; i += 2 * n) {
            const typename V::i p0 = load_bytes(&src[4 * i], V{});
            const typename V::i p1 = load_bytes(&src[4 * i + 4 * n], V{});
            f a[3], b[3];
            yuv_of_bgra<V>(p0, colour, a);
            yuv_of_bgra<V>(p1, colour, b);
            const quantised_t<V> y0 = quantise<V>(a[0]);
            const quantised_t<V> y1 = quantise<V>(b[0]);
            luma.spread(y0.m_error);
            luma.spread(y1.m_error);
            const quantised_t<V> u = quantise<V>(V::mul(V::add(a[1], b[1]), V::set(0.5f)));
            const quantised_t<V> v = quantise<V>(V::mul(V::add(a[2], b[2]), V::set(0.5f)));
            cb.spread(u.m_error);
            cr.spread(v.m_error);
            const typename V::i words =
                V::or_(V::or_(u.m_byte, V::template shift_left<8>(y0.m_byte)),
                       V::or_(V::template shift_left<16>(v.m_byte), V::template shift_left<24>(y1.m_byte)));
            store_bytes(&dst[2 * i], words);
            store_alpha(&alpha[i], p0);
            store_alpha(&alpha[i + n], p1);
        }
        for (shares_t<V>* s : {&luma, &cb, &cr}) {
            benchmark::DoNotOptimize(s->m_a);
            benchmark::DoNotOptimize(s->m_b);
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::DoNotOptimize(alpha.data());
        benchmark::ClobberMemory();
    }
}

}  // namespace bound
}  // namespace
}  // namespace Drivers::Mac::ZAV::VirtualCamera

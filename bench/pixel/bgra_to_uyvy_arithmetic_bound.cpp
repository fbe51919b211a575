// A lower bound for BGRA to UYVY with the float matrix and error diffusion: the vector operations
// that any implementation giving our bytes has to perform, at the SSSE3 baseline, with none of
// the ordering that error diffusion imposes.
//
// The converter's bytes fix every float operation: each product rounded on its own (no fused
// multiply-add), sums in a fixed order, and per component a quantisation (add 0.5, truncate,
// keep the low byte, convert back, subtract) followed by four products and four sums that spread
// the error. Counted per 8 pixels in 4-lane vectors:
//   colour matrix    2 x (2 shuffles + 1 and + 3 conversions + 9 products + 9 sums)   = 48
//   luma             2 x (5 quantisation + 4 products + 4 sums)                       = 26
//   chroma (Cb, Cr)  2 x (sum + halve of the pair, 5 quantisation, 4 + 4 spreading)   = 30
//   packing          3 shifts + 3 ors; alpha 2 shuffles                               = 8
// This kernel runs exactly those on independent data: the shares go to accumulators in registers
// instead of to neighbouring pixels in memory, so nothing waits on the pixel to its left or the row above.
// What it measures is the time of the arithmetic alone, which the real converter cannot beat.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "pixel/simd.h"

namespace {

constexpr int k_width = 1920;
constexpr int k_height = 1080;

struct quantised_t {
    __m128i m_byte;
    __m128 m_error;
};

inline quantised_t quantise(__m128 v) {
    const __m128i q = _mm_and_si128(_mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(0.5f))), _mm_set1_epi32(0xff));
    return {q, _mm_sub_ps(v, _mm_cvtepi32_ps(q))};
}

// Four error shares, each product rounded on its own, summed into two accumulators (two chains
// keep the additions from waiting on each other, and six accumulators stay in registers).
struct shares_t {
    __m128 m_a = _mm_setzero_ps();
    __m128 m_b = _mm_setzero_ps();

    void spread(__m128 e) {
        m_a = _mm_add_ps(_mm_mul_ps(e, _mm_set1_ps(0.4375f)), m_a);
        m_b = _mm_add_ps(_mm_mul_ps(e, _mm_set1_ps(0.1875f)), m_b);
        m_a = _mm_add_ps(_mm_mul_ps(e, _mm_set1_ps(0.3125f)), m_a);
        m_b = _mm_add_ps(_mm_mul_ps(e, _mm_set1_ps(0.0625f)), m_b);
    }
};

struct yuv_t {
    __m128 m_y, m_cb, m_cr;
};

// ((R * kR + G * kG) + B * kB) + offset for the three components of four pixels (709).
inline yuv_t colour(__m128i px) {
    const __m128i red = _mm_setr_epi8(2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1);
    const __m128i green = _mm_setr_epi8(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1);
    const __m128 r = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, red));
    const __m128 g = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, green));
    const __m128 b = _mm_cvtepi32_ps(_mm_and_si128(px, _mm_set1_epi32(0xff)));
    auto row = [&](float kr, float kg, float kb, float offset) {
        const __m128 rg = _mm_add_ps(_mm_mul_ps(r, _mm_set1_ps(kr)), _mm_mul_ps(g, _mm_set1_ps(kg)));
        return _mm_add_ps(_mm_add_ps(rg, _mm_mul_ps(b, _mm_set1_ps(kb))), _mm_set1_ps(offset));
    };
    return {row(0.183f, 0.614f, 0.062f, 16.0f), row(-0.101f, -0.339f, 0.439f, 128.0f),
            row(0.439f, -0.399f, -0.040f, 128.0f)};
}

void bgra_to_uyvy_arithmetic_bound(benchmark::State& state) {
    std::vector<uint8_t> src(size_t(k_width) * k_height * 4);
    std::vector<uint8_t> dst(size_t(k_width) * k_height * 2);
    std::vector<uint8_t> alpha(size_t(k_width) * k_height);
    std::mt19937 rng(1);
    for (auto& byte : src) byte = uint8_t(rng());
    const __m128i alpha_bytes = _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);

    for (auto _ : state) {
        shares_t luma, cb, cr;
        const size_t pixels = size_t(k_width) * k_height;
        for (size_t i = 0; i < pixels; i += 8) {
            const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&src[4 * i]));
            const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&src[4 * i + 16]));
            const yuv_t a = colour(p0);
            const yuv_t b = colour(p1);
            const quantised_t y0 = quantise(a.m_y);
            const quantised_t y1 = quantise(b.m_y);
            luma.spread(y0.m_error);
            luma.spread(y1.m_error);
            const quantised_t u = quantise(_mm_mul_ps(_mm_add_ps(a.m_cb, b.m_cb), _mm_set1_ps(0.5f)));
            const quantised_t v = quantise(_mm_mul_ps(_mm_add_ps(a.m_cr, b.m_cr), _mm_set1_ps(0.5f)));
            cb.spread(u.m_error);
            cr.spread(v.m_error);
            const __m128i words =
                _mm_or_si128(_mm_or_si128(u.m_byte, _mm_slli_epi32(y0.m_byte, 8)),
                             _mm_or_si128(_mm_slli_epi32(v.m_byte, 16), _mm_slli_epi32(y1.m_byte, 24)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(&dst[2 * i]), words);
            const int32_t a0 = _mm_cvtsi128_si32(_mm_shuffle_epi8(p0, alpha_bytes));
            const int32_t a1 = _mm_cvtsi128_si32(_mm_shuffle_epi8(p1, alpha_bytes));
            std::memcpy(&alpha[i], &a0, 4);
            std::memcpy(&alpha[i + 4], &a1, 4);
        }
        for (shares_t* s : {&luma, &cb, &cr}) {
            benchmark::DoNotOptimize(s->m_a);
            benchmark::DoNotOptimize(s->m_b);
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::DoNotOptimize(alpha.data());
        benchmark::ClobberMemory();
    }
}

}  // namespace

BENCHMARK(bgra_to_uyvy_arithmetic_bound)->Name("bgra_to_uyvy_1080p/arithmetic_bound")->Unit(benchmark::kMillisecond);

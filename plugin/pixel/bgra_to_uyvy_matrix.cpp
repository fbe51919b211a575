#include "pixel/bgra_to_uyvy_matrix.h"

#include <cstddef>
#include <cstring>

#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// The three-decimal studio-range matrices. The BT.709 Cb row sums to -0.001 rather than 0; the
// values are kept exactly as they are because the output bytes depend on them.
const colour_matrix_t k_matrix_709 = {
    {{0.183f, 0.614f, 0.062f}, {-0.101f, -0.339f, 0.439f}, {0.439f, -0.399f, -0.040f}}, {16.0f, 128.0f, 128.0f}};

const colour_matrix_t k_matrix_601 = {
    {{0.257f, 0.504f, 0.098f}, {-0.148f, -0.291f, 0.439f}, {0.439f, -0.368f, -0.071f}}, {16.0f, 128.0f, 128.0f}};

bool ranges_overlap(const void* a, size_t a_len, const void* b, size_t b_len) {
    // Compared as integers: the two ranges usually belong to different objects.
    const uintptr_t a0 = reinterpret_cast<uintptr_t>(a);
    const uintptr_t b0 = reinterpret_cast<uintptr_t>(b);
    return a0 < b0 + b_len && b0 < a0 + a_len;
}

}  // namespace

const colour_matrix_t* colour_matrix_for(uint32_t matrix) {
    switch (matrix) {
        case 709:
            return &k_matrix_709;
        case 601:
            return &k_matrix_601;
        default:
            return nullptr;
    }
}

void bgra_to_yuv_row_c(const uint8_t* src, float* slots, uint8_t* alpha, int32_t count, const colour_matrix_t& m) {
    for (int32_t x = 0; x < count; ++x) {
        const uint8_t* p = src + 4 * static_cast<ptrdiff_t>(x);
        const float b = p[0];
        const float g = p[1];
        const float r = p[2];
        const uint8_t a = p[3];
        float* slot = slots + 3 * static_cast<ptrdiff_t>(x);
        for (int c = 0; c < 3; ++c) {
            const float rk = r * m.m_k[c][0];
            const float gk = g * m.m_k[c][1];
            const float bk = b * m.m_k[c][2];
            slot[c] = ((rk + gk) + bk) + m.m_offset[c];
        }
        alpha[x] = a;
    }
}

void bgra_to_yuv_row_ssse3(const uint8_t* src, float* slots, uint8_t* alpha, int32_t count, const colour_matrix_t& m) {
    // Each shuffle moves one channel's byte of the four pixels into the low byte of a 32-bit
    // lane and clears the rest (-1 selects zero).
    const __m128i red = _mm_setr_epi8(2, -1, -1, -1, 6, -1, -1, -1, 10, -1, -1, -1, 14, -1, -1, -1);
    const __m128i green = _mm_setr_epi8(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1);
    const __m128i alphas = _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i low_byte = _mm_set1_epi32(0xff);

    __m128 k[3][3];
    __m128 offset[3];
    for (int c = 0; c < 3; ++c) {
        for (int j = 0; j < 3; ++j) k[c][j] = _mm_set1_ps(m.m_k[c][j]);
        offset[c] = _mm_set1_ps(m.m_offset[c]);
    }

    for (int32_t x = 0; x < count; x += 4) {
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * static_cast<ptrdiff_t>(x)));
        const __m128 r = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, red));
        const __m128 g = _mm_cvtepi32_ps(_mm_shuffle_epi8(px, green));
        const __m128 b = _mm_cvtepi32_ps(_mm_and_si128(px, low_byte));

        __m128 out[3];
        for (int c = 0; c < 3; ++c) {
            // Same products and the same order of additions as the reference.
            const __m128 rk = _mm_mul_ps(r, k[c][0]);
            const __m128 gk = _mm_mul_ps(g, k[c][1]);
            const __m128 bk = _mm_mul_ps(b, k[c][2]);
            out[c] = _mm_add_ps(_mm_add_ps(_mm_add_ps(rk, gk), bk), offset[c]);
        }

        // Interleave the planes Y, Cb, Cr into four three-float slots.
        const __m128 y_cb_lo = _mm_unpacklo_ps(out[0], out[1]);   // Y0 Cb0 Y1 Cb1
        const __m128 y_cb_hi = _mm_unpackhi_ps(out[0], out[1]);   // Y2 Cb2 Y3 Cb3
        const __m128 cr_y_lo = _mm_unpacklo_ps(out[2], out[0]);   // Cr0 Y0 Cr1 Y1
        const __m128 cr_y_hi = _mm_unpackhi_ps(out[2], out[0]);   // Cr2 Y2 Cr3 Y3
        const __m128 cb_cr_lo = _mm_unpacklo_ps(out[1], out[2]);  // Cb0 Cr0 Cb1 Cr1
        const __m128 cb_cr_hi = _mm_unpackhi_ps(out[1], out[2]);  // Cb2 Cr2 Cb3 Cr3
        float* slot = slots + 3 * static_cast<ptrdiff_t>(x);
        _mm_storeu_ps(slot + 0, _mm_shuffle_ps(y_cb_lo, cr_y_lo, _MM_SHUFFLE(3, 0, 1, 0)));
        _mm_storeu_ps(slot + 4, _mm_shuffle_ps(cb_cr_lo, y_cb_hi, _MM_SHUFFLE(1, 0, 3, 2)));
        _mm_storeu_ps(slot + 8, _mm_shuffle_ps(cr_y_hi, cb_cr_hi, _MM_SHUFFLE(3, 2, 3, 0)));

        const int32_t a = _mm_cvtsi128_si32(_mm_shuffle_epi8(px, alphas));
        std::memcpy(alpha + x, &a, sizeof a);
    }
}

void copy_alpha_row(const uint8_t* src, uint8_t* alpha, int32_t width) {
    // Sixteen pixels at a time: each shuffle gathers the four alpha bytes of four pixels into
    // its own 32-bit lane of the result, the others clear their bytes (-1 selects zero).
    const __m128i lane0 = _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i lane1 = _mm_setr_epi8(-1, -1, -1, -1, 3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i lane2 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 3, 7, 11, 15, -1, -1, -1, -1);
    const __m128i lane3 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 3, 7, 11, 15);
    int32_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m128i* p = reinterpret_cast<const __m128i*>(src + 4 * static_cast<ptrdiff_t>(x));
        const __m128i a = _mm_or_si128(
            _mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(p), lane0), _mm_shuffle_epi8(_mm_loadu_si128(p + 1), lane1)),
            _mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(p + 2), lane2),
                         _mm_shuffle_epi8(_mm_loadu_si128(p + 3), lane3)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(alpha + x), a);
    }
    for (; x < width; ++x) alpha[x] = src[4 * static_cast<ptrdiff_t>(x) + 3];
}

void bgra_to_yuv_row(const uint8_t* src, float* slots, uint8_t* alpha, int32_t width, const colour_matrix_t& m) {
    if (width < 1) return;
    const size_t w = static_cast<size_t>(width);
    if (width < 4 || ranges_overlap(src, 4 * w, alpha, w)) {
        bgra_to_yuv_row_c(src, slots, alpha, width, m);
        return;
    }
    const int32_t vector_count = width & ~3;
    bgra_to_yuv_row_ssse3(src, slots, alpha, vector_count, m);
    bgra_to_yuv_row_c(src + 4 * static_cast<ptrdiff_t>(vector_count), slots + 3 * static_cast<ptrdiff_t>(vector_count),
                      alpha + vector_count, width - vector_count, m);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

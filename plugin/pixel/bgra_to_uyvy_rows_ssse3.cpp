// The SSSE3 row set of the BGRA to UYVY converter (the baseline of every x86 processor, and of
// arm64 through SIMDe), and the selection point of the row sets.
#include <cstring>

#include "pixel/bgra_to_uyvy_lane_kernel.h"
#include "pixel/bgra_to_uyvy_rows.h"
#include "pixel/bgra_to_uyvy_vectors.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// Four pixels at a time for the largest multiple of 4, the reference for the rest.
void bgra_to_yuv_row_ssse3(const uint8_t* src, float* slots, uint8_t* alpha, int32_t width, const colour_matrix_t& m) {
    const colour_vectors_t<vec4_t> k(m);
    const int32_t vector_width = width > 0 ? width & ~3 : 0;
    for (int32_t x = 0; x < vector_width; x += 4) {
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * static_cast<ptrdiff_t>(x)));
        __m128 out[3];
        yuv_of_bgra<vec4_t>(px, k, out);

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

        const __m128i alphas = _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const int32_t a = _mm_cvtsi128_si32(_mm_shuffle_epi8(px, alphas));
        std::memcpy(alpha + x, &a, sizeof a);
    }
    bgra_to_yuv_row_c(src + 4 * static_cast<ptrdiff_t>(vector_width), slots + 3 * static_cast<ptrdiff_t>(vector_width),
                      alpha + vector_width, width - vector_width, m);
}

void copy_alpha_row_ssse3(const uint8_t* src, uint8_t* alpha, int32_t width) {
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

}  // namespace

const bgra_to_uyvy_rows_t& ssse3_bgra_to_uyvy_rows() {
    static const bgra_to_uyvy_rows_t s_rows = {
        /* m_p_colour_row = */ bgra_to_yuv_row_ssse3,
        /* m_p_alpha_row = */ copy_alpha_row_ssse3,
        /* m_p_dither_rows = */ lane_kernel::dither_rows<vec4_t>,
        /* m_band_rows = */ lane_kernel::lanes_t<vec4_t>::k_lanes - 1,
    };
    return s_rows;
}

const bgra_to_uyvy_rows_t& select_bgra_to_uyvy_rows(const cpu_flags_t&) {
    return ssse3_bgra_to_uyvy_rows();
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

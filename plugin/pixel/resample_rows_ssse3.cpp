// SSSE3 row functions of the resampler: byte shuffles (pshufb) feed byte multiply-adds
// (pmaddubsw), 16 destination bytes at a time. Each gives the bytes of its reference row
// function. Rows whose length is not a multiple of 16 finish with one vector that overlaps
// the previous one (a pure function of the input, so recomputing bytes is harmless) or, for
// rows shorter than a vector, with the reference arithmetic.
#include <cstring>
#include <type_traits>
#include <utility>

#include "pixel/resample_internal.h"
#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

template <bool aligned>
inline __m128i load(const uint8_t* p) {
    if constexpr (aligned)
        return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
    else
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

template <bool aligned>
inline void store(uint8_t* p, __m128i v) {
    if constexpr (aligned)
        _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

inline __m128i load32(const uint8_t* p) {
    int32_t v;
    std::memcpy(&v, p, sizeof v);
    return _mm_cvtsi32_si128(v);
}

// The weight pairs (64 - f, f) of blend16 for phase f, in every 16-bit lane.
inline __m128i blend_weights(uint32_t phase) {
    return _mm_set1_epi16(static_cast<int16_t>((phase << 8) | (64 - phase)));
}

// (a * (64 - f) + b * f) >> 6 on 16 bytes; weights interleaves (64 - f, f).
inline __m128i blend16(__m128i a, __m128i b, __m128i weights) {
    const __m128i lo = _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), weights);
    const __m128i hi = _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), weights);
    return _mm_packus_epi16(_mm_srli_epi16(lo, 6), _mm_srli_epi16(hi, 6));
}

// (85 * a + 43 * b + 64) >> 7 on 16-bit sums: pmulhrsw by 256 is (x + 64) >> 7.
inline __m128i round7(__m128i sums) {
    return _mm_mulhrs_epi16(sums, _mm_set1_epi16(256));
}

template <bool load_aligned, bool store_aligned>
void blend_rows(const uint8_t* top, const uint8_t* bottom, uint8_t* out, uint32_t bytes, uint32_t phase) {
    if (bytes < 16) {
        reference_row_functions().m_p_blend_to_buffer(top, bottom, out, bytes, phase);
        return;
    }
    const __m128i w = blend_weights(phase);
    size_t i = 0;
    // Unrolled: in loops this short, the loop's own instructions take a noticeable share of
    // the instruction slots that the vector work needs.
#pragma GCC unroll 2
    for (; i + 16 <= bytes; i += 16)
        store<store_aligned>(out + i, blend16(load<load_aligned>(top + i), load<load_aligned>(bottom + i), w));
    if (i < bytes) {
        i = bytes - 16;
        store<false>(out + i, blend16(load<false>(top + i), load<false>(bottom + i), w));
    }
}

// The shuffles and weights of one layout-0 group: the first 8 destination bytes, then the last 8.
struct group_vectors_t {
    __m128i m_shuffle_lo, m_shuffle_hi, m_weights_lo, m_weights_hi;
};

inline group_vectors_t group_vectors(const coefficient_group_t& g) {
    const __m128i* shuffle = reinterpret_cast<const __m128i*>(g.m_shuffle);
    const __m128i* weights = reinterpret_cast<const __m128i*>(g.m_weights);
    return {_mm_load_si128(shuffle), _mm_load_si128(shuffle + 1), _mm_load_si128(weights), _mm_load_si128(weights + 1)};
}

// One group of the horizontal pass, layout 0, on its 16-byte source span.
inline __m128i horizontal_span(__m128i span, const group_vectors_t& v) {
    const __m128i lo = _mm_maddubs_epi16(_mm_shuffle_epi8(span, v.m_shuffle_lo), v.m_weights_lo);
    const __m128i hi = _mm_maddubs_epi16(_mm_shuffle_epi8(span, v.m_shuffle_hi), v.m_weights_hi);
    return _mm_packus_epi16(_mm_srli_epi16(lo, 6), _mm_srli_epi16(hi, 6));
}

inline __m128i horizontal_span_layout0(__m128i span, const coefficient_group_t& g) {
    return horizontal_span(span, group_vectors(g));
}

// One group of the horizontal pass, layout 0: all taps from one 16-byte span.
inline __m128i horizontal_group_layout0(const uint8_t* src, const coefficient_group_t& g) {
    return horizontal_span_layout0(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + g.m_offsets[0])), g);
}

// The 16 bytes of one pixel pair in layout 1: chroma window, then the two luma windows.
inline __m128i pair_windows(const uint8_t* src, const uint32_t* offsets) {
    const __m128i chroma = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + offsets[0]));
    const __m128i luma = _mm_unpacklo_epi32(load32(src + offsets[1]), load32(src + offsets[2]));
    return _mm_unpacklo_epi64(chroma, luma);
}

// One group of the horizontal pass, layout 1: gathered windows, fixed shuffle.
inline __m128i horizontal_group_layout1(const uint8_t* src, const coefficient_group_t& g) {
    // Neighbour pairs of Cb (0, 4), Y0 (9, 11), Cr (2, 6), Y1 (13, 15) of one pixel pair.
    const __m128i pick = _mm_setr_epi8(0, 4, 9, 11, 2, 6, 13, 15, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i p0 = _mm_shuffle_epi8(pair_windows(src, g.m_offsets), pick);
    const __m128i p1 = _mm_shuffle_epi8(pair_windows(src, g.m_offsets + 3), pick);
    const __m128i p2 = _mm_shuffle_epi8(pair_windows(src, g.m_offsets + 6), pick);
    const __m128i p3 = _mm_shuffle_epi8(pair_windows(src, g.m_offsets + 9), pick);
    const __m128i* weights = reinterpret_cast<const __m128i*>(g.m_weights);
    const __m128i lo = _mm_maddubs_epi16(_mm_unpacklo_epi64(p0, p1), _mm_load_si128(weights));
    const __m128i hi = _mm_maddubs_epi16(_mm_unpacklo_epi64(p2, p3), _mm_load_si128(weights + 1));
    return _mm_packus_epi16(_mm_srli_epi16(lo, 6), _mm_srli_epi16(hi, 6));
}

template <bool store_aligned, typename group_fn>
inline void horizontal_groups(const uint8_t* src, uint8_t* dst, const horizontal_map_t& map, group_fn group) {
    // The group pointer is kept in a local: stores through dst could otherwise alias the
    // table's member and force a reload on every group.
    const coefficient_group_t* const groups = map.m_p_table->m_p_groups;
    const uint32_t group_count = map.m_p_table->m_group_count;
    const uint32_t bytes = 2 * map.m_dst_width;
    const uint32_t full = bytes / 16;
    for (uint32_t gi = 0; gi < full; ++gi) store<store_aligned>(dst + 16 * gi, group(src, groups[gi]));
    if (full < group_count) {
        alignas(16) uint8_t tail[16];
        _mm_store_si128(reinterpret_cast<__m128i*>(tail), group(src, groups[full]));
        std::memcpy(dst + 16 * full, tail, bytes - 16 * full);
    }
}

template <bool store_aligned>
void horizontal(const uint8_t* src, uint8_t* dst, const horizontal_map_t& map) {
    if (map.m_p_table->m_layout == 0)
        horizontal_groups<store_aligned>(src, dst, map, horizontal_group_layout0);
    else
        horizontal_groups<store_aligned>(src, dst, map, horizontal_group_layout1);
}

// Blend and horizontal pass fused, layout 0: each group blends only its own 16-byte span of
// the two rows. The blend is per byte, so the span equals that of the blended row.
template <bool store_aligned>
void blend_horizontal(const uint8_t* top, const uint8_t* bottom, uint32_t phase, uint8_t* dst,
                      const horizontal_map_t& map) {
    const __m128i w = blend_weights(phase);
    horizontal_groups<store_aligned>(top, dst, map, [bottom, w](const uint8_t* row, const coefficient_group_t& g) {
        const uint32_t offset = g.m_offsets[0];
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + offset));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bottom + offset));
        return horizontal_span_layout0(blend16(a, b, w), g);
    });
}

// Several rows at once, layout 0: each group's coefficients are loaded once and serve the
// spans of every row. (Layout 1 gathers per row and gains nothing from this.)
template <bool store_aligned, size_t count>
void horizontal_batch(const uint8_t* const (&src)[count], uint8_t* const (&dst)[count], const horizontal_map_t& map) {
    const coefficient_group_t* const groups = map.m_p_table->m_p_groups;
    const uint32_t group_count = map.m_p_table->m_group_count;
    const uint32_t bytes = 2 * map.m_dst_width;
    const uint32_t full = bytes / 16;
    const auto group = [&src, groups](uint32_t gi, __m128i(&out)[count]) {
        const group_vectors_t v = group_vectors(groups[gi]);
        const uint32_t offset = groups[gi].m_offsets[0];
        for (size_t r = 0; r < count; ++r)
            out[r] = horizontal_span(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src[r] + offset)), v);
    };
    // Unrolled for the same reason as blend_rows.
#pragma GCC unroll 2
    for (uint32_t gi = 0; gi < full; ++gi) {
        __m128i out[count];
        group(gi, out);
        for (size_t r = 0; r < count; ++r) store<store_aligned>(dst[r] + 16 * gi, out[r]);
    }
    if (full < group_count) {
        alignas(16) uint8_t tail[16];
        __m128i out[count];
        group(full, out);
        for (size_t r = 0; r < count; ++r) {
            _mm_store_si128(reinterpret_cast<__m128i*>(tail), out[r]);
            std::memcpy(dst[r] + 16 * full, tail, bytes - 16 * full);
        }
    }
}

// horizontal_batch on the first `sizeof...(i)` rows of src and dst.
template <bool store_aligned, size_t... i>
void horizontal_batch_of(const uint8_t* const src[], uint8_t* const dst[], const horizontal_map_t& map,
                         std::index_sequence<i...>) {
    horizontal_batch<store_aligned>({src[i]...}, {dst[i]...}, map);
}

// The batch function for a run-time count of rows, 2 to most.
template <bool store_aligned, size_t most = k_batch_rows>
void horizontal_batch_of_count(const uint8_t* const src[], uint8_t* const dst[], uint32_t count,
                               const horizontal_map_t& map) {
    if constexpr (most >= 2) {
        if (count == most) return horizontal_batch_of<store_aligned>(src, dst, map, std::make_index_sequence<most>{});
        horizontal_batch_of_count<store_aligned, most - 1>(src, dst, count, map);
    }
}

template <bool store_aligned>
void horizontal_rows(const uint8_t* const src[], uint8_t* const dst[], uint32_t count, const horizontal_map_t& map) {
    if (map.m_p_table->m_layout != 0 || count == 1) {
        for (uint32_t i = 0; i < count; ++i) horizontal<store_aligned>(src[i], dst[i], map);
    } else {
        horizontal_batch_of_count<store_aligned>(src, dst, count, map);
    }
}

// Two phases of the same source rows: the interleave of the two rows serves both blends.
template <bool load_aligned>
void blend_pair(const uint8_t* top, const uint8_t* bottom, uint8_t* out0, uint8_t* out1, uint32_t bytes,
                uint32_t phase0, uint32_t phase1) {
    if (bytes < 16) {
        reference_row_functions().m_p_blend_pair_to_buffers(top, bottom, out0, out1, bytes, phase0, phase1);
        return;
    }
    const __m128i w0 = blend_weights(phase0);
    const __m128i w1 = blend_weights(phase1);
    size_t i = 0;
    // Unrolled for the same reason as blend_rows.
#pragma GCC unroll 2
    for (; i + 16 <= bytes; i += 16) {
        const __m128i a = load<load_aligned>(top + i), b = load<load_aligned>(bottom + i);
        store<true>(out0 + i, blend16(a, b, w0));
        store<true>(out1 + i, blend16(a, b, w1));
    }
    if (i < bytes) {
        i = bytes - 16;
        const __m128i a = load<false>(top + i), b = load<false>(bottom + i);
        store<false>(out0 + i, blend16(a, b, w0));
        store<false>(out1 + i, blend16(a, b, w1));
    }
}

template <bool load_aligned>
inline __m128i halve_group(const uint8_t* row0, const uint8_t* row1) {
    // After the vertical average, pick the two like samples of each destination byte from
    // 16 source bytes: the first into the low half, the second into the high half.
    const __m128i pick = _mm_setr_epi8(0, 1, 2, 5, 8, 9, 10, 13, 4, 3, 6, 7, 12, 11, 14, 15);
    const __m128i v0 = _mm_shuffle_epi8(_mm_avg_epu8(load<load_aligned>(row0), load<load_aligned>(row1)), pick);
    const __m128i v1 =
        _mm_shuffle_epi8(_mm_avg_epu8(load<load_aligned>(row0 + 16), load<load_aligned>(row1 + 16)), pick);
    return _mm_avg_epu8(_mm_unpacklo_epi64(v0, v1), _mm_unpackhi_epi64(v0, v1));
}

template <bool load_aligned, bool store_aligned>
void halve(const uint8_t* row0, const uint8_t* row1, uint8_t* dst, uint32_t bytes) {
    if (bytes < 16) {
        reference_row_functions().m_p_halve(row0, row1, dst, bytes);
        return;
    }
    uint32_t i = 0;
    for (; i + 16 <= bytes; i += 16)
        store<store_aligned>(dst + i, halve_group<load_aligned>(row0 + 2 * i, row1 + 2 * i));
    if (i < bytes) {
        // bytes is a multiple of 4, so the overlapping group starts on a pixel pair.
        i = bytes - 16;
        store<false>(dst + i, halve_group<false>(row0 + 2 * i, row1 + 2 * i));
    }
}

// Two byte pairs, (a, b) and (c, d), times their weight pairs, summed, rounded: 8 lanes.
inline __m128i filter4_lanes(__m128i ab, __m128i cd, __m128i w01, __m128i w23) {
    return round7(_mm_adds_epi16(_mm_maddubs_epi16(ab, w01), _mm_maddubs_epi16(cd, w23)));
}

inline __m128i weight_pair(int8_t first, int8_t second) {
    return _mm_set1_epi16(
        static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint8_t>(second)) << 8 | static_cast<uint8_t>(first)));
}

template <bool load_aligned>
void two_thirds_vertical(const uint8_t* const rows[4], uint32_t phase, uint8_t* out, uint32_t bytes) {
    if (bytes < 16) {
        reference_row_functions().m_p_two_thirds_vertical(rows, phase, out, bytes);
        return;
    }
    const int8_t(&w)[4] = k_two_thirds_luma[phase];
    const __m128i w01 = weight_pair(w[0], w[1]);
    const __m128i w23 = weight_pair(w[2], w[3]);
    const auto at = [&](uint32_t i, auto aligned) {
        constexpr bool a = decltype(aligned)::value;
        const __m128i r0 = load<a>(rows[0] + i), r1 = load<a>(rows[1] + i), r2 = load<a>(rows[2] + i),
                      r3 = load<a>(rows[3] + i);
        const __m128i lo = filter4_lanes(_mm_unpacklo_epi8(r0, r1), _mm_unpacklo_epi8(r2, r3), w01, w23);
        const __m128i hi = filter4_lanes(_mm_unpackhi_epi8(r0, r1), _mm_unpackhi_epi8(r2, r3), w01, w23);
        return _mm_packus_epi16(lo, hi);
    };
    uint32_t i = 0;
    for (; i + 16 <= bytes; i += 16)
        _mm_store_si128(reinterpret_cast<__m128i*>(out + i), at(i, std::bool_constant<load_aligned>{}));
    if (i < bytes) {
        i = bytes - 16;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), at(i, std::false_type{}));
    }
}

// Both rows of a band. Row 0 is 13a + 75b + 48c - 8d, row 1 is -8b + 48c + 75d + 13e: the
// pairs are taken as (a, d) + (b, c) and (b, c) + (d, e), so that the interleave of b and c
// serves both rows. No multiply-add saturates (each pair sum lies within -2040..31365); the
// saturating add can only clip sums above 32767, whose result is 255 either way.
template <bool load_aligned>
void two_thirds_vertical_pair(const uint8_t* const rows[5], uint8_t* out0, uint8_t* out1, uint32_t bytes) {
    if (bytes < 16) {
        reference_row_functions().m_p_two_thirds_vertical_pair(rows, out0, out1, bytes);
        return;
    }
    const uint8_t* const ra = rows[0];
    const uint8_t* const rb = rows[1];
    const uint8_t* const rc = rows[2];
    const uint8_t* const rd = rows[3];
    const uint8_t* const re = rows[4];
    const __m128i w_ad = weight_pair(k_two_thirds_luma[0][0], k_two_thirds_luma[0][3]);
    const __m128i w_bc0 = weight_pair(k_two_thirds_luma[0][1], k_two_thirds_luma[0][2]);
    const __m128i w_bc1 = weight_pair(k_two_thirds_luma[1][0], k_two_thirds_luma[1][1]);
    const __m128i w_de = weight_pair(k_two_thirds_luma[1][2], k_two_thirds_luma[1][3]);
    const auto at = [&](uint32_t i, auto aligned, auto store_fn) {
        constexpr bool al = decltype(aligned)::value;
        const __m128i a = load<al>(ra + i), b = load<al>(rb + i), c = load<al>(rc + i), d = load<al>(rd + i),
                      e = load<al>(re + i);
        const __m128i bc_lo = _mm_unpacklo_epi8(b, c), bc_hi = _mm_unpackhi_epi8(b, c);
        const __m128i lo0 = filter4_lanes(_mm_unpacklo_epi8(a, d), bc_lo, w_ad, w_bc0);
        const __m128i hi0 = filter4_lanes(_mm_unpackhi_epi8(a, d), bc_hi, w_ad, w_bc0);
        store_fn(out0 + i, _mm_packus_epi16(lo0, hi0));
        const __m128i lo1 = filter4_lanes(bc_lo, _mm_unpacklo_epi8(d, e), w_bc1, w_de);
        const __m128i hi1 = filter4_lanes(bc_hi, _mm_unpackhi_epi8(d, e), w_bc1, w_de);
        store_fn(out1 + i, _mm_packus_epi16(lo1, hi1));
    };
    const auto store_aligned = [](uint8_t* p, __m128i v) { _mm_store_si128(reinterpret_cast<__m128i*>(p), v); };
    const auto store_unaligned = [](uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); };
    uint32_t i = 0;
    for (; i + 16 <= bytes; i += 16) at(i, std::bool_constant<load_aligned>{}, store_aligned);
    if (i < bytes) at(bytes - 16, std::false_type{}, store_unaligned);
}

// 8 destination bytes of one 12-byte source block at src. The first two taps of every byte
// come from the 16 bytes that start 4 bytes before the block, the last two from the 16 bytes
// at the block: Cb'0, Y'0, Cr'0, Y'1, Cb'1, Y'2, Cr'1, Y'3.
inline __m128i two_thirds_block(const uint8_t* src) {
    const __m128i pick_a = _mm_setr_epi8(0, 4, 3, 5, 2, 6, 5, 7, 4, 8, 9, 11, 6, 10, 11, 13);
    const __m128i pick_b = _mm_setr_epi8(4, 8, 3, 5, 6, 10, 5, 7, 8, 12, 9, 11, 10, 14, 11, 13);
    const __m128i w01 = _mm_setr_epi8(21, 78, 13, 75, 21, 78, -8, 48, -5, 56, 13, 75, -5, 56, -8, 48);
    const __m128i w23 = _mm_setr_epi8(40, -11, 48, -8, 40, -11, 75, 13, 71, 6, 48, -8, 71, 6, 75, 13);
    const __m128i a = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src - 4)), pick_a);
    const __m128i b = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)), pick_b);
    return filter4_lanes(a, b, w01, w23);
}

template <bool store_aligned>
void two_thirds_horizontal(const uint8_t* src, uint32_t src_bytes, uint8_t* dst, uint32_t bytes) {
    uint32_t i = 0;
    const uint8_t* block = src;
    for (; i + 16 <= bytes; i += 16, block += 24)
        store<store_aligned>(dst + i, _mm_packus_epi16(two_thirds_block(block), two_thirds_block(block + 12)));
    if (i < bytes) {
        alignas(16) uint8_t tail[16];
        _mm_store_si128(reinterpret_cast<__m128i*>(tail),
                        _mm_packus_epi16(two_thirds_block(block), two_thirds_block(block + 12)));
        std::memcpy(dst + i, tail, bytes - i);
    }
}

template <bool src_aligned, bool dst_aligned>
const row_functions_t s_rows = {
    /* m_p_blend_to_buffer = */ blend_rows<src_aligned, true>,
    /* m_p_blend_to_destination = */ blend_rows<src_aligned, dst_aligned>,
    /* m_p_horizontal = */ horizontal<dst_aligned>,
    /* m_p_halve = */ halve<src_aligned, dst_aligned>,
    /* m_p_two_thirds_vertical = */ two_thirds_vertical<src_aligned>,
    /* m_p_two_thirds_horizontal = */ two_thirds_horizontal<dst_aligned>,
    /* m_p_two_thirds_vertical_pair = */ two_thirds_vertical_pair<src_aligned>,
    /* m_p_blend_horizontal = */ blend_horizontal<dst_aligned>,
    /* m_p_blend_pair_to_buffers = */ blend_pair<src_aligned>,
    /* m_p_horizontal_rows = */ horizontal_rows<dst_aligned>,
};

}  // namespace

const row_functions_t& ssse3_row_functions(bool src_aligned, bool dst_aligned) {
    if (src_aligned) return dst_aligned ? s_rows<true, true> : s_rows<true, false>;
    return dst_aligned ? s_rows<false, true> : s_rows<false, false>;
}

const row_functions_t& select_row_functions(bool src_aligned, bool dst_aligned) {
    return ssse3_row_functions(src_aligned, dst_aligned);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

// Plain C++ row functions of every resampler pass. They define the result: the vector row
// functions must give exactly the same bytes.
#include "pixel/resample_internal.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

// Truncating 6-bit blend: the pair of weights sums to 64 and no rounding bias is added. The
// vector rows get the same bytes from one byte multiply-add and a shift, and adding a bias
// would cost an instruction per vector to shift every output by half a step.
inline uint8_t blend6(uint32_t a, uint32_t b, uint32_t f) {
    return static_cast<uint8_t>((a * (64 - f) + b * f) >> 6);
}

inline uint32_t avg(uint32_t a, uint32_t b) {
    return (a + b + 1) >> 1;
}

// One tap of the 3-to-2 filter: rounded, clamped to a byte.
inline uint8_t filter4(const int8_t (&w)[4], int a, int b, int c, int d) {
    const int v = (w[0] * a + w[1] * b + w[2] * c + w[3] * d + 64) >> 7;
    return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

void blend_rows_ref(const uint8_t* top, const uint8_t* bottom, uint8_t* out, uint32_t bytes, uint32_t phase) {
    for (uint32_t i = 0; i < bytes; ++i) out[i] = blend6(top[i], bottom[i], phase);
}

void horizontal_ref(const uint8_t* src, uint8_t* dst, const horizontal_map_t& map) {
    const uint32_t bytes = 2 * map.m_dst_width;
    for (uint32_t j = 0; j < bytes; ++j) {
        const tap_t t = horizontal_tap(map, j);
        dst[j] = blend6(src[t.m_first], src[t.m_second], t.m_phase);
    }
}

void blend_horizontal_ref(const uint8_t* top, const uint8_t* bottom, uint32_t phase, uint8_t* dst,
                          const horizontal_map_t& map) {
    const uint32_t bytes = 2 * map.m_dst_width;
    for (uint32_t j = 0; j < bytes; ++j) {
        const tap_t t = horizontal_tap(map, j);
        const uint32_t a = blend6(top[t.m_first], bottom[t.m_first], phase);
        const uint32_t b = blend6(top[t.m_second], bottom[t.m_second], phase);
        dst[j] = blend6(a, b, t.m_phase);
    }
}

void blend_pair_ref(const uint8_t* top, const uint8_t* bottom, uint8_t* out0, uint8_t* out1, uint32_t bytes,
                    uint32_t phase0, uint32_t phase1) {
    blend_rows_ref(top, bottom, out0, bytes, phase0);
    blend_rows_ref(top, bottom, out1, bytes, phase1);
}

void horizontal_rows_ref(const uint8_t* const src[], uint8_t* const dst[], uint32_t count,
                         const horizontal_map_t& map) {
    for (uint32_t i = 0; i < count; ++i) horizontal_ref(src[i], dst[i], map);
}

void halve_ref(const uint8_t* row0, const uint8_t* row1, uint8_t* dst, uint32_t bytes) {
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

void two_thirds_vertical_ref(const uint8_t* const rows[4], uint32_t phase, uint8_t* out, uint32_t bytes) {
    const int8_t(&w)[4] = k_two_thirds_luma[phase];
    for (uint32_t i = 0; i < bytes; ++i) out[i] = filter4(w, rows[0][i], rows[1][i], rows[2][i], rows[3][i]);
}

void two_thirds_vertical_pair_ref(const uint8_t* const rows[5], uint8_t* out0, uint8_t* out1, uint32_t bytes) {
    two_thirds_vertical_ref(rows, 0, out0, bytes);
    two_thirds_vertical_ref(rows + 1, 1, out1, bytes);
}

void two_thirds_horizontal_ref(const uint8_t* src, uint32_t src_bytes, uint8_t* dst, uint32_t bytes) {
    // Destination luma 2b and 2b + 1 take source luma 3b - 1 .. 3b + 2 and 3b .. 3b + 3;
    // destination chroma pairs 2b and 2b + 1 take source pairs 3b - 1 .. 3b + 2 and 3b .. 3b + 3.
    // Indices are clamped to the row.
    const int last_y = static_cast<int>(src_bytes / 2) - 1;
    const int last_pair = static_cast<int>(src_bytes / 4) - 1;
    const auto y = [&](int i) { return static_cast<int>(src[2 * (i < 0 ? 0 : i > last_y ? last_y : i) + 1]); };
    const auto c = [&](int p, int cr) {
        return static_cast<int>(src[4 * (p < 0 ? 0 : p > last_pair ? last_pair : p) + cr]);
    };
    for (uint32_t j = 0; j < bytes; ++j) {
        const int k = static_cast<int>(j / 2);
        if (j & 1u) {
            const int first = 3 * (k / 2) - 1 + (k & 1);
            dst[j] = filter4(k_two_thirds_luma[k & 1], y(first), y(first + 1), y(first + 2), y(first + 3));
        } else {
            const int m = k / 2;
            const int cr = (k & 1) * 2;
            const int first = 3 * (m / 2) - 1 + (m & 1);
            dst[j] =
                filter4(k_two_thirds_chroma[m & 1], c(first, cr), c(first + 1, cr), c(first + 2, cr), c(first + 3, cr));
        }
    }
}

}  // namespace

const row_functions_t& reference_row_functions() {
    static const row_functions_t s_rows = {
        /* m_p_blend_to_buffer = */ blend_rows_ref,
        /* m_p_blend_to_destination = */ blend_rows_ref,
        /* m_p_horizontal = */ horizontal_ref,
        /* m_p_halve = */ halve_ref,
        /* m_p_two_thirds_vertical = */ two_thirds_vertical_ref,
        /* m_p_two_thirds_horizontal = */ two_thirds_horizontal_ref,
        /* m_p_two_thirds_vertical_pair = */ two_thirds_vertical_pair_ref,
        /* m_p_blend_horizontal = */ blend_horizontal_ref,
        /* m_p_blend_pair_to_buffers = */ blend_pair_ref,
        /* m_p_horizontal_rows = */ horizontal_rows_ref,
    };
    return s_rows;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

// Internals of the UYVY resampler shared by its source files, its tests and its benchmarks:
// axis mappings, the horizontal coefficient table and the row functions of every pass.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/resample_uyvy.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

// source coordinate = destination coordinate * m_scale + m_offset (pixel centres).
struct axis_mapping_t {
    float m_scale = 1.0f;
    float m_offset = 0.0f;
};

// Centre-aligned stretch of src_size pixels over dst_size pixels.
axis_mapping_t default_axis_mapping(uint32_t src_size, uint32_t dst_size);

// True unless the mapping is, within 0.1, the default one of the axis.
bool axis_is_remapped(const axis_mapping_t& mapping, uint32_t src_size, uint32_t dst_size);

// t truncated toward zero to 32 bits, saturated to the 32-bit range (NaN gives 0), so that
// odd mapping or aspect values cannot make the conversion undefined.
int32_t truncate_saturated(float t);

// v * 65536 truncated toward zero, saturated as above.
inline int32_t to_fixed_16_16(float v) {
    return truncate_saturated(v * 65536.0f);
}

// One group of 16 destination bytes of the horizontal pass (8 pixels, 4 pixel pairs).
// m_weights holds (64 - f, f) for each destination byte, ready for a byte multiply-add.
// Layout 0: one 16-byte source span starting at m_offsets[0]; m_shuffle picks each
//   destination byte's two neighbours from it (first 8 bytes, then the last 8).
// Layout 1: per pixel pair q, m_offsets[3q] is the byte offset of its chroma pair window
//   (8 bytes: Cb, Y, Cr, Y of pairs p and p + 1) and m_offsets[3q + 1], m_offsets[3q + 2]
//   those of the two luma windows (4 bytes: C, Y[i], C, Y[i + 1]); the shuffle is fixed.
struct alignas(16) coefficient_group_t {
    uint8_t m_weights[32];
    uint8_t m_shuffle[32];
    uint32_t m_offsets[12];
};

struct coefficient_table_t {
    uint8_t m_layout = 0;        // 0 or 1, see coefficient_group_t
    uint32_t m_group_count = 0;  // ceil(2 * destination width / 16)
    size_t m_read_end = 0;       // one past the last source byte any group loads
    coefficient_group_t* m_p_groups = nullptr;
};

// Everything the horizontal pass needs for one destination row.
struct horizontal_map_t {
    int32_t m_x0 = 0;        // truncate(x offset * 65536)
    int32_t m_step = 65536;  // truncate(x scale * 65536)
    uint32_t m_src_width = 0;
    uint32_t m_dst_width = 0;
    const coefficient_table_t* m_p_table = nullptr;
};

// Source byte pair and phase of one destination byte of the horizontal pass: the result is
// (row[m_first] * (64 - m_phase) + row[m_second] * m_phase) >> 6.
struct tap_t {
    uint32_t m_first;
    uint32_t m_second;
    uint32_t m_phase;
};
tap_t horizontal_tap(const horizontal_map_t& map, uint32_t dst_byte);

// Number of groups the table of a destination width needs.
inline uint32_t coefficient_group_count(uint32_t dst_width) {
    return static_cast<uint32_t>((2ull * dst_width + 15) / 16);
}

// Fills table.m_p_groups (coefficient_group_count entries) for the map; picks the layout.
void build_coefficient_table(const horizontal_map_t& map, float x_scale, coefficient_table_t& table);

// Most destination rows the general path scales in one horizontal pass.
constexpr uint32_t k_batch_rows = 6;

// Row functions of every pass. The reference set defines the result; every vector set gives
// the same bytes. "bytes" counts bytes of the row written.
struct row_functions_t {
    // out = (top * (64 - phase) + bottom * phase) >> 6, per byte; out is a row buffer.
    void (*m_p_blend_to_buffer)(const uint8_t* top, const uint8_t* bottom, uint8_t* out, uint32_t bytes,
                                uint32_t phase);
    // The same, written straight into a destination row.
    void (*m_p_blend_to_destination)(const uint8_t* top, const uint8_t* bottom, uint8_t* out, uint32_t bytes,
                                     uint32_t phase);
    // Horizontal pass of 2 * map.m_dst_width bytes. src may be read up to table.m_read_end.
    void (*m_p_horizontal)(const uint8_t* src, uint8_t* dst, const horizontal_map_t& map);
    // 2x2 average: dst byte = avg(avg(s1, t1), avg(s2, t2)), avg(x, y) = (x + y + 1) >> 1.
    void (*m_p_halve)(const uint8_t* row0, const uint8_t* row1, uint8_t* dst, uint32_t bytes);
    // Vertical 3-to-2: out = sum of 4 rows times the weights of phase 0 (destination row 2j,
    // source rows 3j - 1 .. 3j + 2) or phase 1 (row 2j + 1, source rows 3j .. 3j + 3), see
    // k_two_thirds_weights; rounded, clamped to 0..255. out is a row buffer.
    void (*m_p_two_thirds_vertical)(const uint8_t* const rows[4], uint32_t phase, uint8_t* out, uint32_t bytes);
    // Horizontal 3-to-2: every 6 source pixels give 4 destination pixels, each from 4 like
    // samples. src is a row buffer of src_bytes whose 4 bytes before and after repeat its edge
    // pixels, readable 32 bytes past that.
    void (*m_p_two_thirds_horizontal)(const uint8_t* src, uint32_t src_bytes, uint8_t* dst, uint32_t bytes);
    // Both destination rows of one band at once: rows are source rows 3j - 1 .. 3j + 3; out0
    // gets phase 0 of rows[0..3], out1 phase 1 of rows[1..4]. The same bytes as two calls of
    // m_p_two_thirds_vertical, with the three shared rows loaded once.
    void (*m_p_two_thirds_vertical_pair)(const uint8_t* const rows[5], uint8_t* out0, uint8_t* out1, uint32_t bytes);
    // The vertical blend of two source rows and the horizontal pass in one: dst gets the bytes
    // of m_p_horizontal run on the row m_p_blend_to_buffer(top, bottom, phase) would give,
    // without that row ever being stored. Only for a table of layout 0; top and bottom may be
    // read up to table.m_read_end.
    void (*m_p_blend_horizontal)(const uint8_t* top, const uint8_t* bottom, uint32_t phase, uint8_t* dst,
                                 const horizontal_map_t& map);
    // Two destination rows blended from the same two source rows: out0 and out1 get the bytes
    // of m_p_blend_to_buffer at phase0 and at phase1, the source bytes loaded once for both.
    // out0 and out1 are row buffers.
    void (*m_p_blend_pair_to_buffers)(const uint8_t* top, const uint8_t* bottom, uint8_t* out0, uint8_t* out1,
                                      uint32_t bytes, uint32_t phase0, uint32_t phase1);
    // The horizontal pass of count (1 to k_batch_rows) rows at once: dst[i] gets the bytes of
    // m_p_horizontal on src[i], each group's coefficients loaded once for all the rows.
    void (*m_p_horizontal_rows)(const uint8_t* const src[], uint8_t* const dst[], uint32_t count,
                                const horizontal_map_t& map);
};

const row_functions_t& reference_row_functions();
// The vector sets, one per alignment of source rows and destination rows.
const row_functions_t& ssse3_row_functions(bool src_aligned, bool dst_aligned);
// The one place that chooses the row functions the kernel runs.
const row_functions_t& select_row_functions(bool src_aligned, bool dst_aligned);

// Weights (sum 128) of the two-thirds filter: a 4-tap Lanczos-3 windowed sinc stretched by
// 1.5, sampled at the four phases that occur: luma and rows at 0.25 and 1.75 of each source
// triple, chroma (on its half-resolution grid) at 0.125 and 1.625.
constexpr int8_t k_two_thirds_luma[2][4] = {{13, 75, 48, -8}, {-8, 48, 75, 13}};
constexpr int8_t k_two_thirds_chroma[2][4] = {{21, 78, 40, -11}, {-5, 56, 71, 6}};

// Bytes of slack after the used part of every row buffer, so that vector loads and stores of
// whole groups never leave it.
constexpr size_t k_row_slack = 64;

// The passes of the kernel, each for the whole picture.
void general_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const axis_mapping_t& mx, const axis_mapping_t& my,
                  bool x_remapped, bool y_remapped, const row_functions_t& rows);
void halving_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows);
void two_thirds_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows);

// True when the plane is aligned for 16-byte vector access on every row.
inline bool plane_is_aligned(const uyvy_plane_t& p) {
    return (reinterpret_cast<uintptr_t>(p.m_p_data) & 15u) == 0 && (p.m_row_bytes & 15u) == 0;
}

// The repeating UYVY black pattern (Cb 128, Y 16, Cr 128, Y 16), 16 bytes.
const uint8_t* uyvy_black_pattern();

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

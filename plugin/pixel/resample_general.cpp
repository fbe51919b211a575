// The general scaling path: vertical stepping in 16.16 fixed point with 6-bit phases, each
// destination row first prepared vertically from one or two source rows, then scaled
// horizontally through the coefficient table.
#include <algorithm>
#include <cstring>

#include "pixel/resample_internal.h"
#include "pixel/resample_scratch.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

constexpr size_t k_stack_row_bytes = 2 * 4096 + k_row_slack;
constexpr size_t k_stack_table_bytes = sizeof(coefficient_group_t) * (2 * 4096 / 16);

inline const uint8_t* src_row(const uyvy_plane_t& p, int64_t r) { return p.m_p_data + static_cast<size_t>(r) * p.m_row_bytes; }

}  // namespace

void general_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const axis_mapping_t& mx,
                  const axis_mapping_t& my, bool x_remapped, bool y_remapped, const row_functions_t& rows)
{
    const bool horizontal = x_remapped || dst.m_width != src.m_width;
    const bool vertical = y_remapped || dst.m_height != src.m_height;
    const uint32_t src_bytes = 2 * src.m_width;
    const uint32_t dst_bytes = 2 * dst.m_width;

    horizontal_map_t map;
    map.m_x0 = to_fixed_16_16(mx.m_offset);
    map.m_step = to_fixed_16_16(mx.m_scale);
    map.m_src_width = src.m_width;
    map.m_dst_width = dst.m_width;

    coefficient_table_t table;
    scratch_t<k_stack_table_bytes> table_memory(horizontal ? sizeof(coefficient_group_t) * coefficient_group_count(dst.m_width) : 0);
    if (horizontal) {
        table.m_p_groups = reinterpret_cast<coefficient_group_t*>(table_memory.data());
        build_coefficient_table(map, mx.m_scale, table);
        map.m_p_table = &table;
    }

    // Row buffer: the vertically prepared row when it feeds the horizontal pass, or a copy of
    // a source row whose tail the horizontal pass may not read in place. Its slack is zeroed
    // so that loads past the row read defined bytes.
    const size_t buffer_bytes = size_t{src_bytes} + std::max<size_t>(k_row_slack, table.m_read_end > src_bytes ? table.m_read_end - src_bytes + 16 : 0);
    scratch_t<k_stack_row_bytes> row_memory(horizontal ? buffer_bytes : 0);
    uint8_t* const row_buffer = row_memory.data();
    if (horizontal) std::memset(row_buffer + src_bytes, 0, buffer_bytes - src_bytes);

    // Layout 0 blends each group's span straight from the two source rows, with no row buffer
    // in between. An odd width needs the buffer: its missing Cr byte must read as zero.
    const bool fused = horizontal && table.m_layout == 0 && (src.m_width & 1u) == 0;

    const int64_t last_row = static_cast<int64_t>(src.m_height) - 1;
    int64_t position = to_fixed_16_16(my.m_offset);
    const int64_t step = to_fixed_16_16(my.m_scale);

    for (uint32_t y = 0; y < dst.m_height; ++y, position += step) {
        uint8_t* const out = dst.m_p_data + static_cast<size_t>(y) * dst.m_row_bytes;
        int64_t r = y;
        uint32_t phase = 0;
        if (vertical) {
            r = position >> 16;
            phase = static_cast<uint32_t>(position >> 10) & 63u;
            if (phase > 61) {
                ++r;
                phase = 0;
            }
        }
        const int64_t r0 = std::clamp<int64_t>(r, 0, last_row);
        const int64_t r1 = std::clamp<int64_t>(r + 1, 0, last_row);

        // Bytes a vector load may read from row r without leaving the image.
        const auto readable = [&](int64_t row) { return row < last_row ? size_t{src.m_row_bytes} + src_bytes : size_t{src_bytes}; };
        const uint8_t* prepared = src_row(src, r0);
        if (phase >= 3) {
            if (!horizontal) {
                rows.m_p_blend_to_destination(src_row(src, r0), src_row(src, r1), out, dst_bytes, phase);
                continue;
            }
            if (fused && table.m_read_end <= std::min(readable(r0), readable(r1))) {
                rows.m_p_blend_horizontal(src_row(src, r0), src_row(src, r1), phase, out, map);
                continue;
            }
            rows.m_p_blend_to_buffer(src_row(src, r0), src_row(src, r1), row_buffer, src_bytes, phase);
            prepared = row_buffer;
        } else if (horizontal) {
            // In place when every load stays inside this row or the next one. An odd width
            // has half a pixel pair at its end whose missing Cr byte must read as the zeroed
            // slack of the row buffer, not as whatever follows the row.
            if (table.m_read_end > readable(r0) || (src.m_width & 1u) != 0) {
                std::memcpy(row_buffer, prepared, src_bytes);
                prepared = row_buffer;
            }
        } else {
            std::memcpy(out, prepared, dst_bytes);
            continue;
        }
        rows.m_p_horizontal(prepared, out, map);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

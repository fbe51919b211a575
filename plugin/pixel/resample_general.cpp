// The general scaling path: vertical stepping in 16.16 fixed point with 6-bit phases, each
// destination row first prepared vertically from one or two source rows, then scaled
// horizontally through the coefficient table, several rows in one pass unless each group
// blends its own source span.
#include <algorithm>
#include <cstring>

#include "pixel/resample_internal.h"
#include "pixel/resample_scratch.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

// Row buffers live on the stack for source rows of up to 2048 pixels in a batch, up to 4096
// for the one buffer of the fused rows; wider ones come from the heap. A batch of buffers so
// stays small beside the table.
constexpr size_t k_stack_row_bytes = k_batch_rows * (2 * 2048 + k_row_slack + 32);
constexpr size_t k_stack_table_bytes = sizeof(coefficient_group_t) * (2 * 4096 / 16);

inline const uint8_t* src_row(const uyvy_plane_t& p, int64_t r) {
    return p.m_p_data + static_cast<size_t>(r) * p.m_row_bytes;
}

// Where one destination row comes from: source rows m_r0 and m_r1 (clamped) blended at
// m_phase; a phase below 3 means row m_r0 alone.
struct row_source_t {
    int64_t m_r0 = 0;
    int64_t m_r1 = 0;
    uint32_t m_phase = 0;
};

bool same_blend_rows(const row_source_t& a, const row_source_t& b) {
    return a.m_phase >= 3 && b.m_phase >= 3 && a.m_r0 == b.m_r0 && a.m_r1 == b.m_r1;
}

// The batch of destination rows from row y (whose source is batch[0]) scaled together: up to
// k_batch_rows, ending early rather than split two rows that blend the same source rows, which
// are blended together. Fills in the sources of the rows after the first; returns the count.
template <typename source_fn>
uint32_t gather_batch(const source_fn& source_of, uint32_t y, uint32_t height,
                      row_source_t (&batch)[k_batch_rows + 1]) {
    uint32_t count = 1;
    for (; count < k_batch_rows && y + count < height; ++count) {
        batch[count] = source_of(y + count);
        const bool last_slot = count + 1 == k_batch_rows;
        if (last_slot && y + count + 1 < height && !same_blend_rows(batch[count - 1], batch[count])) {
            batch[count + 1] = source_of(y + count + 1);
            if (same_blend_rows(batch[count], batch[count + 1])) break;
        }
    }
    return count;
}

}  // namespace

void general_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const axis_mapping_t& mx, const axis_mapping_t& my,
                  bool x_remapped, bool y_remapped, const row_functions_t& rows) {
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
    scratch_t<k_stack_table_bytes> table_memory(
        horizontal ? sizeof(coefficient_group_t) * coefficient_group_count(dst.m_width) : 0);
    if (horizontal) {
        table.m_p_groups = reinterpret_cast<coefficient_group_t*>(table_memory.data());
        build_coefficient_table(map, mx.m_scale, table);
        map.m_p_table = &table;
    }

    // Layout 0 can blend each group's span straight from the two source rows, with no row
    // buffer in between. That pays when a source row is longer than a destination row (each
    // group blends fewer bytes than the whole row holds); otherwise rows are blended once into
    // the buffers and scaled in batches. An odd width needs the buffer: its missing Cr byte
    // must read as zero.
    const bool fused = horizontal && table.m_layout == 0 && (src.m_width & 1u) == 0 && src_bytes > dst_bytes;

    // Row buffers, one per row of a batch (one in all for the fused rows), each holding the
    // vertically prepared row when it feeds the horizontal pass, or a copy of a source row whose
    // tail the horizontal pass may not read in place. Their slack is zeroed so that loads past
    // the row read defined bytes.
    const size_t buffer_bytes =
        size_t{src_bytes} +
        std::max<size_t>(k_row_slack, table.m_read_end > src_bytes ? table.m_read_end - src_bytes + 16 : 0);
    const size_t buffer_stride = (buffer_bytes + 31) & ~size_t{31};
    const uint32_t buffer_count = fused ? 1 : k_batch_rows;
    scratch_t<k_stack_row_bytes> row_memory(horizontal ? buffer_count * buffer_stride : 0);
    uint8_t* buffers[k_batch_rows] = {};
    for (uint32_t i = 0; i < buffer_count && horizontal; ++i) {
        buffers[i] = row_memory.data() + i * buffer_stride;
        std::memset(buffers[i] + src_bytes, 0, buffer_bytes - src_bytes);
    }

    const int64_t last_row = static_cast<int64_t>(src.m_height) - 1;
    const int64_t y_start = to_fixed_16_16(my.m_offset);
    const int64_t step = to_fixed_16_16(my.m_scale);
    const auto source_of = [&](uint32_t y) {
        int64_t r = y;
        uint32_t phase = 0;
        if (vertical) {
            const int64_t position = y_start + int64_t{y} * step;
            r = position >> 16;
            phase = static_cast<uint32_t>(position >> 10) & 63u;
            if (phase > 61) {
                ++r;
                phase = 0;
            }
        }
        return row_source_t{std::clamp<int64_t>(r, 0, last_row), std::clamp<int64_t>(r + 1, 0, last_row), phase};
    };
    const auto out_row = [&](uint32_t y) { return dst.m_p_data + static_cast<size_t>(y) * dst.m_row_bytes; };
    // Bytes a vector load may read from row r without leaving the image.
    const auto readable = [&](int64_t row) {
        return row < last_row ? size_t{src.m_row_bytes} + src_bytes : size_t{src_bytes};
    };

    // The row the horizontal pass reads for one destination row: blended into the buffer, or
    // the source row in place when every load stays inside this row or the next one. An odd
    // width has half a pixel pair at its end whose missing Cr byte must read as the zeroed
    // slack of the buffer, not as whatever follows the row.
    const auto prepare = [&](const row_source_t& s, uint8_t* buffer) {
        const uint8_t* row = src_row(src, s.m_r0);
        if (s.m_phase >= 3) {
            rows.m_p_blend_to_buffer(row, src_row(src, s.m_r1), buffer, src_bytes, s.m_phase);
            return static_cast<const uint8_t*>(buffer);
        }
        if (table.m_read_end > readable(s.m_r0) || (src.m_width & 1u) != 0) {
            std::memcpy(buffer, row, src_bytes);
            return static_cast<const uint8_t*>(buffer);
        }
        return row;
    };

    for (uint32_t y = 0; y < dst.m_height;) {
        const row_source_t s = source_of(y);
        if (!horizontal) {
            if (s.m_phase >= 3)
                rows.m_p_blend_to_destination(src_row(src, s.m_r0), src_row(src, s.m_r1), out_row(y), dst_bytes,
                                              s.m_phase);
            else
                std::memcpy(out_row(y), src_row(src, s.m_r0), dst_bytes);
            ++y;
            continue;
        }
        if (fused) {
            if (s.m_phase >= 3 && table.m_read_end <= std::min(readable(s.m_r0), readable(s.m_r1)))
                rows.m_p_blend_horizontal(src_row(src, s.m_r0), src_row(src, s.m_r1), s.m_phase, out_row(y), map);
            else
                rows.m_p_horizontal(prepare(s, buffers[0]), out_row(y), map);
            ++y;
            continue;
        }
        // A batch of rows: each prepared into its own buffer (two rows on the same source rows
        // blended at once), then all scaled in one horizontal pass.
        row_source_t batch[k_batch_rows + 1] = {s};
        const uint32_t count = gather_batch(source_of, y, dst.m_height, batch);
        const uint8_t* prepared[k_batch_rows];
        uint8_t* outs[k_batch_rows];
        for (uint32_t i = 0; i < count; ++i) {
            outs[i] = out_row(y + i);
            if (i + 1 < count && same_blend_rows(batch[i], batch[i + 1])) {
                rows.m_p_blend_pair_to_buffers(src_row(src, batch[i].m_r0), src_row(src, batch[i].m_r1), buffers[i],
                                               buffers[i + 1], src_bytes, batch[i].m_phase, batch[i + 1].m_phase);
                prepared[i] = buffers[i];
                prepared[i + 1] = buffers[i + 1];
                outs[i + 1] = out_row(y + i + 1);
                ++i;
            } else {
                prepared[i] = prepare(batch[i], buffers[i]);
            }
        }
        rows.m_p_horizontal_rows(prepared, outs, count, map);
        y += count;
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

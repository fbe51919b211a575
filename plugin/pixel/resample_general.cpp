// The general scaling path: vertical stepping in 16.16 fixed point with 6-bit phases, each
// destination row first prepared vertically from one or two source rows, then scaled
// horizontally through the coefficient table, several rows in one pass unless each group
// blends its own source span.
#include <algorithm>
#include <cstring>
#include <optional>

#include "pixel/resample_internal.h"
#include "pixel/resample_scratch.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

// Row buffers live on the stack for source rows of up to 2048 pixels in a batch, up to 4096
// for the one buffer of the fused rows; wider ones come from the heap. A batch of buffers so
// stays small beside the table.
constexpr size_t k_stack_row_bytes = k_batch_rows * (2 * 2048 + k_row_slack + 32);
constexpr size_t k_stack_table_bytes = sizeof(coefficient_group_t) * (2 * 4096 / 16);

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

// The general path of one call: the vertical stepping, the horizontal table and the row
// buffers, with one named step per way of producing destination rows.
class general_pass_t {
public:
    general_pass_t(const uyvy_plane_t& src, const uyvy_plane_t& dst, const axis_mapping_t& mx, const axis_mapping_t& my,
                   bool x_remapped, bool y_remapped, const row_functions_t& rows)
        : m_src(src),
          m_dst(dst),
          m_rows(rows),
          m_horizontal(x_remapped || dst.m_width != src.m_width),
          m_vertical(y_remapped || dst.m_height != src.m_height),
          m_src_bytes(2 * src.m_width),
          m_dst_bytes(2 * dst.m_width),
          m_last_row(static_cast<int64_t>(src.m_height) - 1),
          m_y_start(to_fixed_16_16(my.m_offset)),
          m_y_step(to_fixed_16_16(my.m_scale)),
          m_table_memory(m_horizontal ? sizeof(coefficient_group_t) * coefficient_group_count(dst.m_width) : 0) {
        build_table(mx);
        // Layout 0 can blend each group's span straight from the two source rows, with no row
        // buffer in between. That pays when a source row is longer than a destination row (each
        // group blends fewer bytes than the whole row holds); otherwise rows are blended once into
        // the buffers and scaled in batches. An odd width needs the buffer: its missing Cr byte
        // must read as zero.
        m_fused = m_horizontal && m_table.m_layout == 0 && (src.m_width & 1u) == 0 && m_src_bytes > m_dst_bytes;
        m_row_memory.emplace(m_horizontal ? buffer_count() * buffer_stride() : 0);
        set_up_buffers();
    }

    void run() {
        for (uint32_t y = 0; y < m_dst.m_height;) {
            if (!m_horizontal)
                y += vertical_only_row(y);
            else if (m_fused)
                y += fused_row(y);
            else
                y += batch_of_rows(y);
        }
    }

private:
    // The horizontal map, and the coefficient table when the x axis is scaled.
    void build_table(const axis_mapping_t& mx) {
        m_map.m_x0 = to_fixed_16_16(mx.m_offset);
        m_map.m_step = to_fixed_16_16(mx.m_scale);
        m_map.m_src_width = m_src.m_width;
        m_map.m_dst_width = m_dst.m_width;
        if (!m_horizontal) return;
        m_table.m_p_groups = reinterpret_cast<coefficient_group_t*>(m_table_memory.data());
        build_coefficient_table(m_map, mx.m_scale, m_table);
        m_map.m_p_table = &m_table;
    }

    // Row buffers, one per row of a batch (one in all for the fused rows), each holding the
    // vertically prepared row when it feeds the horizontal pass, or a copy of a source row whose
    // tail the horizontal pass may not read in place.
    size_t buffer_bytes() const {
        const size_t past_row = m_table.m_read_end > m_src_bytes ? m_table.m_read_end - m_src_bytes + 16 : 0;
        return size_t{m_src_bytes} + std::max<size_t>(k_row_slack, past_row);
    }
    size_t buffer_stride() const { return (buffer_bytes() + 31) & ~size_t{31}; }
    uint32_t buffer_count() const { return m_fused ? 1 : k_batch_rows; }

    // Their slack is zeroed so that loads past the row read defined bytes.
    void set_up_buffers() {
        for (uint32_t i = 0; i < buffer_count() && m_horizontal; ++i) {
            m_buffers[i] = m_row_memory->data() + i * buffer_stride();
            std::memset(m_buffers[i] + m_src_bytes, 0, buffer_bytes() - m_src_bytes);
        }
    }

    const uint8_t* src_row(int64_t r) const { return m_src.m_p_data + static_cast<size_t>(r) * m_src.m_row_bytes; }
    uint8_t* out_row(uint32_t y) const { return m_dst.m_p_data + static_cast<size_t>(y) * m_dst.m_row_bytes; }

    // The source rows and phase of destination row y: position P = y_start + y * step, row
    // P >> 16, phase (P >> 10) & 63, a phase above 61 taken as the next row unblended.
    row_source_t source_of(uint32_t y) const {
        int64_t r = y;
        uint32_t phase = 0;
        if (m_vertical) {
            const int64_t position = m_y_start + int64_t{y} * m_y_step;
            r = position >> 16;
            phase = static_cast<uint32_t>(position >> 10) & 63u;
            if (phase > 61) {
                ++r;
                phase = 0;
            }
        }
        return row_source_t{std::clamp<int64_t>(r, 0, m_last_row), std::clamp<int64_t>(r + 1, 0, m_last_row), phase};
    }

    // Bytes a vector load may read from row r without leaving the image.
    size_t readable(int64_t row) const {
        return row < m_last_row ? size_t{m_src.m_row_bytes} + m_src_bytes : size_t{m_src_bytes};
    }

    // The row the horizontal pass reads for one destination row: blended into the buffer, or
    // the source row in place when every load stays inside this row or the next one. An odd
    // width has half a pixel pair at its end whose missing Cr byte must read as the zeroed
    // slack of the buffer, not as whatever follows the row.
    const uint8_t* prepare(const row_source_t& s, uint8_t* buffer) const {
        const uint8_t* row = src_row(s.m_r0);
        if (s.m_phase >= 3) {
            m_rows.m_p_blend_to_buffer(row, src_row(s.m_r1), buffer, m_src_bytes, s.m_phase);
            return buffer;
        }
        if (m_table.m_read_end > readable(s.m_r0) || (m_src.m_width & 1u) != 0) {
            std::memcpy(buffer, row, m_src_bytes);
            return buffer;
        }
        return row;
    }

    // Width kept: the row is copied or blended straight into the destination.
    uint32_t vertical_only_row(uint32_t y) const {
        const row_source_t s = source_of(y);
        if (s.m_phase >= 3)
            m_rows.m_p_blend_to_destination(src_row(s.m_r0), src_row(s.m_r1), out_row(y), m_dst_bytes, s.m_phase);
        else
            std::memcpy(out_row(y), src_row(s.m_r0), m_dst_bytes);
        return 1;
    }

    // One row blended and scaled in one pass where the loads stay inside the source rows.
    uint32_t fused_row(uint32_t y) const {
        const row_source_t s = source_of(y);
        if (s.m_phase >= 3 && m_table.m_read_end <= std::min(readable(s.m_r0), readable(s.m_r1)))
            m_rows.m_p_blend_horizontal(src_row(s.m_r0), src_row(s.m_r1), s.m_phase, out_row(y), m_map);
        else
            m_rows.m_p_horizontal(prepare(s, m_buffers[0]), out_row(y), m_map);
        return 1;
    }

    // A batch of rows: each prepared into its own buffer (two rows on the same source rows
    // blended at once), then all scaled in one horizontal pass.
    uint32_t batch_of_rows(uint32_t y) const {
        row_source_t batch[k_batch_rows + 1] = {source_of(y)};
        const uint32_t count = gather_batch([this](uint32_t row) { return source_of(row); }, y, m_dst.m_height, batch);
        const uint8_t* prepared[k_batch_rows];
        uint8_t* outs[k_batch_rows];
        for (uint32_t i = 0; i < count; ++i) {
            outs[i] = out_row(y + i);
            if (i + 1 < count && same_blend_rows(batch[i], batch[i + 1])) {
                m_rows.m_p_blend_pair_to_buffers(src_row(batch[i].m_r0), src_row(batch[i].m_r1), m_buffers[i],
                                                 m_buffers[i + 1], m_src_bytes, batch[i].m_phase, batch[i + 1].m_phase);
                prepared[i] = m_buffers[i];
                prepared[i + 1] = m_buffers[i + 1];
                outs[i + 1] = out_row(y + i + 1);
                ++i;
            } else {
                prepared[i] = prepare(batch[i], m_buffers[i]);
            }
        }
        m_rows.m_p_horizontal_rows(prepared, outs, count, m_map);
        return count;
    }

    const uyvy_plane_t& m_src;
    const uyvy_plane_t& m_dst;
    const row_functions_t& m_rows;
    const bool m_horizontal;
    const bool m_vertical;
    const uint32_t m_src_bytes;
    const uint32_t m_dst_bytes;
    const int64_t m_last_row;
    const int64_t m_y_start;
    const int64_t m_y_step;
    horizontal_map_t m_map;
    coefficient_table_t m_table;
    scratch_t<k_stack_table_bytes> m_table_memory;
    bool m_fused = false;
    std::optional<scratch_t<k_stack_row_bytes>> m_row_memory;
    uint8_t* m_buffers[k_batch_rows] = {};
};

}  // namespace

void general_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const axis_mapping_t& mx, const axis_mapping_t& my,
                  bool x_remapped, bool y_remapped, const row_functions_t& rows) {
    general_pass_t(src, dst, mx, my, x_remapped, y_remapped, rows).run();
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

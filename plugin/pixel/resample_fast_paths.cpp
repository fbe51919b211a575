// The two fixed-ratio paths of the kernel: halving (2x2 average) and two-thirds (a 4-tap
// 3-to-2 filter on both axes).
#include <cstring>

#include "pixel/resample_internal.h"
#include "pixel/resample_scratch.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

inline const uint8_t* row_of(const uyvy_plane_t& p, size_t r) {
    return p.m_p_data + r * p.m_row_bytes;
}
inline uint8_t* out_row(const uyvy_plane_t& p, size_t r) {
    return p.m_p_data + r * p.m_row_bytes;
}

}  // namespace

void halving_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows) {
    const uint32_t bytes = 2 * dst.m_width;
    for (uint32_t y = 0; y < dst.m_height; ++y)
        rows.m_p_halve(row_of(src, 2 * size_t{y}), row_of(src, 2 * size_t{y} + 1), out_row(dst, y), bytes);
}

void two_thirds_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows) {
    // Each band of three source rows gives two destination rows, each filtered from four
    // source rows (clamped at the picture's edges) into a row buffer, then horizontally.
    // A row buffer holds the row at a 16-byte offset, so that its edge pixels can be repeated
    // in the 4 bytes before and after it, and has slack for whole-group loads.
    const uint32_t src_bytes = 2 * src.m_width;
    const uint32_t dst_bytes = 2 * dst.m_width;
    const size_t buffer_bytes = (16 + size_t{src_bytes} + k_row_slack + 31) & ~size_t{31};
    scratch_t<2 * (16 + 2 * 4096 + k_row_slack + 32)> memory(2 * buffer_bytes);
    std::memset(memory.data(), 0, 2 * buffer_bytes);
    uint8_t* const buffers[2] = {memory.data() + 16, memory.data() + buffer_bytes + 16};

    const int64_t last_row = static_cast<int64_t>(src.m_height) - 1;
    const auto source_row = [&](int64_t r) {
        return row_of(src, static_cast<size_t>(r < 0 ? 0 : r > last_row ? last_row : r));
    };
    // Repeats the edge pixels of a filtered row: Cb, Y, Cr, Y of the first and last pair,
    // each pair's own luma replaced by the outermost one.
    const auto repeat_edges = [src_bytes](uint8_t* row) {
        row[-4] = row[0], row[-3] = row[1], row[-2] = row[2], row[-1] = row[1];
        const uint32_t e = src_bytes;
        row[e] = row[e - 4], row[e + 1] = row[e - 1], row[e + 2] = row[e - 2], row[e + 3] = row[e - 1];
    };
    for (uint32_t y = 0; y < dst.m_height; y += 2) {
        // Band j = y / 2: source rows 3j - 1 .. 3j + 3 feed destination rows y and y + 1.
        const int64_t first = int64_t{y / 2} * 3 - 1;
        const uint8_t* const taps[5] = {source_row(first), source_row(first + 1), source_row(first + 2),
                                        source_row(first + 3), source_row(first + 4)};
        if (y + 1 < dst.m_height) {
            rows.m_p_two_thirds_vertical_pair(taps, buffers[0], buffers[1], src_bytes);
        } else {
            rows.m_p_two_thirds_vertical(taps, 0, buffers[0], src_bytes);
        }
        for (uint32_t k = 0; k < 2 && y + k < dst.m_height; ++k) {
            repeat_edges(buffers[k]);
            rows.m_p_two_thirds_horizontal(buffers[k], src_bytes, out_row(dst, y + k), dst_bytes);
        }
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

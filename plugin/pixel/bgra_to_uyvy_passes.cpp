#include "pixel/bgra_to_uyvy_passes.h"

#include <algorithm>
#include <new>

#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/bgra_to_uyvy_matrix.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// Rows dithered per band in the interleaved schedule: the rows that the packing kernel keeps in
// flight, so that a band's rows and the row below it are converted just before it starts.
constexpr int32_t k_band_rows_lanes = 15;
// Scratch rows that the vector schedule recycles: a band and the row below it.
constexpr int32_t k_ring_rows = k_band_rows_lanes + 1;

struct byte_range_t {
    uintptr_t m_begin;
    uintptr_t m_end;
};

// The bytes that `rows` rows of `row_bytes` each, `stride` apart, span (strides may be negative).
byte_range_t image_range(const void* base, int32_t stride, int32_t rows, size_t row_bytes) {
    const intptr_t first = reinterpret_cast<intptr_t>(base);
    const intptr_t last = first + static_cast<intptr_t>(stride) * (rows - 1);
    return {static_cast<uintptr_t>(std::min(first, last)), static_cast<uintptr_t>(std::max(first, last)) + row_bytes};
}

bool overlap(const byte_range_t& a, const byte_range_t& b) {
    return a.m_begin < b.m_end && b.m_begin < a.m_end;
}

}  // namespace

size_t bgra_to_uyvy_scratch_floats(int32_t width, int32_t height) {
    // Wrapping 32-bit product, then widened: the count the converter has always requested.
    const uint32_t wrapped = (static_cast<uint32_t>(height) + 1u) * (static_cast<uint32_t>(width) + 3u);
    const int64_t slots = static_cast<int32_t>(wrapped);
    if (slots < 0) throw std::bad_alloc();
    const uint64_t bytes = static_cast<uint64_t>(slots) * 12u;
    if (bytes > static_cast<uint64_t>(PTRDIFF_MAX)) throw std::bad_alloc();
    return static_cast<size_t>(slots) * 3u;
}

void bgra_to_uyvy_run_passes(float* scratch, const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                             uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix,
                             bgra_to_uyvy_schedule_t schedule) {
    if (width < 1 || height < 1) return;
    const colour_matrix_t* m = colour_matrix_for(matrix);
    const ptrdiff_t row_floats = 3 * (static_cast<ptrdiff_t>(width) + 3);

    // Converts image row y into the scratch row at `row` (slot 1 is image column 0).
    auto convert_row_into = [&](int32_t y, float* row, bool vector) {
        if (!m) return;
        const uint8_t* s = src + static_cast<ptrdiff_t>(src_stride) * y;
        float* slots = row + 3;
        uint8_t* a = alpha + static_cast<ptrdiff_t>(alpha_stride) * y;
        if (vector)
            bgra_to_yuv_row(s, slots, a, width, *m);
        else
            bgra_to_yuv_row_c(s, slots, a, width, *m);
    };
    auto convert_row = [&](int32_t y, bool vector) { convert_row_into(y, scratch + row_floats * y, vector); };

    if (schedule == bgra_to_uyvy_schedule_t::reference) {
        for (int32_t y = 0; y < height; ++y) convert_row(y, false);
        for (int32_t y = 0; y < height; ++y)
            dither_uyvy_row_c(scratch + row_floats * y, width, dst + static_cast<ptrdiff_t>(dst_stride) * y);
        return;
    }

    // Converting just ahead of the packing pass changes when source rows are read and alpha
    // rows written relative to the destination writes. That is only invisible when the
    // destination shares no byte with the source or the alpha plane; otherwise every row is
    // converted first, as in the defining order.
    const size_t w = static_cast<size_t>(width);
    const byte_range_t dst_range = image_range(dst, dst_stride, height, (w + 1) / 2 * 4);
    const bool interleave = !m || (!overlap(dst_range, image_range(src, src_stride, height, 4 * w)) &&
                                   !overlap(dst_range, image_range(alpha, alpha_stride, height, w)));
    if (!interleave) {
        for (int32_t y = 0; y < height; ++y) convert_row(y, true);
        dither_uyvy_rows_lanes(scratch, height + 1, 0, height, width, dst, dst_stride);
        return;
    }

    // Interleaved, the converted rows only live until their band is dithered, so the first
    // k_ring_rows scratch rows are recycled and stay in cache. A recycled row takes the guard
    // slots (never converted, so still uncleared memory plus nothing else) from the row that the
    // image row owns, and the guard row is taken whole: the bytes are those of the full scratch.
    const int32_t ring_rows = static_cast<int32_t>(std::min<int64_t>(int64_t(height) + 1, k_ring_rows));
    // When the alpha plane shares no byte with the source, the kernel converts the pixels itself
    // as it loads them (the rows are only read, and the alpha bytes are copied here, row by
    // row): the scratch then carries only the guard slots and the rows that pass shares from
    // one band to the next.
    const bool kernel_converts =
        m && !overlap(image_range(src, src_stride, height, 4 * w), image_range(alpha, alpha_stride, height, w));
    const lane_source_t source = {src, src_stride, height, m};
    auto prepare_row = [&](int32_t y) {
        float* own = scratch + row_floats * y;
        float* ring = scratch + row_floats * (y % ring_rows);
        if (ring != own) {
            if (y < height && m) {
                std::copy(own, own + 3, ring);
                std::copy(own + row_floats - 6, own + row_floats, ring + row_floats - 6);
            } else {
                std::copy(own, own + row_floats, ring);
            }
        }
        if (y >= height) return;
        if (kernel_converts)
            copy_alpha_row(src + static_cast<ptrdiff_t>(src_stride) * y,
                           alpha + static_cast<ptrdiff_t>(alpha_stride) * y, width);
        else
            convert_row_into(y, ring, true);
    };
    int32_t prepared = 0;
    for (int32_t y = 0; y < height; y += k_band_rows_lanes) {
        const int32_t band = std::min(k_band_rows_lanes, height - y);
        // The band's rows and the row below it (the guard row after the last band).
        for (; prepared <= y + band; ++prepared) prepare_row(prepared);
        // The source rows that the next band converts, fetched while this band is dithered.
        const int32_t next_rows = m ? std::min(k_band_rows_lanes, height - prepared) : 0;
        const row_prefetch_t next = {src + static_cast<ptrdiff_t>(src_stride) * std::min(prepared, height - 1),
                                     src_stride, std::max(next_rows, 0), 4 * w};
        dither_uyvy_rows_lanes(scratch, ring_rows, y, band, width, dst + static_cast<ptrdiff_t>(dst_stride) * y,
                               dst_stride, &next, kernel_converts ? &source : nullptr);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

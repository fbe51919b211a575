#include "pixel/bgra_to_uyvy_passes.h"

#include <algorithm>
#include <new>

#include "pixel/bgra_to_uyvy_matrix.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

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

// One conversion: its images, its matrix (null: the colour pass is skipped) and its scratch.
struct conversion_t {
    float* m_p_scratch;
    const uint8_t* m_p_src;
    int32_t m_src_stride;
    uint8_t* m_p_dst;
    int32_t m_dst_stride;
    uint8_t* m_p_alpha;
    int32_t m_alpha_stride;
    int32_t m_width;
    int32_t m_height;
    const colour_matrix_t* m_p_matrix;

    ptrdiff_t row_floats() const { return 3 * (static_cast<ptrdiff_t>(m_width) + 3); }
    float* scratch_row(int32_t r) const { return m_p_scratch + row_floats() * r; }
    const uint8_t* src_row(int32_t y) const { return m_p_src + static_cast<ptrdiff_t>(m_src_stride) * y; }
    uint8_t* dst_row(int32_t y) const { return m_p_dst + static_cast<ptrdiff_t>(m_dst_stride) * y; }
    uint8_t* alpha_row(int32_t y) const { return m_p_alpha + static_cast<ptrdiff_t>(m_alpha_stride) * y; }
};

enum class order_t {
    // Every row converted, then every row dithered: the defining order.
    convert_first,
    // Rows converted just ahead of the dither, band by band, into a few recycled scratch rows.
    interleaved,
    // The same, with the dither converting the pixels itself as it loads them; only the alpha
    // bytes are copied ahead, and the scratch carries the guard slots and the rows that the
    // pass shares from one band to the next.
    interleaved_in_kernel,
};

// The row functions and the order of one call, decided together in one place.
struct plan_t {
    const bgra_to_uyvy_rows_t* m_p_rows;
    void (*m_p_colour_row)(const uint8_t*, float*, uint8_t*, int32_t, const colour_matrix_t&);
    order_t m_order;
};

plan_t plan_passes(const conversion_t& c, const bgra_to_uyvy_rows_t& rows) {
    const size_t w = static_cast<size_t>(c.m_width);
    const byte_range_t src = image_range(c.m_p_src, c.m_src_stride, c.m_height, 4 * w);
    const byte_range_t dst = image_range(c.m_p_dst, c.m_dst_stride, c.m_height, (w + 1) / 2 * 4);
    const byte_range_t alpha = image_range(c.m_p_alpha, c.m_alpha_stride, c.m_height, w);
    // The vector rows read several pixels before they write their alpha bytes: where the alpha
    // plane shares bytes with the source, only the reference reads each pixel before the alpha
    // byte that may overwrite it.
    const bool alpha_over_src = overlap(src, alpha);
    plan_t plan = {&rows, alpha_over_src ? reference_bgra_to_uyvy_rows().m_p_colour_row : rows.m_p_colour_row,
                   order_t::convert_first};
    if (rows.m_band_rows == 0) return plan;
    // Converting just ahead of the packing pass changes when source rows are read and alpha
    // rows written relative to the destination writes. That is only invisible when the
    // destination shares no byte with the source or the alpha plane.
    if (c.m_p_matrix && (overlap(dst, src) || overlap(dst, alpha))) return plan;
    plan.m_order = c.m_p_matrix && !alpha_over_src ? order_t::interleaved_in_kernel : order_t::interleaved;
    return plan;
}

void convert_then_dither(const conversion_t& c, const plan_t& plan) {
    if (c.m_p_matrix)
        for (int32_t y = 0; y < c.m_height; ++y)
            plan.m_p_colour_row(c.src_row(y), c.scratch_row(y) + 3, c.alpha_row(y), c.m_width, *c.m_p_matrix);
    plan.m_p_rows->m_p_dither_rows(c.m_p_scratch, c.m_height + 1, 0, c.m_height, c.m_width, c.m_p_dst, c.m_dst_stride,
                                   nullptr, nullptr);
}

// Makes image row y (or the guard row, y == height) ready in its recycled scratch row. A
// recycled row takes the guard slots (never converted, so still uncleared memory plus nothing
// else) from the row that the image row owns, and the guard row is taken whole: the bytes are
// those of the full scratch.
void prepare_ring_row(const conversion_t& c, const plan_t& plan, int32_t ring_rows, int32_t y) {
    const ptrdiff_t row_floats = c.row_floats();
    float* own = c.scratch_row(y);
    float* ring = c.scratch_row(y % ring_rows);
    if (ring != own) {
        if (y < c.m_height && c.m_p_matrix) {
            std::copy(own, own + 3, ring);
            std::copy(own + row_floats - 6, own + row_floats, ring + row_floats - 6);
        } else {
            std::copy(own, own + row_floats, ring);
        }
    }
    if (y >= c.m_height || !c.m_p_matrix) return;
    if (plan.m_order == order_t::interleaved_in_kernel)
        plan.m_p_rows->m_p_alpha_row(c.src_row(y), c.alpha_row(y), c.m_width);
    else
        plan.m_p_colour_row(c.src_row(y), ring + 3, c.alpha_row(y), c.m_width, *c.m_p_matrix);
}

// Band by band: the band's rows and the row below it are prepared, then dithered while the
// source rows of the next band are fetched. The converted rows only live until their band is
// dithered, so the first band + 1 scratch rows are recycled and stay in cache.
void convert_and_dither_in_bands(const conversion_t& c, const plan_t& plan) {
    const int32_t band_rows = plan.m_p_rows->m_band_rows;
    const int32_t ring_rows = static_cast<int32_t>(std::min<int64_t>(int64_t(c.m_height) + 1, band_rows + 1));
    const lane_source_t source = {c.m_p_src, c.m_src_stride, c.m_height, c.m_p_matrix};
    const size_t row_bytes = 4 * static_cast<size_t>(c.m_width);
    int32_t prepared = 0;
    for (int32_t y = 0; y < c.m_height; y += band_rows) {
        const int32_t band = std::min(band_rows, c.m_height - y);
        for (; prepared <= y + band; ++prepared) prepare_ring_row(c, plan, ring_rows, prepared);
        const int32_t next_rows = c.m_p_matrix ? std::min(band_rows, c.m_height - prepared) : 0;
        const row_prefetch_t next = {c.src_row(std::min(prepared, c.m_height - 1)), c.m_src_stride,
                                     std::max(next_rows, 0), row_bytes};
        plan.m_p_rows->m_p_dither_rows(c.m_p_scratch, ring_rows, y, band, c.m_width, c.dst_row(y), c.m_dst_stride,
                                       &next, plan.m_order == order_t::interleaved_in_kernel ? &source : nullptr);
    }
}

}  // namespace

size_t bgra_to_uyvy_scratch_floats(int32_t width, int32_t height) {
    // Wrapping 32-bit product, then widened: the count the converter has always requested, so
    // that an oversized image fails the same way (std::bad_alloc) and not in a new way.
    const uint32_t wrapped = (static_cast<uint32_t>(height) + 1u) * (static_cast<uint32_t>(width) + 3u);
    const int64_t slots = static_cast<int32_t>(wrapped);
    if (slots < 0) throw std::bad_alloc();
    const uint64_t bytes = static_cast<uint64_t>(slots) * 12u;
    if (bytes > static_cast<uint64_t>(PTRDIFF_MAX)) throw std::bad_alloc();
    return static_cast<size_t>(slots) * 3u;
}

void bgra_to_uyvy_run_passes(float* scratch, const uint8_t* src, int32_t src_stride, uint8_t* dst, int32_t dst_stride,
                             uint8_t* alpha, int32_t alpha_stride, int32_t width, int32_t height, uint32_t matrix,
                             const bgra_to_uyvy_rows_t& rows) {
    if (width < 1 || height < 1) return;
    const conversion_t c = {scratch, src,          src_stride, dst,    dst_stride,
                            alpha,   alpha_stride, width,      height, colour_matrix_for(matrix)};
    const plan_t plan = plan_passes(c, rows);
    if (plan.m_order == order_t::convert_first)
        convert_then_dither(c, plan);
    else
        convert_and_dither_in_bands(c, plan);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

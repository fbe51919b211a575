// The row functions of the BGRA to UYVY converter, in sets: the reference set defines the
// result, every vector set gives its bytes. One selection point picks the set a call runs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/bgra_to_uyvy_matrix.h"
#include "pixel/cpu_features.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

// Memory that the caller reads next (the source rows of the next band): the dither requests its
// cache lines a few per step, so that they arrive while the dither, bound by computation, runs.
struct row_prefetch_t {
    const uint8_t* m_p_first;  // first row
    ptrdiff_t m_stride;
    int32_t m_rows;
    size_t m_row_bytes;
};

// Lets the dither convert the image rows itself: a row's image slots are then computed from its
// BGRA row with the colour matrix as they are loaded (the floats of bgra_to_yuv_row_c), and only
// its guard slots come from its scratch row. The first row of a call still comes whole from the
// scratch unless it is image row 0, because it has received the shares of the rows above. The
// dither never writes the alpha plane.
struct lane_source_t {
    const uint8_t* m_p_src;  // image row 0
    ptrdiff_t m_stride;
    int32_t m_height;
    const colour_matrix_t* m_p_matrix;
};

struct bgra_to_uyvy_rows_t {
    // The colour-matrix pass of one row: `width` pixels into three-float slots (Y, Cb, Cr) and
    // their alpha bytes. Only the reference lets the source and the alpha range overlap.
    void (*m_p_colour_row)(const uint8_t* src, float* slots, uint8_t* alpha, int32_t width, const colour_matrix_t& m);
    // Only the alpha bytes of one row; the ranges must not overlap.
    void (*m_p_alpha_row)(const uint8_t* src, uint8_t* alpha, int32_t width);
    // The packing pass of image rows `first` to `first + rows`, whose scratch rows must be ready
    // (`source` aside). Image row k lives in scratch row k % ring_rows, so a caller can recycle
    // a few rows: ring_rows is at least m_band_rows + 1, or the whole scratch. `dst` points at
    // the destination row of `first`. `prefetch` and `source` may be null; the reference
    // ignores `prefetch` and takes no `source`.
    void (*m_p_dither_rows)(float* scratch, int32_t ring_rows, int32_t first, int32_t rows, int32_t width, uint8_t* dst,
                            ptrdiff_t dst_stride, const row_prefetch_t* prefetch, const lane_source_t* source);
    // Rows that the dither keeps in flight: the rows a caller converts just ahead of it. 0 for
    // the reference, which runs the defining order (every row converted, then every row dithered).
    int32_t m_band_rows;
};

const bgra_to_uyvy_rows_t& reference_bgra_to_uyvy_rows();
const bgra_to_uyvy_rows_t& ssse3_bgra_to_uyvy_rows();

// The one place that chooses the set for a processor: the SSSE3 baseline. The converter passes
// the flags read at load.
const bgra_to_uyvy_rows_t& select_bgra_to_uyvy_rows(const cpu_flags_t& cpu);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

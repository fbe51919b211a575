// Packing pass of the BGRA to UYVY converter: pair-averaged chroma and luma quantised to
// bytes with Floyd-Steinberg error diffusion over the float scratch.
//
// Scratch rows are `row_floats` = 3 * (width + 3) floats apart and addressed as one flat
// array: slot 0 is column -1, slots 1..width the image, width+1 and width+2 right guards, so
// slot -1 of a row is the last guard slot of the row above. Every row handed over must have a
// row below it (the last image row's is the guard row).
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/bgra_to_uyvy_matrix.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

// Reference: one row, pairs left to right, within a pair Cb, Cr, Y0, Y1. `row` points at slot 0
// of the row; `dst` receives ceil(width / 2) * 4 bytes.
void dither_uyvy_row_c(float* row, int32_t width, uint8_t* dst);

// The same bytes for many rows at once, with fifteen rows dithered side by side in the lanes of four vectors and
// a sixteenth lane taking the error that the last of them passes down. Lane r holds row r
// shifted right by two pairs per row, so at every step all lanes work on the same cell; a row's
// shares into the row below move one lane up. The lanes live in a small ring of cells filled
// from the scratch rows (or the source, below) just ahead of use, and the receiving row is
// written back behind it.
// `prefetch`, when given, names memory that the caller reads next (the source rows of the next
// band): its cache lines are requested a few per step, so that they arrive while the dither,
// which is bound by computation, runs.
// Image row k lives in scratch row k % ring_rows (ring_rows >= 16, or the whole scratch), so a
// caller can recycle a few rows; rows `first` to `first + rows` must be ready. `dst` points at
// the destination row of `first`.
struct row_prefetch_t {
    const uint8_t* m_p_first;  // first row
    ptrdiff_t m_stride;
    int32_t m_rows;
    size_t m_row_bytes;
};

// `source`, when given, lets the kernel convert the image rows itself: a lane's image slots are
// then computed from its BGRA row with the colour matrix as they are loaded (the floats of
// bgra_to_yuv_row_c), and only its guard slots come from its scratch row. The first row of the
// call still comes whole from the scratch unless it is image row 0, because it has received the
// shares of the rows above. The kernel never writes the alpha plane.
struct lane_source_t {
    const uint8_t* m_p_src;  // image row 0
    ptrdiff_t m_stride;
    int32_t m_height;
    const colour_matrix_t* m_p_matrix;
};

void dither_uyvy_rows_lanes(float* scratch, int32_t ring_rows, int32_t first, int32_t rows, int32_t width, uint8_t* dst,
                            ptrdiff_t dst_stride, const row_prefetch_t* prefetch = nullptr,
                            const lane_source_t* source = nullptr);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

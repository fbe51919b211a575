// The reference row set of the BGRA to UYVY converter: the defining order, one pixel at a time.
#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/bgra_to_uyvy_rows.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

void copy_alpha_row_c(const uint8_t* src, uint8_t* alpha, int32_t width) {
    for (int32_t x = 0; x < width; ++x) alpha[x] = src[4 * static_cast<ptrdiff_t>(x) + 3];
}

// Row by row with the reference dither. The row below each row must follow it in memory, so
// the reference takes the whole scratch (no recycled rows) and no source.
void dither_rows_c(float* scratch, int32_t, int32_t first, int32_t rows, int32_t width, uint8_t* dst,
                   ptrdiff_t dst_stride, const row_prefetch_t*, const lane_source_t*) {
    const ptrdiff_t row_floats = 3 * (static_cast<ptrdiff_t>(width) + 3);
    for (int32_t y = 0; y < rows; ++y)
        dither_uyvy_row_c(scratch + row_floats * (first + y), width, dst + dst_stride * y);
}

}  // namespace

const bgra_to_uyvy_rows_t& reference_bgra_to_uyvy_rows() {
    static const bgra_to_uyvy_rows_t s_rows = {
        /* m_p_colour_row = */ bgra_to_yuv_row_c,
        /* m_p_alpha_row = */ copy_alpha_row_c,
        /* m_p_dither_rows = */ dither_rows_c,
        /* m_band_rows = */ 0,
    };
    return s_rows;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

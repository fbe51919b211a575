// The AVX2 row set of the BGRA to UYVY converter: the lane kernel on eight-lane vectors, so
// that twice the rows are in flight per instruction. Only this translation unit is compiled
// for AVX2 (on x86_64); it runs only when the selection point has found AVX2 at load.
#include "pixel/bgra_to_uyvy_rows.h"

#if defined(__AVX2__)
#include "pixel/bgra_to_uyvy_lane_kernel.h"
#include "pixel/bgra_to_uyvy_vectors.h"
#endif

namespace Drivers::Mac::ZAV::VirtualCamera {

#if defined(__AVX2__) && ZAV_PIXEL_NATIVE_X86

const bgra_to_uyvy_rows_t* avx2_bgra_to_uyvy_rows() {
    // The alpha row only moves bytes, and the colour row runs only where the dither cannot
    // convert the pixels itself (overlapping images): the baseline's serve.
    static const bgra_to_uyvy_rows_t s_rows = {
        /* m_p_colour_row = */ ssse3_bgra_to_uyvy_rows().m_p_colour_row,
        /* m_p_alpha_row = */ ssse3_bgra_to_uyvy_rows().m_p_alpha_row,
        /* m_p_dither_rows = */ lane_kernel::dither_rows<vec8_t>,
        /* m_band_rows = */ lane_kernel::lanes_t<vec8_t>::k_lanes - 1,
    };
    return &s_rows;
}

#else

const bgra_to_uyvy_rows_t* avx2_bgra_to_uyvy_rows() {
    return nullptr;
}

#endif

}  // namespace Drivers::Mac::ZAV::VirtualCamera

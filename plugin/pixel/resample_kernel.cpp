// The scaling kernel: picks the mapping, the path (halving, two-thirds, general) and the
// row functions for the alignment of the two images.
#include "pixel/resample_internal.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

using namespace resample;

void resample_uyvy_kernel(const uyvy_plane_t& src, const uyvy_plane_t& dst, const float* scales, const float* offsets) {
    // Empty images, and descriptors whose rows overlap, scale nothing.
    if (src.m_width == 0 || src.m_height == 0 || dst.m_width == 0 || dst.m_height == 0) return;
    if (src.m_p_data == nullptr || dst.m_p_data == nullptr) return;
    if (uint64_t{src.m_row_bytes} < 2ull * src.m_width || uint64_t{dst.m_row_bytes} < 2ull * dst.m_width) return;

    axis_mapping_t mx = default_axis_mapping(src.m_width, dst.m_width);
    axis_mapping_t my = default_axis_mapping(src.m_height, dst.m_height);
    if (scales != nullptr && offsets != nullptr) {
        mx = {scales[0], offsets[0]};
        my = {scales[1], offsets[1]};
    }
    const bool x_remapped = axis_is_remapped(mx, src.m_width, dst.m_width);
    const bool y_remapped = axis_is_remapped(my, src.m_height, dst.m_height);
    const row_functions_t& rows = select_row_functions(plane_is_aligned(src), plane_is_aligned(dst));

    if (!x_remapped && !y_remapped) {
        if (dst.m_width == ((src.m_width / 2) & ~1u) && dst.m_height == src.m_height / 2) {
            halving_path(src, dst, rows);
            return;
        }
        const uint64_t two_thirds_width = (2ull * src.m_width / 3) & ~1ull;
        // Widths are even; an odd one (half a pixel pair at the end) takes the general path.
        if (dst.m_width == two_thirds_width && dst.m_height == 2ull * src.m_height / 3 && (src.m_width & 1u) == 0) {
            two_thirds_path(src, dst, rows);
            return;
        }
    }
    general_path(src, dst, mx, my, x_remapped, y_remapped, rows);
}

void resample_uyvy(const uint8_t* src, uint32_t src_row_bytes, uint32_t src_width, uint32_t src_height, uint8_t* dst,
                   uint32_t dst_row_bytes, uint32_t dst_width, uint32_t dst_height) {
    // The descriptor type serves both images; the source is never written through it.
    const uyvy_plane_t s{const_cast<uint8_t*>(src), src_row_bytes, src_width, src_height};
    const uyvy_plane_t d{dst, dst_row_bytes, dst_width, dst_height};
    resample_uyvy_kernel(s, d, nullptr, nullptr);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

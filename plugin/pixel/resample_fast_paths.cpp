// The two fixed-ratio paths of the kernel: halving (2x2 average) and two-thirds (a 3-to-2
// area filter on both axes).
#include <cstring>

#include "pixel/resample_internal.h"
#include "pixel/resample_scratch.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

namespace {

inline const uint8_t* row_of(const uyvy_plane_t& p, size_t r) { return p.m_p_data + r * p.m_row_bytes; }
inline uint8_t* out_row(const uyvy_plane_t& p, size_t r) { return p.m_p_data + r * p.m_row_bytes; }

}  // namespace

void halving_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows)
{
    const uint32_t bytes = 2 * dst.m_width;
    for (uint32_t y = 0; y < dst.m_height; ++y)
        rows.m_p_halve(row_of(src, 2 * size_t{y}), row_of(src, 2 * size_t{y} + 1), out_row(dst, y), bytes);
}

void two_thirds_path(const uyvy_plane_t& src, const uyvy_plane_t& dst, const row_functions_t& rows)
{
    // Each band of three source rows gives two destination rows. The vertical filter runs
    // first, into two row buffers, and the horizontal one reads them.
    const uint32_t src_bytes = 2 * src.m_width;
    const uint32_t dst_bytes = 2 * dst.m_width;
    // Rounded to 32 bytes so that the second buffer stays aligned like the first.
    const size_t buffer_bytes = (size_t{src_bytes} + k_row_slack + 31) & ~size_t{31};
    scratch_t<2 * (2 * 4096 + k_row_slack)> memory(2 * buffer_bytes);
    uint8_t* const upper = memory.data();
    uint8_t* const lower = upper + buffer_bytes;
    std::memset(upper + src_bytes, 0, buffer_bytes - src_bytes);
    std::memset(lower + src_bytes, 0, buffer_bytes - src_bytes);

    for (uint32_t y = 0; y < dst.m_height; y += 2) {
        const size_t band = size_t{y} / 2 * 3;
        rows.m_p_two_thirds_vertical(row_of(src, band), row_of(src, band + 1), upper, src_bytes);
        rows.m_p_two_thirds_horizontal(upper, out_row(dst, y), dst_bytes);
        // An odd destination height ends with the top half of a band of two rows.
        if (y + 1 == dst.m_height) break;
        rows.m_p_two_thirds_vertical(row_of(src, band + 2), row_of(src, band + 1), lower, src_bytes);
        rows.m_p_two_thirds_horizontal(lower, out_row(dst, y + 1), dst_bytes);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

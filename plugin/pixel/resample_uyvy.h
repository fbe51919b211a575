// UYVY 4:2:2 resampler: bilinear scaling of one UYVY image into another, in 8-bit fixed point,
// with an aspect-ratio fitting entry that paints black bars or crops.
//
// Bytes per pixel pair: Cb, Y0, Cr, Y1. Pixel x of a row starts at byte 2 * x. All functions
// are pure and reentrant; the caller owns every byte of memory they touch.
#pragma once

#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

// One image plane: the first byte of row 0, the distance between rows, the size in pixels.
struct uyvy_plane_t {
    uint8_t* m_p_data = nullptr;
    uint32_t m_row_bytes = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
};

// Stretches the whole source over the whole destination (centre-aligned on both axes).
void resample_uyvy(const uint8_t* src, uint32_t src_row_bytes, uint32_t src_width, uint32_t src_height, uint8_t* dst,
                   uint32_t dst_row_bytes, uint32_t dst_width, uint32_t dst_height);

// Fits the source to the destination's aspect ratio and scales it. src_aspect and dst_aspect
// are width / height ratios. mode 0 is a progressive picture; 1 and 2 treat the source as a
// single field (top, bottom); 3 processes the frame as two fields (field_select chooses how).
// fit_vertically selects between a vertical fit (wide sources) and a horizontal one.
void resample_uyvy_aspect_fit(const uint8_t* src, uint32_t src_row_bytes, uint32_t src_width, uint32_t src_height,
                              uint32_t mode, uint8_t* dst, float src_aspect, float dst_aspect, uint32_t dst_row_bytes,
                              uint32_t dst_width, uint32_t dst_height, uint32_t field_select, uint32_t fit_vertically);

// The scaling kernel behind both entries. scales and offsets each point to an (x, y) pair:
// source coordinate = destination coordinate * scale + offset, in pixel centres. The pair is
// used only when both pointers are given; otherwise each axis stretches centre-aligned.
// The source is only read; its pointer is not const because the descriptor is shared.
void resample_uyvy_kernel(const uyvy_plane_t& src, const uyvy_plane_t& dst, const float* scales, const float* offsets);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

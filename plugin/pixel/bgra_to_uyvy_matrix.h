// Colour matrices of the BGRA to UYVY converter and its reference colour row: one source row
// into float Y, Cb, Cr slots of the scratch plus the row's alpha bytes.
#pragma once

#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

// Studio-range coefficients of one matrix. Rows are Y, Cb, Cr; columns multiply R, G, B.
struct colour_matrix_t {
    float m_k[3][3];
    float m_offset[3];
};

// The coefficients for matrix 601 or 709, or null for any other value.
const colour_matrix_t* colour_matrix_for(uint32_t matrix);

// Reference: converts `count` pixels one at a time. `slots` points at the scratch slot of the
// first pixel (three floats a pixel: Y, Cb, Cr). Each component is ((R*kR + G*kG) + B*kB) +
// offset with every product rounded on its own; the alpha byte is copied after the pixel was
// read, so a source row and an alpha row may share memory.
void bgra_to_yuv_row_c(const uint8_t* src, float* slots, uint8_t* alpha, int32_t count, const colour_matrix_t& m);

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#include "pixel/bgra_to_uyvy_matrix.h"

#include <cstddef>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// The three-decimal studio-range matrices. The BT.709 Cb row sums to -0.001 rather than 0; the
// values are kept exactly as they are because the output bytes depend on them.
const colour_matrix_t k_matrix_709 = {
    {{0.183f, 0.614f, 0.062f}, {-0.101f, -0.339f, 0.439f}, {0.439f, -0.399f, -0.040f}}, {16.0f, 128.0f, 128.0f}};

const colour_matrix_t k_matrix_601 = {
    {{0.257f, 0.504f, 0.098f}, {-0.148f, -0.291f, 0.439f}, {0.439f, -0.368f, -0.071f}}, {16.0f, 128.0f, 128.0f}};

}  // namespace

const colour_matrix_t* colour_matrix_for(uint32_t matrix) {
    switch (matrix) {
        case 709:
            return &k_matrix_709;
        case 601:
            return &k_matrix_601;
        default:
            return nullptr;
    }
}

void bgra_to_yuv_row_c(const uint8_t* src, float* slots, uint8_t* alpha, int32_t count, const colour_matrix_t& m) {
    for (int32_t x = 0; x < count; ++x) {
        const uint8_t* p = src + 4 * static_cast<ptrdiff_t>(x);
        const float b = p[0];
        const float g = p[1];
        const float r = p[2];
        const uint8_t a = p[3];
        float* slot = slots + 3 * static_cast<ptrdiff_t>(x);
        for (int c = 0; c < 3; ++c) {
            const float rk = r * m.m_k[c][0];
            const float gk = g * m.m_k[c][1];
            const float bk = b * m.m_k[c][2];
            slot[c] = ((rk + gk) + bk) + m.m_offset[c];
        }
        alpha[x] = a;
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

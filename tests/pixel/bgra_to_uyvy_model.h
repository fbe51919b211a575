// An independent, deliberately plain model of the BGRA to UYVY conversion for the tests: the
// algorithm written out step by step with its own zero-initialised scratch, sharing no code
// with the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zav_test {

inline size_t uyvy_row_bytes(int width) {
    return static_cast<size_t>((width + 1) / 2) * 4;
}

// Runs the model. `scratch` may hold initial contents for the slots that are never converted;
// it is resized (new slots zero) to (height + 1) * (width + 3) * 3 floats. Source and alpha may
// share memory: each pixel is read before its alpha byte is written, left to right.
inline void model_bgra_to_uyvy(const uint8_t* src, ptrdiff_t src_stride, uint8_t* dst, ptrdiff_t dst_stride,
                               uint8_t* alpha, ptrdiff_t alpha_stride, int width, int height, uint32_t matrix,
                               std::vector<float>& scratch) {
    if (width < 1 || height < 1) return;
    const int slots_per_row = width + 3;
    scratch.resize(static_cast<size_t>(height + 1) * slots_per_row * 3, 0.0f);
    // Component c (0 Y, 1 Cb, 2 Cr) at image column x of row y; column -1 is slot 0 and column
    // -2 of a row is the last slot of the row above.
    auto at = [&](int y, int x, int c) -> float& {
        return scratch.at(size_t((long(y) * slots_per_row + x + 1) * 3 + c));
    };

    // Rows Y, Cb, Cr; columns multiply R, G, B.
    const float k601[3][3] = {{0.257f, 0.504f, 0.098f}, {-0.148f, -0.291f, 0.439f}, {0.439f, -0.368f, -0.071f}};
    const float k709[3][3] = {{0.183f, 0.614f, 0.062f}, {-0.101f, -0.339f, 0.439f}, {0.439f, -0.399f, -0.040f}};
    const float(&k)[3][3] = matrix == 601 ? k601 : k709;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const uint8_t* p = src + y * src_stride + 4 * x;
            const float b = p[0], g = p[1], r = p[2];
            const uint8_t a = p[3];
            for (int c = 0; c < 3; ++c)
                at(y, x, c) = ((r * k[c][0] + g * k[c][1]) + b * k[c][2]) + (c ? 128.0f : 16.0f);
            alpha[y * alpha_stride + x] = a;
        }

    // Quantises v into out and spreads its error to the right (at `step` columns) and onto the
    // row below (Floyd-Steinberg weights), each target as error * weight + target.
    auto quantise = [&](int y, int x, int c, int step, uint8_t& out) {
        const float v = c ? (at(y, x, c) + at(y, x + 1, c)) * 0.5f : at(y, x, 0);
        out = static_cast<uint8_t>(static_cast<int32_t>(v + 0.5f));
        const float e = v - static_cast<float>(out);
        const float w[4] = {0.4375f, 0.1875f, 0.3125f, 0.0625f};
        float* targets[4] = {&at(y, x + step, c), &at(y + 1, x - step, c), &at(y + 1, x, c), &at(y + 1, x + step, c)};
        for (int i = 0; i < 4; ++i) *targets[i] = e * w[i] + *targets[i];
    };
    for (int y = 0; y < height; ++y) {
        uint8_t* row = dst + y * dst_stride;
        for (int x = 0; x < width; x += 2) {
            quantise(y, x, 1, 2, row[2 * x]);
            quantise(y, x, 2, 2, row[2 * x + 2]);
            quantise(y, x, 0, 1, row[2 * x + 1]);
            quantise(y, x + 1, 0, 1, row[2 * x + 3]);
        }
    }
}

// The model on a cleared scratch, its output rows packed.
struct model_output_t {
    std::vector<uint8_t> m_dst, m_alpha;
};
inline model_output_t model_packed(const uint8_t* src, ptrdiff_t src_stride, int width, int height, uint32_t matrix) {
    model_output_t out{std::vector<uint8_t>(uyvy_row_bytes(width) * height),
                       std::vector<uint8_t>(size_t(width) * height)};
    std::vector<float> scratch;
    model_bgra_to_uyvy(src, src_stride, out.m_dst.data(), ptrdiff_t(uyvy_row_bytes(width)), out.m_alpha.data(), width,
                       width, height, matrix, scratch);
    return out;
}

}  // namespace zav_test

// An independent, deliberately plain model of the BGRA to UYVY conversion for the tests: the
// algorithm written out step by step with its own zero-initialised scratch, sharing no code
// with the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zav_test {

struct model_coefficients_t {
    float y[3];   // kR, kG, kB
    float cb[3];
    float cr[3];
};

inline model_coefficients_t model_coefficients(uint32_t matrix)
{
    if (matrix == 601)
        return {{0.257f, 0.504f, 0.098f}, {-0.148f, -0.291f, 0.439f}, {0.439f, -0.368f, -0.071f}};
    return {{0.183f, 0.614f, 0.062f}, {-0.101f, -0.339f, 0.439f}, {0.439f, -0.399f, -0.040f}};
}

// Runs the model. `scratch` may hold initial contents for the slots that are never converted;
// it is resized (new slots zero) to (height + 1) * (width + 3) * 3 floats. Source and alpha may
// share memory: each pixel is read before its alpha byte is written, left to right.
inline void model_bgra_to_uyvy(const uint8_t* src, ptrdiff_t src_stride, uint8_t* dst, ptrdiff_t dst_stride,
                               uint8_t* alpha, ptrdiff_t alpha_stride, int width, int height, uint32_t matrix,
                               std::vector<float>& scratch)
{
    if (width < 1 || height < 1) return;
    const int slots_per_row = width + 3;
    scratch.resize(static_cast<size_t>(height + 1) * slots_per_row * 3, 0.0f);
    // Flat index of component c (0 Y, 1 Cb, 2 Cr) at image column x of row y; column -1 is
    // slot 0 and column -2 of a row is the last slot of the row above.
    auto at = [&](int y, int x, int c) -> float& {
        const long index = (static_cast<long>(y) * slots_per_row + (x + 1)) * 3 + c;
        return scratch.at(static_cast<size_t>(index));
    };

    const model_coefficients_t k = model_coefficients(matrix);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint8_t* p = src + y * src_stride + 4 * x;
            const float b = p[0], g = p[1], r = p[2];
            const uint8_t a = p[3];
            at(y, x, 0) = ((r * k.y[0] + g * k.y[1]) + b * k.y[2]) + 16.0f;
            at(y, x, 1) = ((r * k.cb[0] + g * k.cb[1]) + b * k.cb[2]) + 128.0f;
            at(y, x, 2) = ((r * k.cr[0] + g * k.cr[1]) + b * k.cr[2]) + 128.0f;
            alpha[y * alpha_stride + x] = a;
        }
    }

    auto diffuse = [](float& target, float error, float weight) { target = error * weight + target; };
    auto quantise = [](float v, uint8_t& out) {
        out = static_cast<uint8_t>(static_cast<int32_t>(v + 0.5f));
        return v - static_cast<float>(out);
    };

    for (int y = 0; y < height; ++y) {
        uint8_t* row = dst + y * dst_stride;
        for (int x = 0; x < width; x += 2) {
            for (int c = 1; c <= 2; ++c) {
                const float v = (at(y, x, c) + at(y, x + 1, c)) * 0.5f;
                const float e = quantise(v, row[2 * x + (c == 1 ? 0 : 2)]);
                diffuse(at(y, x + 2, c), e, 0.4375f);
                diffuse(at(y + 1, x - 2, c), e, 0.1875f);
                diffuse(at(y + 1, x, c), e, 0.3125f);
                diffuse(at(y + 1, x + 2, c), e, 0.0625f);
            }
            const float e0 = quantise(at(y, x, 0), row[2 * x + 1]);
            diffuse(at(y, x + 1, 0), e0, 0.4375f);
            diffuse(at(y + 1, x - 1, 0), e0, 0.1875f);
            diffuse(at(y + 1, x, 0), e0, 0.3125f);
            diffuse(at(y + 1, x + 1, 0), e0, 0.0625f);
            const float e1 = quantise(at(y, x + 1, 0), row[2 * x + 3]);
            diffuse(at(y, x + 2, 0), e1, 0.4375f);
            diffuse(at(y + 1, x, 0), e1, 0.1875f);
            diffuse(at(y + 1, x + 1, 0), e1, 0.3125f);
            diffuse(at(y + 1, x + 2, 0), e1, 0.0625f);
        }
    }
}

}  // namespace zav_test

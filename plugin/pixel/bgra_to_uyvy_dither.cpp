#include "pixel/bgra_to_uyvy_dither.h"

#include <climits>
#include <cstddef>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// Quantisation: (v + 0.5) truncated toward zero, the low 8 bits stored, no clamping: both
// matrices keep every converted value inside 16 to 240 and the diffused error is below one
// step, so a clamp would cost time in the hottest loop for nothing. The error is measured
// against the stored byte, so that even a wrapped byte passes on what it really lost. A value outside the 32-bit range
// can only come from the uncleared guard slots of odd widths; it truncates to INT32_MIN, as the x86 instruction does,
// instead of being undefined behaviour.
float quantise(float v, uint8_t* out) {
    const float t = v + 0.5f;
    const int32_t q = (t > -2147483648.0f && t < 2147483648.0f) ? static_cast<int32_t>(t) : INT32_MIN;
    const uint8_t stored = static_cast<uint8_t>(q);
    *out = stored;
    return v - static_cast<float>(stored);
}

inline void spread(float& target, float e, float weight) {
    target = e * weight + target;
}

// One pair starting at image column x: `cur` and `below` point at the pair's first slot (x+1)
// in its row and in the row below; `out` at byte 2x of the destination row.
inline void dither_pair(float* cur, float* below, uint8_t* out) {
    // Chroma lives on the grid of pairs: its shares go to the first pixel of the neighbouring
    // pairs (slots 2 away) and are halved again when that pixel is averaged with its partner.
    // The halving is kept on purpose: it damps chroma noise, and the bytes depend on it.
    for (int c = 1; c <= 2; ++c) {
        const float v = (cur[c] + cur[3 + c]) * 0.5f;
        const float e = quantise(v, out + 2 * (c - 1));
        spread(cur[6 + c], e, k_share_right);
        spread(below[-6 + c], e, k_share_below_left);
        spread(below[c], e, k_share_below);
        spread(below[6 + c], e, k_share_below_right);
    }
    const float e0 = quantise(cur[0], out + 1);
    spread(cur[3], e0, k_share_right);
    spread(below[-3], e0, k_share_below_left);
    spread(below[0], e0, k_share_below);
    spread(below[3], e0, k_share_below_right);
    // Read after Y0's share has landed on it.
    const float e1 = quantise(cur[3], out + 3);
    spread(cur[6], e1, k_share_right);
    spread(below[0], e1, k_share_below_left);
    spread(below[3], e1, k_share_below);
    spread(below[6], e1, k_share_below_right);
}

inline ptrdiff_t row_floats_for(int32_t width) {
    return 3 * (static_cast<ptrdiff_t>(width) + 3);
}

}  // namespace

void dither_uyvy_row_c(float* row, int32_t width, uint8_t* dst) {
    const ptrdiff_t row_floats = row_floats_for(width);
    for (int32_t x = 0; x < width; x += 2) {
        float* cur = row + 3 * (static_cast<ptrdiff_t>(x) + 1);
        dither_pair(cur, cur + row_floats, dst + 2 * static_cast<ptrdiff_t>(x));
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

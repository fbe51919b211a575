// Pixel engine arguments: the public scaling, fitting and conversion entries called with sizes,
// row strides, aspect ratios, modes and matrices taken from the input, on pictures whose bytes are
// the input's too. Each destination sits inside a larger block filled with a guard byte: every
// byte outside the destination's rectangle (before it, after it and in the padding between its
// rows) must still hold the guard afterwards. Each call is made twice, once on 64-byte aligned
// pictures and once on pictures one pair off that boundary, which take other row kernels: the
// two results must be the same bytes.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_check.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/resample_uyvy.h"

using namespace Drivers::Mac::ZAV::VirtualCamera;

namespace {

constexpr uint8_t guard = 0xa5;
constexpr std::size_t margin = 128;  // guarded bytes before and after every destination
constexpr uint32_t max_side = 96;

// A picture in a guarded block: rows of `row_bytes`, of which the first `used_bytes` belong to it.
struct picture_t {
    std::vector<uint8_t> block;
    std::size_t start = 0;
    uint32_t row_bytes = 0;
    uint32_t used_bytes = 0;
    uint32_t height = 0;

    picture_t(uint32_t row_bytes_, uint32_t used_bytes_, uint32_t height_, std::size_t misalign)
        : row_bytes(row_bytes_), used_bytes(used_bytes_), height(height_) {
        block.assign(2 * margin + std::size_t(row_bytes) * height + 64, guard);
        const auto base = reinterpret_cast<uintptr_t>(block.data()) + margin;
        start = margin + (64 - base % 64) % 64 + misalign;
    }
    uint8_t* data() { return block.data() + start; }

    bool guards_hold() const {
        for (std::size_t i = 0; i < block.size(); ++i) {
            if (i >= start && i < start + std::size_t(row_bytes) * height && (i - start) % row_bytes < used_bytes)
                continue;
            if (block[i] != guard) return false;
        }
        return true;
    }
    // The picture's own bytes, row after row, without padding.
    std::vector<uint8_t> pixels() const {
        std::vector<uint8_t> out;
        for (uint32_t y = 0; y < height; ++y) {
            const uint8_t* p_row = block.data() + start + std::size_t(y) * row_bytes;
            out.insert(out.end(), p_row, p_row + used_bytes);
        }
        return out;
    }
};

// A source picture of `size` bytes, `misalign` bytes past a 64-byte boundary, made of the input's
// bytes (repeated when they are fewer).
std::vector<uint8_t> source_block(const std::vector<uint8_t>& bytes, std::size_t size, std::size_t misalign,
                                  std::size_t* p_start) {
    std::vector<uint8_t> block(size + 64 + misalign);
    const auto base = reinterpret_cast<uintptr_t>(block.data());
    *p_start = (64 - base % 64) % 64 + misalign;
    for (std::size_t i = 0; i < size; ++i) block[*p_start + i] = bytes.empty() ? 0x80 : bytes[i % bytes.size()];
    return block;
}

float aspect_from(FuzzedDataProvider& input) {
    return input.PickValueInArray({4.0f / 3.0f, 16.0f / 9.0f, 1.0f, 0.5f, 2.39f, 9.0f / 16.0f}) *
           input.ConsumeFloatingPointInRange(0.9f, 1.1f);
}

void fuzz_resample(FuzzedDataProvider& input, bool fit) {
    // Widths are whole pixel pairs; strides leave any padding from none to a few pairs.
    const uint32_t src_width = 2 * input.ConsumeIntegralInRange<uint32_t>(1, max_side / 2);
    const uint32_t src_height = input.ConsumeIntegralInRange<uint32_t>(1, max_side);
    const uint32_t dst_width = 2 * input.ConsumeIntegralInRange<uint32_t>(1, max_side / 2);
    const uint32_t dst_height = input.ConsumeIntegralInRange<uint32_t>(1, max_side);
    const uint32_t src_row_bytes = 2 * src_width + 4 * input.ConsumeIntegralInRange<uint32_t>(0, 8);
    const uint32_t dst_row_bytes = 2 * dst_width + 4 * input.ConsumeIntegralInRange<uint32_t>(0, 8);
    const uint32_t mode = input.ConsumeIntegralInRange<uint32_t>(0, 3);
    const uint32_t field_select = input.ConsumeIntegralInRange<uint32_t>(0, 1);
    const uint32_t fit_vertically = input.ConsumeIntegralInRange<uint32_t>(0, 1);
    const float src_aspect = aspect_from(input);
    const float dst_aspect = aspect_from(input);

    const std::size_t src_size = std::size_t(src_row_bytes) * src_height;
    const std::vector<uint8_t> picture = input.ConsumeBytes<uint8_t>(src_size);
    std::vector<uint8_t> results[2];
    for (std::size_t misalign : {std::size_t(0), std::size_t(4)}) {
        std::size_t src_start = 0;
        std::vector<uint8_t> src = source_block(picture, src_size, misalign, &src_start);
        picture_t dst(dst_row_bytes, 2 * dst_width, dst_height, misalign);
        if (fit)
            resample_uyvy_aspect_fit(src.data() + src_start, src_row_bytes, src_width, src_height, mode, dst.data(),
                                     src_aspect, dst_aspect, dst_row_bytes, dst_width, dst_height, field_select,
                                     fit_vertically);
        else
            resample_uyvy(src.data() + src_start, src_row_bytes, src_width, src_height, dst.data(), dst_row_bytes,
                          dst_width, dst_height);
        fuzz_check(dst.guards_hold(), "a write outside the destination's rectangle");
        results[misalign ? 1 : 0] = dst.pixels();
    }
    fuzz_check(results[0] == results[1], "aligned and unaligned pictures scale differently");
}

void fuzz_convert(FuzzedDataProvider& input) {
    const int32_t width = input.ConsumeIntegralInRange<int32_t>(1, int32_t(max_side));
    const int32_t height = input.ConsumeIntegralInRange<int32_t>(1, int32_t(max_side));
    const uint32_t matrix = input.PickValueInArray({601u, 709u});
    const uint32_t src_stride = uint32_t(4 * width) + 4 * input.ConsumeIntegralInRange<uint32_t>(0, 8);
    const uint32_t dst_used = uint32_t((width + 1) / 2 * 4);
    const uint32_t dst_stride = dst_used + 4 * input.ConsumeIntegralInRange<uint32_t>(0, 8);
    const uint32_t alpha_stride = uint32_t(width) + input.ConsumeIntegralInRange<uint32_t>(0, 16);

    const std::size_t src_size = std::size_t(src_stride) * uint32_t(height);
    const std::vector<uint8_t> picture = input.ConsumeBytes<uint8_t>(src_size);
    std::vector<uint8_t> results[2];
    for (std::size_t misalign : {std::size_t(0), std::size_t(4)}) {
        std::size_t src_start = 0;
        std::vector<uint8_t> src = source_block(picture, src_size, misalign, &src_start);
        picture_t dst(dst_stride, dst_used, uint32_t(height), misalign);
        picture_t alpha(alpha_stride, uint32_t(width), uint32_t(height), misalign);
        convert_bgra_to_uyvy_alpha(src.data() + src_start, int32_t(src_stride), dst.data(), int32_t(dst_stride),
                                   alpha.data(), int32_t(alpha_stride), width, height, matrix);
        fuzz_check(dst.guards_hold(), "a write outside the UYVY destination's rectangle");
        fuzz_check(alpha.guards_hold(), "a write outside the alpha plane's rectangle");
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x)
                fuzz_check(alpha.data()[std::size_t(y) * alpha_stride + std::size_t(x)] ==
                               src[src_start + std::size_t(y) * src_stride + 4 * std::size_t(x) + 3],
                           "alpha is not the source's alpha");
        results[misalign ? 1 : 0] = dst.pixels();
    }
    // With an odd width the last pair's second pixel, and the error it passes down, are not
    // defined, so only even widths must agree byte for byte.
    if (width % 2 == 0) fuzz_check(results[0] == results[1], "aligned and unaligned pictures convert differently");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    FuzzedDataProvider input(p_data, size);
    switch (input.ConsumeIntegralInRange<int>(0, 2)) {
        case 0:
            fuzz_resample(input, false);
            break;
        case 1:
            fuzz_resample(input, true);
            break;
        default:
            fuzz_convert(input);
            break;
    }
    return 0;
}

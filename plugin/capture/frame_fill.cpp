// Turns one received frame into the contents of one output pixel buffer.
#include "host/zav_log.h"
#include "objects/simple_input_stream.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/resample_uyvy.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// The colour matrix argument of the converter that selects BT.709.
constexpr uint32_t k_bt709 = 709;

// Grows the scratch to at least `size` bytes; it is never shrunk. When it cannot grow, the old
// block stays as it was and null is returned: vImage then allocates a temporary of its own.
void* grow_scratch(simple_input_stream_t::scratch_t& scratch, std::size_t size) {
    if (size > scratch.second) {
        void* const grown = std::realloc(scratch.first, size);
        if (grown == nullptr) return nullptr;
        scratch = {grown, size};
    }
    return scratch.first;
}

void zero_image(const vImage_Buffer& dst) {
    if (dst.data != nullptr) std::memset(dst.data, 0, dst.rowBytes * dst.height);
}

void scale_uyvy(const vImage_Buffer& src, const vImage_Buffer& dst) {
    const auto sw = static_cast<uint32_t>(src.width), sh = static_cast<uint32_t>(src.height);
    const auto dw = static_cast<uint32_t>(dst.width), dh = static_cast<uint32_t>(dst.height);
    const auto* const src_data = static_cast<const uint8_t*>(src.data);
    auto* const dst_data = static_cast<uint8_t*>(dst.data);
    if (uint64_t(dst.height) * src.width == uint64_t(dst.width) * src.height) {
        resample_uyvy(src_data, static_cast<uint32_t>(src.rowBytes), sw, sh, dst_data,
                      static_cast<uint32_t>(dst.rowBytes), dw, dh);
        return;
    }
    const float src_aspect = float(src.width) / float(src.height);
    const float dst_aspect = float(dst.width) / float(dst.height);
    // The width limits the scale when the height could grow more: bands above and below.
    const uint32_t fit_vertically = float(dst.height) / float(src.height) > float(dst.width) / float(src.width) ? 1 : 0;
    resample_uyvy_aspect_fit(src_data, static_cast<uint32_t>(src.rowBytes), sw, sh, 0, dst_data, src_aspect, dst_aspect,
                             static_cast<uint32_t>(dst.rowBytes), dw, dh, 0, fit_vertically);
}

void scale_bgra(const vImage_Buffer& src, const vImage_Buffer& dst, simple_input_stream_t::scratch_t& scratch) {
    if (uint64_t(dst.height) * src.width == uint64_t(dst.width) * src.height) {
        const vImage_Error size = vImageScale_ARGB8888(&src, &dst, nullptr, kvImageGetTempBufferSize);
        void* const temp = grow_scratch(scratch, size > 0 ? std::size_t(size) : 0);
        vImageScale_ARGB8888(&src, &dst, temp, kvImageNoFlags);
        return;
    }
    // A uniform scale anchored at the origin: the picture keeps its shape and the uncovered band
    // (black, transparent) lies on one side.
    const float scale = std::min(float(dst.width) / float(src.width), float(dst.height) / float(src.height));
    const vImage_AffineTransform transform = {scale, 0, 0, scale, 0, 0};
    const Pixel_8888 background = {0, 0, 0, 0};
    const vImage_Error size =
        vImageAffineWarp_ARGB8888(&src, &dst, nullptr, &transform, background, kvImageGetTempBufferSize);
    void* const temp = grow_scratch(scratch, size > 0 ? std::size_t(size) : 0);
    vImageAffineWarp_ARGB8888(&src, &dst, temp, &transform, background, kvImageBackgroundColorFill);
}

}  // namespace

void simple_input_stream_t::fill(const vImage_Buffer& src, const vImage_Buffer& dst, uint32_t pixel_format,
                                 scratch_t& scratch) {
    switch (pixel_format) {
        case kCVPixelFormatType_422YpCbCr8:
            scale_uyvy(src, dst);
            return;
        case kCVPixelFormatType_32BGRA:
            scale_bgra(src, dst, scratch);
            return;
        default:
            zero_image(dst);
            return;
    }
}

void simple_input_stream_t::fill(const ZAVlib_video_frame_v2_t& frame, const vImage_Buffer& dst,
                                 const video_format_t& format, scratch_t& scratch, conversion_cache_t& cache) {
    const vImage_Buffer image = {frame.p_data, vImagePixelCount(int64_t(frame.yres)),
                                 vImagePixelCount(int64_t(frame.xres)),
                                 std::size_t(int64_t(frame.line_stride_in_bytes))};
    if (frame.FourCC == format.get_fourcc_zav()) {
        fill(image, dst, format.get_fourcc_cm(), scratch);
        return;
    }
    if (frame.FourCC != ZAVlib_FourCC_video_type_BGRA || format.get_fourcc_zav() != ZAVlib_FourCC_video_type_UYVY) {
        zav_log("simple_input_stream_t::fill unexpected error");
        zero_image(dst);
        return;
    }

    // A BGRA frame for a UYVY stream: converted into the kept intermediate buffer first, which is
    // made again only when the source's size changes.
    CVPixelBufferRef& buffer = cache.first;
    uint8_t*& alpha = cache.second;
    if (buffer != nullptr && (CVPixelBufferGetWidth(buffer) != std::size_t(frame.xres) ||
                              CVPixelBufferGetHeight(buffer) != std::size_t(frame.yres))) {
        CFRelease(buffer);
        buffer = nullptr;
        delete[] alpha;
        alpha = nullptr;
    }
    if (buffer == nullptr) {
        CVPixelBufferCreate(kCFAllocatorDefault, std::size_t(frame.xres), std::size_t(frame.yres),
                            format.get_fourcc_cm(), nullptr, &buffer);
        if (buffer == nullptr) {
            // Nothing to convert into: the picture cannot be made this time, and the next frame
            // tries again from an empty cache.
            zero_image(dst);
            return;
        }
        alpha = new uint8_t[std::size_t(frame.xres) * std::size_t(frame.yres)];
    }
    CVPixelBufferLockBaseAddress(buffer, 0);
    auto* const base = static_cast<uint8_t*>(CVPixelBufferGetBaseAddress(buffer));
    const std::size_t row_bytes = CVPixelBufferGetBytesPerRow(buffer);
    convert_bgra_to_uyvy_alpha(frame.p_data, frame.line_stride_in_bytes, base, static_cast<int32_t>(row_bytes), alpha,
                               frame.xres, frame.xres, frame.yres, k_bt709);
    const vImage_Buffer converted = {base, vImagePixelCount(int64_t(frame.yres)), vImagePixelCount(int64_t(frame.xres)),
                                     row_bytes};
    fill(converted, dst, format.get_fourcc_cm(), scratch);
    CVPixelBufferUnlockBaseAddress(buffer, 0);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

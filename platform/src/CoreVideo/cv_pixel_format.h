// Memory layout of the packed pixel formats that pixel buffers support.
#ifndef ZAV_PLATFORM_CV_PIXEL_FORMAT_H
#define ZAV_PLATFORM_CV_PIXEL_FORMAT_H

#include <CoreVideo/CVPixelBuffer.h>

#include <cstddef>

namespace zav_platform {

// CoreVideo pads rows to this many bytes unless told otherwise, so that rows start on cache
// lines and wide vector loads; row bytes may therefore exceed width × bytes per pixel.
constexpr std::size_t k_default_row_alignment = 64;

// Bytes that `width` pixels of `format` take without padding, or 0 when the format is not a
// supported packed format.
std::size_t unpadded_row_bytes(OSType format, std::size_t width);

// Row bytes with padding: rounded up to a multiple of `alignment` (at least 16).
std::size_t padded_row_bytes(OSType format, std::size_t width, std::size_t alignment);

}  // namespace zav_platform

#endif

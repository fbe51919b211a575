#include "cv_pixel_format.h"

namespace zav_platform {

std::size_t unpadded_row_bytes(OSType format, std::size_t width) {
    switch (format) {
        case kCVPixelFormatType_32ARGB:
        case kCVPixelFormatType_32BGRA:
        case kCVPixelFormatType_32ABGR:
        case kCVPixelFormatType_32RGBA:
        case kCVPixelFormatType_4444YpCbCrA8:
            return width * 4;
        case kCVPixelFormatType_24RGB:
        case kCVPixelFormatType_24BGR:
            return width * 3;
        case kCVPixelFormatType_64ARGB:
            return width * 8;
        // 4:2:2 formats carry chroma per pixel pair, so an odd width takes a whole pair.
        case kCVPixelFormatType_422YpCbCr8:
        case kCVPixelFormatType_422YpCbCr8_yuvs:
        case kCVPixelFormatType_422YpCbCr8FullRange:
            return (width + 1) / 2 * 4;
        case kCVPixelFormatType_422YpCbCr16:
            return (width + 1) / 2 * 8;
        // 'v210': groups of six pixels in 16 bytes, rows made of whole 48-pixel blocks.
        case kCVPixelFormatType_422YpCbCr10:
            return (width + 47) / 48 * 128;
        case kCVPixelFormatType_16BE555:
        case kCVPixelFormatType_16LE555:
        case kCVPixelFormatType_16BE565:
        case kCVPixelFormatType_16LE565:
        case kCVPixelFormatType_16Gray:
            return width * 2;
        case kCVPixelFormatType_OneComponent8:
        case kCVPixelFormatType_8Indexed:
            return width;
        default:
            return 0;
    }
}

std::size_t padded_row_bytes(OSType format, std::size_t width, std::size_t alignment) {
    const std::size_t bytes = unpadded_row_bytes(format, width);
    if (bytes == 0) return 0;
    if (alignment < 16) alignment = 16;
    return (bytes + alignment - 1) / alignment * alignment;
}

}  // namespace zav_platform

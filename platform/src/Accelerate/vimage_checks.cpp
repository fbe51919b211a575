#include "vimage_checks.h"

#include <climits>

namespace zav_platform {

vImage_Error check_argb8888(const vImage_Buffer* buffer, bool need_data) {
    if (buffer == nullptr || (need_data && buffer->data == nullptr)) return kvImageNullPointerArgument;
    if (buffer->width == 0 || buffer->height == 0) return kvImageInvalidParameter;
    // libyuv takes sizes and strides as int.
    if (buffer->width > INT_MAX / 4 || buffer->height > INT_MAX || buffer->rowBytes > INT_MAX)
        return kvImageInvalidParameter;
    if (buffer->rowBytes < buffer->width * 4) return kvImageInvalidRowBytes;
    return kvImageNoError;
}

vImage_Error temp_buffer_size(const vImage_Buffer& src, const vImage_Buffer& dest) {
    const std::size_t bytes = (src.width + dest.width) * 4 * 2;
    return static_cast<vImage_Error>((bytes + 63) / 64 * 64);
}

}  // namespace zav_platform

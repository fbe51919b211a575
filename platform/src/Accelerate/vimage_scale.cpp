// vImageScale_ARGB8888 through libyuv's ARGB scaler (the four channels are scaled alike, so
// the channel order does not matter). libyuv's filtered paths sample with 7-bit weights and
// so may lose up to two levels at full intensity (255 comes out as 253); when enlarging they
// align the corner pixels rather than the pixel centres, a shift of under half a source pixel.
#include <Accelerate/Geometry.h>

#include "vimage_checks.h"

#include <libyuv/scale_argb.h>

using namespace zav_platform;

vImage_Error vImageScale_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest, void*, vImage_Flags flags) {
    if ((flags & ~k_known_flags) != 0) return kvImageUnknownFlagsBit;
    const bool size_only = (flags & kvImageGetTempBufferSize) != 0;
    if (const vImage_Error error = check_argb8888(src, !size_only)) return error;
    if (const vImage_Error error = check_argb8888(dest, !size_only)) return error;
    if (size_only) return temp_buffer_size(*src, *dest);
    if (src->data == dest->data) return kvImageOutOfPlaceOperationRequired;
    // Box filtering averages every source pixel when shrinking; bilinear otherwise.
    const bool high_quality = (flags & kvImageHighQualityResampling) != 0;
    const libyuv::FilterMode filter = high_quality ? libyuv::kFilterBox : libyuv::kFilterBilinear;
    const int result = libyuv::ARGBScale(static_cast<const uint8_t*>(src->data), static_cast<int>(src->rowBytes),
                                         static_cast<int>(src->width), static_cast<int>(src->height),
                                         static_cast<uint8_t*>(dest->data), static_cast<int>(dest->rowBytes),
                                         static_cast<int>(dest->width), static_cast<int>(dest->height), filter);
    return result == 0 ? kvImageNoError : kvImageInternalError;
}

// What the video format tests share: the record's fields and a description's, as tuples that
// compare and print, and descriptions made to order.
#ifndef ZAV_TESTS_OBJECTS_VIDEO_FORMAT_TEST_SUPPORT_H
#define ZAV_TESTS_OBJECTS_VIDEO_FORMAT_TEST_SUPPORT_H

#include "objects/video_format.h"

#include <CoreMedia/CoreMedia.h>
#include <gtest/gtest.h>

#include <tuple>

namespace video_format_test_support {

using Drivers::Mac::ZAV::VirtualCamera::video_format_t;
using fields_t = std::tuple<ZAVlib_FourCC_video_type_e, int, int, int, int, double>;
using description_t = std::tuple<CMMediaType, FourCharCode, int32_t, int32_t>;

inline constexpr auto k_uyvy = ZAVlib_FourCC_video_type_UYVY;
inline constexpr auto k_bgrx = ZAVlib_FourCC_video_type_BGRX;

inline fields_t fields(const video_format_t& f) {
    return {f.get_fourcc_zav(), f.get_xres(), f.get_yres(), f.get_fr_num(), f.get_fr_den(), f.get_frame_rate()};
}

inline description_t description(CMFormatDescriptionRef ref) {
    const CMVideoDimensions size = CMVideoFormatDescriptionGetDimensions(ref);
    return {CMFormatDescriptionGetMediaType(ref), CMFormatDescriptionGetMediaSubType(ref), size.width, size.height};
}

// A new video description that the caller releases.
inline CMFormatDescriptionRef make_description(FourCharCode codec, int32_t width, int32_t height) {
    CMVideoFormatDescriptionRef description = nullptr;
    EXPECT_EQ(CMVideoFormatDescriptionCreate(kCFAllocatorDefault, codec, width, height, nullptr, &description), 0);
    return description;
}

}  // namespace video_format_test_support

#endif

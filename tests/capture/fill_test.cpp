// Frame fill called directly: each path's output equals the pixel engine or vImage on the same
// input, the scratch memory and conversion cache are kept between frames, and unusable
// combinations give a black picture.
#include "frame_fill_fixture.h"
#include "objects/simple_input_stream.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/resample_uyvy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

using namespace Drivers::Mac::ZAV::VirtualCamera;

// A picture with distinct bytes per row and column, its rows padded.
struct picture_t {
    std::vector<uint8_t> bytes;
    int width, height, stride;
    ZAVlib_FourCC_video_type_e fourcc;

    picture_t(ZAVlib_FourCC_video_type_e layout, int w, int h) : width(w), height(h), fourcc(layout) {
        stride = w * (layout == ZAVlib_FourCC_video_type_UYVY ? 2 : 4) + 32;
        bytes.resize(std::size_t(stride) * std::size_t(h));
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t((i * 31 + i / std::size_t(stride)) & 0xff);
    }
    ZAVlib_video_frame_v2_t frame() {
        ZAVlib_video_frame_v2_t f;
        f.xres = width;
        f.yres = height;
        f.FourCC = fourcc;
        f.p_data = bytes.data();
        f.line_stride_in_bytes = stride;
        return f;
    }
    vImage_Buffer image() {
        return {bytes.data(), vImagePixelCount(height), vImagePixelCount(width), std::size_t(stride)};
    }
};

// An output image prefilled with a marker so that untouched bytes show.
struct output_t {
    std::vector<uint8_t> bytes;
    vImage_Buffer image;
    output_t(int width, int height, int bytes_per_pixel)
        : bytes(std::size_t(width * bytes_per_pixel) * std::size_t(height), 0x5A),
          image{bytes.data(), vImagePixelCount(height), vImagePixelCount(width), std::size_t(width * bytes_per_pixel)} {
    }
};

class frame_fill_t : public zav_test::frame_fill_fixture_t {};

TEST_F(frame_fill_t, uyvy_frame_into_a_same_size_2vuy_stream_is_the_plain_resample) {
    picture_t source(ZAVlib_FourCC_video_type_UYVY, 64, 36);
    output_t out(64, 36, 2), expected(64, 36, 2);
    const video_format_t format(ZAVlib_FourCC_video_type_UYVY, 64, 36, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    resample_uyvy(source.bytes.data(), uint32_t(source.stride), 64, 36, expected.bytes.data(), 128, 64, 36);
    EXPECT_EQ(out.bytes, expected.bytes);
    EXPECT_EQ(m_cache.first, nullptr);
}

TEST_F(frame_fill_t, uyvy_1080p_into_640x480_fits_with_bands_above_and_below) {
    picture_t source(ZAVlib_FourCC_video_type_UYVY, 1920, 1080);
    output_t out(640, 480, 2), expected(640, 480, 2);
    const video_format_t format(ZAVlib_FourCC_video_type_UYVY, 640, 480, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    resample_uyvy_aspect_fit(source.bytes.data(), uint32_t(source.stride), 1920, 1080, 0, expected.bytes.data(),
                             1920.0f / 1080.0f, 640.0f / 480.0f, 1280, 640, 480, 0, 1);
    EXPECT_EQ(out.bytes, expected.bytes);
}

TEST_F(frame_fill_t, bgra_frame_into_a_2vuy_stream_is_converted_with_bt709_then_scaled) {
    picture_t source(ZAVlib_FourCC_video_type_BGRA, 128, 72);
    output_t out(64, 36, 2);
    const video_format_t format(ZAVlib_FourCC_video_type_UYVY, 64, 36, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);

    std::vector<uint8_t> uyvy(256 * 72), alpha(128 * 72);
    convert_bgra_to_uyvy_alpha(source.bytes.data(), source.stride, uyvy.data(), 256, alpha.data(), 128, 128, 72, 709);
    output_t expected(64, 36, 2);
    resample_uyvy(uyvy.data(), 256, 128, 72, expected.bytes.data(), 128, 64, 36);
    EXPECT_EQ(out.bytes, expected.bytes);
}

TEST_F(frame_fill_t, conversion_buffer_is_kept_for_same_size_frames_and_made_again_when_the_size_changes) {
    const video_format_t format(ZAVlib_FourCC_video_type_UYVY, 64, 36, 30, 1);
    output_t out(64, 36, 2);
    picture_t small(ZAVlib_FourCC_video_type_BGRA, 128, 72);
    simple_input_stream_t::fill(small.frame(), out.image, format, m_scratch, m_cache);
    const CVPixelBufferRef first = m_cache.first;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(CVPixelBufferGetWidth(first), 128u);
    EXPECT_EQ(CVPixelBufferGetPixelFormatType(first), OSType(kCVPixelFormatType_422YpCbCr8));
    simple_input_stream_t::fill(small.frame(), out.image, format, m_scratch, m_cache);
    EXPECT_EQ(m_cache.first, first);
    EXPECT_EQ(zav_platform::probe::live_object_count(CVPixelBufferGetTypeID()), 1u);

    picture_t large(ZAVlib_FourCC_video_type_BGRA, 256, 144);
    simple_input_stream_t::fill(large.frame(), out.image, format, m_scratch, m_cache);
    ASSERT_NE(m_cache.first, nullptr);
    EXPECT_EQ(CVPixelBufferGetWidth(m_cache.first), 256u);
    EXPECT_EQ(CVPixelBufferGetHeight(m_cache.first), 144u);
    EXPECT_EQ(zav_platform::probe::live_object_count(CVPixelBufferGetTypeID()), 1u);
}

TEST_F(frame_fill_t, bgra_frame_without_a_conversion_buffer_gives_a_black_picture_and_keeps_nothing) {
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::pixel_buffer_create,
                                     kCVReturnAllocationFailed);
    const video_format_t format(ZAVlib_FourCC_video_type_UYVY, 64, 36, 30, 1);
    picture_t source(ZAVlib_FourCC_video_type_BGRA, 128, 72);
    output_t out(64, 36, 2);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    EXPECT_EQ(out.bytes, std::vector<uint8_t>(out.bytes.size(), 0));
    EXPECT_EQ(m_cache.first, nullptr);
    EXPECT_EQ(m_cache.second, nullptr);
}

TEST_F(frame_fill_t, bgrx_frame_into_a_bgra_stream_at_equal_aspect_is_vimage_scale) {
    picture_t source(ZAVlib_FourCC_video_type_BGRX, 128, 72);
    output_t out(64, 36, 4), expected(64, 36, 4);
    const video_format_t format(ZAVlib_FourCC_video_type_BGRX, 64, 36, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    const vImage_Buffer src = source.image();
    const vImage_Error temp_size = vImageScale_ARGB8888(&src, &expected.image, nullptr, kvImageGetTempBufferSize);
    std::vector<uint8_t> temp(std::size_t(std::max<vImage_Error>(temp_size, 1)));
    vImageScale_ARGB8888(&src, &expected.image, temp.data(), kvImageNoFlags);
    EXPECT_EQ(out.bytes, expected.bytes);
    // The scratch is grown to what vImage asked for, and kept for the next frame.
    EXPECT_EQ(m_scratch.second, std::size_t(std::max<vImage_Error>(temp_size, 0)));
    const void* const kept = m_scratch.first;
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    EXPECT_EQ(m_scratch.first, kept);
}

TEST_F(frame_fill_t, bgrx_frame_into_a_bgra_stream_of_another_aspect_is_anchored_at_the_origin) {
    picture_t source(ZAVlib_FourCC_video_type_BGRX, 96, 72);
    output_t out(64, 36, 4), expected(64, 36, 4);
    const video_format_t format(ZAVlib_FourCC_video_type_BGRX, 64, 36, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    const vImage_Buffer src = source.image();
    const float scale = 36.0f / 72.0f;
    const vImage_AffineTransform transform = {scale, 0, 0, scale, 0, 0};
    const Pixel_8888 black = {0, 0, 0, 0};
    std::vector<uint8_t> temp(std::size_t(std::max<vImage_Error>(
        vImageAffineWarp_ARGB8888(&src, &expected.image, nullptr, &transform, black, kvImageGetTempBufferSize), 1)));
    vImageAffineWarp_ARGB8888(&src, &expected.image, temp.data(), &transform, black, kvImageBackgroundColorFill);
    EXPECT_EQ(out.bytes, expected.bytes);
    // The picture (48 wide) is on the left; the band on the right is black and transparent.
    EXPECT_EQ(out.bytes[4 * 63], 0);
    EXPECT_EQ(out.bytes[4 * 63 + 3], 0);
}

TEST_F(frame_fill_t, uyvy_frame_into_a_bgra_stream_is_black_and_logged) {
    picture_t source(ZAVlib_FourCC_video_type_UYVY, 64, 36);
    output_t out(64, 36, 4);
    const video_format_t format(ZAVlib_FourCC_video_type_BGRX, 64, 36, 30, 1);
    simple_input_stream_t::fill(source.frame(), out.image, format, m_scratch, m_cache);
    EXPECT_EQ(out.bytes, std::vector<uint8_t>(out.bytes.size(), 0));
    EXPECT_EQ(zav_test::log_messages(), std::vector<std::string>{"simple_input_stream_t::fill unexpected error"});
}

TEST_F(frame_fill_t, image_of_an_unknown_pixel_format_is_black_without_a_log_line) {
    picture_t source(ZAVlib_FourCC_video_type_UYVY, 64, 36);
    output_t out(64, 36, 2);
    simple_input_stream_t::fill(source.image(), out.image, 0x79757673 /* 'yuvs' */, m_scratch);
    EXPECT_EQ(out.bytes, std::vector<uint8_t>(out.bytes.size(), 0));
    EXPECT_TRUE(zav_test::log_messages().empty());
}

}  // namespace

// Streaming from ZAV Video with a scripted network source: the pictures clients receive for each
// source and output layout, sample timing and flags, repeats, a client that does not drain,
// stop and restart, the receiver settings, and every start-up failure.
#include "zav_camera_fixture.h"

#include <Accelerate/Accelerate.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <thread>

#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/resample_uyvy.h"

namespace zav_test {
namespace {

using Drivers::Mac::ZAV::VirtualCamera::convert_bgra_to_uyvy_alpha;
using Drivers::Mac::ZAV::VirtualCamera::resample_uyvy;
using Drivers::Mac::ZAV::VirtualCamera::resample_uyvy_aspect_fit;

constexpr auto k_deadline = 5s;

// A picture whose bytes differ from row to row and column to column, with padding at each row's
// end that must never be read as picture.
scripted_source::frame_t make_frame(ZAVlib_FourCC_video_type_e fourcc, int width, int height) {
    scripted_source::frame_t frame;
    frame.fourcc = fourcc;
    frame.width = width;
    frame.height = height;
    const int bytes_per_pixel = fourcc == ZAVlib_FourCC_video_type_UYVY ? 2 : 4;
    frame.stride = width * bytes_per_pixel + 64;
    frame.bytes.resize(std::size_t(frame.stride) * std::size_t(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < frame.stride; ++x)
            frame.bytes[std::size_t(y) * std::size_t(frame.stride) + std::size_t(x)] =
                x < width * bytes_per_pixel ? uint8_t((x * 7 + y * 13) & 0xff) : 0xEE;
    return frame;
}

vImage_Buffer image_of(scripted_source::frame_t& frame) {
    return {frame.bytes.data(), vImagePixelCount(frame.height), vImagePixelCount(frame.width),
            std::size_t(frame.stride)};
}

// The picture bytes of each row (no padding), row after row.
std::vector<uint8_t> visible(const std::vector<uint8_t>& pixels, std::size_t row_bytes, std::size_t width_bytes,
                             std::size_t height) {
    std::vector<uint8_t> rows;
    for (std::size_t y = 0; y < height; ++y)
        rows.insert(rows.end(), pixels.begin() + std::ptrdiff_t(y * row_bytes),
                    pixels.begin() + std::ptrdiff_t(y * row_bytes + width_bytes));
    return rows;
}

// What the pixel engine makes of a UYVY picture at the output size, called directly.
std::vector<uint8_t> expected_uyvy(const uint8_t* src, uint32_t src_row_bytes, uint32_t sw, uint32_t sh, uint32_t dw,
                                   uint32_t dh) {
    const uint32_t row_bytes = dw * 2;
    std::vector<uint8_t> out(std::size_t(row_bytes) * dh);
    if (uint64_t(dh) * sw == uint64_t(dw) * sh) {
        resample_uyvy(src, src_row_bytes, sw, sh, out.data(), row_bytes, dw, dh);
    } else {
        const uint32_t fit = float(dh) / float(sh) > float(dw) / float(sw) ? 1 : 0;
        resample_uyvy_aspect_fit(src, src_row_bytes, sw, sh, 0, out.data(), float(sw) / float(sh),
                                 float(dw) / float(dh), row_bytes, dw, dh, 0, fit);
    }
    return out;
}

// A BGRA picture converted to UYVY (BT.709) by the pixel engine, then scaled.
std::vector<uint8_t> expected_uyvy_from_bgra(scripted_source::frame_t& frame, uint32_t dw, uint32_t dh) {
    const uint32_t row_bytes = uint32_t(frame.width) * 2;
    std::vector<uint8_t> uyvy(std::size_t(row_bytes) * std::size_t(frame.height));
    std::vector<uint8_t> alpha(std::size_t(frame.width) * std::size_t(frame.height));
    convert_bgra_to_uyvy_alpha(frame.bytes.data(), frame.stride, uyvy.data(), int32_t(row_bytes), alpha.data(),
                               frame.width, frame.width, frame.height, 709);
    return expected_uyvy(uyvy.data(), row_bytes, uint32_t(frame.width), uint32_t(frame.height), dw, dh);
}

// vImage's scale (equal aspect) or origin-anchored uniform warp (different aspect), called directly.
std::vector<uint8_t> expected_bgra(scripted_source::frame_t& frame, uint32_t dw, uint32_t dh) {
    std::vector<uint8_t> out(std::size_t(dw) * 4 * dh);
    const vImage_Buffer src = image_of(frame);
    const vImage_Buffer dst = {out.data(), dh, dw, std::size_t(dw) * 4};
    if (uint64_t(dh) * src.width == uint64_t(dw) * src.height) {
        std::vector<uint8_t> temp(std::size_t(
            std::max<vImage_Error>(vImageScale_ARGB8888(&src, &dst, nullptr, kvImageGetTempBufferSize), 1)));
        EXPECT_EQ(vImageScale_ARGB8888(&src, &dst, temp.data(), kvImageNoFlags), kvImageNoError);
    } else {
        const float scale = std::min(float(dw) / float(src.width), float(dh) / float(src.height));
        const vImage_AffineTransform transform = {scale, 0, 0, scale, 0, 0};
        const Pixel_8888 background = {0, 0, 0, 0};
        std::vector<uint8_t> temp(std::size_t(std::max<vImage_Error>(
            vImageAffineWarp_ARGB8888(&src, &dst, nullptr, &transform, background, kvImageGetTempBufferSize), 1)));
        EXPECT_EQ(
            vImageAffineWarp_ARGB8888(&src, &dst, temp.data(), &transform, background, kvImageBackgroundColorFill),
            kvImageNoError);
    }
    return out;
}

std::string host_source_name() {
    char host[256] = {};
    gethostname(host, sizeof(host) - 1);
    std::string name(host);
    for (char& c : name) c = char(std::toupper(static_cast<unsigned char>(c)));
    return name + " (ZAV Virtual Input)";
}

// ---- Pictures ---------------------------------------------------------------------------------

struct picture_case_t {
    const char* name;
    OSType output_format;
    ZAVlib_FourCC_video_type_e source_fourcc;
    int source_width, source_height;
    uint32_t output_width, output_height;
};

class camera_pictures_t : public zav_camera_fixture_t, public ::testing::WithParamInterface<picture_case_t> {};

TEST_P(camera_pictures_t, equal_the_pixel_engine_or_vimage_on_the_same_frame) {
    const picture_case_t& c = GetParam();
    ASSERT_EQ(camera().set_format(c.output_format, int32_t(c.output_width), int32_t(c.output_height)),
              kCMIOHardwareNoError);
    scripted_source::frame_t frame = make_frame(c.source_fourcc, c.source_width, c.source_height);
    scripted_source::send(frame);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::vector<sample_t> samples = camera().take(1, k_deadline, true);
    ASSERT_EQ(samples.size(), 1u);
    const sample_t& sample = samples[0];
    EXPECT_EQ(sample.pixel_format, c.output_format);
    ASSERT_EQ(sample.width, c.output_width);
    ASSERT_EQ(sample.height, c.output_height);

    std::vector<uint8_t> expected;
    if (c.output_format == kCVPixelFormatType_32BGRA)
        expected = expected_bgra(frame, c.output_width, c.output_height);
    else if (c.source_fourcc == ZAVlib_FourCC_video_type_BGRA)
        expected = expected_uyvy_from_bgra(frame, c.output_width, c.output_height);
    else
        expected = expected_uyvy(frame.bytes.data(), uint32_t(frame.stride), uint32_t(frame.width),
                                 uint32_t(frame.height), c.output_width, c.output_height);
    const std::size_t width_bytes = c.output_width * (c.output_format == kCVPixelFormatType_32BGRA ? 4 : 2);
    EXPECT_TRUE(visible(sample.pixels, sample.row_bytes, width_bytes, sample.height) == expected);
    EXPECT_FALSE(logged("simple_input_stream_t::fill unexpected error"));
}

// A 4:2:2 source reaches a '2vuy' stream as UYVY and a 'BGRA' stream as BGRX (the library
// converts); a BGRA source reaches a '2vuy' stream as BGRA and a 'BGRA' stream labelled BGRX.
INSTANTIATE_TEST_SUITE_P(sources_and_outputs, camera_pictures_t,
                         ::testing::Values(picture_case_t{"uyvy_into_2vuy_equal_aspect", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_UYVY, 640, 360, 320, 180},
                                           picture_case_t{"uyvy_into_2vuy_same_size", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_UYVY, 320, 180, 320, 180},
                                           picture_case_t{"uyvy_4x3_into_2vuy_16x9", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_UYVY, 640, 480, 320, 180},
                                           picture_case_t{"uyvy_16x9_into_2vuy_4x3", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_UYVY, 640, 360, 320, 240},
                                           picture_case_t{"bgra_into_2vuy_equal_aspect", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_BGRA, 640, 360, 320, 180},
                                           picture_case_t{"bgra_square_into_2vuy_16x9", kCVPixelFormatType_422YpCbCr8,
                                                          ZAVlib_FourCC_video_type_BGRA, 360, 360, 320, 180},
                                           picture_case_t{"bgrx_into_bgra_equal_aspect", kCVPixelFormatType_32BGRA,
                                                          ZAVlib_FourCC_video_type_BGRX, 640, 360, 320, 180},
                                           picture_case_t{"bgrx_4x3_into_bgra_16x9", kCVPixelFormatType_32BGRA,
                                                          ZAVlib_FourCC_video_type_BGRX, 640, 480, 320, 180}),
                         [](const ::testing::TestParamInfo<picture_case_t>& param_info) {
                             return std::string(param_info.param.name);
                         });

using camera_streaming_t = zav_camera_fixture_t;

TEST_F(camera_streaming_t, uyvy_frame_for_a_bgra_stream_gives_a_black_picture_and_a_log_line) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_32BGRA, 320, 180), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 320, 180));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::vector<sample_t> samples = camera().take(1, k_deadline, true);
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].pixels, std::vector<uint8_t>(samples[0].pixels.size(), 0));
    EXPECT_TRUE(logged("simple_input_stream_t::fill unexpected error"));
}

// ---- Timing and flags -------------------------------------------------------------------------

TEST_F(camera_streaming_t, no_sample_is_sent_before_the_source_sends_a_frame) {
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(scripted_source::wait_for_pulls(5, k_deadline));
    EXPECT_EQ(camera().altered_count(), 0u);
    EXPECT_EQ(camera().queued(), 0u);
    EXPECT_EQ(scripted_source::frames_handed_out(), 0u);
}

TEST_F(camera_streaming_t, new_frames_have_consecutive_sequence_numbers_and_times_one_frame_apart) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 320, 180), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 320, 180));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::vector<sample_t> samples = camera().take(5, k_deadline);
    ASSERT_EQ(samples.size(), 5u);
    // The first time is whole seconds of absolute time over a nanosecond timescale.
    const int64_t now_seconds = int64_t(CFAbsoluteTimeGetCurrent());
    EXPECT_EQ(samples[0].presentation_time.timescale, 1000000000);
    EXPECT_LE(samples[0].presentation_time.value, now_seconds);
    EXPECT_GE(samples[0].presentation_time.value, now_seconds - 10);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(samples[i].sequence_number, i);
        EXPECT_EQ(samples[i].discontinuity, 0u);
        EXPECT_EQ(CMTimeCompare(samples[i].duration, CMTimeMake(1000, 30000)), 0);
        if (i > 0) {
            EXPECT_EQ(CMTimeCompare(samples[i].presentation_time,
                                    CMTimeAdd(samples[i - 1].presentation_time, samples[i].duration)),
                      0);
        }
    }
    const auto events = zav_platform::probe::clock_events();
    ASSERT_GE(events.size(), 5u);
    EXPECT_TRUE(events[0].resynchronize);
    for (std::size_t i = 1; i < 5; ++i) EXPECT_FALSE(events[i].resynchronize) << i;
    EXPECT_EQ(CMTimeCompare(events[0].event_time, samples[0].presentation_time), 0);
}

TEST_F(camera_streaming_t, quiet_source_repeats_the_last_picture_as_a_discontinuity_until_it_returns) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 320, 180), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 320, 180));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    std::vector<sample_t> samples = camera().take(2, k_deadline, true);
    ASSERT_EQ(samples.size(), 2u);
    scripted_source::go_quiet();
    // Repeats follow; a new frame pulled just before the source went quiet may come first.
    std::vector<sample_t> repeats;
    while (repeats.size() < 3) {
        std::vector<sample_t> next = camera().take(1, k_deadline, true);
        ASSERT_EQ(next.size(), 1u);
        if (next[0].discontinuity != 0) repeats.push_back(next[0]);
        samples.push_back(next[0]);
    }
    for (std::size_t i = 0; i < samples.size(); ++i) EXPECT_EQ(samples[i].sequence_number, i);
    for (const sample_t& repeat : repeats) {
        EXPECT_EQ(repeat.discontinuity, uint32_t(kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity));
        EXPECT_EQ(repeat.pixels, samples[0].pixels);
        EXPECT_EQ(repeat.presentation_time.timescale, 1000000000);
    }

    zav_platform::probe::clear_records();
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 320, 180));
    std::vector<sample_t> back;
    while (back.size() < 2) {
        std::vector<sample_t> next = camera().take(1, k_deadline);
        ASSERT_EQ(next.size(), 1u);
        if (next[0].discontinuity == 0) back.push_back(next[0]);
    }
    // The first new frame asks the clock to resynchronise, the next does not.
    std::vector<bool> resync_of_new_frames;
    bool after_repeat = true;
    for (const auto& event : zav_platform::probe::clock_events()) {
        if (!event.resynchronize || after_repeat) resync_of_new_frames.push_back(event.resynchronize);
        after_repeat = false;
    }
    ASSERT_GE(resync_of_new_frames.size(), 2u);
    EXPECT_FALSE(resync_of_new_frames.back());
    EXPECT_EQ(CMTimeCompare(back[1].presentation_time, CMTimeAdd(back[0].presentation_time, back[0].duration)), 0);
}

TEST_F(camera_streaming_t, client_that_does_not_drain_keeps_sixteen_samples_and_the_rest_are_dropped) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(camera().wait_for_altered(20, k_deadline));
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_EQ(camera().queued(), 16u);
    const std::size_t told = camera().altered_count();
    const std::vector<sample_t> kept = camera().take(16, k_deadline);
    ASSERT_EQ(kept.size(), 16u);
    // The client is told of every sample, and the oldest ones are those it finds.
    for (std::size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(kept[i].sequence_number, i);
    // A refused sample is neither retried nor released: it stays alive on purpose.
    m_refused_samples = told - 16;
}

TEST_F(camera_streaming_t, stop_returns_within_a_frame_interval_and_nothing_is_sent_after_it) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().take(3, k_deadline).size(), 3u);
    const auto before = std::chrono::steady_clock::now();
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    const auto took = std::chrono::steady_clock::now() - before;
    // One interval is 33 ms at 30 fps; the bound leaves room for a loaded machine.
    EXPECT_LT(took, 500ms);
    const std::size_t told = camera().altered_count();
    const std::size_t queued = camera().queued();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(camera().altered_count(), told);
    EXPECT_EQ(camera().queued(), queued);
    const std::vector<std::string> calls = scripted_source::calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 2], "framesync_destroy");
    EXPECT_EQ(calls.back(), "recv_destroy");
}

TEST_F(camera_streaming_t, stream_started_again_after_stop_connects_afresh_and_sends_again) {
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().take(2, k_deadline).size(), 2u);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    camera().take(16, 0ms);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::vector<sample_t> again = camera().take(2, k_deadline);
    ASSERT_EQ(again.size(), 2u);
    EXPECT_EQ(again[0].sequence_number, 0u);
    EXPECT_EQ(scripted_source::receivers_created().size(), 2u);
}

// ---- The receiver -----------------------------------------------------------------------------

TEST_F(camera_streaming_t, receiver_asks_for_the_host_named_source_at_full_quality_without_fields) {
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(scripted_source::wait_for_pulls(2, k_deadline));
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_32BGRA, 64, 36), kCMIOHardwareNoError);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(scripted_source::wait_for_pulls(4, k_deadline));
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);

    const std::vector<scripted_source::settings_t> receivers = scripted_source::receivers_created();
    ASSERT_EQ(receivers.size(), 2u);
    for (const scripted_source::settings_t& settings : receivers) {
        EXPECT_EQ(settings.source_name, host_source_name());
        EXPECT_FALSE(settings.has_url_address);
        EXPECT_EQ(settings.bandwidth, ZAVlib_recv_bandwidth_highest);
        EXPECT_FALSE(settings.allow_video_fields);
        EXPECT_EQ(settings.receiver_name, "ZAV Virtual Input Driver");
    }
    EXPECT_EQ(receivers[0].color_format, ZAVlib_recv_color_format_UYVY_BGRA);
    EXPECT_EQ(receivers[1].color_format, ZAVlib_recv_color_format_BGRX_BGRA);
    for (int field_type : scripted_source::field_types_asked())
        EXPECT_EQ(field_type, ZAVlib_frame_format_type_progressive);
}

struct start_failure_case_t {
    const char* name;
    const char* log_line;
    std::vector<std::string> calls;
};

class camera_start_failures_t : public zav_camera_fixture_t,
                                public ::testing::WithParamInterface<start_failure_case_t> {};

TEST_P(camera_start_failures_t, log_one_line_release_what_was_made_and_send_nothing) {
    const start_failure_case_t& c = GetParam();
    const std::string which = c.name;
    if (which == "receiver") scripted_source::fail_receiver_create(true);
    if (which == "frame_sync") scripted_source::fail_framesync_create(true);
    if (which == "pixel_buffer_pool")
        zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::pixel_buffer_pool_create,
                                         kCVReturnAllocationFailed);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const auto end = std::chrono::steady_clock::now() + k_deadline;
    while (!logged(c.log_line) && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(count_logged(c.log_line), 1u);
    // To the client the stream still runs; it only delivers nothing.
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 1u);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(camera().altered_count(), 0u);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_EQ(scripted_source::calls(), c.calls);
}

INSTANTIATE_TEST_SUITE_P(
    each_step, camera_start_failures_t,
    ::testing::Values(start_failure_case_t{"receiver", "Failed to create ZAV receiver", {"recv_create"}},
                      start_failure_case_t{"frame_sync",
                                           "Failed to create ZAV framesync",
                                           {"recv_create", "framesync_create", "recv_destroy"}},
                      start_failure_case_t{"pixel_buffer_pool",
                                           "Failed to create ZAV receiving pixel buffer pool",
                                           {"recv_create", "framesync_create", "framesync_destroy", "recv_destroy"}}),
    [](const ::testing::TestParamInfo<start_failure_case_t>& param_info) {
        return std::string(param_info.param.name);
    });

TEST_F(camera_streaming_t, frames_without_a_free_pool_buffer_are_handed_back_and_not_sent) {
    zav_platform::probe::set_failure(zav_platform::probe::failing_call_t::pool_create_pixel_buffer,
                                     kCVReturnAllocationFailed);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(scripted_source::wait_for_pulls(4, k_deadline));
    EXPECT_EQ(camera().altered_count(), 0u);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_GE(scripted_source::frames_freed(), 4u);
}

TEST_F(camera_streaming_t, pull_that_stalls_over_two_seconds_restarts_the_schedule_once) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    scripted_source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().take(2, k_deadline).size(), 2u);
    scripted_source::delay_next_pull(2100ms);
    ASSERT_TRUE(scripted_source::wait_for_pulls(scripted_source::field_types_asked().size() + 1, k_deadline));
    // The stream goes on after the restart.
    const std::size_t told = camera().altered_count();
    ASSERT_TRUE(camera().wait_for_altered(told + 3, k_deadline));
    EXPECT_EQ(count_logged("Frame-sync wait time is cray-cray! \n"), 1u);
}

}  // namespace
}  // namespace zav_test

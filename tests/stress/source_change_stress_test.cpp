// A source that changes its picture size and layout while the camera streams: clients keep
// getting pictures of the stream's own format, each showing the source's latest picture, with
// no fault and nothing left behind.
#include "altered_proc_client.h"
#include "stress_fixture.h"

#include <cstdlib>

namespace zav_test::stress {
namespace {

constexpr std::size_t k_switches = 60;
constexpr auto k_switch_deadline = 5s;

// One picture the source switches to: layout, size and grey level.
struct source_step_t {
    ZAVlib_FourCC_video_type_e fourcc;
    int width;
    int height;
    uint8_t level;
};

// Both layouts at 720p, 1080p, odd sizes and the smallest; the levels differ from step to step.
const std::vector<source_step_t> k_steps = {
    {ZAVlib_FourCC_video_type_UYVY, 1280, 720, 40},  {ZAVlib_FourCC_video_type_BGRA, 1920, 1080, 200},
    {ZAVlib_FourCC_video_type_UYVY, 1920, 1080, 90}, {ZAVlib_FourCC_video_type_BGRA, 1280, 720, 150},
    {ZAVlib_FourCC_video_type_UYVY, 642, 361, 60},   {ZAVlib_FourCC_video_type_BGRA, 641, 359, 230},
    {ZAVlib_FourCC_video_type_UYVY, 2, 2, 120},      {ZAVlib_FourCC_video_type_BGRA, 1, 1, 100}};

struct stream_case_t {
    const char* name;
    OSType pixel_format;
    int32_t width;
    int32_t height;
};

// The grey a '2vuy' stream shows of a step: the luma itself, or BT.709 studio-range luma of a
// grey BGRA picture. A 'BGRA' stream shows a BGRA picture's grey, and black for a UYVY picture
// (a layout the receive library never hands such a stream).
int expected_grey(OSType stream_format, const source_step_t& step) {
    const bool uyvy = step.fourcc == ZAVlib_FourCC_video_type_UYVY;
    if (stream_format == kCVPixelFormatType_422YpCbCr8)
        return uyvy ? step.level : (16 + (219 * step.level + 127) / 255);
    return uyvy ? 0 : step.level;
}

// The receive library hands a 'BGRA' stream a BGRA source's bytes labelled BGRX.
scripted_source::frame_t delivered(OSType stream_format, const source_step_t& step) {
    const bool relabel = stream_format == kCVPixelFormatType_32BGRA && step.fourcc == ZAVlib_FourCC_video_type_BGRA;
    return flat_frame(relabel ? ZAVlib_FourCC_video_type_BGRX : step.fourcc, step.width, step.height, step.level);
}

class source_change_stress_t : public stress_fixture_t, public ::testing::WithParamInterface<stream_case_t> {};

TEST_P(source_change_stress_t, source_switching_size_and_layout_keeps_pictures_coming_at_the_stream_format) {
    const stream_case_t stream = GetParam();
    ASSERT_EQ(camera().set_format(stream.pixel_format, stream.width, stream.height), kCMIOHardwareNoError);
    scripted_source::send(delivered(stream.pixel_format, k_steps[0]));
    altered_proc_client_t client(camera().stream());
    ASSERT_TRUE(client.ready());
    ASSERT_EQ(CMIODeviceStartStream(camera().device(), camera().stream()), kCMIOHardwareNoError);
    // However the run ends, the stream stops before the client lets go of the queue.
    struct stop_at_end_t {
        CMIODeviceID device;
        CMIOStreamID stream;
        bool stopped = false;
        ~stop_at_end_t() {
            if (!stopped) CMIODeviceStopStream(device, stream);
        }
    } stop_at_end{camera().device(), camera().stream()};

    std::size_t switches = 0;
    for (; switches < k_switches; ++switches) {
        const source_step_t& step = k_steps[switches % k_steps.size()];
        SCOPED_TRACE(testing::Message() << "switch " << switches << " to " << step.width << 'x' << step.height);
        const std::size_t seen_before = client.seen().size();
        scripted_source::send(delivered(stream.pixel_format, step));
        const int expected = expected_grey(stream.pixel_format, step);
        // Pictures pulled before the switch may still come; the new one must follow.
        const bool shown = client.wait_until(
            [&](const std::vector<seen_sample_t>& seen) {
                for (std::size_t i = seen_before; i < seen.size(); ++i)
                    if (std::abs(seen[i].middle_grey - expected) <= 2) return true;
                return false;
            },
            k_switch_deadline);
        ASSERT_TRUE(shown) << "no picture of the new source within the deadline";
    }
    stop_at_end.stopped = true;
    ASSERT_EQ(CMIODeviceStopStream(camera().device(), camera().stream()), kCMIOHardwareNoError);

    const std::vector<seen_sample_t> seen = client.seen();
    std::size_t wrong_format = 0, repeats = 0, out_of_order = 0;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        out_of_order += seen[i].sequence_number != i;
        repeats += seen[i].discontinuity != 0;
        wrong_format += seen[i].pixel_format != stream.pixel_format || seen[i].width != std::size_t(stream.width) ||
                        seen[i].height != std::size_t(stream.height);
    }
    EXPECT_EQ(out_of_order, 0u);
    EXPECT_EQ(wrong_format, 0u);
    EXPECT_EQ(repeats, 0u) << "the source never went quiet";
    print_counts(std::string("source switches into ") + stream.name,
                 {{"switches", std::to_string(switches)},
                  {"samples", std::to_string(seen.size())},
                  {"repeats", std::to_string(repeats)},
                  {"frames pulled", std::to_string(scripted_source::frames_handed_out())},
                  {"resident memory", mebibytes(double(resident_bytes()))}});
}

INSTANTIATE_TEST_SUITE_P(stream_formats, source_change_stress_t,
                         ::testing::Values(stream_case_t{"2vuy_1280x720", kCVPixelFormatType_422YpCbCr8, 1280, 720},
                                           stream_case_t{"bgra_1280x720", kCVPixelFormatType_32BGRA, 1280, 720},
                                           stream_case_t{"2vuy_642x361", kCVPixelFormatType_422YpCbCr8, 642, 361}),
                         [](const ::testing::TestParamInfo<stream_case_t>& param_info) {
                             return std::string(param_info.param.name);
                         });

}  // namespace
}  // namespace zav_test::stress

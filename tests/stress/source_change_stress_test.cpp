// A source that changes its picture size and layout while the camera streams: clients keep
// getting pictures of the stream's own format, each showing the source's latest picture, with
// no fault and nothing left behind.
#include "stress_fixture.h"

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
    if (stream_format == kCVPixelFormatType_422YpCbCr8) return uyvy ? step.level : (16 + (219 * step.level + 127) / 255);
    return uyvy ? 0 : step.level;
}

// The receive library hands a 'BGRA' stream a BGRA source's bytes labelled BGRX.
scripted_source::frame_t delivered(OSType stream_format, const source_step_t& step) {
    const bool relabel = stream_format == kCVPixelFormatType_32BGRA && step.fourcc == ZAVlib_FourCC_video_type_BGRA;
    return flat_frame(relabel ? ZAVlib_FourCC_video_type_BGRX : step.fourcc, step.width, step.height, step.level);
}

int middle_grey(const sample_t& sample) {
    const std::size_t y = sample.height / 2, x = sample.width / 2;
    const uint8_t* row = sample.pixels.data() + y * sample.row_bytes;
    if (sample.pixel_format == kCVPixelFormatType_422YpCbCr8) return row[(x & ~std::size_t(1)) * 2 + 1];
    return row[x * 4];
}

class source_change_stress_t : public stress_fixture_t, public ::testing::WithParamInterface<stream_case_t> {};

TEST_P(source_change_stress_t, source_switching_size_and_layout_keeps_pictures_coming_at_the_stream_format) {
    const stream_case_t stream = GetParam();
    ASSERT_EQ(camera().set_format(stream.pixel_format, stream.width, stream.height), kCMIOHardwareNoError);
    scripted_source::send(delivered(stream.pixel_format, k_steps[0]));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);

    std::size_t switches = 0, samples = 0, wrong_format = 0, repeats = 0;
    uint64_t next_sequence = 0;
    for (; switches < k_switches; ++switches) {
        const source_step_t& step = k_steps[switches % k_steps.size()];
        SCOPED_TRACE(testing::Message() << "switch " << switches << " to " << step.width << 'x' << step.height);
        scripted_source::send(delivered(stream.pixel_format, step));
        const int expected = expected_grey(stream.pixel_format, step);
        // Pictures pulled before the switch may still come; the new one must follow.
        bool shown = false;
        const auto end = std::chrono::steady_clock::now() + k_switch_deadline;
        while (!shown && std::chrono::steady_clock::now() < end) {
            for (const sample_t& sample : camera().take(1, 100ms, true)) {
                ++samples;
                EXPECT_EQ(sample.sequence_number, next_sequence++);
                repeats += sample.discontinuity != 0;
                const bool right_format = sample.pixel_format == stream.pixel_format &&
                                          sample.width == std::size_t(stream.width) &&
                                          sample.height == std::size_t(stream.height);
                wrong_format += !right_format;
                shown = right_format && std::abs(middle_grey(sample) - expected) <= 2;
            }
        }
        ASSERT_TRUE(shown) << "no picture of the new source within the deadline";
    }
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_EQ(wrong_format, 0u);
    EXPECT_EQ(repeats, 0u) << "the source never went quiet";
    print_counts(std::string("source switches into ") + stream.name,
                 {{"switches", std::to_string(switches)},
                  {"samples", std::to_string(samples)},
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

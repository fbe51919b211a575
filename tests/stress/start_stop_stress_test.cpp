// Long runs of what applications do to a camera: a thousand starts and stops while other threads
// read and write properties and a client drains the queue, and format changes between starts.
// Every run ends with the bundle unloaded and nothing of ours left alive.
#include "client_traffic.h"
#include "repeating_thread.h"
#include "stress_fixture.h"

#include <cstdlib>
#include <thread>

namespace zav_test::stress {
namespace {

using start_stop_stress_t = stress_fixture_t;

constexpr std::size_t k_cycles = 1000;
constexpr std::size_t k_format_changes = 200;
// A bound on each whole run, far above what it takes, so that a stuck start or stop fails the
// run instead of waiting for the test timeout.
constexpr auto k_run_deadline = 150s;
constexpr auto k_sample_deadline = 5s;

// Grey 200 in BGRA, and the luma the BT.709 studio-range conversion makes of it.
constexpr uint8_t k_grey = 200;
constexpr int k_grey_luma = 188;

bool is_one_of(const sample_t& sample, const std::vector<format_choice_t>& formats) {
    for (const format_choice_t& format : formats)
        if (sample.pixel_format == format.pixel_format && sample.width == std::size_t(format.width) &&
            sample.height == std::size_t(format.height))
            return true;
    return false;
}

TEST_F(start_stop_stress_t, thousand_start_stop_cycles_beside_property_threads_and_a_draining_client) {
    const std::vector<format_choice_t> formats = {{kCVPixelFormatType_422YpCbCr8, 64, 36},
                                                  {kCVPixelFormatType_32BGRA, 64, 36},
                                                  {kCVPixelFormatType_422YpCbCr8, 32, 18},
                                                  {kCVPixelFormatType_32BGRA, 96, 54}};
    // A BGRA picture: '2vuy' streams convert it; 'BGRA' streams, which the receive library would
    // hand BGRX, show black and say so in the log, which is their rule.
    scripted_source::send(flat_frame(ZAVlib_FourCC_video_type_BGRA, 64, 36, k_grey));
    // The first start hands the client its queue, before any other thread uses the client.
    ASSERT_EQ(camera().set_format(formats[0].pixel_format, formats[0].width, formats[0].height), kCMIOHardwareNoError);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);

    std::atomic<std::size_t> wrong_answers{0}, samples{0}, wrong_samples{0}, repeats{0};
    auto reader = std::make_unique<repeating_thread_t>([&] {
        wrong_answers += read_every_property(camera());
        std::this_thread::sleep_for(1ms);
    });
    std::size_t write_round = 0;
    auto writer = std::make_unique<repeating_thread_t>([&] {
        wrong_answers += write_settable_properties(camera(), formats, write_round++);
        std::this_thread::sleep_for(1ms);
    });
    auto drainer = std::make_unique<repeating_thread_t>([&] {
        for (const sample_t& sample : camera().take(16, 20ms)) {
            ++samples;
            repeats += sample.discontinuity != 0;
            wrong_samples += !is_one_of(sample, formats);
        }
    });

    const auto end = std::chrono::steady_clock::now() + k_run_deadline;
    std::size_t cycles = 0, waited_for_a_sample = 0;
    for (; cycles < k_cycles && std::chrono::steady_clock::now() < end; ++cycles) {
        ASSERT_EQ(camera().start(), kCMIOHardwareNoError) << "cycle " << cycles;
        // Now and then the stream runs until a picture reached the client.
        if (cycles % 50 == 0) {
            ASSERT_TRUE(camera().wait_for_altered(camera().altered_count() + 1, k_sample_deadline))
                << "cycle " << cycles;
            ++waited_for_a_sample;
        }
        ASSERT_EQ(camera().stop(), kCMIOHardwareNoError) << "cycle " << cycles;
    }
    const std::size_t reads = reader->stop(), writes = writer->stop();
    drainer->stop();
    for (const sample_t& sample : camera().take(16, 100ms)) wrong_samples += !is_one_of(sample, formats);

    EXPECT_EQ(cycles, k_cycles) << "the run passed its deadline";
    EXPECT_EQ(wrong_answers.load(), 0u);
    EXPECT_EQ(wrong_samples.load(), 0u);
    EXPECT_GE(samples.load(), waited_for_a_sample);
    EXPECT_EQ(repeats.load(), 0u) << "the source never went quiet";
    EXPECT_EQ(scripted_source::live_handles(), 0);
    EXPECT_EQ(count_logged("simple_input_device_t::start_stream unable to start the stream error"), 0u);
    print_counts("start/stop cycles",
                 {{"cycles", std::to_string(cycles)},
                  {"property read rounds", std::to_string(reads)},
                  {"property write rounds", std::to_string(writes)},
                  {"samples drained", std::to_string(samples.load())},
                  {"repeats", std::to_string(repeats.load())},
                  {"receivers created", std::to_string(scripted_source::receivers_created().size())},
                  {"resident memory", mebibytes(double(resident_bytes()))}});
}

TEST_F(start_stop_stress_t, two_hundred_format_changes_between_starts_each_deliver_the_new_format) {
    // Sizes from the smallest to full HD, odd ones included, in both layouts.
    const std::vector<format_choice_t> formats = {
        {kCVPixelFormatType_422YpCbCr8, 1280, 720},  {kCVPixelFormatType_32BGRA, 1920, 1080},
        {kCVPixelFormatType_422YpCbCr8, 642, 362},   {kCVPixelFormatType_32BGRA, 641, 359},
        {kCVPixelFormatType_422YpCbCr8, 2, 2},       {kCVPixelFormatType_32BGRA, 1, 1},
        {kCVPixelFormatType_422YpCbCr8, 1920, 1080}, {kCVPixelFormatType_32BGRA, 1280, 720},
        {kCVPixelFormatType_422YpCbCr8, 98, 50},     {kCVPixelFormatType_32BGRA, 33, 17}};
    const auto end = std::chrono::steady_clock::now() + k_run_deadline;
    std::size_t changes = 0, samples = 0;
    for (; changes < k_format_changes && std::chrono::steady_clock::now() < end; ++changes) {
        const format_choice_t& format = formats[changes % formats.size()];
        SCOPED_TRACE(testing::Message() << "change " << changes << ": " << format.width << 'x' << format.height);
        ASSERT_EQ(camera().set_format(format.pixel_format, format.width, format.height), kCMIOHardwareNoError);
        // A BGRA picture, labelled as the receive library hands it to a stream of each layout.
        scripted_source::send(flat_frame(format.pixel_format == kCVPixelFormatType_32BGRA
                                             ? ZAVlib_FourCC_video_type_BGRX
                                             : ZAVlib_FourCC_video_type_BGRA,
                                         320, 180, k_grey));
        ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
        const std::vector<sample_t> taken = camera().take(1, k_sample_deadline, true);
        ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
        ASSERT_EQ(taken.size(), 1u);
        EXPECT_TRUE(is_one_of(taken[0], {format}));
        const int expected = format.pixel_format == kCVPixelFormatType_422YpCbCr8 ? k_grey_luma : k_grey;
        EXPECT_NEAR(middle_grey(taken[0]), expected, 2);
        samples += 1 + drain(camera());
    }
    EXPECT_EQ(changes, k_format_changes) << "the run passed its deadline";
    EXPECT_EQ(count_logged("simple_input_stream_t::fill unexpected error"), 0u);
    print_counts("format changes", {{"format changes", std::to_string(changes)},
                                    {"samples", std::to_string(samples)},
                                    {"resident memory", mebibytes(double(resident_bytes()))}});
}

}  // namespace
}  // namespace zav_test::stress

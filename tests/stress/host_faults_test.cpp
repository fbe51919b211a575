// Faults a host process brings to the camera: thread creation failing when a stream starts, and
// host calls arriving from several threads at once while the stream runs (property traffic,
// queue requests and starts and stops that name the wrong objects).
#include "client_traffic.h"
#include "repeating_thread.h"
#include "stress_fixture.h"
#include "thread_creation_switch.h"

#include <cerrno>
#include <thread>

namespace zav_test::stress {
namespace {

constexpr auto k_deadline = 5s;

bool logged_starting_with(const std::string& prefix) {
    for (const std::string& message : log_messages())
        if (message.rfind(prefix, 0) == 0) return true;
    return false;
}

class thread_creation_failure_t : public stress_fixture_t {
protected:
    void SetUp() override {
        stress_fixture_t::SetUp();
        ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
        scripted_source::send(flat_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36, 100));
    }
    void TearDown() override {
        thread_creation::fail_with(0);
        stress_fixture_t::TearDown();
    }

    // Starts the stream while no thread can be created.
    OSStatus start_without_threads() {
        const std::size_t refused_before = thread_creation::refused();
        thread_creation::fail_with(EAGAIN);
        const OSStatus status = camera().start();
        thread_creation::fail_with(0);
        m_refused = thread_creation::refused() - refused_before;
        return status;
    }

    std::size_t m_refused = 0;
};

TEST_F(thread_creation_failure_t, start_is_refused_with_a_log_line_and_leaves_the_device_stopped) {
    EXPECT_EQ(start_without_threads(), kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(m_refused, 1u);
    EXPECT_TRUE(logged_starting_with("DeviceStartStream failed: "));
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 0u);
    EXPECT_TRUE(zav_platform::probe::properties_changed().empty()) << "a change of 'running' was reported";
    EXPECT_TRUE(scripted_source::calls().empty()) << "a receiver was made without a thread";
    // The device still knows it is stopped.
    EXPECT_EQ(camera().stop(), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(logged("simple_input_device_t::stop_stream already stopped error"));
}

TEST_F(thread_creation_failure_t, start_after_a_refused_start_streams_pictures) {
    ASSERT_EQ(start_without_threads(), kCMIOHardwareUnspecifiedError);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::vector<sample_t> samples = camera().take(3, k_deadline);
    ASSERT_EQ(samples.size(), 3u);
    EXPECT_EQ(samples[0].sequence_number, 0u);
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 1u);
    EXPECT_EQ(camera().stop(), kCMIOHardwareNoError);
    print_counts("thread creation failure", {{"creations refused", std::to_string(m_refused)},
                                             {"samples after the retry", std::to_string(samples.size())}});
}

// ---- Host calls from several threads while streaming -------------------------------------------

using concurrent_host_calls_t = stress_fixture_t;

// Start, stop and queue requests that must all be refused while the stream runs: a stream id
// that is the device's, ids that belong to nothing, and a start of the running stream.
struct wrong_calls_t {
    std::size_t refused = 0, accepted = 0, rounds = 0;

    void round(const camera_client_t& camera) {
        const CMIOObjectID device = camera.device(), stream = camera.stream(), nothing = 0x7fff0000;
        count(CMIODeviceStartStream(device, device));
        count(CMIODeviceStopStream(device, device));
        count(CMIODeviceStartStream(device, nothing));
        count(CMIODeviceStopStream(device, nothing));
        count(CMIODeviceStartStream(nothing, stream));
        count(CMIODeviceStopStream(nothing, stream));
        count(CMIODeviceStartStream(device, stream));
        ++rounds;
        CMSimpleQueueRef queue = nullptr;
        count(CMIOStreamCopyBufferQueue(device, nullptr, nullptr, &queue));
        accepted += queue != nullptr;
        count(CMIOStreamCopyBufferQueue(nothing, nullptr, nullptr, &queue));
        accepted += queue != nullptr;
    }
    void count(OSStatus status) { (status == kCMIOHardwareNoError ? accepted : refused) += 1; }
};

TEST_F(concurrent_host_calls_t, calls_from_four_threads_while_streaming_leave_the_stream_running_in_order) {
    const std::vector<format_choice_t> formats = {{kCVPixelFormatType_422YpCbCr8, 64, 36},
                                                  {kCVPixelFormatType_32BGRA, 128, 72}};
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    scripted_source::send(flat_frame(ZAVlib_FourCC_video_type_UYVY, 64, 36, 100));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    const std::size_t start_refusals_before = count_logged("simple_input_device_t::start_stream already running error");

    std::atomic<std::size_t> wrong_answers{0};
    wrong_calls_t wrong_ids;
    std::size_t write_round = 0;
    std::vector<std::unique_ptr<repeating_thread_t>> threads;
    threads.push_back(std::make_unique<repeating_thread_t>([&] { wrong_answers += read_every_property(camera(), 1); }));
    threads.push_back(std::make_unique<repeating_thread_t>([&] { wrong_answers += read_every_property(camera(), 1); }));
    threads.push_back(std::make_unique<repeating_thread_t>(
        [&] { wrong_answers += write_settable_properties(camera(), formats, write_round++); }));
    threads.push_back(std::make_unique<repeating_thread_t>([&] {
        wrong_ids.round(camera());
        // Each refusal writes a log line: a short pause keeps the log of the run small.
        std::this_thread::sleep_for(1ms);
    }));

    // This thread is the client: it drains while the others call, for about three seconds of
    // pictures.
    std::vector<sample_t> samples;
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (samples.size() < 90 && std::chrono::steady_clock::now() < end) {
        std::vector<sample_t> taken = camera().take(90 - samples.size(), 100ms);
        samples.insert(samples.end(), taken.begin(), taken.end());
    }
    std::vector<std::size_t> rounds;
    for (auto& thread : threads) rounds.push_back(thread->stop());
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 1u);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);

    ASSERT_EQ(samples.size(), 90u);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(samples[i].sequence_number, i);
        EXPECT_EQ(samples[i].discontinuity, 0u);
        // The format chosen while running applies from the next start on.
        EXPECT_EQ(samples[i].pixel_format, OSType(kCVPixelFormatType_422YpCbCr8));
        EXPECT_EQ(samples[i].width, 64u);
    }
    EXPECT_EQ(wrong_answers.load(), 0u);
    EXPECT_EQ(wrong_ids.accepted, 0u);
    // Each refusal by the device wrote its one line: the three starts that name the device are
    // refused because it runs, the two stops because they name another stream.
    EXPECT_EQ(count_logged("simple_input_device_t::start_stream already running error") - start_refusals_before,
              3 * wrong_ids.rounds);
    EXPECT_EQ(count_logged("simple_input_device_t::start_stream unexpected error"), 2 * wrong_ids.rounds);
    print_counts("concurrent host calls", {{"samples", std::to_string(samples.size())},
                                           {"property read rounds", std::to_string(rounds[0] + rounds[1])},
                                           {"property write rounds", std::to_string(rounds[2])},
                                           {"wrong-id rounds", std::to_string(rounds[3])},
                                           {"calls refused", std::to_string(wrong_ids.refused)}});
}

}  // namespace
}  // namespace zav_test::stress

// The shipped bundle, with the real receive library, streaming from zav-send over loopback while
// the sender is killed and started again: every gap shows as repeats of the last picture marked
// as discontinuities, and new pictures follow each restart.
#include "child_process.h"
#include "stress_counts.h"
#include "syslog_capture.h"
#include "zav_camera_client.h"

#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>
#include <zav_platform/probe.h>

#include <cstdlib>
#include <memory>

namespace zav_test::stress {
namespace {

using namespace std::chrono_literals;

constexpr int k_restarts = 20;
constexpr std::size_t k_pictures_per_run = 3;
constexpr std::size_t k_repeats_per_gap = 3;

class sender_restart_t : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = testing::TempDir() + "zav_stress_sender_" + std::to_string(getpid());
        ASSERT_EQ(std::system(("rm -rf " + m_dir + " && mkdir -p " + m_dir).c_str()), 0);
        // zav-send writes its line into this folder's sources file, the only one the receive
        // library reads in this process.
        setenv("ZAV_SOURCES", (m_dir + "/zav/sources").c_str(), 1);
        m_port = free_loopback_port();
        ASSERT_NE(m_port, 0);
        // The DNS-SD client library the receive library links stays loaded when the bundle is
        // unloaded at the end, as system libraries stay in a real host (which never unloads
        // plug-ins); ThreadSanitizer, which ignores that library's own locking, cannot have it go.
        dlopen("libdns_sd.so.1", RTLD_NOW | RTLD_NODELETE);
        use_plugin_folder(ZAV_PLUGIN_DIR);
        zav_platform::probe::clear_failures();
        clear_log();
        m_live_at_start = zav_platform::probe::live_object_count();
        m_client = std::make_unique<camera_client_t>();
        ASSERT_TRUE(m_client->found()) << "ZAV Video was not loaded from " ZAV_PLUGIN_DIR;
    }

    void TearDown() override {
        if (m_sender) m_sender->stop(SIGTERM, 10s);
        m_client.reset();
        zav_platform::probe::unload_plug_ins();
        EXPECT_EQ(zav_platform::probe::live_object_count(), m_live_at_start)
            << "Core Foundation objects alive after stop and teardown: " << live_objects_text();
        unsetenv("ZAV_SOURCES");
        std::system(("rm -rf " + m_dir).c_str());
        print_counts("after teardown",
                     {{"Core Foundation objects alive",
                       std::to_string(zav_platform::probe::live_object_count()) + " (" + live_objects_text() + ")"}});
    }

    // Starts zav-send under the name the plug-in looks for, on the same port every time.
    bool start_sender() {
        m_sender = std::make_unique<child_process_t>(
            std::vector<std::string>{ZAV_SEND_PATH, "--name", "ZAV Virtual Input", "--size", "320x180", "--rate", "30",
                                     "--format", "uyvy", "--port", std::to_string(m_port), "--no-dnssd"},
            std::vector<std::string>{"XDG_CONFIG_HOME=" + m_dir});
        return m_sender->started() && wait_for_listener(m_port, 10s);
    }

    // Takes samples until `enough` says so or the deadline passes; checks that none is missing.
    template <class enough_t>
    bool take_until(enough_t&& enough, std::chrono::milliseconds deadline) {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (std::chrono::steady_clock::now() < end) {
            for (sample_t& sample : camera().take(1, 100ms, true)) {
                EXPECT_EQ(sample.sequence_number, m_next_sequence) << "a sample is missing";
                m_next_sequence = sample.sequence_number + 1;
                if (enough(sample)) return true;
            }
        }
        return false;
    }

    camera_client_t& camera() { return *m_client; }

    std::unique_ptr<child_process_t> m_sender;
    uint64_t m_next_sequence = 0;

private:
    std::string m_dir;
    uint16_t m_port = 0;
    std::unique_ptr<camera_client_t> m_client;
    std::size_t m_live_at_start = 0;
};

// A repeat is the last picture sent, marked as a discontinuity, at a fresh wall-clock time.
void check_repeat(const sample_t& sample, const std::vector<uint8_t>& last_new) {
    EXPECT_EQ(sample.discontinuity, uint32_t(kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity));
    EXPECT_TRUE(sample.pixels == last_new) << "a repeat shows another picture";
    const int32_t timescale = sample.presentation_time.timescale;
    EXPECT_EQ(timescale, 1000000000);
}

TEST_F(sender_restart_t, sender_killed_twenty_times_shows_repeats_in_each_gap_and_new_pictures_after_it) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 320, 180), kCMIOHardwareNoError);
    ASSERT_TRUE(start_sender());
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);

    std::size_t new_pictures = 0, repeats = 0, gaps = 0, distinct_after_restart = 0;
    std::vector<uint8_t> last_new;
    for (int run = 0; run <= k_restarts; ++run) {
        SCOPED_TRACE(testing::Message() << "sender run " << run);
        // New pictures from the sender, at least one unlike the picture repeated in the gap.
        std::size_t fresh = 0;
        bool changed = run == 0;
        const std::vector<uint8_t> repeated = last_new;
        ASSERT_TRUE(take_until(
            [&](sample_t& sample) {
                if (sample.discontinuity != 0) {
                    check_repeat(sample, last_new);  // the gap goes on until the receiver is back
                    ++repeats;
                    return false;
                }
                ++new_pictures;
                ++fresh;
                changed |= sample.pixels != repeated;
                last_new = std::move(sample.pixels);
                return fresh >= k_pictures_per_run && changed;
            },
            15s))
            << "no new pictures from the sender";
        distinct_after_restart += run > 0;
        if (run == k_restarts) break;

        ASSERT_NE(m_sender->stop(SIGKILL, 10s), -1);
        // The gap: the last picture again, each time marked as a discontinuity.
        std::size_t in_gap = 0;
        ASSERT_TRUE(take_until(
            [&](sample_t& sample) {
                if (sample.discontinuity == 0) {
                    ++new_pictures;
                    last_new = std::move(sample.pixels);  // pulled before the sender died
                    return false;
                }
                check_repeat(sample, last_new);
                ++repeats;
                return ++in_gap >= k_repeats_per_gap;
            },
            10s))
            << "no repeats after the sender was killed";
        ++gaps;
        ASSERT_TRUE(start_sender()) << "zav-send did not listen again";
    }
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);

    EXPECT_EQ(gaps, std::size_t(k_restarts));
    EXPECT_EQ(distinct_after_restart, std::size_t(k_restarts));
    print_counts("sender killed and restarted", {{"restarts", std::to_string(gaps)},
                                                 {"new pictures", std::to_string(new_pictures)},
                                                 {"repeats", std::to_string(repeats)},
                                                 {"samples", std::to_string(m_next_sequence)},
                                                 {"resident memory", mebibytes(double(resident_bytes()))}});
}

}  // namespace
}  // namespace zav_test::stress

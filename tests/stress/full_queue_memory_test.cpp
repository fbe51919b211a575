// A client that stops draining for five seconds and then drains again. Each sample the full
// queue refuses is lost and, by the host contract, neither retried nor released, so it keeps its
// picture alive: the run measures what that costs (resident memory, live objects by type) and
// prints it. Those samples stay alive on purpose, so this run is a program of its own whose leak
// report leaves the platform's objects out (the run counts them itself).
#include "stress_fixture.h"

#include <thread>

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libzav_platform.so\n";
}

namespace zav_test::stress {
namespace {

constexpr auto k_pause = 5s;
constexpr auto k_deadline = 10s;
constexpr std::size_t k_queue_capacity = 16;

using stalled_client_t = stress_fixture_t;

std::size_t live(CFTypeID type) {
    return zav_platform::probe::live_object_count(type);
}

TEST_F(stalled_client_t, client_that_stops_draining_for_five_seconds_costs_one_picture_per_refused_sample) {
    // The default format, which a client that never chooses gets: '2vuy' 1280x720 at 30 fps.
    const std::size_t picture_bytes = 1280 * 720 * 2;
    scripted_source::send(flat_frame(ZAVlib_FourCC_video_type_UYVY, 1280, 720, 100));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    // Drained for a while first, so that the pool and the fill's buffers exist before measuring.
    std::vector<sample_t> taken = camera().take(10, k_deadline);
    ASSERT_EQ(taken.size(), 10u);
    const std::size_t told_before = camera().altered_count();
    const std::size_t rss_before = resident_bytes();

    std::this_thread::sleep_for(k_pause);
    const std::size_t told_during = camera().altered_count() - told_before;
    const std::size_t rss_stalled = resident_bytes();
    const std::size_t samples_stalled = live(CMSampleBufferGetTypeID());
    const std::size_t buffers_stalled = live(CVPixelBufferGetTypeID());
    const std::string objects_stalled = live_objects_text();
    EXPECT_EQ(camera().queued(), k_queue_capacity);

    // Draining again: the sixteen kept samples first, then new pictures in order.
    std::vector<sample_t> after = camera().take(k_queue_capacity + 30, k_deadline);
    ASSERT_EQ(after.size(), k_queue_capacity + 30);
    const std::size_t rss_drained = resident_bytes();
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    const std::size_t rest = drain(camera());
    const std::size_t told = camera().altered_count();
    m_refused_samples = told - taken.size() - after.size() - rest;

    // The client was told of every sample; those it finds are the oldest, then the newest.
    for (std::size_t i = 0; i < k_queue_capacity; ++i)
        EXPECT_EQ(after[i].sequence_number, taken.back().sequence_number + 1 + i) << i;
    EXPECT_GT(after[k_queue_capacity].sequence_number, after[k_queue_capacity - 1].sequence_number + 1)
        << "no sample was refused while the queue was full";
    for (std::size_t i = k_queue_capacity + 1; i < after.size(); ++i)
        EXPECT_EQ(after[i].sequence_number, after[i - 1].sequence_number + 1) << i;
    EXPECT_GT(m_refused_samples, 0u);
    // Every sample alive holds a picture of its own, which the pool cannot recycle.
    EXPECT_GE(samples_stalled, k_queue_capacity);
    EXPECT_GE(buffers_stalled, samples_stalled);

    const double growth = double(rss_stalled) - double(rss_before);
    const std::size_t refused_while_stalled = told_during - k_queue_capacity;
    print_counts("client that stops draining for 5 s",
                 {{"samples told while stalled", std::to_string(told_during)},
                  {"samples refused in all", std::to_string(m_refused_samples)},
                  {"objects alive while stalled", objects_stalled},
                  {"resident memory growth while stalled", mebibytes(growth)},
                  {"growth per refused sample", mebibytes(growth / double(refused_while_stalled))},
                  {"picture size", mebibytes(double(picture_bytes))},
                  {"resident memory after draining", mebibytes(double(rss_drained) - double(rss_before))}});
}

}  // namespace
}  // namespace zav_test::stress

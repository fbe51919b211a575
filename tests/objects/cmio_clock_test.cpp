// The stream clock owner: what it asks the host to create, the events it forwards, what it
// invalidates. Seen through the platform layer's records of the calls.
#include "objects/cmio_clock.h"

#include "cf_leak_fixture.h"

#include <memory>
#include <string>
#include <vector>

namespace {

using Drivers::Mac::ZAV::VirtualCamera::cmio_clock_t;
using namespace zav_test;
namespace probe = zav_platform::probe;

const std::string k_clock_name = "com.mivora.zav.virtualcamera.clock";

class cmio_clock_test : public cf_leak_fixture_t {};

TEST_F(cmio_clock_test, creates_one_clock_with_the_given_parameters) {
    int source = 0;
    cmio_clock_t clock(k_clock_name, CMTimeMake(1, 10), 100, 10, &source);
    ASSERT_NE(clock.get_ref(), nullptr);
    const auto created = probe::clocks_created();
    ASSERT_EQ(created.size(), 1u);
    const auto& c = created[0];
    EXPECT_EQ(std::make_tuple(c.clock, c.name, c.resolution.value, c.resolution.timescale, c.events_for_rate_smoothing,
                              c.averages_for_rate_smoothing, c.source_identifier),
              std::make_tuple(clock.get_ref(), k_clock_name, 1, 10, 100u, 10u, static_cast<const void*>(&source)));
    EXPECT_EQ(CFGetRetainCount(clock.get_ref()), 1) << "the name string is not kept alive by the owner";
    EXPECT_EQ(objects_created_since_start(), 1) << "only the clock, the temporary name is gone";
}

TEST_F(cmio_clock_test, forwards_timing_events_as_given) {
    cmio_clock_t clock(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    ASSERT_NE(clock.get_ref(), nullptr);
    clock.post_timing_event(CMTimeMake(1700000000, 1000000000), 1700000000ull, 1);
    clock.post_timing_event(CMTimeMake(1733366667, 1000000000), 1700000001ull, 0);
    using event_t = std::tuple<CFTypeRef, CMTimeValue, CMTimeScale, UInt64, bool>;
    std::vector<event_t> events;
    for (const auto& e : probe::clock_events())
        events.emplace_back(e.clock, e.event_time.value, e.event_time.timescale, e.host_time, e.resynchronize);
    EXPECT_EQ(events, (std::vector<event_t>{{clock.get_ref(), 1700000000, 1000000000, 1700000000ull, true},
                                            {clock.get_ref(), 1733366667, 1000000000, 1700000001ull, false}}));
    EXPECT_TRUE(log_messages().empty());
}

TEST_F(cmio_clock_test, destruction_invalidates_then_releases_the_clock) {
    auto clock = std::make_unique<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    const CFTypeRef reference = clock->get_ref();
    // A client that still holds the clock sees it invalidated, and keeps its own reference.
    CFRetain(reference);
    clock.reset();
    EXPECT_EQ(probe::clocks_invalidated(), std::vector<CFTypeRef>{reference});
    EXPECT_EQ(CFGetRetainCount(reference), 1) << "the owner's reference is released";
    CFRelease(reference);
}

TEST_F(cmio_clock_test, a_clock_the_host_refuses_is_empty_and_nothing_is_invalidated) {
    probe::set_failure(probe::failing_call_t::stream_clock_create, kCMIOHardwareUnspecifiedError);
    auto clock = std::make_unique<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    EXPECT_EQ(clock->get_ref(), nullptr);
    EXPECT_EQ(objects_created_since_start(), 0) << "the temporary name is released on failure too";
    clock.reset();
    EXPECT_TRUE(probe::clocks_created().empty());
    EXPECT_TRUE(probe::clocks_invalidated().empty()) << "nothing to invalidate";
}

}  // namespace

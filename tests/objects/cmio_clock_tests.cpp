// The stream clock owner: what it asks the host to create, how it forwards timing events, and
// that it invalidates and releases exactly what it created.
#include "objects/cmio_clock.h"

#include "cf_leak_fixture.h"
#include "syslog_capture.h"

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Drivers::Mac::ZAV::VirtualCamera::cmio_clock_t;
namespace probe = zav_platform::probe;

const std::string k_clock_name = "com.mivora.zav.virtualcamera.clock";

class cmio_clock_test : public zav_test::cf_leak_fixture_t {};

TEST_F(cmio_clock_test, creates_one_clock_and_forwards_timing_events_as_given)
{
    int source = 0;
    cmio_clock_t clock(k_clock_name, CMTimeMake(1, 10), 100, 10, &source);
    ASSERT_NE(clock.get_ref(), nullptr);
    const auto created = probe::clocks_created();
    ASSERT_EQ(created.size(), 1u);
    EXPECT_EQ(created[0].clock, clock.get_ref());
    EXPECT_EQ(created[0].name, k_clock_name);
    EXPECT_EQ(created[0].resolution.value, 1);
    EXPECT_EQ(created[0].resolution.timescale, 10);
    EXPECT_EQ(created[0].events_for_rate_smoothing, 100u);
    EXPECT_EQ(created[0].averages_for_rate_smoothing, 10u);
    EXPECT_EQ(created[0].source_identifier, &source);
    EXPECT_EQ(CFGetRetainCount(clock.get_ref()), 1) << "the name string is not kept alive by the owner";
    EXPECT_EQ(objects_created_since_start(), 1) << "only the clock, the temporary name is gone";

    clock.post_timing_event(CMTimeMake(1700000000, 1000000000), 1700000000ull, 1);
    clock.post_timing_event(CMTimeMake(1733366667, 1000000000), 1700000001ull, 0);
    const auto events = probe::clock_events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].clock, clock.get_ref());
    EXPECT_EQ(events[0].event_time.value, 1700000000);
    EXPECT_EQ(events[0].event_time.timescale, 1000000000);
    EXPECT_EQ(events[0].host_time, 1700000000ull);
    EXPECT_TRUE(events[0].resynchronize);
    EXPECT_EQ(events[1].event_time.value, 1733366667);
    EXPECT_EQ(events[1].host_time, 1700000001ull);
    EXPECT_FALSE(events[1].resynchronize);
    EXPECT_TRUE(zav_test::log_messages().empty());
}

TEST_F(cmio_clock_test, destruction_invalidates_then_releases_the_clock)
{
    auto clock = std::make_unique<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
    const CFTypeRef reference = clock->get_ref();
    // A client that still holds the clock sees it invalidated, and keeps its own reference.
    CFRetain(reference);
    clock.reset();
    EXPECT_EQ(probe::clocks_invalidated(), std::vector<CFTypeRef>{reference});
    EXPECT_EQ(CFGetRetainCount(reference), 1) << "the owner's reference is released";
    CFRelease(reference);
}

TEST_F(cmio_clock_test, refused_creation_leaves_an_empty_owner)
{
    probe::set_failure(probe::failing_call_t::stream_clock_create, kCMIOHardwareUnspecifiedError);
    {
        cmio_clock_t clock(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
        EXPECT_EQ(clock.get_ref(), nullptr);
        EXPECT_EQ(objects_created_since_start(), 0) << "the temporary name is released on failure too";
    }
    EXPECT_TRUE(probe::clocks_created().empty());
    EXPECT_TRUE(probe::clocks_invalidated().empty()) << "nothing to invalidate";
}

}  // namespace

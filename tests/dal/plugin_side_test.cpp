// The calls a plug-in makes, used the way a plug-in's own unit tests use them: with plug-in
// refs the DAL system never loaded. Object ids, the probe records, the failure switches,
// stream clocks, sample-buffer attachments and host time.
#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>
#include <mach/mach_time.h>
#include <zav_platform/probe.h>

#include <cstdlib>
#include <set>
#include <thread>

namespace probe = zav_platform::probe;

namespace {

// Any non-null value will do as the ref of a plug-in nobody loaded.
CMIOHardwarePlugInRef fake_plugin() {
    static CMIOHardwarePlugInInterface table{};
    static CMIOHardwarePlugInInterface* pointer = &table;
    return &pointer;
}

const CMIOObjectPropertyAddress k_name{kCMIOObjectPropertyName, kCMIOObjectPropertyScopeGlobal,
                                      kCMIOObjectPropertyElementMain};

class plugin_side_t : public ::testing::Test {
protected:
    void SetUp() override {
        probe::clear_failures();
        probe::clear_records();
    }
    void TearDown() override { probe::clear_failures(); }

    CMIOObjectID create(CMIOObjectID owner, CMIOClassID class_id) {
        CMIOObjectID id = kCMIOObjectUnknown;
        EXPECT_EQ(CMIOObjectCreate(fake_plugin(), owner, class_id, &id), noErr);
        return id;
    }
};

// ---- Objects -------------------------------------------------------------------------------------

TEST_F(plugin_side_t, created_objects_get_unique_ids_across_threads_and_are_recorded) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    constexpr int k_threads = 4, k_each = 200;
    std::vector<std::vector<CMIOObjectID>> made(k_threads);
    std::vector<std::thread> threads;
    for (int t = 0; t < k_threads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < k_each; ++i) {
                CMIOObjectID id = kCMIOObjectUnknown;
                // A null plug-in ref is accepted, as a plug-in's own unit tests pass one.
                if (CMIOObjectCreate(t == 0 ? nullptr : fake_plugin(), device, kCMIOStreamClassID, &id) == noErr)
                    made[t].push_back(id);
            }
        });
    for (std::thread& t : threads) t.join();
    std::set<CMIOObjectID> all{device};
    for (const auto& list : made) all.insert(list.begin(), list.end());
    EXPECT_EQ(all.size(), std::size_t(k_threads * k_each + 1));
    EXPECT_EQ(all.count(kCMIOObjectUnknown), 0u);
    EXPECT_EQ(all.count(kCMIOObjectSystemObject), 0u);
    std::vector<probe::created_object_t> records = probe::created_objects();
    ASSERT_EQ(records.size(), std::size_t(k_threads * k_each + 1));
    EXPECT_EQ(records[0].object_id, device);
    EXPECT_EQ(records[0].class_id, CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(records[0].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(records[1].owner_id, device);
}

TEST_F(plugin_side_t, publishing_and_property_changes_are_recorded_in_order) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    const CMIOObjectID streams[2] = {create(device, kCMIOStreamClassID), create(device, kCMIOStreamClassID)};
    ASSERT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), device, 2, streams, 0, nullptr), noErr);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 1, &device, 1, &streams[1]), noErr);
    std::vector<probe::published_and_died_t> records = probe::published_and_died();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].owner_id, device);
    EXPECT_EQ(records[0].published, (std::vector<CMIOObjectID>{streams[0], streams[1]}));
    EXPECT_TRUE(records[0].died.empty());
    EXPECT_EQ(records[1].published, std::vector<CMIOObjectID>{device});
    EXPECT_EQ(records[1].died, std::vector<CMIOObjectID>{streams[1]});
    // Property-change notices are recorded with their addresses.
    const CMIOObjectPropertyAddress changed[2] = {k_name, {kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput, 2}};
    ASSERT_EQ(CMIOObjectPropertiesChanged(nullptr, device, 2, changed), noErr);
    EXPECT_EQ(CMIOObjectPropertiesChanged(nullptr, device, 1, nullptr), kCMIOHardwareIllegalOperationError);
    std::vector<probe::properties_changed_t> changes = probe::properties_changed();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].object_id, device);
    ASSERT_EQ(changes[0].addresses.size(), 2u);
    EXPECT_EQ(changes[0].addresses[1].mScope, UInt32(kCMIODevicePropertyScopeInput));
    EXPECT_EQ(changes[0].addresses[1].mElement, 2u);
    probe::clear_records();
    EXPECT_TRUE(probe::properties_changed().empty());
}

TEST_F(plugin_side_t, publishing_refuses_unknown_ids_and_bad_arrays_and_death_is_recursive) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    const CMIOObjectID never_made = 0x7FFFFFF0;
    const CMIOObjectID both[2] = {device, never_made};
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 2, both, 0, nullptr),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 1, nullptr, 0, nullptr),
              kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 0, nullptr, 2, nullptr),
              kCMIOHardwareIllegalOperationError);
    EXPECT_TRUE(probe::published_and_died().empty());
    // Retiring an object that is already gone is harmless.
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 0, nullptr, 1, &never_made), noErr);
    // A dead object takes what it owns with it: the stream cannot be published again.
    const CMIOObjectID stream = create(device, kCMIOStreamClassID);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), device, 1, &stream, 0, nullptr), noErr);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 0, nullptr, 1, &device), noErr);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), device, 1, &stream, 0, nullptr), kCMIOHardwareBadObjectError);
}

TEST_F(plugin_side_t, failure_switches_return_their_status_without_recording) {
    probe::set_failure(probe::failing_call_t::object_create, kCMIOHardwareUnspecifiedError);
    CMIOObjectID id = 12345;
    EXPECT_EQ(CMIOObjectCreate(fake_plugin(), kCMIOObjectSystemObject, kCMIODeviceClassID, &id),
              kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(id, 12345u);
    EXPECT_TRUE(probe::created_objects().empty());
    probe::set_failure(probe::failing_call_t::object_create, 0);
    EXPECT_EQ(CMIOObjectCreate(fake_plugin(), kCMIOObjectSystemObject, kCMIODeviceClassID, nullptr),
              kCMIOHardwareIllegalOperationError);
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    probe::set_failure(probe::failing_call_t::objects_published_and_died, kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 1, &device, 0, nullptr),
              kCMIOHardwareIllegalOperationError);
    probe::set_failure(probe::failing_call_t::properties_changed, kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(CMIOObjectPropertiesChanged(fake_plugin(), device, 1, &k_name), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(probe::published_and_died().empty());
    EXPECT_TRUE(probe::properties_changed().empty());
    probe::clear_failures();
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 1, &device, 0, nullptr), noErr);
}

TEST_F(plugin_side_t, plugin_side_calls_never_load_plugins) {
    probe::unload_plug_ins();
    setenv("CMIO_DAL_PLUGIN_PATH", ZAV_TEST_PLUGIN_DIR, 1);
    probe::clear_records();
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 1, &device, 0, nullptr), noErr);
    ASSERT_EQ(CMIOObjectPropertiesChanged(fake_plugin(), device, 1, &k_name), noErr);
    CFTypeRef clock = nullptr;
    ASSERT_EQ(CMIOStreamClockCreate(nullptr, CFSTR("c"), nullptr, CMTimeMake(1, 10), 2, 2, &clock), noErr);
    CFRelease(clock);
    // Loading the test camera would have made its device here.
    EXPECT_EQ(probe::created_objects().size(), 1u);
    CMIOObjectsPublishedAndDied(fake_plugin(), kCMIOObjectSystemObject, 0, nullptr, 1, &device);
    unsetenv("CMIO_DAL_PLUGIN_PATH");
}

// ---- Stream clocks -------------------------------------------------------------------------------

class stream_clock_test_t : public plugin_side_t {
protected:
    void SetUp() override {
        plugin_side_t::SetUp();
        ASSERT_EQ(CMIOStreamClockCreate(kCFAllocatorDefault, CFSTR("Test clock"), &m_source, CMTimeMake(1, 100), 4, 2,
                                        &m_clock),
                  noErr);
    }
    void TearDown() override {
        if (m_clock != nullptr) CFRelease(m_clock);
        plugin_side_t::TearDown();
    }
    static constexpr UInt64 k_second = 1000000000ull;   // host ticks (timebase 1/1)
    int m_source = 0;
    CFTypeRef m_clock = nullptr;
};

TEST_F(stream_clock_test_t, extrapolates_from_the_first_event_at_the_measured_rate_until_resynchronised) {
    EXPECT_FALSE(CMTIME_IS_VALID(CMIOStreamClockConvertHostTimeToDeviceTime(5 * k_second, m_clock)));
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(300, 30), 100 * k_second, true, m_clock), noErr);
    const CMTime later = CMIOStreamClockConvertHostTimeToDeviceTime(100 * k_second + k_second / 2, m_clock);
    ASSERT_TRUE(CMTIME_IS_VALID(later));
    EXPECT_EQ(later.timescale, 30);
    EXPECT_EQ(later.value, 315);  // rate one until a rate is measured
    EXPECT_EQ(CMIOStreamClockConvertHostTimeToDeviceTime(99 * k_second, m_clock).value, 270);
    // Resynchronised to a device that runs twice as fast as the host.
    for (int i = 0; i <= 4; ++i)
        ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(2000 * i, 1000), UInt64(i) * k_second, i == 0, m_clock),
                  noErr);
    EXPECT_NEAR(CMTimeGetSeconds(CMIOStreamClockConvertHostTimeToDeviceTime(5 * k_second, m_clock)), 10.0, 1e-6);
    // Resynchronising forgets the old rate.
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(1000, 1), 10 * k_second, true, m_clock), noErr);
    EXPECT_NEAR(CMTimeGetSeconds(CMIOStreamClockConvertHostTimeToDeviceTime(11 * k_second, m_clock)), 1001.0, 1e-6);
}

// Creation, events and invalidation are recorded; events that are bad or come too late are not.
TEST_F(stream_clock_test_t, records_creation_events_and_invalidation_and_refuses_bad_events) {
    std::vector<probe::clock_created_t> records = probe::clocks_created();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].clock, m_clock);
    EXPECT_EQ(records[0].name, "Test clock");
    EXPECT_EQ(records[0].resolution.value, 1);
    EXPECT_EQ(records[0].resolution.timescale, 100);
    EXPECT_EQ(records[0].events_for_rate_smoothing, 4u);
    EXPECT_EQ(records[0].averages_for_rate_smoothing, 2u);
    EXPECT_EQ(records[0].source_identifier, &m_source);
    EXPECT_EQ(CFGetRetainCount(m_clock), 1);
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(1, 30), 42, true, m_clock), noErr);
    EXPECT_EQ(CMIOStreamClockInvalidate(nullptr), kCMIOHardwareIllegalOperationError);
    ASSERT_EQ(CMIOStreamClockInvalidate(m_clock), noErr);
    const struct {
        CMTime m_time;
        CFTypeRef m_clock;
    } refused[] = {
        {kCMTimeInvalid, m_clock},         // no time
        {CMTimeMake(1, 30), nullptr},      // no clock
        {CMTimeMake(1, 30), CFSTR("c")},   // a CF object of another type
        {CMTimeMake(2, 30), m_clock},      // an invalidated clock
    };
    for (const auto& event : refused)
        EXPECT_EQ(CMIOStreamClockPostTimingEvent(event.m_time, 43, false, event.m_clock),
                  kCMIOHardwareIllegalOperationError) << event.m_time.value;
    EXPECT_FALSE(CMTIME_IS_VALID(CMIOStreamClockConvertHostTimeToDeviceTime(43, m_clock)));
    std::vector<probe::clock_event_t> events = probe::clock_events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].clock, m_clock);
    EXPECT_EQ(events[0].host_time, 42u);
    EXPECT_EQ(events[0].event_time.value, 1);
    EXPECT_TRUE(events[0].resynchronize);
    EXPECT_EQ(probe::clocks_invalidated(), std::vector<CFTypeRef>{m_clock});
}

TEST_F(plugin_side_t, clock_failure_switch_and_leak_check) {
    const std::size_t live = probe::live_object_count();
    probe::set_failure(probe::failing_call_t::stream_clock_create, kCMIOHardwareUnspecifiedError);
    CFTypeRef clock = nullptr;
    EXPECT_EQ(CMIOStreamClockCreate(nullptr, CFSTR("c"), nullptr, CMTimeMake(1, 10), 2, 2, &clock),
              kCMIOHardwareUnspecifiedError);
    EXPECT_EQ(clock, nullptr);
    EXPECT_TRUE(probe::clocks_created().empty());
    probe::clear_failures();
    ASSERT_EQ(CMIOStreamClockCreate(nullptr, nullptr, nullptr, CMTimeMake(1, 10), 0, 0, &clock), noErr);
    EXPECT_EQ(probe::live_object_count(), live + 1);
    CFRelease(clock);
    EXPECT_EQ(probe::live_object_count(), live);
    EXPECT_EQ(CMIOStreamClockCreate(nullptr, nullptr, nullptr, CMTimeMake(1, 10), 0, 0, nullptr),
              kCMIOHardwareIllegalOperationError);
}

// ---- Sample buffers ------------------------------------------------------------------------------

class sample_buffer_test_t : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CVPixelBufferCreate(nullptr, 32, 16, kCVPixelFormatType_32BGRA, nullptr, &m_pixels), kCVReturnSuccess);
        ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, m_pixels, &m_format), noErr);
        m_timing = {CMTimeMake(1, 25), CMTimeMake(7, 25), kCMTimeInvalid};
    }
    void TearDown() override {
        for (CFTypeRef made : {CFTypeRef(m_format), CFTypeRef(m_pixels)})
            if (made != nullptr) CFRelease(made);
    }
    CVPixelBufferRef m_pixels = nullptr;
    CMVideoFormatDescriptionRef m_format = nullptr;
    CMSampleTimingInfo m_timing{};
};

TEST_F(sample_buffer_test_t, created_buffer_carries_sequence_flags_and_timing_and_needs_every_argument) {
    CMSampleBufferRef sample = nullptr;
    const UInt64 sequence = (UInt64(1) << 40) + 3;
    ASSERT_EQ(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, sequence,
                                                   kCMIOSampleBufferDiscontinuityFlag_PacketError, &sample),
              noErr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(sample), sequence);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(sample), UInt32(kCMIOSampleBufferDiscontinuityFlag_PacketError));
    EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(sample).value, 7);
    EXPECT_EQ(CMSampleBufferGetImageBuffer(sample), m_pixels);
    EXPECT_TRUE(CMSampleBufferDataIsReady(sample));

    CMIOSampleBufferSetSequenceNumber(nullptr, sample, kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(sample), kCMIOInvalidSequenceNumber);
    CMIOSampleBufferSetDiscontinuityFlags(nullptr, sample, 0xFFFFFFFFu);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(sample), 0xFFFFFFFFu);
    CFRelease(sample);
    EXPECT_FALSE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_DurationWasExtended));
    EXPECT_TRUE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_PacketError));
    // Missing arguments are refused.
    sample = nullptr;
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, nullptr, m_format, &m_timing, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, nullptr, &m_timing, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, nullptr, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, 0, 0, nullptr), noErr);
    EXPECT_EQ(sample, nullptr);
    // Reading a buffer that has no CMIO attachments, or no buffer at all.
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(nullptr), kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(nullptr), UInt32(kCMIOSampleBufferNoDiscontinuities));
    CMSampleBufferRef plain = nullptr;
    ASSERT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, m_pixels, m_format, &m_timing, &plain), noErr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(plain), kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(plain), UInt32(kCMIOSampleBufferNoDiscontinuities));
    CFRelease(plain);
}

TEST_F(sample_buffer_test_t, non_required_attachments_copy_without_sequence_and_flags) {
    CMSampleBufferRef source = nullptr;
    CMSampleBufferRef destination = nullptr;
    ASSERT_EQ(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, 5, 1, &source), noErr);
    ASSERT_EQ(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, 9, 0, &destination), noErr);
    CMSetAttachment(source, kCMIOSampleBufferAttachmentKey_HostTime, kCFBooleanTrue, kCMAttachmentMode_ShouldPropagate);
    ASSERT_EQ(CMIOSampleBufferCopyNonRequiredAttachments(source, destination, kCMAttachmentMode_ShouldPropagate), noErr);
    EXPECT_EQ(CMGetAttachment(destination, kCMIOSampleBufferAttachmentKey_HostTime, nullptr), kCFBooleanTrue);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(destination), 9u);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(destination), 0u);
    ASSERT_EQ(CMIOSampleBufferCopySampleAttachments(source, destination), noErr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(destination), 5u);
    CFRelease(source);
    CFRelease(destination);
}

// ---- Host time -----------------------------------------------------------------------------------

TEST(host_time, ticks_are_monotonic_nanoseconds) {
    mach_timebase_info_data_t timebase{};
    ASSERT_EQ(mach_timebase_info(&timebase), KERN_SUCCESS);
    EXPECT_EQ(timebase.numer, 1u);
    EXPECT_EQ(timebase.denom, 1u);
    const uint64_t before = mach_absolute_time();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const uint64_t elapsed = mach_absolute_time() - before;
    EXPECT_GE(elapsed, 20000000u);
    EXPECT_LT(elapsed, 5000000000u);
}

}  // namespace

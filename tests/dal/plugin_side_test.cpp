// The calls a plug-in makes, used the way a plug-in's own unit tests use them: with plug-in
// refs the DAL system never loaded. Object ids, the probe records, the failure switches,
// stream clocks and sample buffers.
#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>
#include <zav_platform/probe.h>

#include <cstdlib>
#include <functional>
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

// The test camera is in the search path, so a plug-in-side call that loaded plug-ins would show
// up as extra records in every test here.
class plugin_side_t : public ::testing::Test {
protected:
    void SetUp() override {
        probe::unload_plug_ins();
        setenv("CMIO_DAL_PLUGIN_PATH", ZAV_TEST_PLUGIN_DIR, 1);
        probe::clear_failures();
        probe::clear_records();
    }
    void TearDown() override { probe::clear_failures(); }

    CMIOObjectID create(CMIOObjectID owner, CMIOClassID class_id) {
        CMIOObjectID id = kCMIOObjectUnknown;
        EXPECT_EQ(CMIOObjectCreate(fake_plugin(), owner, class_id, &id), noErr);
        return id;
    }
    OSStatus publish(CMIOObjectID owner, std::vector<CMIOObjectID> published, std::vector<CMIOObjectID> died = {}) {
        return CMIOObjectsPublishedAndDied(fake_plugin(), owner, UInt32(published.size()), published.data(),
                                           UInt32(died.size()), died.data());
    }
};

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
    EXPECT_EQ(CMIOObjectCreate(fake_plugin(), device, kCMIOStreamClassID, nullptr), kCMIOHardwareIllegalOperationError);
}

// Ids never created and missing arrays are refused with nothing recorded.
TEST_F(plugin_side_t, publishing_unknown_ids_or_missing_arrays_is_refused_unrecorded) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID), never_made = 0x7FFFFFF0;
    EXPECT_EQ(publish(kCMIOObjectSystemObject, {device, never_made}), kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), device, 1, nullptr, 0, nullptr),
              kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectsPublishedAndDied(fake_plugin(), device, 0, nullptr, 2, nullptr),
              kCMIOHardwareIllegalOperationError);
    EXPECT_TRUE(probe::published_and_died().empty());
}

TEST_F(plugin_side_t, published_and_died_objects_are_recorded_in_order) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    const CMIOObjectID streams[2] = {create(device, kCMIOStreamClassID), create(device, kCMIOStreamClassID)};
    ASSERT_EQ(publish(device, {streams[0], streams[1]}), noErr);
    ASSERT_EQ(publish(kCMIOObjectSystemObject, {device}, {streams[1]}), noErr);
    std::vector<probe::published_and_died_t> records = probe::published_and_died();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].owner_id, device);
    EXPECT_EQ(records[0].published, (std::vector<CMIOObjectID>{streams[0], streams[1]}));
    EXPECT_TRUE(records[0].died.empty());
    EXPECT_EQ(records[1].published, std::vector<CMIOObjectID>{device});
    EXPECT_EQ(records[1].died, std::vector<CMIOObjectID>{streams[1]});
}

TEST_F(plugin_side_t, property_changes_are_recorded_with_their_addresses) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    const CMIOObjectPropertyAddress changed[2] = {k_name,
                                                  {kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput, 2}};
    ASSERT_EQ(CMIOObjectPropertiesChanged(nullptr, device, 2, changed), noErr);
    EXPECT_EQ(CMIOObjectPropertiesChanged(nullptr, device, 1, nullptr), kCMIOHardwareIllegalOperationError);
    std::vector<probe::properties_changed_t> changes = probe::properties_changed();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].object_id, device);
    ASSERT_EQ(changes[0].addresses.size(), 2u);
    EXPECT_EQ(changes[0].addresses[1].mScope, UInt32(kCMIODevicePropertyScopeInput));
    EXPECT_EQ(changes[0].addresses[1].mElement, 2u);
}

// Retiring an object that is already gone is harmless; once the device is, its stream cannot be
// published again.
TEST_F(plugin_side_t, a_dead_object_takes_what_it_owns_with_it) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID), never_made = 0x7FFFFFF0;
    const CMIOObjectID stream = create(device, kCMIOStreamClassID);
    ASSERT_EQ(publish(device, {stream}), noErr);
    ASSERT_EQ(publish(kCMIOObjectSystemObject, {device}), noErr);
    EXPECT_EQ(publish(kCMIOObjectSystemObject, {}, {never_made}), noErr);
    ASSERT_EQ(publish(kCMIOObjectSystemObject, {}, {device}), noErr);
    EXPECT_EQ(publish(device, {stream}), kCMIOHardwareBadObjectError);
}

TEST_F(plugin_side_t, failure_switches_return_their_status_without_recording) {
    const CMIOObjectID device = create(kCMIOObjectSystemObject, kCMIODeviceClassID);
    probe::clear_records();
    CMIOObjectID id = 12345;
    CFTypeRef clock = nullptr;
    const struct {
        probe::failing_call_t m_call;
        OSStatus m_status;
        std::function<OSStatus()> m_make;
    } calls[] = {
        {probe::failing_call_t::object_create, kCMIOHardwareUnspecifiedError,
         [&] { return CMIOObjectCreate(fake_plugin(), kCMIOObjectSystemObject, kCMIODeviceClassID, &id); }},
        {probe::failing_call_t::objects_published_and_died, kCMIOHardwareIllegalOperationError,
         [&] { return publish(kCMIOObjectSystemObject, {device}); }},
        {probe::failing_call_t::properties_changed, kCMIOHardwareBadObjectError,
         [&] { return CMIOObjectPropertiesChanged(fake_plugin(), device, 1, &k_name); }},
        {probe::failing_call_t::stream_clock_create, kCMIOHardwareUnspecifiedError,
         [&] { return CMIOStreamClockCreate(nullptr, CFSTR("c"), nullptr, CMTimeMake(1, 10), 2, 2, &clock); }},
    };
    for (const auto& call : calls) probe::set_failure(call.m_call, call.m_status);
    for (const auto& call : calls) EXPECT_EQ(call.m_make(), call.m_status);
    EXPECT_EQ(id, 12345u);
    EXPECT_EQ(clock, nullptr);
    EXPECT_TRUE(probe::created_objects().empty());
    EXPECT_TRUE(probe::published_and_died().empty());
    EXPECT_TRUE(probe::properties_changed().empty());
    EXPECT_TRUE(probe::clocks_created().empty());
    // A status of 0 clears one switch; clear_failures clears the rest.
    probe::set_failure(probe::failing_call_t::object_create, 0);
    EXPECT_EQ(calls[0].m_make(), noErr);
    EXPECT_EQ(calls[1].m_make(), calls[1].m_status);
    probe::clear_failures();
    EXPECT_EQ(calls[1].m_make(), noErr);
    EXPECT_EQ(calls[2].m_make(), noErr);
    // A clock is a Core Foundation object that its last release frees.
    const std::size_t live = probe::live_object_count();
    ASSERT_EQ(calls[3].m_make(), noErr);
    EXPECT_EQ(probe::live_object_count(), live + 1);
    CFRelease(clock);
    EXPECT_EQ(probe::live_object_count(), live);
    EXPECT_EQ(CMIOStreamClockCreate(nullptr, nullptr, nullptr, CMTimeMake(1, 10), 0, 0, nullptr),
              kCMIOHardwareIllegalOperationError);
}

constexpr UInt64 k_second = 1000000000ull;  // host ticks (timebase 1/1)

TEST_F(plugin_side_t, stream_clock_creation_is_recorded_with_its_parameters) {
    int source = 0;
    CFTypeRef clock = nullptr;
    ASSERT_EQ(CMIOStreamClockCreate(nullptr, CFSTR("Test clock"), &source, CMTimeMake(1, 100), 4, 2, &clock), noErr);
    std::vector<probe::clock_created_t> records = probe::clocks_created();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].clock, clock);
    EXPECT_EQ(records[0].name, "Test clock");
    EXPECT_EQ(CMTimeCompare(records[0].resolution, CMTimeMake(1, 100)), 0);
    EXPECT_EQ(records[0].events_for_rate_smoothing, 4u);
    EXPECT_EQ(records[0].averages_for_rate_smoothing, 2u);
    EXPECT_EQ(records[0].source_identifier, &source);
    EXPECT_EQ(CFGetRetainCount(clock), 1);
    CFRelease(clock);
}

// Invalid before the first event; then extrapolated at rate one, at the measured rate, and afresh
// after a resynchronisation.
TEST_F(plugin_side_t, stream_clock_extrapolates_from_its_timing_events) {
    CFTypeRef clock = nullptr;
    ASSERT_EQ(CMIOStreamClockCreate(nullptr, CFSTR("Test clock"), nullptr, CMTimeMake(1, 100), 4, 2, &clock), noErr);
    EXPECT_FALSE(CMTIME_IS_VALID(CMIOStreamClockConvertHostTimeToDeviceTime(5 * k_second, clock)));
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(300, 30), 100 * k_second, true, clock), noErr);
    const CMTime later = CMIOStreamClockConvertHostTimeToDeviceTime(100 * k_second + k_second / 2, clock);
    ASSERT_TRUE(CMTIME_IS_VALID(later));
    EXPECT_EQ(later.timescale, 30);
    EXPECT_EQ(later.value, 315);  // rate one until a rate is measured
    EXPECT_EQ(CMIOStreamClockConvertHostTimeToDeviceTime(99 * k_second, clock).value, 270);
    // Resynchronised to a device that runs twice as fast as the host.
    for (int i = 0; i <= 4; ++i)
        ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(2000 * i, 1000), UInt64(i) * k_second, i == 0, clock),
                  noErr);
    EXPECT_NEAR(CMTimeGetSeconds(CMIOStreamClockConvertHostTimeToDeviceTime(5 * k_second, clock)), 10.0, 1e-6);
    // Resynchronising forgets the old rate.
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(1000, 1), 10 * k_second, true, clock), noErr);
    EXPECT_NEAR(CMTimeGetSeconds(CMIOStreamClockConvertHostTimeToDeviceTime(11 * k_second, clock)), 1001.0, 1e-6);
    const std::vector<probe::clock_event_t> events = probe::clock_events();
    ASSERT_EQ(events.size(), 7u);
    EXPECT_EQ(events[0].clock, clock);
    EXPECT_EQ(events[0].host_time, 100 * k_second);
    EXPECT_EQ(CMTimeCompare(events[0].event_time, CMTimeMake(300, 30)), 0);
    EXPECT_TRUE(events[0].resynchronize);
    EXPECT_FALSE(events[2].resynchronize);
    CFRelease(clock);
}

TEST_F(plugin_side_t, stream_clock_refuses_bad_events_and_any_after_invalidation) {
    CFTypeRef clock = nullptr;
    ASSERT_EQ(CMIOStreamClockCreate(nullptr, CFSTR("Test clock"), nullptr, CMTimeMake(1, 100), 4, 2, &clock), noErr);
    ASSERT_EQ(CMIOStreamClockPostTimingEvent(CMTimeMake(300, 30), 100 * k_second, true, clock), noErr);
    EXPECT_EQ(CMIOStreamClockInvalidate(nullptr), kCMIOHardwareIllegalOperationError);
    ASSERT_EQ(CMIOStreamClockInvalidate(clock), noErr);
    const std::pair<CMTime, CFTypeRef> refused[] = {
        {kCMTimeInvalid, clock},          // no time
        {CMTimeMake(1, 30), nullptr},     // no clock
        {CMTimeMake(1, 30), CFSTR("c")},  // a CF object of another type
        {CMTimeMake(2, 30), clock},       // an invalidated clock
    };
    for (const auto& [time, to] : refused)
        EXPECT_EQ(CMIOStreamClockPostTimingEvent(time, 43, false, to), kCMIOHardwareIllegalOperationError)
            << time.value;
    EXPECT_FALSE(CMTIME_IS_VALID(CMIOStreamClockConvertHostTimeToDeviceTime(43, clock)));
    EXPECT_EQ(probe::clock_events().size(), 1u) << "refused events are not recorded";
    EXPECT_EQ(probe::clocks_invalidated(), std::vector<CFTypeRef>{clock});
    CFRelease(clock);
}

// Sequence numbers and discontinuity flags ride on the sample as attachments: set at creation,
// changed by the setters, copied with the sample's attachments but not the non-required ones,
// and read as "none" from a plain sample.
class sample_buffer_t : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(CVPixelBufferCreate(nullptr, 32, 16, kCVPixelFormatType_32BGRA, nullptr, &m_pixels),
                  kCVReturnSuccess);
        ASSERT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(nullptr, m_pixels, &m_format), noErr);
    }
    void TearDown() override {
        for (CFTypeRef made : {CFTypeRef(m_format), CFTypeRef(m_pixels)})
            if (made != nullptr) CFRelease(made);
    }
    // A new sample that the caller releases, or null.
    CMSampleBufferRef make(UInt64 sequence, UInt32 flags) {
        CMSampleBufferRef sample = nullptr;
        EXPECT_EQ(
            CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, sequence, flags, &sample),
            noErr);
        return sample;
    }

    CVPixelBufferRef m_pixels = nullptr;
    CMVideoFormatDescriptionRef m_format = nullptr;
    const CMSampleTimingInfo m_timing{CMTimeMake(1, 25), CMTimeMake(7, 25), kCMTimeInvalid};
    const UInt64 m_sequence = (UInt64(1) << 40) + 3;
    const UInt32 m_packet_error = kCMIOSampleBufferDiscontinuityFlag_PacketError;
};

TEST_F(sample_buffer_t, carries_its_sequence_number_flags_image_and_timing) {
    CMSampleBufferRef sample = make(m_sequence, m_packet_error);
    ASSERT_NE(sample, nullptr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(sample), m_sequence);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(sample), m_packet_error);
    EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(sample).value, 7);
    EXPECT_EQ(CMSampleBufferGetImageBuffer(sample), m_pixels);
    EXPECT_TRUE(CMSampleBufferDataIsReady(sample));
    CFRelease(sample);
}

// The non-required copy leaves the sequence number and flags behind; the sample copy takes them.
TEST_F(sample_buffer_t, copying_attachments_takes_the_required_ones_only_with_the_sample_copy) {
    CMSampleBufferRef sample = make(m_sequence, m_packet_error), other = make(9, 0);
    ASSERT_TRUE(sample != nullptr && other != nullptr);
    CMSetAttachment(sample, kCMIOSampleBufferAttachmentKey_HostTime, kCFBooleanTrue, kCMAttachmentMode_ShouldPropagate);
    ASSERT_EQ(CMIOSampleBufferCopyNonRequiredAttachments(sample, other, kCMAttachmentMode_ShouldPropagate), noErr);
    EXPECT_EQ(CMGetAttachment(other, kCMIOSampleBufferAttachmentKey_HostTime, nullptr), kCFBooleanTrue);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(other), 9u);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(other), 0u);
    ASSERT_EQ(CMIOSampleBufferCopySampleAttachments(sample, other), noErr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(other), m_sequence);
    CFRelease(other);
    CFRelease(sample);
}

TEST_F(sample_buffer_t, setters_change_the_sequence_number_and_flags) {
    CMSampleBufferRef sample = make(m_sequence, m_packet_error);
    ASSERT_NE(sample, nullptr);
    CMIOSampleBufferSetSequenceNumber(nullptr, sample, kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(sample), kCMIOInvalidSequenceNumber);
    CMIOSampleBufferSetDiscontinuityFlags(nullptr, sample, 0xFFFFFFFFu);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(sample), 0xFFFFFFFFu);
    CFRelease(sample);
}

TEST_F(sample_buffer_t, creation_needs_every_argument) {
    CMSampleBufferRef sample = nullptr;
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, nullptr, m_format, &m_timing, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, nullptr, &m_timing, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, nullptr, 0, 0, &sample), noErr);
    EXPECT_NE(CMIOSampleBufferCreateForImageBuffer(nullptr, m_pixels, m_format, &m_timing, 0, 0, nullptr), noErr);
    EXPECT_EQ(sample, nullptr);
}

// A plain CoreMedia sample, or none, reads as no sequence number and no discontinuity.
TEST_F(sample_buffer_t, a_plain_sample_has_no_sequence_number_and_no_flags) {
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(nullptr), kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(nullptr), UInt32(kCMIOSampleBufferNoDiscontinuities));
    CMSampleBufferRef plain = nullptr;
    ASSERT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, m_pixels, m_format, &m_timing, &plain), noErr);
    EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(plain), kCMIOInvalidSequenceNumber);
    EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(plain), UInt32(kCMIOSampleBufferNoDiscontinuities));
    CFRelease(plain);
}

TEST(sample_buffer_flags, only_hard_discontinuities_are_reported_as_such) {
    EXPECT_FALSE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_DurationWasExtended));
    EXPECT_TRUE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_PacketError));
}

}  // namespace

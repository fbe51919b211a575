// Streaming from the test camera through the client API: the buffer queue it hands out, the
// samples on it (image, timing, sequence numbers, discontinuity flags), the stream clock, and
// several threads using the DAL system at once.
#include "dal_test_support.h"

#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>
#include <mach/mach_time.h>

#include <atomic>
#include <set>
#include <thread>

using namespace dal_test;

namespace {

struct altered_t {
    std::atomic<int> calls{0};
    std::atomic<CMIOStreamID> stream{kCMIOObjectUnknown};

    static void proc(CMIOStreamID stream_id, void*, void* refcon) {
        auto* self = static_cast<altered_t*>(refcon);
        self->stream = stream_id;
        ++self->calls;
    }
};

class dal_streaming_t : public ::testing::Test {
protected:
    void SetUp() override {
        use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
        m_device = find_test_camera();
        ASSERT_NE(m_device, kCMIOObjectUnknown);
        m_stream = read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput).at(0);
        ASSERT_EQ(CMIOStreamCopyBufferQueue(m_stream, altered_t::proc, &m_altered, &m_queue), noErr);
        ASSERT_NE(m_queue, nullptr);
    }

    void TearDown() override {
        CMIODeviceStopStream(m_device, m_stream);
        if (m_queue == nullptr) return;
        drain();
        CFRelease(m_queue);
    }

    // Waits for the next sample and takes it off the queue (the caller releases it).
    CMSampleBufferRef next_sample() {
        if (!wait_for([&] { return CMSimpleQueueGetCount(m_queue) > 0; })) return nullptr;
        return static_cast<CMSampleBufferRef>(const_cast<void*>(CMSimpleQueueDequeue(m_queue)));
    }

    void drain() {
        while (const void* left = CMSimpleQueueDequeue(m_queue)) CFRelease(left);
    }

    CMIOObjectID m_device = kCMIOObjectUnknown;
    CMIOObjectID m_stream = kCMIOObjectUnknown;
    CMSimpleQueueRef m_queue = nullptr;
    altered_t m_altered;
};

// Samples, the clock that follows them, and the queue every copy of which is the same object.
TEST_F(dal_streaming_t, samples_carry_image_timing_sequence_and_flags_until_stop) {
    const std::size_t live_samples = zav_platform::probe::live_object_count(CMSampleBufferGetTypeID());
    const CFIndex references = CFGetRetainCount(m_queue);
    CMSimpleQueueRef again = nullptr;
    ASSERT_EQ(CMIOStreamCopyBufferQueue(m_stream, altered_t::proc, &m_altered, &again), noErr);
    EXPECT_EQ(again, m_queue);
    EXPECT_EQ(CFGetRetainCount(m_queue), references + 1);
    CFRelease(again);
    CFTypeRef clock = read<CFTypeRef>(m_stream, kCMIOStreamPropertyClock);
    ASSERT_NE(clock, nullptr);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    CMTime last_pts = kCMTimeInvalid;
    for (UInt64 i = 0; i < 3; ++i) {
        CMSampleBufferRef sample = next_sample();
        ASSERT_NE(sample, nullptr) << "no sample " << i;
        EXPECT_EQ(CMIOSampleBufferGetSequenceNumber(sample), i);
        // Only the first sample after a start says that what came before is unknown.
        EXPECT_EQ(CMIOSampleBufferGetDiscontinuityFlags(sample),
                  i == 0 ? UInt32(kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity)
                         : UInt32(kCMIOSampleBufferNoDiscontinuities));
        const CMTime pts = last_pts = CMSampleBufferGetPresentationTimeStamp(sample);
        EXPECT_EQ(pts.value, static_cast<CMTimeValue>(i));
        EXPECT_EQ(pts.timescale, 30);
        EXPECT_EQ(CMSampleBufferGetDuration(sample).value, 1);
        CVImageBufferRef image = CMSampleBufferGetImageBuffer(sample);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(CVPixelBufferGetWidth(image), 64u);
        EXPECT_EQ(CVPixelBufferGetHeight(image), 48u);
        const CMVideoDimensions dimensions =
            CMVideoFormatDescriptionGetDimensions(CMSampleBufferGetFormatDescription(sample));
        EXPECT_EQ(dimensions.width, 64);
        EXPECT_EQ(dimensions.height, 48);
        CFRelease(sample);
    }
    // The camera posts one clock event per frame, so now is at or after the last frame seen, and
    // not far beyond the last one made.
    const CMTime now = CMIOStreamClockConvertHostTimeToDeviceTime(mach_absolute_time(), clock);
    CFRelease(clock);
    ASSERT_TRUE(CMTIME_IS_VALID(now));
    EXPECT_GE(CMTimeGetSeconds(now), CMTimeGetSeconds(last_pts) - 1e-3);
    EXPECT_LT(CMTimeGetSeconds(now), 60.0);
    ASSERT_EQ(CMIODeviceStopStream(m_device, m_stream), noErr);
    EXPECT_GE(m_altered.calls.load(), 3);
    EXPECT_EQ(m_altered.stream.load(), m_stream);
    // Nothing arrives after the stop, and no sample outlives its release.
    const int calls = m_altered.calls.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_EQ(m_altered.calls.load(), calls);
    drain();
    EXPECT_EQ(zav_platform::probe::live_object_count(CMSampleBufferGetTypeID()), live_samples);
}

TEST_F(dal_streaming_t, a_full_queue_drops_frames_and_the_next_sample_says_so) {
    const int32_t capacity = CMSimpleQueueGetCapacity(m_queue);
    ASSERT_GT(capacity, 0);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    // Leave the queue full long enough for several frames to find no room.
    ASSERT_TRUE(wait_for([&] { return CMSimpleQueueGetCount(m_queue) == capacity; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    for (int32_t i = 0; i < capacity; ++i) {
        const void* sample = CMSimpleQueueDequeue(m_queue);
        ASSERT_NE(sample, nullptr);
        EXPECT_EQ(CMIOSampleBufferGetSequenceNumber((CMSampleBufferRef)sample), UInt64(i));
        CFRelease(sample);
    }
    CMSampleBufferRef after_gap = next_sample();
    ASSERT_NE(after_gap, nullptr);
    EXPECT_GT(CMIOSampleBufferGetSequenceNumber(after_gap), UInt64(capacity));
    EXPECT_TRUE(CMIOSampleBufferGetDiscontinuityFlags(after_gap) & kCMIOSampleBufferDiscontinuityFlag_DataWasDropped);
    CFRelease(after_gap);
}

// ---- Several threads -----------------------------------------------------------------------------

TEST(dal_threads, first_calls_from_several_threads_load_the_plugins_once) {
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    zav_platform::probe::clear_records();
    constexpr int k_threads = 4;
    std::vector<CMIOObjectID> found(k_threads, kCMIOObjectUnknown);
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i)
        threads.emplace_back([&, i] {
            while (!go.load()) std::this_thread::yield();
            found[i] = find_test_camera();
        });
    go = true;
    for (std::thread& t : threads) t.join();
    for (CMIOObjectID id : found) EXPECT_EQ(id, found[0]);
    EXPECT_NE(found[0], kCMIOObjectUnknown);
    // Each plug-in made its devices once: as many creations as devices listed (plug-ins
    // installed in the system folder included).
    std::size_t devices_made = 0;
    for (const auto& created : zav_platform::probe::created_objects())
        if (created.class_id == kCMIODeviceClassID) ++devices_made;
    EXPECT_EQ(devices_made, read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices).size())
        << "a plug-in was initialised more than once";
}

TEST_F(dal_streaming_t, property_calls_and_listeners_from_several_threads_while_streaming) {
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    std::atomic<int> failures{0};
    std::atomic<bool> stop{false};
    auto reader = [&] {
        while (!stop.load()) {
            OSStatus status = noErr;
            if (read<CMIOClassID>(m_stream, kCMIOObjectPropertyClass, &status) != kCMIOStreamClassID || status != noErr)
                ++failures;
            if (find_test_camera() != m_device) ++failures;
        }
    };
    auto listener_churn = [&] {
        const CMIOObjectPropertyAddress running = address(kCMIODevicePropertyDeviceIsRunning);
        auto proc = [](CMIOObjectID, UInt32, const CMIOObjectPropertyAddress*, void*) -> OSStatus { return noErr; };
        int token = 0;
        while (!stop.load()) {
            if (CMIOObjectAddPropertyListener(m_device, &running, proc, &token) != noErr) ++failures;
            if (CMIOObjectRemovePropertyListener(m_device, &running, proc, &token) != noErr) ++failures;
        }
    };
    std::thread a(reader), b(reader), c(listener_churn);
    for (int i = 0; i < 10; ++i) {
        drain();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    stop = true;
    a.join();
    b.join();
    c.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(CMIODeviceStopStream(m_device, m_stream), noErr);
}

}  // namespace

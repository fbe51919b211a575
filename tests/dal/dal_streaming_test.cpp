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
#include <chrono>
#include <thread>

using namespace dal_test;
using namespace std::chrono_literals;

namespace {

struct altered_t {
    std::atomic<int> m_calls{0};
    std::atomic<CMIOStreamID> m_stream{kCMIOObjectUnknown};

    static void proc(CMIOStreamID stream_id, void*, void* refcon) {
        auto* self = static_cast<altered_t*>(refcon);
        self->m_stream = stream_id;
        ++self->m_calls;
    }
};

// Waits up to five seconds for a sample and takes it off the queue (the caller releases it).
CMSampleBufferRef next_sample(CMSimpleQueueRef queue) {
    for (auto end = std::chrono::steady_clock::now() + 5s; CMSimpleQueueGetCount(queue) == 0;) {
        if (std::chrono::steady_clock::now() > end) return nullptr;
        std::this_thread::sleep_for(2ms);
    }
    return static_cast<CMSampleBufferRef>(const_cast<void*>(CMSimpleQueueDequeue(queue)));
}

void drain(CMSimpleQueueRef queue) {
    while (const void* left = CMSimpleQueueDequeue(queue)) CFRelease(left);
}

// Samples, the clock that follows them, and the queue every copy of which is the same object.
TEST(dal_streaming, samples_carry_image_timing_sequence_and_flags_until_stop) {
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    const CMIOObjectID device = find_test_camera();
    ASSERT_NE(device, kCMIOObjectUnknown);
    const CMIOObjectID stream = read_ids(device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput).at(0);
    const std::size_t live_samples = zav_platform::probe::live_object_count(CMSampleBufferGetTypeID());
    altered_t altered;
    CMSimpleQueueRef queue = nullptr, again = nullptr;
    ASSERT_EQ(CMIOStreamCopyBufferQueue(stream, altered_t::proc, &altered, &queue), noErr);
    ASSERT_NE(queue, nullptr);
    const CFIndex references = CFGetRetainCount(queue);
    ASSERT_EQ(CMIOStreamCopyBufferQueue(stream, altered_t::proc, &altered, &again), noErr);
    EXPECT_EQ(again, queue);
    EXPECT_EQ(CFGetRetainCount(queue), references + 1);
    CFRelease(again);
    CFTypeRef clock = read<CFTypeRef>(stream, kCMIOStreamPropertyClock);
    ASSERT_NE(clock, nullptr);
    ASSERT_EQ(CMIODeviceStartStream(device, stream), noErr);
    CMTime last_pts = kCMTimeInvalid;
    for (UInt64 i = 0; i < 3; ++i) {
        CMSampleBufferRef sample = next_sample(queue);
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
    ASSERT_EQ(CMIODeviceStopStream(device, stream), noErr);
    EXPECT_GE(altered.m_calls.load(), 3);
    EXPECT_EQ(altered.m_stream.load(), stream);
    // Nothing arrives after the stop, and no sample outlives its release.
    const int calls = altered.m_calls.load();
    std::this_thread::sleep_for(40ms);
    EXPECT_EQ(altered.m_calls.load(), calls);
    drain(queue);
    CFRelease(queue);
    EXPECT_EQ(zav_platform::probe::live_object_count(CMSampleBufferGetTypeID()), live_samples);
}

// First calls from several threads at once load each plug-in once; the same threads then read
// properties and add and remove listeners while the main thread starts and stops the stream,
// whose running notices go to those listeners.
TEST(dal_threads, first_calls_load_once_and_concurrent_calls_agree) {
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    zav_platform::probe::clear_records();
    constexpr int k_threads = 4;
    std::vector<CMIOObjectID> found(k_threads, kCMIOObjectUnknown);
    std::atomic<bool> go{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i)
        threads.emplace_back([&, i] {
            while (!go.load()) std::this_thread::yield();
            const CMIOObjectID device = found[i] = find_test_camera();
            const CMIOObjectPropertyAddress running = address(kCMIODevicePropertyDeviceIsRunning);
            auto proc = [](CMIOObjectID, UInt32, const CMIOObjectPropertyAddress*, void*) -> OSStatus { return noErr; };
            for (int n = 0; n < 200; ++n) {
                OSStatus status = noErr;
                failures += read<CMIOClassID>(device, kCMIOObjectPropertyClass, &status) != kCMIODeviceClassID;
                failures += status != noErr;
                failures += CMIOObjectAddPropertyListener(device, &running, proc, &found[i]) != noErr;
                failures += CMIOObjectRemovePropertyListener(device, &running, proc, &found[i]) != noErr;
            }
        });
    go = true;
    const CMIOObjectID device = find_test_camera();
    const std::vector<CMIOObjectID> streams = read_ids(device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
    for (int n = 0; n < 5 && !streams.empty(); ++n) {
        failures += CMIODeviceStartStream(device, streams[0]) != noErr;
        std::this_thread::sleep_for(5ms);
        failures += CMIODeviceStopStream(device, streams[0]) != noErr;
    }
    for (std::thread& t : threads) t.join();
    EXPECT_NE(device, kCMIOObjectUnknown);
    for (CMIOObjectID id : found) EXPECT_EQ(id, device);
    EXPECT_EQ(failures.load(), 0);
    // Each plug-in made its devices once: as many creations as devices listed (plug-ins
    // installed in the system folder included).
    std::size_t devices_made = 0;
    for (const auto& created : zav_platform::probe::created_objects())
        devices_made += created.class_id == kCMIODeviceClassID;
    EXPECT_EQ(devices_made, read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices).size())
        << "a plug-in was initialised more than once";
}

}  // namespace

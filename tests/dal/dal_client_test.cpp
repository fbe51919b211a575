// The DAL system and its client API, driven as an application would: listing, property routing
// with the plug-in's status passed through, the system object's settings, listeners, streaming
// from the test camera (buffer queue, samples, stream clock), several threads at once, broken
// plug-in bundles beside a working one, and letting go of plug-ins at exit.
#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>
#include <mach/mach_time.h>
#include <unistd.h>
#include <zav_platform/probe.h>

#include "dal_test_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

using namespace dal_test;

// Runs `action` with stderr redirected into a temporary file and returns what it wrote.
std::string capture_stderr(const std::function<void()>& action) {
    std::fflush(stderr);
    std::FILE* file = std::tmpfile();
    const int saved = dup(STDERR_FILENO);
    dup2(fileno(file), STDERR_FILENO);
    action();
    std::fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);
    std::string all(static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_END)), '\0');
    std::rewind(file);
    all.resize(std::fread(all.data(), 1, all.size(), file));
    std::fclose(file);
    return all;
}

class dal_client_t : public test_camera_test_t {
protected:
    void SetUp() override {
        test_camera_test_t::SetUp();
        if (HasFatalFailure()) return;
        std::vector<CMIOObjectID> streams =
            read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
        ASSERT_EQ(streams.size(), 1u);
        m_stream = streams[0];
    }

    CMIOObjectID m_stream = kCMIOObjectUnknown;
};

// Ids the DAL system never handed out.
constexpr CMIOObjectID k_unknown_id = 0x7FFF0000;

TEST_F(dal_client_t, the_system_object_lists_the_camera_among_its_devices) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    EXPECT_EQ(read<CMIOClassID>(system, kCMIOObjectPropertyClass), CMIOClassID(kCMIOSystemObjectClassID));
    const std::vector<CMIOObjectID> devices = read_ids(system, kCMIOHardwarePropertyDevices);
    EXPECT_TRUE(contains(devices, m_device));
    EXPECT_TRUE(contains(devices, read<CMIOObjectID>(system, kCMIOHardwarePropertyDefaultInputDevice)));
}

TEST_F(dal_client_t, the_system_objects_owned_objects_filter_by_class) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    auto owned = [&](CMIOClassID id) {
        return read_ids(system, kCMIOObjectPropertyOwnedObjects, kCMIOObjectPropertyScopeGlobal, {id});
    };
    const std::vector<CMIOObjectID> plugins = owned(kCMIOPlugInClassID), owned_devices = owned(kCMIODeviceClassID);
    ASSERT_FALSE(plugins.empty());
    // The plug-in object's own answer, routed to the plug-in that owns it.
    for (CMIOObjectID plugin : plugins)
        EXPECT_EQ(read<CMIOClassID>(plugin, kCMIOObjectPropertyClass), CMIOClassID(kCMIOPlugInClassID));
    EXPECT_TRUE(contains(owned_devices, m_device));
    EXPECT_FALSE(contains(owned_devices, plugins[0]));
    EXPECT_EQ(read_ids(system, kCMIOObjectPropertyOwnedObjects).size(), plugins.size() + owned_devices.size());
}

TEST_F(dal_client_t, device_and_stream_answer_through_their_plugin) {
    EXPECT_EQ(read<CMIOClassID>(m_device, kCMIOObjectPropertyClass), CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(read<CMIOObjectID>(m_stream, kCMIOObjectPropertyOwner), m_device);
    EXPECT_EQ(read<CMIOClassID>(m_stream, kCMIOObjectPropertyClass), CMIOClassID(kCMIOStreamClassID));
    EXPECT_TRUE(read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeOutput).empty());
}

TEST_F(dal_client_t, list_reads_are_cut_to_the_buffer_given) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    const CMIOObjectPropertyAddress list = address(kCMIOHardwarePropertyDevices);
    UInt32 used = 99;
    EXPECT_EQ(CMIOObjectGetPropertyData(system, &list, 0, nullptr, 0, &used, nullptr), noErr);
    EXPECT_EQ(used, 0u);
    CMIOObjectID one[2] = {kCMIOObjectUnknown, 0xDEADBEEF};
    EXPECT_EQ(CMIOObjectGetPropertyData(system, &list, 0, nullptr, sizeof(CMIOObjectID) + 3, &used, one), noErr);
    EXPECT_EQ(used, sizeof(CMIOObjectID));
    EXPECT_NE(one[0], kCMIOObjectUnknown);
    EXPECT_EQ(one[1], 0xDEADBEEFu) << "wrote past the ids that fit";
}

TEST_F(dal_client_t, unknown_objects_are_refused) {
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    UInt32 size = 0, used = 0;
    CFStringRef value = nullptr;
    Boolean settable = false;
    CMSimpleQueueRef queue = nullptr;
    EXPECT_FALSE(CMIOObjectHasProperty(k_unknown_id, &name));
    EXPECT_EQ(CMIOObjectIsPropertySettable(k_unknown_id, &name, &settable), kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(k_unknown_id, &name, 0, nullptr, &size), kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectGetPropertyData(k_unknown_id, &name, 0, nullptr, sizeof value, &used, &value),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectSetPropertyData(k_unknown_id, &name, 0, nullptr, sizeof value, &value),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIODeviceStartStream(k_unknown_id, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIODeviceStopStream(kCMIOObjectUnknown, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(k_unknown_id, nullptr, nullptr, &queue), kCMIOHardwareBadStreamError);
    EXPECT_EQ(queue, nullptr);
}

// A stream is no device and a device no stream, even though both exist.
TEST_F(dal_client_t, objects_of_the_wrong_class_are_refused) {
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMIODeviceStartStream(m_stream, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(m_device, nullptr, nullptr, &queue), kCMIOHardwareBadStreamError);
    EXPECT_EQ(queue, nullptr);
}

// Null arguments are refused without reaching the plug-in.
TEST_F(dal_client_t, null_arguments_are_refused) {
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    UInt32 size = 0, used = 0;
    EXPECT_FALSE(CMIOObjectHasProperty(m_device, nullptr));
    const OSStatus illegal = kCMIOHardwareIllegalOperationError;
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, nullptr, 0, nullptr, &size), illegal);
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, &name, 0, nullptr, nullptr), illegal);
    EXPECT_EQ(CMIOObjectGetPropertyData(m_device, &name, 0, nullptr, 8, nullptr, &size), illegal);
    EXPECT_EQ(CMIOObjectGetPropertyData(m_device, nullptr, 0, nullptr, 8, &used, &size), illegal);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(m_stream, nullptr, nullptr, nullptr), illegal);
}

// The plug-in's answers, errors included, come back unchanged; start and stop go to it too.
TEST_F(dal_client_t, plugin_status_comes_back_unchanged) {
    const CMIOObjectPropertyAddress rate = address(kCMIOStreamPropertyFrameRate);
    Float64 unsupported = 25.0, sixty = 60.0;
    UInt32 too_small = 60, size = 0;
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof unsupported, &unsupported),
              kCMIODeviceUnsupportedFormatError);
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof too_small, &too_small),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof sixty, &sixty), noErr);
    EXPECT_EQ(read<Float64>(m_stream, kCMIOStreamPropertyFrameRate), 60.0);
    const CMIOObjectPropertyAddress unknown = address(0x7A7A7A7A), cls = address(kCMIOObjectPropertyClass);
    EXPECT_FALSE(CMIOObjectHasProperty(m_device, &unknown));
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, &unknown, 0, nullptr, &size), kCMIOHardwareUnknownPropertyError);
    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(m_stream, &rate, &settable), noErr);
    EXPECT_TRUE(settable);
    EXPECT_EQ(CMIOObjectIsPropertySettable(m_stream, &cls, &settable), noErr);
    EXPECT_FALSE(settable);
    // The test camera leaves the deck entries of its table empty.
    EXPECT_EQ(CMIOStreamDeckPlay(m_stream), kCMIOHardwareUnsupportedOperationError);

    EXPECT_EQ(CMIODeviceStopStream(m_device, m_stream), kCMIOHardwareNotRunningError);
    // The device exists, so the plug-in answers for the bad stream id.
    EXPECT_EQ(CMIODeviceStartStream(m_device, m_device), kCMIOHardwareBadStreamError);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    EXPECT_EQ(read<UInt32>(m_device, kCMIODevicePropertyDeviceIsRunning), 1u);
    EXPECT_EQ(CMIODeviceStartStream(m_device, m_stream), kCMIOHardwareNotStoppedError);
    EXPECT_EQ(CMIODeviceStopStream(m_device, m_stream), noErr);
    EXPECT_EQ(read<UInt32>(m_device, kCMIODevicePropertyDeviceIsRunning), 0u);
}

TEST_F(dal_client_t, a_system_setting_is_settable_at_its_own_size_only) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    const CMIOObjectPropertyAddress allow = address(kCMIOHardwarePropertyAllowScreenCaptureDevices);
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(system, &allow, &settable), noErr);
    EXPECT_TRUE(settable);
    EXPECT_EQ(CMIOObjectIsPropertySettable(system, &devices, &settable), noErr);
    EXPECT_FALSE(settable);
    UInt16 small = 1;
    EXPECT_EQ(CMIOObjectSetPropertyData(system, &allow, 0, nullptr, sizeof small, &small),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(CMIOObjectSetPropertyData(system, &devices, 0, nullptr, sizeof m_device, &m_device),
              kCMIOHardwareIllegalOperationError);
}

TEST_F(dal_client_t, system_setting_listeners_hear_real_changes_only) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    const CMIOObjectPropertyAddress allow = address(kCMIOHardwarePropertyAllowScreenCaptureDevices);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(system, &allow, recorder_t::listener, &recorder), noErr);
    UInt32 off = 0;
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(CMIOObjectSetPropertyData(system, &allow, 0, nullptr, sizeof off, &off), noErr);
    EXPECT_EQ(read<UInt32>(system, kCMIOHardwarePropertyAllowScreenCaptureDevices), 0u);
    EXPECT_EQ(recorder.size(), 1u) << "setting the same value again is no change";
    CMIOObjectRemovePropertyListener(system, &allow, recorder_t::listener, &recorder);
}

TEST_F(dal_client_t, the_system_object_has_global_main_element_addresses_only) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    const CMIOObjectPropertyAddress output = address(kCMIOHardwarePropertyDevices, kCMIODevicePropertyScopeOutput);
    const CMIOObjectPropertyAddress element = address(kCMIOHardwarePropertyDevices, kCMIOObjectPropertyScopeGlobal, 3);
    EXPECT_TRUE(CMIOObjectHasProperty(system, &devices));
    EXPECT_FALSE(CMIOObjectHasProperty(system, &output));
    EXPECT_FALSE(CMIOObjectHasProperty(system, &element));
}

TEST_F(dal_client_t, notices_reach_matching_listeners_until_removed) {
    recorder_t rate_only, any, name_only, device_list;
    const CMIOObjectPropertyAddress rate = address(kCMIOStreamPropertyFrameRate),
                                    name = address(kCMIOObjectPropertyName);
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    const CMIOObjectPropertyAddress wildcard{kCMIOObjectPropertySelectorWildcard, kCMIOObjectPropertyScopeWildcard,
                                             kCMIOObjectPropertyElementWildcard};
    // A second registration of the same listener is one registration.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(CMIOObjectAddPropertyListener(m_stream, &rate, recorder_t::listener, &rate_only), noErr);
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &wildcard, recorder_t::listener, &any), noErr);
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &name, recorder_t::listener, &name_only), noErr);
    // The plug-in is told about each new listener.
    const CMIOObjectPropertyAddress told = read<CMIOObjectPropertyAddress>(m_device, kCMIOObjectPropertyListenerAdded);
    EXPECT_EQ(std::memcmp(&told, &name, sizeof name), 0);
    Float64 fifteen = 15.0, thirty = 30.0;
    ASSERT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof fifteen, &fifteen), noErr);
    EXPECT_EQ(rate_only.count_of(m_stream, kCMIOStreamPropertyFrameRate), 1u);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    ASSERT_EQ(CMIODeviceStopStream(m_device, m_stream), noErr);
    EXPECT_EQ(any.count_of(m_device, kCMIODevicePropertyDeviceIsRunning), 2u);
    EXPECT_EQ(any.size(), 2u) << "the stream's notice went to a listener on the device";
    EXPECT_EQ(name_only.size(), 0u);
    EXPECT_EQ(rate_only.size(), 1u);

    ASSERT_EQ(CMIOObjectRemovePropertyListener(m_stream, &rate, recorder_t::listener, &rate_only), noErr);
    ASSERT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof thirty, &thirty), noErr);
    EXPECT_EQ(rate_only.size(), 1u);
    EXPECT_EQ(CMIOObjectRemovePropertyListener(m_stream, &rate, recorder_t::listener, &rate_only),
              kCMIOHardwareIllegalOperationError);
    CMIOObjectRemovePropertyListener(m_device, &wildcard, recorder_t::listener, &any);
    CMIOObjectRemovePropertyListener(m_device, &name, recorder_t::listener, &name_only);
    // Listeners need a known object, an address and a procedure.
    EXPECT_EQ(CMIOObjectAddPropertyListener(k_unknown_id, &rate, recorder_t::listener, &rate_only),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectAddPropertyListener(m_device, &rate, nullptr, &rate_only), kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectAddPropertyListener(m_device, nullptr, recorder_t::listener, &rate_only),
              kCMIOHardwareIllegalOperationError);

    // Device-list listeners hear a second plug-in (here: plug-in-side calls made directly)
    // publish a device and retire it.
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &devices, recorder_t::listener, &device_list),
              noErr);
    CMIOObjectID extra = kCMIOObjectUnknown;
    ASSERT_EQ(CMIOObjectCreate(nullptr, kCMIOObjectSystemObject, kCMIODeviceClassID, &extra), noErr);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 1, &extra, 0, nullptr), noErr);
    EXPECT_EQ(device_list.count_of(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), 1u);
    EXPECT_TRUE(contains(read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), extra));
    ASSERT_EQ(CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 0, nullptr, 1, &extra), noErr);
    EXPECT_EQ(device_list.count_of(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), 2u);
    EXPECT_FALSE(contains(read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), extra));
    CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &devices, recorder_t::listener, &device_list);
}

// ---- Streaming and threads ----------------------------------------------------------------------

struct altered_t {
    std::atomic<int> m_calls{0};
    std::atomic<CMIOStreamID> m_stream{kCMIOObjectUnknown};

    static void proc(CMIOStreamID stream_id, void*, void* refcon) {
        static_cast<altered_t*>(refcon)->m_stream = stream_id;
        ++static_cast<altered_t*>(refcon)->m_calls;
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

// Samples, the clock that follows them, and the queue every copy of which is the same object.
TEST_F(dal_client_t, samples_carry_image_timing_sequence_and_flags_until_stop) {
    const std::size_t live_samples = zav_platform::probe::live_object_count(CMSampleBufferGetTypeID());
    altered_t altered;
    CMSimpleQueueRef queue = nullptr, again = nullptr;
    ASSERT_EQ(CMIOStreamCopyBufferQueue(m_stream, altered_t::proc, &altered, &queue), noErr);
    ASSERT_NE(queue, nullptr);
    const CFIndex references = CFGetRetainCount(queue);
    ASSERT_EQ(CMIOStreamCopyBufferQueue(m_stream, altered_t::proc, &altered, &again), noErr);
    EXPECT_EQ(again, queue);
    EXPECT_EQ(CFGetRetainCount(queue), references + 1);
    CFRelease(again);
    CFTypeRef clock = read<CFTypeRef>(m_stream, kCMIOStreamPropertyClock);
    ASSERT_NE(clock, nullptr);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
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
        const CMVideoDimensions size =
            CMVideoFormatDescriptionGetDimensions(CMSampleBufferGetFormatDescription(sample));
        EXPECT_TRUE(size.width == 64 && size.height == 48) << size.width << "x" << size.height;
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
    EXPECT_GE(altered.m_calls.load(), 3);
    EXPECT_EQ(altered.m_stream.load(), m_stream);
    // Nothing arrives after the stop, and no sample outlives its release.
    const int calls = altered.m_calls.load();
    std::this_thread::sleep_for(40ms);
    EXPECT_EQ(altered.m_calls.load(), calls);
    while (const void* left = CMSimpleQueueDequeue(queue)) CFRelease(left);
    CFRelease(queue);
    EXPECT_EQ(zav_platform::probe::live_object_count(CMSampleBufferGetTypeID()), live_samples);
}

// First calls from several threads at once load each plug-in once; the same threads then read
// properties and add and remove listeners while the main thread starts and stops the stream,
// whose running notices go to those listeners.
TEST(dal_threads, first_calls_load_once_and_concurrent_calls_agree) {
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    constexpr int k_threads = 4;
    std::vector<CMIOObjectID> found(k_threads, kCMIOObjectUnknown);
    std::atomic<bool> go{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i)
        threads.emplace_back([&, i] {
            // The start gate has a deadline too: a thread left waiting fails the test, not CI.
            const auto give_up = std::chrono::steady_clock::now() + 5s;
            while (!go.load() && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
            failures += !go.load();
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
    const std::vector<CMIOObjectID> streams =
        read_ids(device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
    for (int n = 0; n < 5 && !streams.empty(); ++n) {
        failures += CMIODeviceStartStream(device, streams[0]) != noErr;
        std::this_thread::sleep_for(5ms);
        failures += CMIODeviceStopStream(device, streams[0]) != noErr;
    }
    for (std::thread& t : threads) t.join();
    EXPECT_NE(device, kCMIOObjectUnknown);
    for (CMIOObjectID id : found) EXPECT_EQ(id, device);
    EXPECT_EQ(failures.load(), 0);
    std::size_t cameras = 0;
    find_test_camera(&cameras);
    EXPECT_EQ(cameras, 1u) << "the test camera was loaded more than once";
}

// ---- Plug-in bundles and exit ---------------------------------------------------------------------

constexpr const char* k_type = "30010C1C-93BF-11D8-8B5B-000A95AF9C6A";
constexpr const char* k_factory = "0B6E1C40-2F0A-4B38-8F4D-7C1B7E2A9D11";

// An Info.plist with the given executable and factory function; empty means "leave it out".
std::string info_plist(const std::string& executable, const std::string& function, const std::string& type = k_type) {
    std::ostringstream text;
    text << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    if (!executable.empty()) text << "<key>CFBundleExecutable</key><string>" << executable << "</string>\n";
    if (!function.empty())
        text << "<key>CFPlugInFactories</key><dict><key>" << k_factory << "</key><string>" << function
             << "</string></dict>\n";
    text << "<key>CFPlugInTypes</key><dict><key>" << type << "</key><array><string>" << k_factory
         << "</string></array></dict>\n</dict>\n</plist>\n";
    return text.str();
}

// Each broken bundle (a file to copy in as its executable, text to write there, or none) and the
// reason its one line must give; a working copy of the test camera lies beside them, and empty
// and missing folders in the search path are passed over.
TEST(dal_bundles, broken_bundles_are_skipped_with_one_line_each_and_the_working_one_loads) {
    const char* const factories = ZAV_BROKEN_FACTORIES;
    const struct {
        const char* m_name;
        std::string m_plist;
        const char* m_executable;
        const char* m_reason;
    } bundles[] = {
        {"NoExecutableKey", info_plist("", "BrokenFactoryReturnsNull"), factories, "CFBundleExecutable"},
        {"NoFactories", info_plist("Broken", ""), factories, "CFPlugInFactories"},
        {"OtherType", info_plist("Broken", "BrokenFactoryReturnsNull", "11111111-2222-3333-4444-555555555555"),
         factories, "CFPlugInTypes"},
        {"MissingExecutable", info_plist("Broken", "BrokenFactoryReturnsNull"), nullptr, "is missing"},
        {"MissingFactory", info_plist("Broken", "NoSuchFactory"), factories, "NoSuchFactory not found"},
        {"NullFactory", info_plist("Broken", "BrokenFactoryReturnsNull"), factories, "returned no plug-in"},
        {"RefusesInterface", info_plist("Broken", "BrokenFactoryRefusesInterface"), factories, "refused"},
        {"FailsToInitialize", info_plist("Broken", "BrokenFactoryFailsToInitialize"), factories,
         "failed to initialise"},
        {"NulInExecutableName", info_plist(std::string("Bro\0ken", 7), "BrokenFactoryReturnsNull"), factories,
         "CFBundleExecutable"},
        {"NulInFactoryName", info_plist("Broken", std::string("BrokenFactory\0ReturnsNull", 25)), factories,
         "names no function"},
        {"GarbagePlist", "this is not a property list", factories, "not a property list"},
        {"NoPlist", "", nullptr, "Info.plist is missing"},
        {"NotALibrary", info_plist("Broken", "Factory"), "not an executable", "cannot load executable"},
    };
    char pattern[] = "/tmp/dal_bundles_XXXXXX";
    const std::string folder = mkdtemp(pattern);
    fs::copy(ZAV_TEST_CAMERA_BUNDLE, folder + "/Working.plugin", fs::copy_options::recursive);
    for (const auto& bundle : bundles) {
        const std::string contents = folder + "/" + bundle.m_name + ".plugin/Contents";
        fs::create_directories(contents + "/MacOS");
        if (!bundle.m_plist.empty()) std::ofstream(contents + "/Info.plist") << bundle.m_plist;
        if (bundle.m_executable == nullptr) continue;
        if (fs::exists(bundle.m_executable))
            fs::copy_file(bundle.m_executable, contents + "/MacOS/Broken");
        else
            std::ofstream(contents + "/MacOS/Broken") << bundle.m_executable;
    }
    // Neither of these is a bundle, so neither is mentioned.
    std::ofstream(folder + "/notes.txt") << "hello";
    fs::create_directories(folder + "/Folder.bundle");
    use_plugin_folders("::/no/such/folder:" + folder + ":");
    CMIOObjectID camera = kCMIOObjectUnknown;
    const std::string log = capture_stderr([&] { camera = find_test_camera(); });
    zav_platform::probe::unload_plug_ins();
    fs::remove_all(folder);
    EXPECT_NE(camera, kCMIOObjectUnknown) << log;
    auto lines_about = [&log](const std::string& bundle) {
        std::vector<std::string> lines;
        std::istringstream in(log);
        for (std::string line; std::getline(in, line);)
            if (line.find("/" + bundle + ".plugin") != std::string::npos) lines.push_back(line);
        return lines;
    };
    for (const auto& bundle : bundles) {
        const std::vector<std::string> lines = lines_about(bundle.m_name);
        ASSERT_EQ(lines.size(), 1u) << bundle.m_name << " in:\n" << log;
        EXPECT_NE(lines[0].find(bundle.m_reason), std::string::npos) << lines[0];
    }
    EXPECT_TRUE(lines_about("Working").empty()) << log;
    EXPECT_EQ(log.find("notes.txt"), std::string::npos);
    EXPECT_EQ(log.find("Folder.bundle"), std::string::npos);
    // References of refused and failed plug-ins are given back.
    EXPECT_NE(log.find("RefusingPlugIn: last reference released"), std::string::npos) << log;
    EXPECT_NE(log.find("FailingPlugIn: last reference released"), std::string::npos) << log;
}

// A bundle may list several factories for the DAL plug-in type; one that CFPlugInFactories gives
// no usable function is passed over for the next one listed, which here makes the test camera.
struct two_factories_case_t {
    const char* m_name;
    std::string m_first_factory_entry;  // the first factory's CFPlugInFactories entry, key and value
};

void PrintTo(const two_factories_case_t& c, std::ostream* out) {
    *out << c.m_name;
}

constexpr const char* k_first_factory = "7D0C6B11-5E2A-4C3F-A1B4-0F9E8D7C6B5A";
constexpr const char* k_second_factory = "3E8F2A90-6B1C-4D5E-9F07-1A2B3C4D5E6F";

const two_factories_case_t k_unusable_first_factories[] = {
    {"first_factory_not_in_the_factories", ""},
    {"first_factory_function_empty", std::string("<key>") + k_first_factory + "</key><string></string>"},
    {"first_factory_function_not_a_string", std::string("<key>") + k_first_factory + "</key><integer>7</integer>"},
};

class dal_two_factories_t : public ::testing::TestWithParam<two_factories_case_t> {};

TEST_P(dal_two_factories_t, the_next_factory_listed_makes_the_plugin) {
    char pattern[] = "/tmp/dal_two_factories_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string folder = pattern;
    const std::string contents = folder + "/TwoFactories.plugin/Contents";
    fs::create_directories(contents + "/MacOS");
    fs::copy_file(std::string(ZAV_TEST_CAMERA_BUNDLE) + "/Contents/MacOS/TestCamera", contents + "/MacOS/TestCamera");
    std::ofstream(contents + "/Info.plist")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
        << "<key>CFBundleExecutable</key><string>TestCamera</string>\n"
        << "<key>CFPlugInFactories</key><dict>" << GetParam().m_first_factory_entry << "<key>" << k_second_factory
        << "</key><string>TestCameraFactory</string></dict>\n"
        << "<key>CFPlugInTypes</key><dict><key>" << k_type << "</key><array><string>" << k_first_factory
        << "</string><string>" << k_second_factory << "</string></array></dict>\n</dict>\n</plist>\n";
    use_plugin_folders(folder);
    CMIOObjectID camera = kCMIOObjectUnknown;
    const std::string log = capture_stderr([&] { camera = find_test_camera(); });
    zav_platform::probe::unload_plug_ins();
    fs::remove_all(folder);
    EXPECT_NE(camera, kCMIOObjectUnknown) << log;
    EXPECT_EQ(log.find("skipping"), std::string::npos) << log;
}

std::string two_factories_name(const ::testing::TestParamInfo<two_factories_case_t>& param) {
    return param.param.m_name;
}

INSTANTIATE_TEST_SUITE_P(bundles, dal_two_factories_t, ::testing::ValuesIn(k_unusable_first_factories),
                         two_factories_name);

// Both ways a process lets go of its plug-ins: exiting, and the DAL system unloading them.
constexpr const char* k_released = "TestCamera: last reference released after teardown";

TEST(dal_exit, plugins_are_torn_down_and_released_at_exit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
            if (find_test_camera() == kCMIOObjectUnknown) std::_Exit(3);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), k_released);
}

TEST(dal_exit, plugins_are_torn_down_and_released_on_unload_with_their_objects) {
    use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
    const CMIOObjectID camera = find_test_camera();
    ASSERT_NE(camera, kCMIOObjectUnknown);
    const std::string log = capture_stderr([] { zav_platform::probe::unload_plug_ins(); });
    EXPECT_NE(log.find(k_released), std::string::npos) << log;
    // Its objects are gone with it.
    UInt32 size = 0;
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    unsetenv("CMIO_DAL_PLUGIN_PATH");
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(camera, &name, 0, nullptr, &size), kCMIOHardwareBadObjectError);
}

}  // namespace

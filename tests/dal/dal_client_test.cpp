// The test camera driven through the client API as an application would: listing, property
// routing with the plug-in's status passed through, the system object's own properties, the
// device and deck commands, and property listeners.
#include "dal_test_support.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>

using namespace dal_test;

namespace {

class dal_client_t : public ::testing::Test {
protected:
    void SetUp() override {
        use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
        m_device = find_test_camera();
        ASSERT_NE(m_device, kCMIOObjectUnknown) << "the test camera was not loaded from " ZAV_TEST_PLUGIN_DIR;
        std::vector<CMIOObjectID> streams = read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
        ASSERT_EQ(streams.size(), 1u);
        m_stream = streams[0];
    }

    CMIOObjectID m_device = kCMIOObjectUnknown;
    CMIOObjectID m_stream = kCMIOObjectUnknown;
};

// Ids the DAL system never handed out.
constexpr CMIOObjectID k_unknown_id = 0x7FFF0000;

// ---- Listing -----------------------------------------------------------------------------------

TEST_F(dal_client_t, system_object_lists_the_camera_and_owned_objects_by_class) {
    EXPECT_EQ(read<CMIOClassID>(kCMIOObjectSystemObject, kCMIOObjectPropertyClass), CMIOClassID(kCMIOSystemObjectClassID));
    std::vector<CMIOObjectID> devices = read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
    EXPECT_NE(std::find(devices.begin(), devices.end(), m_device), devices.end());
    const CMIOObjectID default_input = read<CMIOObjectID>(kCMIOObjectSystemObject, kCMIOHardwarePropertyDefaultInputDevice);
    EXPECT_NE(std::find(devices.begin(), devices.end(), default_input), devices.end());
    EXPECT_EQ(read<UInt32>(kCMIOObjectSystemObject, kCMIOHardwarePropertyIsInitingOrExiting), 0u);
    auto owned = [](CMIOClassID class_id) {
        return read_ids(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects, kCMIOObjectPropertyScopeGlobal,
                        {class_id});
    };
    std::vector<CMIOObjectID> plugins = owned(kCMIOPlugInClassID), owned_devices = owned(kCMIODeviceClassID);
    ASSERT_FALSE(plugins.empty());
    // The plug-in object's own answer, routed to the plug-in that owns it.
    for (CMIOObjectID plugin : plugins)
        EXPECT_EQ(read<CMIOClassID>(plugin, kCMIOObjectPropertyClass), CMIOClassID(kCMIOPlugInClassID));
    EXPECT_NE(std::find(owned_devices.begin(), owned_devices.end(), m_device), owned_devices.end());
    EXPECT_EQ(std::find(owned_devices.begin(), owned_devices.end(), plugins[0]), owned_devices.end());
    EXPECT_EQ(read_ids(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects).size(),
              plugins.size() + owned_devices.size());
    // Device and stream answer through their plug-in.
    EXPECT_EQ(read_string(m_device, kCMIOObjectPropertyName), "Test Camera");
    EXPECT_EQ(read<CMIOClassID>(m_device, kCMIOObjectPropertyClass), CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(read<CMIOObjectID>(m_stream, kCMIOObjectPropertyOwner), m_device);
    EXPECT_EQ(read<CMIOClassID>(m_stream, kCMIOObjectPropertyClass), CMIOClassID(kCMIOStreamClassID));
    EXPECT_TRUE(read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeOutput).empty());
    // List reads are cut to the buffer given.
    const CMIOObjectPropertyAddress list = address(kCMIOHardwarePropertyDevices);
    UInt32 used = 99;
    EXPECT_EQ(CMIOObjectGetPropertyData(kCMIOObjectSystemObject, &list, 0, nullptr, 0, &used, nullptr), noErr);
    EXPECT_EQ(used, 0u);
    CMIOObjectID one[2] = {kCMIOObjectUnknown, 0xDEADBEEF};
    EXPECT_EQ(CMIOObjectGetPropertyData(kCMIOObjectSystemObject, &list, 0, nullptr, sizeof(CMIOObjectID) + 3, &used,
                                        one), noErr);
    EXPECT_EQ(used, sizeof(CMIOObjectID));
    EXPECT_NE(one[0], kCMIOObjectUnknown);
    EXPECT_EQ(one[1], 0xDEADBEEFu) << "wrote past the ids that fit";
}

// ---- Bad ids and bad arguments -------------------------------------------------------------------

TEST_F(dal_client_t, unknown_objects_wrong_classes_and_null_arguments_are_refused) {
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    UInt32 size = 0, used = 0;
    CFStringRef value = nullptr;
    Boolean settable = false;
    EXPECT_FALSE(CMIOObjectHasProperty(k_unknown_id, &name));
    EXPECT_EQ(CMIOObjectIsPropertySettable(k_unknown_id, &name, &settable), kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(k_unknown_id, &name, 0, nullptr, &size), kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectGetPropertyData(k_unknown_id, &name, 0, nullptr, sizeof value, &used, &value),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIOObjectSetPropertyData(k_unknown_id, &name, 0, nullptr, sizeof value, &value),
              kCMIOHardwareBadObjectError);
    EXPECT_EQ(CMIODeviceStartStream(k_unknown_id, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIODeviceStopStream(kCMIOObjectUnknown, m_stream), kCMIOHardwareBadDeviceError);
    CMSimpleQueueRef queue = nullptr;
    EXPECT_EQ(CMIOStreamCopyBufferQueue(k_unknown_id, nullptr, nullptr, &queue), kCMIOHardwareBadStreamError);
    EXPECT_EQ(queue, nullptr);
    EXPECT_EQ(CMIOStreamDeckPlay(k_unknown_id), kCMIOHardwareBadStreamError);
    // A stream is no device and a device no stream, even though both exist.
    EXPECT_EQ(CMIODeviceStartStream(m_stream, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(m_device, nullptr, nullptr, &queue), kCMIOHardwareBadStreamError);
    EXPECT_EQ(CMIOStreamDeckJog(kCMIOObjectSystemObject, 1), kCMIOHardwareBadStreamError);
    // Null arguments are refused without reaching the plug-in.
    EXPECT_FALSE(CMIOObjectHasProperty(m_device, nullptr));
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, nullptr, 0, nullptr, &size), kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, &name, 0, nullptr, nullptr), kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectGetPropertyData(m_device, &name, 0, nullptr, 8, nullptr, &size),
              kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOObjectGetPropertyData(m_device, nullptr, 0, nullptr, 8, &used, &size),
              kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(m_stream, nullptr, nullptr, nullptr), kCMIOHardwareIllegalOperationError);
    EXPECT_EQ(CMIODeviceProcessAVCCommand(m_device, nullptr), kCMIOHardwareIllegalOperationError);
}

// ---- Status pass-through -------------------------------------------------------------------------

TEST_F(dal_client_t, plugin_status_comes_back_unchanged) {
    const CMIOObjectPropertyAddress rate = address(kCMIOStreamPropertyFrameRate);
    Float64 unsupported = 25.0;
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof unsupported, &unsupported),
              kCMIODeviceUnsupportedFormatError);
    UInt32 too_small = 60;
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof too_small, &too_small),
              kCMIOHardwareBadPropertySizeError);
    Float64 sixty = 60.0;
    EXPECT_EQ(CMIOObjectSetPropertyData(m_stream, &rate, 0, nullptr, sizeof sixty, &sixty), noErr);
    EXPECT_EQ(read<Float64>(m_stream, kCMIOStreamPropertyFrameRate), 60.0);

    const CMIOObjectPropertyAddress unknown = address(0x7A7A7A7A);
    UInt32 size = 0;
    EXPECT_FALSE(CMIOObjectHasProperty(m_device, &unknown));
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(m_device, &unknown, 0, nullptr, &size), kCMIOHardwareUnknownPropertyError);

    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(m_stream, &rate, &settable), noErr);
    EXPECT_TRUE(settable);
    const CMIOObjectPropertyAddress cls = address(kCMIOObjectPropertyClass);
    EXPECT_EQ(CMIOObjectIsPropertySettable(m_stream, &cls, &settable), noErr);
    EXPECT_FALSE(settable);
}

TEST_F(dal_client_t, start_and_stop_report_the_plugins_state_errors) {
    EXPECT_EQ(CMIODeviceStopStream(m_device, m_stream), kCMIOHardwareNotRunningError);
    // The device exists, so the plug-in answers for the bad stream id.
    EXPECT_EQ(CMIODeviceStartStream(m_device, m_device), kCMIOHardwareBadStreamError);
    ASSERT_EQ(CMIODeviceStartStream(m_device, m_stream), noErr);
    EXPECT_EQ(read<UInt32>(m_device, kCMIODevicePropertyDeviceIsRunning), 1u);
    EXPECT_EQ(CMIODeviceStartStream(m_device, m_stream), kCMIOHardwareNotStoppedError);
    EXPECT_EQ(CMIODeviceStopStream(m_device, m_stream), noErr);
    EXPECT_EQ(read<UInt32>(m_device, kCMIODevicePropertyDeviceIsRunning), 0u);
}

TEST_F(dal_client_t, device_and_deck_commands_reach_the_plugin_or_report_unsupported) {
    UInt8 command[3] = {1, 2, 3};
    UInt8 response[2] = {0, 0};
    CMIODeviceAVCCommand avc{command, 3, response, 2, 0};
    ASSERT_EQ(CMIODeviceProcessAVCCommand(m_device, &avc), noErr);
    EXPECT_EQ(avc.mResponseUsed, 2u);
    EXPECT_EQ(response[0], 3);
    EXPECT_EQ(response[1], 2);
    CMIODeviceAVCCommand empty{command, 0, response, 2, 0};
    EXPECT_EQ(CMIODeviceProcessAVCCommand(m_device, &empty), kCMIOHardwareIllegalOperationError);
    // The test camera leaves the RS-422 entry of its table empty.
    CMIODeviceRS422Command rs422{command, 3, response, 2, 0};
    EXPECT_EQ(CMIODeviceProcessRS422Command(m_device, &rs422), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(CMIOStreamDeckPlay(m_stream), kCMIOHardwareUnsupportedOperationError);
    // The frame number crosses the plug-in interface as a Float64 and must survive the trip.
    const UInt64 frame = (UInt64(1) << 40) + 12345;
    ASSERT_EQ(CMIOStreamDeckCueTo(m_stream, frame, true), noErr);
    EXPECT_EQ(read<UInt64>(m_stream, kCMIOStreamPropertyDeckFrameNumber), frame);
}

// ---- The system object's settings ----------------------------------------------------------------

// ---- Listeners -----------------------------------------------------------------------------------

struct recorder_t {
    std::mutex mutex;
    std::vector<std::pair<CMIOObjectID, CMIOObjectPropertyAddress>> calls;

    static OSStatus listener(CMIOObjectID object, UInt32 count, const CMIOObjectPropertyAddress addresses[],
                             void* data) {
        auto* self = static_cast<recorder_t*>(data);
        std::lock_guard<std::mutex> lock(self->mutex);
        for (UInt32 i = 0; i < count; ++i) self->calls.emplace_back(object, addresses[i]);
        return noErr;
    }
    std::size_t count_of(CMIOObjectID object, CMIOObjectPropertySelector selector) {
        std::lock_guard<std::mutex> lock(mutex);
        return std::size_t(std::count_if(calls.begin(), calls.end(),
                                         [&](const auto& c) { return c.first == object && c.second.mSelector == selector; }));
    }
    std::size_t size() {
        std::lock_guard<std::mutex> lock(mutex);
        return calls.size();
    }
};

// System settings: which are settable, size checks, global-only addresses, and listeners that hear
// real changes only.
TEST_F(dal_client_t, system_settings_are_checked_global_only_and_heard_when_changed) {
    const CMIOObjectPropertyAddress allow = address(kCMIOHardwarePropertyAllowScreenCaptureDevices);
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(kCMIOObjectSystemObject, &allow, &settable), noErr);
    EXPECT_TRUE(settable);
    EXPECT_EQ(CMIOObjectIsPropertySettable(kCMIOObjectSystemObject, &devices, &settable), noErr);
    EXPECT_FALSE(settable);
    EXPECT_EQ(read<UInt32>(kCMIOObjectSystemObject, kCMIOHardwarePropertyAllowScreenCaptureDevices), 1u);
    EXPECT_EQ(read<UInt32>(kCMIOObjectSystemObject, kCMIOHardwarePropertyAllowWirelessScreenCaptureDevices), 0u);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &allow, recorder_t::listener, &recorder), noErr);
    UInt32 off = 0;
    ASSERT_EQ(CMIOObjectSetPropertyData(kCMIOObjectSystemObject, &allow, 0, nullptr, sizeof off, &off), noErr);
    ASSERT_EQ(CMIOObjectSetPropertyData(kCMIOObjectSystemObject, &allow, 0, nullptr, sizeof off, &off), noErr);
    EXPECT_EQ(read<UInt32>(kCMIOObjectSystemObject, kCMIOHardwarePropertyAllowScreenCaptureDevices), 0u);
    EXPECT_EQ(recorder.count_of(kCMIOObjectSystemObject, kCMIOHardwarePropertyAllowScreenCaptureDevices), 1u)
        << "setting the same value again is no change";
    CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &allow, recorder_t::listener, &recorder);
    UInt16 small = 1;
    UInt32 used = 0, size = 0;
    EXPECT_EQ(CMIOObjectSetPropertyData(kCMIOObjectSystemObject, &allow, 0, nullptr, sizeof small, &small),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(CMIOObjectGetPropertyData(kCMIOObjectSystemObject, &allow, 0, nullptr, sizeof small, &used, &small),
              kCMIOHardwareBadPropertySizeError);
    CMIOObjectID fake = m_device;
    EXPECT_EQ(CMIOObjectSetPropertyData(kCMIOObjectSystemObject, &devices, 0, nullptr, sizeof fake, &fake),
              kCMIOHardwareIllegalOperationError);
    // Only global, main-element addresses exist on the system object.
    const CMIOObjectPropertyAddress output = address(kCMIOHardwarePropertyDevices, kCMIODevicePropertyScopeOutput);
    const CMIOObjectPropertyAddress element = address(kCMIOHardwarePropertyDevices, kCMIOObjectPropertyScopeGlobal, 3);
    const CMIOObjectPropertyAddress unknown = address(0x7A7A7A7A);
    EXPECT_TRUE(CMIOObjectHasProperty(kCMIOObjectSystemObject, &devices));
    EXPECT_FALSE(CMIOObjectHasProperty(kCMIOObjectSystemObject, &output));
    EXPECT_FALSE(CMIOObjectHasProperty(kCMIOObjectSystemObject, &element));
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(kCMIOObjectSystemObject, &unknown, 0, nullptr, &size),
              kCMIOHardwareUnknownPropertyError);
}

TEST_F(dal_client_t, plugin_notices_reach_matching_listeners_until_removed) {
    recorder_t rate_only, any, name_only;
    const CMIOObjectPropertyAddress rate = address(kCMIOStreamPropertyFrameRate);
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    const CMIOObjectPropertyAddress wildcard{kCMIOObjectPropertySelectorWildcard, kCMIOObjectPropertyScopeWildcard,
                                             kCMIOObjectPropertyElementWildcard};
    // A second registration of the same listener is one registration.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(CMIOObjectAddPropertyListener(m_stream, &rate, recorder_t::listener, &rate_only), noErr);
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &wildcard, recorder_t::listener, &any), noErr);
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &name, recorder_t::listener, &name_only), noErr);
    // The plug-in is told about each new listener.
    const CMIOObjectPropertyAddress told = read<CMIOObjectPropertyAddress>(m_device, kCMIOObjectPropertyListenerAdded);
    EXPECT_EQ(told.mSelector, name.mSelector);
    EXPECT_EQ(told.mScope, name.mScope);
    EXPECT_EQ(told.mElement, name.mElement);
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
}

TEST_F(dal_client_t, device_list_listeners_hear_devices_come_and_go) {
    recorder_t recorder;
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &devices, recorder_t::listener, &recorder), noErr);
    // A second plug-in (here: plug-in-side calls made directly) publishes a device and retires it.
    CMIOObjectID extra = kCMIOObjectUnknown;
    ASSERT_EQ(CMIOObjectCreate(nullptr, kCMIOObjectSystemObject, kCMIODeviceClassID, &extra), noErr);
    ASSERT_EQ(CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 1, &extra, 0, nullptr), noErr);
    EXPECT_EQ(recorder.count_of(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), 1u);
    std::vector<CMIOObjectID> listed = read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
    EXPECT_NE(std::find(listed.begin(), listed.end(), extra), listed.end());
    ASSERT_EQ(CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 0, nullptr, 1, &extra), noErr);
    EXPECT_EQ(recorder.count_of(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices), 2u);
    listed = read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
    EXPECT_EQ(std::find(listed.begin(), listed.end(), extra), listed.end());
    CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &devices, recorder_t::listener, &recorder);
}

}  // namespace

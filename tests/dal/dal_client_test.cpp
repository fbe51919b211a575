// The test camera driven through the client API as an application would: listing, property
// routing with the plug-in's status passed through, the system object's own settings, and
// property listeners.
#include "dal_test_support.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <gtest/gtest.h>

#include <algorithm>
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

bool contains(const std::vector<CMIOObjectID>& ids, CMIOObjectID id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// Ids the DAL system never handed out.
constexpr CMIOObjectID k_unknown_id = 0x7FFF0000;

TEST_F(dal_client_t, system_object_lists_the_camera_and_owned_objects_by_class) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    EXPECT_EQ(read<CMIOClassID>(system, kCMIOObjectPropertyClass), CMIOClassID(kCMIOSystemObjectClassID));
    const std::vector<CMIOObjectID> devices = read_ids(system, kCMIOHardwarePropertyDevices);
    EXPECT_TRUE(contains(devices, m_device));
    EXPECT_TRUE(contains(devices, read<CMIOObjectID>(system, kCMIOHardwarePropertyDefaultInputDevice)));
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
    // Device and stream answer through their plug-in.
    EXPECT_EQ(read<CMIOClassID>(m_device, kCMIOObjectPropertyClass), CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(read<CMIOObjectID>(m_stream, kCMIOObjectPropertyOwner), m_device);
    EXPECT_EQ(read<CMIOClassID>(m_stream, kCMIOObjectPropertyClass), CMIOClassID(kCMIOStreamClassID));
    EXPECT_TRUE(read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeOutput).empty());
    // List reads are cut to the buffer given.
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

TEST_F(dal_client_t, unknown_objects_wrong_classes_and_null_arguments_are_refused) {
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
    // A stream is no device and a device no stream, even though both exist.
    EXPECT_EQ(CMIODeviceStartStream(m_stream, m_stream), kCMIOHardwareBadDeviceError);
    EXPECT_EQ(CMIOStreamCopyBufferQueue(m_device, nullptr, nullptr, &queue), kCMIOHardwareBadStreamError);
    // Null arguments are refused without reaching the plug-in.
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

struct recorder_t {
    std::mutex m_mutex;
    std::vector<std::pair<CMIOObjectID, CMIOObjectPropertySelector>> m_calls;

    static OSStatus listener(CMIOObjectID object, UInt32 count, const CMIOObjectPropertyAddress addresses[], void* data) {
        auto* self = static_cast<recorder_t*>(data);
        std::lock_guard<std::mutex> lock(self->m_mutex);
        for (UInt32 i = 0; i < count; ++i) self->m_calls.emplace_back(object, addresses[i].mSelector);
        return noErr;
    }
    std::size_t count_of(CMIOObjectID object, CMIOObjectPropertySelector selector) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return std::size_t(std::count(m_calls.begin(), m_calls.end(), std::make_pair(object, selector)));
    }
    std::size_t size() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls.size();
    }
};

// Which system settings are settable, size checks, global-only addresses, and listeners that
// hear real changes only.
TEST_F(dal_client_t, system_settings_are_checked_global_only_and_heard_when_changed) {
    const CMIOObjectID system = kCMIOObjectSystemObject;
    const CMIOObjectPropertyAddress allow = address(kCMIOHardwarePropertyAllowScreenCaptureDevices);
    const CMIOObjectPropertyAddress devices = address(kCMIOHardwarePropertyDevices);
    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(system, &allow, &settable), noErr);
    EXPECT_TRUE(settable);
    EXPECT_EQ(CMIOObjectIsPropertySettable(system, &devices, &settable), noErr);
    EXPECT_FALSE(settable);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(system, &allow, recorder_t::listener, &recorder), noErr);
    UInt32 off = 0, used = 0;
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(CMIOObjectSetPropertyData(system, &allow, 0, nullptr, sizeof off, &off), noErr);
    EXPECT_EQ(read<UInt32>(system, kCMIOHardwarePropertyAllowScreenCaptureDevices), 0u);
    EXPECT_EQ(recorder.size(), 1u) << "setting the same value again is no change";
    CMIOObjectRemovePropertyListener(system, &allow, recorder_t::listener, &recorder);
    UInt16 small = 1;
    EXPECT_EQ(CMIOObjectSetPropertyData(system, &allow, 0, nullptr, sizeof small, &small),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(CMIOObjectGetPropertyData(system, &allow, 0, nullptr, sizeof small, &used, &small),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(CMIOObjectSetPropertyData(system, &devices, 0, nullptr, sizeof m_device, &m_device),
              kCMIOHardwareIllegalOperationError);
    // Only global, main-element addresses exist on the system object.
    const CMIOObjectPropertyAddress output = address(kCMIOHardwarePropertyDevices, kCMIODevicePropertyScopeOutput);
    const CMIOObjectPropertyAddress element = address(kCMIOHardwarePropertyDevices, kCMIOObjectPropertyScopeGlobal, 3);
    EXPECT_TRUE(CMIOObjectHasProperty(system, &devices));
    EXPECT_FALSE(CMIOObjectHasProperty(system, &output));
    EXPECT_FALSE(CMIOObjectHasProperty(system, &element));
}

TEST_F(dal_client_t, notices_reach_matching_listeners_until_removed) {
    recorder_t rate_only, any, name_only, device_list;
    const CMIOObjectPropertyAddress rate = address(kCMIOStreamPropertyFrameRate), name = address(kCMIOObjectPropertyName);
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

    // Device-list listeners hear a second plug-in (here: plug-in-side calls made directly)
    // publish a device and retire it.
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &devices, recorder_t::listener, &device_list), noErr);
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

}  // namespace

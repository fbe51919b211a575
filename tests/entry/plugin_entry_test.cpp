// The host's view of a fresh plug-in instance: the factory, COM reference counting and interface
// queries, initialisation order, routing by object id, and the refused operations.
#include "cf_leak_fixture.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <gtest/gtest.h>

extern "C" void* cmioZAVPluginMain(CFAllocatorRef allocator, CFUUIDRef requested_type);

namespace {

class plugin_entry_t : public zav_test::cf_leak_fixture_t {
protected:
    void SetUp() override {
        cf_leak_fixture_t::SetUp();
        m_ref = static_cast<CMIOHardwarePlugInRef>(cmioZAVPluginMain(kCFAllocatorDefault, kCMIOHardwarePlugInTypeID));
        ASSERT_NE(m_ref, nullptr);
    }
    void TearDown() override {
        if (m_ref != nullptr) (*m_ref)->Release(m_ref);
        cf_leak_fixture_t::TearDown();
    }
    CMIOHardwarePlugInInterface& table() { return **m_ref; }
    static bool logged(const std::string& message) {
        const auto messages = zav_test::log_messages();
        return std::find(messages.begin(), messages.end(), message) != messages.end();
    }

    CMIOHardwarePlugInRef m_ref = nullptr;
};

TEST_F(plugin_entry_t, query_with_no_output_pointer_is_refused_and_adds_no_reference) {
    EXPECT_EQ(table().QueryInterface(m_ref, CFUUIDGetUUIDBytes(kCMIOHardwarePlugInInterfaceID), nullptr), E_POINTER);
    EXPECT_EQ(table().AddRef(m_ref), 2u);
    EXPECT_EQ(table().Release(m_ref), 1u);
}

TEST_F(plugin_entry_t, plugin_interface_and_iunknown_both_answer_the_same_reference) {
    void* plugin_interface = nullptr;
    void* unknown = nullptr;
    EXPECT_EQ(table().QueryInterface(m_ref, CFUUIDGetUUIDBytes(kCMIOHardwarePlugInInterfaceID), &plugin_interface),
              S_OK);
    EXPECT_EQ(table().QueryInterface(m_ref, CFUUIDGetUUIDBytes(IUnknownUUID), &unknown), S_OK);
    EXPECT_EQ(plugin_interface, static_cast<void*>(m_ref));
    EXPECT_EQ(unknown, static_cast<void*>(m_ref));
    EXPECT_EQ(table().Release(m_ref), 2u);
    EXPECT_EQ(table().Release(m_ref), 1u);
}

TEST_F(plugin_entry_t, query_for_another_interface_leaves_the_output_alone) {
    void* out = &out;
    EXPECT_EQ(table().QueryInterface(m_ref, CFUUIDGetUUIDBytes(kCMIOHardwarePlugInTypeID), &out), E_NOINTERFACE);
    EXPECT_EQ(out, static_cast<void*>(&out));
}

TEST_F(plugin_entry_t, every_factory_call_makes_an_independent_instance) {
    auto other = static_cast<CMIOHardwarePlugInRef>(cmioZAVPluginMain(kCFAllocatorDefault, nullptr));
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other, m_ref);
    EXPECT_EQ((*other)->AddRef(other), 2u);
    EXPECT_EQ((*other)->Release(other), 1u);
    // The last release destroys the instance (the sanitizers see it go).
    EXPECT_EQ((*other)->Release(other), 0u);
}

TEST_F(plugin_entry_t, before_initialisation_unknown_ids_are_logged_and_refused) {
    const CMIOObjectPropertyAddress name = {kCMIOObjectPropertyName, kCMIOObjectPropertyScopeGlobal, 0};
    UInt32 size = 0;
    EXPECT_EQ(table().ObjectGetPropertyDataSize(m_ref, 5, &name, 0, nullptr, &size), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(logged("object lookup failed for object_id 5"));
    EXPECT_FALSE(table().ObjectHasProperty(m_ref, 6, &name));
    EXPECT_EQ(table().StreamCopyBufferQueue(m_ref, 7, nullptr, nullptr, nullptr), kCMIOHardwareUnspecifiedError);
}

TEST_F(plugin_entry_t, its_own_id_answers_the_base_properties_without_being_published) {
    const CMIOObjectPropertyAddress class_address = {kCMIOObjectPropertyClass, kCMIOObjectPropertyScopeGlobal, 0};
    CMIOClassID class_id = 0;
    UInt32 used = 0;
    EXPECT_EQ(table().ObjectGetPropertyData(m_ref, 0, &class_address, 0, nullptr, sizeof(class_id), &used, &class_id),
              kCMIOHardwareNoError);
    EXPECT_EQ(class_id, CMIOClassID(kCMIOPlugInClassID));
}

TEST_F(plugin_entry_t, initialisation_publishes_the_stream_first_then_the_device) {
    EXPECT_EQ(table().InitializeWithObjectID(m_ref, 41), kCMIOHardwareNoError);
    const auto created = zav_platform::probe::created_objects();
    ASSERT_EQ(created.size(), 2u);
    EXPECT_EQ(created[0].class_id, CMIOClassID(kCMIODeviceClassID));
    EXPECT_EQ(created[0].owner_id, CMIOObjectID(kCMIOObjectSystemObject));
    EXPECT_EQ(created[1].class_id, CMIOClassID(kCMIOStreamClassID));
    EXPECT_EQ(created[1].owner_id, created[0].object_id);
    const auto published = zav_platform::probe::published_and_died();
    ASSERT_GE(published.size(), 2u);
    EXPECT_EQ(published[0].published, std::vector<CMIOObjectID>{created[1].object_id});
    EXPECT_EQ(published[1].published, std::vector<CMIOObjectID>{created[0].object_id});
    EXPECT_TRUE(logged("Published input stream"));

    // After initialisation an unknown id is refused without a line.
    zav_test::clear_log();
    const CMIOObjectPropertyAddress name = {kCMIOObjectPropertyName, kCMIOObjectPropertyScopeGlobal, 0};
    EXPECT_FALSE(table().ObjectHasProperty(m_ref, 9999, &name));
    EXPECT_TRUE(zav_test::log_messages().empty());
}

TEST_F(plugin_entry_t, stop_for_an_unknown_device_is_refused_with_the_shared_line) {
    ASSERT_EQ(table().Initialize(m_ref), kCMIOHardwareNoError);
    EXPECT_EQ(table().DeviceStopStream(m_ref, 9999, 1), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(logged("DeviceStopStream called"));
    EXPECT_TRUE(logged("DeviceStartStream called with unrecognized device"));
}

TEST_F(plugin_entry_t, operations_the_camera_lacks_are_logged_and_unsupported) {
    EXPECT_EQ(table().DeviceSuspend(m_ref, 1), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().DeviceResume(m_ref, 1), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().DeviceProcessAVCCommand(m_ref, 1, nullptr), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().DeviceProcessRS422Command(m_ref, 1, nullptr), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().StreamDeckPlay(m_ref, 1), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().StreamDeckStop(m_ref, 1), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().StreamDeckJog(m_ref, 1, 2), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(table().StreamDeckCueTo(m_ref, 1, 0.5, true), kCMIOHardwareUnsupportedOperationError);
    EXPECT_EQ(zav_test::log_messages(),
              (std::vector<std::string>{"DeviceSuspend called", "DeviceResume called", "DeviceProcessAVCCommand called",
                                        "DeviceProcessRS422Command called", "StreamDeckPlay called",
                                        "StreamDeckStop called", "StreamDeckJog called", "StreamDeckCueTo called"}));
}

TEST_F(plugin_entry_t, teardown_only_logs_and_keeps_the_device) {
    ASSERT_EQ(table().Initialize(m_ref), kCMIOHardwareNoError);
    EXPECT_EQ(table().Teardown(m_ref), kCMIOHardwareNoError);
    EXPECT_TRUE(logged("Plugin Teardown called"));
    const auto created = zav_platform::probe::created_objects();
    ASSERT_FALSE(created.empty());
    const CMIOObjectPropertyAddress name = {kCMIOObjectPropertyName, kCMIOObjectPropertyScopeGlobal, 0};
    EXPECT_TRUE(table().ObjectHasProperty(m_ref, created[0].object_id, &name));
}

}  // namespace

// The CoreMediaIO headers give C and C++ the same layouts and values, and those are Apple's:
// four-character codes, the packing of the command structures, and the position of every
// entry of the plug-in function table (plug-ins fill it by position).
#include <CoreMediaIO/CMIOHardware.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <gtest/gtest.h>

#include <cstddef>

extern "C" size_t c_layout_value(int which);

namespace {

constexpr UInt32 four_cc(const char (&code)[5]) {
    return (UInt32(UInt8(code[0])) << 24) | (UInt32(UInt8(code[1])) << 16) | (UInt32(UInt8(code[2])) << 8) |
           UInt32(UInt8(code[3]));
}

TEST(cmio_headers, c_and_cpp_agree_on_layouts_and_values) {
    EXPECT_EQ(c_layout_value(0), sizeof(CMIOObjectPropertyAddress));
    EXPECT_EQ(c_layout_value(1), sizeof(CMIODeviceAVCCommand));
    EXPECT_EQ(c_layout_value(2), offsetof(CMIODeviceAVCCommand, mResponse));
    EXPECT_EQ(c_layout_value(3), sizeof(CMIOHardwarePlugInInterface));
    EXPECT_EQ(c_layout_value(4), offsetof(CMIOHardwarePlugInInterface, StreamCopyBufferQueue));
    EXPECT_EQ(c_layout_value(5), sizeof(CMIOStreamDeck));
    EXPECT_EQ(c_layout_value(6), sizeof(CMIOStreamScheduledOutputNotificationProcAndRefCon));
    EXPECT_EQ(c_layout_value(7), std::size_t(kCMIOObjectPropertyElementMain));
    EXPECT_EQ(c_layout_value(8), std::size_t(kCMIOHardwareBadObjectError));
    EXPECT_EQ(c_layout_value(9), 0u);
}

TEST(cmio_headers, commands_keep_the_four_byte_packing) {
    // Pointers at 4-byte offsets, as the framework packs them.
    EXPECT_EQ(offsetof(CMIODeviceAVCCommand, mResponse), sizeof(UInt8*) + 4);
    EXPECT_EQ(sizeof(CMIODeviceAVCCommand), 2 * sizeof(UInt8*) + 12);
    EXPECT_EQ(sizeof(CMIODeviceRS422Command), sizeof(CMIODeviceAVCCommand));
    EXPECT_EQ(sizeof(CMIOObjectPropertyAddress), 12u);
}

TEST(cmio_headers, plugin_table_entries_sit_where_plugins_put_them) {
    const std::size_t slot = sizeof(void*);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, QueryInterface), 1 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, Initialize), 4 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, InitializeWithObjectID), 5 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, ObjectShow), 7 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, ObjectSetPropertyData), 12 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, DeviceStartStream), 15 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, DeviceProcessRS422Command), 18 * slot);
    EXPECT_EQ(offsetof(CMIOHardwarePlugInInterface, StreamCopyBufferQueue), 19 * slot);
    EXPECT_EQ(sizeof(CMIOHardwarePlugInInterface), 24 * slot);
}

TEST(cmio_headers, codes_are_apples_four_character_codes) {
    EXPECT_EQ(UInt32(kCMIOHardwareBadObjectError), four_cc("!obj"));
    EXPECT_EQ(UInt32(kCMIOHardwareNotStoppedError), four_cc("run "));
    EXPECT_EQ(UInt32(kCMIOHardwareUnknownPropertyError), four_cc("who?"));
    EXPECT_EQ(UInt32(kCMIOHardwarePropertyDevices), four_cc("dev#"));
    EXPECT_EQ(UInt32(kCMIOHardwarePropertyDefaultInputDevice), four_cc("dIn "));
    EXPECT_EQ(UInt32(kCMIODeviceClassID), four_cc("adev"));
    EXPECT_EQ(UInt32(kCMIOStreamPropertyFormatDescription), four_cc("pft "));
    EXPECT_EQ(UInt32(kCMIOObjectPropertySelectorWildcard), four_cc("****"));
    EXPECT_EQ(UInt32(kCMIOObjectPropertyElementWildcard), 0xFFFFFFFFu);
    EXPECT_EQ(UInt32(kCMIOObjectPropertyElementMaster), UInt32(kCMIOObjectPropertyElementMain));
    EXPECT_EQ(UInt32(kCMIOObjectSystemObject), 1u);
    EXPECT_EQ(UInt32(kCMIOSampleBufferDiscontinuityFlag_DataWasDropped), 1u << 6);
    EXPECT_EQ(UInt32(kCMIOSampleBufferDiscontinuityFlag_CodecSettingsChanged), 1u << 17);
    EXPECT_FALSE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_DurationWasExtended));
    EXPECT_TRUE(CMIODiscontinuityFlagsHaveHardDiscontinuities(kCMIOSampleBufferDiscontinuityFlag_PacketError));
    EXPECT_EQ(CMIOGetNextSequenceNumber(UInt64(41)), 42u);
}

TEST(cmio_headers, plugin_type_and_interface_uuids) {
    const CFUUIDBytes type = CFUUIDGetUUIDBytes(kCMIOHardwarePlugInTypeID);
    const CFUUIDBytes interface = CFUUIDGetUUIDBytes(kCMIOHardwarePlugInInterfaceID);
    EXPECT_EQ(type.byte0, 0x30);
    EXPECT_EQ(type.byte15, 0x6A);
    EXPECT_EQ(interface.byte0, 0xB8);
    EXPECT_EQ(interface.byte9, 0xA6);
    // Constant UUIDs: the same object every time.
    EXPECT_EQ(kCMIOHardwarePlugInTypeID, kCMIOHardwarePlugInTypeID);
    EXPECT_FALSE(CFEqual(kCMIOHardwarePlugInTypeID, kCMIOHardwarePlugInInterfaceID));
}

}  // namespace

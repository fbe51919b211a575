// What a client reads and sets on ZAV Video before streaming: the device it lists, the stream's
// format and rates, and the refusals with their log lines.
#include "zav_camera_fixture.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

namespace zav_test {
namespace {

using camera_properties_t = zav_camera_fixture_t;

TEST_F(camera_properties_t, device_is_listed_once_with_its_name_maker_and_fixed_uids) {
    EXPECT_EQ(read_string(camera().device(), kCMIOObjectPropertyManufacturer), "Mivora");
    EXPECT_EQ(read_string(camera().device(), kCMIODevicePropertyModelUID), "Mivora-ZAV-Virtual-Camera-Model-1");
    const std::string uid = read_string(camera().device(), kCMIODevicePropertyDeviceUID);
    EXPECT_EQ(uid.size(), 36u) << uid;
    // The same after the plug-in is loaded again, so that clients remember the camera.
    use_plugin_folder(ZAV_TEST_PLUGIN_DIR);
    camera_client_t reloaded;
    ASSERT_TRUE(reloaded.found());
    EXPECT_EQ(read_string(reloaded.device(), kCMIODevicePropertyDeviceUID), uid);
}

TEST_F(camera_properties_t, device_is_a_live_virtual_input_device_that_is_not_running) {
    const CMIOObjectID device = camera().device();
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyTransportType), UInt32(0x76697274) /* 'virt' */);
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyDeviceIsAlive), 1u);
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyDeviceIsRunning), 0u);
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyDeviceIsRunningSomewhere), 0u);
    EXPECT_EQ(read_property<int32_t>(device, kCMIODevicePropertyHogMode), -1);
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyDeviceCanBeDefaultDevice), 0u);
    EXPECT_EQ(read_property<UInt32>(device, kCMIODevicePropertyDeviceCanBeDefaultDevice, kCMIODevicePropertyScopeInput),
              1u);
    EXPECT_EQ(read_property<CMIOClassID>(device, kCMIOObjectPropertyClass), CMIOClassID(kCMIODeviceClassID));
}

TEST_F(camera_properties_t, device_lists_its_stream_only_in_the_input_scope) {
    const CMIOObjectPropertyAddress output = address_of(kCMIODevicePropertyStreams, kCMIODevicePropertyScopeOutput);
    UInt32 size = 99;
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(camera().device(), &output, 0, nullptr, &size), kCMIOHardwareNoError);
    EXPECT_EQ(size, 0u);
    const CMIOObjectPropertyAddress input = address_of(kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
    EXPECT_EQ(CMIOObjectGetPropertyDataSize(camera().device(), &input, 0, nullptr, &size), kCMIOHardwareNoError);
    EXPECT_EQ(size, sizeof(CMIOStreamID));
    EXPECT_EQ(read_property<CMIOObjectID>(camera().stream(), kCMIOObjectPropertyOwner), camera().device());
}

TEST_F(camera_properties_t, device_master_is_stored_and_reports_whether_it_changed) {
    const CMIOObjectPropertyAddress master = address_of(kCMIODevicePropertyDeviceMaster);
    Boolean settable = false;
    EXPECT_EQ(CMIOObjectIsPropertySettable(camera().device(), &master, &settable), kCMIOHardwareNoError);
    EXPECT_TRUE(settable);
    const int32_t pid = 1234;
    EXPECT_EQ(CMIOObjectSetPropertyData(camera().device(), &master, 0, nullptr, sizeof(pid), &pid),
              kCMIOHardwareNoError);
    EXPECT_EQ(read_property<int32_t>(camera().device(), kCMIODevicePropertyDeviceMaster), 1234);
    const int16_t short_value = 1;
    EXPECT_EQ(CMIOObjectSetPropertyData(camera().device(), &master, 0, nullptr, sizeof(short_value), &short_value),
              kCMIOHardwareBadPropertySizeError);
    EXPECT_TRUE(logged("Bad arguments to set_property_helper"));
}

TEST_F(camera_properties_t, fresh_stream_offers_one_2vuy_1280x720_format_at_30_fps) {
    const CMIOObjectID stream = camera().stream();
    const auto description = read_property<CMFormatDescriptionRef>(stream, kCMIOStreamPropertyFormatDescription);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(CMFormatDescriptionGetMediaSubType(description), FourCharCode(kCVPixelFormatType_422YpCbCr8));
    const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
    EXPECT_EQ(dimensions.width, 1280);
    EXPECT_EQ(dimensions.height, 720);

    const auto descriptions = read_property<CFArrayRef>(stream, kCMIOStreamPropertyFormatDescriptions);
    ASSERT_NE(descriptions, nullptr);
    ASSERT_EQ(CFArrayGetCount(descriptions), 1);
    EXPECT_TRUE(CFEqual(CFArrayGetValueAtIndex(descriptions, 0), description));
    // The array does not hold its element: the description's retain is the caller's.
    CFRelease(descriptions);
    CFRelease(description);
    CFRelease(description);

    EXPECT_EQ(read_property<Float64>(stream, kCMIOStreamPropertyFrameRate), 30.0);
    EXPECT_EQ(read_property<Float64>(stream, kCMIOStreamPropertyMinimumFrameRate), 30.0);
    EXPECT_EQ(read_property<Float64>(stream, kCMIOStreamPropertyFrameRates), 30.0);
    struct range_t {
        Float64 minimum, maximum;
    };
    const auto range = read_property<range_t>(stream, kCMIOStreamPropertyFrameRateRanges);
    EXPECT_EQ(range.minimum, 30.0);
    EXPECT_EQ(range.maximum, 30.0);
    EXPECT_EQ(read_property<UInt32>(stream, kCMIOStreamPropertyDirection), 0u);
    const auto clock = read_property<CFTypeRef>(stream, kCMIOStreamPropertyClock);
    EXPECT_NE(clock, nullptr);
    if (clock != nullptr) CFRelease(clock);
}

TEST_F(camera_properties_t, client_chosen_bgra_format_is_the_one_read_back) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_32BGRA, 640, 480), kCMIOHardwareNoError);
    const auto description =
        read_property<CMFormatDescriptionRef>(camera().stream(), kCMIOStreamPropertyFormatDescription);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(CMFormatDescriptionGetMediaSubType(description), FourCharCode(kCVPixelFormatType_32BGRA));
    EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(description).width, 640);
    EXPECT_EQ(CMVideoFormatDescriptionGetDimensions(description).height, 480);
    CFRelease(description);
}

TEST_F(camera_properties_t, format_of_another_pixel_layout_is_refused_and_the_old_one_kept) {
    EXPECT_EQ(camera().set_format(0x79757673 /* 'yuvs' */, 640, 480), kCMIOHardwareUnspecifiedError);
    const auto description =
        read_property<CMFormatDescriptionRef>(camera().stream(), kCMIOStreamPropertyFormatDescription);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(CMFormatDescriptionGetMediaSubType(description), FourCharCode(kCVPixelFormatType_422YpCbCr8));
    CFRelease(description);
}

TEST_F(camera_properties_t, frame_rate_set_by_a_client_is_accepted_and_ignored) {
    const CMIOObjectPropertyAddress rate = address_of(kCMIOStreamPropertyFrameRate);
    const Float64 sixty = 60.0;
    EXPECT_EQ(CMIOObjectSetPropertyData(camera().stream(), &rate, 0, nullptr, sizeof(sixty), &sixty),
              kCMIOHardwareNoError);
    EXPECT_EQ(read_property<Float64>(camera().stream(), kCMIOStreamPropertyFrameRate), 30.0);
}

TEST_F(camera_properties_t, reads_with_a_wrong_buffer_size_are_refused) {
    OSStatus status = 0;
    read_property<UInt32>(camera().stream(), kCMIOStreamPropertyFrameRate, kCMIOObjectPropertyScopeGlobal, &status);
    EXPECT_EQ(status, kCMIOHardwareBadPropertySizeError);
    EXPECT_EQ(count_logged("Bad arguments to get_property_helper"), 1u);
    clear_log();
    read_property<UInt32>(camera().stream(), kCMIOStreamPropertyFormatDescriptions, kCMIOObjectPropertyScopeGlobal,
                          &status);
    EXPECT_EQ(status, kCMIOHardwareBadPropertySizeError);
    EXPECT_FALSE(logged("Bad arguments to get_property_helper"));
}

TEST_F(camera_properties_t, second_start_and_stop_of_a_stopped_stream_are_refused_with_their_lines) {
    EXPECT_EQ(camera().stop(), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(logged("simple_input_device_t::stop_stream already stopped error"));
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 1u);
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunningSomewhere), 1u);
    EXPECT_EQ(CMIODeviceStartStream(camera().device(), camera().stream()), kCMIOHardwareUnspecifiedError);
    EXPECT_TRUE(logged("simple_input_device_t::start_stream already running error"));
    EXPECT_TRUE(logged("DeviceStartStream called"));
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_EQ(read_property<UInt32>(camera().device(), kCMIODevicePropertyDeviceIsRunning), 0u);
}

TEST_F(camera_properties_t, start_and_stop_tell_listeners_that_the_device_runs) {
    std::size_t running_changes = 0;
    for (const auto& change : zav_platform::probe::properties_changed())
        if (change.object_id == camera().device()) running_changes += change.addresses.size();
    EXPECT_EQ(running_changes, 0u);
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    std::vector<CMIOObjectPropertySelector> selectors;
    for (const auto& change : zav_platform::probe::properties_changed())
        if (change.object_id == camera().device())
            for (const auto& address : change.addresses) selectors.push_back(address.mSelector);
    EXPECT_EQ(selectors, (std::vector<CMIOObjectPropertySelector>{kCMIODevicePropertyDeviceIsRunning,
                                                                  kCMIODevicePropertyDeviceIsRunning}));
}

}  // namespace
}  // namespace zav_test

#include "client_traffic.h"

#include <unistd.h>

#include <initializer_list>

namespace zav_test::stress {

namespace {

// Reads a property holding a Core Foundation reference and releases what the caller was given.
bool read_and_release(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    OSStatus status = 0;
    const CFTypeRef value = read_property<CFTypeRef>(object, selector, kCMIOObjectPropertyScopeGlobal, &status);
    if (value != nullptr) CFRelease(value);
    return status == kCMIOHardwareNoError && value != nullptr;
}

template <class value_t>
bool read_ok(CMIOObjectID object, CMIOObjectPropertySelector selector,
             CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal) {
    OSStatus status = 0;
    read_property<value_t>(object, selector, scope, &status);
    return status == kCMIOHardwareNoError;
}

bool running_reads(CMIOObjectID device, CMIOObjectPropertySelector selector, int running) {
    OSStatus status = 0;
    const UInt32 value = read_property<UInt32>(device, selector, kCMIOObjectPropertyScopeGlobal, &status);
    return status == kCMIOHardwareNoError && (running < 0 || value == UInt32(running));
}

// The format array holds one description retained for the caller; the array itself does not
// retain it, so both are released.
bool read_format_array(CMIOObjectID stream) {
    OSStatus status = 0;
    const CFArrayRef formats = read_property<CFArrayRef>(stream, kCMIOStreamPropertyFormatDescriptions,
                                                         kCMIOObjectPropertyScopeGlobal, &status);
    if (status != kCMIOHardwareNoError || formats == nullptr) return false;
    const bool one = CFArrayGetCount(formats) == 1;
    if (one) CFRelease(CFArrayGetValueAtIndex(formats, 0));
    CFRelease(formats);
    return one;
}

template <class value_t>
bool write(CMIOObjectID object, CMIOObjectPropertySelector selector, const value_t& value) {
    const CMIOObjectPropertyAddress where = address_of(selector);
    return CMIOObjectSetPropertyData(object, &where, 0, nullptr, sizeof(value), &value) == kCMIOHardwareNoError;
}

}  // namespace

std::size_t read_every_property(const camera_client_t& camera, int running) {
    const CMIOObjectID device = camera.device(), stream = camera.stream();
    std::size_t wrong = 0;
    using selectors_t = std::initializer_list<CMIOObjectPropertySelector>;
    for (CMIOObjectPropertySelector selector :
         selectors_t{kCMIOObjectPropertyName, kCMIODevicePropertyModelUID, kCMIODevicePropertyDeviceUID,
                     kCMIODevicePropertyLinkedCoreAudioDeviceUID, kCMIODevicePropertyLinkedAndSyncedCoreAudioDeviceUID})
        wrong += !read_and_release(device, selector);
    for (CMIOObjectPropertySelector selector :
         selectors_t{kCMIODevicePropertyTransportType, kCMIODevicePropertyDeviceIsAlive,
                     kCMIODevicePropertyDeviceCanBeDefaultDevice, kCMIODevicePropertyHogMode,
                     kCMIODevicePropertySuspendedByUser, kCMIODevicePropertyDeviceMaster,
                     kCMIODevicePropertyExcludeNonDALAccess})
        wrong += !read_ok<UInt32>(device, selector);
    wrong += !running_reads(device, kCMIODevicePropertyDeviceIsRunning, running);
    wrong += !running_reads(device, kCMIODevicePropertyDeviceIsRunningSomewhere, running);
    wrong += read_property<CMIOStreamID>(device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput) != stream;

    wrong += !read_and_release(stream, kCMIOStreamPropertyFormatDescription);
    wrong += !read_and_release(stream, kCMIOStreamPropertyClock);
    wrong += !read_format_array(stream);
    for (CMIOObjectPropertySelector selector :
         selectors_t{kCMIOStreamPropertyFrameRate, kCMIOStreamPropertyMinimumFrameRate, kCMIOStreamPropertyFrameRates})
        wrong += read_property<Float64>(stream, selector) <= 0.0;
    struct range_t {
        Float64 minimum, maximum;
    };
    const range_t range = read_property<range_t>(stream, kCMIOStreamPropertyFrameRateRanges);
    wrong += range.minimum <= 0.0 || range.minimum != range.maximum;
    OSStatus status = 0;
    wrong +=
        read_property<UInt32>(stream, kCMIOStreamPropertyDirection, kCMIOObjectPropertyScopeGlobal, &status) != 0 ||
        status != kCMIOHardwareNoError;
    return wrong;
}

std::size_t write_settable_properties(camera_client_t& camera, const std::vector<format_choice_t>& formats,
                                      std::size_t round) {
    std::size_t wrong = 0;
    const format_choice_t& format = formats[round % formats.size()];
    wrong += camera.set_format(format.pixel_format, format.width, format.height) != kCMIOHardwareNoError;
    wrong += !write(camera.stream(), kCMIOStreamPropertyFrameRate, Float64(60.0));
    wrong += !write(camera.stream(), kCMIOStreamPropertyMinimumFrameRate, Float64(15.0));
    wrong += !write(camera.device(), kCMIODevicePropertyDeviceMaster, int32_t(getpid()));
    wrong += !write(camera.device(), kCMIODevicePropertyExcludeNonDALAccess, UInt32(round % 2));
    return wrong;
}

}  // namespace zav_test::stress

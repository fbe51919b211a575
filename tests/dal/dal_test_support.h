// Helpers shared by the DAL tests: property reads through the client API, finding the test
// camera, pointing the DAL system at plug-in folders and capturing stderr.
#ifndef ZAV_TESTS_DAL_TEST_SUPPORT_H
#define ZAV_TESTS_DAL_TEST_SUPPORT_H

#include <CoreFoundation/CoreFoundation.h>
#include <CoreMediaIO/CMIOHardware.h>
#include <zav_platform/probe.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace dal_test {

inline CMIOObjectPropertyAddress address(CMIOObjectPropertySelector selector,
                                         CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal,
                                         CMIOObjectPropertyElement element = kCMIOObjectPropertyElementMain) {
    return {selector, scope, element};
}

// A fixed-size property value; the status of the read goes to `status` when given.
template <class T>
T read(CMIOObjectID object, CMIOObjectPropertySelector selector, OSStatus* status = nullptr) {
    const CMIOObjectPropertyAddress where = address(selector);
    T value{};
    UInt32 used = 0;
    const OSStatus result = CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(T), &used, &value);
    if (status != nullptr) *status = result;
    return value;
}

// An array of object ids, sized by asking for the data size first; empty on any error.
inline std::vector<CMIOObjectID> read_ids(CMIOObjectID object, CMIOObjectPropertySelector selector,
                                          CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal,
                                          const std::vector<CMIOClassID>& qualifier = {}) {
    const CMIOObjectPropertyAddress where = address(selector, scope);
    const UInt32 qualifier_size = static_cast<UInt32>(qualifier.size() * sizeof(CMIOClassID));
    UInt32 size = 0, used = 0;
    if (CMIOObjectGetPropertyDataSize(object, &where, qualifier_size, qualifier.data(), &size) != noErr) return {};
    std::vector<CMIOObjectID> ids(size / sizeof(CMIOObjectID));
    if (CMIOObjectGetPropertyData(object, &where, qualifier_size, qualifier.data(), size, &used, ids.data()) != noErr)
        return {};
    ids.resize(used / sizeof(CMIOObjectID));
    return ids;
}

inline std::string read_string(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    CFStringRef value = read<CFStringRef>(object, selector);
    char text[256] = {};
    if (value == nullptr) return "";
    CFStringGetCString(value, text, sizeof text, kCFStringEncodingUTF8);
    CFRelease(value);
    return text;
}

// The test camera's device among all devices, or kCMIOObjectUnknown.
inline CMIOObjectID find_test_camera() {
    for (CMIOObjectID device : read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices))
        if (read_string(device, kCMIOObjectPropertyName) == "Test Camera") return device;
    return kCMIOObjectUnknown;
}

// Points the DAL system at `folders` and starts it over, so that the next client call loads.
inline void use_plugin_folders(const std::string& folders) {
    zav_platform::probe::unload_plug_ins();
    setenv("CMIO_DAL_PLUGIN_PATH", folders.c_str(), 1);
}

// Runs `action` with stderr redirected into a temporary file and returns what it wrote.
inline std::string capture_stderr(const std::function<void()>& action) {
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

}  // namespace dal_test

#endif

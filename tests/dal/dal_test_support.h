// Helpers shared by the DAL tests: property reads through the client API, finding the test
// camera, capturing stderr and waiting for a condition.
#ifndef ZAV_TESTS_DAL_TEST_SUPPORT_H
#define ZAV_TESTS_DAL_TEST_SUPPORT_H

#include <CoreFoundation/CoreFoundation.h>
#include <CoreMediaIO/CMIOHardware.h>
#include <zav_platform/probe.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <string>
#include <thread>
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
T read(CMIOObjectID object, CMIOObjectPropertySelector selector, OSStatus* status = nullptr,
       CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal) {
    const CMIOObjectPropertyAddress where = address(selector, scope);
    T value{};
    UInt32 used = 0;
    OSStatus result = CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(T), &used, &value);
    if (status != nullptr) *status = result;
    return value;
}

// An array of object ids, sized by asking for the data size first.
inline std::vector<CMIOObjectID> read_ids(CMIOObjectID object, CMIOObjectPropertySelector selector,
                                          CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal,
                                          const std::vector<CMIOClassID>& qualifier = {}) {
    const CMIOObjectPropertyAddress where = address(selector, scope);
    const UInt32 qualifier_size = static_cast<UInt32>(qualifier.size() * sizeof(CMIOClassID));
    UInt32 size = 0;
    if (CMIOObjectGetPropertyDataSize(object, &where, qualifier_size, qualifier.data(), &size) != noErr) return {};
    std::vector<CMIOObjectID> ids(size / sizeof(CMIOObjectID));
    UInt32 used = 0;
    if (CMIOObjectGetPropertyData(object, &where, qualifier_size, qualifier.data(), size, &used, ids.data()) != noErr) {
        return {};
    }
    ids.resize(used / sizeof(CMIOObjectID));
    return ids;
}

inline std::string read_string(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    CFStringRef value = read<CFStringRef>(object, selector);
    if (value == nullptr) return "";
    char text[256] = {};
    CFStringGetCString(value, text, sizeof text, kCFStringEncodingUTF8);
    CFRelease(value);
    return text;
}

// The test camera's device among all devices, or kCMIOObjectUnknown.
inline CMIOObjectID find_test_camera() {
    for (CMIOObjectID device : read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices)) {
        if (read_string(device, kCMIODevicePropertyDeviceUID) == "test-camera-0") return device;
    }
    return kCMIOObjectUnknown;
}

// Points the DAL system at `folders` and starts it over, so that the next client call loads.
inline void use_plugin_folders(const std::string& folders) {
    zav_platform::probe::unload_plug_ins();
    setenv("CMIO_DAL_PLUGIN_PATH", folders.c_str(), 1);
}

// Redirects stderr into a temporary file for its lifetime; text() returns what was written.
class stderr_capture_t {
public:
    stderr_capture_t() {
        std::fflush(stderr);
        char name[] = "/tmp/dal_stderr_XXXXXX";
        m_fd = mkstemp(name);
        unlink(name);
        m_saved = dup(STDERR_FILENO);
        dup2(m_fd, STDERR_FILENO);
    }
    ~stderr_capture_t() { restore(); }
    std::string text() {
        restore();
        std::string all;
        char buffer[4096];
        lseek(m_fd, 0, SEEK_SET);
        for (ssize_t n; (n = ::read(m_fd, buffer, sizeof buffer)) > 0;) all.append(buffer, static_cast<size_t>(n));
        return all;
    }

private:
    void restore() {
        if (m_saved < 0) return;
        std::fflush(stderr);
        dup2(m_saved, STDERR_FILENO);
        close(m_saved);
        m_saved = -1;
    }
    int m_fd = -1;
    int m_saved = -1;
};

// Polls `done` until it holds or `limit` passes; returns its last answer.
inline bool wait_for(const std::function<bool()>& done,
                     std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace dal_test

#endif

// What the DAL tests do as a client application: read properties and id lists, find the test
// camera, point the DAL system at a plug-in folder, and record the notices a listener hears.
#ifndef ZAV_TESTS_DAL_TEST_CLIENT_H
#define ZAV_TESTS_DAL_TEST_CLIENT_H

#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <gtest/gtest.h>
#include <zav_platform/probe.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>
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

inline bool contains(const std::vector<CMIOObjectID>& ids, CMIOObjectID id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// The test camera's device among all devices, or kCMIOObjectUnknown; `count` gets how many
// devices are test cameras.
inline CMIOObjectID find_test_camera(std::size_t* count = nullptr) {
    CMIOObjectID found = kCMIOObjectUnknown;
    std::size_t cameras = 0;
    for (CMIOObjectID device : read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices)) {
        CFStringRef name = read<CFStringRef>(device, kCMIOObjectPropertyName);
        if (name != nullptr && CFEqual(name, CFSTR("Test Camera")) && cameras++ == 0) found = device;
        if (name != nullptr) CFRelease(name);
    }
    if (count != nullptr) *count = cameras;
    return found;
}

// Points the DAL system at `folders` and starts it over, so that the next client call loads.
inline void use_plugin_folders(const std::string& folders) {
    zav_platform::probe::unload_plug_ins();
    setenv("CMIO_DAL_PLUGIN_PATH", folders.c_str(), 1);
}

// A test run with the test camera loaded from the build's plug-in folder (ZAV_TEST_PLUGIN_DIR,
// which the build defines for the DAL test programs), its device in m_device.
class test_camera_test_t : public ::testing::Test {
protected:
    void SetUp() override {
        use_plugin_folders(ZAV_TEST_PLUGIN_DIR);
        m_device = find_test_camera();
        ASSERT_NE(m_device, kCMIOObjectUnknown) << "the test camera was not loaded from " ZAV_TEST_PLUGIN_DIR;
    }

    CMIOObjectID m_device = kCMIOObjectUnknown;
};

// A property listener that writes down every (object, selector) it is told about.
struct recorder_t {
    std::mutex m_mutex;
    std::vector<std::pair<CMIOObjectID, CMIOObjectPropertySelector>> m_calls;

    static OSStatus listener(CMIOObjectID object, UInt32 count, const CMIOObjectPropertyAddress addresses[],
                             void* data) {
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

}  // namespace dal_test

#endif

// The notices a client application relies on to keep up with what plug-ins publish: a camera
// menu that follows the device list and the default device while devices come and go, listeners
// on an owner that hear its objects published and retired, listeners on retired objects that
// hear nothing more, and notices whose address has wildcards.
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <gtest/gtest.h>
#include <zav_platform/probe.h>

#include "dal_test_client.h"
#include "test_camera/test_camera_properties.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using namespace dal_test;

// ---- A camera menu that follows the device list ---------------------------------------------------

// What an application keeps to offer its camera menu: the device list and the default input
// device, read again whenever the system object says that either changed.
class device_list_watcher_t {
public:
    device_list_watcher_t() {
        refresh();
        for (const CMIOObjectPropertyAddress& watched : k_watched) {
            EXPECT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &watched, on_change, this), noErr);
        }
    }
    ~device_list_watcher_t() {
        for (const CMIOObjectPropertyAddress& watched : k_watched) {
            CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &watched, on_change, this);
        }
    }
    device_list_watcher_t(const device_list_watcher_t&) = delete;
    device_list_watcher_t& operator=(const device_list_watcher_t&) = delete;

    std::vector<CMIOObjectID> devices() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_devices;
    }
    CMIOObjectID default_device() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_default;
    }
    // How many notices named `selector`.
    std::size_t notices(CMIOObjectPropertySelector selector) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_notices[selector];
    }

private:
    static constexpr CMIOObjectPropertyAddress k_watched[2] = {
        {kCMIOHardwarePropertyDevices, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
        {kCMIOHardwarePropertyDefaultInputDevice, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
    };

    void refresh() {
        std::vector<CMIOObjectID> devices = read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
        const CMIOObjectID default_device =
            read<CMIOObjectID>(kCMIOObjectSystemObject, kCMIOHardwarePropertyDefaultInputDevice);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_devices = std::move(devices);
        m_default = default_device;
    }

    static OSStatus on_change(CMIOObjectID, UInt32 count, const CMIOObjectPropertyAddress addresses[], void* data) {
        auto* self = static_cast<device_list_watcher_t*>(data);
        {
            std::lock_guard<std::mutex> lock(self->m_mutex);
            for (UInt32 i = 0; i < count; ++i) ++self->m_notices[addresses[i].mSelector];
        }
        self->refresh();
        return noErr;
    }

    std::mutex m_mutex;
    std::vector<CMIOObjectID> m_devices;
    CMIOObjectID m_default = kCMIODeviceUnknown;
    std::map<CMIOObjectPropertySelector, std::size_t> m_notices;
};

// A plug-in whose cameras are plugged in and out, made of the plug-in-side calls themselves (the
// DAL system did not load it, which those calls allow): each camera is a device with one input
// stream. Cameras still plugged in are unplugged when it goes.
class hot_plug_plugin_t {
public:
    hot_plug_plugin_t() = default;
    hot_plug_plugin_t(const hot_plug_plugin_t&) = delete;
    hot_plug_plugin_t& operator=(const hot_plug_plugin_t&) = delete;
    ~hot_plug_plugin_t() {
        for (CMIOObjectID device : m_plugged) {
            CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 0, nullptr, 1, &device);
        }
    }

    // The new camera's device, or kCMIOObjectUnknown when a call failed.
    CMIOObjectID plug_in() {
        CMIOObjectID device = kCMIOObjectUnknown, stream = kCMIOObjectUnknown;
        if (CMIOObjectCreate(nullptr, kCMIOObjectSystemObject, kCMIODeviceClassID, &device) != noErr ||
            CMIOObjectCreate(nullptr, device, kCMIOStreamClassID, &stream) != noErr ||
            CMIOObjectsPublishedAndDied(nullptr, device, 1, &stream, 0, nullptr) != noErr ||
            CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 1, &device, 0, nullptr) != noErr) {
            return kCMIOObjectUnknown;
        }
        m_plugged.push_back(device);
        return device;
    }

    OSStatus unplug(CMIOObjectID device) {
        m_plugged.erase(std::remove(m_plugged.begin(), m_plugged.end(), device), m_plugged.end());
        return CMIOObjectsPublishedAndDied(nullptr, kCMIOObjectSystemObject, 0, nullptr, 1, &device);
    }

private:
    std::vector<CMIOObjectID> m_plugged;
};

// A process whose search folders hold no plug-in, so that the devices there are only the ones
// the test plugs in.
class hot_plug_t : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/dal_hot_plug_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_empty_folder = pattern;
        use_plugin_folders(m_empty_folder);
        ASSERT_TRUE(read_ids(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices).empty())
            << "a plug-in was loaded from the system folder";
    }
    void TearDown() override {
        zav_platform::probe::unload_plug_ins();
        fs::remove_all(m_empty_folder);
    }

    std::string m_empty_folder;
    hot_plug_plugin_t m_plugin;
};

TEST_F(hot_plug_t, a_plugged_in_camera_joins_the_watched_device_list) {
    device_list_watcher_t menu;
    const CMIOObjectID camera = m_plugin.plug_in();
    ASSERT_NE(camera, kCMIOObjectUnknown);
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDevices), 1u);
    EXPECT_EQ(menu.devices(), std::vector<CMIOObjectID>{camera});
}

TEST_F(hot_plug_t, an_unplugged_camera_leaves_the_watched_device_list) {
    const CMIOObjectID first = m_plugin.plug_in(), second = m_plugin.plug_in();
    device_list_watcher_t menu;
    ASSERT_EQ(m_plugin.unplug(first), noErr);
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDevices), 1u);
    EXPECT_EQ(menu.devices(), std::vector<CMIOObjectID>{second});
}

TEST_F(hot_plug_t, the_first_camera_plugged_in_becomes_the_default_with_a_notice) {
    device_list_watcher_t menu;
    ASSERT_EQ(menu.default_device(), CMIOObjectID(kCMIODeviceUnknown));
    const CMIOObjectID camera = m_plugin.plug_in();
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDefaultInputDevice), 1u);
    EXPECT_EQ(menu.default_device(), camera);
}

TEST_F(hot_plug_t, a_second_camera_leaves_the_default_as_it_was_without_a_notice) {
    const CMIOObjectID first = m_plugin.plug_in();
    device_list_watcher_t menu;
    m_plugin.plug_in();
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDevices), 1u);
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDefaultInputDevice), 0u);
    EXPECT_EQ(menu.default_device(), first);
}

TEST_F(hot_plug_t, unplugging_the_default_camera_moves_the_default_to_the_next_with_a_notice) {
    const CMIOObjectID first = m_plugin.plug_in(), second = m_plugin.plug_in();
    device_list_watcher_t menu;
    ASSERT_EQ(menu.default_device(), first);
    ASSERT_EQ(m_plugin.unplug(first), noErr);
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDefaultInputDevice), 1u);
    EXPECT_EQ(menu.default_device(), second);
}

TEST_F(hot_plug_t, unplugging_the_last_camera_leaves_no_default_with_a_notice) {
    const CMIOObjectID camera = m_plugin.plug_in();
    device_list_watcher_t menu;
    ASSERT_EQ(m_plugin.unplug(camera), noErr);
    EXPECT_EQ(menu.notices(kCMIOHardwarePropertyDefaultInputDevice), 1u);
    EXPECT_EQ(menu.default_device(), CMIOObjectID(kCMIODeviceUnknown));
    EXPECT_TRUE(menu.devices().empty());
}

TEST_F(hot_plug_t, the_system_objects_owned_objects_notice_comes_when_a_camera_is_plugged_in) {
    const CMIOObjectPropertyAddress owned = address(kCMIOObjectPropertyOwnedObjects);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &owned, recorder_t::listener, &recorder), noErr);
    const CMIOObjectID camera = m_plugin.plug_in();
    EXPECT_EQ(recorder.count_of(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects), 1u);
    EXPECT_TRUE(contains(read_ids(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects), camera));
    CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &owned, recorder_t::listener, &recorder);
}

TEST_F(hot_plug_t, the_system_objects_owned_objects_notice_comes_when_a_camera_is_unplugged) {
    const CMIOObjectPropertyAddress owned = address(kCMIOObjectPropertyOwnedObjects);
    const CMIOObjectID camera = m_plugin.plug_in();
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(kCMIOObjectSystemObject, &owned, recorder_t::listener, &recorder), noErr);
    ASSERT_EQ(m_plugin.unplug(camera), noErr);
    EXPECT_EQ(recorder.count_of(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects), 1u);
    EXPECT_FALSE(contains(read_ids(kCMIOObjectSystemObject, kCMIOObjectPropertyOwnedObjects), camera));
    CMIOObjectRemovePropertyListener(kCMIOObjectSystemObject, &owned, recorder_t::listener, &recorder);
}

// ---- The test camera adding and retiring a stream while a client listens ------------------------

class camera_streams_t : public test_camera_test_t {
protected:
    void TearDown() override {
        if (m_device != kCMIOObjectUnknown) set_input_streams(1);
    }

    OSStatus set_input_streams(UInt32 count) {
        const CMIOObjectPropertyAddress where = address(k_test_camera_input_stream_count);
        return CMIOObjectSetPropertyData(m_device, &where, 0, nullptr, sizeof count, &count);
    }
    std::vector<CMIOObjectID> input_streams() {
        return read_ids(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
    }
    // The stream that set_input_streams(2) added.
    CMIOObjectID add_second_stream() {
        if (set_input_streams(2) != noErr) return kCMIOObjectUnknown;
        const std::vector<CMIOObjectID> streams = input_streams();
        return streams.size() == 2 ? streams[1] : CMIOObjectID(kCMIOObjectUnknown);
    }
};

TEST_F(camera_streams_t, the_devices_owned_objects_notice_comes_when_a_stream_is_published) {
    const CMIOObjectPropertyAddress owned = address(kCMIOObjectPropertyOwnedObjects);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &owned, recorder_t::listener, &recorder), noErr);
    const CMIOObjectID second = add_second_stream();
    ASSERT_NE(second, kCMIOObjectUnknown);
    EXPECT_EQ(recorder.count_of(m_device, kCMIOObjectPropertyOwnedObjects), 1u);
    EXPECT_EQ(read<CMIOObjectID>(second, kCMIOObjectPropertyOwner), m_device);
    CMIOObjectRemovePropertyListener(m_device, &owned, recorder_t::listener, &recorder);
}

TEST_F(camera_streams_t, the_devices_owned_objects_notice_comes_when_a_stream_is_retired) {
    const CMIOObjectPropertyAddress owned = address(kCMIOObjectPropertyOwnedObjects);
    ASSERT_NE(add_second_stream(), kCMIOObjectUnknown);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &owned, recorder_t::listener, &recorder), noErr);
    ASSERT_EQ(set_input_streams(1), noErr);
    EXPECT_EQ(recorder.count_of(m_device, kCMIOObjectPropertyOwnedObjects), 1u);
    EXPECT_EQ(input_streams().size(), 1u);
    CMIOObjectRemovePropertyListener(m_device, &owned, recorder_t::listener, &recorder);
}

// A plug-in thread may still report a change of an object it has just retired; the client's
// listener on that object went with it and must not be called (its client data may be gone).
TEST_F(camera_streams_t, a_listener_on_a_retired_stream_hears_no_late_notice) {
    const CMIOObjectID second = add_second_stream();
    ASSERT_NE(second, kCMIOObjectUnknown);
    const CMIOObjectPropertyAddress any{kCMIOObjectPropertySelectorWildcard, kCMIOObjectPropertyScopeWildcard,
                                        kCMIOObjectPropertyElementWildcard};
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(second, &any, recorder_t::listener, &recorder), noErr);
    ASSERT_EQ(set_input_streams(1), noErr);
    const CMIOObjectPropertyAddress late = address(kCMIOObjectPropertyName);
    ASSERT_EQ(CMIOObjectPropertiesChanged(nullptr, second, 1, &late), noErr);
    EXPECT_EQ(recorder.size(), 0u);
}

TEST_F(camera_streams_t, a_retired_stream_refuses_to_remove_a_listener_it_had) {
    const CMIOObjectID second = add_second_stream();
    ASSERT_NE(second, kCMIOObjectUnknown);
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(second, &name, recorder_t::listener, &recorder), noErr);
    ASSERT_EQ(set_input_streams(1), noErr);
    EXPECT_EQ(CMIOObjectRemovePropertyListener(second, &name, recorder_t::listener, &recorder),
              kCMIOHardwareBadObjectError);
}

// ---- Wildcards in the address of a notice ---------------------------------------------------------

// A plug-in may report "every element", "every scope" or "everything" of an object changed; a
// listener on one address of that object hears it when the rest of the address matches.
struct wildcard_notice_case_t {
    const char* m_name;
    CMIOObjectPropertyAddress m_notice;
    bool m_heard;
};

void PrintTo(const wildcard_notice_case_t& c, std::ostream* out) {
    *out << c.m_name;
}

class wildcard_notice_t : public test_camera_test_t, public ::testing::WithParamInterface<wildcard_notice_case_t> {};

TEST_P(wildcard_notice_t, reaches_a_listener_on_the_name_of_the_device_when_the_rest_matches) {
    const CMIOObjectPropertyAddress name = address(kCMIOObjectPropertyName);
    recorder_t recorder;
    ASSERT_EQ(CMIOObjectAddPropertyListener(m_device, &name, recorder_t::listener, &recorder), noErr);
    const CMIOObjectPropertyAddress notice = GetParam().m_notice;
    ASSERT_EQ(CMIOObjectPropertiesChanged(nullptr, m_device, 1, &notice), noErr);
    EXPECT_EQ(recorder.size(), GetParam().m_heard ? 1u : 0u);
    CMIOObjectRemovePropertyListener(m_device, &name, recorder_t::listener, &recorder);
}

constexpr CMIOObjectPropertySelector k_any_selector = kCMIOObjectPropertySelectorWildcard;
constexpr CMIOObjectPropertyScope k_any_scope = kCMIOObjectPropertyScopeWildcard;
constexpr CMIOObjectPropertyElement k_any_element = kCMIOObjectPropertyElementWildcard;
constexpr CMIOObjectPropertyScope k_global = kCMIOObjectPropertyScopeGlobal;
constexpr CMIOObjectPropertyElement k_main = kCMIOObjectPropertyElementMain;

const wildcard_notice_case_t k_wildcard_notices[] = {
    {"any_selector", {k_any_selector, k_global, k_main}, true},
    {"any_scope", {kCMIOObjectPropertyName, k_any_scope, k_main}, true},
    {"any_element", {kCMIOObjectPropertyName, k_global, k_any_element}, true},
    {"anything", {k_any_selector, k_any_scope, k_any_element}, true},
    {"any_selector_in_the_input_scope", {k_any_selector, kCMIODevicePropertyScopeInput, k_main}, false},
    {"any_scope_of_another_selector", {kCMIODevicePropertyDeviceIsRunning, k_any_scope, k_main}, false},
    {"any_element_of_another_selector", {kCMIODevicePropertyDeviceIsRunning, k_global, k_any_element}, false},
};

std::string wildcard_notice_name(const ::testing::TestParamInfo<wildcard_notice_case_t>& param) {
    return param.param.m_name;
}

INSTANTIATE_TEST_SUITE_P(notices, wildcard_notice_t, ::testing::ValuesIn(k_wildcard_notices), wildcard_notice_name);

}  // namespace

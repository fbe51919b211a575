// Each test starts with the ZAV Video bundle freshly loaded through the DAL system, a scripted
// source with nothing to send, no failure switches and no log lines; it ends with the plug-in
// unloaded and checks that nothing was left behind.
#ifndef ZAV_TESTS_INTEGRATION_ZAV_CAMERA_FIXTURE_H
#define ZAV_TESTS_INTEGRATION_ZAV_CAMERA_FIXTURE_H

#include "scripted_source.h"
#include "syslog_capture.h"
#include "zav_camera_client.h"

#include <gtest/gtest.h>
#include <zav_platform/probe.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

namespace zav_test {

using namespace std::chrono_literals;

class zav_camera_fixture_t : public ::testing::Test {
protected:
    void SetUp() override {
        use_plugin_folder(ZAV_TEST_PLUGIN_DIR);
        scripted_source::reset();
        zav_platform::probe::clear_failures();
        zav_platform::probe::clear_records();
        clear_log();
        m_live_at_start = zav_platform::probe::live_object_count();
        m_client = std::make_unique<camera_client_t>();
        ASSERT_TRUE(m_client->found()) << "ZAV Video was not loaded from " ZAV_TEST_PLUGIN_DIR;
    }

    void TearDown() override {
        m_client.reset();
        zav_platform::probe::unload_plug_ins();
        zav_platform::probe::clear_failures();
        EXPECT_EQ(scripted_source::live_handles(), 0) << "receiver or frame sync not destroyed";
        EXPECT_EQ(scripted_source::frames_freed(), scripted_source::frames_handed_out()) << "frames not handed back";
        if (m_refused_samples != 0) {
            // Samples a full queue refused are never released; nothing else may be left.
            EXPECT_EQ(zav_platform::probe::live_object_count(CMSampleBufferGetTypeID()), m_refused_samples);
            return;
        }
        std::ostringstream types;
        for (const auto& [name, count] : zav_platform::probe::live_objects_by_type())
            types << ' ' << name << '=' << count;
        EXPECT_EQ(std::ptrdiff_t(zav_platform::probe::live_object_count()) - std::ptrdiff_t(m_live_at_start), 0)
            << "Core Foundation objects alive after stop and teardown; by type:" << types.str();
    }

    static bool logged(const std::string& message) {
        const std::vector<std::string> messages = log_messages();
        return std::find(messages.begin(), messages.end(), message) != messages.end();
    }
    static std::size_t count_logged(const std::string& message) {
        const std::vector<std::string> messages = log_messages();
        return std::size_t(std::count(messages.begin(), messages.end(), message));
    }

    camera_client_t& camera() { return *m_client; }

    // Samples a full queue refused, which the plug-in leaves alive on purpose.
    std::size_t m_refused_samples = 0;

private:
    std::unique_ptr<camera_client_t> m_client;
    std::size_t m_live_at_start = 0;
};

}  // namespace zav_test

#endif

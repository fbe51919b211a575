// Starts each test on a clean platform (no failure switches, records or log lines); fails it on leaked CF objects.
// It looks inside the platform layer, so only builds that have it (not Apple targets) can use it.
#ifndef ZAV_TESTS_SUPPORT_CF_LEAK_FIXTURE_H
#define ZAV_TESTS_SUPPORT_CF_LEAK_FIXTURE_H

#include "log_fixture.h"

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

#include <sstream>

namespace zav_test {

class cf_leak_fixture_t : public log_fixture_t {
protected:
    void SetUp() override {
        log_fixture_t::SetUp();
        zav_platform::probe::clear_failures();
        zav_platform::probe::clear_records();
        m_live_at_start = zav_platform::probe::live_object_count();
    }
    void TearDown() override {
        zav_platform::probe::clear_failures();
        std::ostringstream types;
        for (const auto& [name, count] : zav_platform::probe::live_objects_by_type())
            types << ' ' << name << '=' << count;
        EXPECT_EQ(objects_created_since_start(), 0) << "Core Foundation objects left alive; by type:" << types.str();
    }
    // Alive now beyond those alive at start.
    std::ptrdiff_t objects_created_since_start() const {
        return std::ptrdiff_t(zav_platform::probe::live_object_count()) - std::ptrdiff_t(m_live_at_start);
    }

private:
    std::size_t m_live_at_start = 0;
};

}  // namespace zav_test

#endif

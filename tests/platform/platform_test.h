// Base fixture of the platform tests: every test must leave as many live Core Foundation
// objects as it found, and no failure switch set.
#ifndef ZAV_TESTS_PLATFORM_PLATFORM_TEST_H
#define ZAV_TESTS_PLATFORM_PLATFORM_TEST_H

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

class platform_test_t : public ::testing::Test {
protected:
    void SetUp() override {
        zav_platform::probe::clear_failures();
        m_live_at_start = zav_platform::probe::live_object_count();
    }
    void TearDown() override {
        zav_platform::probe::clear_failures();
        EXPECT_EQ(zav_platform::probe::live_object_count(), m_live_at_start)
            << "Core Foundation objects leaked or over-released";
    }

    std::size_t m_live_at_start = 0;
};

// A number object of type SInt32, owned by the caller.
inline CFNumberRef make_int32(SInt32 value) { return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value); }

#endif

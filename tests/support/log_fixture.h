// Starts each test with an empty log. Needs nothing of the platform layer, so it serves tests
// that also run against Apple's frameworks.
#ifndef ZAV_TESTS_SUPPORT_LOG_FIXTURE_H
#define ZAV_TESTS_SUPPORT_LOG_FIXTURE_H

#include "syslog_capture.h"

#include <gtest/gtest.h>

namespace zav_test {

class log_fixture_t : public ::testing::Test {
protected:
    void SetUp() override { clear_log(); }
};

}  // namespace zav_test

#endif

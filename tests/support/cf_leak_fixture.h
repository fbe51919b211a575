// Starts every test from a clean platform (no failure switches, recorded calls or log lines)
// and fails the test when it leaves Core Foundation objects alive.
#ifndef ZAV_TESTS_SUPPORT_CF_LEAK_FIXTURE_H
#define ZAV_TESTS_SUPPORT_CF_LEAK_FIXTURE_H

#include <gtest/gtest.h>

#include <cstddef>

namespace zav_test {

class cf_leak_fixture_t : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::ptrdiff_t objects_created_since_start() const;  // alive now beyond those alive at start

private:
    std::size_t m_live_at_start = 0;
};

}  // namespace zav_test

#endif

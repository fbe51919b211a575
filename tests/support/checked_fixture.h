// The fixture of tests that run on every target. Built on the platform layer it is the leak
// fixture, failing a test that leaves Core Foundation objects alive; against Apple's frameworks,
// which have no count of live objects, it only starts each test with an empty log.
#ifndef ZAV_TESTS_SUPPORT_CHECKED_FIXTURE_H
#define ZAV_TESTS_SUPPORT_CHECKED_FIXTURE_H

#if ZAV_TEST_HAS_PLATFORM_PROBE
#include "cf_leak_fixture.h"
#else
#include "log_fixture.h"
#endif

namespace zav_test {

#if ZAV_TEST_HAS_PLATFORM_PROBE
using checked_fixture_t = cf_leak_fixture_t;
#else
using checked_fixture_t = log_fixture_t;
#endif

}  // namespace zav_test

#endif

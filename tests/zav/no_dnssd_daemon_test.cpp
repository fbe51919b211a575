// Without a DNS-SD daemon the library looks names up in the sources files alone, and says so once
// in its log however many lookups fail. The check runs in a freshly started copy of this test
// program (a "threadsafe" death test re-executes it), so that no earlier lookup has said it yet.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "loopback_support.h"
#include "syslog_capture.h"

using namespace zav_test;

namespace {

int count_no_daemon_lines() {
    int count = 0;
    for (const std::string& line : zav_test::log_messages())
        count += line.find("no DNS-SD daemon reachable") != std::string::npos;
    return count;
}

void look_up_two_absent_names_and_exit() {
    setenv("ZAV_SOURCES", "/nonexistent/zav/sources", 1);
    zav_test::clear_log();
    {
        test_receiver_t first("NOWHERE (First)", nullptr, ZAVlib_recv_color_format_UYVY_BGRA);
        test_receiver_t second("NOWHERE (Second)", nullptr, ZAVlib_recv_color_format_UYVY_BGRA);
        std::this_thread::sleep_for(std::chrono::milliseconds(800));  // several lookups each
    }
    std::exit(count_no_daemon_lines());
}

TEST(no_dnssd_daemon_test, SaidOnceInTheLog) {
    if (std::system("pgrep -x avahi-daemon >/dev/null 2>&1") == 0)
        GTEST_SKIP() << "an avahi-daemon runs on this machine: DNS-SD is reachable";
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(look_up_two_absent_names_and_exit(), testing::ExitedWithCode(1), "");
}

}  // namespace

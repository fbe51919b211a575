// The test process defines `syslog` itself: every line the code under test logs is recorded here instead.
#ifndef ZAV_TESTS_SUPPORT_SYSLOG_CAPTURE_H
#define ZAV_TESTS_SUPPORT_SYSLOG_CAPTURE_H

#include <string>
#include <vector>

namespace zav_test {

using lines_t = std::vector<std::string>;

struct log_line_t {
    int priority;
    std::string text;  // the whole line, prefix and newline included
};

std::vector<log_line_t> log_lines();  // since the last clear_log, in the order written
// Each line without its "[token pid : thread] " prefix and final newline (whole if not so shaped).
std::vector<std::string> log_messages();
void clear_log();

}  // namespace zav_test

#endif

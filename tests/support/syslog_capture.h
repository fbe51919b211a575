// Log capture for tests: the test process defines `syslog` itself, so every line the code
// under test sends to the system log is recorded here instead.
#ifndef ZAV_TESTS_SUPPORT_SYSLOG_CAPTURE_H
#define ZAV_TESTS_SUPPORT_SYSLOG_CAPTURE_H

#include <string>
#include <vector>

namespace zav_test {

struct log_line_t {
    int priority;
    // The whole formatted line, prefix and newline included.
    std::string text;
};

// Every line since the last clear_log, in the order written.
std::vector<log_line_t> log_lines();
// The message part of every line: the text after the "[token pid : thread] " prefix, without
// the newline that ends the line. A line without that shape is returned whole.
std::vector<std::string> log_messages();
// How many lines carry exactly `message`.
std::size_t count_messages(const std::string& message);
void clear_log();

}  // namespace zav_test

#endif

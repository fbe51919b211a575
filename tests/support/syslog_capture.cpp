#include "syslog_capture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace zav_test {

namespace {

// Made on first use: code under test may log while other statics are still being built.
std::pair<std::mutex, std::vector<log_line_t>>& store() {
    static std::pair<std::mutex, std::vector<log_line_t>> s;
    return s;
}

void record(int priority, const char* format, va_list args) {
    va_list measure;
    va_copy(measure, args);
    std::string text(std::size_t(std::max(std::vsnprintf(nullptr, 0, format, measure), 0)), '\0');
    va_end(measure);
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    std::lock_guard<std::mutex> lock(store().first);
    store().second.push_back({priority, std::move(text)});
}

}  // namespace

std::vector<log_line_t> log_lines() {
    std::lock_guard<std::mutex> lock(store().first);
    return store().second;
}

std::vector<std::string> log_messages() {
    std::vector<std::string> messages;
    for (const log_line_t& line : log_lines()) {
        const std::string& text = line.text;
        const std::size_t end = text.size() - (!text.empty() && text.back() == '\n');
        const std::size_t prefix_end = text.find("] ");
        const std::size_t begin = (text.rfind('[', 0) == 0 && prefix_end < end) ? prefix_end + 2 : 0;
        messages.push_back(text.substr(begin, end - begin));
    }
    return messages;
}

void clear_log() {
    std::lock_guard<std::mutex> lock(store().first);
    store().second.clear();
}

}  // namespace zav_test

// With _FORTIFY_SOURCE glibc compiles syslog calls as calls to the checked variant: both are replaced.
#define ZAV_RECORD_SYSLOG(priority, format)   \
    va_list args;                             \
    va_start(args, format);                   \
    zav_test::record(priority, format, args); \
    va_end(args)
extern "C" void syslog(int priority, const char* format, ...) {
    ZAV_RECORD_SYSLOG(priority, format);
}
#if defined(__GLIBC__)
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
    ZAV_RECORD_SYSLOG(priority, format);
}
#endif

#include "syslog_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace zav_test {

namespace {

// Made on first use: code under test may log while other statics are still being built.
struct store_t {
    std::mutex m_mutex;
    std::vector<log_line_t> m_lines;
};
store_t& store()
{
    static store_t s;
    return s;
}

void record(int priority, const char* format, va_list args)
{
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    std::string text(length > 0 ? std::size_t(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    std::lock_guard<std::mutex> lock(store().m_mutex);
    store().m_lines.push_back({priority, std::move(text)});
}

}  // namespace

std::vector<log_line_t> log_lines()
{
    std::lock_guard<std::mutex> lock(store().m_mutex);
    return store().m_lines;
}

std::vector<std::string> log_messages()
{
    std::vector<std::string> messages;
    for (log_line_t& line : log_lines()) {
        std::string& text = line.text;
        if (!text.empty() && text.back() == '\n')
            text.pop_back();
        const std::size_t end_of_prefix = text.find("] ");
        if (!text.empty() && text.front() == '[' && end_of_prefix != std::string::npos)
            text.erase(0, end_of_prefix + 2);
        messages.push_back(std::move(text));
    }
    return messages;
}

void clear_log()
{
    std::lock_guard<std::mutex> lock(store().m_mutex);
    store().m_lines.clear();
}

}  // namespace zav_test

// Replaces the C library's syslog for the whole test process; with _FORTIFY_SOURCE glibc
// compiles syslog calls as calls to the checked variant, so that one is replaced too.
#define ZAV_RECORD_SYSLOG(priority, format) \
    va_list args;                           \
    va_start(args, format);                 \
    zav_test::record(priority, format, args); \
    va_end(args)
extern "C" void syslog(int priority, const char* format, ...) { ZAV_RECORD_SYSLOG(priority, format); }
#if defined(__GLIBC__)
extern "C" void __syslog_chk(int priority, int, const char* format, ...) { ZAV_RECORD_SYSLOG(priority, format); }
#endif

#include "syslog_capture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace zav_test {

namespace {

std::mutex& log_mutex()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<log_line_t>& recorded_lines()
{
    static std::vector<log_line_t> lines;
    return lines;
}

void record(int priority, const char* format, va_list args)
{
    va_list measure_args;
    va_copy(measure_args, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure_args);
    va_end(measure_args);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);

    std::lock_guard<std::mutex> lock(log_mutex());
    recorded_lines().push_back({priority, std::move(text)});
}

}  // namespace

std::vector<log_line_t> log_lines()
{
    std::lock_guard<std::mutex> lock(log_mutex());
    return recorded_lines();
}

std::vector<std::string> log_messages()
{
    std::vector<std::string> messages;
    for (const log_line_t& line : log_lines()) {
        std::string text = line.text;
        if (!text.empty() && text.back() == '\n')
            text.pop_back();
        const std::size_t end_of_prefix = text.find("] ");
        if (!text.empty() && text.front() == '[' && end_of_prefix != std::string::npos)
            text.erase(0, end_of_prefix + 2);
        messages.push_back(text);
    }
    return messages;
}

std::size_t count_messages(const std::string& message)
{
    const std::vector<std::string> messages = log_messages();
    return static_cast<std::size_t>(std::count(messages.begin(), messages.end(), message));
}

void clear_log()
{
    std::lock_guard<std::mutex> lock(log_mutex());
    recorded_lines().clear();
}

}  // namespace zav_test

// Replaces the C library's syslog for the whole test process.
extern "C" void syslog(int priority, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    zav_test::record(priority, format, args);
    va_end(args);
}

#if defined(__GLIBC__)
// With _FORTIFY_SOURCE, calls to syslog are compiled as calls to this checked variant.
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    zav_test::record(priority, format, args);
    va_end(args);
}
#endif

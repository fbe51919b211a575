// The log line format, the token, and the string helpers behind every log line and string property.
#include "host/string_utils.h"
#include "host/zav_log.h"

#include "checked_fixture.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <set>
#include <thread>

using namespace Drivers::Mac::ZAV;

namespace {

std::string prefix_for_this_thread(const char* token) {
    uint64_t thread_id = 0;
    pthread_threadid_np(nullptr, &thread_id);
    return "[" + std::string(token) + " " + std::to_string(getpid()) + " : " + std::to_string(thread_id) + "] ";
}

__attribute__((format(printf, 1, 2))) std::string format_through_va_list(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = sprintf_args(format, args);
    va_end(args);
    return text;
}

class log_test : public zav_test::checked_fixture_t {};

TEST_F(log_test, notice_lines_carry_the_token_process_and_thread) {
    const std::string long_text(100000, 'x');
    zav_log("value %d of %s", 7, "seven");
    zav_log("%s", "");
    zav_log("<%s>", long_text.c_str());
    set_zav_log_token("TESTTOKEN");
    zav_log("other");
    set_zav_log_token("ZAVVC1");
    zav_log("back");
    const std::string prefix = prefix_for_this_thread("ZAVVC1");
    const std::string expected[] = {prefix + "value 7 of seven\n", prefix + "\n", prefix + "<" + long_text + ">\n",
                                    prefix_for_this_thread("TESTTOKEN") + "other\n", prefix + "back\n"};
    auto lines = zav_test::log_lines();
    ASSERT_EQ(lines.size(), std::size(expected));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].priority, 5);  // LOG_NOTICE, no facility bits
        EXPECT_EQ(lines[i].text, expected[i]);
    }
}

TEST_F(log_test, lines_from_many_threads_stay_whole_and_in_order) {
    constexpr int thread_count = 8, lines_per_thread = 200;
    std::vector<std::string> prefixes(thread_count);
    std::vector<std::thread> threads;
    for (int t = 0; t < thread_count; ++t)
        threads.emplace_back([t, &prefixes] {
            prefixes[t] = prefix_for_this_thread("ZAVVC1");
            for (int i = 0; i < lines_per_thread; ++i) zav_log("thread %d line %d", t, i);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<std::string>(prefixes.begin(), prefixes.end()).size(), size_t(thread_count));
    const auto lines = zav_test::log_lines();
    ASSERT_EQ(lines.size(), size_t(thread_count * lines_per_thread));
    std::vector<int> next_line(thread_count, 0);
    for (const auto& line : lines) {
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(line.text.c_str() + line.text.find("] ") + 2, "thread %d line %d", &t, &i), 2)
            << line.text;
        ASSERT_TRUE(t >= 0 && t < thread_count) << line.text;
        EXPECT_EQ(line.text, prefixes[t] + "thread " + std::to_string(t) + " line " + std::to_string(i) + "\n");
        EXPECT_EQ(i, next_line[t]++) << "lines of one thread stay in order";
    }
}

TEST(string_utils_test, sprintf_args_formats_to_the_exact_length) {
    const std::string long_text(70000, 'y');
    const struct {
        std::string expected, actual;
    } cases[] = {
        {"", format_through_va_list("%s", "")},
        {"-12 4294967295 18446744073709551615",
         format_through_va_list("%d %u %llu", -12, 4294967295u, 18446744073709551615ull)},
        {"[   42|3.14|  ab]", format_through_va_list("[%5d|%.2f|%4s]", 42, 3.14159, "ab")},
        {long_text + "!", format_through_va_list("%s!", long_text.c_str())},
        // A %c of NUL formats one zero byte at the end; the result has no trailing zero bytes.
        {"ab", format_through_va_list("ab%c", '\0')},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.actual, c.expected) << "sizes " << c.actual.size() << " and " << c.expected.size();
}

// Most significant byte first, up to the first zero byte.
TEST(string_utils_test, fourcc_text_stops_at_the_first_zero_byte) {
    const struct {
        uint32_t code;
        std::string text;
    } codes[] = {{0x77686174, "what"}, {0, ""},
                 {0x61000062, "a"},    {0x00616263, ""},
                 {0x61626300, "abc"},  {0xFF7F0109, std::string("\xFF\x7F\x01\x09")}};
    for (const auto& c : codes) EXPECT_EQ(fourCC_to_string(c.code), c.text) << std::hex << c.code;
}

TEST_F(log_test, create_string_ref_round_trips_utf8_for_the_caller) {
    for (const char* text : {"Mivora", "", "Grüße, カメラ"}) {
        CFStringRef string = create_string_ref(text);
        char buffer[64] = {};
        ASSERT_NE(string, nullptr) << text;
        EXPECT_EQ(CFGetRetainCount(string), 1) << text;
        EXPECT_TRUE(CFStringGetCString(string, buffer, sizeof(buffer), kCFStringEncodingUTF8)) << text;
        EXPECT_STREQ(buffer, text);
        CFRelease(string);
    }
}

TEST_F(log_test, create_string_ref_refuses_invalid_utf8) {
    for (const char* text : {"\xC3\x28", "\xFF"}) EXPECT_EQ(create_string_ref(text), nullptr) << text;
}

}  // namespace

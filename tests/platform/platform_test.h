// Base fixture of the platform tests: every test must leave as many live Core Foundation
// objects as it found, and no failure switch set.
#ifndef ZAV_TESTS_PLATFORM_PLATFORM_TEST_H
#define ZAV_TESTS_PLATFORM_PLATFORM_TEST_H

#include <zav_platform/probe.h>

#include <gtest/gtest.h>

#include <initializer_list>

namespace probe = zav_platform::probe;
using probe::failing_call_t;

class platform_test_t : public ::testing::Test {
protected:
    void SetUp() override {
        probe::clear_failures();
        m_live_at_start = probe::live_object_count();
    }
    void TearDown() override {
        probe::clear_failures();
        EXPECT_EQ(probe::live_object_count(), m_live_at_start) << "objects leaked or over-released";
    }
    std::size_t m_live_at_start = 0;
};

// Objects owned by the caller.
inline CFNumberRef make_int32(SInt32 value) {
    return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value);
}
inline CFStringRef make_string(const char* text) {
    return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
}
inline CFDictionaryRef make_dictionary(const void** keys, const void** values, CFIndex count) {
    return CFDictionaryCreate(nullptr, keys, values, count, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
}
inline CFDictionaryRef make_dictionary(CFTypeRef key, CFTypeRef value) {
    return make_dictionary(&key, &value, 1);
}
inline void release(std::initializer_list<CFTypeRef> objects) {
    for (CFTypeRef object : objects) CFRelease(object);
}

#endif

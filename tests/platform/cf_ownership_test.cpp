// Core Foundation ownership (Create, Copy and Get rules), strings, numbers and booleans.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <string>

namespace {

using cf_ownership = platform_test_t;

TEST_F(cf_ownership, create_gives_one_reference_and_copy_of_immutable_string_shares_it) {
    CFStringRef string = CFStringCreateWithCString(nullptr, "camera", kCFStringEncodingUTF8);
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFGetRetainCount(string), 1);
    CFStringRef copy = CFStringCreateCopy(nullptr, string);
    EXPECT_EQ(copy, string);  // an immutable string is its own copy, one more reference
    EXPECT_EQ(CFGetRetainCount(string), 2);
    CFRelease(copy);
    EXPECT_EQ(CFGetRetainCount(string), 1);
    EXPECT_EQ(CFRetain(string), string);
    EXPECT_EQ(CFGetRetainCount(string), 2);
    CFRelease(string);
    CFRelease(string);
}

TEST_F(cf_ownership, copy_of_mutable_string_is_a_new_immutable_object) {
    CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    CFStringAppendCString(text, "ab", kCFStringEncodingUTF8);
    CFStringRef copy = CFStringCreateCopy(nullptr, text);
    EXPECT_NE(static_cast<CFTypeRef>(copy), static_cast<CFTypeRef>(text));
    CFStringAppend(text, CFSTR("c"));
    EXPECT_EQ(CFStringGetLength(text), 3);
    EXPECT_EQ(CFStringGetLength(copy), 2);  // later changes do not reach the copy
    CFRelease(copy);
    CFRelease(text);
}

TEST_F(cf_ownership, constants_ignore_retain_and_release_and_are_not_live_objects) {
    const std::size_t before = zav_platform::probe::live_object_count();
    CFStringRef a = CFSTR("ZAV constant");
    CFStringRef b = CFSTR("ZAV constant");
    EXPECT_EQ(a, b);
    const CFIndex count = CFGetRetainCount(a);
    CFRetain(a);
    CFRelease(a);
    CFRelease(a);  // one release too many: a constant does not mind
    EXPECT_EQ(CFGetRetainCount(a), count);
    EXPECT_EQ(CFGetRetainCount(kCFBooleanTrue), CFGetRetainCount(kCFBooleanTrue));
    EXPECT_EQ(zav_platform::probe::live_object_count(), before);
}

TEST_F(cf_ownership, leak_accounting_sees_live_objects_by_type) {
    CFStringRef string = CFStringCreateWithCString(nullptr, "x", kCFStringEncodingUTF8);
    CFNumberRef number = make_int32(5);
    EXPECT_EQ(zav_platform::probe::live_object_count(), m_live_at_start + 2);
    const auto by_type = zav_platform::probe::live_objects_by_type();
    ASSERT_TRUE(by_type.count("CFString"));
    ASSERT_TRUE(by_type.count("CFNumber"));
    EXPECT_GE(by_type.at("CFNumber"), 1u);
    EXPECT_GE(zav_platform::probe::live_object_count(CFStringGetTypeID()), 1u);
    CFRelease(string);
    CFRelease(number);
}

TEST_F(cf_ownership, every_type_has_its_own_type_id_and_name) {
    const CFTypeID ids[] = {CFStringGetTypeID(),  CFNumberGetTypeID(),     CFBooleanGetTypeID(),
                            CFArrayGetTypeID(),   CFDictionaryGetTypeID(), CFUUIDGetTypeID(),
                            CFDateGetTypeID(),    CFNullGetTypeID(),       CFAllocatorGetTypeID()};
    for (std::size_t i = 0; i < std::size(ids); ++i) {
        EXPECT_NE(ids[i], 0u);
        for (std::size_t j = i + 1; j < std::size(ids); ++j) EXPECT_NE(ids[i], ids[j]);
    }
    CFStringRef name = CFCopyTypeIDDescription(CFArrayGetTypeID());
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(CFStringCompare(name, CFSTR("CFArray"), 0), kCFCompareEqualTo);
    CFRelease(name);
    EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
}

// ---- Strings ----

using cf_string = platform_test_t;

TEST_F(cf_string, utf8_round_trip_and_utf16_length) {
    const char* text = "caf\xC3\xA9 \xF0\x9F\x8E\xA5";  // "café" and a camera emoji (a surrogate pair)
    CFStringRef string = CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFStringGetLength(string), 7);  // c a f é space + two UTF-16 units
    char buffer[32];
    ASSERT_TRUE(CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, text);
    ASSERT_NE(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), nullptr);
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), text);
    // Not representable in ASCII: refused rather than mangled.
    EXPECT_FALSE(CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingASCII));
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingASCII), nullptr);
    CFRelease(string);
}

TEST_F(cf_string, get_c_string_needs_room_for_the_terminator) {
    CFStringRef string = CFStringCreateWithCString(nullptr, "abcd", kCFStringEncodingUTF8);
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_FALSE(CFStringGetCString(string, buffer, 4, kCFStringEncodingUTF8));
    EXPECT_TRUE(CFStringGetCString(string, buffer, 5, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "abcd");
    CFRelease(string);
}

TEST_F(cf_string, malformed_utf8_is_refused) {
    const char* bad[] = {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF8\x88\x80\x80\x80", "ok\xFF"};
    for (const char* text : bad) {
        EXPECT_EQ(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8), nullptr) << text;
    }
    EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8), nullptr);
}

TEST_F(cf_string, equality_hash_and_constant_strings_agree) {
    CFStringRef made = CFStringCreateWithCString(nullptr, "Width", kCFStringEncodingASCII);
    EXPECT_TRUE(CFEqual(made, CFSTR("Width")));
    EXPECT_EQ(CFHash(made), CFHash(CFSTR("Width")));
    EXPECT_FALSE(CFEqual(made, CFSTR("width")));
    CFRelease(made);
}

struct compare_case_t {
    const char* m_a;
    const char* m_b;
    CFStringCompareFlags m_flags;
    CFComparisonResult m_expected;
};

TEST_F(cf_string, compare_table) {
    const compare_case_t cases[] = {
        {"abc", "abc", 0, kCFCompareEqualTo},
        {"abc", "abd", 0, kCFCompareLessThan},
        {"abcd", "abc", 0, kCFCompareGreaterThan},
        {"", "a", 0, kCFCompareLessThan},
        {"ABC", "abc", 0, kCFCompareLessThan},
        {"ABC", "abc", kCFCompareCaseInsensitive, kCFCompareEqualTo},
        {"file9", "file10", 0, kCFCompareGreaterThan},
        {"file9", "file10", kCFCompareNumerically, kCFCompareLessThan},
        {"file010", "file10", kCFCompareNumerically, kCFCompareEqualTo},
        {"v2.10", "v2.9", kCFCompareNumerically, kCFCompareGreaterThan},
    };
    for (const auto& c : cases) {
        CFStringRef a = CFStringCreateWithCString(nullptr, c.m_a, kCFStringEncodingUTF8);
        CFStringRef b = CFStringCreateWithCString(nullptr, c.m_b, kCFStringEncodingUTF8);
        EXPECT_EQ(CFStringCompare(a, b, c.m_flags), c.m_expected) << c.m_a << " vs " << c.m_b;
        CFRelease(a);
        CFRelease(b);
    }
}

TEST_F(cf_string, format_with_objects_and_printf_conversions) {
    CFNumberRef number = make_int32(42);
    CFStringRef text = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %@ %d %5.2f %s %lld%%"), CFSTR("id"),
                                                number, -7, 3.14159, "c", 1234567890123LL);
    ASSERT_NE(text, nullptr);
    char buffer[64];
    ASSERT_TRUE(CFStringGetCString(text, buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "id 42 -7  3.14 c 1234567890123%");
    CFRelease(text);
    CFRelease(number);
}

TEST_F(cf_string, bytes_in_other_encodings) {
    const UInt8 latin1[] = {'c', 'a', 'f', 0xE9};
    CFStringRef from_latin1 = CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingISOLatin1, false);
    const UInt8 utf16be[] = {0xFE, 0xFF, 0x00, 'c', 0x00, 'a', 0x00, 'f', 0x00, 0xE9};
    CFStringRef from_utf16 = CFStringCreateWithBytes(nullptr, utf16be, sizeof utf16be, kCFStringEncodingUTF16, true);
    ASSERT_NE(from_latin1, nullptr);
    ASSERT_NE(from_utf16, nullptr);
    EXPECT_TRUE(CFEqual(from_latin1, from_utf16));
    EXPECT_EQ(CFStringGetLength(from_utf16), 4);
    // Bytes above 0x7F are not ASCII.
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingASCII, false), nullptr);
    CFRelease(from_latin1);
    CFRelease(from_utf16);
}

// ---- Numbers and booleans ----

using cf_number = platform_test_t;

TEST_F(cf_number, values_convert_between_types_and_report_loss) {
    SInt32 big = 300;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &big);
    EXPECT_EQ(CFNumberGetType(number), kCFNumberSInt32Type);
    EXPECT_FALSE(CFNumberIsFloatType(number));
    SInt64 wide = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &wide));
    EXPECT_EQ(wide, 300);
    SInt8 narrow = 0;
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt8Type, &narrow));  // 300 does not fit
    Float64 real = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat64Type, &real));
    EXPECT_EQ(real, 300.0);
    CFRelease(number);

    Float64 fraction = 2.5;
    CFNumberRef fractional = CFNumberCreate(nullptr, kCFNumberFloat64Type, &fraction);
    EXPECT_TRUE(CFNumberIsFloatType(fractional));
    SInt32 truncated = 0;
    EXPECT_FALSE(CFNumberGetValue(fractional, kCFNumberSInt32Type, &truncated));
    EXPECT_EQ(truncated, 2);
    CFRelease(fractional);
}

TEST_F(cf_number, equality_is_by_value_across_types) {
    CFNumberRef one = make_int32(1);
    Float64 one_real = 1.0;
    CFNumberRef one_float = CFNumberCreate(nullptr, kCFNumberFloat64Type, &one_real);
    CFNumberRef two = make_int32(2);
    EXPECT_TRUE(CFEqual(one, one_float));
    EXPECT_EQ(CFHash(one), CFHash(one_float));
    EXPECT_FALSE(CFEqual(one, two));
    EXPECT_EQ(CFNumberCompare(one, two, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(two, one_float, nullptr), kCFCompareGreaterThan);
    CFRelease(one);
    CFRelease(one_float);
    CFRelease(two);
}

TEST_F(cf_number, booleans_are_two_constants) {
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &m_live_at_start), nullptr);
}

TEST_F(cf_number, absolute_time_counts_from_2001) {
    const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
    const double unix_now = static_cast<double>(time(nullptr));
    EXPECT_NEAR(now + kCFAbsoluteTimeIntervalSince1970, unix_now, 2.0);
    EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, 978307200.0);
}

}  // namespace

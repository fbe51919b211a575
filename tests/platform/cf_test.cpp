// Core Foundation ownership (Create, Copy and Get rules), strings, numbers and booleans.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <ctime>

namespace {

using cf_ownership = platform_test_t;

TEST_F(cf_ownership, create_gives_one_reference_copies_share_or_snapshot_constants_are_immortal) {
    CFStringRef string = make_string("camera");
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFGetRetainCount(string), 1);
    CFStringRef copy = CFStringCreateCopy(nullptr, string);
    EXPECT_EQ(copy, string);  // an immutable string is its own copy, one more reference
    EXPECT_EQ(CFGetRetainCount(string), 2);
    CFRelease(copy);
    EXPECT_EQ(CFRetain(string), string);
    EXPECT_EQ(CFGetRetainCount(string), 2);
    release({string, string});

    CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    CFStringAppendCString(text, "ab", kCFStringEncodingUTF8);
    CFStringRef snapshot = CFStringCreateCopy(nullptr, text);
    EXPECT_NE(static_cast<CFTypeRef>(snapshot), static_cast<CFTypeRef>(text));
    CFStringAppend(text, CFSTR("c"));
    EXPECT_EQ(CFStringGetLength(text), 3);
    EXPECT_EQ(CFStringGetLength(snapshot), 2);  // later changes do not reach the copy
    release({snapshot, text});

    CFStringRef constant = CFSTR("ZAV constant");
    EXPECT_EQ(constant, CFSTR("ZAV constant"));
    const CFIndex count = CFGetRetainCount(constant);
    release({CFRetain(constant), constant});  // one release too many: a constant does not mind
    EXPECT_EQ(CFGetRetainCount(constant), count);
}

TEST_F(cf_ownership, leak_accounting_sees_live_objects_by_type_and_types_are_distinct) {
    CFStringRef string = make_string("x");
    CFNumberRef number = make_int32(5);
    EXPECT_EQ(zav_platform::probe::live_object_count(), m_live_at_start + 2);
    const auto by_type = zav_platform::probe::live_objects_by_type();
    EXPECT_TRUE(by_type.count("CFString") && by_type.count("CFNumber"));
    EXPECT_GE(zav_platform::probe::live_object_count(CFStringGetTypeID()), 1u);
    release({string, number});
    const CFTypeID ids[] = {CFStringGetTypeID(), CFNumberGetTypeID(), CFBooleanGetTypeID(), CFArrayGetTypeID(),
                            CFDictionaryGetTypeID(), CFUUIDGetTypeID(), CFDateGetTypeID(), CFNullGetTypeID()};
    for (std::size_t i = 0; i < std::size(ids); ++i)
        for (std::size_t j = i + 1; j < std::size(ids); ++j) EXPECT_NE(ids[i], ids[j]);
    CFStringRef name = CFCopyTypeIDDescription(CFArrayGetTypeID());
    EXPECT_TRUE(CFEqual(name, CFSTR("CFArray")));
    CFRelease(name);
}

using cf_string = platform_test_t;

TEST_F(cf_string, utf8_and_other_encodings_round_trip_and_malformed_input_is_refused) {
    const char* text = "caf\xC3\xA9 \xF0\x9F\x8E\xA5";  // "café" and a camera emoji (a surrogate pair)
    CFStringRef string = make_string(text);
    ASSERT_NE(string, nullptr);
    EXPECT_EQ(CFStringGetLength(string), 7);  // c a f é space + two UTF-16 units
    char buffer[32];
    EXPECT_FALSE(CFStringGetCString(string, buffer, std::strlen(text), kCFStringEncodingUTF8));  // no room for NUL
    ASSERT_TRUE(CFStringGetCString(string, buffer, std::strlen(text) + 1, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, text);
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), text);
    // Not representable in ASCII: refused rather than mangled.
    EXPECT_FALSE(CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingASCII));
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingASCII), nullptr);
    CFRelease(string);
    for (const char* bad : {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF8\x88\x80\x80\x80", "ok\xFF"})
        EXPECT_EQ(make_string(bad), nullptr) << bad;
    EXPECT_EQ(make_string(nullptr), nullptr);

    const UInt8 latin1[] = {'c', 'a', 'f', 0xE9}, utf16be[] = {0xFE, 0xFF, 0x00, 'c', 0x00, 'a', 0x00, 'f', 0x00, 0xE9};
    CFStringRef from_latin1 = CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingISOLatin1, false);
    CFStringRef from_utf16 = CFStringCreateWithBytes(nullptr, utf16be, sizeof utf16be, kCFStringEncodingUTF16, true);
    EXPECT_TRUE(from_latin1 && CFEqual(from_latin1, from_utf16) && CFStringGetLength(from_utf16) == 4);
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingASCII, false), nullptr);  // 0xE9
    release({from_latin1, from_utf16});
}

TEST_F(cf_string, equality_hash_and_compare_table) {
    const struct {
        const char *m_a, *m_b;
        CFStringCompareFlags m_flags;
        CFComparisonResult m_expected;
    } cases[] = {
        {"abc", "abc", 0, kCFCompareEqualTo}, {"abc", "abd", 0, kCFCompareLessThan},
        {"abcd", "abc", 0, kCFCompareGreaterThan}, {"", "a", 0, kCFCompareLessThan},
        {"ABC", "abc", 0, kCFCompareLessThan}, {"ABC", "abc", kCFCompareCaseInsensitive, kCFCompareEqualTo},
        {"file9", "file10", 0, kCFCompareGreaterThan}, {"file9", "file10", kCFCompareNumerically, kCFCompareLessThan},
        {"file010", "file10", kCFCompareNumerically, kCFCompareEqualTo},
        {"v2.10", "v2.9", kCFCompareNumerically, kCFCompareGreaterThan},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.m_a << " vs " << c.m_b);
        CFStringRef a = make_string(c.m_a);
        CFStringRef b = make_string(c.m_b);
        EXPECT_EQ(CFStringCompare(a, b, c.m_flags), c.m_expected);
        EXPECT_EQ(CFEqual(a, b) != 0, c.m_flags == 0 && c.m_expected == kCFCompareEqualTo);
        release({a, b});
    }
    CFStringRef made = make_string("Width");  // a made string hashes as the constant does
    EXPECT_EQ(CFHash(made), CFHash(CFSTR("Width")));
    CFRelease(made);
}

using cf_number = platform_test_t;

TEST_F(cf_number, values_convert_report_loss_compare_by_value_and_format) {
    CFNumberRef number = make_int32(300);
    SInt64 wide = 0;
    SInt8 narrow = 0;
    Float64 real = 0, fraction = 2.5;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &wide) && wide == 300);
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt8Type, &narrow));  // 300 does not fit
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat64Type, &real) && real == 300.0);
    CFNumberRef fractional = CFNumberCreate(nullptr, kCFNumberFloat64Type, &fraction);
    EXPECT_TRUE(CFNumberIsFloatType(fractional) && !CFNumberIsFloatType(number));
    SInt32 truncated = 0;
    EXPECT_FALSE(CFNumberGetValue(fractional, kCFNumberSInt32Type, &truncated));
    EXPECT_EQ(truncated, 2);
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &fraction), nullptr);

    // Equality is by value across types; booleans are not numbers.
    CFNumberRef one = make_int32(1);
    const Float64 one_real = 1.0;
    CFNumberRef one_float = CFNumberCreate(nullptr, kCFNumberFloat64Type, &one_real);
    EXPECT_TRUE(CFEqual(one, one_float) && !CFEqual(one, fractional));
    EXPECT_EQ(CFHash(one), CFHash(one_float));
    EXPECT_EQ(CFNumberCompare(one, fractional, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(number, one_float, nullptr), kCFCompareGreaterThan);
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse) || CFEqual(kCFBooleanTrue, one));
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue) && !CFBooleanGetValue(kCFBooleanFalse));

    CFStringRef text = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %@ %d %5.2f %s %lld%%"), CFSTR("id"),
                                                number, -7, 3.14159, "c", 1234567890123LL);
    EXPECT_TRUE(CFEqual(text, CFSTR("id 300 -7  3.14 c 1234567890123%")));
    release({text, number, fractional, one, one_float});
}

TEST(cf_time, absolute_time_counts_from_2001) {
    const double unix_now = static_cast<double>(std::time(nullptr));
    EXPECT_NEAR(unix_now - CFAbsoluteTimeGetCurrent(), 978307200.0, 2.0);
    EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, 978307200.0);
}

}  // namespace

// Core Foundation: ownership (Create, Copy and Get rules), strings, numbers, UUIDs, and arrays
// and dictionaries with and without callbacks.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

namespace {

using cf_ownership = platform_test_t;
TEST_F(cf_ownership, created_objects_hold_one_reference_and_an_immutable_copy_shares_it) {
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
}

TEST_F(cf_ownership, a_copy_of_a_mutable_string_is_a_snapshot) {
    CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    CFStringAppendCString(text, "ab", kCFStringEncodingUTF8);
    CFStringRef snapshot = CFStringCreateCopy(nullptr, text);
    EXPECT_NE(static_cast<CFTypeRef>(snapshot), static_cast<CFTypeRef>(text));
    CFStringAppend(text, CFSTR("c"));  // later changes do not reach the copy
    EXPECT_TRUE(CFStringGetLength(text) == 3 && CFStringGetLength(snapshot) == 2);
    release({snapshot, text});
}

TEST_F(cf_ownership, constant_strings_are_one_object_that_extra_releases_leave_alone) {
    CFStringRef constant = CFSTR("ZAV constant");
    EXPECT_EQ(constant, CFSTR("ZAV constant"));
    const CFIndex count = CFGetRetainCount(constant);
    release({CFRetain(constant), constant});  // one release too many: a constant does not mind
    EXPECT_EQ(CFGetRetainCount(constant), count);
}

TEST_F(cf_ownership, leak_accounting_counts_live_objects_by_type) {
    CFStringRef string = make_string("x");
    CFNumberRef number = make_int32(5);
    EXPECT_EQ(probe::live_object_count(), m_live_at_start + 2);
    const auto by_type = probe::live_objects_by_type();
    EXPECT_TRUE(by_type.count("CFString") && by_type.count("CFNumber"));
    EXPECT_GE(probe::live_object_count(CFStringGetTypeID()), 1u);
    release({string, number});
}

TEST_F(cf_ownership, every_type_has_its_own_id_and_name) {
    const CFTypeID ids[] = {CFStringGetTypeID(),     CFNumberGetTypeID(), CFBooleanGetTypeID(), CFArrayGetTypeID(),
                            CFDictionaryGetTypeID(), CFUUIDGetTypeID(),   CFDateGetTypeID(),    CFNullGetTypeID()};
    for (std::size_t i = 0; i < std::size(ids); ++i)
        for (std::size_t j = i + 1; j < std::size(ids); ++j) EXPECT_NE(ids[i], ids[j]);
    CFStringRef name = CFCopyTypeIDDescription(CFArrayGetTypeID());
    EXPECT_TRUE(CFEqual(name, CFSTR("CFArray")));
    CFRelease(name);
}

using cf_string = platform_test_t;
TEST_F(cf_string, utf8_round_trips_and_ascii_refuses_what_it_cannot_hold) {
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
}

TEST_F(cf_string, malformed_utf8_is_refused) {
    for (const char* bad : {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF8\x88\x80\x80\x80", "ok\xFF"})
        EXPECT_EQ(make_string(bad), nullptr) << bad;
    EXPECT_EQ(make_string(nullptr), nullptr);
}

TEST_F(cf_string, latin1_and_utf16_bytes_make_equal_strings) {
    const UInt8 latin1[] = {'c', 'a', 'f', 0xE9}, utf16be[] = {0xFE, 0xFF, 0x00, 'c', 0x00, 'a', 0x00, 'f', 0x00, 0xE9};
    CFStringRef from_latin1 = CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingISOLatin1, false);
    CFStringRef from_utf16 = CFStringCreateWithBytes(nullptr, utf16be, sizeof utf16be, kCFStringEncodingUTF16, true);
    EXPECT_TRUE(from_latin1 && CFEqual(from_latin1, from_utf16) && CFStringGetLength(from_utf16) == 4);
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, latin1, 4, kCFStringEncodingASCII, false), nullptr);  // 0xE9
    release({from_latin1, from_utf16});
}

TEST_F(cf_string, compare_follows_its_flags) {
    const struct {
        const char *m_a, *m_b;
        CFStringCompareFlags m_flags;
        CFComparisonResult m_expected;
    } compares[] = {{"abc", "abc", 0, kCFCompareEqualTo},
                    {"abc", "abd", 0, kCFCompareLessThan},
                    {"abcd", "abc", 0, kCFCompareGreaterThan},
                    {"", "a", 0, kCFCompareLessThan},
                    {"ABC", "abc", 0, kCFCompareLessThan},
                    {"ABC", "abc", kCFCompareCaseInsensitive, kCFCompareEqualTo},
                    {"file9", "file10", 0, kCFCompareGreaterThan},
                    {"file9", "file10", kCFCompareNumerically, kCFCompareLessThan},
                    {"file010", "file10", kCFCompareNumerically, kCFCompareEqualTo},
                    {"v2.10", "v2.9", kCFCompareNumerically, kCFCompareGreaterThan}};
    for (const auto& c : compares) {
        SCOPED_TRACE(testing::Message() << c.m_a << " vs " << c.m_b);
        CFStringRef a = make_string(c.m_a);
        CFStringRef b = make_string(c.m_b);
        EXPECT_EQ(CFStringCompare(a, b, c.m_flags), c.m_expected);
        EXPECT_EQ(CFEqual(a, b) != 0, c.m_flags == 0 && c.m_expected == kCFCompareEqualTo);
        release({a, b});
    }
}

TEST_F(cf_string, a_made_string_hashes_as_the_equal_constant) {
    CFStringRef made = make_string("Width");  // a made string hashes as the constant does
    EXPECT_EQ(CFHash(made), CFHash(CFSTR("Width")));
    CFRelease(made);
}

using cf_number = platform_test_t;
TEST_F(cf_number, values_convert_between_types_and_report_loss) {
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
    release({number, fractional});
}

// Equality is by value across types; booleans are not numbers.
TEST_F(cf_number, numbers_compare_by_value_across_types) {
    CFNumberRef number = make_int32(300);
    const Float64 fraction = 2.5;
    CFNumberRef fractional = CFNumberCreate(nullptr, kCFNumberFloat64Type, &fraction);
    CFNumberRef one = make_int32(1);
    const Float64 one_real = 1.0;
    CFNumberRef one_float = CFNumberCreate(nullptr, kCFNumberFloat64Type, &one_real);
    EXPECT_TRUE(CFEqual(one, one_float) && !CFEqual(one, fractional));
    EXPECT_EQ(CFHash(one), CFHash(one_float));
    EXPECT_EQ(CFNumberCompare(one, fractional, nullptr), kCFCompareLessThan);
    EXPECT_EQ(CFNumberCompare(number, one_float, nullptr), kCFCompareGreaterThan);
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse) || CFEqual(kCFBooleanTrue, one));
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue) && !CFBooleanGetValue(kCFBooleanFalse));
    release({number, fractional, one, one_float});
}

TEST_F(cf_number, format_writes_objects_numbers_and_c_values) {
    CFNumberRef number = make_int32(300);
    CFStringRef text = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ %@ %d %5.2f %s %lld%%"), CFSTR("id"),
                                                number, -7, 3.14159, "c", 1234567890123LL);
    EXPECT_TRUE(CFEqual(text, CFSTR("id 300 -7  3.14 c 1234567890123%")));
    release({text, number});
}

TEST(cf_date, absolute_time_counts_from_2001) {
    const double unix_now = static_cast<double>(std::time(nullptr));
    EXPECT_NEAR(unix_now - CFAbsoluteTimeGetCurrent(), 978307200.0, 2.0);
    EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, 978307200.0);
}

CFUUIDRef constant_uuid(UInt8 last) {
    return CFUUIDGetConstantUUIDWithBytes(nullptr, 0x30, 0x01, 0x0C, 0x1C, 0x93, 0xBF, 0x11, 0xD8, 0x8B, 0x5B, 0x00,
                                          0x0A, 0x95, 0xAF, 0x9C, last);
}

// UUIDs: constants compared by address, made ids with CFEqual, the COM id of IUnknown.
using cf_uuid = platform_test_t;
TEST_F(cf_uuid, a_constant_uuid_is_one_immortal_object_across_threads) {
    std::vector<CFUUIDRef> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) threads.emplace_back([&seen, i] { seen[i] = constant_uuid(0x6A); });
    for (auto& thread : threads) thread.join();
    for (CFUUIDRef uuid : seen) EXPECT_EQ(uuid, seen[0]);
    CFUUIDRef constant = seen[0];
    EXPECT_NE(constant, constant_uuid(0x6B));
    CFRelease(constant);  // Get rule: callers may still release once too often without harm
    EXPECT_EQ(constant_uuid(0x6A), constant);
}

TEST_F(cf_uuid, an_id_made_from_the_bytes_of_a_constant_equals_it) {
    CFUUIDRef constant = constant_uuid(0x6A);
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(constant);
    EXPECT_TRUE(bytes.byte0 == 0x30 && bytes.byte15 == 0x6A);
    CFUUIDRef made = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    EXPECT_EQ(CFGetRetainCount(made), 1);
    EXPECT_TRUE(CFEqual(made, constant) && CFHash(made) == CFHash(constant));
    CFRelease(made);
}

TEST_F(cf_uuid, iunknown_has_the_com_bytes) {
    const CFUUIDBytes iunknown = CFUUIDGetUUIDBytes(IUnknownUUID);  // what QueryInterface callers pass
    const UInt8 expected[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    EXPECT_EQ(std::memcmp(&iunknown, expected, 16), 0);
}

TEST_F(cf_uuid, text_round_trips_in_upper_case) {
    CFUUIDRef uuid = CFUUIDCreateFromString(nullptr, CFSTR("9f4ed6a2-1b3c-4d5e-8f70-a1b2c3d4e5f6"));
    ASSERT_NE(uuid, nullptr);
    CFStringRef text = CFUUIDCreateString(nullptr, uuid);
    EXPECT_TRUE(CFEqual(text, CFSTR("9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6")));
    CFUUIDRef again = CFUUIDCreateFromString(nullptr, text);
    EXPECT_TRUE(CFEqual(uuid, again));
    release({again, text, uuid});
}

TEST_F(cf_uuid, malformed_text_is_refused) {
    for (const char* bad : {"", "9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F", "9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6A",
                            "9F4ED6A2+1B3C-4D5E-8F70-A1B2C3D4E5F6", "9G4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6"}) {
        CFStringRef string = make_string(bad);
        EXPECT_EQ(CFUUIDCreateFromString(nullptr, string), nullptr) << bad;
        CFRelease(string);
    }
}

TEST_F(cf_uuid, new_ids_are_random_version_4) {
    CFUUIDRef a = CFUUIDCreate(nullptr), b = CFUUIDCreate(nullptr);
    EXPECT_FALSE(CFEqual(a, b));
    EXPECT_EQ(CFUUIDGetUUIDBytes(a).byte6 >> 4, 4);  // random ids are version 4
    release({a, b});
}

using cf_collections = platform_test_t;
TEST_F(cf_collections, an_array_with_type_callbacks_retains_what_it_holds_and_its_copies) {
    CFNumberRef a = make_int32(1), b = make_int32(2);
    const void* forward[] = {a, b};
    CFArrayRef array = CFArrayCreate(nullptr, forward, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), b);
    EXPECT_EQ(CFGetRetainCount(b), 2);  // Get rule: reading an element does not retain it
    CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
    EXPECT_EQ(CFGetRetainCount(a), 3);  // the copy keeps the callbacks
    release({copy, array});
    EXPECT_EQ(CFGetRetainCount(a), 1);
    release({a, b});
}

TEST_F(cf_collections, array_equality_follows_order_and_count) {
    CFNumberRef a = make_int32(1), b = make_int32(2);
    const void *forward[] = {a, b}, *backward[] = {b, a};
    CFArrayRef array = CFArrayCreate(nullptr, forward, 2, &kCFTypeArrayCallBacks);
    CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
    CFArrayRef reversed = CFArrayCreate(nullptr, backward, 2, &kCFTypeArrayCallBacks);
    CFArrayRef shorter = CFArrayCreate(nullptr, forward, 1, &kCFTypeArrayCallBacks);
    EXPECT_TRUE(CFEqual(array, copy));
    EXPECT_FALSE(CFEqual(array, reversed));
    EXPECT_FALSE(CFEqual(array, shorter));
    release({copy, array, reversed, shorter, a, b});
}

TEST_F(cf_collections, a_mutable_array_releases_what_it_removes_or_replaces) {
    CFNumberRef a = make_int32(1), b = make_int32(2);
    CFMutableArrayRef list = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(list, a);
    CFArrayAppendValue(list, a);
    CFArrayInsertValueAtIndex(list, 0, b);
    EXPECT_EQ(CFGetRetainCount(a), 3);
    EXPECT_EQ(CFArrayGetValueAtIndex(list, 0), b);
    CFArraySetValueAtIndex(list, 1, b);  // replaces one a
    EXPECT_EQ(CFGetRetainCount(a), 2);
    EXPECT_EQ(CFGetRetainCount(b), 3);
    CFArrayRemoveValueAtIndex(list, 0);
    EXPECT_EQ(CFGetRetainCount(b), 2);
    CFNumberRef another_two = make_int32(2);  // equal values are found through the callbacks
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(list, CFRangeMake(0, CFArrayGetCount(list)), another_two), 0);
    CFArrayAppendArray(list, list, CFRangeMake(0, 2));  // appending itself doubles it
    EXPECT_EQ(CFArrayGetCount(list), 4);
    CFArrayRemoveAllValues(list);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CFGetRetainCount(b), 1);
    release({another_two, list, a, b});
}

TEST_F(cf_collections, without_callbacks_collections_hold_plain_pointers) {
    CFStringRef key = make_string("k"), equal_key = make_string("k");
    CFNumberRef value = make_int32(3);
    const void *keys[] = {key}, *values[] = {value};
    CFArrayRef array = CFArrayCreate(nullptr, keys, 1, nullptr);
    CFDictionaryRef dictionary = CFDictionaryCreate(nullptr, keys, values, 1, nullptr, nullptr);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), value);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, equal_key), nullptr);  // equal but not the same pointer
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 1), key), 0);
    EXPECT_FALSE(CFArrayContainsValue(array, CFRangeMake(0, 1), equal_key));
    release({array, dictionary});
    EXPECT_TRUE(CFGetRetainCount(key) == 1 && CFGetRetainCount(value) == 1);  // not released either
    release({key, equal_key, value});
}

TEST_F(cf_collections, a_dictionary_with_type_callbacks_retains_keys_and_values_and_finds_equal_keys) {
    CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFStringRef key = make_string("Width");
    CFNumberRef value = make_int32(1920);
    CFNumberRef replacement = make_int32(1280);
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    // An equal key made elsewhere finds the value; Get rule on the result.
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Width")), value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Height")), nullptr);
    CFDictionaryAddValue(dictionary, CFSTR("Width"), replacement);  // add keeps an existing value
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), value);
    CFDictionarySetValue(dictionary, CFSTR("Width"), replacement);  // set replaces and releases
    EXPECT_EQ(CFGetRetainCount(value), 1);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    CFDictionaryRemoveValue(dictionary, key);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(replacement), 1);
    release({dictionary, key, value, replacement});
}

TEST_F(cf_collections, a_dictionary_with_copy_string_keys_holds_its_own_copy_of_a_mutable_key) {
    CFMutableDictionaryRef named =
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFMutableStringRef name = CFStringCreateMutable(nullptr, 0);
    CFStringAppend(name, CFSTR("name"));
    CFDictionarySetValue(named, name, kCFBooleanTrue);
    EXPECT_EQ(CFGetRetainCount(name), 1);
    CFStringAppend(name, CFSTR("2"));  // changing the caller's string leaves the key alone
    EXPECT_TRUE(CFDictionaryContainsKey(named, CFSTR("name")));
    EXPECT_FALSE(CFDictionaryContainsKey(named, name));
    release({named, name});
}

TEST_F(cf_collections, dictionary_create_keeps_the_later_of_two_equal_keys) {
    CFNumberRef one = make_int32(1), two = make_int32(2);
    const void *keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")}, *values[] = {one, one, two};
    CFDictionaryRef made = make_dictionary(keys, values, 3);
    EXPECT_EQ(CFDictionaryGetCount(made), 2);
    EXPECT_EQ(CFDictionaryGetValue(made, CFSTR("a")), two);
    EXPECT_EQ(CFGetRetainCount(one), 2);
    release({made, one, two});
}

TEST_F(cf_collections, dictionary_copies_compare_by_content) {
    CFNumberRef one = make_int32(1), two = make_int32(2);
    const void *keys[] = {CFSTR("a"), CFSTR("b")}, *values[] = {two, one};
    CFDictionaryRef made = make_dictionary(keys, values, 2);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, made);
    EXPECT_TRUE(CFEqual(made, copy));
    CFDictionarySetValue(copy, CFSTR("b"), two);
    EXPECT_FALSE(CFEqual(made, copy));
    const void* got_values[2] = {};
    CFDictionaryGetKeysAndValues(copy, nullptr, got_values);
    EXPECT_TRUE(got_values[0] == two && got_values[1] == two);
    release({copy, made});
    EXPECT_TRUE(CFGetRetainCount(one) == 1 && CFGetRetainCount(two) == 1);
    release({one, two});
}

}  // namespace

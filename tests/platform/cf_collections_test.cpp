// Arrays and dictionaries with and without callbacks: who retains what, and equality.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

namespace {

using cf_array = platform_test_t;

TEST_F(cf_array, type_callbacks_retain_elements_and_equality_follows_order_and_count) {
    CFNumberRef a = make_int32(1);
    CFNumberRef b = make_int32(2);
    const void* forward[] = {a, b};
    const void* backward[] = {b, a};
    CFArrayRef array = CFArrayCreate(nullptr, forward, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFGetRetainCount(a), 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), b);
    EXPECT_EQ(CFGetRetainCount(b), 2);  // Get rule: reading an element does not retain it
    CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
    EXPECT_EQ(CFGetRetainCount(a), 3);  // the copy keeps the callbacks
    CFArrayRef reversed = CFArrayCreate(nullptr, backward, 2, &kCFTypeArrayCallBacks);
    CFArrayRef shorter = CFArrayCreate(nullptr, forward, 1, &kCFTypeArrayCallBacks);
    EXPECT_TRUE(CFEqual(array, copy));
    EXPECT_FALSE(CFEqual(array, reversed));
    EXPECT_FALSE(CFEqual(array, shorter));
    for (CFArrayRef made : {copy, array, reversed, shorter}) CFRelease(made);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CFGetRetainCount(b), 1);
    CFRelease(a);
    CFRelease(b);
}

TEST_F(cf_array, no_callbacks_store_plain_pointers_without_retaining) {
    CFNumberRef element = make_int32(7);
    const void* values[] = {element};
    CFArrayRef array = CFArrayCreate(nullptr, values, 1, nullptr);
    EXPECT_EQ(CFGetRetainCount(element), 1);
    CFRelease(array);
    EXPECT_EQ(CFGetRetainCount(element), 1);  // not released either
    // Arbitrary non-object pointers are fine without callbacks.
    static int markers[3];
    CFMutableArrayRef plain = CFArrayCreateMutable(nullptr, 0, nullptr);
    for (int& marker : markers) CFArrayAppendValue(plain, &marker);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(plain, CFRangeMake(0, 3), &markers[2]), 2);
    EXPECT_FALSE(CFArrayContainsValue(plain, CFRangeMake(0, 2), &markers[2]));
    CFRelease(plain);
    CFRelease(element);
}

TEST_F(cf_array, mutable_array_releases_what_it_removes_or_replaces) {
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFNumberRef a = make_int32(1);
    CFNumberRef b = make_int32(2);
    CFArrayAppendValue(array, a);
    CFArrayAppendValue(array, a);
    CFArrayInsertValueAtIndex(array, 0, b);
    EXPECT_EQ(CFGetRetainCount(a), 3);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), b);
    CFArraySetValueAtIndex(array, 1, b);  // replaces one a
    EXPECT_EQ(CFGetRetainCount(a), 2);
    EXPECT_EQ(CFGetRetainCount(b), 3);
    CFArrayRemoveValueAtIndex(array, 0);
    EXPECT_EQ(CFGetRetainCount(b), 2);
    // Value equality through the callbacks: an equal number is found.
    CFNumberRef another_two = make_int32(2);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, CFArrayGetCount(array)), another_two), 0);
    CFArrayAppendArray(array, array, CFRangeMake(0, 2));  // appending itself doubles it
    EXPECT_EQ(CFArrayGetCount(array), 4);
    CFArrayRemoveAllValues(array);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CFGetRetainCount(b), 1);
    for (CFTypeRef made : {static_cast<CFTypeRef>(another_two), CFTypeRef(array), CFTypeRef(a), CFTypeRef(b)})
        CFRelease(made);
}

using cf_dictionary = platform_test_t;

TEST_F(cf_dictionary, type_callbacks_retain_keys_and_values_and_look_up_by_equality) {
    CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFStringRef key = make_string("Width");
    CFNumberRef value = make_int32(1920);
    CFDictionarySetValue(dictionary, key, value);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    // An equal key made elsewhere finds the value; Get rule on the result.
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Width")), value);
    EXPECT_EQ(CFGetRetainCount(value), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Height")), nullptr);

    CFNumberRef replacement = make_int32(1280);
    CFDictionaryAddValue(dictionary, CFSTR("Width"), replacement);  // add keeps an existing value
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), value);
    CFDictionarySetValue(dictionary, CFSTR("Width"), replacement);  // set replaces and releases
    EXPECT_EQ(CFGetRetainCount(value), 1);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    CFDictionaryRemoveValue(dictionary, key);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(replacement), 1);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    for (CFTypeRef made : {CFTypeRef(dictionary), CFTypeRef(key), CFTypeRef(value), CFTypeRef(replacement)})
        CFRelease(made);
}

TEST_F(cf_dictionary, no_callbacks_compare_pointers_and_retain_nothing) {
    CFStringRef key = make_string("k");
    CFStringRef equal_key = make_string("k");
    CFNumberRef value = make_int32(3);
    const void* keys[] = {key};
    const void* values[] = {value};
    CFDictionaryRef dictionary = CFDictionaryCreate(nullptr, keys, values, 1, nullptr, nullptr);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), value);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, equal_key), nullptr);  // equal but not the same pointer
    CFRelease(dictionary);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    for (CFTypeRef made : {CFTypeRef(key), CFTypeRef(equal_key), CFTypeRef(value)}) CFRelease(made);
}

TEST_F(cf_dictionary, copy_string_keys_are_copied_not_shared_when_mutable) {
    CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFMutableStringRef key = CFStringCreateMutable(nullptr, 0);
    CFStringAppend(key, CFSTR("name"));
    CFDictionarySetValue(dictionary, key, kCFBooleanTrue);
    EXPECT_EQ(CFGetRetainCount(key), 1);  // the dictionary holds its own copy
    CFStringAppend(key, CFSTR("2"));      // changing the caller's string leaves the key alone
    EXPECT_TRUE(CFDictionaryContainsKey(dictionary, CFSTR("name")));
    EXPECT_FALSE(CFDictionaryContainsKey(dictionary, key));
    CFRelease(key);
    CFRelease(dictionary);
}

TEST_F(cf_dictionary, create_copy_equality_and_duplicate_keys) {
    CFNumberRef one = make_int32(1);
    CFNumberRef two = make_int32(2);
    const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
    const void* values[] = {one, one, two};
    CFDictionaryRef dictionary = make_dictionary(keys, values, 3);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), two);  // the later pair wins
    EXPECT_EQ(CFGetRetainCount(one), 2);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, dictionary);
    EXPECT_TRUE(CFEqual(dictionary, copy));
    CFDictionarySetValue(copy, CFSTR("b"), two);
    EXPECT_FALSE(CFEqual(dictionary, copy));
    const void* got_keys[2] = {};
    const void* got_values[2] = {};
    CFDictionaryGetKeysAndValues(copy, got_keys, got_values);
    EXPECT_TRUE((got_values[0] == two) && (got_values[1] == two));
    CFRelease(copy);
    CFRelease(dictionary);
    EXPECT_EQ(CFGetRetainCount(one), 1);
    EXPECT_EQ(CFGetRetainCount(two), 1);
    CFRelease(one);
    CFRelease(two);
}

}  // namespace

// Arrays and dictionaries with and without callbacks: who retains what, and equality.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

namespace {

using cf_collections = platform_test_t;

TEST_F(cf_collections, array_type_callbacks_retain_what_is_held_and_equality_follows_order_and_count) {
    CFNumberRef a = make_int32(1);
    CFNumberRef b = make_int32(2);
    const void* forward[] = {a, b};
    const void* backward[] = {b, a};
    CFArrayRef array = CFArrayCreate(nullptr, forward, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), b);
    EXPECT_EQ(CFGetRetainCount(b), 2);  // Get rule: reading an element does not retain it
    CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
    EXPECT_EQ(CFGetRetainCount(a), 3);  // the copy keeps the callbacks
    CFArrayRef reversed = CFArrayCreate(nullptr, backward, 2, &kCFTypeArrayCallBacks);
    CFArrayRef shorter = CFArrayCreate(nullptr, forward, 1, &kCFTypeArrayCallBacks);
    EXPECT_TRUE(CFEqual(array, copy));
    EXPECT_FALSE(CFEqual(array, reversed) || CFEqual(array, shorter));
    release({copy, array, reversed, shorter});
    EXPECT_EQ(CFGetRetainCount(a), 1);

    // A mutable array releases what it removes or replaces.
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

TEST_F(cf_collections, without_callbacks_pointers_are_stored_and_compared_plainly_and_nothing_is_retained) {
    CFStringRef key = make_string("k");
    CFStringRef equal_key = make_string("k");
    CFNumberRef value = make_int32(3);
    const void* keys[] = {key};
    const void* values[] = {value};
    CFArrayRef array = CFArrayCreate(nullptr, values, 1, nullptr);
    CFDictionaryRef dictionary = CFDictionaryCreate(nullptr, keys, values, 1, nullptr, nullptr);
    EXPECT_EQ(CFGetRetainCount(key), 1);
    EXPECT_EQ(CFGetRetainCount(value), 1);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key), value);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, equal_key), nullptr);  // equal but not the same pointer
    release({array, dictionary});
    EXPECT_EQ(CFGetRetainCount(value), 1);  // not released either
    release({key, equal_key, value});
    // Arbitrary non-object pointers are fine without callbacks.
    static int markers[3];
    CFMutableArrayRef plain = CFArrayCreateMutable(nullptr, 0, nullptr);
    for (int& marker : markers) CFArrayAppendValue(plain, &marker);
    EXPECT_EQ(CFArrayGetFirstIndexOfValue(plain, CFRangeMake(0, 3), &markers[2]), 2);
    EXPECT_FALSE(CFArrayContainsValue(plain, CFRangeMake(0, 2), &markers[2]));
    CFRelease(plain);
}

TEST_F(cf_collections, dictionary_type_callbacks_retain_keys_and_values_and_look_up_by_equality) {
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
    // Copy-string keys: the dictionary holds its own copy of a mutable key.
    CFMutableDictionaryRef named =
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFMutableStringRef name = CFStringCreateMutable(nullptr, 0);
    CFStringAppend(name, CFSTR("name"));
    CFDictionarySetValue(named, name, kCFBooleanTrue);
    EXPECT_EQ(CFGetRetainCount(name), 1);
    CFStringAppend(name, CFSTR("2"));  // changing the caller's string leaves the key alone
    EXPECT_TRUE(CFDictionaryContainsKey(named, CFSTR("name")));
    EXPECT_FALSE(CFDictionaryContainsKey(named, name));
    release({dictionary, key, value, replacement, named, name});
}

TEST_F(cf_collections, dictionary_create_keeps_the_later_duplicate_and_copies_compare_by_content) {
    CFNumberRef one = make_int32(1);
    CFNumberRef two = make_int32(2);
    const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
    const void* values[] = {one, one, two};
    CFDictionaryRef dictionary = make_dictionary(keys, values, 3);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), two);
    EXPECT_EQ(CFGetRetainCount(one), 2);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, dictionary);
    EXPECT_TRUE(CFEqual(dictionary, copy));
    CFDictionarySetValue(copy, CFSTR("b"), two);
    EXPECT_FALSE(CFEqual(dictionary, copy));
    const void* got_values[2] = {};
    CFDictionaryGetKeysAndValues(copy, nullptr, got_values);
    EXPECT_TRUE(got_values[0] == two && got_values[1] == two);
    release({copy, dictionary});
    EXPECT_EQ(CFGetRetainCount(one), 1);
    EXPECT_EQ(CFGetRetainCount(two), 1);
    release({one, two});
}

}  // namespace

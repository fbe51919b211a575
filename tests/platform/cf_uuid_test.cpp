// UUIDs as plug-ins use them: constant ids compared by address (the same object from every
// thread), ids from bytes or text compared with CFEqual, and the COM id of IUnknown.
#include "platform_test.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

using cf_uuid = platform_test_t;

CFUUIDRef constant_uuid(UInt8 last) {
    return CFUUIDGetConstantUUIDWithBytes(nullptr, 0x30, 0x01, 0x0C, 0x1C, 0x93, 0xBF, 0x11, 0xD8, 0x8B, 0x5B, 0x00,
                                          0x0A, 0x95, 0xAF, 0x9C, last);
}

TEST_F(cf_uuid, constants_are_one_immortal_object_and_equal_ids_made_from_bytes_or_text) {
    std::vector<CFUUIDRef> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) threads.emplace_back([&seen, i] { seen[i] = constant_uuid(0x6A); });
    for (auto& thread : threads) thread.join();
    for (CFUUIDRef uuid : seen) EXPECT_EQ(uuid, seen[0]);
    CFUUIDRef constant = seen[0];
    EXPECT_NE(constant, constant_uuid(0x6B));
    CFRelease(constant);  // Get rule: callers may still release once too often without harm
    EXPECT_EQ(constant_uuid(0x6A), constant);
    EXPECT_EQ(zav_platform::probe::live_object_count(), m_live_at_start);
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(constant);
    EXPECT_TRUE(bytes.byte0 == 0x30 && bytes.byte15 == 0x6A);
    CFUUIDRef made = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    EXPECT_EQ(CFGetRetainCount(made), 1);
    EXPECT_TRUE(CFEqual(made, constant));
    EXPECT_EQ(CFHash(made), CFHash(constant));
    CFRelease(made);
    const CFUUIDBytes iunknown = CFUUIDGetUUIDBytes(IUnknownUUID);  // what QueryInterface callers pass
    const UInt8 expected[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    EXPECT_EQ(std::memcmp(&iunknown, expected, 16), 0);

    CFUUIDRef uuid = CFUUIDCreateFromString(nullptr, CFSTR("9f4ed6a2-1b3c-4d5e-8f70-a1b2c3d4e5f6"));
    ASSERT_NE(uuid, nullptr);
    CFStringRef text = CFUUIDCreateString(nullptr, uuid);
    EXPECT_TRUE(CFEqual(text, CFSTR("9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6")));
    CFUUIDRef again = CFUUIDCreateFromString(nullptr, text);
    EXPECT_TRUE(CFEqual(uuid, again));
    release({again, text, uuid});
    for (const char* bad : {"", "9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F", "9F4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6A",
                            "9F4ED6A2+1B3C-4D5E-8F70-A1B2C3D4E5F6", "9G4ED6A2-1B3C-4D5E-8F70-A1B2C3D4E5F6"}) {
        CFStringRef string = make_string(bad);
        EXPECT_EQ(CFUUIDCreateFromString(nullptr, string), nullptr) << bad;
        CFRelease(string);
    }
    CFUUIDRef a = CFUUIDCreate(nullptr), b = CFUUIDCreate(nullptr);
    EXPECT_FALSE(CFEqual(a, b));
    EXPECT_EQ(CFUUIDGetUUIDBytes(a).byte6 >> 4, 4);  // random ids are version 4
    release({a, b});
}

}  // namespace

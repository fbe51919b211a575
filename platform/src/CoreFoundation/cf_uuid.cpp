// CFUUID: 128-bit ids as objects. Constant UUIDs (CFUUIDGetConstantUUIDWithBytes) are unique
// per byte value and live for the whole process, so plug-in code may compare them by address.
#include <CoreFoundation/CFUUID.h>

#include "cf_object.h"
#include "cf_string.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <random>

using namespace zav_platform;

namespace {

using bytes_t = std::array<UInt8, 16>;

class cf_uuid_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFUUID");
        return id;
    }
    explicit cf_uuid_t(const bytes_t& bytes) : cf_object_t(class_type_id()), m_bytes(bytes) {}

    const bytes_t& bytes() const { return m_bytes; }

    bool equal_to(const cf_object_t& other) const override {
        return m_bytes == static_cast<const cf_uuid_t&>(other).m_bytes;
    }
    CFHashCode hash() const override {
        CFHashCode h = 0;
        std::memcpy(&h, m_bytes.data() + 8, sizeof h);
        return h;
    }
    std::string description() const override {
        char text[40];
        const UInt8* b = m_bytes.data();
        std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0],
                      b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
        return text;
    }

private:
    const bytes_t m_bytes;
};

CFUUIDRef create(const bytes_t& bytes) {
    return cf_ref<CFUUIDRef>(new cf_uuid_t(bytes));
}

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

CFTypeID CFUUIDGetTypeID(void) {
    return cf_uuid_t::class_type_id();
}

CFUUIDRef CFUUIDCreate(CFAllocatorRef) {
    static std::mutex s_mutex;
    static std::mt19937_64 s_random{std::random_device{}()};
    bytes_t bytes;
    {
        std::lock_guard<std::mutex> lock(s_mutex);
        const std::uint64_t high = s_random();
        const std::uint64_t low = s_random();
        std::memcpy(bytes.data(), &high, 8);
        std::memcpy(bytes.data() + 8, &low, 8);
    }
    bytes[6] = static_cast<UInt8>((bytes[6] & 0x0F) | 0x40);  // version 4 (random)
    bytes[8] = static_cast<UInt8>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return create(bytes);
}

CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15) {
    return create(bytes_t{byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9, byte10, byte11, byte12,
                          byte13, byte14, byte15});
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes) {
    bytes_t value;
    std::memcpy(value.data(), &bytes, sizeof bytes);
    return create(value);
}

CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef, CFStringRef uuidStr) {
    const cf_string_t* string = cf_cast<cf_string_t>(uuidStr);
    if (string == nullptr) return nullptr;
    const std::string& text = string->utf8();
    if (text.size() != 36) return nullptr;
    bytes_t bytes{};
    std::size_t byte = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') return nullptr;
            ++i;
            continue;
        }
        const int high = hex_value(text[i]);
        const int low = i + 1 < text.size() ? hex_value(text[i + 1]) : -1;
        if (high < 0 || low < 0 || byte >= bytes.size()) return nullptr;
        bytes[byte++] = static_cast<UInt8>(high * 16 + low);
        i += 2;
    }
    return byte == bytes.size() ? create(bytes) : nullptr;
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid) {
    const cf_uuid_t* value = cf_cast<cf_uuid_t>(uuid);
    return value != nullptr ? make_cf_string(value->description()) : nullptr;
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15) {
    static std::mutex s_mutex;
    static auto* s_constants = new std::map<bytes_t, CFUUIDRef>;
    const bytes_t bytes{byte0, byte1, byte2,  byte3,  byte4,  byte5,  byte6,  byte7,
                        byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15};
    std::lock_guard<std::mutex> lock(s_mutex);
    auto found = s_constants->find(bytes);
    if (found != s_constants->end()) return found->second;
    auto* uuid = new cf_uuid_t(bytes);
    uuid->make_constant();
    const CFUUIDRef ref = cf_ref<CFUUIDRef>(uuid);
    s_constants->emplace(bytes, ref);
    return ref;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
    CFUUIDBytes bytes{};
    if (const cf_uuid_t* value = cf_cast<cf_uuid_t>(uuid)) std::memcpy(&bytes, value->bytes().data(), sizeof bytes);
    return bytes;
}

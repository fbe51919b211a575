// Core Foundation strings inside the platform: the object behind CFStringRef, and helpers that
// other framework implementations use to make and read strings.
#ifndef ZAV_PLATFORM_CF_STRING_H
#define ZAV_PLATFORM_CF_STRING_H

#include <CoreFoundation/CFString.h>

#include "cf_object.h"

#include <string>

namespace zav_platform {

class cf_string_t final : public cf_object_t {
public:
    static CFTypeID class_type_id();

    cf_string_t(std::u16string text, bool is_mutable);

    const std::u16string& utf16() const { return m_utf16; }
    // UTF-8 form, kept alongside so that CFStringGetCStringPtr can hand out a pointer.
    const std::string& utf8() const { return m_utf8; }
    bool is_mutable() const { return m_mutable; }
    void append(const std::u16string& text);

    bool equal_to(const cf_object_t& other) const override;
    CFHashCode hash() const override;
    std::string description() const override { return m_utf8; }

private:
    std::u16string m_utf16;
    std::string m_utf8;
    const bool m_mutable;
};

// UTF-8 to UTF-16 and back; false for malformed UTF-8. Unpaired surrogates become U+FFFD in
// UTF-8.
bool utf8_to_utf16(const char* text, std::size_t size, std::u16string* out);
std::string utf16_to_utf8(const std::u16string& text);

// A new string owned by the caller (Create rule); NULL when `utf8` is not valid UTF-8.
CFStringRef make_cf_string(const std::string& utf8);
// The UTF-8 text of a string, or "" when `ref` is not a string.
std::string cf_string_utf8(CFTypeRef ref);

}  // namespace zav_platform

#endif

// Small string helpers used for log lines and string-valued properties.
#ifndef ZAV_PLUGIN_HOST_STRING_UTILS_H
#define ZAV_PLUGIN_HOST_STRING_UTILS_H

#include <CoreFoundation/CoreFoundation.h>

#include <cstdarg>
#include <cstdint>
#include <string>

namespace Drivers::Mac::ZAV {

// printf into a string of exactly the formatted length; `args` is consumed.
std::string sprintf_args(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

// A four-character code as text, most significant byte first ('ownd' for 0x6F776E64). Bytes are
// copied as they are and a zero byte ends the text early.
std::string fourCC_to_string(uint32_t code);

// A new UTF-8 Core Foundation string that the caller owns and releases; null when the text
// cannot be converted.
CFStringRef create_string_ref(const char* text);

}  // namespace Drivers::Mac::ZAV

#endif

#include "host/string_utils.h"

#include <cstdio>

namespace Drivers::Mac::ZAV {

std::string sprintf_args(const char* format, va_list args) {
    // The list is walked twice: once to measure, once to format.
    va_list measure_args;
    va_copy(measure_args, args);
    const int measured = vsnprintf(nullptr, 0, format, measure_args);
    va_end(measure_args);

    // On a formatting error (-1) the size is 0 and the result empty.
    const std::size_t size = static_cast<std::size_t>(measured + 1);
    std::string text(size, '\0');
    // The limit may include the string's own terminator slot, which follows its characters.
    vsnprintf(text.data(), size + 1, format, args);

    while (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
}

std::string fourCC_to_string(uint32_t code) {
    const char text[5] = {
        static_cast<char>((code >> 24) & 0xFF),
        static_cast<char>((code >> 16) & 0xFF),
        static_cast<char>((code >> 8) & 0xFF),
        static_cast<char>(code & 0xFF),
        '\0',
    };
    return std::string(text);
}

CFStringRef create_string_ref(const char* text) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

}  // namespace Drivers::Mac::ZAV

// CFStringCreateWithFormat: printf formatting plus %@, which inserts the description of a Core
// Foundation object (a string's own text).
#include "cf_string.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

using namespace zav_platform;

namespace {

enum class length_t { none, hh, h, l, ll, j, z, t, L };

// Formats one conversion with the C library; `directive` is the complete conversion, e.g. "%-08.3lf".
template <class T>
void append_formatted(std::string* out, const std::string& directive, T value) {
    char small[128];
    const int n = std::snprintf(small, sizeof small, directive.c_str(), value);
    if (n < 0) return;
    if (static_cast<std::size_t>(n) < sizeof small) {
        out->append(small, static_cast<std::size_t>(n));
        return;
    }
    std::string big(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(&big[0], big.size(), directive.c_str(), value);
    out->append(big.data(), static_cast<std::size_t>(n));
}

std::string format_text(const std::string& format, va_list args) {
    std::string out;
    std::size_t i = 0;
    while (i < format.size()) {
        const char c = format[i];
        if (c != '%') {
            out.push_back(c);
            ++i;
            continue;
        }
        std::string directive = "%";
        ++i;
        // Flags, width and precision; '*' takes an int argument, spliced into the directive.
        while (i < format.size() && std::strchr("-+ #0'", format[i]) != nullptr) directive.push_back(format[i++]);
        auto read_number = [&]() {
            if (i < format.size() && format[i] == '*') {
                directive += std::to_string(va_arg(args, int));
                ++i;
                return;
            }
            while (i < format.size() && format[i] >= '0' && format[i] <= '9') directive.push_back(format[i++]);
        };
        read_number();
        if (i < format.size() && format[i] == '.') {
            directive.push_back(format[i++]);
            read_number();
        }
        length_t length = length_t::none;
        std::string length_text;
        if (i < format.size()) {
            switch (format[i]) {
                case 'h':
                    if (i + 1 < format.size() && format[i + 1] == 'h') {
                        length = length_t::hh;
                        length_text = "hh";
                        i += 2;
                    } else {
                        length = length_t::h;
                        length_text = "h";
                        ++i;
                    }
                    break;
                case 'l':
                    if (i + 1 < format.size() && format[i + 1] == 'l') {
                        length = length_t::ll;
                        length_text = "ll";
                        i += 2;
                    } else {
                        length = length_t::l;
                        length_text = "l";
                        ++i;
                    }
                    break;
                case 'q':  // BSD spelling of ll
                    length = length_t::ll;
                    length_text = "ll";
                    ++i;
                    break;
                case 'j':
                    length = length_t::j;
                    length_text = "j";
                    ++i;
                    break;
                case 'z':
                    length = length_t::z;
                    length_text = "z";
                    ++i;
                    break;
                case 't':
                    length = length_t::t;
                    length_text = "t";
                    ++i;
                    break;
                case 'L':
                    length = length_t::L;
                    length_text = "L";
                    ++i;
                    break;
                default:
                    break;
            }
        }
        if (i >= format.size()) break;
        const char conversion = format[i++];
        switch (conversion) {
            case '%':
                out.push_back('%');
                break;
            case '@': {
                const void* object = va_arg(args, const void*);
                out += object == nullptr ? std::string("(null)") : cf_object(object)->description();
                break;
            }
            case 'd':
            case 'i':
            case 'o':
            case 'u':
            case 'x':
            case 'X': {
                const std::string full = directive + length_text + conversion;
                switch (length) {
                    case length_t::l:
                        append_formatted(&out, full, va_arg(args, long));
                        break;
                    case length_t::ll:
                        append_formatted(&out, full, va_arg(args, long long));
                        break;
                    case length_t::j:
                        append_formatted(&out, full, va_arg(args, intmax_t));
                        break;
                    case length_t::z:
                        append_formatted(&out, full, va_arg(args, size_t));
                        break;
                    case length_t::t:
                        append_formatted(&out, full, va_arg(args, ptrdiff_t));
                        break;
                    default:
                        append_formatted(&out, full, va_arg(args, int));
                        break;
                }
                break;
            }
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                if (length == length_t::L) {
                    append_formatted(&out, directive + "L" + conversion, va_arg(args, long double));
                } else {
                    append_formatted(&out, directive + conversion, va_arg(args, double));
                }
                break;
            case 'c':
                append_formatted(&out, directive + conversion, va_arg(args, int));
                break;
            case 's': {
                const char* text = va_arg(args, const char*);
                append_formatted(&out, directive + conversion, text != nullptr ? text : "(null)");
                break;
            }
            case 'p':
                append_formatted(&out, directive + conversion, va_arg(args, void*));
                break;
            default:
                // Unknown conversion: kept as written, consuming nothing.
                out += directive + length_text + conversion;
                break;
        }
    }
    return out;
}

}  // namespace

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
    const cf_string_t* pattern = cf_cast<cf_string_t>(format);
    if (pattern == nullptr) return nullptr;
    va_list copy;
    va_copy(copy, arguments);
    const std::string text = format_text(pattern->utf8(), copy);
    va_end(copy);
    CFStringRef result = make_cf_string(text);
    // Arguments may carry bytes that are not UTF-8 (%s of Latin-1 text): keep them as Latin-1.
    if (result == nullptr)
        result = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                         static_cast<CFIndex>(text.size()), kCFStringEncodingISOLatin1, false);
    return result;
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CFStringRef result = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
    va_end(arguments);
    return result;
}

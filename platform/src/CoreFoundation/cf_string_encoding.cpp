#include "cf_string_encoding.h"

#include "cf_string.h"

namespace zav_platform {
namespace {

// Single-byte encodings: the highest code point they hold with the byte equal to it. Mac Roman
// agrees with Unicode only below 0x80, so only that part is accepted.
char32_t single_byte_limit(CFStringEncoding encoding) {
    switch (encoding) {
        case kCFStringEncodingASCII:
        case kCFStringEncodingNonLossyASCII:
        case kCFStringEncodingMacRoman:
        case kCFStringEncodingNextStepLatin:
            return 0x7F;
        case kCFStringEncodingISOLatin1:
        case kCFStringEncodingWindowsLatin1:
            return 0xFF;
        default:
            return 0;
    }
}

bool is_utf16(CFStringEncoding e) {
    return e == kCFStringEncodingUTF16 || e == kCFStringEncodingUTF16BE || e == kCFStringEncodingUTF16LE;
}

bool is_utf32(CFStringEncoding e) {
    return e == kCFStringEncodingUTF32 || e == kCFStringEncodingUTF32BE || e == kCFStringEncodingUTF32LE;
}

// Byte order of a wide encoding: true for big endian. The plain forms are big endian unless a
// byte order mark says otherwise, as Core Foundation reads external representations.
bool big_endian_of(CFStringEncoding e) {
    return e == kCFStringEncodingUTF16BE || e == kCFStringEncodingUTF32BE || e == kCFStringEncodingUTF16 ||
           e == kCFStringEncodingUTF32;
}

std::uint32_t read_unit(const UInt8* p, std::size_t width, bool big_endian) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t shift = big_endian ? (width - 1 - i) * 8 : i * 8;
        value |= static_cast<std::uint32_t>(p[i]) << shift;
    }
    return value;
}

void write_unit(std::string* out, std::uint32_t value, std::size_t width, bool big_endian) {
    for (std::size_t i = 0; i < width; ++i) {
        const std::size_t shift = big_endian ? (width - 1 - i) * 8 : i * 8;
        out->push_back(static_cast<char>((value >> shift) & 0xFF));
    }
}

void push_code_point(std::u16string* out, char32_t cp) {
    if (cp >= 0x10000) {
        cp -= 0x10000;
        out->push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out->push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
        out->push_back(static_cast<char16_t>(cp));
    }
}

// Code points of UTF-16 text; unpaired surrogates become U+FFFD.
template <class F>
void for_each_code_point(const std::u16string& text, F f) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        f(cp);
    }
}

}  // namespace

bool utf8_to_utf16(const char* text, std::size_t size, std::u16string* out) {
    out->clear();
    out->reserve(size);
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    std::size_t i = 0;
    while (i < size) {
        const unsigned char lead = p[i];
        char32_t cp = 0;
        std::size_t extra = 0;
        if (lead < 0x80) {
            cp = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            cp = lead & 0x1F;
            extra = 1;
        } else if ((lead & 0xF0) == 0xE0) {
            cp = lead & 0x0F;
            extra = 2;
        } else if ((lead & 0xF8) == 0xF0) {
            cp = lead & 0x07;
            extra = 3;
        } else {
            return false;
        }
        if (i + extra >= size && extra > 0) return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            if ((p[i + k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (p[i + k] & 0x3F);
        }
        // Overlong forms, surrogates and values beyond Unicode are malformed.
        static const char32_t k_min[] = {0, 0x80, 0x800, 0x10000};
        if (cp < k_min[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        push_code_point(out, cp);
        i += extra + 1;
    }
    return true;
}

std::string utf16_to_utf8(const std::u16string& text) {
    std::string out;
    out.reserve(text.size());
    for_each_code_point(text, [&out](char32_t cp) {
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    });
    return out;
}

bool decode_string(const UInt8* bytes, std::size_t size, CFStringEncoding encoding, bool external,
                   std::u16string* out) {
    out->clear();
    if (size > 0 && bytes == nullptr) return false;
    if (encoding == kCFStringEncodingUTF8) {
        // A UTF-8 byte order mark is dropped, as Core Foundation does.
        if (size >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) {
            bytes += 3;
            size -= 3;
        }
        return utf8_to_utf16(reinterpret_cast<const char*>(bytes), size, out);
    }
    if (const char32_t limit = single_byte_limit(encoding)) {
        for (std::size_t i = 0; i < size; ++i) {
            if (bytes[i] > limit) return false;
            out->push_back(bytes[i]);
        }
        return true;
    }
    if (is_utf16(encoding) || is_utf32(encoding)) {
        const std::size_t width = is_utf16(encoding) ? 2 : 4;
        if (size % width != 0) return false;
        bool big_endian = big_endian_of(encoding);
        std::size_t start = 0;
        const bool plain = encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF32;
        if (size >= width && (plain || external)) {
            const std::uint32_t bom_be = read_unit(bytes, width, true);
            const std::uint32_t bom_le = read_unit(bytes, width, false);
            if (bom_be == 0xFEFF) {
                big_endian = true;
                start = width;
            } else if (bom_le == 0xFEFF) {
                big_endian = false;
                start = width;
            } else if (plain && !external) {
                big_endian = false;  // host order without a mark
            }
        } else if (plain) {
            big_endian = false;
        }
        for (std::size_t i = start; i < size; i += width) {
            const std::uint32_t unit = read_unit(bytes + i, width, big_endian);
            if (width == 2) {
                out->push_back(static_cast<char16_t>(unit));
            } else {
                if (unit > 0x10FFFF || (unit >= 0xD800 && unit <= 0xDFFF)) return false;
                push_code_point(out, unit);
            }
        }
        return true;
    }
    return false;
}

bool encode_string(const std::u16string& text, CFStringEncoding encoding, UInt8 loss_byte, bool external,
                   std::string* out) {
    out->clear();
    if (encoding == kCFStringEncodingUTF8) {
        *out = utf16_to_utf8(text);
        return true;
    }
    if (const char32_t limit = single_byte_limit(encoding)) {
        bool ok = true;
        for_each_code_point(text, [&](char32_t cp) {
            if (cp <= limit) {
                out->push_back(static_cast<char>(cp));
            } else if (loss_byte != 0) {
                out->push_back(static_cast<char>(loss_byte));
            } else {
                ok = false;
            }
        });
        return ok;
    }
    if (is_utf16(encoding)) {
        const bool plain = encoding == kCFStringEncodingUTF16;
        const bool big_endian = plain ? external : big_endian_of(encoding);
        if (plain && external) write_unit(out, 0xFEFF, 2, big_endian);
        for (char16_t unit : text) write_unit(out, unit, 2, big_endian);
        return true;
    }
    if (is_utf32(encoding)) {
        const bool plain = encoding == kCFStringEncodingUTF32;
        const bool big_endian = plain ? external : big_endian_of(encoding);
        if (plain && external) write_unit(out, 0xFEFF, 4, big_endian);
        for_each_code_point(text, [&](char32_t cp) { write_unit(out, cp, 4, big_endian); });
        return true;
    }
    return false;
}

std::size_t max_bytes_per_unit(CFStringEncoding encoding) {
    if (encoding == kCFStringEncodingUTF8) return 3;  // a surrogate pair (2 units) takes 4
    if (single_byte_limit(encoding) != 0) return 1;
    if (is_utf16(encoding)) return 2;
    if (is_utf32(encoding)) return 4;
    return 0;
}

}  // namespace zav_platform

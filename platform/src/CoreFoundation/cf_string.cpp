// CFString: creation, reading back, comparison, constant strings and descriptions.
#include "cf_string.h"

#include "cf_string_encoding.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace zav_platform {

CFTypeID cf_string_t::class_type_id() {
    static const CFTypeID id = register_cf_type("CFString");
    return id;
}

cf_string_t::cf_string_t(std::u16string text, bool is_mutable)
    : cf_object_t(class_type_id()), m_utf16(std::move(text)), m_utf8(utf16_to_utf8(m_utf16)), m_mutable(is_mutable) {}

void cf_string_t::append(const std::u16string& text) {
    m_utf16 += text;
    m_utf8 = utf16_to_utf8(m_utf16);
}

bool cf_string_t::equal_to(const cf_object_t& other) const {
    return m_utf16 == static_cast<const cf_string_t&>(other).m_utf16;
}

CFHashCode cf_string_t::hash() const {
    CFHashCode h = 14695981039346656037ull;
    for (char16_t unit : m_utf16) h = (h ^ unit) * 1099511628211ull;
    return h;
}

CFStringRef make_cf_string(const std::string& utf8) {
    std::u16string text;
    if (!utf8_to_utf16(utf8.data(), utf8.size(), &text)) return nullptr;
    return cf_ref<CFStringRef>(new cf_string_t(std::move(text), false));
}

std::string cf_string_utf8(CFTypeRef ref) {
    const cf_string_t* string = cf_cast<cf_string_t>(ref);
    return string != nullptr ? string->utf8() : std::string();
}

}  // namespace zav_platform

using namespace zav_platform;

namespace {

CFStringRef new_string(std::u16string text) {
    return cf_ref<CFStringRef>(new cf_string_t(std::move(text), false));
}

CFMutableStringRef new_mutable_string(std::u16string text) {
    return cf_ref<CFMutableStringRef>(new cf_string_t(std::move(text), true));
}

cf_string_t* mutable_string(CFMutableStringRef ref, const char* call) {
    return &cf_require_mutable<cf_string_t>(ref, call);
}

char16_t fold_case(char16_t c) {
    if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c - u'A' + u'a');
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<char16_t>(c + 0x20);  // Latin-1 letters
    return c;
}

bool is_digit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

int compare_units(const std::u16string& a, const std::u16string& b, CFStringCompareFlags flags) {
    const bool fold = (flags & kCFCompareCaseInsensitive) != 0;
    const bool numeric = (flags & kCFCompareNumerically) != 0;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (numeric && is_digit(a[i]) && is_digit(b[j])) {
            // Runs of digits compare by value: skip leading zeros, then longer is larger.
            std::size_t ie = i;
            std::size_t je = j;
            while (ie < a.size() && is_digit(a[ie])) ++ie;
            while (je < b.size() && is_digit(b[je])) ++je;
            std::size_t is = i;
            std::size_t js = j;
            while (is + 1 < ie && a[is] == u'0') ++is;
            while (js + 1 < je && b[js] == u'0') ++js;
            if (ie - is != je - js) return ie - is < je - js ? -1 : 1;
            for (; is < ie; ++is, ++js) {
                if (a[is] != b[js]) return a[is] < b[js] ? -1 : 1;
            }
            i = ie;
            j = je;
            continue;
        }
        const char16_t ca = fold ? fold_case(a[i]) : a[i];
        const char16_t cb = fold ? fold_case(b[j]) : b[j];
        if (ca != cb) return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

}  // namespace

CFStringRef __CFStringMakeConstantString(const char* cStr) {
    static std::mutex s_mutex;
    static auto* s_constants = new std::unordered_map<std::string, CFStringRef>;
    if (cStr == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(s_mutex);
    auto found = s_constants->find(cStr);
    if (found != s_constants->end()) return found->second;
    std::u16string text;
    if (!utf8_to_utf16(cStr, std::strlen(cStr), &text)) {
        // Literals are meant to be UTF-8; bytes that are not are taken as Latin-1.
        text.clear();
        for (const char* p = cStr; *p != '\0'; ++p) text.push_back(static_cast<unsigned char>(*p));
    }
    auto* string = new cf_string_t(std::move(text), false);
    string->make_constant();
    const CFStringRef ref = cf_ref<CFStringRef>(string);
    s_constants->emplace(cStr, ref);
    return ref;
}

CFTypeID CFStringGetTypeID(void) {
    return cf_string_t::class_type_id();
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
    if (numBytes < 0) return nullptr;
    std::u16string text;
    if (!decode_string(bytes, static_cast<std::size_t>(numBytes), encoding, isExternalRepresentation != 0, &text))
        return nullptr;
    return new_string(std::move(text));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
    if (cStr == nullptr) return nullptr;
    return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(cStr), static_cast<CFIndex>(std::strlen(cStr)),
                                   encoding, false);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator) {
    // The text is always copied; the caller's buffer is then freed as it asked, unless it said
    // kCFAllocatorNull ("do not free").
    CFStringRef string = CFStringCreateWithCString(alloc, cStr, encoding);
    if (string != nullptr && contentsDeallocator != kCFAllocatorNull)
        CFAllocatorDeallocate(contentsDeallocator, const_cast<char*>(cStr));
    return string;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars) {
    if (numChars < 0 || (numChars > 0 && chars == nullptr)) return nullptr;
    return new_string(std::u16string(reinterpret_cast<const char16_t*>(chars), static_cast<std::size_t>(numChars)));
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr) return nullptr;
    // An immutable string is its own copy.
    if (!string->is_mutable()) return static_cast<CFStringRef>(CFRetain(theString));
    return new_string(string->utf16());
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
    return new_mutable_string(std::u16string());
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef theString) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr) return nullptr;
    return new_mutable_string(string->utf16());
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
    cf_string_t* string = mutable_string(theString, "CFStringAppend on an immutable or invalid string");
    const cf_string_t* tail = cf_cast<cf_string_t>(appendedString);
    if (tail != nullptr) string->append(std::u16string(tail->utf16()));
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
    cf_string_t* string = mutable_string(theString, "CFStringAppendCString on an immutable or invalid string");
    std::u16string text;
    if (cStr != nullptr &&
        decode_string(reinterpret_cast<const UInt8*>(cStr), std::strlen(cStr), encoding, false, &text))
        string->append(text);
}

CFIndex CFStringGetLength(CFStringRef theString) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    return string != nullptr ? static_cast<CFIndex>(string->utf16().size()) : 0;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr || idx < 0 || static_cast<std::size_t>(idx) >= string->utf16().size())
        cf_fatal("CFStringGetCharacterAtIndex: index out of range");
    return string->utf16()[static_cast<std::size_t>(idx)];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr || range.location < 0 || range.length < 0 ||
        static_cast<std::size_t>(range.location + range.length) > string->utf16().size())
        cf_fatal("CFStringGetCharacters: range out of bounds");
    if (range.length > 0)
        std::memcpy(buffer, string->utf16().data() + range.location, static_cast<std::size_t>(range.length) * 2);
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr || buffer == nullptr || bufferSize <= 0) return false;
    std::string bytes;
    if (!encode_string(string->utf16(), encoding, 0, false, &bytes)) return false;
    // The text and its terminator must both fit; nothing is truncated.
    if (static_cast<CFIndex>(bytes.size()) + 1 > bufferSize) return false;
    std::memcpy(buffer, bytes.data(), bytes.size());
    buffer[bytes.size()] = '\0';
    return true;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (string == nullptr) return nullptr;
    if (encoding == kCFStringEncodingUTF8) return string->utf8().c_str();
    // ASCII text is the same in every single-byte encoding.
    if (max_bytes_per_unit(encoding) == 1) {
        for (char16_t unit : string->utf16())
            if (unit > 0x7F) return nullptr;
        return string->utf8().c_str();
    }
    return nullptr;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    const std::size_t per_unit = max_bytes_per_unit(encoding);
    if (length < 0 || per_unit == 0) return kCFNotFound;
    return length * static_cast<CFIndex>(per_unit);
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen) {
    const cf_string_t* string = cf_cast<cf_string_t>(theString);
    if (usedBufLen != nullptr) *usedBufLen = 0;
    if (string == nullptr || range.location < 0 || range.length < 0 ||
        static_cast<std::size_t>(range.location + range.length) > string->utf16().size())
        return 0;
    // Converts whole characters until the buffer is full; returns the number converted.
    CFIndex converted = 0;
    std::string bytes;
    std::string one;
    if (isExternalRepresentation && encode_string(std::u16string(), encoding, lossByte, true, &one)) bytes = one;
    for (CFIndex i = range.location; i < range.location + range.length; ++i) {
        if (!encode_string(std::u16string(1, string->utf16()[static_cast<std::size_t>(i)]), encoding, lossByte, false,
                           &one))
            break;
        if (buffer != nullptr && static_cast<CFIndex>(bytes.size() + one.size()) > maxBufLen) break;
        bytes += one;
        ++converted;
    }
    if (buffer != nullptr) std::memcpy(buffer, bytes.data(), bytes.size());
    if (usedBufLen != nullptr) *usedBufLen = static_cast<CFIndex>(bytes.size());
    return converted;
}

CFStringEncoding CFStringGetSystemEncoding(void) {
    return kCFStringEncodingMacRoman;
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
    const cf_string_t* a = cf_cast<cf_string_t>(theString1);
    const cf_string_t* b = cf_cast<cf_string_t>(theString2);
    if (a == nullptr || b == nullptr) cf_fatal("CFStringCompare called with something that is not a string");
    const int result = compare_units(a->utf16(), b->utf16(), compareOptions);
    return result < 0 ? kCFCompareLessThan : result > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
    const cf_string_t* a = cf_cast<cf_string_t>(theString);
    const cf_string_t* p = cf_cast<cf_string_t>(prefix);
    if (a == nullptr || p == nullptr) return false;
    return a->utf16().compare(0, p->utf16().size(), p->utf16()) == 0;
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
    const cf_string_t* a = cf_cast<cf_string_t>(theString);
    const cf_string_t* s = cf_cast<cf_string_t>(suffix);
    if (a == nullptr || s == nullptr || s->utf16().size() > a->utf16().size()) return false;
    return a->utf16().compare(a->utf16().size() - s->utf16().size(), s->utf16().size(), s->utf16()) == 0;
}

CFStringRef CFCopyDescription(CFTypeRef cf) {
    if (cf == nullptr) return nullptr;
    return make_cf_string(cf_object(cf)->description());
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id) {
    const char* name = cf_type_name(type_id);
    return name != nullptr ? make_cf_string(name) : nullptr;
}

void CFShow(CFTypeRef obj) {
    if (obj == nullptr) {
        std::fprintf(stderr, "(null)\n");
        return;
    }
    std::fprintf(stderr, "%s\n", cf_object(obj)->description().c_str());
}

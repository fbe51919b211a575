// Conversion between the encodings that CFString accepts and its UTF-16 contents.
#ifndef ZAV_PLATFORM_CF_STRING_ENCODING_H
#define ZAV_PLATFORM_CF_STRING_ENCODING_H

#include <CoreFoundation/CFString.h>

#include <string>

namespace zav_platform {

// Bytes in `encoding` to UTF-16. With `external`, UTF-16 and UTF-32 may start with a byte
// order mark. False when the bytes are not valid in that encoding or it is not supported.
bool decode_string(const UInt8* bytes, std::size_t size, CFStringEncoding encoding, bool external, std::u16string* out);

// UTF-16 to bytes in `encoding`. Characters that the encoding cannot hold become `loss_byte`,
// or make the conversion fail when it is 0. With `external`, UTF-16 and UTF-32 get a byte
// order mark.
bool encode_string(const std::u16string& text, CFStringEncoding encoding, UInt8 loss_byte, bool external,
                   std::string* out);

// Bytes per UTF-16 unit at most, 0 for an unsupported encoding.
std::size_t max_bytes_per_unit(CFStringEncoding encoding);

}  // namespace zav_platform

#endif

// The callbacks behind the kCFType* callback sets of arrays and dictionaries: every value is a
// Core Foundation object, retained on entry, released on removal, compared with CFEqual.
#ifndef ZAV_PLATFORM_CF_TYPE_CALLBACKS_H
#define ZAV_PLATFORM_CF_TYPE_CALLBACKS_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

namespace zav_platform::cf_type_callbacks {

inline const void* retain(CFAllocatorRef, const void* value) {
    return CFRetain(value);
}
inline void release(CFAllocatorRef, const void* value) {
    CFRelease(value);
}
inline CFStringRef describe(const void* value) {
    return CFCopyDescription(value);
}
inline Boolean equal(const void* a, const void* b) {
    return CFEqual(a, b);
}
inline CFHashCode hash(const void* value) {
    return CFHash(value);
}

}  // namespace zav_platform::cf_type_callbacks

#endif

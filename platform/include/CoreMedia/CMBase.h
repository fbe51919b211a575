// CoreMedia base: export macros and the count and index types shared by every CoreMedia header.
#ifndef ZAV_PLATFORM_CMBASE_H
#define ZAV_PLATFORM_CMBASE_H

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#define CM_EXPORT CF_EXPORT
#define CM_INLINE CF_INLINE
#define CM_NULLABLE
#define CM_NONNULL
#define CM_ASSUME_NONNULL_BEGIN
#define CM_ASSUME_NONNULL_END
#define CM_RETURNS_RETAINED
#define CM_RETURNS_NOT_RETAINED
#define CM_RETURNS_RETAINED_PARAMETER
#define CM_RELEASES_ARGUMENT
#define CM_BRIDGED_TYPE(t)
#define CM_SWIFT_NAME(n)

typedef CFIndex CMItemCount;
typedef CFIndex CMItemIndex;

typedef int32_t CMPersistentTrackID;
enum { kCMPersistentTrackID_Invalid = 0 };

#endif

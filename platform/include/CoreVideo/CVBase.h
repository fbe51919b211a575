// CoreVideo base: export macros and option types.
#ifndef ZAV_PLATFORM_CVBASE_H
#define ZAV_PLATFORM_CVBASE_H

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#define CV_EXPORT CF_EXPORT
#define CV_INLINE CF_INLINE
#define CV_NULLABLE
#define CV_NONNULL
#define CV_RETURNS_RETAINED
#define CV_RETURNS_RETAINED_PARAMETER
#define CV_RELEASES_ARGUMENT
#define CV_BRIDGED_TYPE(t)

typedef uint64_t CVOptionFlags;

#endif

// Core Foundation base: the object types, retain and release, equality and hashing,
// allocators, ranges and the null object.
#ifndef ZAV_PLATFORM_CFBASE_H
#define ZAV_PLATFORM_CFBASE_H

#include <MacTypes.h>
#include <stdbool.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#define CF_EXPORT extern "C" __attribute__((visibility("default")))
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#define CF_EXPORT extern __attribute__((visibility("default")))
#endif

#define CF_INLINE static __inline__ __attribute__((always_inline))
#define CF_RETURNS_RETAINED
#define CF_RETURNS_NOT_RETAINED
#define CF_RELEASES_ARGUMENT
#define CF_CONSUMED
#define CF_NOESCAPE
#define CF_IMPLICIT_BRIDGING_ENABLED
#define CF_IMPLICIT_BRIDGING_DISABLED
#define CF_ASSUME_NONNULL_BEGIN
#define CF_ASSUME_NONNULL_END
#define CF_BRIDGED_TYPE(t)
#define CF_BRIDGED_MUTABLE_TYPE(t)
#define CF_SWIFT_NAME(n)
#define CF_REFINED_FOR_SWIFT
#define CF_ENUM(type, name) \
    type name;              \
    enum
#define CF_OPTIONS(type, name) \
    type name;                 \
    enum
#define CF_CLOSED_ENUM(type, name) \
    type name;                     \
    enum

#ifndef __nullable
#define __nullable
#endif
#ifndef __nonnull
#define __nonnull
#endif
#ifndef _Nullable
#define _Nullable
#endif
#ifndef _Nonnull
#define _Nonnull
#endif
#ifndef _Null_unspecified
#define _Null_unspecified
#endif

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;
typedef signed long CFIndex;

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef CFTypeRef CFPropertyListRef;

typedef CF_ENUM(CFIndex, CFComparisonResult) {
    kCFCompareLessThan = -1,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1
};
typedef CFComparisonResult (*CFComparatorFunction)(const void* val1, const void* val2, void* context);

static const CFIndex kCFNotFound = -1;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

CF_INLINE CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

typedef const struct __CFNull* CFNullRef;
CF_EXPORT CFTypeID CFNullGetTypeID(void);
CF_EXPORT const CFNullRef kCFNull;

typedef const struct __CFAllocator* CFAllocatorRef;
// kCFAllocatorDefault is NULL, as on Apple systems: "use the current default allocator".
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorSystemDefault;
CF_EXPORT const CFAllocatorRef kCFAllocatorMalloc;
CF_EXPORT const CFAllocatorRef kCFAllocatorMallocZone;
CF_EXPORT const CFAllocatorRef kCFAllocatorNull;
CF_EXPORT const CFAllocatorRef kCFAllocatorUseContext;

CF_EXPORT CFTypeID CFAllocatorGetTypeID(void);
CF_EXPORT CFAllocatorRef CFAllocatorGetDefault(void);
CF_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
CF_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags hint);
CF_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr);

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyTypeIDDescription(CFTypeID type_id);
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
CF_EXPORT void CFRelease(CFTypeRef cf);
CF_EXPORT CFTypeRef CFAutorelease(CFTypeRef arg);
CF_EXPORT CFIndex CFGetRetainCount(CFTypeRef cf);
CF_EXPORT Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CF_EXPORT CFHashCode CFHash(CFTypeRef cf);
CF_EXPORT CFStringRef CFCopyDescription(CFTypeRef cf);
CF_EXPORT CFAllocatorRef CFGetAllocator(CFTypeRef cf);
CF_EXPORT CFTypeRef CFMakeCollectable(CFTypeRef cf);

#endif

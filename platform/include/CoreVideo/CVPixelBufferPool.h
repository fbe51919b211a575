// CoreVideo pixel buffer pools: buffers of one format and size, recycled when released.
#ifndef ZAV_PLATFORM_CVPIXELBUFFERPOOL_H
#define ZAV_PLATFORM_CVPIXELBUFFERPOOL_H

#include <CoreVideo/CVPixelBuffer.h>

CF_EXTERN_C_BEGIN

typedef struct __CVPixelBufferPool* CVPixelBufferPoolRef;

CV_EXPORT const CFStringRef kCVPixelBufferPoolMinimumBufferCountKey;
CV_EXPORT const CFStringRef kCVPixelBufferPoolMaximumBufferAgeKey;
CV_EXPORT const CFStringRef kCVPixelBufferPoolAllocationThresholdKey;
CV_EXPORT const CFStringRef kCVPixelBufferPoolFreeBufferNotification;

typedef CVOptionFlags CVPixelBufferPoolFlushFlags;
enum { kCVPixelBufferPoolFlushExcessBuffers = 1 };

CV_EXPORT CFTypeID CVPixelBufferPoolGetTypeID(void);
// Both accept NULL.
CV_EXPORT CVPixelBufferPoolRef CVPixelBufferPoolRetain(CVPixelBufferPoolRef pixelBufferPool);
CV_EXPORT void CVPixelBufferPoolRelease(CVPixelBufferPoolRef pixelBufferPool);

CV_EXPORT CVReturn CVPixelBufferPoolCreate(CFAllocatorRef allocator, CFDictionaryRef poolAttributes,
                                           CFDictionaryRef pixelBufferAttributes, CVPixelBufferPoolRef* poolOut);
CV_EXPORT CFDictionaryRef CVPixelBufferPoolGetAttributes(CVPixelBufferPoolRef pool);
CV_EXPORT CFDictionaryRef CVPixelBufferPoolGetPixelBufferAttributes(CVPixelBufferPoolRef pool);
CV_EXPORT CVReturn CVPixelBufferPoolCreatePixelBuffer(CFAllocatorRef allocator, CVPixelBufferPoolRef pixelBufferPool,
                                                      CVPixelBufferRef* pixelBufferOut);
CV_EXPORT CVReturn CVPixelBufferPoolCreatePixelBufferWithAuxAttributes(CFAllocatorRef allocator,
                                                                       CVPixelBufferPoolRef pixelBufferPool,
                                                                       CFDictionaryRef auxAttributes,
                                                                       CVPixelBufferRef* pixelBufferOut);
CV_EXPORT void CVPixelBufferPoolFlush(CVPixelBufferPoolRef pool, CVPixelBufferPoolFlushFlags options);

CF_EXTERN_C_END

#endif

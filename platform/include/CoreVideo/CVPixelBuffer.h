// CoreVideo pixel buffers: an image in main memory with a pixel format, row padding and a
// lockable base address.
#ifndef ZAV_PLATFORM_CVPIXELBUFFER_H
#define ZAV_PLATFORM_CVPIXELBUFFER_H

#include <CoreVideo/CVImageBuffer.h>

CF_EXTERN_C_BEGIN

// Pixel formats (four-character codes written as numbers).
enum {
    kCVPixelFormatType_1Monochrome = 0x00000001,
    kCVPixelFormatType_2Indexed = 0x00000002,
    kCVPixelFormatType_4Indexed = 0x00000004,
    kCVPixelFormatType_8Indexed = 0x00000008,
    kCVPixelFormatType_16BE555 = 0x00000010,
    kCVPixelFormatType_16LE555 = 0x4C353535,  // 'L555'
    kCVPixelFormatType_16BE565 = 0x42353635,  // 'B565'
    kCVPixelFormatType_16LE565 = 0x4C353635,  // 'L565'
    kCVPixelFormatType_24RGB = 0x00000018,
    kCVPixelFormatType_24BGR = 0x32344247,  // '24BG'
    kCVPixelFormatType_32ARGB = 0x00000020,
    kCVPixelFormatType_32BGRA = 0x42475241,                        // 'BGRA'
    kCVPixelFormatType_32ABGR = 0x41424752,                        // 'ABGR'
    kCVPixelFormatType_32RGBA = 0x52474241,                        // 'RGBA'
    kCVPixelFormatType_64ARGB = 0x62363461,                        // 'b64a'
    kCVPixelFormatType_16Gray = 0x62313667,                        // 'b16g'
    kCVPixelFormatType_422YpCbCr8 = 0x32767579,                    // '2vuy'
    kCVPixelFormatType_4444YpCbCrA8 = 0x76343038,                  // 'v408'
    kCVPixelFormatType_422YpCbCr8_yuvs = 0x79757673,               // 'yuvs'
    kCVPixelFormatType_422YpCbCr8FullRange = 0x79757666,           // 'yuvf'
    kCVPixelFormatType_422YpCbCr16 = 0x76323136,                   // 'v216'
    kCVPixelFormatType_422YpCbCr10 = 0x76323130,                   // 'v210'
    kCVPixelFormatType_OneComponent8 = 0x4C303038,                 // 'L008'
    kCVPixelFormatType_420YpCbCr8Planar = 0x79343230,              // 'y420'
    kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 0x34323076,  // '420v'
    kCVPixelFormatType_420YpCbCr8BiPlanarFullRange = 0x34323066    // '420f'
};

typedef CVOptionFlags CVPixelBufferLockFlags;
enum { kCVPixelBufferLock_ReadOnly = 0x00000001 };

// Attribute keys of CVPixelBufferCreate and pixel buffer pools.
CV_EXPORT const CFStringRef kCVPixelBufferPixelFormatTypeKey;
CV_EXPORT const CFStringRef kCVPixelBufferMemoryAllocatorKey;
CV_EXPORT const CFStringRef kCVPixelBufferWidthKey;
CV_EXPORT const CFStringRef kCVPixelBufferHeightKey;
CV_EXPORT const CFStringRef kCVPixelBufferExtendedPixelsLeftKey;
CV_EXPORT const CFStringRef kCVPixelBufferExtendedPixelsTopKey;
CV_EXPORT const CFStringRef kCVPixelBufferExtendedPixelsRightKey;
CV_EXPORT const CFStringRef kCVPixelBufferExtendedPixelsBottomKey;
CV_EXPORT const CFStringRef kCVPixelBufferBytesPerRowAlignmentKey;
CV_EXPORT const CFStringRef kCVPixelBufferCGBitmapContextCompatibilityKey;
CV_EXPORT const CFStringRef kCVPixelBufferCGImageCompatibilityKey;
CV_EXPORT const CFStringRef kCVPixelBufferOpenGLCompatibilityKey;
CV_EXPORT const CFStringRef kCVPixelBufferPlaneAlignmentKey;
CV_EXPORT const CFStringRef kCVPixelBufferIOSurfacePropertiesKey;
CV_EXPORT const CFStringRef kCVPixelBufferMetalCompatibilityKey;

typedef CVImageBufferRef CVPixelBufferRef;

typedef void (*CVPixelBufferReleaseBytesCallback)(void* releaseRefCon, const void* baseAddress);

CV_EXPORT CFTypeID CVPixelBufferGetTypeID(void);
// Both accept NULL.
CV_EXPORT CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef texture);
CV_EXPORT void CVPixelBufferRelease(CVPixelBufferRef texture);

CV_EXPORT CVReturn CVPixelBufferCreate(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormatType,
                                       CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut);
CV_EXPORT CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef allocator, size_t width, size_t height,
                                                OSType pixelFormatType, void* baseAddress, size_t bytesPerRow,
                                                CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                                CFDictionaryRef pixelBufferAttributes,
                                                CVPixelBufferRef* pixelBufferOut);

// Locks are counted: every lock needs its unlock with the same flags.
CV_EXPORT CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags lockFlags);
CV_EXPORT CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags unlockFlags);

CV_EXPORT size_t CVPixelBufferGetWidth(CVPixelBufferRef pixelBuffer);
CV_EXPORT size_t CVPixelBufferGetHeight(CVPixelBufferRef pixelBuffer);
CV_EXPORT OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef pixelBuffer);
CV_EXPORT void* CVPixelBufferGetBaseAddress(CVPixelBufferRef pixelBuffer);
CV_EXPORT size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef pixelBuffer);
CV_EXPORT size_t CVPixelBufferGetDataSize(CVPixelBufferRef pixelBuffer);
CV_EXPORT Boolean CVPixelBufferIsPlanar(CVPixelBufferRef pixelBuffer);
CV_EXPORT size_t CVPixelBufferGetPlaneCount(CVPixelBufferRef pixelBuffer);
CV_EXPORT void CVPixelBufferGetExtendedPixels(CVPixelBufferRef pixelBuffer, size_t* extraColumnsOnLeft,
                                              size_t* extraColumnsOnRight, size_t* extraRowsOnTop,
                                              size_t* extraRowsOnBottom);
CV_EXPORT CVReturn CVPixelBufferFillExtendedPixels(CVPixelBufferRef pixelBuffer);

CF_EXTERN_C_END

#endif

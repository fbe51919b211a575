// vImage types: image buffer records, pixel types, flags and error codes.
#ifndef ZAV_PLATFORM_VIMAGE_TYPES_H
#define ZAV_PLATFORM_VIMAGE_TYPES_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
#define VIMAGE_PF extern "C" __attribute__((visibility("default")))
#else
#define VIMAGE_PF extern __attribute__((visibility("default")))
#endif

typedef unsigned long vImagePixelCount;

typedef struct vImage_Buffer {
    void* data;
    vImagePixelCount height;
    vImagePixelCount width;
    size_t rowBytes;
} vImage_Buffer;

// Maps (x, y) to (a*x + c*y + tx, b*x + d*y + ty).
typedef struct vImage_AffineTransform {
    float a, b, c, d;
    float tx, ty;
} vImage_AffineTransform;

typedef struct vImage_AffineTransform_Double {
    double a, b, c, d;
    double tx, ty;
} vImage_AffineTransform_Double;

typedef ssize_t vImage_Error;
typedef uint32_t vImage_Flags;

typedef uint8_t Pixel_8;
typedef float Pixel_F;
typedef uint8_t Pixel_8888[4];
typedef float Pixel_FFFF[4];
typedef uint16_t Pixel_16U;
typedef uint16_t Pixel_ARGB_16U[4];

enum {
    kvImageNoFlags = 0,
    kvImageLeaveAlphaUnchanged = 1,
    kvImageCopyInPlace = 2,
    kvImageBackgroundColorFill = 4,
    kvImageEdgeExtend = 8,
    kvImageDoNotTile = 16,
    kvImageHighQualityResampling = 32,
    kvImageTruncateKernel = 64,
    kvImageGetTempBufferSize = 128,
    kvImagePrintDiagnosticsToConsole = 256,
    kvImageNoAllocate = 512,
    kvImageHDRContent = 1024,
    kvImageDoNotClamp = 2048,
    kvImageUseFP16Accumulator = 4096
};

enum {
    kvImageNoError = 0,
    kvImageRoiLargerThanInputBuffer = -21766,
    kvImageInvalidKernelSize = -21767,
    kvImageInvalidEdgeStyle = -21768,
    kvImageInvalidOffset_X = -21769,
    kvImageInvalidOffset_Y = -21770,
    kvImageMemoryAllocationError = -21771,
    kvImageNullPointerArgument = -21772,
    kvImageInvalidParameter = -21773,
    kvImageBufferSizeMismatch = -21774,
    kvImageUnknownFlagsBit = -21775,
    kvImageInternalError = -21776,
    kvImageInvalidRowBytes = -21777,
    kvImageInvalidImageFormat = -21778,
    kvImageColorSyncIsAbsent = -21779,
    kvImageOutOfPlaceOperationRequired = -21780,
    kvImageInvalidImageObject = -21781,
    kvImageInvalidCVImageFormat = -21782,
    kvImageUnsupportedConversion = -21783,
    kvImageCoreVideoIsAbsent = -21784
};

#endif

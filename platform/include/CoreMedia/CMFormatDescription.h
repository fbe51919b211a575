// CoreMedia format descriptions: immutable descriptions of a media stream's type, subtype,
// dimensions (video) or stream format (audio), plus extension properties.
#ifndef ZAV_PLATFORM_CMFORMATDESCRIPTION_H
#define ZAV_PLATFORM_CMFORMATDESCRIPTION_H

#include <CoreMedia/CMBase.h>
#include <CoreMedia/CMTime.h>
#include <CoreVideo/CoreVideo.h>
#include <CoreAudioTypes/CoreAudioBaseTypes.h>

CF_EXTERN_C_BEGIN

enum {
    kCMFormatDescriptionError_InvalidParameter = -12710,
    kCMFormatDescriptionError_AllocationFailed = -12711,
    kCMFormatDescriptionError_ValueNotAvailable = -12718
};

typedef const struct opaqueCMFormatDescription* CMFormatDescriptionRef;

typedef FourCharCode CMMediaType;
enum {
    kCMMediaType_Video = 0x76696465,          // 'vide'
    kCMMediaType_Audio = 0x736F756E,          // 'soun'
    kCMMediaType_Muxed = 0x6D757878,          // 'muxx'
    kCMMediaType_Text = 0x74657874,           // 'text'
    kCMMediaType_ClosedCaption = 0x636C6370,  // 'clcp'
    kCMMediaType_Subtitle = 0x7362746C,       // 'sbtl'
    kCMMediaType_TimeCode = 0x746D6364,       // 'tmcd'
    kCMMediaType_Metadata = 0x6D657461        // 'meta'
};

CM_EXPORT CFTypeID CMFormatDescriptionGetTypeID(void);
CM_EXPORT OSStatus CMFormatDescriptionCreate(CFAllocatorRef allocator, CMMediaType mediaType, FourCharCode mediaSubType,
                                             CFDictionaryRef extensions, CMFormatDescriptionRef* formatDescriptionOut);
// Equal when media type, subtype, the type's own parameters (dimensions, stream description)
// and extensions are equal.
CM_EXPORT Boolean CMFormatDescriptionEqual(CMFormatDescriptionRef formatDescription,
                                           CMFormatDescriptionRef otherFormatDescription);
CM_EXPORT CMMediaType CMFormatDescriptionGetMediaType(CMFormatDescriptionRef desc);
CM_EXPORT FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef desc);
CM_EXPORT CFDictionaryRef CMFormatDescriptionGetExtensions(CMFormatDescriptionRef desc);
CM_EXPORT CFPropertyListRef CMFormatDescriptionGetExtension(CMFormatDescriptionRef desc, CFStringRef extensionKey);

CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_OriginalCompressionSettings;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_FormatName;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_Depth;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_FieldCount;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_PixelAspectRatio;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_ColorPrimaries;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_TransferFunction;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_YCbCrMatrix;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_FullRangeVideo;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_BytesPerRow;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_Version;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_RevisionLevel;
CM_EXPORT const CFStringRef kCMFormatDescriptionExtension_Vendor;

// ---- Video ----

typedef CMFormatDescriptionRef CMVideoFormatDescriptionRef;

typedef FourCharCode CMPixelFormatType;
enum {
    kCMPixelFormat_32ARGB = 32,
    kCMPixelFormat_32BGRA = 0x42475241,  // 'BGRA'
    kCMPixelFormat_24RGB = 24,
    kCMPixelFormat_16BE555 = 16,
    kCMPixelFormat_16BE565 = 0x42353635,          // 'B565'
    kCMPixelFormat_16LE555 = 0x4C353535,          // 'L555'
    kCMPixelFormat_16LE565 = 0x4C353635,          // 'L565'
    kCMPixelFormat_16LE5551 = 0x35353531,         // '5551'
    kCMPixelFormat_422YpCbCr8 = 0x32767579,       // '2vuy'
    kCMPixelFormat_422YpCbCr8_yuvs = 0x79757673,  // 'yuvs'
    kCMPixelFormat_444YpCbCr8 = 0x76333038,       // 'v308'
    kCMPixelFormat_4444YpCbCrA8 = 0x76343038,     // 'v408'
    kCMPixelFormat_422YpCbCr16 = 0x76323136,      // 'v216'
    kCMPixelFormat_422YpCbCr10 = 0x76323130,      // 'v210'
    kCMPixelFormat_444YpCbCr10 = 0x76343130,      // 'v410'
    kCMPixelFormat_8IndexedGray_WhiteIsZero = 0x00000028
};

typedef FourCharCode CMVideoCodecType;
enum {
    kCMVideoCodecType_422YpCbCr8 = kCMPixelFormat_422YpCbCr8,
    kCMVideoCodecType_Animation = 0x726C6520,     // 'rle '
    kCMVideoCodecType_Cinepak = 0x63766964,       // 'cvid'
    kCMVideoCodecType_JPEG = 0x6A706567,          // 'jpeg'
    kCMVideoCodecType_JPEG_OpenDML = 0x646D6231,  // 'dmb1'
    kCMVideoCodecType_H263 = 0x68323633,          // 'h263'
    kCMVideoCodecType_H264 = 0x61766331,          // 'avc1'
    kCMVideoCodecType_HEVC = 0x68766331,          // 'hvc1'
    kCMVideoCodecType_MPEG4Video = 0x6D703476,    // 'mp4v'
    kCMVideoCodecType_MPEG2Video = 0x6D703276,    // 'mp2v'
    kCMVideoCodecType_MPEG1Video = 0x6D703176     // 'mp1v'
};

typedef struct {
    int32_t width;
    int32_t height;
} CMVideoDimensions;

CM_EXPORT OSStatus CMVideoFormatDescriptionCreate(CFAllocatorRef allocator, CMVideoCodecType codecType, int32_t width,
                                                  int32_t height, CFDictionaryRef extensions,
                                                  CMVideoFormatDescriptionRef* formatDescriptionOut);
// Subtype, dimensions and extensions taken from the buffer (its propagated attachments).
CM_EXPORT OSStatus CMVideoFormatDescriptionCreateForImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                                CMVideoFormatDescriptionRef* formatDescriptionOut);
CM_EXPORT CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef videoDesc);
CM_EXPORT Boolean CMVideoFormatDescriptionMatchesImageBuffer(CMVideoFormatDescriptionRef desc,
                                                             CVImageBufferRef imageBuffer);

#define CMVideoFormatDescriptionGetCodecType(desc) CMFormatDescriptionGetMediaSubType(desc)

// ---- Audio ----

typedef CMFormatDescriptionRef CMAudioFormatDescriptionRef;

CM_EXPORT OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef allocator, const AudioStreamBasicDescription* asbd,
                                                  size_t layoutSize, const AudioChannelLayout* layout,
                                                  size_t magicCookieSize, const void* magicCookie,
                                                  CFDictionaryRef extensions,
                                                  CMAudioFormatDescriptionRef* formatDescriptionOut);
CM_EXPORT const AudioStreamBasicDescription* CMAudioFormatDescriptionGetStreamBasicDescription(
    CMAudioFormatDescriptionRef desc);
CM_EXPORT const AudioChannelLayout* CMAudioFormatDescriptionGetChannelLayout(CMAudioFormatDescriptionRef desc,
                                                                             size_t* sizeOut);
CM_EXPORT const void* CMAudioFormatDescriptionGetMagicCookie(CMAudioFormatDescriptionRef desc, size_t* sizeOut);

CF_EXTERN_C_END

#endif

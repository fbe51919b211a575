// CoreVideo buffers: the reference-counted base of image and pixel buffers, with attachments.
#ifndef ZAV_PLATFORM_CVBUFFER_H
#define ZAV_PLATFORM_CVBUFFER_H

#include <CoreVideo/CVBase.h>
#include <CoreVideo/CVReturn.h>

CF_EXTERN_C_BEGIN

typedef uint32_t CVAttachmentMode;
enum { kCVAttachmentMode_ShouldNotPropagate = 0, kCVAttachmentMode_ShouldPropagate = 1 };

CV_EXPORT const CFStringRef kCVBufferPropagatedAttachmentsKey;
CV_EXPORT const CFStringRef kCVBufferNonPropagatedAttachmentsKey;
CV_EXPORT const CFStringRef kCVBufferMovieTimeKey;
CV_EXPORT const CFStringRef kCVBufferTimeValueKey;
CV_EXPORT const CFStringRef kCVBufferTimeScaleKey;

typedef struct __CVBuffer* CVBufferRef;

// Both accept NULL, unlike CFRetain and CFRelease.
CV_EXPORT CVBufferRef CVBufferRetain(CVBufferRef buffer);
CV_EXPORT void CVBufferRelease(CVBufferRef buffer);

CV_EXPORT void CVBufferSetAttachment(CVBufferRef buffer, CFStringRef key, CFTypeRef value,
                                     CVAttachmentMode attachmentMode);
CV_EXPORT CFTypeRef CVBufferGetAttachment(CVBufferRef buffer, CFStringRef key, CVAttachmentMode* attachmentMode);
CV_EXPORT CFTypeRef CVBufferCopyAttachment(CVBufferRef buffer, CFStringRef key, CVAttachmentMode* attachmentMode);
CV_EXPORT void CVBufferRemoveAttachment(CVBufferRef buffer, CFStringRef key);
CV_EXPORT void CVBufferRemoveAllAttachments(CVBufferRef buffer);
CV_EXPORT CFDictionaryRef CVBufferGetAttachments(CVBufferRef buffer, CVAttachmentMode attachmentMode);
CV_EXPORT CFDictionaryRef CVBufferCopyAttachments(CVBufferRef buffer, CVAttachmentMode attachmentMode);
CV_EXPORT void CVBufferSetAttachments(CVBufferRef buffer, CFDictionaryRef theAttachments,
                                      CVAttachmentMode attachmentMode);
CV_EXPORT void CVBufferPropagateAttachments(CVBufferRef sourceBuffer, CVBufferRef destinationBuffer);

CF_EXTERN_C_END

#endif

// CoreMedia attachments: keyed values hung on sample buffers and CoreVideo buffers, each
// marked as propagating to derived buffers or not.
#ifndef ZAV_PLATFORM_CMATTACHMENT_H
#define ZAV_PLATFORM_CMATTACHMENT_H

#include <CoreMedia/CMBase.h>

CF_EXTERN_C_BEGIN

typedef CFTypeRef CMAttachmentBearerRef;

typedef uint32_t CMAttachmentMode;
enum { kCMAttachmentMode_ShouldNotPropagate = 0, kCMAttachmentMode_ShouldPropagate = 1 };

// The value is retained; NULL as value removes the key.
CM_EXPORT void CMSetAttachment(CMAttachmentBearerRef target, CFStringRef key, CFTypeRef value,
                               CMAttachmentMode attachmentMode);
// Get rule: the value is not retained for the caller.
CM_EXPORT CFTypeRef CMGetAttachment(CMAttachmentBearerRef target, CFStringRef key, CMAttachmentMode* attachmentModeOut);
CM_EXPORT void CMRemoveAttachment(CMAttachmentBearerRef target, CFStringRef key);
CM_EXPORT void CMRemoveAllAttachments(CMAttachmentBearerRef target);
CM_EXPORT CFDictionaryRef CMCopyDictionaryOfAttachments(CFAllocatorRef allocator, CMAttachmentBearerRef target,
                                                        CMAttachmentMode attachmentMode);
CM_EXPORT void CMSetAttachments(CMAttachmentBearerRef target, CFDictionaryRef theAttachments,
                                CMAttachmentMode attachmentMode);
CM_EXPORT void CMPropagateAttachments(CMAttachmentBearerRef source, CMAttachmentBearerRef destination);

CF_EXTERN_C_END

#endif

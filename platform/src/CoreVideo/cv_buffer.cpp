// CVBuffer: retain and release that accept NULL, and attachments.
#include <CoreVideo/CVBuffer.h>

#include "CoreMedia/attachment_bearer.h"

using namespace zav_platform;

CVBufferRef CVBufferRetain(CVBufferRef buffer) {
    if (buffer != nullptr) CFRetain(buffer);
    return buffer;
}

void CVBufferRelease(CVBufferRef buffer) {
    if (buffer != nullptr) CFRelease(buffer);
}

void CVBufferSetAttachment(CVBufferRef buffer, CFStringRef key, CFTypeRef value, CVAttachmentMode attachmentMode) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(buffer)) bearer->set(key, value, attachmentMode);
}

CFTypeRef CVBufferGetAttachment(CVBufferRef buffer, CFStringRef key, CVAttachmentMode* attachmentMode) {
    const attachment_bearer_t* bearer = attachment_bearer_t::of(buffer);
    return bearer != nullptr ? bearer->get(key, attachmentMode) : nullptr;
}

CFTypeRef CVBufferCopyAttachment(CVBufferRef buffer, CFStringRef key, CVAttachmentMode* attachmentMode) {
    CFTypeRef value = CVBufferGetAttachment(buffer, key, attachmentMode);
    return value != nullptr ? CFRetain(value) : nullptr;
}

void CVBufferRemoveAttachment(CVBufferRef buffer, CFStringRef key) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(buffer)) bearer->remove(key);
}

void CVBufferRemoveAllAttachments(CVBufferRef buffer) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(buffer)) bearer->remove_all();
}

CFDictionaryRef CVBufferGetAttachments(CVBufferRef buffer, CVAttachmentMode attachmentMode) {
    attachment_bearer_t* bearer = attachment_bearer_t::of(buffer);
    return bearer != nullptr ? bearer->snapshot(attachmentMode) : nullptr;
}

CFDictionaryRef CVBufferCopyAttachments(CVBufferRef buffer, CVAttachmentMode attachmentMode) {
    const attachment_bearer_t* bearer = attachment_bearer_t::of(buffer);
    return bearer != nullptr ? bearer->copy_dictionary(attachmentMode) : nullptr;
}

void CVBufferSetAttachments(CVBufferRef buffer, CFDictionaryRef theAttachments, CVAttachmentMode attachmentMode) {
    CMSetAttachments(buffer, theAttachments, attachmentMode);
}

void CVBufferPropagateAttachments(CVBufferRef sourceBuffer, CVBufferRef destinationBuffer) {
    CMPropagateAttachments(sourceBuffer, destinationBuffer);
}

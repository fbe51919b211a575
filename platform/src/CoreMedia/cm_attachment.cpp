// CMAttachment calls, for every object that carries attachments.
#include <CoreMedia/CMAttachment.h>

#include "attachment_bearer.h"

using namespace zav_platform;

namespace {

struct copy_context_t {
    attachment_bearer_t* m_p_target;
    CMAttachmentMode m_mode;
};

void set_one(const void* key, const void* value, void* context) {
    auto* c = static_cast<copy_context_t*>(context);
    if (CFGetTypeID(key) == CFStringGetTypeID())
        c->m_p_target->set(static_cast<CFStringRef>(key), static_cast<CFTypeRef>(value), c->m_mode);
}

}  // namespace

void CMSetAttachment(CMAttachmentBearerRef target, CFStringRef key, CFTypeRef value, CMAttachmentMode attachmentMode) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(target)) bearer->set(key, value, attachmentMode);
}

CFTypeRef CMGetAttachment(CMAttachmentBearerRef target, CFStringRef key, CMAttachmentMode* attachmentModeOut) {
    const attachment_bearer_t* bearer = attachment_bearer_t::of(target);
    return bearer != nullptr ? bearer->get(key, attachmentModeOut) : nullptr;
}

void CMRemoveAttachment(CMAttachmentBearerRef target, CFStringRef key) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(target)) bearer->remove(key);
}

void CMRemoveAllAttachments(CMAttachmentBearerRef target) {
    if (attachment_bearer_t* bearer = attachment_bearer_t::of(target)) bearer->remove_all();
}

CFDictionaryRef CMCopyDictionaryOfAttachments(CFAllocatorRef, CMAttachmentBearerRef target,
                                              CMAttachmentMode attachmentMode) {
    const attachment_bearer_t* bearer = attachment_bearer_t::of(target);
    return bearer != nullptr ? bearer->copy_dictionary(attachmentMode) : nullptr;
}

void CMSetAttachments(CMAttachmentBearerRef target, CFDictionaryRef theAttachments, CMAttachmentMode attachmentMode) {
    attachment_bearer_t* bearer = attachment_bearer_t::of(target);
    if (bearer == nullptr || theAttachments == nullptr) return;
    copy_context_t context{bearer, attachmentMode};
    CFDictionaryApplyFunction(theAttachments, set_one, &context);
}

void CMPropagateAttachments(CMAttachmentBearerRef source, CMAttachmentBearerRef destination) {
    const attachment_bearer_t* from = attachment_bearer_t::of(source);
    attachment_bearer_t* to = attachment_bearer_t::of(destination);
    if (from == nullptr || to == nullptr || from == to) return;
    CFDictionaryRef propagated = from->copy_dictionary(kCMAttachmentMode_ShouldPropagate);
    if (propagated == nullptr) return;
    copy_context_t context{to, kCMAttachmentMode_ShouldPropagate};
    CFDictionaryApplyFunction(propagated, set_one, &context);
    CFRelease(propagated);
}

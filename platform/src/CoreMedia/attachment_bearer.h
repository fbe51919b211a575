// Objects that carry attachments (CoreVideo buffers and sample buffers): keyed values, each
// marked as propagating to derived buffers or not. Thread-safe.
#ifndef ZAV_PLATFORM_ATTACHMENT_BEARER_H
#define ZAV_PLATFORM_ATTACHMENT_BEARER_H

#include <CoreMedia/CMAttachment.h>

#include "CoreFoundation/cf_object.h"

#include <mutex>
#include <vector>

namespace zav_platform {

class attachment_bearer_t : public cf_object_t {
public:
    explicit attachment_bearer_t(CFTypeID type_id) : cf_object_t(type_id) {}
    ~attachment_bearer_t() override;

    // The value and a copy of the key are retained; a null value removes the key.
    void set(CFStringRef key, CFTypeRef value, CMAttachmentMode mode);
    // Not retained for the caller.
    CFTypeRef get(CFStringRef key, CMAttachmentMode* mode) const;
    void remove(CFStringRef key);
    void remove_all();
    // A new dictionary of the attachments with `mode`, or null when there are none.
    CFDictionaryRef copy_dictionary(CMAttachmentMode mode) const;
    // The same dictionary kept by the bearer (Get rule): valid until the next snapshot of that
    // mode or the bearer's end.
    CFDictionaryRef snapshot(CMAttachmentMode mode);

    // The bearer behind a reference, or null when it carries no attachments.
    static attachment_bearer_t* of(CFTypeRef ref);

private:
    struct attachment_t {
        CFStringRef m_p_key;
        CFTypeRef m_p_value;
        CMAttachmentMode m_mode;
    };

    std::vector<attachment_t>::iterator find(CFStringRef key);

    mutable std::mutex m_mutex;
    std::vector<attachment_t> m_attachments;
    CFDictionaryRef m_p_snapshots[2] = {nullptr, nullptr};
};

}  // namespace zav_platform

#endif

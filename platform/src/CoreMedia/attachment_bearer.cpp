#include "attachment_bearer.h"

#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

namespace zav_platform {

attachment_bearer_t::~attachment_bearer_t() {
    remove_all();
    for (CFDictionaryRef snapshot : m_p_snapshots)
        if (snapshot != nullptr) CFRelease(snapshot);
}

std::vector<attachment_bearer_t::attachment_t>::iterator attachment_bearer_t::find(CFStringRef key) {
    for (auto it = m_attachments.begin(); it != m_attachments.end(); ++it)
        if (CFEqual(it->m_p_key, key)) return it;
    return m_attachments.end();
}

void attachment_bearer_t::set(CFStringRef key, CFTypeRef value, CMAttachmentMode mode) {
    if (key == nullptr) return;
    if (value == nullptr) {
        remove(key);
        return;
    }
    CFRetain(value);
    CFTypeRef old_value = nullptr;
    CFStringRef new_key = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = find(key);
        if (it != m_attachments.end()) {
            old_value = it->m_p_value;
            it->m_p_value = value;
            it->m_mode = mode;
        } else {
            new_key = CFStringCreateCopy(nullptr, key);
            m_attachments.push_back(attachment_t{new_key, value, mode});
        }
    }
    // Released outside the lock: a release may run arbitrary destruction.
    if (old_value != nullptr) CFRelease(old_value);
}

CFTypeRef attachment_bearer_t::get(CFStringRef key, CMAttachmentMode* mode) const {
    if (key == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = const_cast<attachment_bearer_t*>(this)->find(key);
    if (it == m_attachments.end()) return nullptr;
    if (mode != nullptr) *mode = it->m_mode;
    return it->m_p_value;
}

void attachment_bearer_t::remove(CFStringRef key) {
    if (key == nullptr) return;
    attachment_t removed{nullptr, nullptr, 0};
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = find(key);
        if (it == m_attachments.end()) return;
        removed = *it;
        m_attachments.erase(it);
    }
    CFRelease(removed.m_p_key);
    CFRelease(removed.m_p_value);
}

void attachment_bearer_t::remove_all() {
    std::vector<attachment_t> removed;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        removed.swap(m_attachments);
    }
    for (const attachment_t& a : removed) {
        CFRelease(a.m_p_key);
        CFRelease(a.m_p_value);
    }
}

CFDictionaryRef attachment_bearer_t::copy_dictionary(CMAttachmentMode mode) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    CFMutableDictionaryRef dictionary = nullptr;
    for (const attachment_t& a : m_attachments) {
        if (a.m_mode != mode) continue;
        if (dictionary == nullptr)
            dictionary =
                CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
        CFDictionarySetValue(dictionary, a.m_p_key, a.m_p_value);
    }
    return dictionary;
}

CFDictionaryRef attachment_bearer_t::snapshot(CMAttachmentMode mode) {
    const std::size_t slot = mode == kCMAttachmentMode_ShouldPropagate ? 1 : 0;
    CFDictionaryRef fresh = copy_dictionary(mode);
    CFDictionaryRef old = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        old = m_p_snapshots[slot];
        m_p_snapshots[slot] = fresh;
    }
    if (old != nullptr) CFRelease(old);
    return fresh;
}

attachment_bearer_t* attachment_bearer_t::of(CFTypeRef ref) {
    return ref != nullptr ? dynamic_cast<attachment_bearer_t*>(cf_object(ref)) : nullptr;
}

}  // namespace zav_platform

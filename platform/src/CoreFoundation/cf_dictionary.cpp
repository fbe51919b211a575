// CFDictionary: key-value pairs managed through the key and value callbacks. Without
// callbacks, keys are compared and hashed as pointers and nothing is retained.
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

#include "cf_object.h"
#include "cf_type_callbacks.h"

#include <cstdio>
#include <string>
#include <vector>

using namespace zav_platform;

namespace {

const void* copy_string(CFAllocatorRef allocator, const void* value) {
    return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
}

class cf_dictionary_t final : public cf_object_t {
public:
    struct entry_t {
        CFHashCode m_hash;
        const void* m_p_key;
        const void* m_p_value;
    };

    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFDictionary");
        return id;
    }
    cf_dictionary_t(const CFDictionaryKeyCallBacks* keys, const CFDictionaryValueCallBacks* values, bool is_mutable)
        : cf_object_t(class_type_id()),
          m_keys(keys != nullptr ? *keys : CFDictionaryKeyCallBacks{}),
          m_values(values != nullptr ? *values : CFDictionaryValueCallBacks{}),
          m_mutable(is_mutable) {}
    ~cf_dictionary_t() override { clear(); }

    const CFDictionaryKeyCallBacks& key_callbacks() const { return m_keys; }
    const CFDictionaryValueCallBacks& value_callbacks() const { return m_values; }
    bool is_mutable() const { return m_mutable; }
    const std::vector<entry_t>& entries() const { return m_entries; }

    CFHashCode hash_of(const void* key) const {
        return m_keys.hash != nullptr ? m_keys.hash(key) : reinterpret_cast<CFHashCode>(key);
    }
    bool keys_equal(const void* a, const void* b) const {
        return a == b || (m_keys.equal != nullptr && m_keys.equal(a, b));
    }
    bool values_equal(const void* a, const void* b) const {
        return a == b || (m_values.equal != nullptr && m_values.equal(a, b));
    }

    const entry_t* find(const void* key) const {
        const CFHashCode h = hash_of(key);
        for (const entry_t& e : m_entries)
            if (e.m_hash == h && keys_equal(e.m_p_key, key)) return &e;
        return nullptr;
    }
    entry_t* find(const void* key) {
        return const_cast<entry_t*>(static_cast<const cf_dictionary_t*>(this)->find(key));
    }

    // add: only when absent; replace: only when present; set: either.
    void put(const void* key, const void* value, bool add, bool replace) {
        if (entry_t* existing = find(key)) {
            if (!replace) return;
            const void* old = existing->m_p_value;
            existing->m_p_value = retain_value(value);
            release_value(old);
            return;
        }
        if (!add) return;
        m_entries.push_back(entry_t{hash_of(key), retain_key(key), retain_value(value)});
    }
    void remove(const void* key) {
        for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
            if (it->m_hash == hash_of(key) && keys_equal(it->m_p_key, key)) {
                const entry_t old = *it;
                m_entries.erase(it);
                release_key(old.m_p_key);
                release_value(old.m_p_value);
                return;
            }
        }
    }
    void clear() {
        std::vector<entry_t> old;
        old.swap(m_entries);
        for (const entry_t& e : old) {
            release_key(e.m_p_key);
            release_value(e.m_p_value);
        }
    }

    bool equal_to(const cf_object_t& other) const override {
        const auto& that = static_cast<const cf_dictionary_t&>(other);
        if (m_entries.size() != that.m_entries.size()) return false;
        for (const entry_t& e : m_entries) {
            const entry_t* match = that.find(e.m_p_key);
            if (match == nullptr || !values_equal(e.m_p_value, match->m_p_value)) return false;
        }
        return true;
    }
    CFHashCode hash() const override { return m_entries.size(); }
    std::string description() const override {
        std::string text = "{";
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            if (i > 0) text += "; ";
            text += describe(m_keys.copyDescription, m_entries[i].m_p_key) + " = " +
                    describe(m_values.copyDescription, m_entries[i].m_p_value);
        }
        return text + "}";
    }

private:
    const void* retain_key(const void* key) const {
        return m_keys.retain != nullptr ? m_keys.retain(nullptr, key) : key;
    }
    void release_key(const void* key) const {
        if (m_keys.release != nullptr) m_keys.release(nullptr, key);
    }
    const void* retain_value(const void* value) const {
        return m_values.retain != nullptr ? m_values.retain(nullptr, value) : value;
    }
    void release_value(const void* value) const {
        if (m_values.release != nullptr) m_values.release(nullptr, value);
    }
    static std::string describe(CFDictionaryCopyDescriptionCallBack callback, const void* value) {
        if (callback != nullptr) {
            if (CFStringRef described = callback(value)) {
                std::string text = cf_object(described)->description();
                CFRelease(described);
                return text;
            }
        }
        char pointer[32];
        std::snprintf(pointer, sizeof pointer, "%p", value);
        return pointer;
    }

    const CFDictionaryKeyCallBacks m_keys;
    const CFDictionaryValueCallBacks m_values;
    const bool m_mutable;
    std::vector<entry_t> m_entries;
};

const cf_dictionary_t& dictionary_of(CFDictionaryRef ref, const char* call) {
    return cf_require<cf_dictionary_t>(ref, call);
}

cf_dictionary_t& mutable_dictionary_of(CFMutableDictionaryRef ref, const char* call) {
    return cf_require_mutable<cf_dictionary_t>(ref, call);
}

cf_dictionary_t* copy_of(const cf_dictionary_t& source, bool is_mutable) {
    auto* copy = new cf_dictionary_t(&source.key_callbacks(), &source.value_callbacks(), is_mutable);
    for (const auto& e : source.entries()) copy->put(e.m_p_key, e.m_p_value, true, false);
    return copy;
}

}  // namespace

namespace callbacks = cf_type_callbacks;
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, callbacks::retain, callbacks::release, callbacks::describe, callbacks::equal, callbacks::hash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, copy_string, callbacks::release, callbacks::describe, callbacks::equal, callbacks::hash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, callbacks::retain, callbacks::release,
                                                                    callbacks::describe, callbacks::equal};

CFTypeID CFDictionaryGetTypeID(void) {
    return cf_dictionary_t::class_type_id();
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    if (numValues < 0 || (numValues > 0 && (keys == nullptr || values == nullptr))) return nullptr;
    auto* dictionary = new cf_dictionary_t(keyCallBacks, valueCallBacks, false);
    // A repeated key keeps the last value, as if the pairs were set in order.
    for (CFIndex i = 0; i < numValues; ++i) dictionary->put(keys[i], values[i], true, true);
    return cf_ref<CFDictionaryRef>(dictionary);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict) {
    return cf_ref<CFDictionaryRef>(copy_of(dictionary_of(theDict, "CFDictionaryCreateCopy: not a dictionary"), false));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    if (capacity < 0) return nullptr;
    return cf_ref<CFMutableDictionaryRef>(new cf_dictionary_t(keyCallBacks, valueCallBacks, true));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDictionaryRef theDict) {
    const cf_dictionary_t& source = dictionary_of(theDict, "CFDictionaryCreateMutableCopy: not a dictionary");
    if (capacity < 0) return nullptr;
    return cf_ref<CFMutableDictionaryRef>(copy_of(source, true));
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
    return static_cast<CFIndex>(dictionary_of(theDict, "CFDictionaryGetCount: not a dictionary").entries().size());
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key) {
    return CFDictionaryContainsKey(theDict, key) ? 1 : 0;
}

CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value) {
    const cf_dictionary_t& dictionary = dictionary_of(theDict, "CFDictionaryGetCountOfValue: not a dictionary");
    CFIndex count = 0;
    for (const auto& e : dictionary.entries())
        if (dictionary.values_equal(e.m_p_value, value)) ++count;
    return count;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
    return dictionary_of(theDict, "CFDictionaryContainsKey: not a dictionary").find(key) != nullptr;
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
    return CFDictionaryGetCountOfValue(theDict, value) > 0;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
    const auto* e = dictionary_of(theDict, "CFDictionaryGetValue: not a dictionary").find(key);
    return e != nullptr ? e->m_p_value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
    const auto* e = dictionary_of(theDict, "CFDictionaryGetValueIfPresent: not a dictionary").find(key);
    if (e == nullptr) return false;
    if (value != nullptr) *value = e->m_p_value;
    return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
    const cf_dictionary_t& dictionary = dictionary_of(theDict, "CFDictionaryGetKeysAndValues: not a dictionary");
    std::size_t i = 0;
    for (const auto& e : dictionary.entries()) {
        if (keys != nullptr) keys[i] = e.m_p_key;
        if (values != nullptr) values[i] = e.m_p_value;
        ++i;
    }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context) {
    const cf_dictionary_t& dictionary = dictionary_of(theDict, "CFDictionaryApplyFunction: not a dictionary");
    if (applier == nullptr) return;
    for (const auto& e : dictionary.entries()) applier(e.m_p_key, e.m_p_value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    mutable_dictionary_of(theDict, "CFDictionaryAddValue: not a mutable dictionary").put(key, value, true, false);
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    mutable_dictionary_of(theDict, "CFDictionarySetValue: not a mutable dictionary").put(key, value, true, true);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
    mutable_dictionary_of(theDict, "CFDictionaryReplaceValue: not a mutable dictionary").put(key, value, false, true);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
    mutable_dictionary_of(theDict, "CFDictionaryRemoveValue: not a mutable dictionary").remove(key);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
    mutable_dictionary_of(theDict, "CFDictionaryRemoveAllValues: not a mutable dictionary").clear();
}

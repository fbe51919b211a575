// CFArray: values kept in order and managed through the array's callbacks. An array made with
// no callbacks stores plain pointers: it neither retains nor releases them.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFString.h>

#include "cf_object.h"
#include "cf_type_callbacks.h"

#include <cstdio>
#include <string>
#include <vector>

using namespace zav_platform;

namespace {

class cf_array_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CFArray");
        return id;
    }
    cf_array_t(const CFArrayCallBacks* callbacks, bool is_mutable)
        : cf_object_t(class_type_id()),
          m_callbacks(callbacks != nullptr ? *callbacks : CFArrayCallBacks{}),
          m_mutable(is_mutable) {}
    ~cf_array_t() override {
        for (const void* value : m_values) release(value);
    }

    const CFArrayCallBacks& callbacks() const { return m_callbacks; }
    bool is_mutable() const { return m_mutable; }
    std::vector<const void*>& values() { return m_values; }
    const std::vector<const void*>& values() const { return m_values; }

    const void* retain(const void* value) const {
        return m_callbacks.retain != nullptr ? m_callbacks.retain(nullptr, value) : value;
    }
    void release(const void* value) const {
        if (m_callbacks.release != nullptr) m_callbacks.release(nullptr, value);
    }
    bool values_equal(const void* a, const void* b) const {
        if (a == b) return true;
        return m_callbacks.equal != nullptr && m_callbacks.equal(a, b);
    }

    bool equal_to(const cf_object_t& other) const override {
        const auto& that = static_cast<const cf_array_t&>(other);
        if (m_values.size() != that.m_values.size()) return false;
        for (std::size_t i = 0; i < m_values.size(); ++i)
            if (!values_equal(m_values[i], that.m_values[i])) return false;
        return true;
    }
    CFHashCode hash() const override { return m_values.size(); }
    std::string description() const override {
        std::string text = "(";
        for (std::size_t i = 0; i < m_values.size(); ++i) {
            if (i > 0) text += ", ";
            if (m_callbacks.copyDescription != nullptr) {
                CFStringRef described = m_callbacks.copyDescription(m_values[i]);
                if (described != nullptr) {
                    text += cf_object(described)->description();
                    CFRelease(described);
                    continue;
                }
            }
            char pointer[32];
            std::snprintf(pointer, sizeof pointer, "%p", m_values[i]);
            text += pointer;
        }
        return text + ")";
    }

private:
    const CFArrayCallBacks m_callbacks;
    const bool m_mutable;
    std::vector<const void*> m_values;
};

const cf_array_t& array_of(CFArrayRef ref, const char* call) {
    return cf_require<cf_array_t>(ref, call);
}

cf_array_t& mutable_array_of(CFMutableArrayRef ref, const char* call) {
    return cf_require_mutable<cf_array_t>(ref, call);
}

void check_range(const cf_array_t& array, CFRange range, const char* call) {
    if (range.location < 0 || range.length < 0 ||
        static_cast<std::size_t>(range.location + range.length) > array.values().size())
        cf_fatal(call);
}

}  // namespace

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, cf_type_callbacks::retain, cf_type_callbacks::release,
                                                cf_type_callbacks::describe, cf_type_callbacks::equal};

CFTypeID CFArrayGetTypeID(void) {
    return cf_array_t::class_type_id();
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues, const CFArrayCallBacks* callBacks) {
    if (numValues < 0 || (numValues > 0 && values == nullptr)) return nullptr;
    auto* array = new cf_array_t(callBacks, false);
    array->values().reserve(static_cast<std::size_t>(numValues));
    for (CFIndex i = 0; i < numValues; ++i) array->values().push_back(array->retain(values[i]));
    return cf_ref<CFArrayRef>(array);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray) {
    const cf_array_t& source = array_of(theArray, "CFArrayCreateCopy: not an array");
    auto* array = new cf_array_t(&source.callbacks(), false);
    for (const void* value : source.values()) array->values().push_back(array->retain(value));
    return cf_ref<CFArrayRef>(array);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity, const CFArrayCallBacks* callBacks) {
    if (capacity < 0) return nullptr;
    return cf_ref<CFMutableArrayRef>(new cf_array_t(callBacks, true));
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef theArray) {
    const cf_array_t& source = array_of(theArray, "CFArrayCreateMutableCopy: not an array");
    if (capacity < 0 || (capacity > 0 && static_cast<std::size_t>(capacity) < source.values().size())) return nullptr;
    auto* array = new cf_array_t(&source.callbacks(), true);
    for (const void* value : source.values()) array->values().push_back(array->retain(value));
    return cf_ref<CFMutableArrayRef>(array);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
    return static_cast<CFIndex>(array_of(theArray, "CFArrayGetCount: not an array").values().size());
}

CFIndex CFArrayGetCountOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    const cf_array_t& array = array_of(theArray, "CFArrayGetCountOfValue: not an array");
    check_range(array, range, "CFArrayGetCountOfValue: range out of bounds");
    CFIndex count = 0;
    for (CFIndex i = range.location; i < range.location + range.length; ++i)
        if (array.values_equal(array.values()[static_cast<std::size_t>(i)], value)) ++count;
    return count;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value) {
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
    const cf_array_t& array = array_of(theArray, "CFArrayGetValueAtIndex: not an array");
    if (idx < 0 || static_cast<std::size_t>(idx) >= array.values().size())
        cf_fatal("CFArrayGetValueAtIndex: index out of bounds");
    return array.values()[static_cast<std::size_t>(idx)];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values) {
    const cf_array_t& array = array_of(theArray, "CFArrayGetValues: not an array");
    check_range(array, range, "CFArrayGetValues: range out of bounds");
    for (CFIndex i = 0; i < range.length; ++i) values[i] = array.values()[static_cast<std::size_t>(range.location + i)];
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context) {
    const cf_array_t& array = array_of(theArray, "CFArrayApplyFunction: not an array");
    check_range(array, range, "CFArrayApplyFunction: range out of bounds");
    if (applier == nullptr) return;
    for (CFIndex i = range.location; i < range.location + range.length; ++i)
        applier(array.values()[static_cast<std::size_t>(i)], context);
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    const cf_array_t& array = array_of(theArray, "CFArrayGetFirstIndexOfValue: not an array");
    check_range(array, range, "CFArrayGetFirstIndexOfValue: range out of bounds");
    for (CFIndex i = range.location; i < range.location + range.length; ++i)
        if (array.values_equal(array.values()[static_cast<std::size_t>(i)], value)) return i;
    return kCFNotFound;
}

CFIndex CFArrayGetLastIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
    const cf_array_t& array = array_of(theArray, "CFArrayGetLastIndexOfValue: not an array");
    check_range(array, range, "CFArrayGetLastIndexOfValue: range out of bounds");
    for (CFIndex i = range.location + range.length - 1; i >= range.location; --i)
        if (array.values_equal(array.values()[static_cast<std::size_t>(i)], value)) return i;
    return kCFNotFound;
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayAppendValue: not a mutable array");
    array.values().push_back(array.retain(value));
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayInsertValueAtIndex: not a mutable array");
    if (idx < 0 || static_cast<std::size_t>(idx) > array.values().size())
        cf_fatal("CFArrayInsertValueAtIndex: index out of bounds");
    array.values().insert(array.values().begin() + idx, array.retain(value));
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
    cf_array_t& array = mutable_array_of(theArray, "CFArraySetValueAtIndex: not a mutable array");
    if (idx < 0 || static_cast<std::size_t>(idx) > array.values().size())
        cf_fatal("CFArraySetValueAtIndex: index out of bounds");
    if (static_cast<std::size_t>(idx) == array.values().size()) {
        array.values().push_back(array.retain(value));
        return;
    }
    const void* old = array.values()[static_cast<std::size_t>(idx)];
    array.values()[static_cast<std::size_t>(idx)] = array.retain(value);
    array.release(old);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayRemoveValueAtIndex: not a mutable array");
    if (idx < 0 || static_cast<std::size_t>(idx) >= array.values().size())
        cf_fatal("CFArrayRemoveValueAtIndex: index out of bounds");
    const void* old = array.values()[static_cast<std::size_t>(idx)];
    array.values().erase(array.values().begin() + idx);
    array.release(old);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayRemoveAllValues: not a mutable array");
    std::vector<const void*> old;
    old.swap(array.values());
    for (const void* value : old) array.release(value);
}

void CFArrayExchangeValuesAtIndices(CFMutableArrayRef theArray, CFIndex idx1, CFIndex idx2) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayExchangeValuesAtIndices: not a mutable array");
    const auto size = static_cast<CFIndex>(array.values().size());
    if (idx1 < 0 || idx2 < 0 || idx1 >= size || idx2 >= size) cf_fatal("CFArrayExchangeValuesAtIndices: out of bounds");
    std::swap(array.values()[static_cast<std::size_t>(idx1)], array.values()[static_cast<std::size_t>(idx2)]);
}

void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange) {
    cf_array_t& array = mutable_array_of(theArray, "CFArrayAppendArray: not a mutable array");
    const cf_array_t& other = array_of(otherArray, "CFArrayAppendArray: not an array");
    check_range(other, otherRange, "CFArrayAppendArray: range out of bounds");
    // Copied first: the other array may be this one.
    const std::vector<const void*> added(other.values().begin() + otherRange.location,
                                         other.values().begin() + otherRange.location + otherRange.length);
    for (const void* value : added) array.values().push_back(array.retain(value));
}

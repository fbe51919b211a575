#include "host/object_base.h"

#include "host/cmio_object.h"
#include "host/property_helpers.h"
#include "host/string_utils.h"
#include "host/zav_log.h"

#include <cstring>
#include <string>

namespace Drivers::Mac::ZAV {

namespace {

// The maker the base answers for every object.
constexpr const char* k_manufacturer = "Mivora";

}  // namespace

object_base_t<CMIOObjectPropertyAddress>::object_base_t(CMIOClassID class_id, owner_t* owner)
    : m_class_id(class_id), m_p_owner(owner) {
    if (m_p_owner != nullptr) {
        object_base_t* const owner_base = m_p_owner;
        std::lock_guard<std::mutex> lock(owner_base->m_mutex);
        owner_base->m_owned_objects.push_back(this);
    }
}

object_base_t<CMIOObjectPropertyAddress>::~object_base_t() {
    if (m_p_owner != nullptr) {
        object_base_t* const owner_base = m_p_owner;
        std::lock_guard<std::mutex> lock(owner_base->m_mutex);
        owner_base->m_owned_objects.remove(this);
    }
    m_owned_objects.clear();
}

CMIOObjectPropertyScope object_base_t<CMIOObjectPropertyAddress>::get_scope() const {
    return kCMIOObjectPropertyScopeGlobal;
}

bool object_base_t<CMIOObjectPropertyAddress>::has_property(const address_t& address) const {
    Boolean is_settable = false;
    return has_property(address, is_settable);
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::get_property_data_size(const address_t& address,
                                                                          UInt32 qualifier_data_size,
                                                                          const void* qualifier_data,
                                                                          UInt32* data_size) {
    return get_property(address, qualifier_data_size, qualifier_data, 0, data_size, nullptr);
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::get_property_data(const address_t& address,
                                                                     UInt32 qualifier_data_size,
                                                                     const void* qualifier_data, UInt32 data_size,
                                                                     UInt32* data_used, void* data) {
    return get_property(address, qualifier_data_size, qualifier_data, data_size, data_used, data);
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::can_set_property(const address_t& address,
                                                                    Boolean* is_settable) const {
    // The host always passes a flag; a missing one is answered into a scratch flag.
    Boolean scratch = false;
    Boolean& flag = is_settable != nullptr ? *is_settable : scratch;
    return has_property(address, flag) ? kCMIOHardwareNoError : kCMIOHardwareUnknownPropertyError;
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::set_property(const address_t& address,
                                                                UInt32 /*qualifier_data_size*/,
                                                                const void* /*qualifier_data*/, UInt32 /*data_size*/,
                                                                const void* /*data*/, bool& changed) {
    changed = false;
    switch (address.mSelector) {
        case kCMIOObjectPropertyListenerAdded:
        case kCMIOObjectPropertyListenerRemoved:
            // Listeners are kept by the host; nothing to record here.
            return kCMIOHardwareNoError;
        default:
            zav_log("set_property : unkwown property %s", fourCC_to_string(address.mSelector).c_str());
            return kCMIOHardwareUnknownPropertyError;
    }
}

bool object_base_t<CMIOObjectPropertyAddress>::has_property(const address_t& address, Boolean& is_settable) const {
    switch (address.mSelector) {
        case kCMIOObjectPropertyClass:
        case kCMIOObjectPropertyOwner:
        case kCMIOObjectPropertyOwnedObjects:
        case kCMIOObjectPropertyManufacturer:
            is_settable = false;
            return true;
        case kCMIOObjectPropertyListenerAdded:
        case kCMIOObjectPropertyListenerRemoved:
            is_settable = true;
            return true;
        default:
            is_settable = false;
            zav_log("has_property : unkwown property %s", fourCC_to_string(address.mSelector).c_str());
            return false;
    }
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::get_property(const address_t& address, UInt32 qualifier_data_size,
                                                                const void* qualifier_data, UInt32 data_size,
                                                                UInt32* data_used, void* data) {
    switch (address.mSelector) {
        case kCMIOObjectPropertyClass:
            zav_log("get_property for kObjectPropertyClass");
            return get_property_value<CMIOClassID>(data_size, data_used, data, m_class_id);
        case kCMIOObjectPropertyOwner:
            zav_log("get_property for kObjectPropertyOwner");
            return get_property_value<CMIOObjectID>(data_size, data_used, data, get_owner_id());
        case kCMIOObjectPropertyOwnedObjects:
            return get_owned_objects(address, qualifier_data_size, qualifier_data, data_size, data_used, data);
        case kCMIOObjectPropertyManufacturer:
            // A new string for the caller, who releases it.
            return get_property_helper<CFStringRef>(data_size, data_used, data,
                                                    [] { return create_string_ref(k_manufacturer); });
        case kCMIOObjectPropertyListenerAdded:
        case kCMIOObjectPropertyListenerRemoved:
            // Answered without a value, not even a size.
            return kCMIOHardwareNoError;
        default:
            zav_log("get_property : unkwown property %s", fourCC_to_string(address.mSelector).c_str());
            return kCMIOHardwareUnknownPropertyError;
    }
}

bool object_base_t<CMIOObjectPropertyAddress>::changed_properties(UInt32 /*count*/, const address_t* /*addresses*/) {
    // Only objects known to the host can report changes; the base is not one of them.
    zav_log("object_base_t::changed_properties illegally called!");
    return false;
}

bool object_base_t<CMIOObjectPropertyAddress>::is_class(CMIOClassID class_id) const {
    // The second test looks at this object's class, not at the one asked for: an object of the
    // generic class answers to every class.
    return m_class_id == class_id || m_class_id == kCMIOObjectClassID;
}

CMIOObjectID object_base_t<CMIOObjectPropertyAddress>::get_owner_id() const {
    if (m_p_owner == nullptr) return kCMIOObjectSystemObject;
    const object_base_t* const owner_base = m_p_owner;
    return owner_base->m_object_id;
}

object_base_t<CMIOObjectPropertyAddress>* object_base_t<CMIOObjectPropertyAddress>::find_object(
    CMIOObjectID object_id) {
    if (m_object_id == object_id) return this;
    for (object_base_t* child : m_owned_objects) {
        if (object_base_t* found = child->find_object(object_id)) return found;
    }
    return nullptr;
}

OSStatus object_base_t<CMIOObjectPropertyAddress>::get_owned_objects(const address_t& address,
                                                                     UInt32 qualifier_data_size,
                                                                     const void* qualifier_data, UInt32 data_size,
                                                                     UInt32* data_used, void* data) {
    const UInt32 capacity = data_size / sizeof(CMIOObjectID);
    const UInt32 filter_count = qualifier_data_size / sizeof(CMIOClassID);
    const bool filter_by_class = filter_count != 0 && qualifier_data != nullptr;
    // The host's buffers need not be aligned for 32-bit access, so they are copied bytewise.
    const auto* const filter = static_cast<const unsigned char*>(qualifier_data);
    auto* const ids = static_cast<unsigned char*>(data);
    const std::string own_class = fourCC_to_string(m_class_id);
    UInt32 count = 0;

    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const object_base_t* child : m_owned_objects) {
            if (address.mScope != kCMIOObjectPropertyScopeGlobal && child->get_scope() != address.mScope) {
                zav_log("get_property for kCMIOObjectPropertyOwnedObjects called on %s with scope %s excluding item",
                        own_class.c_str(), fourCC_to_string(address.mScope).c_str());
                continue;
            }
            if (filter_by_class) {
                bool matched = false;
                for (UInt32 i = 0; i < filter_count && !matched; ++i) {
                    CMIOClassID class_id = 0;
                    std::memcpy(&class_id, filter + i * sizeof(CMIOClassID), sizeof(CMIOClassID));
                    zav_log("get_property for kCMIOObjectPropertyOwnedObjects called on %s for %s", own_class.c_str(),
                            fourCC_to_string(class_id).c_str());
                    matched = child->is_class(class_id);
                }
                if (!matched) continue;
            } else {
                zav_log("get_property for kCMIOObjectPropertyOwnedObjects called on %s", own_class.c_str());
            }
            if (ids != nullptr) {
                // Compared this way on purpose: with the count starting at 0, any fetch with a
                // buffer stops at the first matching child, while a size query counts them all.
                if (capacity >= count) {
                    zav_log("get_property for kCMIOObjectPropertyOwnedObjects insufficient capacity");
                    break;
                }
                std::memcpy(ids + count * sizeof(CMIOObjectID), &child->m_object_id, sizeof(CMIOObjectID));
            }
            ++count;
        }
    }

    if (data_used != nullptr) *data_used = count * sizeof(CMIOObjectID);
    return kCMIOHardwareNoError;
}

}  // namespace Drivers::Mac::ZAV

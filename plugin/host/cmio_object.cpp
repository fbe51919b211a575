#include "host/cmio_object.h"

#include "host/string_utils.h"
#include "host/zav_log.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

cmio_object_t::cmio_object_t(CMIOClassID class_id, cmio_object_t* owner)
    : object_base_t(class_id, owner), m_plugin_ref(owner != nullptr ? owner->get_plugin_ref() : nullptr) {}

cmio_object_t::cmio_object_t(CMIOClassID class_id, CMIOHardwarePlugInRef plugin_ref)
    : object_base_t(class_id, nullptr), m_plugin_ref(plugin_ref) {}

cmio_object_t::~cmio_object_t() {
    if (m_published) {
        zav_log("cmio_object_t object should be unpublished before destroyed");
        unpublish();
    }
}

bool cmio_object_t::has_property(const address_t& address) const {
    if (!m_published) {
        zav_log("has_property : called when not published %s", fourCC_to_string(address.mSelector).c_str());
        return false;
    }
    return object_base_t::has_property(address);
}

OSStatus cmio_object_t::get_property_data_size(const address_t& address, UInt32 qualifier_data_size,
                                               const void* qualifier_data, UInt32* data_size) {
    if (!m_published) {
        zav_log("get_property_data_size : called when not published %s", fourCC_to_string(address.mSelector).c_str());
        return kCMIOHardwareUnspecifiedError;
    }
    return object_base_t::get_property_data_size(address, qualifier_data_size, qualifier_data, data_size);
}

OSStatus cmio_object_t::get_property_data(const address_t& address, UInt32 qualifier_data_size,
                                          const void* qualifier_data, UInt32 data_size, UInt32* data_used, void* data) {
    if (!m_published) {
        zav_log("get_property_data : called when not published %s", fourCC_to_string(address.mSelector).c_str());
        return kCMIOHardwareUnspecifiedError;
    }
    return object_base_t::get_property_data(address, qualifier_data_size, qualifier_data, data_size, data_used, data);
}

OSStatus cmio_object_t::can_set_property(const address_t& address, Boolean* is_settable) const {
    if (!m_published) {
        zav_log("can_set_property : called when not published %s", fourCC_to_string(address.mSelector).c_str());
        return kCMIOHardwareUnspecifiedError;
    }
    return object_base_t::can_set_property(address, is_settable);
}

bool cmio_object_t::changed_properties(UInt32 count, const address_t* addresses) {
    return CMIOObjectPropertiesChanged(m_plugin_ref, m_object_id, count, addresses) == kCMIOHardwareNoError;
}

bool cmio_object_t::cmio_object_create() {
    if (m_object_id != 0) return false;
    CMIOObjectID new_id = 0;
    if (CMIOObjectCreate(m_plugin_ref, get_owner_id(), m_class_id, &new_id) != kCMIOHardwareNoError) return false;
    m_object_id = new_id;
    return true;
}

bool cmio_object_t::publish() {
    if (m_object_id == 0) return false;
    // Marked before the host is told, so that property requests the host makes while
    // publishing are answered.
    m_published.exchange(true);
    const OSStatus status = CMIOObjectsPublishedAndDied(m_plugin_ref, get_owner_id(), 1, &m_object_id, 0, nullptr);
    if (status != kCMIOHardwareNoError) {
        zav_log("Unexpected failure to publish a cmio object");
        return false;
    }
    return true;
}

bool cmio_object_t::unpublish() {
    if (m_object_id == 0) return true;
    const OSStatus status = CMIOObjectsPublishedAndDied(m_plugin_ref, get_owner_id(), 0, nullptr, 1, &m_object_id);
    m_published.exchange(false);
    m_object_id = 0;
    return status == kCMIOHardwareNoError;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#include "host/plugin.h"

#include "host/cf_ref.h"
#include "host/zav_log.h"
#include "objects/simple_input_device.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

plugin_t::plugin_t(CMIOHardwarePlugInInterface* interface)
    : object_base_t(kCMIOPlugInClassID, nullptr), m_reference{interface, this} {}

plugin_t::~plugin_t() {
    delete m_reference.m_p_interface;
    m_reference.m_p_interface = nullptr;
}

plugin_t* plugin_t::get_instance(CMIOHardwarePlugInRef ref) {
    return reinterpret_cast<reference_t*>(ref)->m_p_instance;
}

HRESULT plugin_t::QueryInterface(CFUUIDBytes iid, void** out) {
    if (out == nullptr) return E_POINTER;
    const cf_ref_t<CFUUIDRef> asked(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, iid));
    if (!asked) return kCMIOHardwareIllegalOperationError;
    if (CFEqual(asked.get(), kCMIOHardwarePlugInInterfaceID) || CFEqual(asked.get(), IUnknownUUID)) {
        AddRef();
        *out = get_plugin_ref();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG plugin_t::AddRef() {
    return m_ref_count.fetch_add(1) + 1;
}

ULONG plugin_t::Release() {
    const uint32_t before = m_ref_count.fetch_sub(1);
    if (before == 1) delete this;
    return before - 1;
}

OSStatus plugin_t::InitializeWithObjectID(CMIOObjectID object_id) {
    m_object_id = object_id;
    m_device = std::make_shared<simple_input_device_t>(get_plugin_ref());
    m_device->init_stream();
    m_device->publish();
    return kCMIOHardwareNoError;
}

OSStatus plugin_t::Teardown() {
    // The device stays until the last Release; the host may still ask about it.
    zav_log("Plugin Teardown called");
    return kCMIOHardwareNoError;
}

void plugin_t::ObjectShow(CMIOObjectID /*object_id*/) {
    zav_log("Plugin ObjectShow called");
}

auto plugin_t::lookup(CMIOObjectID object_id) -> object_base_t* {
    if (object_base_t* found = find_object(object_id)) return found;
    if (m_device) return m_device->find_object(object_id);
    zav_log("object lookup failed for object_id %d", static_cast<int>(object_id));
    return nullptr;
}

Boolean plugin_t::ObjectHasProperty(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address) {
    object_base_t* const object = lookup(object_id);
    return object != nullptr && object->has_property(*address);
}

OSStatus plugin_t::ObjectIsPropertySettable(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                            Boolean* is_settable) {
    object_base_t* const object = lookup(object_id);
    if (object == nullptr) return kCMIOHardwareUnspecifiedError;
    return object->can_set_property(*address, is_settable);
}

OSStatus plugin_t::ObjectGetPropertyDataSize(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                             UInt32 qualifier_data_size, const void* qualifier_data,
                                             UInt32* data_size) {
    object_base_t* const object = lookup(object_id);
    if (object == nullptr) return kCMIOHardwareUnspecifiedError;
    return object->get_property_data_size(*address, qualifier_data_size, qualifier_data, data_size);
}

OSStatus plugin_t::ObjectGetPropertyData(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                         UInt32 qualifier_data_size, const void* qualifier_data, UInt32 data_size,
                                         UInt32* data_used, void* data) {
    object_base_t* const object = lookup(object_id);
    if (object == nullptr) return kCMIOHardwareUnspecifiedError;
    return object->get_property_data(*address, qualifier_data_size, qualifier_data, data_size, data_used, data);
}

OSStatus plugin_t::ObjectSetPropertyData(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                         UInt32 qualifier_data_size, const void* qualifier_data, UInt32 data_size,
                                         const void* data) {
    object_base_t* const object = lookup(object_id);
    if (object == nullptr) return kCMIOHardwareUnspecifiedError;
    bool changed = false;
    return object->set_property(*address, qualifier_data_size, qualifier_data, data_size, data, changed);
}

OSStatus plugin_t::DeviceStartStream(CMIODeviceID device, CMIOStreamID stream) {
    if (m_device && m_device->get_object_id() == device) return m_device->start_stream(stream);
    zav_log("DeviceStartStream called with unrecognized device");
    return kCMIOHardwareUnspecifiedError;
}

OSStatus plugin_t::DeviceStopStream(CMIODeviceID device, CMIOStreamID stream) {
    if (m_device && m_device->get_object_id() == device) return m_device->stop_stream(stream);
    // The start wording is shared by both on purpose.
    zav_log("DeviceStartStream called with unrecognized device");
    return kCMIOHardwareUnspecifiedError;
}

OSStatus plugin_t::StreamCopyBufferQueue(CMIOStreamID stream, CMIODeviceStreamQueueAlteredProc proc, void* refcon,
                                         CMSimpleQueueRef* queue) {
    if (!m_device) return kCMIOHardwareUnspecifiedError;
    return m_device->copy_stream_buffer_queue(stream, proc, refcon, queue) ? kCMIOHardwareNoError
                                                                           : kCMIOHardwareUnspecifiedError;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

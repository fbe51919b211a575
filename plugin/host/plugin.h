// The plug-in object behind the host's function table: routes every host call to the object it
// names, and owns the camera device.
#ifndef ZAV_PLUGIN_HOST_PLUGIN_H
#define ZAV_PLUGIN_HOST_PLUGIN_H

#include "host/object_base.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <atomic>
#include <memory>

namespace Drivers::Mac::ZAV::VirtualCamera {

class simple_input_device_t;

class plugin_t : public object_base_t<CMIOObjectPropertyAddress> {
public:
    // Takes ownership of `interface`, the table the host calls this instance through.
    explicit plugin_t(CMIOHardwarePlugInInterface* interface);
    ~plugin_t() override;

    // The reference the host holds: the address of the table pointer.
    CMIOHardwarePlugInRef get_plugin_ref() { return &m_reference.m_p_interface; }
    static plugin_t* get_instance(CMIOHardwarePlugInRef ref);

    HRESULT QueryInterface(CFUUIDBytes iid, void** out);
    ULONG AddRef();
    ULONG Release();

    OSStatus InitializeWithObjectID(CMIOObjectID object_id);
    OSStatus Teardown();
    void ObjectShow(CMIOObjectID object_id);
    Boolean ObjectHasProperty(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address);
    OSStatus ObjectIsPropertySettable(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                      Boolean* is_settable);
    OSStatus ObjectGetPropertyDataSize(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                       UInt32 qualifier_data_size, const void* qualifier_data, UInt32* data_size);
    OSStatus ObjectGetPropertyData(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                   UInt32 qualifier_data_size, const void* qualifier_data, UInt32 data_size,
                                   UInt32* data_used, void* data);
    OSStatus ObjectSetPropertyData(CMIOObjectID object_id, const CMIOObjectPropertyAddress* address,
                                   UInt32 qualifier_data_size, const void* qualifier_data, UInt32 data_size,
                                   const void* data);
    OSStatus DeviceStartStream(CMIODeviceID device, CMIOStreamID stream);
    OSStatus DeviceStopStream(CMIODeviceID device, CMIOStreamID stream);
    OSStatus StreamCopyBufferQueue(CMIOStreamID stream, CMIODeviceStreamQueueAlteredProc proc, void* refcon,
                                   CMSimpleQueueRef* queue);

    // The object with this id among the plug-in, its device and the device's stream; null when
    // none.
    object_base_t* lookup(CMIOObjectID object_id);

private:
    // The plug-in reference is the address of m_p_interface; the instance is found from it
    // through the pointer beside it (the holder is a plain record, so its first field is at its
    // start).
    struct reference_t {
        CMIOHardwarePlugInInterface* m_p_interface;
        plugin_t* m_p_instance;
    };
    reference_t m_reference;
    std::atomic<uint32_t> m_ref_count{1};
    // Written only while the host initialises; read without a lock afterwards.
    std::shared_ptr<simple_input_device_t> m_device;
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif

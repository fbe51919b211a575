// The host's way in: the factory named in the bundle's Info.plist and the function table it
// hands out. Every entry finds its plug-in instance and forwards to it; nothing thrown below
// crosses into the host.
#include "host/plugin.h"
#include "host/zav_log.h"

#include <exception>
#include <new>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

void log_escaped(const char* entry, const char* what) noexcept {
    try {
        zav_log("%s failed: %s", entry, what);
    } catch (...) {
        // Not even the log line could be made; the status still tells the host.
    }
}

// Runs `body` and turns anything it throws into one log line naming the entry and `on_failure`.
template <typename result_t, typename body_t>
result_t guarded(const char* entry, result_t on_failure, body_t&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& error) {
        log_escaped(entry, error.what());
    } catch (...) {
        log_escaped(entry, "unknown exception");
    }
    return on_failure;
}

plugin_t* instance(void* self) {
    return plugin_t::get_instance(static_cast<CMIOHardwarePlugInRef>(self));
}

HRESULT query_interface(void* self, REFIID iid, LPVOID* out) {
    return guarded("QueryInterface", HRESULT(kCMIOHardwareUnspecifiedError),
                   [&] { return instance(self)->QueryInterface(iid, out); });
}

ULONG add_ref(void* self) {
    return guarded("AddRef", ULONG(0), [&] { return instance(self)->AddRef(); });
}

ULONG release(void* self) {
    return guarded("Release", ULONG(0), [&] { return instance(self)->Release(); });
}

OSStatus initialize(CMIOHardwarePlugInRef self) {
    return guarded("Initialize", OSStatus(kCMIOHardwareUnspecifiedError),
                   [&] { return instance(self)->InitializeWithObjectID(0); });
}

OSStatus initialize_with_object_id(CMIOHardwarePlugInRef self, CMIOObjectID object_id) {
    return guarded("InitializeWithObjectID", OSStatus(kCMIOHardwareUnspecifiedError),
                   [&] { return instance(self)->InitializeWithObjectID(object_id); });
}

OSStatus teardown(CMIOHardwarePlugInRef self) {
    return guarded("Teardown", OSStatus(kCMIOHardwareUnspecifiedError), [&] { return instance(self)->Teardown(); });
}

void object_show(CMIOHardwarePlugInRef self, CMIOObjectID object_id) {
    guarded("ObjectShow", 0, [&] {
        instance(self)->ObjectShow(object_id);
        return 0;
    });
}

Boolean object_has_property(CMIOHardwarePlugInRef self, CMIOObjectID object_id,
                            const CMIOObjectPropertyAddress* address) {
    return guarded("ObjectHasProperty", Boolean(false),
                   [&] { return instance(self)->ObjectHasProperty(object_id, address); });
}

OSStatus object_is_property_settable(CMIOHardwarePlugInRef self, CMIOObjectID object_id,
                                     const CMIOObjectPropertyAddress* address, Boolean* is_settable) {
    return guarded("ObjectIsPropertySettable", OSStatus(kCMIOHardwareUnspecifiedError),
                   [&] { return instance(self)->ObjectIsPropertySettable(object_id, address, is_settable); });
}

OSStatus object_get_property_data_size(CMIOHardwarePlugInRef self, CMIOObjectID object_id,
                                       const CMIOObjectPropertyAddress* address, UInt32 qualifier_data_size,
                                       const void* qualifier_data, UInt32* data_size) {
    return guarded("ObjectGetPropertyDataSize", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        return instance(self)->ObjectGetPropertyDataSize(object_id, address, qualifier_data_size, qualifier_data,
                                                         data_size);
    });
}

OSStatus object_get_property_data(CMIOHardwarePlugInRef self, CMIOObjectID object_id,
                                  const CMIOObjectPropertyAddress* address, UInt32 qualifier_data_size,
                                  const void* qualifier_data, UInt32 data_size, UInt32* data_used, void* data) {
    return guarded("ObjectGetPropertyData", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        return instance(self)->ObjectGetPropertyData(object_id, address, qualifier_data_size, qualifier_data, data_size,
                                                     data_used, data);
    });
}

OSStatus object_set_property_data(CMIOHardwarePlugInRef self, CMIOObjectID object_id,
                                  const CMIOObjectPropertyAddress* address, UInt32 qualifier_data_size,
                                  const void* qualifier_data, UInt32 data_size, const void* data) {
    return guarded("ObjectSetPropertyData", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        return instance(self)->ObjectSetPropertyData(object_id, address, qualifier_data_size, qualifier_data, data_size,
                                                     data);
    });
}

// The host operations this camera does not have: logged and refused.
OSStatus unsupported(const char* line) {
    return guarded("unsupported operation", OSStatus(kCMIOHardwareUnsupportedOperationError), [&] {
        zav_log("%s", line);
        return OSStatus(kCMIOHardwareUnsupportedOperationError);
    });
}

OSStatus device_suspend(CMIOHardwarePlugInRef, CMIODeviceID) {
    return unsupported("DeviceSuspend called");
}

OSStatus device_resume(CMIOHardwarePlugInRef, CMIODeviceID) {
    return unsupported("DeviceResume called");
}

OSStatus device_start_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    return guarded("DeviceStartStream", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        zav_log("DeviceStartStream called");
        return instance(self)->DeviceStartStream(device, stream);
    });
}

OSStatus device_stop_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    return guarded("DeviceStopStream", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        zav_log("DeviceStopStream called");
        return instance(self)->DeviceStopStream(device, stream);
    });
}

OSStatus device_process_avc_command(CMIOHardwarePlugInRef, CMIODeviceID, CMIODeviceAVCCommand*) {
    return unsupported("DeviceProcessAVCCommand called");
}

OSStatus device_process_rs422_command(CMIOHardwarePlugInRef, CMIODeviceID, CMIODeviceRS422Command*) {
    return unsupported("DeviceProcessRS422Command called");
}

OSStatus stream_copy_buffer_queue(CMIOHardwarePlugInRef self, CMIOStreamID stream,
                                  CMIODeviceStreamQueueAlteredProc proc, void* refcon, CMSimpleQueueRef* queue) {
    return guarded("StreamCopyBufferQueue", OSStatus(kCMIOHardwareUnspecifiedError), [&] {
        zav_log("StreamCopyBufferQueue called");
        return instance(self)->StreamCopyBufferQueue(stream, proc, refcon, queue);
    });
}

OSStatus stream_deck_play(CMIOHardwarePlugInRef, CMIOStreamID) {
    return unsupported("StreamDeckPlay called");
}

OSStatus stream_deck_stop(CMIOHardwarePlugInRef, CMIOStreamID) {
    return unsupported("StreamDeckStop called");
}

OSStatus stream_deck_jog(CMIOHardwarePlugInRef, CMIOStreamID, SInt32) {
    return unsupported("StreamDeckJog called");
}

OSStatus stream_deck_cue_to(CMIOHardwarePlugInRef, CMIOStreamID, Float64, Boolean) {
    return unsupported("StreamDeckCueTo called");
}

}  // namespace

}  // namespace Drivers::Mac::ZAV::VirtualCamera

// The factory: a new, independent plug-in instance per call. The requested type is not checked;
// the host only calls factories listed for the plug-in type.
extern "C" __attribute__((visibility("default"))) void* cmioZAVPluginMain(CFAllocatorRef /*allocator*/,
                                                                          CFUUIDRef /*requested_type*/) {
    using namespace Drivers::Mac::ZAV::VirtualCamera;
    return guarded("cmioZAVPluginMain", static_cast<void*>(nullptr), []() -> void* {
        auto* const table = new CMIOHardwarePlugInInterface{
            nullptr,
            query_interface,
            add_ref,
            release,
            initialize,
            initialize_with_object_id,
            teardown,
            object_show,
            object_has_property,
            object_is_property_settable,
            object_get_property_data_size,
            object_get_property_data,
            object_set_property_data,
            device_suspend,
            device_resume,
            device_start_stream,
            device_stop_stream,
            device_process_avc_command,
            device_process_rs422_command,
            stream_copy_buffer_queue,
            stream_deck_play,
            stream_deck_stop,
            stream_deck_jog,
            stream_deck_cue_to,
        };
        try {
            return (new plugin_t(table))->get_plugin_ref();
        } catch (...) {
            delete table;
            throw;
        }
    });
}

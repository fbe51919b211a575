// A small DAL plug-in for the DAL system's tests, written only against Apple's public API, as
// any third-party plug-in would be: one device with one input stream that delivers 64x48 BGRA
// frames onto the buffer queue it hands out, with timing, sequence numbers and discontinuity
// flags, and a handful of properties whose answers the tests know.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>
#include <mach/mach_time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

constexpr int k_width = 64;
constexpr int k_height = 48;

struct camera_t;

// What the plug-in ref points at: the function table first, as COM requires.
struct plugin_object_t {
    CMIOHardwarePlugInInterface* m_p_interface;
    camera_t* m_p_camera;
};

struct camera_t {
    plugin_object_t m_object;
    std::atomic<ULONG> m_references{1};
    bool m_torn_down = false;
    CMIOObjectID m_plugin_id = kCMIOObjectUnknown;
    CMIOObjectID m_device_id = kCMIOObjectUnknown;
    CMIOObjectID m_stream_id = kCMIOObjectUnknown;
    CFTypeRef m_clock = nullptr;
    CMVideoFormatDescriptionRef m_format = nullptr;

    std::mutex m_mutex;  // guards the fields below
    CMSimpleQueueRef m_queue = nullptr;
    CMIODeviceStreamQueueAlteredProc m_altered_proc = nullptr;
    void* m_altered_refcon = nullptr;
    Float64 m_frame_rate = 30.0;
    UInt64 m_cue_frame = 0;
    CMIOObjectPropertyAddress m_last_listener_added{0, 0, 0};

    std::thread m_producer;
    std::atomic<bool> m_running{false};
};

camera_t* camera_of(void* self) { return static_cast<plugin_object_t*>(self)->m_p_camera; }

void changed(CMIOHardwarePlugInRef self, CMIOObjectID object, CMIOObjectPropertySelector selector) {
    const CMIOObjectPropertyAddress address{selector, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain};
    CMIOObjectPropertiesChanged(self, object, 1, &address);
}

ULONG add_ref(void* self) { return ++camera_of(self)->m_references; }

ULONG release(void* self) {
    camera_t* camera = camera_of(self);
    const ULONG left = --camera->m_references;
    if (left == 0) {
        // The tests read this line to see that the DAL system tore down and released the plug-in.
        std::fprintf(stderr, "TestCamera: last reference released%s\n",
                     camera->m_torn_down ? " after teardown" : " without teardown");
        delete camera;
    }
    return left;
}

HRESULT query_interface(void* self, REFIID uuid, LPVOID* interface) {
    CFUUIDRef asked = CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, uuid);
    const bool known = CFEqual(asked, kCMIOHardwarePlugInInterfaceID) || CFEqual(asked, IUnknownUUID);
    CFRelease(asked);
    *interface = known ? self : nullptr;
    if (!known) return E_NOINTERFACE;
    add_ref(self);
    return S_OK;
}

// ---- Frames: a producer thread while the stream runs -------------------------------------------

CMSampleBufferRef make_frame(camera_t* camera, UInt64 sequence, UInt32 flags, Float64 rate) {
    CVPixelBufferRef pixels = nullptr;
    if (CVPixelBufferCreate(kCFAllocatorDefault, k_width, k_height, kCVPixelFormatType_32BGRA, nullptr, &pixels) !=
        kCVReturnSuccess) {
        return nullptr;
    }
    const int32_t timescale = static_cast<int32_t>(rate);
    CMSampleTimingInfo timing{CMTimeMake(1, timescale), CMTimeMake(static_cast<int64_t>(sequence), timescale),
                              kCMTimeInvalid};
    CMIOStreamClockPostTimingEvent(timing.presentationTimeStamp, mach_absolute_time(), sequence == 0, camera->m_clock);
    CMSampleBufferRef sample = nullptr;
    CMIOSampleBufferCreateForImageBuffer(kCFAllocatorDefault, pixels, camera->m_format, &timing, sequence, flags,
                                         &sample);
    CFRelease(pixels);
    return sample;
}

// A frame that finds the queue full is dropped; the next one that gets through says so in its
// discontinuity flags.
void produce(camera_t* camera) {
    UInt32 pending_flags = kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity;
    for (UInt64 sequence = 0; camera->m_running.load(); ++sequence) {
        std::unique_lock<std::mutex> lock(camera->m_mutex);
        CMSampleBufferRef sample = make_frame(camera, sequence, pending_flags, camera->m_frame_rate);
        const bool queued = sample != nullptr && CMSimpleQueueEnqueue(camera->m_queue, sample) == noErr;
        const CMIODeviceStreamQueueAlteredProc proc = camera->m_altered_proc;
        void* const refcon = camera->m_altered_refcon;
        lock.unlock();
        if (queued) {
            pending_flags = kCMIOSampleBufferNoDiscontinuities;
            if (proc != nullptr) proc(camera->m_stream_id, sample, refcon);
        } else if (sample != nullptr) {
            CFRelease(sample);
            pending_flags |= kCMIOSampleBufferDiscontinuityFlag_DataWasDropped;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
    }
}

void stop_producer(camera_t* camera) {
    camera->m_running = false;
    if (camera->m_producer.joinable()) camera->m_producer.join();
}

// ---- Lifetime --------------------------------------------------------------------------------

OSStatus initialize_with_id(CMIOHardwarePlugInRef self, CMIOObjectID object_id) {
    camera_t* camera = camera_of(self);
    camera->m_plugin_id = object_id;
    OSStatus status = CMIOObjectCreate(self, kCMIOObjectSystemObject, kCMIODeviceClassID, &camera->m_device_id);
    if (status == noErr) status = CMIOObjectCreate(self, camera->m_device_id, kCMIOStreamClassID, &camera->m_stream_id);
    if (status == noErr) {
        status = CMIOStreamClockCreate(kCFAllocatorDefault, CFSTR("TestCamera clock"), camera, CMTimeMake(1, 10), 10,
                                       10, &camera->m_clock);
    }
    if (status == noErr) {
        status = CMVideoFormatDescriptionCreate(kCFAllocatorDefault, kCVPixelFormatType_32BGRA, k_width, k_height,
                                                nullptr, &camera->m_format);
    }
    if (status == noErr) status = CMSimpleQueueCreate(kCFAllocatorDefault, 4, &camera->m_queue);
    if (status == noErr) {
        status = CMIOObjectsPublishedAndDied(self, camera->m_device_id, 1, &camera->m_stream_id, 0, nullptr);
    }
    if (status != noErr) return status;
    return CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 1, &camera->m_device_id, 0, nullptr);
}

OSStatus teardown(CMIOHardwarePlugInRef self) {
    camera_t* camera = camera_of(self);
    stop_producer(camera);
    CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 0, nullptr, 1, &camera->m_device_id);
    if (camera->m_clock != nullptr) {
        CMIOStreamClockInvalidate(camera->m_clock);
        CFRelease(camera->m_clock);
    }
    if (camera->m_queue != nullptr) {
        while (const void* left = CMSimpleQueueDequeue(camera->m_queue)) CFRelease(left);
        CFRelease(camera->m_queue);
    }
    if (camera->m_format != nullptr) CFRelease(camera->m_format);
    camera->m_torn_down = true;
    return noErr;
}

// ---- Properties ------------------------------------------------------------------------------

// How big a property is; 0 when the object does not have it.
UInt32 property_size(camera_t* camera, CMIOObjectID object, const CMIOObjectPropertyAddress* address) {
    const CMIOObjectPropertySelector selector = address->mSelector;
    if (selector == kCMIOObjectPropertyClass) return sizeof(CMIOClassID);
    if (object == camera->m_device_id) {
        switch (selector) {
            case kCMIODevicePropertyDeviceIsRunning: return sizeof(UInt32);
            case kCMIOObjectPropertyName:
            case kCMIODevicePropertyDeviceUID: return sizeof(CFStringRef);
            case kCMIODevicePropertyStreams:
                return address->mScope == kCMIODevicePropertyScopeOutput ? 0u : sizeof(CMIOStreamID);
            case kCMIOObjectPropertyListenerAdded: return sizeof(CMIOObjectPropertyAddress);
        }
    } else if (object == camera->m_stream_id) {
        switch (selector) {
            case kCMIOObjectPropertyOwner: return sizeof(CMIOObjectID);
            case kCMIOStreamPropertyClock: return sizeof(CFTypeRef);
            case kCMIOStreamPropertyFrameRate: return sizeof(Float64);
            case kCMIOStreamPropertyDeckFrameNumber: return sizeof(UInt64);
        }
    }
    return 0;
}

Boolean has_property(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address) {
    camera_t* camera = camera_of(self);
    // The output scope has no streams, but the property is there (with an empty list).
    if (address->mSelector == kCMIODevicePropertyStreams && object == camera->m_device_id) return true;
    return property_size(camera, object, address) != 0;
}

OSStatus is_settable(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                     Boolean* settable) {
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *settable = address->mSelector == kCMIOStreamPropertyFrameRate ||
                address->mSelector == kCMIOObjectPropertyListenerAdded;
    return noErr;
}

OSStatus get_size(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                  UInt32, const void*, UInt32* size) {
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *size = property_size(camera_of(self), object, address);
    return noErr;
}

OSStatus get_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                  UInt32, const void*, UInt32 size, UInt32* used, void* data) {
    camera_t* camera = camera_of(self);
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *used = property_size(camera, object, address);
    if (size < *used) return kCMIOHardwareBadPropertySizeError;
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    auto put = [data](const auto& value) { std::memcpy(data, &value, sizeof value); };
    const CMIOObjectPropertySelector selector = address->mSelector;
    if (selector == kCMIOObjectPropertyClass) {
        put(object == camera->m_plugin_id   ? CMIOClassID(kCMIOPlugInClassID)
            : object == camera->m_device_id ? CMIOClassID(kCMIODeviceClassID)
                                            : CMIOClassID(kCMIOStreamClassID));
    } else if (selector == kCMIODevicePropertyDeviceIsRunning) {
        put(UInt32(camera->m_running.load() ? 1 : 0));
    } else if (selector == kCMIOObjectPropertyName || selector == kCMIODevicePropertyDeviceUID) {
        // Copy rule: the caller releases the string.
        put(CFStringCreateWithCString(kCFAllocatorDefault,
                                      selector == kCMIOObjectPropertyName ? "Test Camera" : "test-camera-0",
                                      kCFStringEncodingUTF8));
    } else if (selector == kCMIODevicePropertyStreams) {
        if (*used != 0) put(camera->m_stream_id);
    } else if (selector == kCMIOObjectPropertyListenerAdded) {
        put(camera->m_last_listener_added);
    } else if (selector == kCMIOObjectPropertyOwner) {
        put(camera->m_device_id);
    } else if (selector == kCMIOStreamPropertyClock) {
        put(CFRetain(camera->m_clock));
    } else if (selector == kCMIOStreamPropertyFrameRate) {
        put(camera->m_frame_rate);
    } else {
        put(camera->m_cue_frame);
    }
    return noErr;
}

OSStatus set_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address, UInt32,
                  const void*, UInt32 size, const void* data) {
    camera_t* camera = camera_of(self);
    Boolean settable = false;
    if (is_settable(self, object, address, &settable) != noErr || !settable) return kCMIOHardwareIllegalOperationError;
    if (size != property_size(camera, object, address)) return kCMIOHardwareBadPropertySizeError;
    if (address->mSelector == kCMIOObjectPropertyListenerAdded) {
        std::lock_guard<std::mutex> lock(camera->m_mutex);
        std::memcpy(&camera->m_last_listener_added, data, sizeof(CMIOObjectPropertyAddress));
        return noErr;
    }
    Float64 rate;
    std::memcpy(&rate, data, sizeof rate);
    // The camera runs at 15, 30 or 60 frames per second only.
    if (rate != 15.0 && rate != 30.0 && rate != 60.0) return kCMIODeviceUnsupportedFormatError;
    {
        std::lock_guard<std::mutex> lock(camera->m_mutex);
        camera->m_frame_rate = rate;
    }
    changed(self, camera->m_stream_id, kCMIOStreamPropertyFrameRate);
    return noErr;
}

// ---- Devices and streams -----------------------------------------------------------------------

OSStatus check_ids(camera_t* camera, CMIODeviceID device, CMIOStreamID stream) {
    if (device != camera->m_device_id) return kCMIOHardwareBadDeviceError;
    return stream == camera->m_stream_id ? OSStatus(noErr) : OSStatus(kCMIOHardwareBadStreamError);
}

OSStatus start_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    camera_t* camera = camera_of(self);
    if (OSStatus status = check_ids(camera, device, stream); status != noErr) return status;
    if (camera->m_running.exchange(true)) return kCMIOHardwareNotStoppedError;
    camera->m_producer = std::thread(produce, camera);
    changed(self, camera->m_device_id, kCMIODevicePropertyDeviceIsRunning);
    return noErr;
}

OSStatus stop_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    camera_t* camera = camera_of(self);
    if (OSStatus status = check_ids(camera, device, stream); status != noErr) return status;
    if (!camera->m_running.load()) return kCMIOHardwareNotRunningError;
    stop_producer(camera);
    changed(self, camera->m_device_id, kCMIODevicePropertyDeviceIsRunning);
    return noErr;
}

// Answers an AV/C command with its bytes in reverse order, as much as the response holds.
OSStatus process_avc(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIODeviceAVCCommand* command) {
    if (command->mCommandLength == 0) return kCMIOHardwareIllegalOperationError;
    UInt32 n = command->mCommandLength < command->mResponseLength ? command->mCommandLength : command->mResponseLength;
    for (UInt32 i = 0; i < n; ++i) command->mResponse[i] = command->mCommand[command->mCommandLength - 1 - i];
    command->mResponseUsed = n;
    return noErr;
}

OSStatus copy_queue(CMIOHardwarePlugInRef self, CMIOStreamID stream, CMIODeviceStreamQueueAlteredProc proc,
                    void* refcon, CMSimpleQueueRef* queue) {
    camera_t* camera = camera_of(self);
    if (stream != camera->m_stream_id) return kCMIOHardwareBadStreamError;
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_altered_proc = proc;
    camera->m_altered_refcon = refcon;
    *queue = static_cast<CMSimpleQueueRef>(const_cast<void*>(CFRetain(camera->m_queue)));
    return noErr;
}

OSStatus deck_cue(CMIOHardwarePlugInRef self, CMIOStreamID, Float64 frame, Boolean) {
    camera_t* camera = camera_of(self);
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_cue_frame = static_cast<UInt64>(frame);
    return noErr;
}

// Entries left empty are calls the camera does not support.
CMIOHardwarePlugInInterface g_interface = {
    nullptr,      query_interface, add_ref,      release,      nullptr,   initialize_with_id,
    teardown,     nullptr,         has_property, is_settable,  get_size,  get_data,
    set_data,     nullptr,         nullptr,      start_stream, stop_stream, process_avc,
    nullptr,      copy_queue,      nullptr,      nullptr,      nullptr,   deck_cue,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void* TestCameraFactory(CFAllocatorRef, CFUUIDRef type) {
    if (!CFEqual(type, kCMIOHardwarePlugInTypeID)) return nullptr;
    auto* camera = new camera_t;
    camera->m_object = {&g_interface, camera};
    return &camera->m_object;
}

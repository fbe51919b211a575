// A small DAL plug-in written only against Apple's public API, as a third party would: one device
// whose one input stream puts 64x48 BGRA frames, with timing, sequence numbers and discontinuity
// flags, on the queue it hands out, and a few properties whose answers the tests know. On request
// the device publishes a second, idle input stream and retires it again.
#include "test_camera_properties.h"

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
    CMIOObjectID m_plugin_id = kCMIOObjectUnknown, m_device_id = kCMIOObjectUnknown, m_stream_id = kCMIOObjectUnknown;
    // Clients may read properties on other threads while a test adds or retires the second stream.
    std::atomic<CMIOObjectID> m_second_stream_id{kCMIOObjectUnknown};
    CFTypeRef m_clock = nullptr;
    CMVideoFormatDescriptionRef m_format = nullptr;
    CMSimpleQueueRef m_queue = nullptr;
    std::mutex m_mutex;  // guards the fields below
    CMIODeviceStreamQueueAlteredProc m_altered_proc = nullptr;
    void* m_altered_refcon = nullptr;
    Float64 m_frame_rate = 30.0;
    CMIOObjectPropertyAddress m_last_listener_added{0, 0, 0};
    std::thread m_producer;
    std::atomic<bool> m_running{false};
};

camera_t* camera_of(void* self) {
    return static_cast<plugin_object_t*>(self)->m_p_camera;
}

void changed(CMIOHardwarePlugInRef self, CMIOObjectID object, CMIOObjectPropertySelector selector) {
    const CMIOObjectPropertyAddress address{selector, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain};
    CMIOObjectPropertiesChanged(self, object, 1, &address);
}

ULONG add_ref(void* self) {
    return ++camera_of(self)->m_references;
}

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
    if (known) add_ref(self);
    return known ? S_OK : E_NOINTERFACE;
}

// Frames every 4 ms while the stream runs; only the first after a start is discontinuous, and a
// frame that finds the queue full is dropped.
void produce(camera_t* camera) {
    for (UInt64 sequence = 0; camera->m_running.load(); ++sequence) {
        std::unique_lock<std::mutex> lock(camera->m_mutex);
        CVPixelBufferRef pixels = nullptr;
        CMSampleBufferRef sample = nullptr;
        const int32_t timescale = static_cast<int32_t>(camera->m_frame_rate);
        CMSampleTimingInfo timing{CMTimeMake(1, timescale), CMTimeMake(int64_t(sequence), timescale), kCMTimeInvalid};
        CMIOStreamClockPostTimingEvent(timing.presentationTimeStamp, mach_absolute_time(), sequence == 0,
                                       camera->m_clock);
        if (CVPixelBufferCreate(nullptr, 64, 48, kCVPixelFormatType_32BGRA, nullptr, &pixels) == kCVReturnSuccess) {
            const UInt32 flags = sequence == 0 ? kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity
                                               : kCMIOSampleBufferNoDiscontinuities;
            CMIOSampleBufferCreateForImageBuffer(nullptr, pixels, camera->m_format, &timing, sequence, flags, &sample);
            CFRelease(pixels);
        }
        const bool queued = sample != nullptr && CMSimpleQueueEnqueue(camera->m_queue, sample) == noErr;
        const CMIODeviceStreamQueueAlteredProc proc = camera->m_altered_proc;
        void* const refcon = camera->m_altered_refcon;
        lock.unlock();
        if (queued && proc != nullptr) proc(camera->m_stream_id, sample, refcon);
        if (!queued && sample != nullptr) CFRelease(sample);
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
    }
}

void stop_producer(camera_t* camera) {
    camera->m_running = false;
    if (camera->m_producer.joinable()) camera->m_producer.join();
}

OSStatus initialize_with_id(CMIOHardwarePlugInRef self, CMIOObjectID object_id) {
    camera_t* camera = camera_of(self);
    camera->m_plugin_id = object_id;
    OSStatus status = CMIOObjectCreate(self, kCMIOObjectSystemObject, kCMIODeviceClassID, &camera->m_device_id);
    if (status == noErr) status = CMIOObjectCreate(self, camera->m_device_id, kCMIOStreamClassID, &camera->m_stream_id);
    if (status == noErr)
        status = CMIOStreamClockCreate(kCFAllocatorDefault, CFSTR("TestCamera clock"), camera, CMTimeMake(1, 10), 10,
                                       10, &camera->m_clock);
    if (status == noErr)
        status = CMVideoFormatDescriptionCreate(kCFAllocatorDefault, kCVPixelFormatType_32BGRA, 64, 48, nullptr,
                                                &camera->m_format);
    if (status == noErr) status = CMSimpleQueueCreate(kCFAllocatorDefault, 4, &camera->m_queue);
    if (status == noErr)
        status = CMIOObjectsPublishedAndDied(self, camera->m_device_id, 1, &camera->m_stream_id, 0, nullptr);
    if (status != noErr) return status;
    return CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 1, &camera->m_device_id, 0, nullptr);
}

OSStatus teardown(CMIOHardwarePlugInRef self) {
    camera_t* camera = camera_of(self);
    stop_producer(camera);
    CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 0, nullptr, 1, &camera->m_device_id);
    if (camera->m_clock != nullptr) CMIOStreamClockInvalidate(camera->m_clock);
    if (camera->m_queue != nullptr)
        while (const void* left = CMSimpleQueueDequeue(camera->m_queue)) CFRelease(left);
    for (CFTypeRef made : {camera->m_clock, CFTypeRef(camera->m_queue), CFTypeRef(camera->m_format)})
        if (made != nullptr) CFRelease(made);
    camera->m_torn_down = true;
    return noErr;
}

UInt32 input_stream_count(const camera_t* camera) {
    return camera->m_second_stream_id.load() == kCMIOObjectUnknown ? 1u : 2u;
}

// Publishes or retires the second input stream, then reports the new stream list.
OSStatus set_input_stream_count(CMIOHardwarePlugInRef self, camera_t* camera, UInt32 count) {
    if (count != 1 && count != 2) return kCMIOHardwareIllegalOperationError;
    if (count == input_stream_count(camera)) return noErr;
    OSStatus status = noErr;
    if (count == 2) {
        CMIOObjectID made = kCMIOObjectUnknown;
        status = CMIOObjectCreate(self, camera->m_device_id, kCMIOStreamClassID, &made);
        if (status == noErr) status = CMIOObjectsPublishedAndDied(self, camera->m_device_id, 1, &made, 0, nullptr);
        if (status == noErr) camera->m_second_stream_id = made;
    } else {
        const CMIOObjectID retired = camera->m_second_stream_id.exchange(kCMIOObjectUnknown);
        status = CMIOObjectsPublishedAndDied(self, camera->m_device_id, 0, nullptr, 1, &retired);
    }
    if (status == noErr) changed(self, camera->m_device_id, kCMIODevicePropertyStreams);
    return status;
}

// How big a property is; 0 when the object does not have it.
UInt32 property_size(camera_t* camera, CMIOObjectID object, const CMIOObjectPropertyAddress* address) {
    const CMIOObjectPropertySelector selector = address->mSelector;
    if (selector == kCMIOObjectPropertyClass) return sizeof(CMIOClassID);
    // The second stream is idle: it has a class and an owner, nothing else.
    if (object == camera->m_second_stream_id.load() && object != kCMIOObjectUnknown) {
        return selector == kCMIOObjectPropertyOwner ? sizeof(CMIOObjectID) : 0u;
    }
    if (object == camera->m_device_id) {
        switch (selector) {
            case kCMIODevicePropertyDeviceIsRunning:
                return sizeof(UInt32);
            case kCMIOObjectPropertyName:
                return sizeof(CFStringRef);
            case kCMIODevicePropertyStreams:
                return address->mScope == kCMIODevicePropertyScopeOutput
                           ? 0u
                           : input_stream_count(camera) * UInt32(sizeof(CMIOStreamID));
            case kCMIOObjectPropertyListenerAdded:
                return sizeof(CMIOObjectPropertyAddress);
            case k_test_camera_input_stream_count:
                return sizeof(UInt32);
        }
    } else if (object == camera->m_stream_id) {
        switch (selector) {
            case kCMIOObjectPropertyOwner:
                return sizeof(CMIOObjectID);
            case kCMIOStreamPropertyClock:
                return sizeof(CFTypeRef);
            case kCMIOStreamPropertyFrameRate:
                return sizeof(Float64);
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
                address->mSelector == kCMIOObjectPropertyListenerAdded ||
                address->mSelector == k_test_camera_input_stream_count;
    return noErr;
}

OSStatus get_size(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address, UInt32,
                  const void*, UInt32* size) {
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *size = property_size(camera_of(self), object, address);
    return noErr;
}

OSStatus get_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address, UInt32,
                  const void*, UInt32 size, UInt32* used, void* data) {
    camera_t* camera = camera_of(self);
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *used = property_size(camera, object, address);
    if (size < *used) return kCMIOHardwareBadPropertySizeError;
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    auto put = [data](const auto& value) { std::memcpy(data, &value, sizeof value); };
    switch (address->mSelector) {
        case kCMIOObjectPropertyClass:
            put(object == camera->m_plugin_id   ? CMIOClassID(kCMIOPlugInClassID)
                : object == camera->m_device_id ? CMIOClassID(kCMIODeviceClassID)
                                                : CMIOClassID(kCMIOStreamClassID));
            break;
        case kCMIODevicePropertyDeviceIsRunning:
            put(UInt32(camera->m_running.load() ? 1 : 0));
            break;
        // Copy rule: the caller releases the string.
        case kCMIOObjectPropertyName:
            put(CFStringCreateWithCString(nullptr, "Test Camera", kCFStringEncodingUTF8));
            break;
        case kCMIODevicePropertyStreams: {
            const CMIOStreamID streams[2] = {camera->m_stream_id, camera->m_second_stream_id.load()};
            if (*used != 0) std::memcpy(data, streams, *used);  // the output scope has none, and maybe no buffer
            break;
        }
        case k_test_camera_input_stream_count:
            put(input_stream_count(camera));
            break;
        case kCMIOObjectPropertyListenerAdded:
            put(camera->m_last_listener_added);
            break;
        case kCMIOObjectPropertyOwner:
            put(camera->m_device_id);
            break;
        case kCMIOStreamPropertyClock:
            put(CFRetain(camera->m_clock));
            break;
        default:
            put(camera->m_frame_rate);
    }
    return noErr;
}

OSStatus set_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address, UInt32,
                  const void*, UInt32 size, const void* data) {
    camera_t* camera = camera_of(self);
    Boolean settable = false;
    if (is_settable(self, object, address, &settable) != noErr || !settable) return kCMIOHardwareIllegalOperationError;
    if (size != property_size(camera, object, address)) return kCMIOHardwareBadPropertySizeError;
    std::unique_lock<std::mutex> lock(camera->m_mutex);
    if (address->mSelector == kCMIOObjectPropertyListenerAdded) {
        std::memcpy(&camera->m_last_listener_added, data, size);
        return noErr;
    }
    if (address->mSelector == k_test_camera_input_stream_count) {
        lock.unlock();
        UInt32 count = 0;
        std::memcpy(&count, data, sizeof count);
        return set_input_stream_count(self, camera, count);
    }
    Float64 rate;
    std::memcpy(&rate, data, sizeof rate);
    // The camera runs at 15, 30 or 60 frames per second only.
    if (rate != 15.0 && rate != 30.0 && rate != 60.0) return kCMIODeviceUnsupportedFormatError;
    camera->m_frame_rate = rate;
    lock.unlock();
    changed(self, camera->m_stream_id, kCMIOStreamPropertyFrameRate);
    return noErr;
}

template <bool start>
OSStatus start_or_stop(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    camera_t* camera = camera_of(self);
    if (device != camera->m_device_id) return kCMIOHardwareBadDeviceError;
    if (stream != camera->m_stream_id) return kCMIOHardwareBadStreamError;
    if (start && camera->m_running.exchange(true)) return kCMIOHardwareNotStoppedError;
    if (!start && !camera->m_running.load()) return kCMIOHardwareNotRunningError;
    if (start)
        camera->m_producer = std::thread(produce, camera);
    else
        stop_producer(camera);
    changed(self, camera->m_device_id, kCMIODevicePropertyDeviceIsRunning);
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

// Entries left empty are calls the camera does not support.
CMIOHardwarePlugInInterface g_interface = {
    nullptr,
    query_interface,
    add_ref,
    release,
    nullptr,
    initialize_with_id,
    teardown,
    nullptr,
    has_property,
    is_settable,
    get_size,
    get_data,
    set_data,
    nullptr,
    nullptr,
    start_or_stop<true>,
    start_or_stop<false>,
    nullptr,
    nullptr,
    copy_queue,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void* TestCameraFactory(CFAllocatorRef, CFUUIDRef type) {
    if (!CFEqual(type, kCMIOHardwarePlugInTypeID)) return nullptr;
    auto* camera = new camera_t;
    camera->m_object = {&g_interface, camera};
    return &camera->m_object;
}

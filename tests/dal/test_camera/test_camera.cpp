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
constexpr int32_t k_queue_capacity = 4;
constexpr auto k_frame_spacing = std::chrono::milliseconds(4);

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
    CMIOStreamDeck m_deck{0, kCMIODeckStateStop, 0};
    UInt64 m_cue_frame = 0;
    CMIOObjectPropertyAddress m_last_listener_added{0, 0, 0};

    std::thread m_producer;
    std::atomic<bool> m_running{false};
};

camera_t* camera_of(void* self) {
    return static_cast<plugin_object_t*>(self)->m_p_camera;
}

CMIOObjectPropertyAddress global_address(CMIOObjectPropertySelector selector) {
    return {selector, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain};
}

// ---- IUnknown --------------------------------------------------------------------------------

ULONG add_ref(void* self) {
    return ++camera_of(self)->m_references;
}

ULONG release(void* self) {
    camera_t* camera = camera_of(self);
    const ULONG left = --camera->m_references;
    if (left == 0) {
        std::fprintf(stderr, "TestCamera: last reference released%s\n",
                     camera->m_torn_down ? " after teardown" : " without teardown");
        delete camera;
    }
    return left;
}

HRESULT query_interface(void* self, REFIID uuid, LPVOID* interface) {
    if (interface == nullptr) return E_POINTER;
    CFUUIDRef asked = CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, uuid);
    const bool known = CFEqual(asked, kCMIOHardwarePlugInInterfaceID) || CFEqual(asked, IUnknownUUID);
    CFRelease(asked);
    if (!known) {
        *interface = nullptr;
        return E_NOINTERFACE;
    }
    add_ref(self);
    *interface = self;
    return S_OK;
}

// ---- Frames ----------------------------------------------------------------------------------

CMSampleBufferRef make_frame(camera_t* camera, UInt64 sequence, UInt32 flags, Float64 rate) {
    CVPixelBufferRef pixels = nullptr;
    if (CVPixelBufferCreate(kCFAllocatorDefault, k_width, k_height, kCVPixelFormatType_32BGRA, nullptr, &pixels) !=
        kCVReturnSuccess) {
        return nullptr;
    }
    CVPixelBufferLockBaseAddress(pixels, 0);
    auto* base = static_cast<UInt8*>(CVPixelBufferGetBaseAddress(pixels));
    const size_t row_bytes = CVPixelBufferGetBytesPerRow(pixels);
    for (int y = 0; y < k_height; ++y) std::memset(base + y * row_bytes, static_cast<int>(sequence & 0xFF), k_width * 4);
    CVPixelBufferUnlockBaseAddress(pixels, 0);

    const int32_t timescale = static_cast<int32_t>(rate);
    CMSampleTimingInfo timing;
    timing.duration = CMTimeMake(1, timescale);
    timing.presentationTimeStamp = CMTimeMake(static_cast<int64_t>(sequence), timescale);
    timing.decodeTimeStamp = kCMTimeInvalid;
    CMIOStreamClockPostTimingEvent(timing.presentationTimeStamp, mach_absolute_time(), sequence == 0, camera->m_clock);

    CMSampleBufferRef sample = nullptr;
    CMIOSampleBufferCreateForImageBuffer(kCFAllocatorDefault, pixels, camera->m_format, &timing, sequence, flags,
                                         &sample);
    CFRelease(pixels);
    return sample;
}

// Delivers frames until stopped. A frame that finds the queue full is dropped; the next one
// that gets through says so in its discontinuity flags.
void produce(camera_t* camera) {
    UInt64 sequence = 0;
    UInt32 pending_flags = kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity;
    while (camera->m_running.load()) {
        Float64 rate;
        {
            std::lock_guard<std::mutex> lock(camera->m_mutex);
            rate = camera->m_frame_rate;
        }
        CMSampleBufferRef sample = make_frame(camera, sequence, pending_flags, rate);
        ++sequence;
        if (sample != nullptr) {
            CMIODeviceStreamQueueAlteredProc proc = nullptr;
            void* refcon = nullptr;
            bool queued = false;
            {
                std::lock_guard<std::mutex> lock(camera->m_mutex);
                if (camera->m_queue != nullptr && CMSimpleQueueEnqueue(camera->m_queue, sample) == noErr) {
                    queued = true;
                    proc = camera->m_altered_proc;
                    refcon = camera->m_altered_refcon;
                }
            }
            if (queued) {
                pending_flags = kCMIOSampleBufferNoDiscontinuities;
                if (proc != nullptr) proc(camera->m_stream_id, sample, refcon);
            } else {
                CFRelease(sample);
                pending_flags |= kCMIOSampleBufferDiscontinuityFlag_DataWasDropped;
            }
        }
        std::this_thread::sleep_for(k_frame_spacing);
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
    if (status != noErr) return status;
    status = CMIOObjectCreate(self, camera->m_device_id, kCMIOStreamClassID, &camera->m_stream_id);
    if (status != noErr) return status;
    status = CMIOStreamClockCreate(kCFAllocatorDefault, CFSTR("TestCamera clock"), camera, CMTimeMake(1, 10), 10, 10,
                                   &camera->m_clock);
    if (status != noErr) return status;
    status = CMVideoFormatDescriptionCreate(kCFAllocatorDefault, kCVPixelFormatType_32BGRA, k_width, k_height, nullptr,
                                            &camera->m_format);
    if (status != noErr) return status;
    status = CMIOObjectsPublishedAndDied(self, camera->m_device_id, 1, &camera->m_stream_id, 0, nullptr);
    if (status != noErr) return status;
    return CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 1, &camera->m_device_id, 0, nullptr);
}

OSStatus initialize(CMIOHardwarePlugInRef self) {
    return initialize_with_id(self, kCMIOObjectUnknown);
}

OSStatus teardown(CMIOHardwarePlugInRef self) {
    camera_t* camera = camera_of(self);
    stop_producer(camera);
    CMIOObjectsPublishedAndDied(self, kCMIOObjectSystemObject, 0, nullptr, 1, &camera->m_device_id);
    if (camera->m_clock != nullptr) {
        CMIOStreamClockInvalidate(camera->m_clock);
        CFRelease(camera->m_clock);
        camera->m_clock = nullptr;
    }
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    if (camera->m_queue != nullptr) {
        while (const void* left = CMSimpleQueueDequeue(camera->m_queue)) CFRelease(left);
        CFRelease(camera->m_queue);
        camera->m_queue = nullptr;
    }
    if (camera->m_format != nullptr) {
        CFRelease(camera->m_format);
        camera->m_format = nullptr;
    }
    camera->m_torn_down = true;
    return noErr;
}

// ---- Properties ------------------------------------------------------------------------------

// How big a property is; 0 when the object does not have it.
UInt32 property_size(camera_t* camera, CMIOObjectID object, const CMIOObjectPropertyAddress* address) {
    const CMIOObjectPropertySelector selector = address->mSelector;
    if (object == camera->m_plugin_id) {
        return selector == kCMIOObjectPropertyClass ? sizeof(CMIOClassID) : 0;
    }
    if (object == camera->m_device_id) {
        switch (selector) {
            case kCMIOObjectPropertyClass:
            case kCMIOObjectPropertyOwner:
            case kCMIODevicePropertyDeviceIsRunning:
            case kCMIODevicePropertyDeviceIsAlive:
                return sizeof(UInt32);
            case kCMIOObjectPropertyName:
            case kCMIODevicePropertyDeviceUID:
                return sizeof(CFStringRef);
            case kCMIODevicePropertyStreams:
                return address->mScope == kCMIODevicePropertyScopeOutput ? 0u : sizeof(CMIOStreamID);
            case kCMIOObjectPropertyListenerAdded:
                return sizeof(CMIOObjectPropertyAddress);
            default:
                return 0;
        }
    }
    if (object == camera->m_stream_id) {
        switch (selector) {
            case kCMIOObjectPropertyClass:
            case kCMIOObjectPropertyOwner:
            case kCMIOStreamPropertyDirection:
                return sizeof(UInt32);
            case kCMIOStreamPropertyFormatDescription:
            case kCMIOStreamPropertyClock:
                return sizeof(CFTypeRef);
            case kCMIOStreamPropertyFrameRate:
                return sizeof(Float64);
            case kCMIOStreamPropertyDeck:
                return sizeof(CMIOStreamDeck);
            case kCMIOStreamPropertyDeckFrameNumber:
                return sizeof(UInt64);
            default:
                return 0;
        }
    }
    return 0;
}

Boolean has_property(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address) {
    camera_t* camera = camera_of(self);
    if (address->mSelector == kCMIODevicePropertyStreams && object == camera->m_device_id) return true;
    return property_size(camera, object, address) != 0;
}

OSStatus is_settable(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                     Boolean* settable) {
    camera_t* camera = camera_of(self);
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *settable = (object == camera->m_stream_id && address->mSelector == kCMIOStreamPropertyFrameRate) ||
                (object == camera->m_device_id && address->mSelector == kCMIOObjectPropertyListenerAdded);
    return noErr;
}

OSStatus get_size(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                  UInt32, const void*, UInt32* size) {
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    *size = property_size(camera_of(self), object, address);
    return noErr;
}

template <class T>
OSStatus put(const T& value, UInt32 size, UInt32* used, void* data) {
    if (size < sizeof(T)) return kCMIOHardwareBadPropertySizeError;
    std::memcpy(data, &value, sizeof(T));
    *used = sizeof(T);
    return noErr;
}

OSStatus get_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address,
                  UInt32, const void*, UInt32 size, UInt32* used, void* data) {
    camera_t* camera = camera_of(self);
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    const CMIOObjectPropertySelector selector = address->mSelector;
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    if (selector == kCMIOObjectPropertyClass) {
        CMIOClassID cls = kCMIOStreamClassID;
        if (object == camera->m_plugin_id) cls = kCMIOPlugInClassID;
        if (object == camera->m_device_id) cls = kCMIODeviceClassID;
        return put<CMIOClassID>(cls, size, used, data);
    }
    if (object == camera->m_device_id) {
        switch (selector) {
            case kCMIOObjectPropertyOwner:
                return put<CMIOObjectID>(kCMIOObjectSystemObject, size, used, data);
            case kCMIODevicePropertyDeviceIsRunning:
                return put<UInt32>(camera->m_running.load() ? 1 : 0, size, used, data);
            case kCMIODevicePropertyDeviceIsAlive:
                return put<UInt32>(1, size, used, data);
            case kCMIOObjectPropertyName:
                if (size < sizeof(CFStringRef)) return kCMIOHardwareBadPropertySizeError;
                return put<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "Test Camera",
                                                                  kCFStringEncodingUTF8),
                                        size, used, data);
            case kCMIODevicePropertyDeviceUID:
                if (size < sizeof(CFStringRef)) return kCMIOHardwareBadPropertySizeError;
                return put<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, "test-camera-0",
                                                                  kCFStringEncodingUTF8),
                                        size, used, data);
            case kCMIODevicePropertyStreams:
                if (address->mScope == kCMIODevicePropertyScopeOutput) {
                    *used = 0;
                    return noErr;
                }
                return put<CMIOStreamID>(camera->m_stream_id, size, used, data);
            case kCMIOObjectPropertyListenerAdded:
                return put(camera->m_last_listener_added, size, used, data);
            default:
                break;
        }
    } else {
        switch (selector) {
            case kCMIOObjectPropertyOwner:
                return put<CMIOObjectID>(camera->m_device_id, size, used, data);
            case kCMIOStreamPropertyDirection:
                return put<UInt32>(1, size, used, data);
            case kCMIOStreamPropertyFormatDescription:
                if (size < sizeof(CFTypeRef)) return kCMIOHardwareBadPropertySizeError;
                CFRetain(camera->m_format);
                return put<CFTypeRef>(camera->m_format, size, used, data);
            case kCMIOStreamPropertyClock:
                if (size < sizeof(CFTypeRef)) return kCMIOHardwareBadPropertySizeError;
                CFRetain(camera->m_clock);
                return put<CFTypeRef>(camera->m_clock, size, used, data);
            case kCMIOStreamPropertyFrameRate:
                return put(camera->m_frame_rate, size, used, data);
            case kCMIOStreamPropertyDeck:
                return put(camera->m_deck, size, used, data);
            case kCMIOStreamPropertyDeckFrameNumber:
                return put(camera->m_cue_frame, size, used, data);
            default:
                break;
        }
    }
    return kCMIOHardwareUnknownPropertyError;
}

OSStatus set_data(CMIOHardwarePlugInRef self, CMIOObjectID object, const CMIOObjectPropertyAddress* address, UInt32,
                  const void*, UInt32 size, const void* data) {
    camera_t* camera = camera_of(self);
    if (!has_property(self, object, address)) return kCMIOHardwareUnknownPropertyError;
    if (object == camera->m_device_id && address->mSelector == kCMIOObjectPropertyListenerAdded) {
        if (size != sizeof(CMIOObjectPropertyAddress)) return kCMIOHardwareBadPropertySizeError;
        std::lock_guard<std::mutex> lock(camera->m_mutex);
        std::memcpy(&camera->m_last_listener_added, data, sizeof(CMIOObjectPropertyAddress));
        return noErr;
    }
    if (object != camera->m_stream_id || address->mSelector != kCMIOStreamPropertyFrameRate) {
        return kCMIOHardwareIllegalOperationError;
    }
    if (size != sizeof(Float64)) return kCMIOHardwareBadPropertySizeError;
    Float64 rate;
    std::memcpy(&rate, data, sizeof rate);
    // The camera runs at 15, 30 or 60 frames per second only.
    if (rate != 15.0 && rate != 30.0 && rate != 60.0) return kCMIODeviceUnsupportedFormatError;
    {
        std::lock_guard<std::mutex> lock(camera->m_mutex);
        camera->m_frame_rate = rate;
    }
    const CMIOObjectPropertyAddress changed = global_address(kCMIOStreamPropertyFrameRate);
    CMIOObjectPropertiesChanged(self, camera->m_stream_id, 1, &changed);
    return noErr;
}

void show(CMIOHardwarePlugInRef self, CMIOObjectID object) {
    std::fprintf(stderr, "TestCamera object %u\n", static_cast<unsigned>(object));
}

// ---- Devices and streams -----------------------------------------------------------------------

OSStatus start_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    camera_t* camera = camera_of(self);
    if (device != camera->m_device_id) return kCMIOHardwareBadDeviceError;
    if (stream != camera->m_stream_id) return kCMIOHardwareBadStreamError;
    if (camera->m_running.exchange(true)) return kCMIOHardwareNotStoppedError;
    camera->m_producer = std::thread(produce, camera);
    const CMIOObjectPropertyAddress changed = global_address(kCMIODevicePropertyDeviceIsRunning);
    CMIOObjectPropertiesChanged(self, camera->m_device_id, 1, &changed);
    return noErr;
}

OSStatus stop_stream(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream) {
    camera_t* camera = camera_of(self);
    if (device != camera->m_device_id) return kCMIOHardwareBadDeviceError;
    if (stream != camera->m_stream_id) return kCMIOHardwareBadStreamError;
    if (!camera->m_running.load()) return kCMIOHardwareNotRunningError;
    stop_producer(camera);
    const CMIOObjectPropertyAddress changed = global_address(kCMIODevicePropertyDeviceIsRunning);
    CMIOObjectPropertiesChanged(self, camera->m_device_id, 1, &changed);
    return noErr;
}

// Answers an AV/C command with its bytes in reverse order, as much as the response holds.
OSStatus process_avc(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIODeviceAVCCommand* command) {
    if (device != camera_of(self)->m_device_id) return kCMIOHardwareBadDeviceError;
    if (command->mCommand == nullptr || command->mCommandLength == 0) return kCMIOHardwareIllegalOperationError;
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
    if (camera->m_queue == nullptr) {
        OSStatus status = CMSimpleQueueCreate(kCFAllocatorDefault, k_queue_capacity, &camera->m_queue);
        if (status != noErr) return status;
    }
    camera->m_altered_proc = proc;
    camera->m_altered_refcon = refcon;
    CFRetain(camera->m_queue);
    *queue = camera->m_queue;
    return noErr;
}

OSStatus deck_play(CMIOHardwarePlugInRef self, CMIOStreamID) {
    camera_t* camera = camera_of(self);
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_deck.mState = kCMIODeckStatePlay;
    return noErr;
}

OSStatus deck_stop(CMIOHardwarePlugInRef self, CMIOStreamID) {
    camera_t* camera = camera_of(self);
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_deck.mState = kCMIODeckStateStop;
    return noErr;
}

OSStatus deck_jog(CMIOHardwarePlugInRef self, CMIOStreamID, SInt32 speed) {
    if (speed < kCMIODeckShuttleReverseHighSpeed || speed > kCMIODeckShuttlePlayHighSpeed) {
        return kCMIOHardwareIllegalOperationError;
    }
    camera_t* camera = camera_of(self);
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_deck.mState = speed > 0 ? kCMIODeckStateFastForward : kCMIODeckStateFastRewind;
    return noErr;
}

OSStatus deck_cue(CMIOHardwarePlugInRef self, CMIOStreamID, Float64 frame, Boolean play) {
    camera_t* camera = camera_of(self);
    std::lock_guard<std::mutex> lock(camera->m_mutex);
    camera->m_cue_frame = static_cast<UInt64>(frame);
    if (play) camera->m_deck.mState = kCMIODeckStatePlay;
    return noErr;
}

CMIOHardwarePlugInInterface g_interface = {
    nullptr,
    query_interface,
    add_ref,
    release,
    initialize,
    initialize_with_id,
    teardown,
    show,
    has_property,
    is_settable,
    get_size,
    get_data,
    set_data,
    nullptr,  // DeviceSuspend
    nullptr,  // DeviceResume
    start_stream,
    stop_stream,
    process_avc,
    nullptr,  // DeviceProcessRS422Command: the camera has no RS-422 port
    copy_queue,
    deck_play,
    deck_stop,
    deck_jog,
    deck_cue,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void* TestCameraFactory(CFAllocatorRef, CFUUIDRef type) {
    if (!CFEqual(type, kCMIOHardwarePlugInTypeID)) return nullptr;
    auto* camera = new camera_t;
    camera->m_object.m_p_interface = &g_interface;
    camera->m_object.m_p_camera = camera;
    return &camera->m_object;
}

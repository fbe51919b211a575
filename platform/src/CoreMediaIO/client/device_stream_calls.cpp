// The client's device and stream calls, each handed to the function table of the plug-in
// that owns the device or stream, with the plug-in's status returned unchanged.
#include "CoreMediaIO/client/routing.h"
#include "CoreMediaIO/guarded_call.h"

using namespace zav_platform::cmio;

namespace {

constexpr OSStatus k_unspecified = kCMIOHardwareUnspecifiedError;

}  // namespace

extern "C" OSStatus CMIODeviceStartStream(CMIODeviceID deviceID, CMIOStreamID streamID) {
    return guarded_call("CMIODeviceStartStream", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(deviceID, kCMIODeviceClassID);
        if (!route) return kCMIOHardwareBadDeviceError;
        if (table_of(*route).DeviceStartStream == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).DeviceStartStream(route->plugin, deviceID, streamID);
    });
}

extern "C" OSStatus CMIODeviceStopStream(CMIODeviceID deviceID, CMIOStreamID streamID) {
    return guarded_call("CMIODeviceStopStream", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(deviceID, kCMIODeviceClassID);
        if (!route) return kCMIOHardwareBadDeviceError;
        if (table_of(*route).DeviceStopStream == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).DeviceStopStream(route->plugin, deviceID, streamID);
    });
}

extern "C" OSStatus CMIODeviceProcessAVCCommand(CMIODeviceID deviceID, CMIODeviceAVCCommand* ioAVCCommand) {
    return guarded_call("CMIODeviceProcessAVCCommand", k_unspecified, [&]() -> OSStatus {
        if (ioAVCCommand == nullptr) return kCMIOHardwareIllegalOperationError;
        auto route = client_route(deviceID, kCMIODeviceClassID);
        if (!route) return kCMIOHardwareBadDeviceError;
        if (table_of(*route).DeviceProcessAVCCommand == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).DeviceProcessAVCCommand(route->plugin, deviceID, ioAVCCommand);
    });
}

extern "C" OSStatus CMIODeviceProcessRS422Command(CMIODeviceID deviceID, CMIODeviceRS422Command* ioRS422Command) {
    return guarded_call("CMIODeviceProcessRS422Command", k_unspecified, [&]() -> OSStatus {
        if (ioRS422Command == nullptr) return kCMIOHardwareIllegalOperationError;
        auto route = client_route(deviceID, kCMIODeviceClassID);
        if (!route) return kCMIOHardwareBadDeviceError;
        if (table_of(*route).DeviceProcessRS422Command == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).DeviceProcessRS422Command(route->plugin, deviceID, ioRS422Command);
    });
}

extern "C" OSStatus CMIOStreamCopyBufferQueue(CMIOStreamID streamID, CMIODeviceStreamQueueAlteredProc queueAlteredProc,
                                              void* queueAlteredRefCon, CMSimpleQueueRef* queue) {
    return guarded_call("CMIOStreamCopyBufferQueue", k_unspecified, [&]() -> OSStatus {
        if (queue == nullptr) return kCMIOHardwareIllegalOperationError;
        auto route = client_route(streamID, kCMIOStreamClassID);
        if (!route) return kCMIOHardwareBadStreamError;
        if (table_of(*route).StreamCopyBufferQueue == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).StreamCopyBufferQueue(route->plugin, streamID, queueAlteredProc, queueAlteredRefCon,
                                                      queue);
    });
}

extern "C" OSStatus CMIOStreamDeckPlay(CMIOStreamID streamID) {
    return guarded_call("CMIOStreamDeckPlay", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(streamID, kCMIOStreamClassID);
        if (!route) return kCMIOHardwareBadStreamError;
        if (table_of(*route).StreamDeckPlay == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).StreamDeckPlay(route->plugin, streamID);
    });
}

extern "C" OSStatus CMIOStreamDeckStop(CMIOStreamID streamID) {
    return guarded_call("CMIOStreamDeckStop", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(streamID, kCMIOStreamClassID);
        if (!route) return kCMIOHardwareBadStreamError;
        if (table_of(*route).StreamDeckStop == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).StreamDeckStop(route->plugin, streamID);
    });
}

extern "C" OSStatus CMIOStreamDeckJog(CMIOStreamID streamID, SInt32 speed) {
    return guarded_call("CMIOStreamDeckJog", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(streamID, kCMIOStreamClassID);
        if (!route) return kCMIOHardwareBadStreamError;
        if (table_of(*route).StreamDeckJog == nullptr) return kCMIOHardwareUnsupportedOperationError;
        return table_of(*route).StreamDeckJog(route->plugin, streamID, speed);
    });
}

extern "C" OSStatus CMIOStreamDeckCueTo(CMIOStreamID streamID, UInt64 frameNumber, Boolean playOnCue) {
    return guarded_call("CMIOStreamDeckCueTo", k_unspecified, [&]() -> OSStatus {
        auto route = client_route(streamID, kCMIOStreamClassID);
        if (!route) return kCMIOHardwareBadStreamError;
        if (table_of(*route).StreamDeckCueTo == nullptr) return kCMIOHardwareUnsupportedOperationError;
        // The plug-in interface takes the frame number as a Float64.
        return table_of(*route).StreamDeckCueTo(route->plugin, streamID, static_cast<Float64>(frameNumber), playOnCue);
    });
}

// CoreMediaIO hardware: the object, system, device, stream and control headers together, the
// error codes every call may return, and the plug-in object's class.
#ifndef ZAV_PLATFORM_CMIOHARDWARE_H
#define ZAV_PLATFORM_CMIOHARDWARE_H

#include <CoreMediaIO/CMIOHardwareObject.h>
#include <CoreMediaIO/CMIOHardwareSystem.h>
#include <CoreMediaIO/CMIOHardwareDevice.h>
#include <CoreMediaIO/CMIOHardwareStream.h>
#include <CoreMediaIO/CMIOHardwareControl.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

// Status codes of the hardware calls.
enum {
    kCMIOHardwareNoError = 0,
    kCMIOHardwareNotStoppedError = 0x72756E20,           /* 'run ' */
    kCMIOHardwareNotRunningError = 0x73746F70,           /* 'stop' */
    kCMIOHardwareUnspecifiedError = 0x77686174,          /* 'what' */
    kCMIOHardwareUnknownPropertyError = 0x77686F3F,      /* 'who?' */
    kCMIOHardwareBadPropertySizeError = 0x2173697A,      /* '!siz' */
    kCMIOHardwareIllegalOperationError = 0x6E6F7065,     /* 'nope' */
    kCMIOHardwareBadObjectError = 0x216F626A,            /* '!obj' */
    kCMIOHardwareBadDeviceError = 0x21646576,            /* '!dev' */
    kCMIOHardwareBadStreamError = 0x21737472,            /* '!str' */
    kCMIOHardwareUnsupportedOperationError = 0x756E6F70, /* 'unop' */
    kCMIOHardwareSuspendedBySystemError = 0x64656E79,    /* 'deny' */
    kCMIODeviceUnsupportedFormatError = 0x21646174,      /* '!dat' */
    kCMIODevicePermissionsError = 0x21686F67,            /* '!hog' */
};

// The object that stands for a loaded plug-in.
enum {
    kCMIOPlugInClassID = 0x61706C67, /* 'aplg' */
};

enum {
    kCMIOPlugInPropertyBundleID = 0x70696964, /* 'piid' */
};

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

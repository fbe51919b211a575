// The system object (kCMIOObjectSystemObject): the root of the object tree, which lists the
// devices of every loaded plug-in and holds process-wide settings.
#ifndef ZAV_PLATFORM_CMIOHARDWARESYSTEM_H
#define ZAV_PLATFORM_CMIOHARDWARESYSTEM_H

#include <CoreFoundation/CFArray.h>
#include <CoreMediaIO/CMIOHardwareObject.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

typedef CMIOObjectPropertySelector CMIOHardwarePropertyID;

enum {
    kCMIOSystemObjectClassID = 0x61737973, /* 'asys' */
    kCMIOObjectSystemObject = 1UL,
};

// Properties of the system object.
enum {
    kCMIOHardwarePropertyProcessIsMain = 0x6D61696E, /* 'main' */
    // The name used before macOS 12 (its own value, as in the real framework).
    kCMIOHardwarePropertyProcessIsMaster = 0x6D617374,                   /* 'mast' */
    kCMIOHardwarePropertyIsInitingOrExiting = 0x696E6F74,                /* 'inot' */
    kCMIOHardwarePropertyDevices = 0x64657623,                           /* 'dev#' */
    kCMIOHardwarePropertyDefaultInputDevice = 0x64496E20,                /* 'dIn ' */
    kCMIOHardwarePropertyDefaultOutputDevice = 0x644F7574,               /* 'dOut' */
    kCMIOHardwarePropertyDeviceForUID = 0x64756964,                      /* 'duid' */
    kCMIOHardwarePropertySleepingIsAllowed = 0x736C6570,                 /* 'slep' */
    kCMIOHardwarePropertyUnloadingIsAllowed = 0x756E6C64,                /* 'unld' */
    kCMIOHardwarePropertyPlugInForBundleID = 0x70696269,                 /* 'pibi' */
    kCMIOHardwarePropertyUserSessionIsActiveOrHeadless = 0x75736572,     /* 'user' */
    kCMIOHardwarePropertySuspendedBySystem = 0x73627973,                 /* 'sbys' */
    kCMIOHardwarePropertyAllowScreenCaptureDevices = 0x79657320,         /* 'yes ' */
    kCMIOHardwarePropertyAllowWirelessScreenCaptureDevices = 0x77736364, /* 'wscd' */
};

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

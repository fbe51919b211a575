// The plug-in interface: the COM-style function table a DAL plug-in hands out, the type and
// interface UUIDs that find it, and the calls a plug-in makes to tell the DAL system about
// its objects.
#ifndef ZAV_PLATFORM_CMIOHARDWAREPLUGIN_H
#define ZAV_PLATFORM_CMIOHARDWAREPLUGIN_H

#include <CoreMediaIO/CMIOHardware.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreFoundation/CFPlugInCOM.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

typedef struct CMIOHardwarePlugInInterface CMIOHardwarePlugInInterface;
typedef CMIOHardwarePlugInInterface** CMIOHardwarePlugInRef;

// The plug-in type (30010C1C-93BF-11D8-8B5B-000A95AF9C6A), the key under CFPlugInTypes in a
// bundle's Info.plist whose factories make DAL plug-ins.
#define kCMIOHardwarePlugInTypeID                                                                                      \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x30, 0x01, 0x0C, 0x1C, 0x93, 0xBF, 0x11, 0xD8, 0x8B, 0x5B, 0x00, 0x0A, 0x95, \
                                   0xAF, 0x9C, 0x6A)

// The interface (B89DFABA-93BF-11D8-8EA6-000A95AF9C6A) asked for through QueryInterface.
#define kCMIOHardwarePlugInInterfaceID                                                                                 \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0xB8, 0x9D, 0xFA, 0xBA, 0x93, 0xBF, 0x11, 0xD8, 0x8E, 0xA6, 0x00, 0x0A, 0x95, \
                                   0xAF, 0x9C, 0x6A)

// The function table. The first four members are IUnknown's; the order of all members is
// fixed, as plug-ins fill the table by position.
struct CMIOHardwarePlugInInterface {
    void* _reserved;
    HRESULT(STDMETHODCALLTYPE* QueryInterface)(void* self, REFIID uuid, LPVOID* interface);
    ULONG(STDMETHODCALLTYPE* AddRef)(void* self);
    ULONG(STDMETHODCALLTYPE* Release)(void* self);

    OSStatus (*Initialize)(CMIOHardwarePlugInRef self);
    OSStatus (*InitializeWithObjectID)(CMIOHardwarePlugInRef self, CMIOObjectID objectID);
    OSStatus (*Teardown)(CMIOHardwarePlugInRef self);

    void (*ObjectShow)(CMIOHardwarePlugInRef self, CMIOObjectID objectID);
    Boolean (*ObjectHasProperty)(CMIOHardwarePlugInRef self, CMIOObjectID objectID,
                                 const CMIOObjectPropertyAddress* address);
    OSStatus (*ObjectIsPropertySettable)(CMIOHardwarePlugInRef self, CMIOObjectID objectID,
                                         const CMIOObjectPropertyAddress* address, Boolean* isSettable);
    OSStatus (*ObjectGetPropertyDataSize)(CMIOHardwarePlugInRef self, CMIOObjectID objectID,
                                          const CMIOObjectPropertyAddress* address, UInt32 qualifierDataSize,
                                          const void* qualifierData, UInt32* dataSize);
    OSStatus (*ObjectGetPropertyData)(CMIOHardwarePlugInRef self, CMIOObjectID objectID,
                                      const CMIOObjectPropertyAddress* address, UInt32 qualifierDataSize,
                                      const void* qualifierData, UInt32 dataSize, UInt32* dataUsed, void* data);
    OSStatus (*ObjectSetPropertyData)(CMIOHardwarePlugInRef self, CMIOObjectID objectID,
                                      const CMIOObjectPropertyAddress* address, UInt32 qualifierDataSize,
                                      const void* qualifierData, UInt32 dataSize, const void* data);

    OSStatus (*DeviceSuspend)(CMIOHardwarePlugInRef self, CMIODeviceID device);
    OSStatus (*DeviceResume)(CMIOHardwarePlugInRef self, CMIODeviceID device);
    OSStatus (*DeviceStartStream)(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream);
    OSStatus (*DeviceStopStream)(CMIOHardwarePlugInRef self, CMIODeviceID device, CMIOStreamID stream);
    OSStatus (*DeviceProcessAVCCommand)(CMIOHardwarePlugInRef self, CMIODeviceID device,
                                        CMIODeviceAVCCommand* ioAVCCommand);
    OSStatus (*DeviceProcessRS422Command)(CMIOHardwarePlugInRef self, CMIODeviceID device,
                                          CMIODeviceRS422Command* ioRS422Command);

    OSStatus (*StreamCopyBufferQueue)(CMIOHardwarePlugInRef self, CMIOStreamID stream,
                                      CMIODeviceStreamQueueAlteredProc queueAlteredProc, void* queueAlteredRefCon,
                                      CMSimpleQueueRef* queue);
    OSStatus (*StreamDeckPlay)(CMIOHardwarePlugInRef self, CMIOStreamID stream);
    OSStatus (*StreamDeckStop)(CMIOHardwarePlugInRef self, CMIOStreamID stream);
    OSStatus (*StreamDeckJog)(CMIOHardwarePlugInRef self, CMIOStreamID stream, SInt32 speed);
    OSStatus (*StreamDeckCueTo)(CMIOHardwarePlugInRef self, CMIOStreamID stream, Float64 frameNumber,
                                Boolean playOnCue);
};

// Makes a new object of `classID` owned by `owningObjectID` (the plug-in object, a device,
// or kCMIOObjectSystemObject) and gives back its id. The object is not visible to clients
// until published.
extern OSStatus CMIOObjectCreate(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID owningObjectID, CMIOClassID classID,
                                 CMIOObjectID* objectID);

// Announces objects that became visible and objects that went away, all owned by
// `owningObjectID`.
extern OSStatus CMIOObjectsPublishedAndDied(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID owningObjectID,
                                            UInt32 numberPublishedCMIOObjects,
                                            const CMIOObjectID publishedCMIOObjects[], UInt32 numberDeadCMIOObjects,
                                            const CMIOObjectID deadCMIOObjects[]);

// Tells the clients listening on `objectID` that the given properties changed.
extern OSStatus CMIOObjectPropertiesChanged(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID objectID,
                                            UInt32 numberAddresses, const CMIOObjectPropertyAddress addresses[]);

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

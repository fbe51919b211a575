// CoreMediaIO objects: property addresses, object and class ids, the properties every object
// has, and the client calls that read, write and watch properties. Routed by the DAL system to
// the plug-in that owns the object.
#ifndef ZAV_PLATFORM_CMIOHARDWAREOBJECT_H
#define ZAV_PLATFORM_CMIOHARDWAREOBJECT_H

#include <CoreFoundation/CFBase.h>

#ifdef __cplusplus
extern "C" {
#endif

// Structures keep the 4-byte packing the real framework uses, so layouts match.
#pragma pack(push, 4)

typedef UInt32 CMIOObjectPropertySelector;
typedef UInt32 CMIOObjectPropertyScope;
typedef UInt32 CMIOObjectPropertyElement;

// Names one property of an object: what (selector), in which direction (scope) and which
// element (0 is the object as a whole).
struct CMIOObjectPropertyAddress {
    CMIOObjectPropertySelector mSelector;
    CMIOObjectPropertyScope mScope;
    CMIOObjectPropertyElement mElement;
};
typedef struct CMIOObjectPropertyAddress CMIOObjectPropertyAddress;

enum {
    kCMIOObjectPropertySelectorWildcard = 0x2A2A2A2A, /* '****' */
    kCMIOObjectPropertyScopeWildcard = 0x2A2A2A2A,    /* '****' */
    kCMIOObjectPropertyElementWildcard = 0xFFFFFFFFUL,
};

typedef UInt32 CMIOClassID;
typedef UInt32 CMIOObjectID;

// Called when properties of an object changed; `addresses` names the ones that did.
typedef OSStatus (*CMIOObjectPropertyListenerProc)(CMIOObjectID objectID, UInt32 numberAddresses,
                                                   const CMIOObjectPropertyAddress addresses[], void* clientData);

enum {
    kCMIOObjectPropertyScopeGlobal = 0x676C6F62, /* 'glob' */
    kCMIOObjectPropertyElementMain = 0UL,
    // The name used before macOS 12; same value.
    kCMIOObjectPropertyElementMaster = kCMIOObjectPropertyElementMain,
    kCMIOObjectClassID = 0x616F626A,         /* 'aobj' */
    kCMIOObjectClassIDWildcard = 0x2A2A2A2A, /* '****' */
    kCMIOObjectUnknown = 0UL,
};

// Properties of every object.
enum {
    kCMIOObjectPropertyClass = 0x636C6173,               /* 'clas' */
    kCMIOObjectPropertyOwner = 0x73746476,               /* 'stdv' */
    kCMIOObjectPropertyCreator = 0x6F706C67,             /* 'oplg' */
    kCMIOObjectPropertyName = 0x6C6E616D,                /* 'lnam' */
    kCMIOObjectPropertyManufacturer = 0x6C6D616B,        /* 'lmak' */
    kCMIOObjectPropertyElementName = 0x6C63686E,         /* 'lchn' */
    kCMIOObjectPropertyElementCategoryName = 0x6C63636E, /* 'lccn' */
    kCMIOObjectPropertyElementNumberName = 0x6C636E6E,   /* 'lcnn' */
    kCMIOObjectPropertyOwnedObjects = 0x6F776E64,        /* 'ownd' */
    kCMIOObjectPropertyListenerAdded = 0x6C697361,       /* 'lisa' */
    kCMIOObjectPropertyListenerRemoved = 0x6C697372,     /* 'lisr' */
};

// Prints a description of the object on the standard error stream.
extern void CMIOObjectShow(CMIOObjectID objectID);

extern Boolean CMIOObjectHasProperty(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address);

extern OSStatus CMIOObjectIsPropertySettable(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                             Boolean* isSettable);

extern OSStatus CMIOObjectGetPropertyDataSize(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                              UInt32 qualifierDataSize, const void* qualifierData, UInt32* dataSize);

extern OSStatus CMIOObjectGetPropertyData(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                          UInt32 qualifierDataSize, const void* qualifierData, UInt32 dataSize,
                                          UInt32* dataUsed, void* data);

extern OSStatus CMIOObjectSetPropertyData(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                          UInt32 qualifierDataSize, const void* qualifierData, UInt32 dataSize,
                                          const void* data);

// A listener is known by its object, address, procedure and client data together; the
// address may hold wildcards.
extern OSStatus CMIOObjectAddPropertyListener(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                              CMIOObjectPropertyListenerProc listener, void* clientData);

extern OSStatus CMIOObjectRemovePropertyListener(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                                 CMIOObjectPropertyListenerProc listener, void* clientData);

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

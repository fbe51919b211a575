// Core Foundation plug-in conventions: factory functions and the instance accounting that
// a plug-in reports while objects of its factories are alive.
#ifndef ZAV_PLATFORM_CFPLUGIN_H
#define ZAV_PLATFORM_CFPLUGIN_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

typedef void* (*CFPlugInFactoryFunction)(CFAllocatorRef allocator, CFUUIDRef typeUUID);

// A plug-in calls these when an instance made by one of its factories comes and goes; the
// counts are per factory id.
CF_EXPORT void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID);
CF_EXPORT void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID);

CF_EXTERN_C_END

#endif

// Core Foundation bundle and plug-in object types (the loading itself belongs to the system
// that hosts plug-ins).
#ifndef ZAV_PLATFORM_CFBUNDLE_H
#define ZAV_PLATFORM_CFBUNDLE_H

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef struct __CFBundle* CFBundleRef;
typedef struct __CFBundle* CFPlugInRef;

CF_EXTERN_C_END

#endif

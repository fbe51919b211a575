// Instance counts that plug-ins report per factory (CFPlugInAddInstanceForFactory), for the
// system that hosts plug-ins: a plug-in with live instances must stay loaded.
#ifndef ZAV_PLATFORM_CF_PLUGIN_INSTANCES_H
#define ZAV_PLATFORM_CF_PLUGIN_INSTANCES_H

#include <CoreFoundation/CFUUID.h>

namespace zav_platform {

// Live instances of the factory with this id (0 when it never reported any).
long plugin_factory_instances(CFUUIDBytes factory_id);

}  // namespace zav_platform

#endif

// The properties of the system object (kCMIOObjectSystemObject), answered by the DAL system
// itself: the device list, the default devices, the loaded plug-ins and the process-wide
// switches that clients may set.
#ifndef ZAV_PLATFORM_CMIO_SYSTEM_OBJECT_H
#define ZAV_PLATFORM_CMIO_SYSTEM_OBJECT_H

#include <CoreMediaIO/CMIOHardware.h>

#include <vector>

namespace zav_platform::cmio {

// The ids of `ids` whose class is in the qualifier (an array of CMIOClassID); all of them
// when the qualifier is empty. kCMIOObjectClassID and the wildcard stand for every class.
std::vector<CMIOObjectID> filter_by_class_qualifier(const std::vector<CMIOObjectID>& ids, UInt32 qualifier_size,
                                                    const void* qualifier);

Boolean system_has_property(const CMIOObjectPropertyAddress& address);
OSStatus system_is_property_settable(const CMIOObjectPropertyAddress& address, Boolean* settable);
OSStatus system_get_property_data_size(const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                                       const void* qualifier, UInt32* data_size);
OSStatus system_get_property_data(const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                                  const void* qualifier, UInt32 data_size, UInt32* data_used, void* data);
OSStatus system_set_property_data(const CMIOObjectPropertyAddress& address, UInt32 data_size, const void* data);
void system_show();

// Back to the defaults (screen capture devices allowed, wireless ones not, sleeping and
// unloading allowed).
void reset_system_settings();

}  // namespace zav_platform::cmio

#endif

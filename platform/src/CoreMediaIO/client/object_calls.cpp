// The client's property calls. The system object is answered here; every other object goes to
// the function table of the plug-in that made it, and the plug-in's status comes back as is.
#include "CoreMediaIO/client/routing.h"
#include "CoreMediaIO/client/system_object.h"
#include "CoreMediaIO/guarded_call.h"
#include "CoreMediaIO/listeners.h"

#include <cstdio>

using namespace zav_platform::cmio;

namespace {

constexpr OSStatus k_unspecified = kCMIOHardwareUnspecifiedError;

// Tells a plug-in object that a listener came or went, when the object has the property for
// it; the DAL system ignores the answer, as the listener itself is kept either way.
void tell_plugin_about_listener(const route_t& route, CMIOObjectPropertySelector selector,
                                const CMIOObjectPropertyAddress& address) {
    const CMIOHardwarePlugInInterface& table = table_of(route);
    if (table.ObjectHasProperty == nullptr || table.ObjectSetPropertyData == nullptr) return;
    const CMIOObjectPropertyAddress notice{selector, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain};
    if (!table.ObjectHasProperty(route.plugin, route.object.id, &notice)) return;
    table.ObjectSetPropertyData(route.plugin, route.object.id, &notice, 0, nullptr, sizeof address, &address);
}

// The plug-in behind the object a listener is for: none for the system object, which is answered
// here. False when the object does not exist.
bool find_listener_route(CMIOObjectID objectID, std::optional<route_t>& route) {
    dal_system_t::instance().ensure_loaded();
    if (objectID == kCMIOObjectSystemObject) return true;
    route = client_route(objectID);
    return route.has_value();
}

}  // namespace

extern "C" void CMIOObjectShow(CMIOObjectID objectID) {
    guarded_call("CMIOObjectShow", 0, [&] {
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) {
            system_show();
            return 0;
        }
        auto route = client_route(objectID);
        if (!route) {
            std::fprintf(stderr, "CMIO object %u: no such object\n", static_cast<unsigned>(objectID));
        } else if (table_of(*route).ObjectShow != nullptr) {
            table_of(*route).ObjectShow(route->plugin, objectID);
        }
        return 0;
    });
}

extern "C" Boolean CMIOObjectHasProperty(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address) {
    return guarded_call("CMIOObjectHasProperty", Boolean(false), [&]() -> Boolean {
        if (address == nullptr) return false;
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) return system_has_property(*address);
        auto route = client_route(objectID);
        if (!route || table_of(*route).ObjectHasProperty == nullptr) return false;
        return table_of(*route).ObjectHasProperty(route->plugin, objectID, address);
    });
}

extern "C" OSStatus CMIOObjectIsPropertySettable(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                                 Boolean* isSettable) {
    return guarded_call("CMIOObjectIsPropertySettable", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr || isSettable == nullptr) return kCMIOHardwareIllegalOperationError;
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) return system_is_property_settable(*address, isSettable);
        auto route = client_route(objectID);
        if (!route) return kCMIOHardwareBadObjectError;
        if (table_of(*route).ObjectIsPropertySettable == nullptr) return kCMIOHardwareUnknownPropertyError;
        return table_of(*route).ObjectIsPropertySettable(route->plugin, objectID, address, isSettable);
    });
}

extern "C" OSStatus CMIOObjectGetPropertyDataSize(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                                  UInt32 qualifierDataSize, const void* qualifierData,
                                                  UInt32* dataSize) {
    return guarded_call("CMIOObjectGetPropertyDataSize", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr || dataSize == nullptr) return kCMIOHardwareIllegalOperationError;
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) {
            return system_get_property_data_size(*address, qualifierDataSize, qualifierData, dataSize);
        }
        auto route = client_route(objectID);
        if (!route) return kCMIOHardwareBadObjectError;
        if (table_of(*route).ObjectGetPropertyDataSize == nullptr) return kCMIOHardwareUnknownPropertyError;
        return table_of(*route).ObjectGetPropertyDataSize(route->plugin, objectID, address, qualifierDataSize,
                                                          qualifierData, dataSize);
    });
}

extern "C" OSStatus CMIOObjectGetPropertyData(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                              UInt32 qualifierDataSize, const void* qualifierData, UInt32 dataSize,
                                              UInt32* dataUsed, void* data) {
    return guarded_call("CMIOObjectGetPropertyData", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr || dataUsed == nullptr) return kCMIOHardwareIllegalOperationError;
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) {
            return system_get_property_data(*address, qualifierDataSize, qualifierData, dataSize, dataUsed, data);
        }
        auto route = client_route(objectID);
        if (!route) return kCMIOHardwareBadObjectError;
        if (table_of(*route).ObjectGetPropertyData == nullptr) return kCMIOHardwareUnknownPropertyError;
        return table_of(*route).ObjectGetPropertyData(route->plugin, objectID, address, qualifierDataSize,
                                                      qualifierData, dataSize, dataUsed, data);
    });
}

extern "C" OSStatus CMIOObjectSetPropertyData(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                              UInt32 qualifierDataSize, const void* qualifierData, UInt32 dataSize,
                                              const void* data) {
    return guarded_call("CMIOObjectSetPropertyData", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr) return kCMIOHardwareIllegalOperationError;
        dal_system_t::instance().ensure_loaded();
        if (objectID == kCMIOObjectSystemObject) return system_set_property_data(*address, dataSize, data);
        auto route = client_route(objectID);
        if (!route) return kCMIOHardwareBadObjectError;
        if (table_of(*route).ObjectSetPropertyData == nullptr) return kCMIOHardwareUnknownPropertyError;
        return table_of(*route).ObjectSetPropertyData(route->plugin, objectID, address, qualifierDataSize,
                                                      qualifierData, dataSize, data);
    });
}

extern "C" OSStatus CMIOObjectAddPropertyListener(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                                  CMIOObjectPropertyListenerProc listener, void* clientData) {
    return guarded_call("CMIOObjectAddPropertyListener", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr || listener == nullptr) return kCMIOHardwareIllegalOperationError;
        std::optional<route_t> route;
        if (!find_listener_route(objectID, route)) return kCMIOHardwareBadObjectError;
        // Adding the same listener again keeps one registration.
        if (listener_registry_t::instance().add(objectID, *address, listener, clientData) && route) {
            tell_plugin_about_listener(*route, kCMIOObjectPropertyListenerAdded, *address);
        }
        return kCMIOHardwareNoError;
    });
}

extern "C" OSStatus CMIOObjectRemovePropertyListener(CMIOObjectID objectID, const CMIOObjectPropertyAddress* address,
                                                     CMIOObjectPropertyListenerProc listener, void* clientData) {
    return guarded_call("CMIOObjectRemovePropertyListener", k_unspecified, [&]() -> OSStatus {
        if (address == nullptr || listener == nullptr) return kCMIOHardwareIllegalOperationError;
        std::optional<route_t> route;
        if (!find_listener_route(objectID, route)) return kCMIOHardwareBadObjectError;
        if (!listener_registry_t::instance().remove(objectID, *address, listener, clientData)) {
            return kCMIOHardwareIllegalOperationError;
        }
        if (route) tell_plugin_about_listener(*route, kCMIOObjectPropertyListenerRemoved, *address);
        return kCMIOHardwareNoError;
    });
}

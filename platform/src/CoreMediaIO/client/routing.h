// Shared steps of the client calls: load the plug-ins on first use, then find the function
// table that answers for an object.
#ifndef ZAV_PLATFORM_CMIO_ROUTING_H
#define ZAV_PLATFORM_CMIO_ROUTING_H

#include "CoreMediaIO/dal/dal_system.h"

#include <optional>

namespace zav_platform::cmio {

// Loads the plug-ins if needed and routes `object`; nothing for unknown objects (the system
// object included, which the DAL system answers itself).
inline std::optional<route_t> client_route(CMIOObjectID object) {
    dal_system_t& system = dal_system_t::instance();
    system.ensure_loaded();
    return system.route(object);
}

// As client_route, but only for an object of `class_id`.
inline std::optional<route_t> client_route(CMIOObjectID object, CMIOClassID class_id) {
    std::optional<route_t> route = client_route(object);
    if (!route || route->object.class_id != class_id) return std::nullopt;
    return route;
}

inline const CMIOHardwarePlugInInterface& table_of(const route_t& route) {
    return **route.plugin;
}

}  // namespace zav_platform::cmio

#endif

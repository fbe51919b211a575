#include <zav_platform/probe.h>

#include "../CoreFoundation/cf_registry.h"

namespace zav_platform::probe {

std::size_t live_object_count() {
    return cf_registry_t::instance().live_count();
}

std::size_t live_object_count(CFTypeID type_id) {
    return cf_registry_t::instance().live_count(type_id);
}

std::map<std::string, std::size_t> live_objects_by_type() {
    return cf_registry_t::instance().live_by_type();
}

}  // namespace zav_platform::probe

#include "cf_object.h"

#include "cf_registry.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace zav_platform {

cf_object_t::cf_object_t(CFTypeID type_id) : m_type_id(type_id) {
    cf_registry_t::instance().object_born(type_id);
}

cf_object_t::~cf_object_t() {
    if (!m_constant) cf_registry_t::instance().object_died(m_type_id);
}

std::string cf_object_t::description() const {
    char text[96];
    const char* name = cf_type_name(m_type_id);
    std::snprintf(text, sizeof text, "<%s %p [retain count %ld]>", name ? name : "CFType",
                  static_cast<const void*>(this), static_cast<long>(retain_count()));
    return text;
}

void cf_object_t::retain() {
    if (m_constant) return;
    if (m_retain_count.fetch_add(1, std::memory_order_relaxed) <= 0) cf_fatal("CFRetain of a freed object");
}

void cf_object_t::release() {
    if (m_constant) return;
    const CFIndex before = m_retain_count.fetch_sub(1, std::memory_order_acq_rel);
    if (before <= 0) cf_fatal("CFRelease of a freed object");
    if (before == 1) delete this;
}

CFIndex cf_object_t::retain_count() const {
    return m_constant ? std::numeric_limits<CFIndex>::max() : m_retain_count.load(std::memory_order_relaxed);
}

void cf_object_t::make_constant() {
    if (m_constant) return;
    m_constant = true;
    cf_registry_t::instance().object_died(m_type_id);
}

CFTypeID register_cf_type(const char* name) {
    return cf_registry_t::instance().register_type(name);
}

const char* cf_type_name(CFTypeID type_id) {
    return cf_registry_t::instance().type_name(type_id);
}

void cf_fatal(const char* what) {
    std::fprintf(stderr, "CoreFoundation: %s\n", what);
    std::abort();
}

}  // namespace zav_platform

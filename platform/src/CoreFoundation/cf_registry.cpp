#include "cf_registry.h"

#include "cf_object.h"

namespace zav_platform {

cf_registry_t& cf_registry_t::instance() {
    // Never destroyed: objects may die during static destruction of other libraries.
    static cf_registry_t* registry = new cf_registry_t;
    return *registry;
}

CFTypeID cf_registry_t::register_type(const char* name) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::size_t count = m_type_count.load();
    if (count + 1 >= k_max_types) cf_fatal("too many Core Foundation types registered");
    const std::size_t id = count + 1;
    m_names[id] = name;
    m_type_count.store(count + 1);
    return id;
}

const char* cf_registry_t::type_name(CFTypeID type_id) const {
    if (type_id == 0 || type_id > m_type_count.load()) return nullptr;
    return m_names[type_id];
}

void cf_registry_t::object_born(CFTypeID type_id) {
    if (type_id < k_max_types) m_live[type_id].fetch_add(1, std::memory_order_relaxed);
}

void cf_registry_t::object_died(CFTypeID type_id) {
    if (type_id < k_max_types) m_live[type_id].fetch_sub(1, std::memory_order_relaxed);
}

std::size_t cf_registry_t::live_count() const {
    long total = 0;
    for (const auto& live : m_live) total += live.load(std::memory_order_relaxed);
    return total > 0 ? static_cast<std::size_t>(total) : 0;
}

std::size_t cf_registry_t::live_count(CFTypeID type_id) const {
    if (type_id >= k_max_types) return 0;
    const long live = m_live[type_id].load(std::memory_order_relaxed);
    return live > 0 ? static_cast<std::size_t>(live) : 0;
}

std::map<std::string, std::size_t> cf_registry_t::live_by_type() const {
    std::map<std::string, std::size_t> result;
    const std::size_t count = m_type_count.load();
    for (std::size_t id = 1; id <= count; ++id) {
        const long live = m_live[id].load(std::memory_order_relaxed);
        if (live > 0) result[m_names[id]] = static_cast<std::size_t>(live);
    }
    return result;
}

}  // namespace zav_platform

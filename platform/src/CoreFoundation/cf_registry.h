// Registered Core Foundation types and the count of live objects of each, for CFGetTypeID,
// CFCopyTypeIDDescription and the leak checks of the probe header.
#ifndef ZAV_PLATFORM_CF_REGISTRY_H
#define ZAV_PLATFORM_CF_REGISTRY_H

#include <CoreFoundation/CFBase.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace zav_platform {

class cf_registry_t {
public:
    static cf_registry_t& instance();

    CFTypeID register_type(const char* name);
    const char* type_name(CFTypeID type_id) const;

    void object_born(CFTypeID type_id);
    void object_died(CFTypeID type_id);

    std::size_t live_count() const;
    std::size_t live_count(CFTypeID type_id) const;
    std::map<std::string, std::size_t> live_by_type() const;

private:
    // Far more than the platform registers; a fixed table keeps the counters lock-free.
    static constexpr std::size_t k_max_types = 128;

    mutable std::mutex m_mutex;  // guards registration
    std::atomic<std::size_t> m_type_count{0};
    std::array<const char*, k_max_types> m_names{};
    std::array<std::atomic<long>, k_max_types> m_live{};
};

}  // namespace zav_platform

#endif

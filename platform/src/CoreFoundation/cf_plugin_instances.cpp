#include "cf_plugin_instances.h"

#include <CoreFoundation/CFPlugIn.h>

#include <array>
#include <cstring>
#include <map>
#include <mutex>

namespace zav_platform {
namespace {

using key_t = std::array<UInt8, 16>;

struct instances_t {
    std::mutex m_mutex;
    std::map<key_t, long> m_counts;
};

instances_t& instances() {
    static auto* s_instances = new instances_t;
    return *s_instances;
}

key_t key_of(CFUUIDBytes bytes) {
    key_t key;
    std::memcpy(key.data(), &bytes, sizeof bytes);
    return key;
}

}  // namespace

long plugin_factory_instances(CFUUIDBytes factory_id) {
    instances_t& all = instances();
    std::lock_guard<std::mutex> lock(all.m_mutex);
    const auto found = all.m_counts.find(key_of(factory_id));
    return found != all.m_counts.end() ? found->second : 0;
}

}  // namespace zav_platform

using namespace zav_platform;

void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID) {
    if (factoryID == nullptr || CFGetTypeID(factoryID) != CFUUIDGetTypeID()) return;
    instances_t& all = instances();
    std::lock_guard<std::mutex> lock(all.m_mutex);
    ++all.m_counts[key_of(CFUUIDGetUUIDBytes(factoryID))];
}

void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID) {
    if (factoryID == nullptr || CFGetTypeID(factoryID) != CFUUIDGetTypeID()) return;
    instances_t& all = instances();
    std::lock_guard<std::mutex> lock(all.m_mutex);
    // More removals than additions are a plug-in bug; the count stays at zero.
    long& count = all.m_counts[key_of(CFUUIDGetUUIDBytes(factoryID))];
    if (count > 0) --count;
}

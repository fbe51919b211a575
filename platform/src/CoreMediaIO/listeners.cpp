#include "CoreMediaIO/listeners.h"

#include <algorithm>
#include <cstdio>

namespace zav_platform::cmio {

bool addresses_match(const CMIOObjectPropertyAddress& a, const CMIOObjectPropertyAddress& b) {
    auto field = [](UInt32 x, UInt32 y, UInt32 wildcard) { return x == y || x == wildcard || y == wildcard; };
    return field(a.mSelector, b.mSelector, kCMIOObjectPropertySelectorWildcard) &&
           field(a.mScope, b.mScope, kCMIOObjectPropertyScopeWildcard) &&
           field(a.mElement, b.mElement, kCMIOObjectPropertyElementWildcard);
}

listener_registry_t& listener_registry_t::instance() {
    static listener_registry_t* registry = new listener_registry_t;
    return *registry;
}

bool listener_registry_t::same(const listener_t& l, CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                               CMIOObjectPropertyListenerProc proc, void* client_data) {
    return l.object == object && l.address.mSelector == address.mSelector && l.address.mScope == address.mScope &&
           l.address.mElement == address.mElement && l.proc == proc && l.client_data == client_data;
}

bool listener_registry_t::add(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                              CMIOObjectPropertyListenerProc proc, void* client_data) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const listener_t& l : m_listeners) {
        if (same(l, object, address, proc, client_data)) return false;
    }
    m_listeners.push_back({object, address, proc, client_data});
    return true;
}

bool listener_registry_t::remove(CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                                 CMIOObjectPropertyListenerProc proc, void* client_data) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = std::find_if(m_listeners.begin(), m_listeners.end(),
                              [&](const listener_t& l) { return same(l, object, address, proc, client_data); });
    if (found == m_listeners.end()) return false;
    m_listeners.erase(found);
    return true;
}

void listener_registry_t::remove_object(CMIOObjectID object) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_listeners.erase(
        std::remove_if(m_listeners.begin(), m_listeners.end(), [&](const listener_t& l) { return l.object == object; }),
        m_listeners.end());
}

void listener_registry_t::notify(CMIOObjectID object, UInt32 count, const CMIOObjectPropertyAddress* addresses) const {
    if (count == 0 || addresses == nullptr) return;
    struct call_t {
        CMIOObjectPropertyListenerProc proc;
        void* client_data;
        std::vector<CMIOObjectPropertyAddress> matched;
    };
    std::vector<call_t> calls;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const listener_t& l : m_listeners) {
            if (l.object != object) continue;
            call_t call{l.proc, l.client_data, {}};
            for (UInt32 i = 0; i < count; ++i) {
                if (addresses_match(l.address, addresses[i])) call.matched.push_back(addresses[i]);
            }
            if (!call.matched.empty()) calls.push_back(std::move(call));
        }
    }
    for (const call_t& call : calls) {
        try {
            call.proc(object, static_cast<UInt32>(call.matched.size()), call.matched.data(), call.client_data);
        } catch (...) {
            std::fprintf(stderr, "CoreMediaIO: a property listener on object %u threw; ignored\n",
                         static_cast<unsigned>(object));
        }
    }
}

void listener_registry_t::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_listeners.clear();
}

}  // namespace zav_platform::cmio

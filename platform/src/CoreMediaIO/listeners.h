// Client property listeners and the delivery of change notices to them. A notice from a
// plug-in (CMIOObjectPropertiesChanged) or from the DAL system (device list changes) reaches
// every listener on that object whose address matches; wildcards in either address match any
// value. Listeners are called on the thread that reported the change, with no lock held, so
// that they may add or remove listeners and call back into CoreMediaIO.
#ifndef ZAV_PLATFORM_CMIO_LISTENERS_H
#define ZAV_PLATFORM_CMIO_LISTENERS_H

#include <CoreMediaIO/CMIOHardwareObject.h>

#include <mutex>
#include <vector>

namespace zav_platform::cmio {

bool addresses_match(const CMIOObjectPropertyAddress& a, const CMIOObjectPropertyAddress& b);

class listener_registry_t {
public:
    static listener_registry_t& instance();

    // False when the same listener (object, address, procedure, client data) is already there.
    bool add(CMIOObjectID object, const CMIOObjectPropertyAddress& address, CMIOObjectPropertyListenerProc proc,
             void* client_data);
    // False when there was no such listener.
    bool remove(CMIOObjectID object, const CMIOObjectPropertyAddress& address, CMIOObjectPropertyListenerProc proc,
                void* client_data);
    // Drops every listener on objects that went away.
    void remove_object(CMIOObjectID object);

    // Calls each matching listener once with the addresses that matched it.
    void notify(CMIOObjectID object, UInt32 count, const CMIOObjectPropertyAddress* addresses) const;

    void clear();

private:
    struct listener_t {
        CMIOObjectID object;
        CMIOObjectPropertyAddress address;
        CMIOObjectPropertyListenerProc proc;
        void* client_data;
    };
    static bool same(const listener_t& l, CMIOObjectID object, const CMIOObjectPropertyAddress& address,
                     CMIOObjectPropertyListenerProc proc, void* client_data);

    mutable std::mutex m_mutex;
    std::vector<listener_t> m_listeners;
};

}  // namespace zav_platform::cmio

#endif

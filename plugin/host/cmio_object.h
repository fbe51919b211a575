// An object that exists in the host: created there with an id, published to clients, and
// answering property requests only while published.
#ifndef ZAV_PLUGIN_HOST_CMIO_OBJECT_H
#define ZAV_PLUGIN_HOST_CMIO_OBJECT_H

#include "host/object_base.h"

#include <atomic>

namespace Drivers::Mac::ZAV::VirtualCamera {

class cmio_object_t : public object_base_t<CMIOObjectPropertyAddress> {
public:
    // Takes the plug-in reference from the owner (none without owner).
    cmio_object_t(CMIOClassID class_id, cmio_object_t* owner);
    // An object without owner, for the given plug-in instance.
    cmio_object_t(CMIOClassID class_id, CMIOHardwarePlugInRef plugin_ref);
    // Unpublishes an object that is still published, with a log line: it should have been
    // unpublished by its owner first.
    ~cmio_object_t() override;

    // The public entries, refused while the object is not published.
    using object_base_t::has_property;
    bool has_property(const address_t& address) const override;
    OSStatus get_property_data_size(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                                    UInt32* data_size) override;
    OSStatus get_property_data(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                               UInt32 data_size, UInt32* data_used, void* data) override;
    OSStatus can_set_property(const address_t& address, Boolean* is_settable) const override;

    bool changed_properties(UInt32 count, const address_t* addresses) override;

    CMIOHardwarePlugInRef get_plugin_ref() const { return m_plugin_ref; }
    bool is_published() const { return m_published; }

    // Asks the host for this object's id, once; false when it has one already or the host
    // refuses.
    bool cmio_object_create();
    // Publishes the created object under its owner; false without an id or when the host
    // refuses (the object then still counts as published).
    bool publish();
    // Withdraws the object from the host and forgets its id, whatever the host answers; true
    // when the host agreed or there was nothing to withdraw.
    bool unpublish();

protected:
    const CMIOHardwarePlugInRef m_plugin_ref;
    // Read without a lock by the entries on any host thread.
    std::atomic<bool> m_published{false};
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif

// The base of every object shown to the host: class and object id, owner and owned objects, and
// the property protocol that every object answers through a fixed set of virtual operations.
#ifndef ZAV_PLUGIN_HOST_OBJECT_BASE_H
#define ZAV_PLUGIN_HOST_OBJECT_BASE_H

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <list>
#include <mutex>

namespace Drivers::Mac::ZAV {

namespace VirtualCamera {
class cmio_object_t;
}

template <typename address_t>
class object_base_t;

// Objects addressed by CoreMediaIO property addresses. The virtual operations are declared in
// the order of their slots; derived classes keep that order and override, never add before.
template <>
class object_base_t<CMIOObjectPropertyAddress> {
public:
    using address_t = CMIOObjectPropertyAddress;
    using owner_t = VirtualCamera::cmio_object_t;

    // Joins the owner's list of owned objects (at its end) when there is an owner.
    object_base_t(CMIOClassID class_id, owner_t* owner);
    object_base_t(const object_base_t&) = delete;
    object_base_t& operator=(const object_base_t&) = delete;

    // Leaves the owner's list; the objects this one owns are neither destroyed nor unpublished.
    virtual ~object_base_t();

    // The scope this object belongs to, used to filter the owner's owned-objects answer.
    virtual CMIOObjectPropertyScope get_scope() const;

    // Public entries that the plug-in interface calls.
    virtual bool has_property(const address_t& address) const;
    virtual OSStatus get_property_data_size(const address_t& address, UInt32 qualifier_data_size,
                                            const void* qualifier_data, UInt32* data_size);
    virtual OSStatus get_property_data(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                                       UInt32 data_size, UInt32* data_used, void* data);
    virtual OSStatus can_set_property(const address_t& address, Boolean* is_settable) const;

    // Per-class hooks: derived classes answer their own selectors and hand the rest down here.
    // `changed` is cleared first and set when the value really changed.
    virtual OSStatus set_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                                  UInt32 data_size, const void* data, bool& changed);
    virtual bool has_property(const address_t& address, Boolean& is_settable) const;
    // A null `data` asks for the size only (written to `data_used` when given).
    virtual OSStatus get_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                                  UInt32 data_size, UInt32* data_used, void* data);

    // Tells the host that properties of this object changed.
    virtual bool changed_properties(UInt32 count, const address_t* addresses);

    // True for the object's own class, and for every class when the object's own class is the
    // generic object class.
    virtual bool is_class(CMIOClassID class_id) const;

    CMIOClassID get_class_id() const { return m_class_id; }
    CMIOObjectID get_object_id() const { return m_object_id; }
    owner_t* get_owner() const { return m_p_owner; }
    // The id the host knows the owner by: the owner's id, or the system object without owner.
    CMIOObjectID get_owner_id() const;

    // This object or the first object owned by it, depth first in list order, whose id is
    // `object_id`; null when none. Takes no lock: the tree must not change meanwhile.
    object_base_t* find_object(CMIOObjectID object_id);

protected:
    const CMIOClassID m_class_id;
    // 0 until the host assigns one.
    CMIOObjectID m_object_id = 0;
    // Guards m_owned_objects.
    mutable std::mutex m_mutex;
    owner_t* const m_p_owner;
    // The objects that name this one as owner, in order of construction; not owned.
    std::list<object_base_t*> m_owned_objects;

private:
    OSStatus get_owned_objects(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                               UInt32 data_size, UInt32* data_used, void* data);
};

}  // namespace Drivers::Mac::ZAV

#endif

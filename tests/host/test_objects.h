// A published-object class whose scope and id a test can choose, and address shorthands.
#ifndef ZAV_TESTS_HOST_TEST_OBJECTS_H
#define ZAV_TESTS_HOST_TEST_OBJECTS_H

#include "host/cmio_object.h"

#include "cf_leak_fixture.h"

namespace zav_test {

using Drivers::Mac::ZAV::object_base_t;
using Drivers::Mac::ZAV::VirtualCamera::cmio_object_t;
using base_t = object_base_t<CMIOObjectPropertyAddress>;
using lines_t = std::vector<std::string>;

class test_object_t : public cmio_object_t {
public:
    test_object_t(CMIOClassID class_id, cmio_object_t* owner,
                  CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal)
        : cmio_object_t(class_id, owner), m_scope(scope) {}
    test_object_t(CMIOClassID class_id, CMIOHardwarePlugInRef plugin_ref)
        : cmio_object_t(class_id, plugin_ref), m_scope(kCMIOObjectPropertyScopeGlobal) {}

    CMIOObjectPropertyScope get_scope() const override { return m_scope; }
    // Stands in for the host's id assignment where the host is not what is tested.
    void set_object_id(CMIOObjectID object_id) { m_object_id = object_id; }
    std::list<base_t*> owned_objects() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_owned_objects;
    }

private:
    const CMIOObjectPropertyScope m_scope;
};

inline CMIOObjectPropertyAddress address_of(CMIOObjectPropertySelector selector,
                                            CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal)
{
    return CMIOObjectPropertyAddress{selector, scope, 0};  // element 0 is the main element
}

// Any distinct address serves as the plug-in reference: objects only pass it to the host.
inline CMIOHardwarePlugInRef fake_plugin_ref()
{
    static CMIOHardwarePlugInInterface* table = nullptr;
    return &table;
}

}  // namespace zav_test

#endif

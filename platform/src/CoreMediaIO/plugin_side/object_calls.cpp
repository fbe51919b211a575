// The calls a plug-in makes about its objects: create, publish and retire them, and report
// property changes. They work with any plug-in reference, including one the DAL system never
// loaded (the plug-in's own unit tests), and never load plug-ins themselves.
#include "CoreMediaIO/guarded_call.h"
#include "CoreMediaIO/listeners.h"
#include "CoreMediaIO/object_tree.h"
#include "probe/cmio_records.h"
#include "probe/failure_switches.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <vector>

using namespace zav_platform;
using namespace zav_platform::cmio;

namespace {

CMIOObjectID default_input_device() {
    std::vector<CMIOObjectID> devices = object_tree_t::instance().published_of_class(kCMIODeviceClassID);
    return devices.empty() ? static_cast<CMIOObjectID>(kCMIODeviceUnknown) : devices.front();
}

CMIOObjectPropertyAddress global_address(CMIOObjectPropertySelector selector) {
    return {selector, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain};
}

}  // namespace

extern "C" OSStatus CMIOObjectCreate(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID owningObjectID,
                                     CMIOClassID classID, CMIOObjectID* objectID) {
    return guarded_call("CMIOObjectCreate", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        if (objectID == nullptr) return kCMIOHardwareIllegalOperationError;
        OSStatus failure = noErr;
        if (should_fail(probe::failing_call_t::object_create, &failure)) return failure;
        CMIOObjectID id = object_tree_t::instance().create(owningPlugIn, owningObjectID, classID);
        cmio_records::add_created_object({id, classID, owningObjectID});
        *objectID = id;
        return kCMIOHardwareNoError;
    });
}

extern "C" OSStatus CMIOObjectsPublishedAndDied(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID owningObjectID,
                                                UInt32 numberPublishedCMIOObjects,
                                                const CMIOObjectID publishedCMIOObjects[], UInt32 numberDeadCMIOObjects,
                                                const CMIOObjectID deadCMIOObjects[]) {
    return guarded_call("CMIOObjectsPublishedAndDied", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        if ((numberPublishedCMIOObjects != 0 && publishedCMIOObjects == nullptr) ||
            (numberDeadCMIOObjects != 0 && deadCMIOObjects == nullptr)) {
            return kCMIOHardwareIllegalOperationError;
        }
        OSStatus failure = noErr;
        if (should_fail(probe::failing_call_t::objects_published_and_died, &failure)) return failure;
        object_tree_t& tree = object_tree_t::instance();
        // Only objects that exist can be published; an id nobody created is a plug-in fault.
        if (!tree.all_exist(publishedCMIOObjects, numberPublishedCMIOObjects)) return kCMIOHardwareBadObjectError;

        const CMIOObjectID default_before = default_input_device();
        bool devices_changed = false;
        for (UInt32 i = 0; i < numberPublishedCMIOObjects; ++i) {
            auto entry = tree.find(publishedCMIOObjects[i]);
            if (entry && entry->class_id == kCMIODeviceClassID && !entry->published) devices_changed = true;
        }
        tree.publish(owningObjectID, publishedCMIOObjects, numberPublishedCMIOObjects);
        // Announcing the death of an object that is already gone is harmless and ignored.
        std::vector<object_entry_t> removed = tree.remove(deadCMIOObjects, numberDeadCMIOObjects);
        for (const object_entry_t& entry : removed) {
            if (entry.class_id == kCMIODeviceClassID && entry.published) devices_changed = true;
            listener_registry_t::instance().remove_object(entry.id);
        }

        cmio_records::add_published_and_died(
            {owningObjectID,
             std::vector<CMIOObjectID>(publishedCMIOObjects, publishedCMIOObjects + numberPublishedCMIOObjects),
             std::vector<CMIOObjectID>(deadCMIOObjects, deadCMIOObjects + numberDeadCMIOObjects)});

        listener_registry_t& listeners = listener_registry_t::instance();
        const CMIOObjectPropertyAddress owned = global_address(kCMIOObjectPropertyOwnedObjects);
        listeners.notify(owningObjectID, 1, &owned);
        if (devices_changed) {
            std::vector<CMIOObjectPropertyAddress> system_changes{global_address(kCMIOHardwarePropertyDevices)};
            if (default_input_device() != default_before) {
                system_changes.push_back(global_address(kCMIOHardwarePropertyDefaultInputDevice));
            }
            if (owningObjectID != kCMIOObjectSystemObject) {
                system_changes.push_back(owned);
            }
            listeners.notify(kCMIOObjectSystemObject, static_cast<UInt32>(system_changes.size()),
                             system_changes.data());
        }
        return kCMIOHardwareNoError;
    });
}

extern "C" OSStatus CMIOObjectPropertiesChanged(CMIOHardwarePlugInRef owningPlugIn, CMIOObjectID objectID,
                                                UInt32 numberAddresses, const CMIOObjectPropertyAddress addresses[]) {
    return guarded_call("CMIOObjectPropertiesChanged", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        if (numberAddresses != 0 && addresses == nullptr) return kCMIOHardwareIllegalOperationError;
        OSStatus failure = noErr;
        if (should_fail(probe::failing_call_t::properties_changed, &failure)) return failure;
        cmio_records::add_properties_changed(
            {objectID, std::vector<CMIOObjectPropertyAddress>(addresses, addresses + numberAddresses)});
        listener_registry_t::instance().notify(objectID, numberAddresses, addresses);
        return kCMIOHardwareNoError;
    });
}

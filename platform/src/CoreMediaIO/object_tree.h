// The tree of CoreMediaIO objects in this process: every id that CMIOObjectCreate handed out
// (and the plug-in objects the DAL system made), with its class, owner, the plug-in that made
// it and whether it has been published. Shared by the plug-in side, the DAL system and the
// client calls; thread-safe.
#ifndef ZAV_PLATFORM_CMIO_OBJECT_TREE_H
#define ZAV_PLATFORM_CMIO_OBJECT_TREE_H

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace zav_platform::cmio {

struct object_entry_t {
    CMIOObjectID id = kCMIOObjectUnknown;
    CMIOClassID class_id = kCMIOObjectClassID;
    CMIOObjectID owner = kCMIOObjectUnknown;
    CMIOHardwarePlugInRef plugin = nullptr;
    bool published = false;
};

class object_tree_t {
public:
    static object_tree_t& instance();

    // A new object with a fresh id (never kCMIOObjectUnknown nor the system object's id).
    CMIOObjectID create(CMIOHardwarePlugInRef plugin, CMIOObjectID owner, CMIOClassID class_id);

    // True when every id is a live object.
    bool all_exist(const CMIOObjectID* ids, UInt32 count) const;
    // Marks objects published (owner updated to `owner`).
    void publish(CMIOObjectID owner, const CMIOObjectID* ids, UInt32 count);
    // Forgets objects and everything they own; returns the entries that went away.
    std::vector<object_entry_t> remove(const CMIOObjectID* ids, UInt32 count);
    // Forgets every object a plug-in made.
    void remove_plugin(CMIOHardwarePlugInRef plugin);

    std::optional<object_entry_t> find(CMIOObjectID id) const;
    // Published live objects of a class (kCMIOObjectClassIDWildcard for all), in id order.
    std::vector<CMIOObjectID> published_of_class(CMIOClassID class_id) const;
    // Published live objects owned by `owner`, in id order.
    std::vector<CMIOObjectID> owned_by(CMIOObjectID owner) const;

    // Forgets everything; ids keep counting up so that stale ids stay unknown.
    void clear();

private:
    mutable std::mutex m_mutex;
    std::map<CMIOObjectID, object_entry_t> m_objects;
    CMIOObjectID m_next_id = kCMIOObjectSystemObject + 1;
};

}  // namespace zav_platform::cmio

#endif

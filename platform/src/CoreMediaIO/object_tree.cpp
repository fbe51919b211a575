#include "CoreMediaIO/object_tree.h"

#include <algorithm>

namespace zav_platform::cmio {

object_tree_t& object_tree_t::instance() {
    // Never destroyed: plug-ins may still call in from their threads while the process exits.
    static object_tree_t* tree = new object_tree_t;
    return *tree;
}

CMIOObjectID object_tree_t::create(CMIOHardwarePlugInRef plugin, CMIOObjectID owner, CMIOClassID class_id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    CMIOObjectID id = m_next_id++;
    // After wrapping around, skip the reserved ids and any id still in use.
    while (id == kCMIOObjectUnknown || id == kCMIOObjectSystemObject || m_objects.count(id) != 0) id = m_next_id++;
    object_entry_t entry;
    entry.id = id;
    entry.class_id = class_id;
    entry.owner = owner;
    entry.plugin = plugin;
    m_objects.emplace(id, entry);
    return id;
}

bool object_tree_t::all_exist(const CMIOObjectID* ids, UInt32 count) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (UInt32 i = 0; i < count; ++i) {
        if (m_objects.count(ids[i]) == 0) return false;
    }
    return true;
}

void object_tree_t::publish(CMIOObjectID owner, const CMIOObjectID* ids, UInt32 count) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (UInt32 i = 0; i < count; ++i) {
        auto found = m_objects.find(ids[i]);
        if (found == m_objects.end()) continue;
        found->second.published = true;
        found->second.owner = owner;
    }
}

std::vector<object_entry_t> object_tree_t::remove(const CMIOObjectID* ids, UInt32 count) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<object_entry_t> removed;
    std::vector<CMIOObjectID> pending(ids, ids + count);
    while (!pending.empty()) {
        CMIOObjectID id = pending.back();
        pending.pop_back();
        auto found = m_objects.find(id);
        if (found == m_objects.end()) continue;
        removed.push_back(found->second);
        m_objects.erase(found);
        for (const auto& [child_id, child] : m_objects) {
            if (child.owner == id) pending.push_back(child_id);
        }
    }
    return removed;
}

void object_tree_t::remove_plugin(CMIOHardwarePlugInRef plugin) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_objects.begin(); it != m_objects.end();) {
        if (it->second.plugin == plugin) {
            it = m_objects.erase(it);
        } else {
            ++it;
        }
    }
}

std::optional<object_entry_t> object_tree_t::find(CMIOObjectID id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_objects.find(id);
    if (found == m_objects.end()) return std::nullopt;
    return found->second;
}

std::vector<CMIOObjectID> object_tree_t::published_of_class(CMIOClassID class_id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<CMIOObjectID> ids;
    for (const auto& [id, entry] : m_objects) {
        if (entry.published && (class_id == kCMIOObjectClassIDWildcard || entry.class_id == class_id)) {
            ids.push_back(id);
        }
    }
    return ids;
}

std::vector<CMIOObjectID> object_tree_t::owned_by(CMIOObjectID owner) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<CMIOObjectID> ids;
    for (const auto& [id, entry] : m_objects) {
        if (entry.published && entry.owner == owner) ids.push_back(id);
    }
    return ids;
}

void object_tree_t::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_objects.clear();
}

}  // namespace zav_platform::cmio

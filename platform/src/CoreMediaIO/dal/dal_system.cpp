#include "CoreMediaIO/dal/dal_system.h"

#include "CoreMediaIO/client/system_object.h"
#include "CoreMediaIO/listeners.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace zav_platform::cmio {
namespace {

// Set while this thread loads plug-ins, so that a plug-in calling client functions from its
// initialisation does not wait for itself.
thread_local bool t_loading = false;

void diagnose(const std::string& bundle, const std::string& reason) {
    std::fprintf(stderr, "CoreMediaIO: skipping DAL plug-in bundle %s: %s\n", bundle.c_str(), reason.c_str());
}

template <class F>
OSStatus call_plugin(F&& call) {
    try {
        return call();
    } catch (...) {
        return kCMIOHardwareUnspecifiedError;
    }
}

void release_interface(CMIOHardwarePlugInRef plugin) {
    if (plugin == nullptr || *plugin == nullptr || (*plugin)->Release == nullptr) return;
    try {
        (*plugin)->Release(plugin);
    } catch (...) {}
}

}  // namespace

dal_system_t& dal_system_t::instance() {
    // Never destroyed: the exit handler and plug-in threads use it while the process ends.
    static dal_system_t* system = new dal_system_t;
    return *system;
}

void dal_system_t::ensure_loaded() {
    if (m_loaded.load(std::memory_order_acquire) || t_loading || m_exiting.load()) return;
    std::lock_guard<std::mutex> lock(m_load_mutex);
    if (m_loaded.load(std::memory_order_relaxed) || m_exiting.load()) return;
    t_loading = true;
    m_busy = true;
    load_all();
    m_busy = false;
    t_loading = false;
    if (!m_exit_handler_installed.exchange(true)) std::atexit(&dal_system_t::at_exit);
    m_loaded.store(true, std::memory_order_release);
}

void dal_system_t::load_all() {
    for (const std::string& path : find_bundles(plugin_search_folders())) {
        std::string reason;
        std::optional<loaded_bundle_t> bundle = load_bundle(path, reason);
        if (!bundle) {
            diagnose(path, reason);
            continue;
        }
        start_plugin(std::move(*bundle));
    }
}

bool dal_system_t::start_plugin(loaded_bundle_t bundle) {
    CMIOHardwarePlugInRef plugin = bundle.plugin;
    const CMIOHardwarePlugInInterface* table = *plugin;
    if (table->InitializeWithObjectID == nullptr && table->Initialize == nullptr) {
        diagnose(bundle.path, "the plug-in interface has neither InitializeWithObjectID nor Initialize");
        release_interface(plugin);
        return false;
    }
    object_tree_t& tree = object_tree_t::instance();
    const CMIOObjectID object_id = tree.create(plugin, kCMIOObjectSystemObject, kCMIOPlugInClassID);
    tree.publish(kCMIOObjectSystemObject, &object_id, 1);
    const std::string path = bundle.path;
    {
        // Listed before it initialises, so that calls it makes during initialisation route.
        std::lock_guard<std::mutex> lock(m_plugins_mutex);
        m_plugins.push_back({std::move(bundle), object_id});
    }
    const OSStatus status = call_plugin([&] {
        return table->InitializeWithObjectID != nullptr ? table->InitializeWithObjectID(plugin, object_id)
                                                        : table->Initialize(plugin);
    });
    if (status == kCMIOHardwareNoError) return true;

    char text[96];
    std::snprintf(text, sizeof text, "the plug-in failed to initialise (status %d)", static_cast<int>(status));
    diagnose(path, text);
    {
        std::lock_guard<std::mutex> lock(m_plugins_mutex);
        m_plugins.erase(std::remove_if(m_plugins.begin(), m_plugins.end(),
                                       [&](const plugin_t& p) { return p.bundle.plugin == plugin; }),
                        m_plugins.end());
    }
    tree.remove_plugin(plugin);
    release_interface(plugin);
    return false;
}

std::optional<route_t> dal_system_t::route(CMIOObjectID object) const {
    std::optional<object_entry_t> entry = object_tree_t::instance().find(object);
    if (!entry || entry->plugin == nullptr) return std::nullopt;
    std::lock_guard<std::mutex> lock(m_plugins_mutex);
    for (const plugin_t& p : m_plugins) {
        if (p.bundle.plugin == entry->plugin) return route_t{p.bundle.plugin, *entry};
    }
    return std::nullopt;
}

std::vector<plugin_summary_t> dal_system_t::plugins() const {
    std::lock_guard<std::mutex> lock(m_plugins_mutex);
    std::vector<plugin_summary_t> list;
    for (const plugin_t& p : m_plugins) list.push_back({p.object_id, p.bundle.bundle_id});
    return list;
}

void dal_system_t::unload(bool close_libraries) {
    std::lock_guard<std::mutex> lock(m_load_mutex);
    m_busy = true;
    // Listeners go first: at exit the clients that registered them may already be gone, so
    // the devices retiring during teardown are announced to nobody.
    listener_registry_t::instance().clear();
    std::vector<plugin_t> plugins;
    {
        std::lock_guard<std::mutex> plugins_lock(m_plugins_mutex);
        plugins.swap(m_plugins);
    }
    // Last loaded goes first, as a plug-in may rely on one loaded before it.
    for (auto it = plugins.rbegin(); it != plugins.rend(); ++it) {
        CMIOHardwarePlugInRef plugin = it->bundle.plugin;
        if ((*plugin)->Teardown != nullptr) call_plugin([&] { return (*plugin)->Teardown(plugin); });
        release_interface(plugin);
        object_tree_t::instance().remove_plugin(plugin);
        if (close_libraries && it->bundle.library != nullptr) dlclose(it->bundle.library);
    }
    reset_system_settings();
    m_loaded.store(false, std::memory_order_release);
    m_busy = false;
}

void dal_system_t::at_exit() {
    // Plug-ins are not loaded again by calls made while the process ends.
    instance().m_exiting = true;
    instance().unload(false);
}

}  // namespace zav_platform::cmio

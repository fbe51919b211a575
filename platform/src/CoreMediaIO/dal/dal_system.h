// The DAL system: loads the plug-in bundles of the search folders on the first client call,
// gives each plug-in an object id and initialises it, routes client calls to the plug-in that
// owns an object, and tears every plug-in down at process exit.
#ifndef ZAV_PLATFORM_CMIO_DAL_SYSTEM_H
#define ZAV_PLATFORM_CMIO_DAL_SYSTEM_H

#include "CoreMediaIO/dal/bundle_loader.h"
#include "CoreMediaIO/object_tree.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zav_platform::cmio {

// Where a client call on an object goes.
struct route_t {
    CMIOHardwarePlugInRef plugin;
    object_entry_t object;
};

struct plugin_summary_t {
    CMIOObjectID object_id;
    std::string bundle_id;
};

class dal_system_t {
public:
    static dal_system_t& instance();

    // Loads the plug-ins unless done already. Thread-safe; a call from inside a plug-in's
    // initialisation (same thread) returns at once instead of waiting for itself.
    void ensure_loaded();

    // The loaded plug-in that owns a live object; nothing for unknown objects, objects of
    // plug-ins this system did not load, and the system object.
    std::optional<route_t> route(CMIOObjectID object) const;

    std::vector<plugin_summary_t> plugins() const;
    bool is_initing_or_exiting() const { return m_busy.load(); }

    // Tears down and releases every plug-in and forgets their objects and all listeners. With
    // `close_libraries`, also closes the executables (not at exit, when other code of the
    // process may still run plug-in code). The next ensure_loaded loads afresh.
    void unload(bool close_libraries);

private:
    struct plugin_t {
        loaded_bundle_t bundle;
        CMIOObjectID object_id;
    };

    void load_all();
    bool start_plugin(loaded_bundle_t bundle);
    static void at_exit();

    std::mutex m_load_mutex;  // serialises loading and unloading
    std::atomic<bool> m_loaded{false};
    std::atomic<bool> m_busy{false};
    std::atomic<bool> m_exit_handler_installed{false};
    std::atomic<bool> m_exiting{false};
    mutable std::mutex m_plugins_mutex;  // guards m_plugins
    std::vector<plugin_t> m_plugins;
};

}  // namespace zav_platform::cmio

#endif

// Finding and loading DAL plug-in bundles: <name>.plugin folders with Contents/Info.plist and
// an executable in Contents/MacOS. Loading reads the plist, opens the executable, calls the
// factory that CFPlugInFactories names for the DAL plug-in type and asks the result for the
// plug-in interface. Every way a bundle can be broken ends in a reason, never in a crash.
#ifndef ZAV_PLATFORM_CMIO_BUNDLE_LOADER_H
#define ZAV_PLATFORM_CMIO_BUNDLE_LOADER_H

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <optional>
#include <string>
#include <vector>

namespace zav_platform::cmio {

struct loaded_bundle_t {
    std::string path;
    std::string bundle_id;                   // CFBundleIdentifier, empty when the plist has none
    void* library = nullptr;                 // dlopen handle
    CMIOHardwarePlugInRef plugin = nullptr;  // holds one reference, from QueryInterface
};

// The folders searched, in order: the system folder, then each folder of
// CMIO_DAL_PLUGIN_PATH (colon-separated; empty entries ignored).
std::vector<std::string> plugin_search_folders();

// The *.plugin folders directly inside the given folders, sorted by name within each folder;
// folders that do not exist are skipped.
std::vector<std::string> find_bundles(const std::vector<std::string>& folders);

// Loads one bundle. On failure returns nothing and sets `reason` to a one-line explanation;
// whatever was opened or created on the way is released again.
std::optional<loaded_bundle_t> load_bundle(const std::string& bundle_path, std::string& reason);

}  // namespace zav_platform::cmio

#endif

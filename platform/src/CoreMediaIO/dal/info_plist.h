// The parts of a plug-in bundle's Info.plist that the DAL system reads.
#ifndef ZAV_PLATFORM_CMIO_INFO_PLIST_H
#define ZAV_PLATFORM_CMIO_INFO_PLIST_H

#include <optional>
#include <string>

namespace zav_platform::cmio {

struct plugin_info_t {
    std::string executable;        // CFBundleExecutable
    std::string bundle_id;         // CFBundleIdentifier (optional in the plist)
    std::string factory_function;  // the CFPlugInFactories entry for the DAL plug-in type
};

// Reads `plist_path` (XML or binary). `type_uuid` is the plug-in type to look up in
// CFPlugInTypes, compared without regard to case. On failure sets `reason`.
std::optional<plugin_info_t> read_plugin_info(const std::string& plist_path, const std::string& type_uuid,
                                              std::string& reason);

}  // namespace zav_platform::cmio

#endif

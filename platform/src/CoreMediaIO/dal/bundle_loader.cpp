#include "CoreMediaIO/dal/bundle_loader.h"

#include "CoreMediaIO/dal/info_plist.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace zav_platform::cmio {
namespace {

// Where DAL plug-ins are installed on this platform.
constexpr const char* k_system_folder = "/usr/local/lib/CoreMediaIO/Plug-Ins/DAL";

bool is_directory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool is_regular_file(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string uuid_text(CFUUIDRef uuid) {
    const CFUUIDBytes b = CFUUIDGetUUIDBytes(uuid);
    char text[40];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b.byte0,
                  b.byte1, b.byte2, b.byte3, b.byte4, b.byte5, b.byte6, b.byte7, b.byte8, b.byte9, b.byte10, b.byte11,
                  b.byte12, b.byte13, b.byte14, b.byte15);
    return text;
}

void* call_factory(CFPlugInFactoryFunction factory) {
    try {
        return factory(kCFAllocatorDefault, kCMIOHardwarePlugInTypeID);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

std::vector<std::string> plugin_search_folders() {
    std::vector<std::string> folders{k_system_folder};
    const char* extra = std::getenv("CMIO_DAL_PLUGIN_PATH");
    if (extra == nullptr) return folders;
    std::string list(extra);
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find(':', start);
        if (end == std::string::npos) end = list.size();
        if (end > start) folders.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return folders;
}

std::vector<std::string> find_bundles(const std::vector<std::string>& folders) {
    std::vector<std::string> bundles;
    for (const std::string& folder : folders) {
        DIR* dir = opendir(folder.c_str());
        if (dir == nullptr) continue;
        std::vector<std::string> found;
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            const std::string suffix = ".plugin";
            if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
                continue;
            }
            const std::string path = folder + "/" + name;
            if (is_directory(path)) found.push_back(path);
        }
        closedir(dir);
        std::sort(found.begin(), found.end());
        bundles.insert(bundles.end(), found.begin(), found.end());
    }
    return bundles;
}

std::optional<loaded_bundle_t> load_bundle(const std::string& bundle_path, std::string& reason) {
    auto info = read_plugin_info(bundle_path + "/Contents/Info.plist", uuid_text(kCMIOHardwarePlugInTypeID), reason);
    if (!info) return std::nullopt;

    const std::string executable = bundle_path + "/Contents/MacOS/" + info->executable;
    if (!is_regular_file(executable)) {
        reason = "executable Contents/MacOS/" + info->executable + " is missing";
        return std::nullopt;
    }
    dlerror();
    void* library = dlopen(executable.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* error = dlerror();
        reason = std::string("cannot load executable: ") + (error != nullptr ? error : "unknown error");
        return std::nullopt;
    }
    auto factory = reinterpret_cast<CFPlugInFactoryFunction>(dlsym(library, info->factory_function.c_str()));
    if (factory == nullptr) {
        dlclose(library);
        reason = "factory function " + info->factory_function + " not found in the executable";
        return std::nullopt;
    }

    // From here on the plug-in's code has run: its library stays open even when it fails, as
    // objects it made may still point into it.
    auto** unknown = static_cast<IUnknownVTbl**>(call_factory(factory));
    if (unknown == nullptr) {
        reason = "factory function " + info->factory_function + " returned no plug-in";
        return std::nullopt;
    }
    if (*unknown == nullptr || (*unknown)->QueryInterface == nullptr || (*unknown)->Release == nullptr) {
        reason = "factory function " + info->factory_function + " returned an object without an interface table";
        return std::nullopt;
    }
    LPVOID interface = nullptr;
    HRESULT result = E_NOINTERFACE;
    try {
        result = (*unknown)->QueryInterface(unknown, CFUUIDGetUUIDBytes(kCMIOHardwarePlugInInterfaceID), &interface);
    } catch (...) {
        result = E_UNEXPECTED;
    }
    if (FAILED(result) || interface == nullptr) {
        try {
            (*unknown)->Release(unknown);
        } catch (...) {}
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
        reason = std::string("the plug-in refused the DAL plug-in interface (QueryInterface returned ") + code + ")";
        return std::nullopt;
    }
    // The interface holds its own reference now; drop the factory's.
    try {
        (*unknown)->Release(unknown);
    } catch (...) {}

    loaded_bundle_t loaded;
    loaded.path = bundle_path;
    loaded.bundle_id = info->bundle_id;
    loaded.library = library;
    loaded.plugin = static_cast<CMIOHardwarePlugInRef>(interface);
    return loaded;
}

}  // namespace zav_platform::cmio

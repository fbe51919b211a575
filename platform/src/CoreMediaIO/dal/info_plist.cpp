#include "CoreMediaIO/dal/info_plist.h"

#include <plist/plist.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

namespace zav_platform::cmio {
namespace {

struct plist_deleter_t {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using plist_holder_t = std::unique_ptr<void, plist_deleter_t>;

// A string value with no NUL inside: a name with one could only be cut short, and asking libplist
// to copy such a string fails an assertion in it, which would abort the whole process.
std::optional<std::string> string_of(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
    uint64_t length = 0;
    const char* value = plist_get_string_ptr(node, &length);
    if (value == nullptr || std::strlen(value) != length) return std::nullopt;
    return std::string(value, length);
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// The value under a dictionary key that names a UUID, compared without regard to case.
plist_t item_for_uuid(plist_t dictionary, const std::string& uuid) {
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(dictionary, &iterator);
    if (iterator == nullptr) return nullptr;
    plist_t found = nullptr;
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dictionary, iterator, &key, &value);
        if (key == nullptr) break;
        const bool match = upper(key) == upper(uuid);
        std::free(key);
        if (match) {
            found = value;
            break;
        }
    }
    std::free(iterator);
    return found;
}

}  // namespace

std::optional<plugin_info_t> read_plugin_info(const std::string& plist_path, const std::string& type_uuid,
                                              std::string& reason) {
    std::ifstream file(plist_path, std::ios::binary);
    if (!file) {
        reason = "Contents/Info.plist is missing";
        return std::nullopt;
    }
    const std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    plist_t root_node = nullptr;
    if (!data.empty()) plist_from_memory(data.data(), static_cast<uint32_t>(data.size()), &root_node);
    plist_holder_t root(root_node);
    if (root_node == nullptr || plist_get_node_type(root_node) != PLIST_DICT) {
        reason = "Contents/Info.plist is not a property list dictionary";
        return std::nullopt;
    }

    plugin_info_t info;
    auto executable = string_of(plist_dict_get_item(root_node, "CFBundleExecutable"));
    if (!executable || executable->empty() || executable->find('/') != std::string::npos) {
        reason = "Info.plist has no usable CFBundleExecutable";
        return std::nullopt;
    }
    info.executable = *executable;
    info.bundle_id = string_of(plist_dict_get_item(root_node, "CFBundleIdentifier")).value_or("");

    plist_t types = plist_dict_get_item(root_node, "CFPlugInTypes");
    if (types == nullptr || plist_get_node_type(types) != PLIST_DICT) {
        reason = "Info.plist has no CFPlugInTypes dictionary";
        return std::nullopt;
    }
    plist_t factories_for_type = item_for_uuid(types, type_uuid);
    if (factories_for_type == nullptr || plist_get_node_type(factories_for_type) != PLIST_ARRAY ||
        plist_array_get_size(factories_for_type) == 0) {
        reason = "CFPlugInTypes lists no factory for the DAL plug-in type " + type_uuid;
        return std::nullopt;
    }
    plist_t factories = plist_dict_get_item(root_node, "CFPlugInFactories");
    if (factories == nullptr || plist_get_node_type(factories) != PLIST_DICT) {
        reason = "Info.plist has no CFPlugInFactories dictionary";
        return std::nullopt;
    }
    // The first factory of the type that CFPlugInFactories names a function for.
    const uint32_t count = plist_array_get_size(factories_for_type);
    for (uint32_t i = 0; i < count && info.factory_function.empty(); ++i) {
        auto factory_uuid = string_of(plist_array_get_item(factories_for_type, i));
        if (!factory_uuid) continue;
        auto function = string_of(item_for_uuid(factories, *factory_uuid));
        if (function && !function->empty()) info.factory_function = *function;
    }
    if (info.factory_function.empty()) {
        reason = "CFPlugInFactories names no function for the factories of the DAL plug-in type";
        return std::nullopt;
    }
    return info;
}

}  // namespace zav_platform::cmio

#include "CoreMediaIO/client/system_object.h"

#include "CoreMediaIO/dal/dal_system.h"
#include "CoreMediaIO/listeners.h"
#include "CoreMediaIO/object_tree.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace zav_platform::cmio {
namespace {

// The switches a client may set, with their defaults.
struct setting_t {
    CMIOObjectPropertySelector selector;
    UInt32 default_value;
    std::atomic<UInt32> value;
};

setting_t g_settings[] = {
    {kCMIOHardwarePropertyAllowScreenCaptureDevices, 1, {1}},
    {kCMIOHardwarePropertyAllowWirelessScreenCaptureDevices, 0, {0}},
    {kCMIOHardwarePropertySleepingIsAllowed, 1, {1}},
    {kCMIOHardwarePropertyUnloadingIsAllowed, 1, {1}},
};

setting_t* setting_for(CMIOObjectPropertySelector selector) {
    for (setting_t& s : g_settings) {
        if (s.selector == selector) return &s;
    }
    return nullptr;
}

enum class kind_t { none, uint32, object_id, object_list, string };

kind_t kind_of(CMIOObjectPropertySelector selector) {
    switch (selector) {
        case kCMIOObjectPropertyClass:
            return kind_t::uint32;
        case kCMIOObjectPropertyOwner:
        case kCMIOHardwarePropertyDefaultInputDevice:
        case kCMIOHardwarePropertyDefaultOutputDevice:
            return kind_t::object_id;
        case kCMIOObjectPropertyOwnedObjects:
        case kCMIOHardwarePropertyDevices:
            return kind_t::object_list;
        case kCMIOObjectPropertyName:
        case kCMIOObjectPropertyManufacturer:
            return kind_t::string;
        case kCMIOHardwarePropertyProcessIsMain:
        case kCMIOHardwarePropertyProcessIsMaster:
        case kCMIOHardwarePropertyIsInitingOrExiting:
        case kCMIOHardwarePropertyUserSessionIsActiveOrHeadless:
        case kCMIOHardwarePropertySuspendedBySystem:
            return kind_t::uint32;
        default:
            return setting_for(selector) != nullptr ? kind_t::uint32 : kind_t::none;
    }
}

// The system object has its properties in the global scope, main element only.
kind_t kind_at(const CMIOObjectPropertyAddress& address) {
    if (address.mScope != kCMIOObjectPropertyScopeGlobal && address.mScope != kCMIOObjectPropertyScopeWildcard) {
        return kind_t::none;
    }
    if (address.mElement != kCMIOObjectPropertyElementMain && address.mElement != kCMIOObjectPropertyElementWildcard) {
        return kind_t::none;
    }
    return kind_of(address.mSelector);
}

std::vector<CMIOObjectID> object_list(CMIOObjectPropertySelector selector, UInt32 qualifier_size,
                                      const void* qualifier) {
    if (selector == kCMIOHardwarePropertyDevices) {
        return object_tree_t::instance().published_of_class(kCMIODeviceClassID);
    }
    return filter_by_class_qualifier(object_tree_t::instance().owned_by(kCMIOObjectSystemObject), qualifier_size,
                                     qualifier);
}

CMIOObjectID object_value(CMIOObjectPropertySelector selector) {
    if (selector == kCMIOHardwarePropertyDefaultInputDevice) {
        std::vector<CMIOObjectID> devices = object_tree_t::instance().published_of_class(kCMIODeviceClassID);
        return devices.empty() ? static_cast<CMIOObjectID>(kCMIODeviceUnknown) : devices.front();
    }
    return kCMIOObjectUnknown;
}

UInt32 uint32_value(CMIOObjectPropertySelector selector) {
    switch (selector) {
        case kCMIOObjectPropertyClass:
            return kCMIOSystemObjectClassID;
        case kCMIOHardwarePropertyProcessIsMain:
        case kCMIOHardwarePropertyProcessIsMaster:
        case kCMIOHardwarePropertyUserSessionIsActiveOrHeadless:
            return 1;
        case kCMIOHardwarePropertyIsInitingOrExiting:
            return dal_system_t::instance().is_initing_or_exiting() ? 1 : 0;
        case kCMIOHardwarePropertySuspendedBySystem:
            return 0;
        default: {
            const setting_t* s = setting_for(selector);
            return s != nullptr ? s->value.load() : 0;
        }
    }
}

const char* string_value(CMIOObjectPropertySelector selector) {
    return selector == kCMIOObjectPropertyName ? "CoreMediaIO system" : "ZAV Video platform layer";
}

}  // namespace

std::vector<CMIOObjectID> filter_by_class_qualifier(const std::vector<CMIOObjectID>& ids, UInt32 qualifier_size,
                                                    const void* qualifier) {
    const UInt32 count = qualifier == nullptr ? 0 : qualifier_size / sizeof(CMIOClassID);
    if (count == 0) return ids;
    std::vector<CMIOClassID> classes(count);
    std::memcpy(classes.data(), qualifier, count * sizeof(CMIOClassID));
    std::vector<CMIOObjectID> kept;
    for (CMIOObjectID id : ids) {
        auto entry = object_tree_t::instance().find(id);
        if (!entry) continue;
        for (CMIOClassID c : classes) {
            if (c == kCMIOObjectClassID || c == kCMIOObjectClassIDWildcard || c == entry->class_id) {
                kept.push_back(id);
                break;
            }
        }
    }
    return kept;
}

Boolean system_has_property(const CMIOObjectPropertyAddress& address) {
    return kind_at(address) != kind_t::none;
}

OSStatus system_is_property_settable(const CMIOObjectPropertyAddress& address, Boolean* settable) {
    if (settable == nullptr) return kCMIOHardwareIllegalOperationError;
    if (kind_at(address) == kind_t::none) return kCMIOHardwareUnknownPropertyError;
    *settable = setting_for(address.mSelector) != nullptr;
    return kCMIOHardwareNoError;
}

OSStatus system_get_property_data_size(const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                                       const void* qualifier, UInt32* data_size) {
    if (data_size == nullptr) return kCMIOHardwareIllegalOperationError;
    switch (kind_at(address)) {
        case kind_t::none:
            return kCMIOHardwareUnknownPropertyError;
        case kind_t::uint32:
            *data_size = sizeof(UInt32);
            break;
        case kind_t::object_id:
            *data_size = sizeof(CMIOObjectID);
            break;
        case kind_t::string:
            *data_size = sizeof(CFStringRef);
            break;
        case kind_t::object_list:
            *data_size = static_cast<UInt32>(object_list(address.mSelector, qualifier_size, qualifier).size() *
                                             sizeof(CMIOObjectID));
            break;
    }
    return kCMIOHardwareNoError;
}

OSStatus system_get_property_data(const CMIOObjectPropertyAddress& address, UInt32 qualifier_size,
                                  const void* qualifier, UInt32 data_size, UInt32* data_used, void* data) {
    const kind_t kind = kind_at(address);
    if (kind == kind_t::none) return kCMIOHardwareUnknownPropertyError;
    if (data == nullptr && !(kind == kind_t::object_list && data_size == 0)) return kCMIOHardwareIllegalOperationError;
    UInt32 used = 0;
    switch (kind) {
        case kind_t::none:
            break;
        case kind_t::uint32: {
            if (data_size < sizeof(UInt32)) return kCMIOHardwareBadPropertySizeError;
            const UInt32 value = uint32_value(address.mSelector);
            std::memcpy(data, &value, sizeof value);
            used = sizeof value;
            break;
        }
        case kind_t::object_id: {
            if (data_size < sizeof(CMIOObjectID)) return kCMIOHardwareBadPropertySizeError;
            const CMIOObjectID value = object_value(address.mSelector);
            std::memcpy(data, &value, sizeof value);
            used = sizeof value;
            break;
        }
        case kind_t::string: {
            if (data_size < sizeof(CFStringRef)) return kCMIOHardwareBadPropertySizeError;
            // The caller owns the string, as with every CFString property.
            CFStringRef value =
                CFStringCreateWithCString(kCFAllocatorDefault, string_value(address.mSelector), kCFStringEncodingUTF8);
            std::memcpy(data, &value, sizeof value);
            used = sizeof value;
            break;
        }
        case kind_t::object_list: {
            // As many ids as fit; the caller learns how many from data_used.
            std::vector<CMIOObjectID> ids = object_list(address.mSelector, qualifier_size, qualifier);
            const std::size_t fit = std::min<std::size_t>(ids.size(), data_size / sizeof(CMIOObjectID));
            if (fit != 0) std::memcpy(data, ids.data(), fit * sizeof(CMIOObjectID));
            used = static_cast<UInt32>(fit * sizeof(CMIOObjectID));
            break;
        }
    }
    if (data_used != nullptr) *data_used = used;
    return kCMIOHardwareNoError;
}

OSStatus system_set_property_data(const CMIOObjectPropertyAddress& address, UInt32 data_size, const void* data) {
    if (kind_at(address) == kind_t::none) return kCMIOHardwareUnknownPropertyError;
    setting_t* s = setting_for(address.mSelector);
    if (s == nullptr) return kCMIOHardwareIllegalOperationError;
    if (data == nullptr) return kCMIOHardwareIllegalOperationError;
    if (data_size != sizeof(UInt32)) return kCMIOHardwareBadPropertySizeError;
    UInt32 value = 0;
    std::memcpy(&value, data, sizeof value);
    value = value != 0 ? 1 : 0;
    if (s->value.exchange(value) != value) {
        const CMIOObjectPropertyAddress changed{address.mSelector, kCMIOObjectPropertyScopeGlobal,
                                                kCMIOObjectPropertyElementMain};
        listener_registry_t::instance().notify(kCMIOObjectSystemObject, 1, &changed);
    }
    return kCMIOHardwareNoError;
}

void system_show() {
    std::vector<CMIOObjectID> devices = object_tree_t::instance().published_of_class(kCMIODeviceClassID);
    std::fprintf(stderr, "CMIO system object %u: %zu plug-in(s), %zu device(s)\n",
                 static_cast<unsigned>(kCMIOObjectSystemObject), dal_system_t::instance().plugins().size(),
                 devices.size());
}

void reset_system_settings() {
    for (setting_t& s : g_settings) s.value = s.default_value;
}

}  // namespace zav_platform::cmio

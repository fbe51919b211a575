// The size rules that every fixed-size property answer and write follows.
#ifndef ZAV_PLUGIN_HOST_PROPERTY_HELPERS_H
#define ZAV_PLUGIN_HOST_PROPERTY_HELPERS_H

#include "host/zav_log.h"

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <cstring>

namespace Drivers::Mac::ZAV {

// Answers a property whose value has the size of `value_t`:
// - the size goes to `data_used` (when given) before any check;
// - a null `data` is a size query and succeeds;
// - any other buffer size, larger ones included, is refused with '!siz';
// - otherwise `make_value()` is stored. It is called only then, so a value that must be created
//   for the caller (a retained or new Core Foundation object) is never made for a size query or
//   a refused request.
template <typename value_t, typename make_value_t>
OSStatus get_property_helper(UInt32 data_size, UInt32* data_used, void* data, make_value_t&& make_value) {
    if (data_used != nullptr) *data_used = sizeof(value_t);
    if (data == nullptr) return kCMIOHardwareNoError;
    if (data_size != sizeof(value_t)) {
        zav_log("Bad arguments to get_property_helper");
        return kCMIOHardwareBadPropertySizeError;
    }
    const value_t value = make_value();
    std::memcpy(data, &value, sizeof(value_t));
    return kCMIOHardwareNoError;
}

// The same for a plain value that costs nothing to make.
template <typename value_t>
OSStatus get_property_value(UInt32 data_size, UInt32* data_used, void* data, const value_t& value) {
    return get_property_helper<value_t>(data_size, data_used, data, [&value] { return value; });
}

// Reads a value of the size of `value_t` written by the host; a null pointer or any other size
// is refused with '!siz' and leaves `value` alone.
template <typename value_t>
OSStatus set_property_helper(UInt32 data_size, const void* data, value_t& value) {
    if (data == nullptr || data_size != sizeof(value_t)) {
        zav_log("Bad arguments to set_property_helper");
        return kCMIOHardwareBadPropertySizeError;
    }
    std::memcpy(&value, data, sizeof(value_t));
    return kCMIOHardwareNoError;
}

}  // namespace Drivers::Mac::ZAV

#endif

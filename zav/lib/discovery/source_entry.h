// Where a named source can be reached and what it sends.
#ifndef ZAV_LIB_DISCOVERY_SOURCE_ENTRY_H
#define ZAV_LIB_DISCOVERY_SOURCE_ENTRY_H

#include <cstdint>
#include <string>

#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

struct source_entry_t {
    std::string name;  // "HOSTNAME (Source Name)"
    std::string host;  // name or address, without brackets
    uint16_t port = 0;
    video_params_t params;
};

// Splits "host:port" or "[v6address]:port". False when either part is missing or the port is not
// 1..65535.
bool split_host_port(const std::string& text, std::string* p_host, uint16_t* p_port);

}  // namespace Drivers::Mac::ZAV

#endif

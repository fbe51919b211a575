// The counts a receiver keeps of what it got and what it refused.
#ifndef ZAV_LIB_RECEIVE_RECEIVE_COUNTERS_H
#define ZAV_LIB_RECEIVE_RECEIVE_COUNTERS_H

#include <cstdint>

#include "wire/depacketiser.h"

namespace Drivers::Mac::ZAV {

struct receive_counters_t {
    uint64_t connections = 0;         // successful connects
    uint64_t bad_lengths = 0;         // framing lengths refused
    depacketiser_counters_t packets;  // summed over connections
};

}  // namespace Drivers::Mac::ZAV

#endif

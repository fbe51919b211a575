// Clocks the library reads: a monotonic one for timeouts and pacing, and the wall clock in the
// 100 ns units of the frame record's time stamp.
#ifndef ZAV_LIB_COMMON_MONOTONIC_H
#define ZAV_LIB_COMMON_MONOTONIC_H

#include <chrono>
#include <cstdint>

namespace Drivers::Mac::ZAV {

inline int64_t wall_clock_100ns() {
    using namespace std::chrono;
    return duration_cast<duration<int64_t, std::ratio<1, 10000000>>>(system_clock::now().time_since_epoch()).count();
}

}  // namespace Drivers::Mac::ZAV

#endif

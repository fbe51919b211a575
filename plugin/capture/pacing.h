// Integer arithmetic of the capture thread's frame schedule.
#ifndef ZAV_PLUGIN_CAPTURE_PACING_H
#define ZAV_PLUGIN_CAPTURE_PACING_H

#include <cstdint>

namespace Drivers::Mac::ZAV::VirtualCamera {

// Ticks per second of the schedule: 2^8 x 3^2 x 5^4 x 7^2, so that a frame at 24, 25, 30, 50
// or 60 fps and at their /1001 rates is a whole number of ticks and the schedule never drifts.
constexpr int64_t k_pacing_ticks_per_second = 70560000;

// value x multiplier / divisor, rounded to nearest (halves up for positive operands); values
// above 2^31 - 1 are split first so that the product cannot overflow.
constexpr int64_t rescale_rounded(int64_t value, int32_t multiplier, int32_t divisor) {
    const int64_t half = divisor / 2;
    if (value <= INT32_MAX) return (value * multiplier + half) / divisor;
    const int64_t quotient = value / divisor;
    const int64_t remainder = value % divisor;
    return quotient * multiplier + (remainder * multiplier + half) / divisor;
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif

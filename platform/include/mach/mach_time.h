// Host time as Apple systems count it: a monotonic tick counter and the ratio that turns ticks
// into nanoseconds. Here a tick is one nanosecond of CLOCK_MONOTONIC, so the ratio is 1/1.
#ifndef ZAV_PLATFORM_MACH_TIME_H
#define ZAV_PLATFORM_MACH_TIME_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef ZAV_PLATFORM_KERN_RETURN_T
#define ZAV_PLATFORM_KERN_RETURN_T
typedef int kern_return_t;
#endif
#ifndef KERN_SUCCESS
#define KERN_SUCCESS 0
#endif
#ifndef KERN_INVALID_ARGUMENT
#define KERN_INVALID_ARGUMENT 4
#endif

struct mach_timebase_info {
    uint32_t numer;
    uint32_t denom;
};
typedef struct mach_timebase_info* mach_timebase_info_t;
typedef struct mach_timebase_info mach_timebase_info_data_t;

__attribute__((visibility("default"))) uint64_t mach_absolute_time(void);
__attribute__((visibility("default"))) kern_return_t mach_timebase_info(mach_timebase_info_t info);

#ifdef __cplusplus
}
#endif

#endif

// Host time: CLOCK_MONOTONIC in nanoseconds, so the timebase is 1/1.
#include <mach/mach_time.h>

#include <time.h>

extern "C" uint64_t mach_absolute_time(void) {
    struct timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000ull + static_cast<uint64_t>(now.tv_nsec);
}

extern "C" kern_return_t mach_timebase_info(mach_timebase_info_t info) {
    if (info == nullptr) return KERN_INVALID_ARGUMENT;
    info->numer = 1;
    info->denom = 1;
    return KERN_SUCCESS;
}

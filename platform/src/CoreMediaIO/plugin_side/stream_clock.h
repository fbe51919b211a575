// A stream clock: a Core Foundation object that relates a device's media time to host time
// from the timing events a plug-in posts. The rate of device time against host time is
// measured over the last events (numberOfEventsForRateSmoothing) and averaged over the last
// measurements (numberOfAveragesForRateSmoothing); a resynchronising event starts afresh.
#ifndef ZAV_PLATFORM_CMIO_STREAM_CLOCK_H
#define ZAV_PLATFORM_CMIO_STREAM_CLOCK_H

#include "CoreFoundation/cf_object.h"

#include <CoreMedia/CMTime.h>

#include <deque>
#include <mutex>
#include <string>

namespace zav_platform::cmio {

class stream_clock_t : public cf_object_t {
public:
    static CFTypeID class_type_id();

    stream_clock_t(std::string name, UInt32 events_for_rate_smoothing, UInt32 averages_for_rate_smoothing);

    // False when the event cannot be taken (clock invalidated, event time not numeric).
    bool post(CMTime event_time, UInt64 host_time, bool resynchronize);
    void invalidate();
    // kCMTimeInvalid before the first event and after invalidation.
    CMTime device_time(UInt64 host_time) const;

    std::string description() const override;

private:
    struct event_t {
        CMTime event_time;
        UInt64 host_nanoseconds;
    };
    double rate_locked() const;

    const std::string m_name;
    const std::size_t m_events_window;
    const std::size_t m_averages_window;
    mutable std::mutex m_mutex;
    std::deque<event_t> m_events;
    std::deque<double> m_rates;
    bool m_invalidated = false;
};

}  // namespace zav_platform::cmio

#endif

#include "CoreMediaIO/plugin_side/stream_clock.h"

#include "CoreMediaIO/guarded_call.h"
#include "probe/cmio_records.h"
#include "probe/failure_switches.h"

#include <CoreFoundation/CFString.h>
#include <CoreMediaIO/CMIOHardware.h>
#include <mach/mach_time.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zav_platform::cmio {
namespace {

UInt64 host_to_nanoseconds(UInt64 host_time) {
    mach_timebase_info_data_t timebase{};
    mach_timebase_info(&timebase);
    if (timebase.denom == 0) return host_time;
    return static_cast<UInt64>(static_cast<long double>(host_time) * timebase.numer / timebase.denom);
}

double seconds_of(const CMTime& time) {
    return static_cast<double>(time.value) / static_cast<double>(time.timescale);
}

}  // namespace

CFTypeID stream_clock_t::class_type_id() {
    static const CFTypeID id = register_cf_type("CMIOStreamClock");
    return id;
}

stream_clock_t::stream_clock_t(std::string name, UInt32 events_for_rate_smoothing, UInt32 averages_for_rate_smoothing)
    : cf_object_t(class_type_id()),
      m_name(std::move(name)),
      m_events_window(std::max<std::size_t>(events_for_rate_smoothing, 2)),
      m_averages_window(std::max<std::size_t>(averages_for_rate_smoothing, 1)) {}

bool stream_clock_t::post(CMTime event_time, UInt64 host_time, bool resynchronize) {
    if (!CMTIME_IS_NUMERIC(event_time) || event_time.timescale <= 0) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_invalidated) return false;
    const UInt64 host_ns = host_to_nanoseconds(host_time);
    // A jump back in either time line cannot be smoothed over: start measuring again.
    if (resynchronize || (!m_events.empty() && (host_ns <= m_events.back().host_nanoseconds ||
                                                seconds_of(event_time) < seconds_of(m_events.back().event_time)))) {
        m_events.clear();
        m_rates.clear();
    }
    m_events.push_back({event_time, host_ns});
    if (m_events.size() > m_events_window) m_events.pop_front();
    if (m_events.size() >= 2) {
        const event_t& first = m_events.front();
        const event_t& last = m_events.back();
        const double host_seconds = static_cast<double>(last.host_nanoseconds - first.host_nanoseconds) / 1e9;
        const double device_seconds = seconds_of(last.event_time) - seconds_of(first.event_time);
        if (host_seconds > 0 && device_seconds >= 0) {
            m_rates.push_back(device_seconds / host_seconds);
            if (m_rates.size() > m_averages_window) m_rates.pop_front();
        }
    }
    return true;
}

void stream_clock_t::invalidate() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_invalidated = true;
    m_events.clear();
    m_rates.clear();
}

double stream_clock_t::rate_locked() const {
    if (m_rates.empty()) return 1.0;
    return std::accumulate(m_rates.begin(), m_rates.end(), 0.0) / static_cast<double>(m_rates.size());
}

CMTime stream_clock_t::device_time(UInt64 host_time) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_invalidated || m_events.empty()) return kCMTimeInvalid;
    const event_t& last = m_events.back();
    const long double elapsed =
        (static_cast<long double>(host_to_nanoseconds(host_time)) - static_cast<long double>(last.host_nanoseconds)) /
        1e9L;
    CMTime result = last.event_time;
    result.value += static_cast<CMTimeValue>(std::llround(elapsed * rate_locked() * last.event_time.timescale));
    result.flags = kCMTimeFlags_Valid;
    return result;
}

std::string stream_clock_t::description() const {
    return "<CMIOStreamClock '" + m_name + "'>";
}

}  // namespace zav_platform::cmio

using namespace zav_platform;
using zav_platform::cmio::guarded_call;
using zav_platform::cmio::stream_clock_t;

extern "C" OSStatus CMIOStreamClockCreate(CFAllocatorRef allocator, CFStringRef clockName, const void* sourceIdentifier,
                                          CMTime getTimeCallMinimumInterval, UInt32 numberOfEventsForRateSmoothing,
                                          UInt32 numberOfAveragesForRateSmoothing, CFTypeRef* clock) {
    return guarded_call("CMIOStreamClockCreate", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        if (clock == nullptr) return kCMIOHardwareIllegalOperationError;
        OSStatus failure = noErr;
        if (should_fail(probe::failing_call_t::stream_clock_create, &failure)) return failure;
        std::string name;
        if (clockName != nullptr) {
            char buffer[512] = {};
            if (CFStringGetCString(clockName, buffer, sizeof buffer, kCFStringEncodingUTF8)) name = buffer;
        }
        auto* created = new stream_clock_t(name, numberOfEventsForRateSmoothing, numberOfAveragesForRateSmoothing);
        *clock = created->as_ref();
        cmio_records::add_clock_created({*clock, name, getTimeCallMinimumInterval, numberOfEventsForRateSmoothing,
                                         numberOfAveragesForRateSmoothing, sourceIdentifier});
        return kCMIOHardwareNoError;
    });
}

extern "C" OSStatus CMIOStreamClockPostTimingEvent(CMTime eventTime, UInt64 hostTime, Boolean resynchronize,
                                                   CFTypeRef clock) {
    return guarded_call("CMIOStreamClockPostTimingEvent", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        stream_clock_t* target = cf_cast<stream_clock_t>(clock);
        if (target == nullptr) return kCMIOHardwareIllegalOperationError;
        if (!target->post(eventTime, hostTime, resynchronize != 0)) return kCMIOHardwareIllegalOperationError;
        cmio_records::add_clock_event({clock, eventTime, hostTime, resynchronize});
        return kCMIOHardwareNoError;
    });
}

extern "C" OSStatus CMIOStreamClockInvalidate(CFTypeRef clock) {
    return guarded_call("CMIOStreamClockInvalidate", OSStatus(kCMIOHardwareUnspecifiedError), [&]() -> OSStatus {
        stream_clock_t* target = cf_cast<stream_clock_t>(clock);
        if (target == nullptr) return kCMIOHardwareIllegalOperationError;
        target->invalidate();
        cmio_records::add_clock_invalidated(clock);
        return kCMIOHardwareNoError;
    });
}

extern "C" CMTime CMIOStreamClockConvertHostTimeToDeviceTime(UInt64 hostTime, CFTypeRef clock) {
    return guarded_call("CMIOStreamClockConvertHostTimeToDeviceTime", kCMTimeInvalid, [&]() -> CMTime {
        stream_clock_t* target = cf_cast<stream_clock_t>(clock);
        if (target == nullptr) return kCMTimeInvalid;
        return target->device_time(hostTime);
    });
}

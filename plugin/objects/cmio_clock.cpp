#include "objects/cmio_clock.h"

#include "host/cf_ref.h"
#include "host/string_utils.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

cmio_clock_t::cmio_clock_t(const std::string& name, CMTime resolution, unsigned int events_for_rate_smoothing,
                           unsigned int averages_for_rate_smoothing, void* source_identifier) {
    // The name is only needed for the call; the holder releases it however the call ends.
    const cf_ref_t<CFStringRef> clock_name(create_string_ref(name.c_str()));
    CMIOStreamClockCreate(kCFAllocatorDefault, clock_name.get(), source_identifier, resolution,
                          events_for_rate_smoothing, averages_for_rate_smoothing, &m_p_clock);
}

cmio_clock_t::~cmio_clock_t() {
    if (m_p_clock != nullptr) {
        CMIOStreamClockInvalidate(m_p_clock);
        CFRelease(m_p_clock);
    }
}

void cmio_clock_t::post_timing_event(CMTime event_time, unsigned long long host_time, unsigned char resynchronize) {
    CMIOStreamClockPostTimingEvent(event_time, host_time, resynchronize, m_p_clock);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

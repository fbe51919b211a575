// Owner of one CoreMediaIO stream clock, driven by one timing event per delivered frame.
#ifndef ZAV_PLUGIN_OBJECTS_CMIO_CLOCK_H
#define ZAV_PLUGIN_OBJECTS_CMIO_CLOCK_H

#include <CoreMediaIO/CMIOHardwarePlugIn.h>

#include <string>

namespace Drivers::Mac::ZAV::VirtualCamera {

class cmio_clock_t {
public:
    // Creates the clock; on failure the reference stays null and the object still works as an
    // empty one.
    cmio_clock_t(const std::string& name, CMTime resolution, unsigned int events_for_rate_smoothing,
                 unsigned int averages_for_rate_smoothing, void* source_identifier);
    // Invalidates the clock before releasing it, so that clients still holding it see it stop.
    ~cmio_clock_t();
    cmio_clock_t(const cmio_clock_t&) = delete;
    cmio_clock_t& operator=(const cmio_clock_t&) = delete;

    // The clock without an added retain: retain it to hand it on.
    CFTypeRef get_ref() const { return m_p_clock; }

    void post_timing_event(CMTime event_time, unsigned long long host_time, unsigned char resynchronize);

private:
    CFTypeRef m_p_clock = nullptr;
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif

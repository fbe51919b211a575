// The stream's tie to its network source: the source's name, and the notice of a new source
// frame rate.
#include "host/zav_log.h"
#include "objects/simple_input_stream.h"

#include <unistd.h>

#include <cctype>
#include <mutex>

namespace Drivers::Mac::ZAV::VirtualCamera {

const char* simple_input_stream_t::m_p_zav_router_name = "ZAV Virtual Input";

std::string simple_input_stream_t::get_full_zav_router_name() const {
    // Sources are published under the machine's name, so the camera needs no configuration. A
    // failing gethostname leaves an empty or partial name; the buffer is zeroed so that it is
    // always terminated.
    char host_name[256] = {};
    gethostname(host_name, sizeof(host_name) - 1);
    for (char* c = host_name; *c != '\0'; ++c) *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
    return std::string(host_name) + " (" + m_p_zav_router_name + ")";
}

void simple_input_stream_t::captured_framerate_change(int num, int den) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_format.set_frame_rate(num, den);
    }
    // Outside the lock: a host that reads the rate while it is told may take the lock.
    const address_t addresses[] = {
        {kCMIOStreamPropertyFrameRate, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
        {kCMIOStreamPropertyMinimumFrameRate, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
        {kCMIOStreamPropertyFrameRates, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
        {kCMIOStreamPropertyFrameRateRanges, kCMIOObjectPropertyScopeGlobal, kCMIOObjectPropertyElementMain},
    };
    changed_properties(4, addresses);
    zav_log("Captured framerate changed");
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

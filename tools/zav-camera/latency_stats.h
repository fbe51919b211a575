// Latency of the pictures a camera delivers: for each new picture that carries a sender's time
// stamp, how long ago that stamp was made, read against the same real-time clock.
#ifndef ZAV_TOOLS_ZAV_CAMERA_LATENCY_STATS_H
#define ZAV_TOOLS_ZAV_CAMERA_LATENCY_STATS_H

#include "cmio_camera.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zav_camera {

class latency_stats_t {
public:
    // Reads the picture's stamp, if it has one, and counts its age at `now_us` (a stamp time).
    void read(const picture_view_t& picture, uint64_t now_us);

    // "latency p50 A p99 B max C ms", or "latency -" while no picture carried a stamp.
    std::string text() const;

private:
    std::vector<int64_t> m_ages_us;
};

}  // namespace zav_camera

#endif

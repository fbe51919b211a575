// A frame synchroniser on a receiver: each pull hands out the latest complete frame (the same one
// again while nothing newer arrived), or nothing before the first frame and once the source has gone
// quiet (connection closed, or no complete frame for one second). A frame handed out keeps its bytes
// until it is handed back, however many newer frames arrive.
#ifndef ZAV_LIB_RECEIVE_FRAMESYNC_H
#define ZAV_LIB_RECEIVE_FRAMESYNC_H

#include <chrono>
#include <mutex>
#include <unordered_map>

#include <zav/zav_lib.h>

#include "receive/receiver.h"

namespace Drivers::Mac::ZAV {

constexpr std::chrono::milliseconds quiet_after{1000};

class framesync_t {
public:
    explicit framesync_t(const receiver_t* p_receiver) : m_p_receiver(p_receiver) {}

    void capture(ZAVlib_video_frame_v2_t* p_frame);
    void free(ZAVlib_video_frame_v2_t* p_frame);

private:
    const receiver_t* m_p_receiver;
    mutable std::mutex m_mutex;
    // Frames handed out and not yet handed back, by their data pointer (a repeat is there twice).
    std::unordered_multimap<const uint8_t*, frame_ptr_t> m_out;
};

}  // namespace Drivers::Mac::ZAV

#endif

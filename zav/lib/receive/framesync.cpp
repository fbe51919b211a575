#include "receive/framesync.h"

namespace Drivers::Mac::ZAV {

void framesync_t::capture(ZAVlib_video_frame_v2_t* p_frame) {
    p_frame->p_data = nullptr;
    const latest_frame_t latest = m_p_receiver->latest();
    if (!latest.frame || !latest.connected || std::chrono::steady_clock::now() - latest.arrived > quiet_after) return;
    const frame_t& frame = *latest.frame;
    p_frame->xres = frame.width;
    p_frame->yres = frame.height;
    p_frame->FourCC = ZAVlib_FourCC_video_type_e(frame.fourcc);
    p_frame->frame_rate_N = frame.rate_num;
    p_frame->frame_rate_D = frame.rate_den;
    p_frame->picture_aspect_ratio = 0.0f;
    p_frame->frame_format_type = ZAVlib_frame_format_type_progressive;
    p_frame->timecode = frame.send_time_100ns != 0 ? frame.send_time_100ns : ZAVlib_timecode_synthesize;
    p_frame->line_stride_in_bytes = frame.stride;
    p_frame->p_metadata = nullptr;
    p_frame->timestamp = frame.send_time_100ns;
    p_frame->p_data = frame.p_data;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_out.emplace(frame.p_data, latest.frame);
}

void framesync_t::free(ZAVlib_video_frame_v2_t* p_frame) {
    if (!p_frame->p_data) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_out.find(p_frame->p_data);
    if (found != m_out.end()) m_out.erase(found);
    p_frame->p_data = nullptr;
}

}  // namespace Drivers::Mac::ZAV

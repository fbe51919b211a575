// Rebuilds pictures from RFC 4175 packets of one stream whose format parameters are known. Every
// packet is checked against those parameters before a byte is written: a packet that is not RTP
// version 2, has another payload type, or names a line, offset or length outside the picture or
// off the pixel-group grid is dropped and counted; a frame with a missing packet is dropped whole.
#ifndef ZAV_LIB_WIRE_DEPACKETISER_H
#define ZAV_LIB_WIRE_DEPACKETISER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "wire/frame.h"
#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

struct depacketiser_counters_t {
    uint64_t packets = 0;              // packets offered
    uint64_t frames = 0;               // complete frames handed on
    uint64_t malformed_packets = 0;    // not RTP: too short, bad padding or extension, no segment
    uint64_t bad_version = 0;          // RTP version other than 2
    uint64_t bad_payload_type = 0;     // payload type other than the stream's
    uint64_t segments_outside = 0;     // line, offset or length outside the picture or the packet
    uint64_t segments_misaligned = 0;  // offset or length not whole pixel groups
    uint64_t field_segments = 0;       // second-field lines in a progressive stream
    uint64_t incomplete_frames = 0;    // dropped: missing packets or bytes
};

class depacketiser_t {
public:
    depacketiser_t(const video_params_t& params, std::shared_ptr<frame_pool_t> pool);

    // Takes one RTP packet; returns the frame it completes, or null.
    frame_ptr_t push(const uint8_t* p_packet, std::size_t size);
    // Forgets the frame in progress (counted as incomplete), as after a lost connection.
    void reset();

    const depacketiser_counters_t& counters() const { return m_counters; }

private:
    bool write_segments(const uint8_t* p_payload, std::size_t payload_bytes);
    void drop_frame();

    video_params_t m_params;
    pixel_group_t m_group;
    std::size_t m_row_bytes;
    std::shared_ptr<frame_pool_t> m_pool;
    depacketiser_counters_t m_counters;

    frame_ptr_t m_frame;           // in progress, null between frames
    bool m_frame_damaged = false;  // a packet of it went missing or was refused
    std::size_t m_frame_bytes_have = 0;
    // Bytes of each line received so far: a line's segments must follow on from each other, so a
    // repeated or overlapping segment cannot stand in for a missing one.
    std::vector<std::size_t> m_line_fill;
    uint32_t m_next_sequence = 0;  // extended sequence number expected next
    bool m_have_sequence = false;
};

}  // namespace Drivers::Mac::ZAV

#endif

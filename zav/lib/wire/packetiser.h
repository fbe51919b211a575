// Cuts one picture into RFC 4175 packets, each framed for a byte stream by RFC 4571 (16-bit length
// first). Packets hold as many line segments as fit in max_packet_bytes, a segment breaking at a
// pixel-group boundary where a line does not fit; the last packet of the picture has the marker.
#ifndef ZAV_LIB_WIRE_PACKETISER_H
#define ZAV_LIB_WIRE_PACKETISER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

struct packetiser_state_t {
    uint32_t next_sequence = 0;  // extended sequence number of the next packet
    uint32_t ssrc = 0x5a415631;
};

struct picture_ref_t {
    const uint8_t* p_data;
    std::size_t stride;
};

// Appends the framed packets of one picture to *p_out. send_time_100ns of 0 leaves the send-time
// extension out. max_packet_bytes counts the RTP packet without the framing length.
void packetise_picture(const video_params_t& params, picture_ref_t picture, uint32_t rtp_timestamp,
                       int64_t send_time_100ns, std::size_t max_packet_bytes, packetiser_state_t* p_state,
                       std::vector<uint8_t>* p_out);

}  // namespace Drivers::Mac::ZAV

#endif

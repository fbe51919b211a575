// RTP packets (RFC 3550) as the library reads and writes them. The sender's wall-clock time of a
// frame travels in a one-byte header extension (RFC 8285, profile 0xBEDE) with id 1: 8 bytes, the
// time in 100 ns units since 1970, big endian. Senders that do not stamp frames leave it out.
#ifndef ZAV_LIB_WIRE_RTP_PACKET_H
#define ZAV_LIB_WIRE_RTP_PACKET_H

#include <cstddef>
#include <cstdint>

namespace Drivers::Mac::ZAV {

constexpr std::size_t rtp_header_bytes = 12;
constexpr uint8_t send_time_extension_id = 1;
// The send-time extension as written: its 4-byte header, one 9-byte element and 3 bytes of padding.
constexpr std::size_t send_time_extension_bytes = 16;
// The RFC 4175 header of one line segment: length, line number, offset.
constexpr std::size_t segment_header_bytes = 6;

enum class rtp_parse_e { ok, too_short, bad_version, bad_padding, bad_extension };

struct rtp_packet_t {
    bool marker = false;
    int payload_type = 0;
    uint16_t sequence = 0;
    uint32_t timestamp = 0;
    uint32_t ssrc = 0;
    int64_t send_time_100ns = 0;  // 0 when the packet carries none
    const uint8_t* p_payload = nullptr;
    std::size_t payload_bytes = 0;
};

// Reads the header of one packet; the payload points into the packet's bytes.
rtp_parse_e parse_rtp_packet(const uint8_t* p_bytes, std::size_t size, rtp_packet_t* p_packet);

inline uint16_t read_be16(const uint8_t* p) {
    return uint16_t(p[0] << 8 | p[1]);
}
inline uint32_t read_be32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}
inline void write_be16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v >> 8);
    p[1] = uint8_t(v);
}
inline void write_be32(uint8_t* p, uint32_t v) {
    write_be16(p, uint16_t(v >> 16));
    write_be16(p + 2, uint16_t(v));
}

}  // namespace Drivers::Mac::ZAV

#endif

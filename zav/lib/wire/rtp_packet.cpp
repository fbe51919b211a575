#include "wire/rtp_packet.h"

namespace Drivers::Mac::ZAV {

namespace {

// Walks the elements of a one-byte-header extension block, keeping the send time if present.
void read_one_byte_extensions(const uint8_t* p, std::size_t size, rtp_packet_t* p_packet) {
    std::size_t i = 0;
    while (i < size) {
        const uint8_t head = p[i];
        if (head == 0) {  // padding between elements
            ++i;
            continue;
        }
        const uint8_t id = head >> 4;
        const std::size_t length = std::size_t(head & 0x0f) + 1;
        if (id == 15 || i + 1 + length > size) return;
        if (id == send_time_extension_id && length == 8) {
            uint64_t value = 0;
            for (std::size_t k = 0; k < 8; ++k) value = value << 8 | p[i + 1 + k];
            if (value <= uint64_t(INT64_MAX)) p_packet->send_time_100ns = int64_t(value);
        }
        i += 1 + length;
    }
}

}  // namespace

rtp_parse_e parse_rtp_packet(const uint8_t* p_bytes, std::size_t size, rtp_packet_t* p_packet) {
    if (size < rtp_header_bytes) return rtp_parse_e::too_short;
    if ((p_bytes[0] >> 6) != 2) return rtp_parse_e::bad_version;
    const bool padding = (p_bytes[0] & 0x20) != 0;
    const bool extension = (p_bytes[0] & 0x10) != 0;
    const std::size_t csrc_count = p_bytes[0] & 0x0f;
    rtp_packet_t packet;
    packet.marker = (p_bytes[1] & 0x80) != 0;
    packet.payload_type = p_bytes[1] & 0x7f;
    packet.sequence = read_be16(p_bytes + 2);
    packet.timestamp = read_be32(p_bytes + 4);
    packet.ssrc = read_be32(p_bytes + 8);

    std::size_t begin = rtp_header_bytes + 4 * csrc_count;
    std::size_t end = size;
    if (begin > end) return rtp_parse_e::too_short;
    if (padding) {
        const std::size_t pad = p_bytes[size - 1];
        if (pad == 0 || pad > end - begin) return rtp_parse_e::bad_padding;
        end -= pad;
    }
    if (extension) {
        if (end - begin < 4) return rtp_parse_e::bad_extension;
        const uint16_t profile = read_be16(p_bytes + begin);
        const std::size_t words = read_be16(p_bytes + begin + 2);
        if (end - begin - 4 < 4 * words) return rtp_parse_e::bad_extension;
        if (profile == 0xBEDE) read_one_byte_extensions(p_bytes + begin + 4, 4 * words, &packet);
        begin += 4 + 4 * words;
    }
    packet.p_payload = p_bytes + begin;
    packet.payload_bytes = end - begin;
    *p_packet = packet;
    return rtp_parse_e::ok;
}

}  // namespace Drivers::Mac::ZAV

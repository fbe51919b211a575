#include "wire/packetiser.h"

#include <algorithm>
#include <cstring>

#include "wire/rtp_packet.h"

namespace Drivers::Mac::ZAV {

namespace {

struct pending_segment_t {
    uint32_t line;
    uint32_t offset;  // pixels
    std::size_t bytes;
};

std::size_t write_rtp_header(uint8_t* p, const video_params_t& params, bool marker, uint32_t sequence,
                             uint32_t rtp_timestamp, int64_t send_time_100ns, uint32_t ssrc) {
    const bool extension = send_time_100ns != 0;
    p[0] = uint8_t(0x80 | (extension ? 0x10 : 0));
    p[1] = uint8_t((marker ? 0x80 : 0) | params.payload_type);
    write_be16(p + 2, uint16_t(sequence));
    write_be32(p + 4, rtp_timestamp);
    write_be32(p + 8, ssrc);
    std::size_t at = rtp_header_bytes;
    if (extension) {
        write_be16(p + at, 0xBEDE);
        write_be16(p + at + 2, 3);  // 12 bytes: one 9-byte element and 3 bytes of padding
        p[at + 4] = uint8_t(send_time_extension_id << 4 | 7);
        const uint64_t value = uint64_t(send_time_100ns);
        for (int k = 0; k < 8; ++k) p[at + 5 + k] = uint8_t(value >> (56 - 8 * k));
        p[at + 13] = p[at + 14] = p[at + 15] = 0;
        at += send_time_extension_bytes;
    }
    write_be16(p + at, uint16_t(sequence >> 16));
    return at + 2;
}

}  // namespace

void packetise_picture(const video_params_t& params, picture_ref_t picture, uint32_t rtp_timestamp,
                       int64_t send_time_100ns, std::size_t max_packet_bytes, packetiser_state_t* p_state,
                       std::vector<uint8_t>* p_out) {
    const pixel_group_t group = pixel_group(params.sampling);
    const std::size_t group_bytes = std::size_t(group.bytes);
    const std::size_t row_bytes = params.row_bytes();
    const std::size_t header_bytes = rtp_header_bytes + (send_time_100ns != 0 ? send_time_extension_bytes : 0) + 2;
    max_packet_bytes = std::min<std::size_t>(max_packet_bytes, 0xffff);
    // At least one pixel group per packet whatever the caller asks.
    max_packet_bytes = std::max(max_packet_bytes, header_bytes + segment_header_bytes + group_bytes);

    uint32_t line = 0;
    std::size_t line_done = 0;  // bytes of `line` already sent
    const uint32_t height = uint32_t(params.height);
    while (line < height) {
        // Gather the segments of one packet.
        pending_segment_t segments[64];
        std::size_t count = 0;
        std::size_t room = max_packet_bytes - header_bytes;
        while (line < height && count < 64 && room >= segment_header_bytes + group_bytes) {
            const std::size_t fit = (room - segment_header_bytes) / group_bytes * group_bytes;
            const std::size_t take = std::min(fit, row_bytes - line_done);
            segments[count++] = {line, uint32_t(line_done / group_bytes * std::size_t(group.pixels)), take};
            room -= segment_header_bytes + take;
            line_done += take;
            if (line_done == row_bytes) {
                ++line;
                line_done = 0;
            }
        }
        std::size_t payload = 0;
        for (std::size_t i = 0; i < count; ++i) payload += segment_header_bytes + segments[i].bytes;
        const std::size_t packet_bytes = header_bytes + payload;
        const std::size_t start = p_out->size();
        p_out->resize(start + 2 + packet_bytes);
        uint8_t* p = p_out->data() + start;
        write_be16(p, uint16_t(packet_bytes));
        p += 2;
        p += write_rtp_header(p, params, line == height, p_state->next_sequence++, rtp_timestamp, send_time_100ns,
                              p_state->ssrc);
        for (std::size_t i = 0; i < count; ++i) {
            write_be16(p, uint16_t(segments[i].bytes));
            write_be16(p + 2, uint16_t(segments[i].line));
            write_be16(p + 4, uint16_t(segments[i].offset | (i + 1 < count ? 0x8000 : 0)));
            p += segment_header_bytes;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const pending_segment_t& s = segments[i];
            std::memcpy(p,
                        picture.p_data + s.line * picture.stride + s.offset / std::size_t(group.pixels) * group_bytes,
                        s.bytes);
            p += s.bytes;
        }
    }
}

}  // namespace Drivers::Mac::ZAV

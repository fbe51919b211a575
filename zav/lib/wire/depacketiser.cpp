#include "wire/depacketiser.h"

#include <cstring>
#include <vector>

#include <zav/zav_lib.h>

#include "wire/rtp_packet.h"

namespace Drivers::Mac::ZAV {

namespace {

struct segment_t {
    std::size_t length;
    uint32_t line;
    uint32_t offset;
    bool second_field;
};

uint32_t fourcc_of(sampling_e sampling) {
    switch (sampling) {
        case sampling_e::ycbcr_422:
            return ZAVlib_FourCC_video_type_UYVY;
        case sampling_e::bgra:
            return ZAVlib_FourCC_video_type_BGRA;
        default:
            return 0;  // converted by the receiver before anyone sees it
    }
}

}  // namespace

depacketiser_t::depacketiser_t(const video_params_t& params, std::shared_ptr<frame_pool_t> pool)
    : m_params(params),
      m_group(pixel_group(params.sampling)),
      m_row_bytes(params.row_bytes()),
      m_pool(std::move(pool)) {}

void depacketiser_t::drop_frame() {
    if (m_frame) ++m_counters.incomplete_frames;
    m_frame.reset();
}

void depacketiser_t::reset() {
    drop_frame();
    m_have_sequence = false;
}

frame_ptr_t depacketiser_t::push(const uint8_t* p_packet, std::size_t size) {
    ++m_counters.packets;
    rtp_packet_t packet;
    switch (parse_rtp_packet(p_packet, size, &packet)) {
        case rtp_parse_e::ok:
            break;
        case rtp_parse_e::bad_version:
            ++m_counters.bad_version;
            return nullptr;
        default:
            ++m_counters.malformed_packets;
            return nullptr;
    }
    if (packet.payload_type != m_params.payload_type) {
        ++m_counters.bad_payload_type;
        return nullptr;
    }
    if (packet.payload_bytes < 2 + segment_header_bytes) {
        ++m_counters.malformed_packets;
        return nullptr;
    }
    const uint32_t sequence = uint32_t(read_be16(packet.p_payload)) << 16 | packet.sequence;

    // A new time stamp starts a new frame; one still open lost its last packet.
    if (m_frame && packet.timestamp != m_frame->rtp_timestamp) drop_frame();
    if (!m_frame) {
        m_frame = m_pool->acquire(m_params.frame_bytes());
        m_frame->width = m_params.width;
        m_frame->height = m_params.height;
        m_frame->fourcc = fourcc_of(m_params.sampling);
        m_frame->stride = int(m_row_bytes);
        m_frame->rate_num = m_params.rate_num;
        m_frame->rate_den = m_params.rate_den;
        m_frame->rtp_timestamp = packet.timestamp;
        m_frame_damaged = false;
        m_frame_bytes_have = 0;
        m_line_fill.assign(std::size_t(m_params.height), 0);
    } else if (!m_have_sequence || sequence != m_next_sequence) {
        m_frame_damaged = true;
    }
    m_next_sequence = sequence + 1;
    m_have_sequence = true;
    if (packet.send_time_100ns != 0) m_frame->send_time_100ns = packet.send_time_100ns;

    if (!write_segments(packet.p_payload + 2, packet.payload_bytes - 2)) m_frame_damaged = true;
    if (!packet.marker) return nullptr;

    frame_ptr_t done = std::move(m_frame);
    m_frame.reset();
    if (m_frame_damaged || m_frame_bytes_have != m_params.frame_bytes()) {
        ++m_counters.incomplete_frames;
        return nullptr;
    }
    ++m_counters.frames;
    return done;
}

bool depacketiser_t::write_segments(const uint8_t* p_payload, std::size_t payload_bytes) {
    // All headers first (each says whether another follows), then the segments' bytes in order.
    segment_t segments[64];
    std::size_t count = 0;
    std::size_t at = 0;
    for (;;) {
        if (count == sizeof segments / sizeof segments[0] || payload_bytes - at < segment_header_bytes) {
            ++m_counters.malformed_packets;
            return false;
        }
        const uint8_t* p = p_payload + at;
        const uint16_t line_field = read_be16(p + 2);
        const uint16_t offset_more = read_be16(p + 4);
        segments[count++] = {read_be16(p), uint32_t(line_field & 0x7fff), uint32_t(offset_more & 0x7fff),
                             (line_field & 0x8000) != 0};
        at += segment_header_bytes;
        if ((offset_more & 0x8000) == 0) break;
    }
    const std::size_t group_bytes = std::size_t(m_group.bytes);
    const std::size_t group_pixels = std::size_t(m_group.pixels);
    for (std::size_t i = 0; i < count; ++i) {
        const segment_t& s = segments[i];
        if (s.second_field) {
            ++m_counters.field_segments;
            return false;
        }
        if (s.length % group_bytes != 0 || s.offset % group_pixels != 0) {
            ++m_counters.segments_misaligned;
            return false;
        }
        const std::size_t pixels = s.length / group_bytes * group_pixels;
        if (s.line >= uint32_t(m_params.height) || s.offset + pixels > std::size_t(m_params.width) ||
            s.length > payload_bytes - at) {
            ++m_counters.segments_outside;
            return false;
        }
        const std::size_t line_offset = s.offset / group_pixels * group_bytes;
        if (line_offset != m_line_fill[s.line]) return false;
        std::memcpy(m_frame->p_data + s.line * m_row_bytes + line_offset, p_payload + at, s.length);
        m_line_fill[s.line] += s.length;
        m_frame_bytes_have += s.length;
        at += s.length;
    }
    return true;
}

}  // namespace Drivers::Mac::ZAV

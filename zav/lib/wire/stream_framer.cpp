#include "wire/stream_framer.h"

#include <algorithm>
#include <cstring>

namespace Drivers::Mac::ZAV {

stream_framer_t::stream_framer_t(std::size_t min_packet_bytes, std::size_t max_packet_bytes)
    : m_min_packet_bytes(min_packet_bytes), m_max_packet_bytes(std::min<std::size_t>(max_packet_bytes, 0xffff)) {
    m_packet.resize(m_max_packet_bytes);
}

void stream_framer_t::reset() {
    m_length_have = 0;
    m_packet_length = 0;
    m_packet_have = 0;
    m_skipping = false;
}

void stream_framer_t::feed(const uint8_t* p_bytes, std::size_t size, const packet_sink_t& sink) {
    while (size > 0) {
        if (m_length_have < 2) {
            m_length_bytes[m_length_have++] = *p_bytes++;
            --size;
            if (m_length_have < 2) continue;
            m_packet_length = std::size_t(m_length_bytes[0]) << 8 | m_length_bytes[1];
            m_packet_have = 0;
            m_skipping = m_packet_length < m_min_packet_bytes || m_packet_length > m_max_packet_bytes;
            if (m_skipping) ++m_bad_lengths;
            if (m_packet_length == 0) m_length_have = 0;
            continue;
        }
        // Whole packets straight from the caller's bytes when they are all there; else gathered.
        const std::size_t take = std::min(size, m_packet_length - m_packet_have);
        if (!m_skipping) {
            if (m_packet_have == 0 && take == m_packet_length) {
                sink(p_bytes, m_packet_length);
            } else {
                std::memcpy(m_packet.data() + m_packet_have, p_bytes, take);
            }
        }
        m_packet_have += take;
        p_bytes += take;
        size -= take;
        if (m_packet_have == m_packet_length) {
            if (!m_skipping && take != m_packet_length) sink(m_packet.data(), m_packet_length);
            m_length_have = 0;
        }
    }
}

}  // namespace Drivers::Mac::ZAV

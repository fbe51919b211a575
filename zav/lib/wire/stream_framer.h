// Splits a TCP byte stream into RTP packets by the RFC 4571 framing: a 16-bit big-endian length
// before each packet. A length too short to hold an RTP header is counted and its bytes skipped, so
// that the stream stays in step; nothing in the stream can make the reader hold more than one
// packet's bytes.
#ifndef ZAV_LIB_WIRE_STREAM_FRAMER_H
#define ZAV_LIB_WIRE_STREAM_FRAMER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace Drivers::Mac::ZAV {

class stream_framer_t {
public:
    using packet_sink_t = std::function<void(const uint8_t* p_packet, std::size_t size)>;

    // Lengths below min_packet_bytes or above max_packet_bytes are refused.
    stream_framer_t(std::size_t min_packet_bytes, std::size_t max_packet_bytes);

    // Feeds received bytes; calls sink once per whole packet, in order.
    void feed(const uint8_t* p_bytes, std::size_t size, const packet_sink_t& sink);
    // Forgets a partly read packet (after a reconnect).
    void reset();

    uint64_t bad_lengths() const { return m_bad_lengths; }

private:
    std::size_t m_min_packet_bytes;
    std::size_t m_max_packet_bytes;
    std::vector<uint8_t> m_packet;
    uint8_t m_length_bytes[2] = {0, 0};
    std::size_t m_length_have = 0;
    std::size_t m_packet_length = 0;
    std::size_t m_packet_have = 0;
    bool m_skipping = false;
    uint64_t m_bad_lengths = 0;
};

}  // namespace Drivers::Mac::ZAV

#endif

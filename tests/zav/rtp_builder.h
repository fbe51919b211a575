// Builds RTP packets of the RFC 4175 payload field by field, so that tests can make any packet a
// sender could send, well-formed or not.
#ifndef ZAV_TESTS_ZAV_RTP_BUILDER_H
#define ZAV_TESTS_ZAV_RTP_BUILDER_H

#include <cstdint>
#include <vector>

namespace zav_test {

struct segment_fields_t {
    uint16_t length;
    uint16_t line;
    uint16_t offset;
    bool second_field = false;
    bool more = false;  // continuation bit: another header follows
    uint8_t fill = 0x5a;
    int data_bytes = -1;  // bytes of data actually present; -1: `length`
};

struct rtp_fields_t {
    int version = 2;
    int payload_type = 96;
    bool marker = true;
    uint32_t sequence = 0;  // extended: the high half goes in the payload
    uint32_t timestamp = 1000;
    std::vector<segment_fields_t> segments;
};

inline void put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(uint8_t(v >> 8));
    out.push_back(uint8_t(v));
}

inline std::vector<uint8_t> build_rtp(const rtp_fields_t& fields) {
    std::vector<uint8_t> out;
    out.push_back(uint8_t(fields.version << 6));
    out.push_back(uint8_t((fields.marker ? 0x80 : 0) | fields.payload_type));
    put16(out, fields.sequence & 0xffff);
    put16(out, fields.timestamp >> 16);
    put16(out, fields.timestamp & 0xffff);
    put16(out, 0x1234);
    put16(out, 0x5678);
    put16(out, fields.sequence >> 16);
    for (const segment_fields_t& s : fields.segments) {
        put16(out, s.length);
        put16(out, uint32_t(s.line) | (s.second_field ? 0x8000 : 0));
        put16(out, uint32_t(s.offset) | (s.more ? 0x8000 : 0));
    }
    for (const segment_fields_t& s : fields.segments)
        out.insert(out.end(), std::size_t(s.data_bytes < 0 ? s.length : s.data_bytes), s.fill);
    return out;
}

}  // namespace zav_test

#endif

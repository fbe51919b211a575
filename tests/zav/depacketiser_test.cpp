// The depacketiser against well-formed, boundary and hostile packets: each refused packet is
// counted in its own counter, a frame with a gap is dropped whole, and no packet can write outside
// the picture (the picture buffers are exactly the picture's size, so a stray write is a heap
// overflow under AddressSanitizer).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtp_builder.h"
#include "wire/depacketiser.h"

using namespace Drivers::Mac::ZAV;
using zav_test::build_rtp;
using zav_test::rtp_fields_t;
using zav_test::segment_fields_t;

namespace {

// 4x2 pixels of 4:2:2: rows of 8 bytes, pixel groups of 4 bytes / 2 pixels.
video_params_t small_uyvy() {
    video_params_t params;
    params.sampling = sampling_e::ycbcr_422;
    params.width = 4;
    params.height = 2;
    return params;
}

// 3x2 pixels of BGRA: rows of 12 bytes, an odd width.
video_params_t small_bgra() {
    video_params_t params;
    params.sampling = sampling_e::bgra;
    params.width = 3;
    params.height = 2;
    return params;
}

rtp_fields_t packet(std::vector<segment_fields_t> segments, uint32_t sequence = 0, bool marker = true) {
    rtp_fields_t fields;
    fields.segments = std::move(segments);
    fields.sequence = sequence;
    fields.marker = marker;
    return fields;
}

// Both rows of the small UYVY picture in one packet.
rtp_fields_t whole_uyvy_frame(uint32_t sequence = 0) {
    return packet({{8, 0, 0, false, true, 0x11}, {8, 1, 0, false, false, 0x22}}, sequence);
}

struct depacketiser_case_t {
    std::string name;
    video_params_t params;
    std::vector<rtp_fields_t> packets;
    uint64_t expected_frames;
    uint64_t depacketiser_counters_t::*counter;  // the counter the case is about
    uint64_t expected_count;
};

// A failing case is reported by its name rather than as a dump of its bytes.
void PrintTo(const depacketiser_case_t& c, std::ostream* os) {
    *os << c.name;
}

rtp_fields_t with(rtp_fields_t fields, void (*change)(rtp_fields_t&)) {
    change(fields);
    return fields;
}

std::vector<depacketiser_case_t> depacketiser_cases() {
    using c = depacketiser_counters_t;
    return {
        {"WholeFrameInOnePacket", small_uyvy(), {whole_uyvy_frame()}, 1, &c::frames, 1},
        {"WholeFrameLinePerPacket",
         small_uyvy(),
         {packet({{8, 0, 0}}, 7, false), packet({{8, 1, 0}}, 8)},
         1,
         &c::frames,
         1},
        {"SequenceWrapsIntoExtendedHalf",
         small_uyvy(),
         {packet({{8, 0, 0}}, 0x0000ffff, false), packet({{8, 1, 0}}, 0x00010000)},
         1,
         &c::frames,
         1},
        {"LineSplitAtPixelGroup",
         small_uyvy(),
         {packet({{4, 0, 0, false, true}, {4, 0, 2, false, true}, {8, 1, 0}})},
         1,
         &c::frames,
         1},
        {"OddWidthBgraLastPixelOfLastLine",
         small_bgra(),
         {packet({{12, 0, 0, false, true}, {8, 1, 0, false, true}, {4, 1, 2}})},
         1,
         &c::frames,
         1},
        {"VersionOne",
         small_uyvy(),
         {with(whole_uyvy_frame(), [](rtp_fields_t& s) { s.version = 1; })},
         0,
         &c::bad_version,
         1},
        {"OtherPayloadType",
         small_uyvy(),
         {with(whole_uyvy_frame(), [](rtp_fields_t& s) { s.payload_type = 97; })},
         0,
         &c::bad_payload_type,
         1},
        {"NoSegmentHeader", small_uyvy(), {packet({})}, 0, &c::malformed_packets, 1},
        {"ContinuationPastEndOfPacket",
         small_uyvy(),
         {packet({{8, 0, 0, false, true, 0, 0}})},
         0,
         &c::malformed_packets,
         1},
        {"LineBelowPicture", small_uyvy(), {packet({{8, 0, 0, false, true}, {8, 2, 0}})}, 0, &c::segments_outside, 1},
        {"LastLineNumber",
         small_uyvy(),
         {packet({{8, 0, 0, false, true}, {8, 0x7fff, 0}})},
         0,
         &c::segments_outside,
         1},
        {"SegmentPastRightEdge",
         small_uyvy(),
         {packet({{8, 0, 2, false, true}, {8, 1, 0}})},
         0,
         &c::segments_outside,
         1},
        {"OffsetFarPastRightEdge", small_uyvy(), {packet({{4, 0, 0x7ffe}})}, 0, &c::segments_outside, 1},
        {"LengthBeyondPacket", small_uyvy(), {packet({{8, 0, 0, false, false, 0x33, 4}})}, 0, &c::segments_outside, 1},
        {"LengthFarBeyondPacket",
         small_uyvy(),
         {packet({{0xfffc, 0, 0, false, false, 0x33, 8}})},
         0,
         &c::segments_outside,
         1},
        {"OffsetInsidePixelGroup", small_uyvy(), {packet({{4, 0, 1}})}, 0, &c::segments_misaligned, 1},
        {"LengthNotWholePixelGroups", small_uyvy(), {packet({{6, 0, 0}})}, 0, &c::segments_misaligned, 1},
        {"BgraLengthNotWholePixels", small_bgra(), {packet({{6, 0, 0}})}, 0, &c::segments_misaligned, 1},
        {"SecondFieldLine", small_uyvy(), {packet({{8, 0, 0, true}})}, 0, &c::field_segments, 1},
        {"MissingPacketDropsFrame",
         small_uyvy(),
         {packet({{8, 0, 0}}, 1, false), packet({{8, 1, 0}}, 3)},
         0,
         &c::incomplete_frames,
         1},
        {"MarkerWithMissingBytes", small_uyvy(), {packet({{8, 0, 0}})}, 0, &c::incomplete_frames, 1},
        {"NewTimestampBeforeMarker",
         small_uyvy(),
         {packet({{8, 0, 0}}, 0, false), with(whole_uyvy_frame(1), [](rtp_fields_t& s) { s.timestamp = 2000; })},
         1,
         &c::incomplete_frames,
         1},
        {"RepeatedLineCannotStandInForAnother",
         small_uyvy(),
         {packet({{8, 0, 0, false, true}, {8, 0, 0}})},
         0,
         &c::incomplete_frames,
         1},
        {"RefusedPacketDamagesItsFrame",
         small_uyvy(),
         {packet({{8, 0, 0}}, 0, false), packet({{8, 1, 1}}, 1)},
         0,
         &c::incomplete_frames,
         1},
    };
}

class depacketiser_table_test : public testing::TestWithParam<depacketiser_case_t> {};

TEST_P(depacketiser_table_test, CountsAndFrames) {
    const depacketiser_case_t& c = GetParam();
    depacketiser_t depacketiser(c.params, frame_pool_t::create());
    uint64_t frames = 0;
    for (const rtp_fields_t& fields : c.packets) {
        const std::vector<uint8_t> bytes = build_rtp(fields);
        if (depacketiser.push(bytes.data(), bytes.size())) ++frames;
    }
    EXPECT_EQ(frames, c.expected_frames);
    EXPECT_EQ(depacketiser.counters().*c.counter, c.expected_count);
    EXPECT_EQ(depacketiser.counters().packets, c.packets.size());
}

INSTANTIATE_TEST_SUITE_P(Packets, depacketiser_table_test, testing::ValuesIn(depacketiser_cases()),
                         [](const testing::TestParamInfo<depacketiser_case_t>& case_info) {
                             return case_info.param.name;
                         });

TEST(depacketiser_test, PictureBytesLandWhereTheSegmentsSay) {
    depacketiser_t depacketiser(small_bgra(), frame_pool_t::create());
    // Line 1 first, then line 0 split in two: order on the wire does not matter.
    const std::vector<uint8_t> bytes =
        build_rtp(packet({{12, 1, 0, false, true, 0xb1}, {4, 0, 0, false, true, 0xa0}, {8, 0, 1, false, false, 0xa1}}));
    frame_ptr_t frame = depacketiser.push(bytes.data(), bytes.size());
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->stride, 12);
    const std::vector<uint8_t> expected = {0xa0, 0xa0, 0xa0, 0xa0, 0xa1, 0xa1, 0xa1, 0xa1, 0xa1, 0xa1, 0xa1, 0xa1,
                                           0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1, 0xb1};
    EXPECT_EQ(std::vector<uint8_t>(frame->p_data, frame->p_data + 24), expected);
}

TEST(depacketiser_test, TruncatedRtpHeadersAreMalformed) {
    depacketiser_t depacketiser(small_uyvy(), frame_pool_t::create());
    const std::vector<uint8_t> whole = build_rtp(whole_uyvy_frame());
    for (std::size_t size :
         {std::size_t(0), std::size_t(1), std::size_t(11), std::size_t(12), std::size_t(13), std::size_t(19)})
        EXPECT_FALSE(depacketiser.push(whole.data(), size)) << size << " bytes";
    EXPECT_EQ(depacketiser.counters().malformed_packets, 6u);
}

TEST(depacketiser_test, ExtensionLongerThanPacketIsMalformed) {
    depacketiser_t depacketiser(small_uyvy(), frame_pool_t::create());
    std::vector<uint8_t> bytes = build_rtp(whole_uyvy_frame());
    bytes[0] |= 0x10;  // says an extension follows the header; its length word then reads 0x0000 + payload bytes
    bytes.insert(bytes.begin() + 12, {0xBE, 0xDE, 0xff, 0xff});
    EXPECT_FALSE(depacketiser.push(bytes.data(), bytes.size()));
    EXPECT_EQ(depacketiser.counters().malformed_packets, 1u);
}

TEST(depacketiser_test, PaddingLongerThanPayloadIsMalformed) {
    depacketiser_t depacketiser(small_uyvy(), frame_pool_t::create());
    std::vector<uint8_t> bytes = build_rtp(whole_uyvy_frame());
    bytes[0] |= 0x20;
    bytes.back() = 0xff;
    EXPECT_FALSE(depacketiser.push(bytes.data(), bytes.size()));
    EXPECT_EQ(depacketiser.counters().malformed_packets, 1u);
}

TEST(depacketiser_test, AFrameAfterADroppedOneIsWhole) {
    depacketiser_t depacketiser(small_uyvy(), frame_pool_t::create());
    const std::vector<uint8_t> half = build_rtp(packet({{8, 0, 0}}, 0, false));
    rtp_fields_t next = whole_uyvy_frame(5);
    next.timestamp = 4000;
    const std::vector<uint8_t> whole = build_rtp(next);
    EXPECT_FALSE(depacketiser.push(half.data(), half.size()));
    EXPECT_TRUE(depacketiser.push(whole.data(), whole.size()));
    EXPECT_EQ(depacketiser.counters().incomplete_frames, 1u);
}

TEST(depacketiser_test, ResetDropsTheFrameInProgress) {
    depacketiser_t depacketiser(small_uyvy(), frame_pool_t::create());
    const std::vector<uint8_t> first = build_rtp(packet({{8, 0, 0}}, 0, false));
    const std::vector<uint8_t> second = build_rtp(packet({{8, 1, 0}}, 1));
    depacketiser.push(first.data(), first.size());
    depacketiser.reset();
    EXPECT_FALSE(depacketiser.push(second.data(), second.size()));
    EXPECT_EQ(depacketiser.counters().incomplete_frames, 2u);
}

}  // namespace

// Network bytes: an RFC 4571 byte stream, cut into arbitrary chunks, through the stream framer and
// the RTP/RFC 4175 depacketiser exactly as the receiver's thread wires them. Every chunk is a heap
// block of its exact size, so a read past the bytes received is an AddressSanitizer report, and
// every picture is exactly its frame's size, so a write outside a frame is one too.
//
// Input: four bytes choose the stream's format (sampling, width in pixel groups, height, payload
// type), then chunks follow: one byte of flags and length, the chunk's bytes. Checked after
// every packet: the counters move as one packet can move them, completed frames have the
// stream's geometry and size, and the frame pool keeps no more than its bound.
#include <cstdint>
#include <deque>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_check.h"
#include "wire/depacketiser.h"
#include "wire/rtp_packet.h"
#include "wire/stream_framer.h"

using namespace Drivers::Mac::ZAV;

namespace {

constexpr std::size_t pool_keep = 4;
constexpr std::size_t frames_held = 2;  // a reader holding frames while new ones arrive

uint64_t refusals(const depacketiser_counters_t& c) {
    return c.malformed_packets + c.bad_version + c.bad_payload_type + c.segments_outside + c.segments_misaligned +
           c.field_segments;
}

// Whether a packet gets past the RTP header checks and may start a frame. A packet whose segments
// are then refused still opens its frame (which ends incomplete), so this is the bound on frames
// ended, not the count of packets refused.
bool can_open_frame(const uint8_t* p_packet, std::size_t size, const video_params_t& params) {
    rtp_packet_t packet;
    return parse_rtp_packet(p_packet, size, &packet) == rtp_parse_e::ok && packet.payload_type == params.payload_type &&
           packet.payload_bytes >= 2 + segment_header_bytes;
}

video_params_t params_from(FuzzedDataProvider& input) {
    video_params_t params;
    params.sampling = input.PickValueInArray(
        {sampling_e::ycbcr_422, sampling_e::bgra, sampling_e::rgba, sampling_e::rgb, sampling_e::bgr});
    const pixel_group_t group = pixel_group(params.sampling);
    params.width = group.pixels * input.ConsumeIntegralInRange<int>(1, 24);
    params.height = input.ConsumeIntegralInRange<int>(1, 12);
    // Mostly the default payload type, so that packets get past the header checks.
    const uint8_t pt = input.ConsumeIntegral<uint8_t>();
    params.payload_type = pt < 0xc0 ? default_payload_type : pt & 0x7f;
    return params;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    FuzzedDataProvider input(p_data, size);
    const video_params_t params = params_from(input);
    auto pool = frame_pool_t::create(pool_keep);
    stream_framer_t framer(rtp_header_bytes, 0xffff);
    depacketiser_t depacketiser(params, pool);

    std::deque<frame_ptr_t> held;
    uint64_t pushes = 0;
    uint64_t frames_out = 0;
    uint64_t accepted = 0;  // packets that got past the RTP header checks, each able to open a frame
    uint64_t bytes_fed = 0;

    const auto on_packet = [&](const uint8_t* p_packet, std::size_t packet_size) {
        fuzz_check(packet_size >= rtp_header_bytes && packet_size <= 0xffff,
                   "packet length outside the framer's bounds");
        const depacketiser_counters_t before = depacketiser.counters();
        frame_ptr_t frame = depacketiser.push(p_packet, packet_size);
        const depacketiser_counters_t& after = depacketiser.counters();
        ++pushes;
        fuzz_check(after.packets == pushes, "packets counted != packets offered");
        fuzz_check(refusals(after) - refusals(before) <= 1, "one packet refused twice");
        if (can_open_frame(p_packet, packet_size, params)) ++accepted;
        if (frame) {
            ++frames_out;
            fuzz_check(frame->width == params.width && frame->height == params.height, "frame size");
            fuzz_check(std::size_t(frame->stride) == params.row_bytes(), "frame stride");
            fuzz_check(frame->capacity == params.frame_bytes() && frame->p_data, "frame buffer size");
            held.push_back(std::move(frame));
            if (held.size() > frames_held) held.pop_front();
        }
        fuzz_check(after.frames == frames_out, "frames counted != frames handed on");
        fuzz_check(after.frames + after.incomplete_frames <= accepted, "more frames ended than packets accepted");
        fuzz_check(pool->kept() <= pool_keep, "frame pool above its bound");
    };

    while (input.remaining_bytes() > 0) {
        const uint8_t control = input.ConsumeIntegral<uint8_t>();
        if (control == 0xff) {  // the connection drops and a new one starts
            framer.reset();
            depacketiser.reset();
            continue;
        }
        // Short chunks mostly (bytes split anywhere), sometimes long ones (whole packets at once).
        const std::size_t length = control & 0x80 ? std::size_t(control & 0x7f) * 64 : control;
        const std::vector<uint8_t> bytes = input.ConsumeBytes<uint8_t>(length);
        if (bytes.empty()) continue;
        std::vector<uint8_t> chunk(bytes);  // exact-size heap block
        framer.feed(chunk.data(), chunk.size(), on_packet);
        bytes_fed += chunk.size();
        fuzz_check(framer.bad_lengths() <= bytes_fed / 2, "more bad lengths than length fields");
    }
    depacketiser.reset();
    fuzz_check(depacketiser.counters().packets == pushes, "packets counted != packets offered");
    return 0;
}

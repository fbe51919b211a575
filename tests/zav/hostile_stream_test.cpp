// A hostile sender over a real connection: whatever it writes is counted and dropped, and a good
// frame after the garbage still arrives whole.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "loopback_support.h"
#include "rtp_builder.h"

using namespace zav_test;

namespace {

// A listening socket on 127.0.0.1 that writes `bytes` to the first receiver and keeps it open.
class raw_server_t {
public:
    explicit raw_server_t(std::vector<uint8_t> bytes) {
        m_fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(m_fd, 1);
        socklen_t length = sizeof address;
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this, bytes = std::move(bytes)] {
            m_client = accept(m_fd, nullptr, nullptr);
            if (m_client >= 0) (void)!write(m_client, bytes.data(), bytes.size());
        });
    }
    ~raw_server_t() {
        shutdown(m_fd, SHUT_RDWR);
        m_thread.join();
        if (m_client >= 0) close(m_client);
        close(m_fd);
    }
    uint16_t port() const { return m_port; }

private:
    int m_fd = -1, m_client = -1;
    uint16_t m_port = 0;
    std::thread m_thread;
};

void append_framed(std::vector<uint8_t>& out, const std::vector<uint8_t>& packet) {
    put16(out, uint32_t(packet.size()));
    out.insert(out.end(), packet.begin(), packet.end());
}

TEST(hostile_stream_test, GarbageIsCountedAndAGoodFrameStillArrives) {
    std::vector<uint8_t> stream;
    put16(stream, 0);                     // a zero length
    append_framed(stream, {1, 2, 3, 4});  // too short for RTP
    rtp_fields_t bad_version;
    bad_version.version = 3;
    bad_version.segments = {{8, 0, 0}};
    append_framed(stream, build_rtp(bad_version));
    rtp_fields_t outside;
    outside.segments = {{8, 4000, 0}};
    append_framed(stream, build_rtp(outside));
    rtp_fields_t good;  // 4x2 UYVY in one packet
    good.sequence = 10;
    good.timestamp = 5000;
    good.segments = {{8, 0, 0, false, true, 0x41}, {8, 1, 0, false, false, 0x42}};
    append_framed(stream, build_rtp(good));
    raw_server_t server(stream);

    const std::string address =
        "127.0.0.1:" + std::to_string(server.port()) + " sampling=YCbCr-4:2:2; width=4; height=2";
    test_receiver_t receiver(nullptr, address.c_str(), ZAVlib_recv_color_format_UYVY_BGRA);
    ZAVlib_video_frame_v2_t frame;
    ASSERT_TRUE(receiver.wait_for_frame(&frame, std::chrono::seconds(10)));
    const std::vector<uint8_t> expected = {0x41, 0x41, 0x41, 0x41, 0x41, 0x41, 0x41, 0x41,
                                           0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42, 0x42};
    EXPECT_EQ(picture_bytes(frame, 8), expected);
    ZAVlib_framesync_free_video(receiver.sync(), &frame);
    const ZAVlib_ext_counters_t counters = receiver.counters();
    EXPECT_EQ(counters.bad_lengths, 2u);
    EXPECT_EQ(counters.bad_version, 1u);
    EXPECT_EQ(counters.segments_outside, 1u);
    EXPECT_EQ(counters.frames, 1u);
}

}  // namespace

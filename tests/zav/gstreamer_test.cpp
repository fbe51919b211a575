// Interworking with a standard RFC 4175 implementation, GStreamer's, both ways over loopback:
// frames that GStreamer sends through rtpvrawpay ! rtpstreampay ! tcpserversink arrive byte-exact
// (compared with the same frames GStreamer writes to a file), and frames of our sender that
// GStreamer receives through tcpclientsrc ! rtpstreamdepay ! rtpvrawdepay are byte-exact.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include "child_process.h"
#include "loopback_support.h"

using namespace zav_test;

namespace {

struct gst_case_t {
    std::string name;
    std::string gst_format;  // UYVY or BGRA
    std::string sampling;    // the RFC 4175 name
    sampling_e ours;
    int width, height;
};

// A failing case is reported by its name rather than as a dump of its bytes.
void PrintTo(const gst_case_t& c, std::ostream* os) {
    *os << c.name;
}

std::string caps_of(const gst_case_t& c) {
    return "video/x-raw,format=" + c.gst_format + ",width=" + std::to_string(c.width) +
           ",height=" + std::to_string(c.height) + ",framerate=30/1";
}

class gstreamer_test : public testing::TestWithParam<gst_case_t> {
protected:
    void SetUp() override {
        if (!program_on_path("gst-launch-1.0"))
            GTEST_SKIP() << "gst-launch-1.0 not installed (scripts/install-deps.sh installs GStreamer)";
        m_dir = testing::TempDir() + "zav_gst_" + std::to_string(::getpid()) + "_";
    }
    std::string m_dir;
};

// The "colors" pattern is the same in every frame, so whichever frame the receiver gets first can be
// compared with the one written to the file ("smpte" has a noise patch that changes frame by frame).
TEST_P(gstreamer_test, GStreamerSenderArrivesByteExact) {
    const gst_case_t& c = GetParam();
    const std::string reference = m_dir + "reference.raw";
    child_process_t writer({"gst-launch-1.0", "-q", "videotestsrc", "num-buffers=1", "pattern=colors", "!", caps_of(c),
                            "!", "filesink", "location=" + reference});
    ASSERT_TRUE(writer.started());
    ASSERT_EQ(writer.wait(std::chrono::seconds(30)), 0);
    const std::vector<uint8_t> expected = read_file(reference);
    std::remove(reference.c_str());
    ASSERT_EQ(expected.size(), std::size_t(c.width) * std::size_t(c.height) * (c.gst_format == "UYVY" ? 2 : 4));

    const uint16_t port = free_loopback_port();
    child_process_t sender({"gst-launch-1.0", "-q", "videotestsrc", "pattern=colors", "is-live=true", "!", caps_of(c),
                            "!", "rtpvrawpay", "!", "rtpstreampay", "!", "tcpserversink", "host=127.0.0.1",
                            "port=" + std::to_string(port)});
    ASSERT_TRUE(sender.started());
    ASSERT_TRUE(wait_for_listener(port, std::chrono::seconds(30)));
    const std::string address = "127.0.0.1:" + std::to_string(port) + " sampling=" + c.sampling +
                                "; width=" + std::to_string(c.width) + "; height=" + std::to_string(c.height) +
                                "; exactframerate=30";
    test_receiver_t receiver(nullptr, address.c_str(), ZAVlib_recv_color_format_UYVY_BGRA);
    ZAVlib_video_frame_v2_t frame;
    ASSERT_TRUE(receiver.wait_for_frame(&frame, std::chrono::seconds(20))) << "no frame from GStreamer";
    EXPECT_EQ(frame.xres, c.width);
    EXPECT_EQ(frame.yres, c.height);
    EXPECT_EQ(picture_bytes(frame, expected.size() / std::size_t(c.height)), expected);
    ZAVlib_framesync_free_video(receiver.sync(), &frame);
    sender.stop(SIGTERM, std::chrono::seconds(5));
}

TEST_P(gstreamer_test, OurSenderArrivesByteExactInGStreamer) {
    const gst_case_t& c = GetParam();
    const video_params_t params = make_params(c.ours, c.width, c.height);
    looping_sender_t sender(params);
    const std::vector<uint8_t> picture = noise_picture(params, 77);
    sender.set_picture(picture);
    const std::string output = m_dir + "received.raw";
    const std::string rtp_caps =
        "application/x-rtp-stream,media=video,clock-rate=90000,encoding-name=RAW,sampling=" + c.sampling +
        ",depth=(string)8,width=(string)" + std::to_string(c.width) + ",height=(string)" + std::to_string(c.height) +
        ",colorimetry=(string)BT709-2,payload=96";
    child_process_t receiver({"gst-launch-1.0", "-q", "tcpclientsrc", "host=127.0.0.1",
                              "port=" + std::to_string(sender.port()), "!", rtp_caps, "!", "rtpstreamdepay", "!",
                              "rtpvrawdepay", "!", "filesink", "location=" + output});
    ASSERT_TRUE(receiver.started());
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    // GStreamer writes every frame it receives (megabytes a second) until it is stopped: only the
    // first frame is read, never the whole file.
    while (read_file(output, picture.size()).size() < picture.size() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    receiver.stop(SIGTERM, std::chrono::seconds(5));
    const std::vector<uint8_t> received = read_file(output, picture.size());
    std::remove(output.c_str());
    ASSERT_EQ(received.size(), picture.size()) << "GStreamer wrote less than a frame";
    EXPECT_EQ(received, picture);
}

INSTANTIATE_TEST_SUITE_P(Formats, gstreamer_test,
                         testing::Values(gst_case_t{"Uyvy320x240", "UYVY", "YCbCr-4:2:2", sampling_e::ycbcr_422, 320,
                                                    240},
                                         gst_case_t{"Bgra161x19", "BGRA", "BGRA", sampling_e::bgra, 161, 19}),
                         [](const testing::TestParamInfo<gst_case_t>& case_info) { return case_info.param.name; });

}  // namespace

// The zav-send program: it writes its line into the per-user sources file, serves a Y4M file that a
// receiver finds by name and gets byte-exact, and removes its line again on SIGTERM and SIGINT.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <fstream>

#include "child_process.h"
#include "discovery/sources_file.h"
#include "loopback_support.h"

using namespace zav_test;
using Drivers::Mac::ZAV::read_sources_file;
using Drivers::Mac::ZAV::source_entry_t;

namespace {

constexpr int width = 16, height = 4;

std::string upper_host() {
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    std::string name = host;
    for (char& ch : name) ch = char(std::toupper(static_cast<unsigned char>(ch)));
    return name;
}

class zav_send_tool_test : public testing::Test {
protected:
    void SetUp() override {
        m_dir = testing::TempDir() + "zav_send_tool_" + std::to_string(::getpid());
        std::system(("rm -rf " + m_dir + " && mkdir -p " + m_dir).c_str());
        m_sources = m_dir + "/zav/sources";
        m_name = upper_host() + " (Tool Test)";
        write_y4m();
    }
    void TearDown() override { std::system(("rm -rf " + m_dir).c_str()); }

    // Two 4:2:2 frames whose planes hold distinct values, and the UYVY each must become.
    void write_y4m() {
        std::ofstream out(m_dir + "/input.y4m", std::ios::binary);
        out << "YUV4MPEG2 W" << width << " H" << height << " F25:1 Ip A1:1 C422\n";
        for (int f = 0; f < 2; ++f) {
            std::vector<uint8_t> y(width * height), u(width / 2 * height), v(width / 2 * height);
            for (std::size_t i = 0; i < y.size(); ++i) y[i] = uint8_t(16 + i + 50 * f);
            for (std::size_t i = 0; i < u.size(); ++i) u[i] = uint8_t(100 + i + 7 * f), v[i] = uint8_t(180 - i - 3 * f);
            out << "FRAME\n";
            out.write(reinterpret_cast<const char*>(y.data()), std::streamsize(y.size()));
            out.write(reinterpret_cast<const char*>(u.data()), std::streamsize(u.size()));
            out.write(reinterpret_cast<const char*>(v.data()), std::streamsize(v.size()));
            std::vector<uint8_t> uyvy;
            for (int row = 0; row < height; ++row)
                for (int pair = 0; pair < width / 2; ++pair) {
                    uyvy.push_back(u[row * width / 2 + pair]);
                    uyvy.push_back(y[row * width + 2 * pair]);
                    uyvy.push_back(v[row * width / 2 + pair]);
                    uyvy.push_back(y[row * width + 2 * pair + 1]);
                }
            m_frames.push_back(uyvy);
        }
    }

    std::unique_ptr<child_process_t> start_sender() {
        return std::make_unique<child_process_t>(
            std::vector<std::string>{ZAV_SEND_PATH, "--name", "Tool Test", "--input", m_dir + "/input.y4m", "--format",
                                     "uyvy", "--no-dnssd"},
            std::vector<std::string>{"XDG_CONFIG_HOME=" + m_dir});
    }

    bool wait_for_line(bool present) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < end) {
            bool found = false;
            for (const source_entry_t& entry : read_sources_file(m_sources)) found |= entry.name == m_name;
            if (found == present) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    std::string m_dir, m_sources, m_name;
    std::vector<std::vector<uint8_t>> m_frames;
};

bool is_one_of(const ZAVlib_video_frame_v2_t& frame, const void* p_frames) {
    for (const auto& expected : *static_cast<const std::vector<std::vector<uint8_t>>*>(p_frames))
        if (picture_bytes(frame, std::size_t(width) * 2) == expected) return true;
    return false;
}

TEST_F(zav_send_tool_test, ServesTheFileUnderItsNameAndRemovesItsLineOnSigterm) {
    std::unique_ptr<child_process_t> sender = start_sender();
    ASSERT_TRUE(sender->started());
    ASSERT_TRUE(wait_for_line(true)) << "no line for " << m_name << " in " << m_sources;
    setenv("ZAV_SOURCES", m_sources.c_str(), 1);
    {
        test_receiver_t receiver(m_name.c_str(), nullptr, ZAVlib_recv_color_format_UYVY_BGRA);
        ZAVlib_video_frame_v2_t frame;
        EXPECT_TRUE(receiver.wait_for_frame(&frame, std::chrono::seconds(10), is_one_of, &m_frames));
        EXPECT_EQ(frame.frame_rate_N, 25);
        EXPECT_EQ(frame.frame_rate_D, 1);
        ZAVlib_framesync_free_video(receiver.sync(), &frame);
    }
    unsetenv("ZAV_SOURCES");
    const int status = sender->stop(SIGTERM, std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_TRUE(wait_for_line(false));
}

TEST_F(zav_send_tool_test, RemovesItsLineOnSigint) {
    std::unique_ptr<child_process_t> sender = start_sender();
    ASSERT_TRUE(wait_for_line(true));
    const int status = sender->stop(SIGINT, std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_TRUE(wait_for_line(false));
}

TEST_F(zav_send_tool_test, StopsAfterItsSecondsAndRemovesItsLine) {
    child_process_t sender({ZAV_SEND_PATH, "--name", "Tool Test", "--size", "64x8", "--seconds", "0.3", "--no-dnssd"},
                           {"XDG_CONFIG_HOME=" + m_dir});
    const int status = sender.wait(std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_TRUE(wait_for_line(false));
}

TEST_F(zav_send_tool_test, RefusesABadOption) {
    child_process_t sender({ZAV_SEND_PATH, "--size", "0x0"}, {"XDG_CONFIG_HOME=" + m_dir});
    const int status = sender.wait(std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << "status " << status;
}

}  // namespace

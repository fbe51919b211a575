// A receiver given an address it cannot use says so once in its log, however often it tries
// again, and never gives a picture.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "loopback_support.h"
#include "syslog_capture.h"

using namespace zav_test;
using namespace std::chrono_literals;

namespace {

int count_lines_containing(const std::string& text) {
    int count = 0;
    for (const std::string& line : log_messages()) count += line.find(text) != std::string::npos;
    return count;
}

class unusable_address_test : public testing::Test {
protected:
    // Lets a receiver with `address` retry for 700 ms (back-offs of 100, 200 and 400 ms).
    void receive_for_a_while(const char* p_address) {
        clear_log();
        test_receiver_t receiver(nullptr, p_address, ZAVlib_recv_color_format_UYVY_BGRA);
        ZAVlib_video_frame_v2_t frame;
        m_got_a_frame = receiver.wait_for_frame(&frame, 700ms);
        if (m_got_a_frame) ZAVlib_framesync_free_video(receiver.sync(), &frame);
    }
    bool m_got_a_frame = false;
};

TEST_F(unusable_address_test, port_that_is_not_a_number_is_logged_once) {
    receive_for_a_while("127.0.0.1:video sampling=BGRA; width=2; height=2");
    EXPECT_FALSE(m_got_a_frame);
    EXPECT_EQ(count_lines_containing("cannot use the address \"127.0.0.1:video"), 1);
}

TEST_F(unusable_address_test, format_parameters_without_a_width_are_logged_once_with_the_reason) {
    receive_for_a_while("127.0.0.1:5004 sampling=BGRA; height=2");
    EXPECT_FALSE(m_got_a_frame);
    EXPECT_EQ(count_lines_containing("cannot use the address \"127.0.0.1:5004 sampling=BGRA; height=2\": "), 1);
}

}  // namespace

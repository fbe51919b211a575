// The stamp of zav-send's test pattern on the way a picture takes to an application: the receive
// library hands it on or converts it (4:2:2 to BGRX, BT.709), then the plug-in's frame fill scales
// it, fits it into another shape or converts BGRA to UYVY. Wherever the picture keeps its shape
// or gets bands above and below, the stamp reads back exactly; where it gets bands at its sides,
// it gives no reading at all.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frame_fill_fixture.h"
#include "objects/simple_input_stream.h"
#include "receive/colour.h"
#include "send/test_pattern.h"
#include "stamp/time_stamp.h"

namespace {

using namespace Drivers::Mac::ZAV;
using VirtualCamera::simple_input_stream_t;
using VirtualCamera::video_format_t;

struct path_case_t {
    std::string name;
    sampling_e sent;
    int sent_width, sent_height;
    ZAVlib_FourCC_video_type_e stream_layout;  // UYVY: a '2vuy' stream; BGRX: a 'BGRA' stream
    int stream_width, stream_height;
};

// Send time of the picture, wall clock in 100 ns units, and the stamp time it becomes.
constexpr int64_t send_time_100ns = 17'640'000'123'456'789;
constexpr uint64_t stamped_us = uint64_t(send_time_100ns / 10) % stamp_time_modulo;

class stamp_path : public zav_test::frame_fill_fixture_t {
protected:
    // The picture the application gets from a test pattern of `sent` sampling and size.
    void deliver(sampling_e sent, int sent_width, int sent_height, ZAVlib_FourCC_video_type_e stream_layout,
                 int stream_width, int stream_height) {
        video_params_t params;
        params.sampling = sent;
        params.width = sent_width;
        params.height = sent_height;
        test_pattern_t pattern(params);
        const uint8_t* p_picture = pattern.draw(41, send_time_100ns);

        const frame_ptr_t received = m_pool->acquire(params.frame_bytes());
        std::memcpy(received->p_data, p_picture, params.frame_bytes());
        received->width = sent_width;
        received->height = sent_height;
        received->stride = int(params.row_bytes());
        received->fourcc =
            sent == sampling_e::ycbcr_422 ? ZAVlib_FourCC_video_type_UYVY : ZAVlib_FourCC_video_type_BGRA;

        const video_format_t format(stream_layout, stream_width, stream_height, 30, 1);
        const frame_ptr_t handed_out =
            deliver_in_colour_format(received, sent, format.get_recv_color_zav(), m_pool.get());
        ZAVlib_video_frame_v2_t frame;
        frame.xres = handed_out->width;
        frame.yres = handed_out->height;
        frame.FourCC = ZAVlib_FourCC_video_type_e(handed_out->fourcc);
        frame.p_data = handed_out->p_data;
        frame.line_stride_in_bytes = handed_out->stride;

        m_uyvy_out = stream_layout == ZAVlib_FourCC_video_type_UYVY;
        m_width = stream_width;
        m_height = stream_height;
        m_row_bytes = std::size_t(stream_width) * (m_uyvy_out ? 2 : 4);
        m_out.assign(m_row_bytes * std::size_t(stream_height), 0x5a);
        const vImage_Buffer destination = {m_out.data(), vImagePixelCount(stream_height),
                                           vImagePixelCount(stream_width), m_row_bytes};
        simple_input_stream_t::fill(frame, destination, format, m_scratch, m_cache);
    }

    std::optional<uint64_t> read_delivered() const {
        return read_time_stamp(
            {m_out.data(), m_row_bytes, m_width, m_height, m_uyvy_out ? stamp_layout_e::uyvy : stamp_layout_e::bgra});
    }

private:
    std::shared_ptr<frame_pool_t> m_pool = frame_pool_t::create();
    std::vector<uint8_t> m_out;
    std::size_t m_row_bytes = 0;
    int m_width = 0, m_height = 0;
    bool m_uyvy_out = true;
};

class stamp_survives : public stamp_path, public testing::WithParamInterface<path_case_t> {};

TEST_P(stamp_survives, and_reads_back_the_send_time) {
    const path_case_t& c = GetParam();
    deliver(c.sent, c.sent_width, c.sent_height, c.stream_layout, c.stream_width, c.stream_height);
    EXPECT_EQ(read_delivered(), stamped_us);
}

constexpr auto uyvy_in = sampling_e::ycbcr_422;
constexpr auto bgra_in = sampling_e::bgra;
constexpr auto uyvy_out = ZAVlib_FourCC_video_type_UYVY;
constexpr auto bgra_out = ZAVlib_FourCC_video_type_BGRX;

INSTANTIATE_TEST_SUITE_P(
    pictures, stamp_survives,
    testing::Values(
        path_case_t{"uyvy_1920x1080_into_2vuy_1280x720", uyvy_in, 1920, 1080, uyvy_out, 1280, 720},
        path_case_t{"bgra_1920x1080_converted_into_2vuy_1280x720", bgra_in, 1920, 1080, uyvy_out, 1280, 720},
        path_case_t{"uyvy_1920x1080_converted_into_bgra_1280x720", uyvy_in, 1920, 1080, bgra_out, 1280, 720},
        path_case_t{"bgra_1920x1080_into_bgra_640x360", bgra_in, 1920, 1080, bgra_out, 640, 360},
        path_case_t{"uyvy_1920x1080_into_2vuy_320x180", uyvy_in, 1920, 1080, uyvy_out, 320, 180},
        path_case_t{"uyvy_3840x2160_into_2vuy_1280x720", uyvy_in, 3840, 2160, uyvy_out, 1280, 720},
        path_case_t{"uyvy_1280x720_enlarged_into_2vuy_1920x1080", uyvy_in, 1280, 720, uyvy_out, 1920, 1080},
        path_case_t{"uyvy_1920x1080_into_2vuy_640x480_with_bands_above_and_below", uyvy_in, 1920, 1080, uyvy_out, 640,
                    480},
        path_case_t{"bgra_1920x1080_into_bgra_640x480_with_a_band_below", bgra_in, 1920, 1080, bgra_out, 640, 480},
        path_case_t{"bgra_odd_1279x719_converted_into_2vuy_1280x720", bgra_in, 1279, 719, uyvy_out, 1280, 720},
        path_case_t{"smallest_stamped_uyvy_240x32_into_2vuy_240x32", uyvy_in, 240, 32, uyvy_out, 240, 32}),
    [](const testing::TestParamInfo<path_case_t>& case_info) { return case_info.param.name; });

TEST_F(stamp_path, picture_fitted_between_bands_at_its_sides_gives_no_reading) {
    deliver(uyvy_in, 1440, 1080, uyvy_out, 1920, 1080);
    EXPECT_EQ(read_delivered(), std::nullopt);
}

TEST_F(stamp_path, bgra_picture_fitted_beside_a_band_at_its_right_gives_no_reading) {
    deliver(bgra_in, 1440, 1080, bgra_out, 1920, 1080);
    EXPECT_EQ(read_delivered(), std::nullopt);
}

TEST_F(stamp_path, picture_too_small_to_carry_a_stamp_gives_no_reading_when_enlarged) {
    deliver(uyvy_in, 236, 132, uyvy_out, 1280, 720);
    EXPECT_EQ(read_delivered(), std::nullopt);
}

}  // namespace

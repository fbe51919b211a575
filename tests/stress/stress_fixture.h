// The camera fixture for stress runs: the bundle with the scripted source, loaded afresh for each
// run and checked for leftovers at its end like every camera test; after that check the run
// prints what is still alive, as the last of its counts.
#ifndef ZAV_TESTS_STRESS_STRESS_FIXTURE_H
#define ZAV_TESTS_STRESS_STRESS_FIXTURE_H

#include "stress_counts.h"
#include "zav_camera_fixture.h"

#include <zav_platform/probe.h>

namespace zav_test::stress {

class stress_fixture_t : public zav_camera_fixture_t {
protected:
    void TearDown() override {
        zav_camera_fixture_t::TearDown();
        print_counts("after teardown",
                     {{"Core Foundation objects alive",
                       std::to_string(zav_platform::probe::live_object_count()) + " (" + live_objects_text() + ")"}});
    }
};

// Takes whatever the queue holds now (after a stop: everything the stream sent); returns how
// many samples that was.
inline std::size_t drain(camera_client_t& camera) {
    std::size_t taken = 0;
    while (camera.queued() > 0) {
        const std::size_t batch = camera.take(camera.queued(), 1s).size();
        if (batch == 0) break;
        taken += batch;
    }
    return taken;
}

// A flat picture: every pixel pair of a UYVY frame is (128, luma, 128, luma); every pixel of a
// BGRA or BGRX frame is the grey (luma, luma, luma, 255).
inline scripted_source::frame_t flat_frame(ZAVlib_FourCC_video_type_e fourcc, int width, int height, uint8_t level) {
    scripted_source::frame_t frame;
    frame.fourcc = fourcc;
    frame.width = width;
    frame.height = height;
    const bool uyvy = fourcc == ZAVlib_FourCC_video_type_UYVY;
    frame.stride = width * (uyvy ? 2 : 4);
    frame.bytes.resize(std::size_t(frame.stride) * std::size_t(height));
    for (std::size_t i = 0; i < frame.bytes.size(); ++i) {
        if (uyvy)
            frame.bytes[i] = i % 2 == 0 ? 128 : level;
        else
            frame.bytes[i] = i % 4 == 3 ? 255 : level;
    }
    return frame;
}

// The grey the middle pixel of a picture shows: luma for '2vuy', blue for 'BGRA'.
inline int middle_grey(const sample_t& sample) {
    const std::size_t y = sample.height / 2, x = sample.width / 2;
    const uint8_t* row = sample.pixels.data() + y * sample.row_bytes;
    if (sample.pixel_format == kCVPixelFormatType_422YpCbCr8) return row[(x & ~std::size_t(1)) * 2 + 1];
    return row[x * 4];
}

}  // namespace zav_test::stress

#endif

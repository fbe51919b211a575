// A client that does not drain the queue. The plug-in neither retries nor releases a sample that
// the full queue refuses; those samples stay alive on purpose, so this test runs in a program of
// its own whose leak report leaves the platform's objects out (the test counts them itself).
#include "zav_camera_fixture.h"

extern "C" const char* __lsan_default_suppressions() {
    return "leak:libzav_platform.so\n";
}

namespace zav_test {
namespace {

using camera_streaming_t = zav_camera_fixture_t;

scripted_source::frame_t uyvy_frame_64x36() {
    scripted_source::frame_t frame;
    frame.width = 64;
    frame.height = 36;
    frame.stride = 128;
    frame.bytes.assign(128 * 36, 0x80);
    return frame;
}

TEST_F(camera_streaming_t, client_that_does_not_drain_keeps_sixteen_samples_and_the_rest_are_dropped) {
    ASSERT_EQ(camera().set_format(kCVPixelFormatType_422YpCbCr8, 64, 36), kCMIOHardwareNoError);
    scripted_source::send(uyvy_frame_64x36());
    ASSERT_EQ(camera().start(), kCMIOHardwareNoError);
    ASSERT_TRUE(camera().wait_for_altered(20, 5s));
    ASSERT_EQ(camera().stop(), kCMIOHardwareNoError);
    EXPECT_EQ(camera().queued(), 16u);
    const std::size_t told = camera().altered_count();
    const std::vector<sample_t> kept = camera().take(16, 5s);
    ASSERT_EQ(kept.size(), 16u);
    // The client is told of every sample, and the oldest ones are those it finds.
    for (std::size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(kept[i].sequence_number, i);
    // A refused sample is neither retried nor released: it stays alive on purpose.
    m_refused_samples = told - 16;
}

}  // namespace
}  // namespace zav_test

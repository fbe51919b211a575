// A stand-in for the receive library in tests: the same calls and file name, fed by the test with
// what the network would deliver, and recording what the plug-in asked of it. A test process
// links it, so the plug-in bundle it loads shares this one instance.
#ifndef ZAV_TESTS_SCRIPTED_SOURCE_H
#define ZAV_TESTS_SCRIPTED_SOURCE_H

#include <zav/zav_lib.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#define ZAV_SCRIPTED_API __attribute__((visibility("default")))

namespace zav_test::scripted_source {

// One picture as the source sends it.
struct frame_t {
    ZAVlib_FourCC_video_type_e fourcc = ZAVlib_FourCC_video_type_UYVY;
    int width = 0;
    int height = 0;
    int stride = 0;
    std::vector<uint8_t> bytes;  // stride x height
};

// The receiver settings the plug-in asked for, strings copied.
struct settings_t {
    std::string source_name;
    bool has_url_address = false;
    ZAVlib_recv_color_format_e color_format = ZAVlib_recv_color_format_max;
    ZAVlib_recv_bandwidth_e bandwidth = ZAVlib_recv_bandwidth_max;
    bool allow_video_fields = true;
    std::string receiver_name;
};

// Forgets every frame, failure, delay and record.
ZAV_SCRIPTED_API void reset();

// From now on every pull hands out a copy of `frame` (the source is live).
ZAV_SCRIPTED_API void send(const frame_t& frame);
// From now on pulls hand out nothing (the source has gone quiet, or is not there yet).
ZAV_SCRIPTED_API void go_quiet();

ZAV_SCRIPTED_API void fail_receiver_create(bool fail);
ZAV_SCRIPTED_API void fail_framesync_create(bool fail);
// When false (the default is true), pulls hand out the sent picture itself instead of a copy, so
// that a benchmark measures the plug-in and not the double.
ZAV_SCRIPTED_API void copy_each_pull(bool copy);
// The next pull blocks this long before it answers.
ZAV_SCRIPTED_API void delay_next_pull(std::chrono::milliseconds delay);

// Every call the plug-in made, in order: "recv_create", "framesync_create", "capture",
// "free", "framesync_destroy", "recv_destroy".
ZAV_SCRIPTED_API std::vector<std::string> calls();
ZAV_SCRIPTED_API std::vector<settings_t> receivers_created();
ZAV_SCRIPTED_API std::vector<int> field_types_asked();
ZAV_SCRIPTED_API std::size_t frames_handed_out();
ZAV_SCRIPTED_API std::size_t frames_freed();
// Receivers and frame syncs created and not destroyed.
ZAV_SCRIPTED_API int live_handles();
// Waits until `count` pulls were made since the last reset; false at the deadline.
ZAV_SCRIPTED_API bool wait_for_pulls(std::size_t count, std::chrono::milliseconds deadline);

}  // namespace zav_test::scripted_source

#endif

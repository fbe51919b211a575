#include "scripted_source.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

namespace zav_test::scripted_source {

namespace {

struct state_t {
    std::mutex mutex;
    std::condition_variable pulled;
    bool live = false;
    frame_t frame;
    bool fail_receiver = false;
    bool fail_framesync = false;
    bool copy = true;
    std::chrono::milliseconds next_delay{0};
    std::vector<std::string> calls;
    std::vector<settings_t> receivers;
    std::vector<int> field_types;
    std::size_t pulls = 0;
    std::size_t handed_out = 0;
    std::size_t freed = 0;
    int live_handles = 0;
};

state_t& state() {
    static state_t instance;
    return instance;
}

// Distinct addresses for the handles; their contents are never looked at.
char receiver_tag;
char framesync_tag;

}  // namespace

void reset() {
    state_t& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.live = false;
    s.frame = frame_t{};
    s.fail_receiver = s.fail_framesync = false;
    s.copy = true;
    s.next_delay = std::chrono::milliseconds(0);
    s.calls.clear();
    s.receivers.clear();
    s.field_types.clear();
    s.pulls = s.handed_out = s.freed = 0;
    s.live_handles = 0;
}

void send(const frame_t& frame) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().frame = frame;
    state().live = true;
}

void go_quiet() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().live = false;
}

void fail_receiver_create(bool fail) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().fail_receiver = fail;
}

void fail_framesync_create(bool fail) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().fail_framesync = fail;
}

void copy_each_pull(bool copy) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().copy = copy;
}

void delay_next_pull(std::chrono::milliseconds delay) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().next_delay = delay;
}

std::vector<std::string> calls() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().calls;
}

std::vector<settings_t> receivers_created() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().receivers;
}

std::vector<int> field_types_asked() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().field_types;
}

std::size_t frames_handed_out() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().handed_out;
}

std::size_t frames_freed() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().freed;
}

int live_handles() {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().live_handles;
}

bool wait_for_pulls(std::size_t count, std::chrono::milliseconds deadline) {
    std::unique_lock<std::mutex> lock(state().mutex);
    return state().pulled.wait_for(lock, deadline, [count] { return state().pulls >= count; });
}

}  // namespace zav_test::scripted_source

using namespace zav_test::scripted_source;

extern "C" {

ZAVlib_recv_instance_t ZAVlib_recv_create_v4(const ZAVlib_recv_create_v3_t* p_create_settings, const void*) {
    state_t& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.calls.push_back("recv_create");
    settings_t settings;
    if (p_create_settings != nullptr) {
        const ZAVlib_source_t& source = p_create_settings->source_to_connect_to;
        settings.source_name = source.p_zav_name != nullptr ? source.p_zav_name : "";
        settings.has_url_address = source.p_url_address != nullptr;
        settings.color_format = p_create_settings->color_format;
        settings.bandwidth = p_create_settings->bandwidth;
        settings.allow_video_fields = p_create_settings->allow_video_fields;
        settings.receiver_name =
            p_create_settings->p_zav_recv_name != nullptr ? p_create_settings->p_zav_recv_name : "";
    }
    s.receivers.push_back(settings);
    if (s.fail_receiver) return nullptr;
    ++s.live_handles;
    return reinterpret_cast<ZAVlib_recv_instance_t>(&receiver_tag);
}

void ZAVlib_recv_destroy(ZAVlib_recv_instance_t p_instance) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.push_back("recv_destroy");
    if (p_instance != nullptr) --state().live_handles;
}

ZAVlib_framesync_instance_t ZAVlib_framesync_create(ZAVlib_recv_instance_t) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.push_back("framesync_create");
    if (state().fail_framesync) return nullptr;
    ++state().live_handles;
    return reinterpret_cast<ZAVlib_framesync_instance_t>(&framesync_tag);
}

void ZAVlib_framesync_destroy(ZAVlib_framesync_instance_t p_instance) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.push_back("framesync_destroy");
    if (p_instance != nullptr) --state().live_handles;
}

void ZAVlib_framesync_capture_video(ZAVlib_framesync_instance_t, ZAVlib_video_frame_v2_t* p_video_data,
                                    ZAVlib_frame_format_type_e field_type) {
    state_t& s = state();
    std::chrono::milliseconds delay{0};
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        delay = s.next_delay;
        s.next_delay = std::chrono::milliseconds(0);
    }
    if (delay.count() > 0) std::this_thread::sleep_for(delay);
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.calls.push_back("capture");
        s.field_types.push_back(field_type);
        if (s.live) {
            // A copy per pull, so that a frame used after it was handed back, or never handed
            // back, shows up under the sanitizers.
            uint8_t* copy = s.frame.bytes.data();
            if (s.copy) {
                copy = new uint8_t[std::max<std::size_t>(s.frame.bytes.size(), 1)];
                std::copy(s.frame.bytes.begin(), s.frame.bytes.end(), copy);
            }
            p_video_data->xres = s.frame.width;
            p_video_data->yres = s.frame.height;
            p_video_data->FourCC = s.frame.fourcc;
            p_video_data->line_stride_in_bytes = s.frame.stride;
            p_video_data->p_data = copy;
            ++s.handed_out;
        }
        ++s.pulls;
    }
    s.pulled.notify_all();
}

void ZAVlib_framesync_free_video(ZAVlib_framesync_instance_t, ZAVlib_video_frame_v2_t* p_video_data) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.push_back("free");
    if (state().copy) delete[] p_video_data->p_data;
    p_video_data->p_data = nullptr;
    ++state().freed;
}
}

#include "loopback_support.h"

#include <cstring>

#include "common/monotonic.h"
#include "wire/video_params.h"

namespace zav_test {

using namespace Drivers::Mac::ZAV;

video_params_t make_params(sampling_e sampling, int width, int height) {
    video_params_t params;
    params.sampling = sampling;
    params.width = width;
    params.height = height;
    params.rate_num = 100;
    params.rate_den = 1;
    return params;
}

std::vector<uint8_t> noise_picture(const video_params_t& params, uint32_t seed) {
    std::vector<uint8_t> picture(params.frame_bytes());
    uint32_t state = seed * 2654435761u + 1;
    for (uint8_t& byte : picture) {
        state = state * 1664525u + 1013904223u;
        byte = uint8_t(state >> 24);
    }
    return picture;
}

looping_sender_t::looping_sender_t(const video_params_t& params, uint16_t port, std::size_t max_packet_bytes)
    : m_params(params), m_picture(noise_picture(params, 1)) {
    sender_settings_t settings;
    settings.params = params;
    settings.bind_address = "127.0.0.1";
    settings.port = port;
    settings.max_packet_bytes = max_packet_bytes;
    m_p_sender = sender_t::create(settings);
    if (!m_p_sender) return;
    m_thread = std::thread([this] {
        while (!m_stop) {
            if (!m_paused) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_p_sender->send(m_picture.data(), m_params.row_bytes(), wall_clock_100ns());
            }
            std::this_thread::sleep_for(10ms);
        }
    });
}

looping_sender_t::~looping_sender_t() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
}

void looping_sender_t::set_picture(std::vector<uint8_t> picture) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_picture = std::move(picture);
}

std::string looping_sender_t::address() const {
    return "127.0.0.1:" + std::to_string(port()) + " " + params_to_text(m_params);
}

test_receiver_t::test_receiver_t(const char* p_name, const char* p_address, ZAVlib_recv_color_format_e colour) {
    ZAVlib_recv_create_v3_t settings;
    settings.source_to_connect_to.p_zav_name = p_name;
    settings.source_to_connect_to.p_url_address = p_address;
    settings.color_format = colour;
    settings.allow_video_fields = false;
    settings.p_zav_recv_name = "test receiver";
    m_recv = ZAVlib_recv_create_v4(&settings, nullptr);
    if (m_recv) m_sync = ZAVlib_framesync_create(m_recv);
}

test_receiver_t::~test_receiver_t() {
    destroy();
}

std::chrono::milliseconds test_receiver_t::destroy() {
    const auto start = std::chrono::steady_clock::now();
    ZAVlib_framesync_destroy(m_sync);
    ZAVlib_recv_destroy(m_recv);
    m_sync = nullptr;
    m_recv = nullptr;
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

bool test_receiver_t::wait_for_frame(ZAVlib_video_frame_v2_t* p_frame, std::chrono::milliseconds deadline,
                                     bool (*accept)(const ZAVlib_video_frame_v2_t&, const void*),
                                     const void* p_context) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (std::chrono::steady_clock::now() < end) {
        *p_frame = ZAVlib_video_frame_v2_t{};
        ZAVlib_framesync_capture_video(m_sync, p_frame, ZAVlib_frame_format_type_progressive);
        if (p_frame->p_data) {
            if (!accept || accept(*p_frame, p_context)) return true;
            ZAVlib_framesync_free_video(m_sync, p_frame);
        }
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

bool test_receiver_t::wait_for_no_frame(std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (std::chrono::steady_clock::now() < end) {
        ZAVlib_video_frame_v2_t frame;
        ZAVlib_framesync_capture_video(m_sync, &frame, ZAVlib_frame_format_type_progressive);
        if (!frame.p_data) return true;
        ZAVlib_framesync_free_video(m_sync, &frame);
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

ZAVlib_ext_counters_t test_receiver_t::counters() const {
    ZAVlib_ext_counters_t counters{};
    ZAVlib_ext_recv_get_counters(m_recv, &counters);
    return counters;
}

std::vector<uint8_t> picture_bytes(const ZAVlib_video_frame_v2_t& frame, std::size_t row_bytes) {
    std::vector<uint8_t> bytes;
    bytes.reserve(row_bytes * std::size_t(frame.yres));
    for (int row = 0; row < frame.yres; ++row) {
        const uint8_t* p = frame.p_data + std::size_t(row) * std::size_t(frame.line_stride_in_bytes);
        bytes.insert(bytes.end(), p, p + row_bytes);
    }
    return bytes;
}

}  // namespace zav_test

// Sender and receiver side by side in the test process over loopback: a sender that keeps sending
// one picture, a receiver made through the public calls, and pulls with deadlines.
#ifndef ZAV_TESTS_ZAV_LOOPBACK_SUPPORT_H
#define ZAV_TESTS_ZAV_LOOPBACK_SUPPORT_H

#include <zav/zav_lib.h>
#include <zav/zav_lib_ext.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "send/sender.h"

namespace zav_test {

using namespace std::chrono_literals;
using Drivers::Mac::ZAV::sampling_e;
using Drivers::Mac::ZAV::video_params_t;

video_params_t make_params(sampling_e sampling, int width, int height);
// Bytes that differ from pixel to pixel and from seed to seed.
std::vector<uint8_t> noise_picture(const video_params_t& params, uint32_t seed);

// A sender on 127.0.0.1 sending its current picture every 10 ms from its own thread.
class looping_sender_t {
public:
    explicit looping_sender_t(const video_params_t& params, uint16_t port = 0, std::size_t max_packet_bytes = 1400);
    ~looping_sender_t();

    uint16_t port() const { return m_p_sender->port(); }
    std::size_t receivers() const { return m_p_sender->receivers(); }
    void set_picture(std::vector<uint8_t> picture);
    void pause(bool paused) { m_paused = paused; }
    // "127.0.0.1:port sampling=...": an address that carries its format parameters.
    std::string address() const;

private:
    video_params_t m_params;
    std::unique_ptr<Drivers::Mac::ZAV::sender_t> m_p_sender;
    std::mutex m_mutex;
    std::vector<uint8_t> m_picture;
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// A receiver and a frame synchroniser made through the public calls.
class test_receiver_t {
public:
    test_receiver_t(const char* p_name, const char* p_address, ZAVlib_recv_color_format_e colour);
    ~test_receiver_t();

    bool valid() const { return m_recv && m_sync; }
    ZAVlib_recv_instance_t recv() const { return m_recv; }
    ZAVlib_framesync_instance_t sync() const { return m_sync; }

    // Pulls until a frame arrives whose bytes satisfy `accept` (each pulled frame is freed), or the
    // deadline passes; the accepted frame stays captured in *p_frame and must be freed.
    bool wait_for_frame(ZAVlib_video_frame_v2_t* p_frame, std::chrono::milliseconds deadline,
                        bool (*accept)(const ZAVlib_video_frame_v2_t&, const void*) = nullptr,
                        const void* p_context = nullptr);
    // Pulls until a pull gives no frame, or the deadline passes.
    bool wait_for_no_frame(std::chrono::milliseconds deadline);
    ZAVlib_ext_counters_t counters() const;
    // Destroys the frame synchroniser and the receiver now; returns how long that took.
    std::chrono::milliseconds destroy();

private:
    ZAVlib_recv_instance_t m_recv = nullptr;
    ZAVlib_framesync_instance_t m_sync = nullptr;
};

// The picture of a frame without its row padding.
std::vector<uint8_t> picture_bytes(const ZAVlib_video_frame_v2_t& frame, std::size_t row_bytes);

}  // namespace zav_test

#endif

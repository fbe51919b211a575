// A receiver: one network thread that finds its source (sources files, then DNS-SD, or a given
// address), connects, reads packets, rebuilds frames and keeps the latest one for the frame
// synchronisers. It keeps trying while the source is absent and reconnects when it returns, with a
// back-off from 100 ms doubling up to 2 s. Every wait is a poll() beside a wake-up pipe, so the
// destructor returns promptly in any state.
#ifndef ZAV_LIB_RECEIVE_RECEIVER_H
#define ZAV_LIB_RECEIVE_RECEIVER_H

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <zav/zav_lib.h>

#include "common/socket_util.h"
#include "discovery/source_entry.h"
#include "receive/receive_counters.h"
#include "wire/frame.h"

namespace Drivers::Mac::ZAV {

struct receiver_settings_t {
    std::string source_name;  // may be empty when address is given
    std::string address;      // "host:port", optionally followed by format parameters
    ZAVlib_recv_color_format_e colour_format = ZAVlib_recv_color_format_UYVY_BGRA;
};

// What a frame synchroniser reads: the latest complete frame and when it arrived.
struct latest_frame_t {
    frame_ptr_t frame;
    std::chrono::steady_clock::time_point arrived;
    bool connected = false;
};

class receiver_t {
public:
    // Null when the thread or its pipe cannot be made.
    static std::unique_ptr<receiver_t> create(const receiver_settings_t& settings);
    ~receiver_t();

    latest_frame_t latest() const;
    receive_counters_t counters() const;

private:
    explicit receiver_t(const receiver_settings_t& settings);
    void run();
    std::optional<source_entry_t> find_source();
    void receive_from(int fd, const source_entry_t& source);
    bool pause(std::chrono::milliseconds duration);  // false when told to stop
    void publish(frame_ptr_t frame);
    void set_disconnected();

    receiver_settings_t m_settings;
    // The given address, read once: host and port, with the format parameters when they follow it.
    bool m_address_bad = false;
    bool m_address_has_params = false;
    source_entry_t m_address;
    wake_pipe_t m_wake;
    std::atomic<bool> m_stop{false};
    std::shared_ptr<frame_pool_t> m_pool = frame_pool_t::create();
    std::thread m_thread;

    mutable std::mutex m_mutex;  // guards the two below
    latest_frame_t m_latest;
    receive_counters_t m_counters;
};

}  // namespace Drivers::Mac::ZAV

#endif

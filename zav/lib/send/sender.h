// The sending side of a source: listens on a TCP port and sends every picture it is given to every
// connected receiver as RFC 4175 packets in RFC 4571 framing. One network thread accepts receivers
// and writes to them without blocking; a receiver still busy with the previous picture skips the
// next one whole (the stream stays a sequence of whole frames), so one slow receiver never holds up
// the others or the caller.
#ifndef ZAV_LIB_SEND_SENDER_H
#define ZAV_LIB_SEND_SENDER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/socket_util.h"
#include "wire/packetiser.h"
#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

struct sender_settings_t {
    video_params_t params;
    std::string bind_address;  // empty: every address (IPv6 and IPv4)
    uint16_t port = 0;         // 0: one the system picks
    std::size_t max_packet_bytes = 1400;
    bool stamp_send_time = true;  // add the send-time header extension
};

class sender_t {
public:
    // Null (with a log line) when the port cannot be bound.
    static std::unique_ptr<sender_t> create(const sender_settings_t& settings);
    ~sender_t();

    uint16_t port() const { return m_port; }
    std::size_t receivers() const;

    // Sends one picture laid out as the parameters say (rows of `stride` bytes). send_time_100ns is
    // the wall-clock time stamped into the frame; its 90 kHz RTP time stamp derives from it.
    void send(const uint8_t* p_picture, std::size_t stride, int64_t send_time_100ns);

private:
    struct client_t {
        int fd = -1;
        std::shared_ptr<const std::vector<uint8_t>> pending;
        std::size_t sent = 0;
    };

    explicit sender_t(const sender_settings_t& settings) : m_settings(settings) {}
    bool listen_on();
    void run();
    void flush(client_t& client);

    sender_settings_t m_settings;
    wake_pipe_t m_wake;
    int m_listen_fd = -1;
    uint16_t m_port = 0;
    std::atomic<bool> m_stop{false};
    packetiser_state_t m_packetiser;
    std::vector<std::shared_ptr<std::vector<uint8_t>>> m_spare_buffers;  // used only by send()
    std::thread m_thread;

    mutable std::mutex m_mutex;  // guards m_clients
    std::vector<client_t> m_clients;
};

}  // namespace Drivers::Mac::ZAV

#endif

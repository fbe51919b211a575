#include "receive/receiver.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "common/lib_log.h"
#include "discovery/dnssd.h"
#include "discovery/sources_file.h"
#include "receive/colour.h"
#include "wire/depacketiser.h"
#include "wire/rtp_packet.h"
#include "wire/stream_framer.h"

namespace Drivers::Mac::ZAV {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds first_back_off{100};
constexpr milliseconds last_back_off{2000};
constexpr int connect_timeout_ms = 2000;
constexpr int dnssd_timeout_ms = 1000;
// The most one read takes from the socket. The framer hands on packets straight from these bytes
// and copies only the one a read cuts in two. 64 KiB stays in the core's cache between the
// kernel's copy into it and our copy out of it into the frame; reads of 256 KiB and 1 MiB cost
// more CPU per frame over loopback (receive_bench), although they take fewer calls.
constexpr std::size_t read_bytes = std::size_t(64) << 10;
// A connection that brings no byte for this long is taken for dead and made again.
constexpr milliseconds silent_connection_limit{5000};

void add_counters(depacketiser_counters_t* p_sum, const depacketiser_counters_t& add) {
    p_sum->packets += add.packets;
    p_sum->frames += add.frames;
    p_sum->malformed_packets += add.malformed_packets;
    p_sum->bad_version += add.bad_version;
    p_sum->bad_payload_type += add.bad_payload_type;
    p_sum->segments_outside += add.segments_outside;
    p_sum->segments_misaligned += add.segments_misaligned;
    p_sum->field_segments += add.field_segments;
    p_sum->incomplete_frames += add.incomplete_frames;
}

}  // namespace

std::unique_ptr<receiver_t> receiver_t::create(const receiver_settings_t& settings) {
    std::unique_ptr<receiver_t> receiver(new receiver_t(settings));
    if (!receiver->m_wake.valid()) return nullptr;
    try {
        receiver->m_thread = std::thread([p = receiver.get()] { p->run(); });
    } catch (...) {
        return nullptr;
    }
    return receiver;
}

receiver_t::receiver_t(const receiver_settings_t& settings) : m_settings(settings) {
    if (m_settings.address.empty()) return;
    const std::size_t blank = m_settings.address.find(' ');
    std::string error;
    m_address_bad = !split_host_port(m_settings.address.substr(0, blank), &m_address.host, &m_address.port);
    m_address_has_params = blank != std::string::npos;
    if (!m_address_bad && m_address_has_params)
        m_address_bad = !params_from_text(m_settings.address.substr(blank + 1), &m_address.params, &error);
    m_address.name = m_settings.source_name;
    if (m_address_bad)
        lib_log("receiver: cannot use the address \"%s\"%s%s", m_settings.address.c_str(), error.empty() ? "" : ": ",
                error.c_str());
}

receiver_t::~receiver_t() {
    m_stop = true;
    m_wake.signal();
    if (m_thread.joinable()) m_thread.join();
}

latest_frame_t receiver_t::latest() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_latest;
}

receive_counters_t receiver_t::counters() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_counters;
}

bool receiver_t::pause(milliseconds duration) {
    if (m_stop) return false;
    return wait_for_fd(-1, false, m_wake, int(duration.count())) != wait_e::woken && !m_stop;
}

void receiver_t::publish(frame_ptr_t frame) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_latest.frame = std::move(frame);
    m_latest.arrived = std::chrono::steady_clock::now();
    m_latest.connected = true;
}

void receiver_t::set_disconnected() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_latest = latest_frame_t{};
}

std::optional<source_entry_t> receiver_t::find_source() {
    const std::string& name = m_settings.source_name;
    if (!m_settings.address.empty()) {
        // An address, with the parameters after it or else those found under the name.
        if (m_address_bad) return std::nullopt;
        if (m_address_has_params) return m_address;
        std::optional<source_entry_t> named = name.empty() ? std::nullopt : find_source_in_files(name);
        if (!named) return std::nullopt;
        named->host = m_address.host;
        named->port = m_address.port;
        return named;
    }
    if (name.empty()) return std::nullopt;
    if (std::optional<source_entry_t> entry = find_source_in_files(name)) return entry;
    source_entry_t entry;
    switch (dnssd_find_source(name, m_wake, dnssd_timeout_ms, &entry)) {
        case dnssd_lookup_e::found:
            return entry;
        case dnssd_lookup_e::no_daemon:
            log_no_dnssd_daemon_once();
            break;
        default:
            break;
    }
    return std::nullopt;
}

void receiver_t::run() {
    milliseconds back_off = first_back_off;
    bool said_absent = false;
    const char* name = m_settings.source_name.c_str();
    while (!m_stop) {
        std::optional<source_entry_t> source = find_source();
        if (m_stop) break;
        if (source && source->params.interlaced) {
            if (!said_absent) lib_log("source \"%s\" is interlaced: refused, progressive sources only", name);
            said_absent = true;
            source.reset();
        }
        int fd = -1;
        if (source) {
            bool woken = false;
            fd = connect_with_timeout(source->host, source->port, m_wake, connect_timeout_ms, &woken);
            if (woken) break;
        }
        if (fd < 0) {
            if (!said_absent) lib_log("source \"%s\" not reachable yet: still looking", name);
            said_absent = true;
            if (!pause(back_off)) break;
            back_off = std::min(back_off * 2, last_back_off);
            continue;
        }
        lib_log("source \"%s\": connected to %s:%u (%s %dx%d)", name, source->host.c_str(), unsigned(source->port),
                sampling_name(source->params.sampling), source->params.width, source->params.height);
        said_absent = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_counters.connections;
        }
        const uint64_t frames_before = counters().packets.frames;
        receive_from(fd, *source);
        close_fd(fd);
        set_disconnected();
        if (m_stop) break;
        lib_log("source \"%s\": connection closed", name);
        if (counters().packets.frames != frames_before) back_off = first_back_off;
        if (!pause(back_off)) break;
        back_off = std::min(back_off * 2, last_back_off);
    }
    set_disconnected();
}

void receiver_t::receive_from(int fd, const source_entry_t& source) {
    stream_framer_t framer(rtp_header_bytes, 0xffff);
    depacketiser_t depacketiser(source.params, m_pool);
    std::vector<uint8_t> buffer(read_bytes);
    auto last_byte = std::chrono::steady_clock::now();
    depacketiser_counters_t reported{};
    uint64_t reported_bad_lengths = 0;
    auto report = [&] {
        depacketiser_counters_t delta = depacketiser.counters();
        depacketiser_counters_t now = delta;
        delta.packets -= reported.packets;
        delta.frames -= reported.frames;
        delta.malformed_packets -= reported.malformed_packets;
        delta.bad_version -= reported.bad_version;
        delta.bad_payload_type -= reported.bad_payload_type;
        delta.segments_outside -= reported.segments_outside;
        delta.segments_misaligned -= reported.segments_misaligned;
        delta.field_segments -= reported.field_segments;
        delta.incomplete_frames -= reported.incomplete_frames;
        std::lock_guard<std::mutex> lock(m_mutex);
        add_counters(&m_counters.packets, delta);
        m_counters.bad_lengths += framer.bad_lengths() - reported_bad_lengths;
        reported = now;
        reported_bad_lengths = framer.bad_lengths();
    };
    auto on_packet = [&](const uint8_t* p_packet, std::size_t size) {
        if (frame_ptr_t frame = depacketiser.push(p_packet, size)) {
            frame_ptr_t delivered =
                deliver_in_colour_format(frame, source.params.sampling, m_settings.colour_format, m_pool.get());
            report();
            publish(std::move(delivered));
        }
    };
    // Reads until the socket is empty and waits only then: a frame arrives as a burst of megabytes,
    // and a wait before every read would cost a poll per read for nothing.
    while (!m_stop) {
        const ssize_t got = recv(fd, buffer.data(), buffer.size(), 0);
        if (got > 0) {
            last_byte = std::chrono::steady_clock::now();
            framer.feed(buffer.data(), std::size_t(got), on_packet);
            continue;
        }
        if (got == 0) break;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) break;
        const wait_e waited = wait_for_fd(fd, false, m_wake, 250);
        if (waited == wait_e::woken) break;
        if (waited == wait_e::timeout) {
            report();
            if (std::chrono::steady_clock::now() - last_byte > silent_connection_limit) break;
        }
    }
    depacketiser.reset();
    report();
}

}  // namespace Drivers::Mac::ZAV

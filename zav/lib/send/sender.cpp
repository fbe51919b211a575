#include "send/sender.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/lib_log.h"

namespace Drivers::Mac::ZAV {

namespace {

#if defined(MSG_NOSIGNAL)
constexpr int send_flags = MSG_NOSIGNAL;
#else
constexpr int send_flags = 0;
#endif

}  // namespace

std::unique_ptr<sender_t> sender_t::create(const sender_settings_t& settings) {
    std::unique_ptr<sender_t> sender(new sender_t(settings));
    if (!sender->m_wake.valid() || !sender->listen_on()) return nullptr;
    try {
        sender->m_thread = std::thread([p = sender.get()] { p->run(); });
    } catch (...) {
        return nullptr;
    }
    return sender;
}

sender_t::~sender_t() {
    m_stop = true;
    m_wake.signal();
    if (m_thread.joinable()) m_thread.join();
    for (client_t& client : m_clients) close_fd(client.fd);
    close_fd(m_listen_fd);
}

bool sender_t::listen_on() {
    sockaddr_storage address{};
    socklen_t length = 0;
    const std::string& bind = m_settings.bind_address;
    if (bind.empty() || bind.find(':') != std::string::npos) {
        auto* p6 = reinterpret_cast<sockaddr_in6*>(&address);
        p6->sin6_family = AF_INET6;
        p6->sin6_port = htons(m_settings.port);
        p6->sin6_addr = in6addr_any;
        if (!bind.empty() && inet_pton(AF_INET6, bind.c_str(), &p6->sin6_addr) != 1) return false;
        length = sizeof *p6;
    } else {
        auto* p4 = reinterpret_cast<sockaddr_in*>(&address);
        p4->sin_family = AF_INET;
        p4->sin_port = htons(m_settings.port);
        if (inet_pton(AF_INET, bind.c_str(), &p4->sin_addr) != 1) return false;
        length = sizeof *p4;
    }
    m_listen_fd = socket(address.ss_family, SOCK_STREAM, 0);
    if (m_listen_fd < 0) return false;
    fcntl(m_listen_fd, F_SETFD, FD_CLOEXEC);
    const int one = 1, zero = 0;
    setsockopt(m_listen_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (address.ss_family == AF_INET6) setsockopt(m_listen_fd, IPPROTO_IPV6, IPV6_V6ONLY, &zero, sizeof zero);
    if (::bind(m_listen_fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_listen_fd, 16) != 0) {
        lib_log("sender: cannot listen on port %u: %s", unsigned(m_settings.port), std::strerror(errno));
        close_fd(m_listen_fd);
        return false;
    }
    set_nonblocking(m_listen_fd);
    sockaddr_storage bound{};
    socklen_t bound_length = sizeof bound;
    getsockname(m_listen_fd, reinterpret_cast<sockaddr*>(&bound), &bound_length);
    m_port = ntohs(bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                                               : reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
    return true;
}

std::size_t sender_t::receivers() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_clients.size();
}

void sender_t::send(const uint8_t* p_picture, std::size_t stride, int64_t send_time_100ns) {
    // A buffer no receiver still holds is filled again: a fresh one per frame would fault in
    // megabytes of new pages every frame.
    // Looked for under the lock the network thread lets go of a buffer under, so that its last
    // read of a buffer comes before our next write into it.
    std::shared_ptr<std::vector<uint8_t>> bytes;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& spare : m_spare_buffers)
            if (spare.use_count() == 1) {
                bytes = spare;
                break;
            }
    }
    if (!bytes) {
        bytes = std::make_shared<std::vector<uint8_t>>();
        bytes->reserve(m_settings.params.frame_bytes() + m_settings.params.frame_bytes() / 16 + 4096);
        if (m_spare_buffers.size() < 4) m_spare_buffers.push_back(bytes);
    }
    bytes->clear();
    const uint32_t rtp_timestamp = uint32_t(uint64_t(send_time_100ns) * 9 / 1000);
    packetise_picture(m_settings.params, {p_picture, stride}, rtp_timestamp,
                      m_settings.stamp_send_time ? send_time_100ns : 0, m_settings.max_packet_bytes, &m_packetiser,
                      bytes.get());
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (client_t& client : m_clients) {
            if (client.pending) continue;  // still sending an older frame: this one is skipped
            client.pending = bytes;
            client.sent = 0;
        }
    }
    m_wake.signal();
}

void sender_t::flush(client_t& client) {
    while (client.pending) {
        const std::vector<uint8_t>& bytes = *client.pending;
        const ssize_t put = ::send(client.fd, bytes.data() + client.sent, bytes.size() - client.sent, send_flags);
        if (put < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) close_fd(client.fd);
            return;
        }
        client.sent += std::size_t(put);
        if (client.sent == bytes.size()) client.pending.reset();
    }
}

void sender_t::run() {
    std::vector<pollfd> fds;
    std::vector<uint8_t> discard(4096);
    while (!m_stop) {
        fds.clear();
        fds.push_back({m_wake.read_fd(), POLLIN, 0});
        fds.push_back({m_listen_fd, POLLIN, 0});
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (const client_t& client : m_clients)
                fds.push_back({client.fd, short(POLLIN | (client.pending ? POLLOUT : 0)), 0});
        }
        if (poll(fds.data(), nfds_t(fds.size()), 1000) < 0 && errno != EINTR) break;
        if (fds[0].revents) {
            char drain[64];
            while (read(m_wake.read_fd(), drain, sizeof drain) > 0) {}
        }
        if (fds[1].revents) {
            const int fd = accept(m_listen_fd, nullptr, nullptr);
            if (fd >= 0) {
                fcntl(fd, F_SETFD, FD_CLOEXEC);
                set_nonblocking(fd);
                set_no_sigpipe(fd);
                const int one = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                std::lock_guard<std::mutex> lock(m_mutex);
                m_clients.push_back({fd, nullptr, 0});
            }
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        // Clients accepted during this round have no entry in fds yet; they are looked at next round.
        for (std::size_t i = 2; i < fds.size(); ++i) {
            client_t& client = m_clients[i - 2];
            if (fds[i].revents & (POLLERR | POLLHUP)) {
                close_fd(client.fd);
                continue;
            }
            if (fds[i].revents & POLLIN) {
                // Receivers send nothing; a read of 0 bytes means the receiver went away.
                const ssize_t got = recv(client.fd, discard.data(), discard.size(), 0);
                if (got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
                    close_fd(client.fd);
                    continue;
                }
            }
            if (fds[i].revents & POLLOUT) flush(client);
        }
        for (std::size_t i = 0; i < m_clients.size();) {
            if (m_clients[i].fd < 0)
                m_clients.erase(m_clients.begin() + std::ptrdiff_t(i));
            else
                ++i;
        }
    }
}

}  // namespace Drivers::Mac::ZAV

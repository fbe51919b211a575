#include "common/socket_util.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace Drivers::Mac::ZAV {

wake_pipe_t::wake_pipe_t() {
    if (pipe(m_fds) != 0) {
        m_fds[0] = m_fds[1] = -1;
        return;
    }
    for (int fd : m_fds) {
        set_nonblocking(fd);
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

wake_pipe_t::~wake_pipe_t() {
    close_fd(m_fds[0]);
    close_fd(m_fds[1]);
}

void wake_pipe_t::signal() {
    const char byte = 1;
    if (m_fds[1] >= 0) (void)!write(m_fds[1], &byte, 1);
}

wait_e wait_for_fd(int fd, bool for_write, const wake_pipe_t& wake, int timeout_ms) {
    pollfd fds[2] = {{wake.read_fd(), POLLIN, 0}, {fd, short(for_write ? POLLOUT : POLLIN), 0}};
    const nfds_t count = fd >= 0 ? 2 : 1;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        const int result = poll(fds, count, int(left < 0 ? 0 : left));
        if (result < 0 && errno == EINTR) continue;
        if (result <= 0) return wait_e::timeout;
        if (fds[0].revents) return wait_e::woken;
        return wait_e::ready;
    }
}

void set_nonblocking(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

void set_no_sigpipe(int fd) {
#if defined(SO_NOSIGPIPE)
    const int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &one, sizeof one);
#else
    (void)fd;
#endif
}

void close_fd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

int connect_with_timeout(const std::string& host, uint16_t port, const wake_pipe_t& wake, int timeout_ms,
                         bool* p_woken) {
    *p_woken = false;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* p_list = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &p_list) != 0) return -1;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    int connected = -1;
    for (addrinfo* p = p_list; p && connected < 0 && !*p_woken; p = p->ai_next) {
        int fd = socket(p->ai_family, p->ai_socktype, p->ai_protocol);
        if (fd < 0) continue;
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        set_nonblocking(fd);
        set_no_sigpipe(fd);
        if (connect(fd, p->ai_addr, p->ai_addrlen) == 0) {
            connected = fd;
            break;
        }
        if (errno == EINPROGRESS) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            const wait_e waited = wait_for_fd(fd, true, wake, int(left.count() < 0 ? 0 : left.count()));
            int error = 0;
            socklen_t length = sizeof error;
            if (waited == wait_e::woken) *p_woken = true;
            if (waited == wait_e::ready && getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0) {
                connected = fd;
                break;
            }
        }
        close_fd(fd);
    }
    freeaddrinfo(p_list);
    if (connected >= 0) {
        const int one = 1;
        setsockopt(connected, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    return connected;
}

}  // namespace Drivers::Mac::ZAV

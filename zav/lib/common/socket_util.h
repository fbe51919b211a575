// Small POSIX socket helpers shared by the receiver and the sender: every blocking step waits in
// poll() beside a wake-up pipe, so that a thread can be told to stop at any moment.
#ifndef ZAV_LIB_COMMON_SOCKET_UTIL_H
#define ZAV_LIB_COMMON_SOCKET_UTIL_H

#include <cstdint>
#include <string>

namespace Drivers::Mac::ZAV {

// A pipe whose read end becomes readable once `signal` was called. Both ends close with it.
class wake_pipe_t {
public:
    wake_pipe_t();
    ~wake_pipe_t();
    wake_pipe_t(const wake_pipe_t&) = delete;
    wake_pipe_t& operator=(const wake_pipe_t&) = delete;

    bool valid() const { return m_fds[0] >= 0; }
    int read_fd() const { return m_fds[0]; }
    void signal();

private:
    int m_fds[2] = {-1, -1};
};

enum class wait_e { ready, timeout, woken };

// Waits until fd is readable (or writable), the pipe is signalled, or timeout_ms passed.
wait_e wait_for_fd(int fd, bool for_write, const wake_pipe_t& wake, int timeout_ms);

void set_nonblocking(int fd);
void set_no_sigpipe(int fd);
void close_fd(int& fd);

// Connects to host:port (each address getaddrinfo gives, in turn), waiting at most timeout_ms in
// all. Returns the connected non-blocking socket, or -1 (with *p_woken set when the pipe ended it).
int connect_with_timeout(const std::string& host, uint16_t port, const wake_pipe_t& wake, int timeout_ms,
                         bool* p_woken);

}  // namespace Drivers::Mac::ZAV

#endif

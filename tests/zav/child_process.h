// Runs another program beside the test (a GStreamer pipeline, zav-send) and ends it again, with a
// deadline on every wait.
#ifndef ZAV_TESTS_ZAV_CHILD_PROCESS_H
#define ZAV_TESTS_ZAV_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zav_test {

class child_process_t {
public:
    // Starts argv[0] found on PATH; extra_env entries ("NAME=value") are added to the environment.
    explicit child_process_t(const std::vector<std::string>& argv, const std::vector<std::string>& extra_env = {});
    ~child_process_t();

    bool started() const { return m_pid > 0; }
    pid_t pid() const { return m_pid; }
    // Sends `signal` and waits for the exit; SIGKILL after the deadline. Returns the wait status.
    int stop(int signal, std::chrono::milliseconds deadline);
    // Waits for the exit on its own; -1 after the deadline (the process is then killed).
    int wait(std::chrono::milliseconds deadline);

private:
    pid_t m_pid = -1;
};

bool program_on_path(const std::string& name);
// A TCP port on 127.0.0.1 that was free a moment ago.
uint16_t free_loopback_port();
// Waits until something listens on 127.0.0.1:port.
bool wait_for_listener(uint16_t port, std::chrono::milliseconds deadline);
// The file's first `max_bytes` bytes (all of it by default); empty when it cannot be read. A file
// another process keeps writing is read only as far as asked.
std::vector<uint8_t> read_file(const std::string& path, std::size_t max_bytes = SIZE_MAX);

}  // namespace zav_test

#endif

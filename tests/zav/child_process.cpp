#include "child_process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

extern char** environ;

namespace zav_test {

child_process_t::child_process_t(const std::vector<std::string>& argv, const std::vector<std::string>& extra_env) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<std::string> env_strings(extra_env);
    for (char** p = environ; *p; ++p) env_strings.emplace_back(*p);
    std::vector<char*> env;
    for (std::string& e : env_strings) env.push_back(e.data());
    env.push_back(nullptr);
    if (posix_spawnp(&m_pid, args[0], nullptr, nullptr, args.data(), env.data()) != 0) m_pid = -1;
}

child_process_t::~child_process_t() {
    if (m_pid > 0) stop(SIGKILL, std::chrono::milliseconds(5000));
}

int child_process_t::wait(std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (m_pid > 0) {
        int status = 0;
        const pid_t done = waitpid(m_pid, &status, WNOHANG);
        if (done == m_pid || done < 0) {
            m_pid = -1;
            return status;
        }
        if (std::chrono::steady_clock::now() >= end) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, &status, 0);
            m_pid = -1;
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return -1;
}

int child_process_t::stop(int signal, std::chrono::milliseconds deadline) {
    if (m_pid <= 0) return -1;
    kill(m_pid, signal);
    return wait(deadline);
}

bool program_on_path(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::string folders = path ? path : "/usr/bin:/bin";
    for (std::size_t start = 0; start <= folders.size();) {
        const std::size_t colon = std::min(folders.find(':', start), folders.size());
        const std::string candidate = folders.substr(start, colon - start) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) return true;
        start = colon + 1;
    }
    return false;
}

uint16_t free_loopback_port() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

bool wait_for_listener(uint16_t port, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (std::chrono::steady_clock::now() < end) {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        close(fd);
        if (ok) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

std::vector<uint8_t> read_file(const std::string& path, std::size_t max_bytes) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return {};
    const std::streamoff size = in.tellg();
    if (size <= 0) return {};
    std::vector<uint8_t> bytes(std::min(std::size_t(size), max_bytes));
    in.seekg(0);
    in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size()));
    bytes.resize(std::size_t(in.gcount()));
    return bytes;
}

}  // namespace zav_test

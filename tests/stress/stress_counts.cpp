#include "stress_counts.h"

#include <zav_platform/probe.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace zav_test::stress {

std::size_t resident_bytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) != 0) continue;
        std::istringstream fields(line.substr(6));
        std::size_t kibibytes = 0;
        fields >> kibibytes;
        return kibibytes * 1024;
    }
    return 0;
}

std::string mebibytes(double bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MiB", bytes / (1024.0 * 1024.0));
    return text;
}

std::string live_objects_text() {
    std::ostringstream text;
    for (const auto& [name, count] : zav_platform::probe::live_objects_by_type())
        text << (text.tellp() > 0 ? " " : "") << name << '=' << count;
    return text.tellp() > 0 ? text.str() : "none";
}

void print_counts(const std::string& run, const counts_t& counts) {
    std::printf("[ counts   ] %s\n", run.c_str());
    for (const auto& [name, value] : counts) std::printf("[ counts   ]   %s: %s\n", name.c_str(), value.c_str());
    std::fflush(stdout);
}

}  // namespace zav_test::stress

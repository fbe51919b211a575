#include "discovery/sources_file.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <set>

#include "common/lib_log.h"

namespace Drivers::Mac::ZAV {

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::size_t skip_blanks(const std::string& s, std::size_t i) {
    while (i < s.size() && is_blank(s[i])) ++i;
    return i;
}

}  // namespace

bool split_host_port(const std::string& text, std::string* p_host, uint16_t* p_port) {
    std::string host;
    std::size_t colon;
    if (!text.empty() && text[0] == '[') {
        const std::size_t close = text.find(']');
        if (close == std::string::npos || close + 1 >= text.size() || text[close + 1] != ':') return false;
        host = text.substr(1, close - 1);
        colon = close + 1;
    } else {
        colon = text.rfind(':');
        if (colon == std::string::npos) return false;
        host = text.substr(0, colon);
        if (host.find(':') != std::string::npos) return false;  // a bare IPv6 address needs brackets
    }
    const std::string port = text.substr(colon + 1);
    if (host.empty() || port.empty() || port.size() > 5) return false;
    for (char c : port)
        if (c < '0' || c > '9') return false;
    const long value = std::strtol(port.c_str(), nullptr, 10);
    if (value < 1 || value > 65535) return false;
    *p_host = host;
    *p_port = uint16_t(value);
    return true;
}

sources_line_e parse_sources_line(const std::string& line, source_entry_t* p_entry, std::string* p_error) {
    std::size_t i = skip_blanks(line, 0);
    if (i == line.size() || line[i] == '#') return sources_line_e::nothing;
    auto fail = [&](const std::string& reason) {
        if (p_error) *p_error = reason;
        return sources_line_e::malformed;
    };
    if (line[i] != '"') return fail("the name must be in double quotes");
    const std::size_t close = line.find('"', i + 1);
    if (close == std::string::npos) return fail("no closing quote after the name");
    source_entry_t entry;
    entry.name = line.substr(i + 1, close - i - 1);
    if (entry.name.empty()) return fail("empty name");
    i = skip_blanks(line, close + 1);
    if (i == close + 1 && i < line.size()) return fail("no blank after the name");
    std::size_t end = i;
    while (end < line.size() && !is_blank(line[end])) ++end;
    if (!split_host_port(line.substr(i, end - i), &entry.host, &entry.port)) return fail("no host:port after the name");
    std::string error;
    if (!params_from_text(line.substr(end), &entry.params, &error)) return fail(error);
    *p_entry = entry;
    return sources_line_e::entry;
}

std::string format_sources_line(const source_entry_t& entry) {
    const bool v6 = entry.host.find(':') != std::string::npos;
    return "\"" + entry.name + "\" " + (v6 ? "[" + entry.host + "]" : entry.host) + ":" + std::to_string(entry.port) +
           " " + params_to_text(entry.params);
}

namespace {

// Receivers read the files again on every attempt to find their source; a bad line is reported
// the first time it is seen in its file at its place, not on every attempt. Bounded: past the
// limit the memory starts afresh and the lines still there are reported once more.
bool first_report_of(const std::string& path, int number, const std::string& line) {
    static std::mutex mutex;
    static std::set<std::string> reported;
    constexpr std::size_t limit = 1024;
    std::lock_guard<std::mutex> lock(mutex);
    if (reported.size() >= limit) reported.clear();
    return reported.insert(path + ':' + std::to_string(number) + ':' + line).second;
}

}  // namespace

std::vector<source_entry_t> read_sources_file(const std::string& path) {
    std::vector<source_entry_t> entries;
    std::ifstream in(path);
    std::string line;
    for (int number = 1; in && std::getline(in, line); ++number) {
        source_entry_t entry;
        std::string error;
        switch (parse_sources_line(line, &entry, &error)) {
            case sources_line_e::entry:
                entries.push_back(entry);
                break;
            case sources_line_e::nothing:
                break;
            case sources_line_e::malformed:
                if (first_report_of(path, number, line))
                    lib_log("%s:%d: line skipped: %s", path.c_str(), number, error.c_str());
                break;
        }
    }
    return entries;
}

std::string user_sources_path() {
    const char* home = std::getenv("HOME");
#if defined(__APPLE__)
    if (!home || !*home) return {};
    return std::string(home) + "/Library/Application Support/ZAV/sources";
#else
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && *config == '/') return std::string(config) + "/zav/sources";
    if (!home || !*home) return {};
    return std::string(home) + "/.config/zav/sources";
#endif
}

std::vector<std::string> sources_paths() {
    const char* chosen = std::getenv("ZAV_SOURCES");
    if (chosen && *chosen) return {chosen};
    std::vector<std::string> paths;
    const std::string user = user_sources_path();
    if (!user.empty()) paths.push_back(user);
#if defined(__APPLE__)
    paths.push_back("/Library/Application Support/ZAV/sources");
#else
    paths.push_back("/etc/zav/sources");
#endif
    return paths;
}

std::optional<source_entry_t> find_source_in_files(const std::string& name) {
    for (const std::string& path : sources_paths())
        for (const source_entry_t& entry : read_sources_file(path))
            if (entry.name == name) return entry;
    return std::nullopt;
}

}  // namespace Drivers::Mac::ZAV

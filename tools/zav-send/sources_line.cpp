#include "sources_line.h"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "discovery/source_entry.h"
#include "discovery/sources_file.h"

namespace Drivers::Mac::ZAV {

namespace {

// The file's lines without the entries for `name` (read as the library reads them, so that a
// line it would take for that name goes, whatever its spacing).
std::vector<std::string> other_lines(const std::string& path, const std::string& name) {
    std::vector<std::string> kept;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        source_entry_t entry;
        const bool for_name = parse_sources_line(line, &entry, nullptr) == sources_line_e::entry && entry.name == name;
        if (!for_name) kept.push_back(line);
    }
    return kept;
}

bool write_lines(const std::string& path, const std::vector<std::string>& lines) {
    const std::string temporary = path + ".new";
    {
        std::ofstream out(temporary, std::ios::trunc);
        for (const std::string& line : lines) out << line << '\n';
        if (!out) return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}

}  // namespace

bool add_sources_line(const std::string& path, const std::string& name, const std::string& line) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::vector<std::string> lines = other_lines(path, name);
    lines.push_back(line);
    return write_lines(path, lines);
}

void remove_sources_line(const std::string& path, const std::string& name) {
    write_lines(path, other_lines(path, name));
}

}  // namespace Drivers::Mac::ZAV

#include "sources_line.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <vector>

namespace Drivers::Mac::ZAV {

namespace {

void make_folders(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);
}

// The file's lines without those for `name`.
std::vector<std::string> other_lines(const std::string& path, const std::string& name) {
    std::vector<std::string> kept;
    std::ifstream in(path);
    std::string line;
    const std::string prefix = "\"" + name + "\"";
    while (std::getline(in, line))
        if (line.compare(0, prefix.size(), prefix) != 0) kept.push_back(line);
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
    make_folders(path);
    std::vector<std::string> lines = other_lines(path, name);
    lines.push_back(line);
    return write_lines(path, lines);
}

void remove_sources_line(const std::string& path, const std::string& name) {
    write_lines(path, other_lines(path, name));
}

}  // namespace Drivers::Mac::ZAV

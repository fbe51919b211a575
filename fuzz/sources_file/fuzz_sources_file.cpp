// Sources files: arbitrary text read line by line as a sources file is. Every line that parses
// is written back with format_sources_line and must read back as the same entry, and reading the
// text as a file gives exactly the entries the lines give one by one.
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "discovery/sources_file.h"
#include "fuzz_check.h"

using namespace Drivers::Mac::ZAV;

namespace {

bool same_entry(const source_entry_t& a, const source_entry_t& b) {
    return a.name == b.name && a.host == b.host && a.port == b.port && a.params == b.params;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p_data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(p_data), size);
    std::istringstream lines(text);
    std::string line;
    std::vector<source_entry_t> expected;
    while (std::getline(lines, line)) {
        source_entry_t entry;
        std::string error;
        switch (parse_sources_line(line, &entry, &error)) {
            case sources_line_e::entry: {
                fuzz_check(!entry.name.empty() && entry.port != 0, "entry without a name or a port");
                fuzz_check(entry.params.width > 0 && entry.params.width <= max_picture_side &&
                               entry.params.height > 0 && entry.params.height <= max_picture_side,
                           "picture size out of range");
                source_entry_t again;
                fuzz_check(parse_sources_line(format_sources_line(entry), &again, &error) == sources_line_e::entry,
                           "a formatted line does not parse");
                fuzz_check(same_entry(entry, again), "a formatted line reads back as another entry");
                expected.push_back(entry);
                break;
            }
            case sources_line_e::malformed:
                fuzz_check(!error.empty(), "a malformed line without a reason");
                break;
            case sources_line_e::nothing:
                break;
        }
    }

    static const std::string path = "/tmp/zav-fuzz-sources-" + std::to_string(getpid());
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file << text;
    }
    const std::vector<source_entry_t> read = read_sources_file(path);
    fuzz_check(read.size() == expected.size(), "the file gives another number of entries than its lines");
    for (std::size_t i = 0; i < read.size(); ++i)
        fuzz_check(same_entry(read[i], expected[i]), "the file gives another entry than its line");
    return 0;
}

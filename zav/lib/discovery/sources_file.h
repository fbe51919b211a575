// Sources files map source names to addresses and format parameters, one source per line:
//
//     "STUDIO (Camera 1)" 192.168.1.20:5004 sampling=YCbCr-4:2:2; width=1920; height=1080; exactframerate=60
//
// The name in double quotes, then host:port, then the format parameters. Blank lines and lines
// whose first non-blank character is '#' are ignored. Which files are read: the one named by
// ZAV_SOURCES when it is set; otherwise the per-user file, then the system file.
#ifndef ZAV_LIB_DISCOVERY_SOURCES_FILE_H
#define ZAV_LIB_DISCOVERY_SOURCES_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "discovery/source_entry.h"

namespace Drivers::Mac::ZAV {

enum class sources_line_e { entry, nothing, malformed };

// Reads one line. For a malformed line *p_error says why.
sources_line_e parse_sources_line(const std::string& line, source_entry_t* p_entry, std::string* p_error);
// The text of one line for an entry (what parse_sources_line reads back).
std::string format_sources_line(const source_entry_t& entry);

// The entries of one file, in order; each malformed line is skipped with one log line naming the
// file and the line number. A missing file has no entries.
std::vector<source_entry_t> read_sources_file(const std::string& path);

// The per-user file: $XDG_CONFIG_HOME/zav/sources (default ~/.config/zav/sources), or
// ~/Library/Application Support/ZAV/sources on Apple systems. Empty when there is no home.
std::string user_sources_path();
// The files searched, in order.
std::vector<std::string> sources_paths();
// The first entry with this name in the files, read afresh.
std::optional<source_entry_t> find_source_in_files(const std::string& name);

}  // namespace Drivers::Mac::ZAV

#endif

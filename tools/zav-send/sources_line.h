// The sender's line in the per-user sources file: written at start, removed again at exit.
#ifndef ZAV_TOOLS_ZAV_SEND_SOURCES_LINE_H
#define ZAV_TOOLS_ZAV_SEND_SOURCES_LINE_H

#include <string>

namespace Drivers::Mac::ZAV {

// Appends `line` to the file at `path` (making its folders), replacing any line for the same
// name. False when the file cannot be written.
bool add_sources_line(const std::string& path, const std::string& name, const std::string& line);
// Removes the lines of `name` from the file; other lines stay as they were.
void remove_sources_line(const std::string& path, const std::string& name);

}  // namespace Drivers::Mac::ZAV

#endif

// What a stress run reports when it ends: the process's resident memory, the Core Foundation
// objects alive by type, and the run's own counts, printed as the last lines of its output.
#ifndef ZAV_TESTS_STRESS_STRESS_COUNTS_H
#define ZAV_TESTS_STRESS_STRESS_COUNTS_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zav_test::stress {

// Resident memory of this process (VmRSS), in bytes; 0 when it cannot be read.
std::size_t resident_bytes();
// Bytes as mebibytes with one decimal ("12.3 MiB", "-0.5 MiB").
std::string mebibytes(double bytes);
// Live Core Foundation objects by type, "CMSampleBuffer=3 CVPixelBuffer=19", or "none".
std::string live_objects_text();

// One "name: value" line per count under a heading naming the run, flushed at once.
using counts_t = std::vector<std::pair<std::string, std::string>>;
void print_counts(const std::string& run, const counts_t& counts);

}  // namespace zav_test::stress

#endif

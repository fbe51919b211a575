// A switch that makes thread creation fail in this test program, as it fails when a process runs
// out of threads or memory. The program defines pthread_create itself, so every thread the C++
// runtime starts (the plug-in's capture thread included) goes through it; with the switch off
// it hands the call on unchanged.
#ifndef ZAV_TESTS_STRESS_THREAD_CREATION_SWITCH_H
#define ZAV_TESTS_STRESS_THREAD_CREATION_SWITCH_H

#include <cstddef>

namespace zav_test::thread_creation {

// From now on thread creation fails with `error` (an errno value such as EAGAIN); 0 lets it
// succeed again.
void fail_with(int error);
// Creations refused since the program started.
std::size_t refused();

}  // namespace zav_test::thread_creation

#endif

# Testing for the whole build tree: every test ctest runs, in any folder, gets a deadline, so that
# a fault that makes a test wait forever fails that test instead of stalling CI.

set(ZAV_TEST_TIMEOUT 120 CACHE STRING "Seconds a single test may run before ctest stops it and fails it")

# ctest takes its default per-test timeout from the DartConfiguration.tcl that the CTest module
# writes at the top of the build tree; a test's own TIMEOUT property still wins. The global
# property keeps the module from adding its dashboard targets, which this project does not use.
set(DART_TESTING_TIMEOUT ${ZAV_TEST_TIMEOUT} CACHE STRING "Default per-test timeout of ctest" FORCE)
set_property(GLOBAL PROPERTY CTEST_TARGETS_ADDED 1)
include(CTest)
enable_testing()

// The test camera's own property, beyond Apple's, through which tests make it change its objects
// while a client watches, as a device does when an input is switched on or off.
#ifndef ZAV_TESTS_DAL_TEST_CAMERA_PROPERTIES_H
#define ZAV_TESTS_DAL_TEST_CAMERA_PROPERTIES_H

#include <CoreMediaIO/CMIOHardwareObject.h>

// On the device: how many input streams it has (UInt32, 1 or 2, settable). Setting 2 creates and
// publishes a second input stream under the device; setting 1 retires it. Either change is
// reported as a change of the device's stream list.
constexpr CMIOObjectPropertySelector k_test_camera_input_stream_count = 0x74736323;  // 'tsc#'

#endif

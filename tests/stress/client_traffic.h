// Property traffic as busy applications make it: every device and stream property read the way
// clients read them (references released), and the settable ones written. Safe to call from
// several threads at once; each call returns the number of answers that were not the expected.
#ifndef ZAV_TESTS_STRESS_CLIENT_TRAFFIC_H
#define ZAV_TESTS_STRESS_CLIENT_TRAFFIC_H

#include "zav_camera_client.h"

#include <cstddef>
#include <vector>

namespace zav_test::stress {

// A format a client may choose: pixel layout and size.
struct format_choice_t {
    OSType pixel_format;
    int32_t width;
    int32_t height;
};

// Reads every property of the device and the stream once. `running` is what the device must
// say about itself ('goin', 'gone'); -1 accepts either.
std::size_t read_every_property(const camera_client_t& camera, int running = -1);
// Writes the settable properties once: the format (`formats[round % size]`), the frame rates
// (accepted and ignored), the device master and the exclusive-access flag.
std::size_t write_settable_properties(camera_client_t& camera, const std::vector<format_choice_t>& formats,
                                      std::size_t round);

}  // namespace zav_test::stress

#endif

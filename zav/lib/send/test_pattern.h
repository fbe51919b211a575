// The moving test pattern of a sender: colour bars, a white edge that moves 8 pixels per frame, the
// frame counter in large digits, and the send time stamped into the top rows (stamp/time_stamp.h)
// so that a camera client can read back when the picture was made, after any scaling.
#ifndef ZAV_LIB_SEND_TEST_PATTERN_H
#define ZAV_LIB_SEND_TEST_PATTERN_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

class test_pattern_t {
public:
    // Pictures of these parameters: 4:2:2 or BGRA sampling.
    explicit test_pattern_t(const video_params_t& params);

    // Draws frame `number`, stamped with `send_time_100ns` (wall clock, 100 ns units) when the picture
    // is large enough to carry a stamp; the picture stays valid until the next call.
    const uint8_t* draw(uint64_t number, int64_t send_time_100ns);

private:
    void fill_rect(int x, int y, int w, int h, bool white);
    void draw_digit(int digit, int x, int y, int scale);

    video_params_t m_params;
    std::size_t m_stride;
    std::vector<uint8_t> m_bars;  // the still part, drawn once
    std::vector<uint8_t> m_picture;
};

}  // namespace Drivers::Mac::ZAV

#endif

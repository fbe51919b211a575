// A time stamp drawn into a picture so that it can be read back after the picture was scaled and
// converted between UYVY and BGRA on its way to an application, for measuring latency end to end.
//
// The stamp is a row of square black or white cells across the picture's whole width at its top:
// a start marker (white, black), the time in microseconds modulo 2^40 (40 cells, most significant
// bit first), a CRC-16 of those five bytes (16 cells) and an end marker (black, white). Reading
// samples the middle of each cell and accepts only clear black or clear white, the markers and a
// matching check value, so a picture whose stamp was damaged gives no reading rather than a wrong
// one. Rows are tried from the top down through the upper quarter, which finds the stamp also
// when a wider picture was fitted into a taller one with bands above it.
//
// The clock is the system's real-time clock (CLOCK_REALTIME): a sender and a receiver on one
// machine read the same clock, and machines kept in step by NTP compare within its accuracy.
#ifndef ZAV_LIB_STAMP_TIME_STAMP_H
#define ZAV_LIB_STAMP_TIME_STAMP_H

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Drivers::Mac::ZAV {

// The pixel layouts a stamp is drawn into and read from.
enum class stamp_layout_e { uyvy, bgra };

struct stamp_picture_t {
    uint8_t* p_data;
    std::size_t stride;
    int width;
    int height;
    stamp_layout_e layout;
};

struct stamp_view_t {
    const uint8_t* p_data;
    std::size_t stride;
    int width;
    int height;
    stamp_layout_e layout;
};

// Stamp times wrap around after 2^40 microseconds (about 12.7 days).
constexpr uint64_t stamp_time_modulo = uint64_t(1) << 40;

// The real-time clock now, in microseconds modulo stamp_time_modulo.
uint64_t stamp_clock_now_us();

// How long after `stamped` the time `now` is, both stamp times; negative when `now` is earlier
// (clocks out of step).
int64_t stamp_age_us(uint64_t now, uint64_t stamped);

// Draws `time_us` (taken modulo stamp_time_modulo) into the top rows. False, with nothing drawn,
// when the picture is too small to carry a stamp that survives scaling (below 240 x 32 pixels).
bool draw_time_stamp(const stamp_picture_t& picture, uint64_t time_us);

// The time a picture's stamp carries, or nothing when no undamaged stamp is found.
std::optional<uint64_t> read_time_stamp(const stamp_view_t& picture);

}  // namespace Drivers::Mac::ZAV

#endif

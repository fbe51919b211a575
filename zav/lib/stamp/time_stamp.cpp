#include "stamp/time_stamp.h"

#include <time.h>

#include <algorithm>

namespace Drivers::Mac::ZAV {

namespace {

constexpr int time_bits = 40;
constexpr int check_bits = 16;
constexpr int first_time_cell = 2;
constexpr int first_check_cell = first_time_cell + time_bits;
constexpr int cells = first_check_cell + check_bits + 2;

// The smallest picture drawn into: cells of at least four pixels, rows enough for four of them.
constexpr int min_width = cells * 4;
constexpr int min_height = 32;

// Studio-range luma of the two cell colours, and where a read level counts as one or the other.
// Between the two limits a level is neither: the cell, and so the row, is unreadable.
constexpr uint8_t white_luma = 235;
constexpr uint8_t black_luma = 16;
constexpr int white_from = 180;
constexpr int black_up_to = 70;

// CRC-16 with the CCITT polynomial x^16 + x^12 + x^5 + 1, all ones at the start.
uint16_t crc16(uint64_t value, int bytes) {
    uint16_t crc = 0xffff;
    for (int i = bytes - 1; i >= 0; --i) {
        crc ^= uint16_t((value >> (8 * i)) & 0xff) << 8;
        for (int bit = 0; bit < 8; ++bit) crc = uint16_t(crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1);
    }
    return crc;
}

// The cells' values, left to right: 1 white, 0 black.
void cell_values(uint64_t time_us, bool* p_cells) {
    const uint16_t check = crc16(time_us, time_bits / 8);
    p_cells[0] = true;
    p_cells[1] = false;
    for (int bit = 0; bit < time_bits; ++bit) p_cells[first_time_cell + bit] = (time_us >> (time_bits - 1 - bit)) & 1;
    for (int bit = 0; bit < check_bits; ++bit) p_cells[first_check_cell + bit] = (check >> (check_bits - 1 - bit)) & 1;
    p_cells[cells - 2] = false;
    p_cells[cells - 1] = true;
}

// Studio-range luma of pixel x of a row.
int luma_at(const uint8_t* p_row, int x, stamp_layout_e layout) {
    if (layout == stamp_layout_e::uyvy) return p_row[std::size_t(x / 2) * 4 + (x % 2 == 0 ? 1 : 3)];
    const uint8_t* p = p_row + std::size_t(x) * 4;
    // BT.709 weights in 1/256ths, full range scaled into studio range.
    const int full = (19 * p[0] + 183 * p[1] + 54 * p[2] + 128) >> 8;
    return 16 + (full * 219 + 127) / 255;
}

std::optional<uint64_t> read_row(const stamp_view_t& picture, int y) {
    const uint8_t* p_row = picture.p_data + std::size_t(y) * picture.stride;
    uint64_t bits = 0;
    for (int cell = 0; cell < cells; ++cell) {
        const int x = int((2 * int64_t(cell) + 1) * picture.width / (2 * cells));
        const int level = luma_at(p_row, x, picture.layout);
        if (level > black_up_to && level < white_from) return std::nullopt;
        bits = bits << 1 | uint64_t(level >= white_from);
    }
    // bits holds the 60 cells, the first in bit 59.
    const uint64_t start = bits >> (cells - 2), end = bits & 3;
    const uint64_t time_us = (bits >> (check_bits + 2)) & (stamp_time_modulo - 1);
    const uint16_t check = uint16_t(bits >> 2);
    if (start != 2 || end != 1 || check != crc16(time_us, time_bits / 8)) return std::nullopt;
    return time_us;
}

}  // namespace

uint64_t stamp_clock_now_us() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const uint64_t us = uint64_t(now.tv_sec) * 1000000u + uint64_t(now.tv_nsec) / 1000u;
    return us % stamp_time_modulo;
}

int64_t stamp_age_us(uint64_t now, uint64_t stamped) {
    const uint64_t forward = (now - stamped) % stamp_time_modulo;
    // More than half the circle forward is read as a time before the stamp.
    return forward < stamp_time_modulo / 2 ? int64_t(forward) : int64_t(forward) - int64_t(stamp_time_modulo);
}

bool draw_time_stamp(const stamp_picture_t& picture, uint64_t time_us) {
    if (picture.width < min_width || picture.height < min_height) return false;
    bool values[cells];
    cell_values(time_us % stamp_time_modulo, values);
    const int rows = std::min(picture.width / cells, picture.height / 8);
    for (int y = 0; y < rows; ++y) {
        uint8_t* p_row = picture.p_data + std::size_t(y) * picture.stride;
        for (int cell = 0; cell < cells; ++cell) {
            const int from = int(int64_t(cell) * picture.width / cells);
            const int to = int(int64_t(cell + 1) * picture.width / cells);
            for (int x = from; x < to; ++x) {
                if (picture.layout == stamp_layout_e::uyvy) {
                    uint8_t* p_pair = p_row + std::size_t(x / 2) * 4;
                    p_pair[x % 2 == 0 ? 1 : 3] = values[cell] ? white_luma : black_luma;
                    p_pair[0] = p_pair[2] = 128;
                } else {
                    uint8_t* p = p_row + std::size_t(x) * 4;
                    p[0] = p[1] = p[2] = values[cell] ? 255 : 0;
                    p[3] = 255;
                }
            }
        }
    }
    return true;
}

std::optional<uint64_t> read_time_stamp(const stamp_view_t& picture) {
    if (picture.p_data == nullptr || picture.width < 2 * cells || picture.height < 1) return std::nullopt;
    const int last_row = std::max(0, picture.height / 4 - 1);
    for (int y = 0; y <= last_row; ++y)
        if (std::optional<uint64_t> time_us = read_row(picture, y)) return time_us;
    return std::nullopt;
}

}  // namespace Drivers::Mac::ZAV

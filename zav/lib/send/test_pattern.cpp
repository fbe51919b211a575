#include "send/test_pattern.h"

#include "stamp/time_stamp.h"

#include <algorithm>
#include <cstring>

namespace Drivers::Mac::ZAV {

namespace {

struct rgb_t {
    uint8_t r, g, b;
};

// 75% bars: white, yellow, cyan, green, magenta, red, blue.
constexpr rgb_t bars[] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                          {191, 0, 191},   {191, 0, 0},   {0, 0, 191}};

// BT.709 studio-range luma and chroma of a full-range RGB colour.
void rgb_to_ycbcr(rgb_t c, uint8_t* y, uint8_t* cb, uint8_t* cr) {
    const double r = c.r / 255.0, g = c.g / 255.0, b = c.b / 255.0;
    const double luma = 0.2126 * r + 0.7152 * g + 0.0722 * b;
    *y = uint8_t(16 + 219 * luma + 0.5);
    *cb = uint8_t(128 + 224 * (b - luma) / 1.8556 + 0.5);
    *cr = uint8_t(128 + 224 * (r - luma) / 1.5748 + 0.5);
}

// Seven-segment digits: bits a..g from the top clockwise, then the middle.
constexpr uint8_t segments_of[10] = {0x3f, 0x06, 0x5b, 0x4f, 0x66, 0x6d, 0x7d, 0x07, 0x7f, 0x6f};

}  // namespace

test_pattern_t::test_pattern_t(const video_params_t& params)
    : m_params(params), m_stride(params.row_bytes()), m_bars(m_stride * std::size_t(params.height)) {
    const bool uyvy = params.sampling == sampling_e::ycbcr_422;
    for (int y = 0; y < params.height; ++y) {
        uint8_t* row = m_bars.data() + std::size_t(y) * m_stride;
        for (int x = 0; x < params.width; ++x) {
            const rgb_t c = bars[std::size_t(x) * 7 / std::size_t(params.width)];
            if (uyvy) {
                uint8_t luma, cb, cr;
                rgb_to_ycbcr(c, &luma, &cb, &cr);
                uint8_t* pair = row + std::size_t(x / 2) * 4;
                pair[x % 2 == 0 ? 1 : 3] = luma;
                pair[0] = cb;
                pair[2] = cr;
            } else {
                uint8_t* px = row + std::size_t(x) * 4;
                px[0] = c.b;
                px[1] = c.g;
                px[2] = c.r;
                px[3] = 255;
            }
        }
    }
    m_picture = m_bars;
}

void test_pattern_t::fill_rect(int x, int y, int w, int h, bool white) {
    x = std::max(x, 0);
    y = std::max(y, 0);
    w = std::min(w, m_params.width - x);
    h = std::min(h, m_params.height - y);
    if (w <= 0 || h <= 0) return;
    const bool uyvy = m_params.sampling == sampling_e::ycbcr_422;
    for (int row = y; row < y + h; ++row) {
        uint8_t* p = m_picture.data() + std::size_t(row) * m_stride;
        for (int col = x; col < x + w; ++col) {
            if (uyvy) {
                uint8_t* pair = p + std::size_t(col / 2) * 4;
                pair[col % 2 == 0 ? 1 : 3] = white ? 235 : 16;
                pair[0] = pair[2] = 128;
            } else {
                std::memset(p + std::size_t(col) * 4, white ? 255 : 0, 3);
                p[std::size_t(col) * 4 + 3] = 255;
            }
        }
    }
}

void test_pattern_t::draw_digit(int digit, int x, int y, int scale) {
    const uint8_t on = segments_of[digit];
    const int w = 4 * scale, t = scale;
    fill_rect(x - t, y - t, w + 3 * t, 2 * w + 3 * t, false);
    if (on & 0x01) fill_rect(x, y, w + t, t, true);          // a: top
    if (on & 0x02) fill_rect(x + w, y, t, w + t, true);      // b: upper right
    if (on & 0x04) fill_rect(x + w, y + w, t, w + t, true);  // c: lower right
    if (on & 0x08) fill_rect(x, y + 2 * w, w + t, t, true);  // d: bottom
    if (on & 0x10) fill_rect(x, y + w, t, w + t, true);      // e: lower left
    if (on & 0x20) fill_rect(x, y, t, w + t, true);          // f: upper left
    if (on & 0x40) fill_rect(x, y + w, w + t, t, true);      // g: middle
}

const uint8_t* test_pattern_t::draw(uint64_t number, int64_t send_time_100ns) {
    std::memcpy(m_picture.data(), m_bars.data(), m_bars.size());
    const int width = m_params.width, height = m_params.height;
    // The moving edge: a white band whose left side steps 8 pixels per frame.
    const int band = std::max(2, width / 64);
    fill_rect(int((number * 8) % uint64_t(width)), height / 4, band, height / 2, true);
    // The frame counter, eight digits, bottom left.
    const int scale = std::max(1, height / 90);
    const int digit_w = 6 * scale;
    uint64_t n = number;
    for (int i = 7; i >= 0; --i) {
        draw_digit(int(n % 10), 2 * scale + i * digit_w, height - 11 * scale, scale);
        n /= 10;
    }
    const stamp_layout_e layout =
        m_params.sampling == sampling_e::ycbcr_422 ? stamp_layout_e::uyvy : stamp_layout_e::bgra;
    draw_time_stamp({m_picture.data(), m_stride, width, height, layout}, uint64_t(send_time_100ns / 10));
    return m_picture.data();
}

}  // namespace Drivers::Mac::ZAV

// Axis mappings, source positions of the horizontal pass and its coefficient table.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "pixel/resample_internal.h"

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

axis_mapping_t default_axis_mapping(uint32_t src_size, uint32_t dst_size) {
    const float s = static_cast<float>(src_size);
    const float d = static_cast<float>(dst_size);
    axis_mapping_t m;
    m.m_scale = s / d;
    m.m_offset = (s - d) * 0.5f / d;
    return m;
}

bool axis_is_remapped(const axis_mapping_t& mapping, uint32_t src_size, uint32_t dst_size) {
    const axis_mapping_t def = default_axis_mapping(src_size, dst_size);
    const bool same_offset = std::fabs(mapping.m_offset - def.m_offset) < 0.1f;
    const bool same_scale =
        std::fabs(static_cast<float>(dst_size) * mapping.m_scale - static_cast<float>(src_size)) < 0.1f;
    return !(same_offset && same_scale);
}

int32_t truncate_saturated(float t) {
    // 2147483647.0f rounds to 2^31, the first value past the range.
    if (t >= 2147483647.0f) return INT32_MAX;
    if (t <= -2147483648.0f) return INT32_MIN;
    if (t == t) return static_cast<int32_t>(t);
    return 0;
}

namespace {

// Clamps p to [0, hi]; the lower bound wins when hi is negative (a source narrower than
// two pixels), so that no position ever points before the row.
int64_t clamp_position(int64_t p, int64_t hi) {
    return std::max<int64_t>(std::min(p, hi), 0);
}

int64_t position_of(const horizontal_map_t& map, uint32_t pixel) {
    return static_cast<int64_t>(map.m_x0) + static_cast<int64_t>(pixel) * map.m_step;
}

// The body of horizontal_tap, visible to the table build in this file so that it is inlined
// there: the build runs it for every destination byte of every call to the kernel.
inline tap_t tap_of(const horizontal_map_t& map, uint32_t dst_byte) {
    const int64_t width_fixed = static_cast<int64_t>(map.m_src_width) << 16;
    // Bytes past the row (the tail of the last group) repeat the last pixel.
    const uint32_t pixel = std::min(dst_byte >> 1, map.m_dst_width - 1);
    tap_t t{};
    if (dst_byte & 1u) {
        const int64_t x = clamp_position(position_of(map, pixel), width_fixed - 65537);
        const uint32_t i = static_cast<uint32_t>(x >> 16);
        t.m_first = 2 * i + 1;
        t.m_second = 2 * i + 3;
        t.m_phase = static_cast<uint32_t>(x >> 10) & 63u;
    } else {
        // Both chroma bytes of a pair use the position of the pair's first pixel, on the
        // half-resolution chroma grid; the clamp keeps the left neighbour on the last pair.
        const int64_t last_pair = (width_fixed - 65536) & ~static_cast<int64_t>(131071);
        const int64_t x = clamp_position(position_of(map, pixel & ~1u), last_pair);
        const uint32_t p = static_cast<uint32_t>(x >> 17);
        const uint32_t cr = (pixel & 1u) * 2;
        t.m_first = 4 * p + cr;
        t.m_second = 4 * p + 4 + cr;
        t.m_phase = static_cast<uint32_t>(x >> 11) & 63u;
    }
    return t;
}

}  // namespace

tap_t horizontal_tap(const horizontal_map_t& map, uint32_t dst_byte) {
    return tap_of(map, dst_byte);
}

namespace {

// Layout 0 of one group; false when its source bytes do not fit one 16-byte span.
bool build_group_layout0(const tap_t (&taps)[16], coefficient_group_t& g) {
    uint32_t lo = UINT32_MAX;
    uint32_t hi = 0;
    for (const tap_t& t : taps) {
        lo = std::min(lo, t.m_first);
        hi = std::max(hi, std::max(t.m_first, t.m_second));
    }
    const uint32_t base = lo & ~3u;
    if (hi - base > 15) return false;
    for (int i = 0; i < 16; ++i) {
        g.m_shuffle[2 * i] = static_cast<uint8_t>(taps[i].m_first - base);
        g.m_shuffle[2 * i + 1] = static_cast<uint8_t>(taps[i].m_second - base);
    }
    std::memset(g.m_offsets, 0, sizeof g.m_offsets);
    g.m_offsets[0] = base;
    return true;
}

// Layout 1 of one group: windows per pixel pair, valid for any step.
void build_group_layout1(const tap_t (&taps)[16], coefficient_group_t& g) {
    std::memset(g.m_shuffle, 0, sizeof g.m_shuffle);
    for (int q = 0; q < 4; ++q) {
        const tap_t& cb = taps[4 * q];
        const tap_t& y0 = taps[4 * q + 1];
        const tap_t& y1 = taps[4 * q + 3];
        g.m_offsets[3 * q] = cb.m_first;          // 4p: Cb of pair p
        g.m_offsets[3 * q + 1] = y0.m_first - 1;  // 2i: the byte before Y[i]
        g.m_offsets[3 * q + 2] = y1.m_first - 1;
    }
}

}  // namespace

void build_coefficient_table(const horizontal_map_t& map, float x_scale, coefficient_table_t& table) {
    table.m_group_count = coefficient_group_count(map.m_dst_width);
    bool layout0 = x_scale < 2.01f;
    for (int pass = 0; pass < 2; ++pass) {
        table.m_layout = layout0 ? 0 : 1;
        table.m_read_end = 0;
        bool refit = false;
        for (uint32_t gi = 0; gi < table.m_group_count && !refit; ++gi) {
            coefficient_group_t& g = table.m_p_groups[gi];
            tap_t taps[16];
            for (uint32_t i = 0; i < 16; ++i) {
                taps[i] = tap_of(map, 16 * gi + i);
                g.m_weights[2 * i] = static_cast<uint8_t>(64 - taps[i].m_phase);
                g.m_weights[2 * i + 1] = static_cast<uint8_t>(taps[i].m_phase);
            }
            if (layout0) {
                if (!build_group_layout0(taps, g)) {
                    refit = true;
                    break;
                }
                table.m_read_end = std::max<size_t>(table.m_read_end, size_t{g.m_offsets[0]} + 16);
            } else {
                build_group_layout1(taps, g);
                for (int q = 0; q < 4; ++q) {
                    table.m_read_end = std::max<size_t>(table.m_read_end, size_t{g.m_offsets[3 * q]} + 8);
                    table.m_read_end = std::max<size_t>(table.m_read_end, size_t{g.m_offsets[3 * q + 1]} + 4);
                    table.m_read_end = std::max<size_t>(table.m_read_end, size_t{g.m_offsets[3 * q + 2]} + 4);
                }
            }
        }
        if (!refit) return;
        // One group did not fit a span: the whole table is rebuilt in the general layout.
        layout0 = false;
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

// Aspect-ratio fitting in front of the kernel: pillarbox bars, crops, the vertical fit of
// wide sources, and the field modes.
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "pixel/resample_internal.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

using namespace resample;

namespace {

// v + bias truncated toward zero, then made even (lowest bit cleared; -3 becomes -4), so that
// a region never starts or ends inside a pixel pair.
int32_t even(float v, float bias) {
    return truncate_saturated(v + bias) & ~1;
}

uint32_t clamp_to(int32_t v, uint32_t hi) {
    if (v < 0) return 0;
    return static_cast<uint32_t>(v) > hi ? hi : static_cast<uint32_t>(v);
}

// Paints columns [x0, x1) of every row black.
void paint_black(const uyvy_plane_t& dst, uint32_t x0, uint32_t x1) {
    if (x1 <= x0) return;
    const uint8_t* black = uyvy_black_pattern();
    const size_t bytes = 2 * size_t{x1 - x0};
    for (uint32_t y = 0; y < dst.m_height; ++y) {
        uint8_t* p = dst.m_p_data + size_t{y} * dst.m_row_bytes + 2 * size_t{x0};
        size_t left = bytes;
        // The pattern repeats every 2 bytes, so any even start position takes it as is.
        for (; left >= 16; left -= 16, p += 16) std::memcpy(p, black, 16);
        std::memcpy(p, black, left);
    }
}

struct mapping_t {
    axis_mapping_t m_x;
    axis_mapping_t m_y;
};

// Scales src into dst in a single-picture mode: 0 keeps the mapping (or the default one),
// 1 and 2 move the source's top edge to -0.25 and -0.75 (a top or bottom field).
void scale_single(const uyvy_plane_t& src, const uyvy_plane_t& dst, uint32_t mode, const mapping_t* mapping) {
    if (mode != 1 && mode != 2) {
        if (mapping == nullptr) {
            resample_uyvy_kernel(src, dst, nullptr, nullptr);
            return;
        }
        const float scales[2] = {mapping->m_x.m_scale, mapping->m_y.m_scale};
        const float offsets[2] = {mapping->m_x.m_offset, mapping->m_y.m_offset};
        resample_uyvy_kernel(src, dst, scales, offsets);
        return;
    }
    mapping_t m{default_axis_mapping(src.m_width, dst.m_width), default_axis_mapping(src.m_height, dst.m_height)};
    if (mapping != nullptr) m = *mapping;
    m.m_y.m_offset += mode == 1 ? 0.25f : -0.25f;
    const float scales[2] = {m.m_x.m_scale, m.m_y.m_scale};
    const float offsets[2] = {m.m_x.m_offset, m.m_y.m_offset};
    resample_uyvy_kernel(src, dst, scales, offsets);
}

// Field `parity` (0 top, 1 bottom) of a frame: every other row, at doubled row bytes.
bool field_of(const uyvy_plane_t& frame, uint32_t parity, uyvy_plane_t& field) {
    if (frame.m_row_bytes > std::numeric_limits<uint32_t>::max() / 2) return false;
    field.m_p_data = frame.m_p_data + (parity != 0 && frame.m_height > 1 ? frame.m_row_bytes : 0);
    field.m_row_bytes = 2 * frame.m_row_bytes;
    field.m_width = frame.m_width;
    field.m_height = parity == 0 ? (frame.m_height + 1) / 2 : frame.m_height / 2;
    return true;
}

// Scales the two fields of src into the two fields of dst, the top one with the phase of
// mode 1 and the bottom one with that of mode 2. first_parity orders the two.
void scale_fields(const uyvy_plane_t& src, const uyvy_plane_t& dst, const mapping_t* mapping, uint32_t first_parity) {
    for (uint32_t i = 0; i < 2; ++i) {
        const uint32_t parity = first_parity ^ i;
        uyvy_plane_t sf, df;
        if (!field_of(src, parity, sf) || !field_of(dst, parity, df)) return;
        if (mapping == nullptr) {
            scale_single(sf, df, parity == 0 ? 1 : 2, nullptr);
        } else {
            // Same ratio in field rows; the offset is measured in field rows too.
            mapping_t m = *mapping;
            m.m_y.m_offset *= 0.5f;
            scale_single(sf, df, parity == 0 ? 1 : 2, &m);
        }
    }
}

struct free_deleter_t {
    void operator()(uint8_t* p) const { std::free(p); }
};

// Mode 3: with field_select 0 the two fields are first brought to a common position in a
// zeroed temporary frame, which is then scaled as a progressive picture; otherwise each
// field is scaled into the destination's matching field (field_select 2 starts with the
// bottom one).
void scale_frame_as_fields(const uyvy_plane_t& src, const uyvy_plane_t& dst, uint32_t field_select,
                           const mapping_t* mapping) {
    if (field_select != 0) {
        scale_fields(src, dst, mapping, field_select == 2 ? 1 : 0);
        return;
    }
    if (src.m_width == 0 || src.m_height == 0) return;
    const uint64_t row_bytes = (2ull * src.m_width + 31) / 32 * 32;
    if (row_bytes > std::numeric_limits<uint32_t>::max() ||
        row_bytes > std::numeric_limits<size_t>::max() / src.m_height)
        throw std::length_error("resample_uyvy_aspect_fit: field image too large");
    const size_t bytes = static_cast<size_t>(row_bytes) * src.m_height;
    void* raw = nullptr;
    if (posix_memalign(&raw, 32, bytes) != 0) throw std::bad_alloc();
    const std::unique_ptr<uint8_t, free_deleter_t> memory(static_cast<uint8_t*>(raw));
    std::memset(memory.get(), 0, bytes);
    const uyvy_plane_t frame{memory.get(), static_cast<uint32_t>(row_bytes), src.m_width, src.m_height};
    scale_fields(src, frame, nullptr, 0);
    scale_single(frame, dst, 0, mapping);
}

void scale(const uyvy_plane_t& src, const uyvy_plane_t& dst, uint32_t mode, uint32_t field_select,
           const mapping_t* mapping) {
    if (mode == 3)
        scale_frame_as_fields(src, dst, field_select, mapping);
    else
        scale_single(src, dst, mode, mapping);
}

}  // namespace

namespace resample {

const uint8_t* uyvy_black_pattern() {
    struct pattern_t {
        uint8_t m_bytes[16];
    };
    static constexpr pattern_t k_black = {
        {0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10, 0x80, 0x10}};
    // Copied once, on first use, under the runtime's thread-safe static initialisation.
    static const pattern_t s_black = k_black;
    return s_black.m_bytes;
}

}  // namespace resample

void resample_uyvy_aspect_fit(const uint8_t* src, uint32_t src_row_bytes, uint32_t src_width, uint32_t src_height,
                              uint32_t mode, uint8_t* dst, float src_aspect, float dst_aspect, uint32_t dst_row_bytes,
                              uint32_t dst_width, uint32_t dst_height, uint32_t field_select, uint32_t fit_vertically) {
    uyvy_plane_t s{const_cast<uint8_t*>(src), src_row_bytes, src_width, src_height};
    uyvy_plane_t d{dst, dst_row_bytes, dst_width, dst_height};
    if (s.m_p_data == nullptr || d.m_p_data == nullptr) return;
    const float a = src_aspect;
    const float b = dst_aspect;
    const float ws = static_cast<float>(src_width);
    const float hs = static_cast<float>(src_height);
    const float wd = static_cast<float>(dst_width);

    if (fit_vertically == 0) {
        if (a < b) {
            // Pillarbox: the picture keeps its height and gets black bars left and right.
            const uint32_t left = clamp_to(even(((b - a) * wd) / (2.0f * b), 0.5f), dst_width);
            const uint32_t right = clamp_to(even(((a + b) * wd) / (2.0f * b), 1.5f), dst_width);
            // No bar at all when the left one rounds to 0, even if the right one would not: the
            // strip keeps the destination's bytes. Kept deliberately: the output must stay byte
            // for byte what this camera has always sent, so this rounding is not corrected.
            if (left > 0) {
                if (uint64_t{dst_row_bytes} < 2ull * dst_width) return;
                paint_black(d, 0, left);
                paint_black(d, right, dst_width);
            }
            d.m_p_data += 2 * size_t{left};
            d.m_width = right > left ? right - left : 0;
        } else {
            // Source wider: crop its sides.
            const uint32_t left = clamp_to(even(((a - b) * ws) / (2.0f * a), 0.5f), src_width);
            const uint32_t right = clamp_to(even(((a + b) * ws) / (2.0f * a), 1.5f), src_width);
            s.m_p_data += 2 * size_t{left};
            s.m_width = right > left ? right - left : 0;
        }
        scale(s, d, mode, field_select, nullptr);
        return;
    }

    if (a < b) {
        // Source narrower: crop its top and bottom.
        const uint32_t top = clamp_to(even(((b - a) * hs) / (2.0f * b), 0.5f), src_height);
        const uint32_t bottom = clamp_to(even(((a + b) * hs) / (2.0f * b), 1.5f), src_height);
        s.m_p_data += size_t{top} * src_row_bytes;
        s.m_height = bottom > top ? bottom - top : 0;
        scale(s, d, mode, field_select, nullptr);
        return;
    }

    // Wide source: a vertical source range centred on the picture, its rows outside the
    // picture repeating the edge rows; horizontally the default stretch. No bars are painted:
    // the repeated edge rows are part of the bytes this camera has always sent, so they stay.
    const float p = ws * (1.0f / b - 1.0f / a) / (2.0f / b);
    const float q = ws * (1.0f / b + 1.0f / a) / (2.0f / b);
    float top = 0.0f;
    float bottom = ws;
    if (!(truncate_saturated(p) == 0 && static_cast<int64_t>(truncate_saturated(q)) == int64_t{src_width})) {
        const float m = ((q - p) - hs) * 0.5f + p;
        top = p - m;
        bottom = q - m;
    }
    mapping_t mapping{default_axis_mapping(src_width, dst_width), {}};
    mapping.m_y.m_scale = (bottom - top) / static_cast<float>(dst_height);
    mapping.m_y.m_offset = (top - 0.5f) + 0.5f * mapping.m_y.m_scale;
    scale(s, d, mode, field_select, &mapping);
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

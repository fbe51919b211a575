// Runs a fixed set of conversions and scalings of the pixel engine on inputs made from fixed
// seeds and prints one line per case: its name and a hash of the bytes it produced. Built for
// every architecture we ship; two builds give the same pictures when they print the same lines.
// Exits with 1 when a case wrote outside its destination rows.
#include <cinttypes>
#include <cstdio>
#include <string>

#include "hashed_image.h"
#include "pixel/convert_bgra_to_uyvy_alpha.h"
#include "pixel/resample_uyvy.h"

namespace {

namespace vc = Drivers::Mac::ZAV::VirtualCamera;
using zav_identity::fill_t;
using zav_identity::hashed_image_t;

// How rows are laid out: back to back, with padding that leaves every row but the first off a
// 16-byte boundary, or padded and bottom-up (a negative stride, conversions only).
enum class layout_t { packed, padded, bottom_up };

constexpr size_t k_row_padding = 24;

const char* layout_name(layout_t l) {
    return l == layout_t::packed ? "packed" : l == layout_t::padded ? "padded" : "bottom_up";
}
const char* fill_name(fill_t f) {
    return f == fill_t::noise ? "noise" : "ramp";
}

ptrdiff_t stride_for(size_t row_bytes, layout_t l) {
    if (l == layout_t::packed) return ptrdiff_t(row_bytes);
    const ptrdiff_t padded = ptrdiff_t(row_bytes + k_row_padding);
    return l == layout_t::bottom_up ? -padded : padded;
}

int g_failures = 0;

void report(const std::string& name, const hashed_image_t& dst, uint64_t hash, const hashed_image_t* alpha = nullptr) {
    const bool intact = dst.outside_rows_intact() && (alpha == nullptr || alpha->outside_rows_intact());
    if (!intact) {
        std::fprintf(stderr, "%s: bytes written outside the destination rows\n", name.c_str());
        ++g_failures;
    }
    std::printf("%s %016" PRIx64 "\n", name.c_str(), hash);
}

// BGRA to UYVY with alpha, even widths (odd widths leave bytes unspecified).
struct conversion_case_t {
    uint32_t m_width, m_height;
    layout_t m_layout;
    fill_t m_fill;
};

const conversion_case_t k_conversions[] = {
    {2, 1, layout_t::packed, fill_t::noise},       {2, 2, layout_t::padded, fill_t::noise},
    {16, 9, layout_t::padded, fill_t::noise},      {18, 7, layout_t::bottom_up, fill_t::noise},
    {30, 17, layout_t::padded, fill_t::ramp},      {64, 3, layout_t::packed, fill_t::noise},
    {640, 480, layout_t::bottom_up, fill_t::ramp}, {1280, 720, layout_t::padded, fill_t::noise},
    {1918, 5, layout_t::bottom_up, fill_t::noise}, {1920, 1080, layout_t::packed, fill_t::ramp},
    {1920, 1080, layout_t::packed, fill_t::noise},
};

void run_conversion(const conversion_case_t& c, uint32_t matrix) {
    const size_t src_bytes = 4 * size_t{c.m_width}, dst_bytes = 2 * size_t{c.m_width}, alpha_bytes = c.m_width;
    hashed_image_t src(c.m_height, src_bytes, stride_for(src_bytes, c.m_layout));
    hashed_image_t dst(c.m_height, dst_bytes, stride_for(dst_bytes, c.m_layout));
    hashed_image_t alpha(c.m_height, alpha_bytes, stride_for(alpha_bytes, c.m_layout));
    src.fill_rows(c.m_fill, uint64_t{c.m_width} * 7919 + c.m_height);
    dst.fill_rows(fill_t::noise, 1);
    alpha.fill_rows(fill_t::noise, 2);
    vc::convert_bgra_to_uyvy_alpha(src.row(0), int32_t(src.stride()), dst.row(0), int32_t(dst.stride()), alpha.row(0),
                                   int32_t(alpha.stride()), int32_t(c.m_width), int32_t(c.m_height), matrix);
    const std::string name = "convert_bgra_to_uyvy " + std::to_string(c.m_width) + "x" + std::to_string(c.m_height) +
                             " matrix=" + std::to_string(matrix) + " " + layout_name(c.m_layout) + " " +
                             fill_name(c.m_fill);
    report(name, dst, dst.rows_hash() ^ (alpha.rows_hash() * 31), &alpha);
}

// A source and a destination UYVY picture; `m_misalign` moves both first rows off a 16-byte boundary.
struct scale_case_t {
    uint32_t m_ws, m_hs, m_wd, m_hd;
    layout_t m_layout;
    size_t m_misalign;
    fill_t m_fill;
};

struct uyvy_pair_t {
    hashed_image_t m_src, m_dst;

    uyvy_pair_t(const scale_case_t& c)
        : m_src(c.m_hs, 2 * size_t{c.m_ws}, stride_for(2 * size_t{c.m_ws}, c.m_layout), c.m_misalign),
          m_dst(c.m_hd, 2 * size_t{c.m_wd}, stride_for(2 * size_t{c.m_wd}, c.m_layout), c.m_misalign) {
        m_src.fill_rows(c.m_fill, uint64_t{c.m_ws} * 104729 + c.m_hs * 31 + c.m_wd);
        m_dst.fill_rows(fill_t::noise, 3);
    }
    uint32_t src_pitch() const { return uint32_t(m_src.stride()); }
    uint32_t dst_pitch() const { return uint32_t(m_dst.stride()); }
};

std::string sizes_name(const char* what, const scale_case_t& c) {
    return std::string(what) + " " + std::to_string(c.m_ws) + "x" + std::to_string(c.m_hs) + "_to_" +
           std::to_string(c.m_wd) + "x" + std::to_string(c.m_hd) + " " + layout_name(c.m_layout) + "+" +
           std::to_string(c.m_misalign) + " " + fill_name(c.m_fill);
}

// Whole picture onto whole picture: every path of the kernel (copy, halving, two-thirds, one
// axis, general down- and upscales, batched upscales), odd widths and heights, wide rows.
const scale_case_t k_scales[] = {
    {1920, 1080, 1280, 720, layout_t::packed, 0, fill_t::noise},
    {1920, 1080, 960, 540, layout_t::padded, 0, fill_t::ramp},
    {1920, 1080, 640, 360, layout_t::packed, 0, fill_t::noise},
    {1920, 1080, 1366, 768, layout_t::packed, 2, fill_t::noise},
    {1920, 1080, 1279, 719, layout_t::padded, 0, fill_t::ramp},
    {1280, 720, 1920, 1080, layout_t::packed, 0, fill_t::noise},
    {720, 480, 1920, 1080, layout_t::padded, 6, fill_t::ramp},
    {1440, 1080, 1440, 1080, layout_t::packed, 0, fill_t::noise},
    {1440, 1080, 1440, 1080, layout_t::padded, 2, fill_t::noise},
    {9, 5, 6, 4, layout_t::packed, 0, fill_t::noise},
    {7, 3, 12, 5, layout_t::padded, 0, fill_t::noise},
    {10, 4, 7, 5, layout_t::packed, 2, fill_t::noise},
    {5, 7, 3, 11, layout_t::packed, 0, fill_t::noise},
    {1, 2, 4, 4, layout_t::packed, 0, fill_t::noise},
    {13, 8, 40, 25, layout_t::padded, 0, fill_t::ramp},
    {64, 21, 96, 31, layout_t::packed, 0, fill_t::noise},
    {2100, 3, 2200, 7, layout_t::padded, 0, fill_t::noise},
};

void run_scale(const scale_case_t& c) {
    uyvy_pair_t p(c);
    vc::resample_uyvy(p.m_src.row(0), p.src_pitch(), c.m_ws, c.m_hs, p.m_dst.row(0), p.dst_pitch(), c.m_wd, c.m_hd);
    report(sizes_name("resample_uyvy", c), p.m_dst, p.m_dst.rows_hash());
}

// The kernel with explicit mappings: shifted past the edges, mirrored, off the fast paths.
struct mapped_case_t {
    scale_case_t m_sizes;
    float m_scales[2], m_offsets[2];
};

const mapped_case_t k_mapped[] = {
    {{64, 32, 48, 24, layout_t::packed, 0, fill_t::noise}, {1.1f, 0.9f}, {-3.0f, 5.0f}},
    {{32, 16, 40, 20, layout_t::padded, 2, fill_t::noise}, {-0.7f, -0.8f}, {30.0f, 15.0f}},
    {{1920, 1080, 1280, 720, layout_t::packed, 0, fill_t::ramp}, {1.5f, 1.5f}, {0.25f, 0.5f}},
    {{48, 16, 80, 40, layout_t::packed, 0, fill_t::noise}, {0.6f, 0.37f}, {0.2f, -1.3f}},
    {{640, 120, 64, 120, layout_t::padded, 0, fill_t::noise}, {10.0f, 1.0f}, {4.5f, 0.0f}},
};

void run_mapped(const mapped_case_t& c) {
    uyvy_pair_t p(c.m_sizes);
    const vc::uyvy_plane_t src{p.m_src.row(0), p.src_pitch(), c.m_sizes.m_ws, c.m_sizes.m_hs};
    const vc::uyvy_plane_t dst{p.m_dst.row(0), p.dst_pitch(), c.m_sizes.m_wd, c.m_sizes.m_hd};
    vc::resample_uyvy_kernel(src, dst, c.m_scales, c.m_offsets);
    char mapping[96];
    std::snprintf(mapping, sizeof mapping, " scale=%a,%a offset=%a,%a", double(c.m_scales[0]), double(c.m_scales[1]),
                  double(c.m_offsets[0]), double(c.m_offsets[1]));
    report(sizes_name("resample_uyvy_kernel", c.m_sizes) + mapping, p.m_dst, p.m_dst.rows_hash());
}

// Aspect fitting: bars, side and top crops, the vertical fit of wide sources; each in the
// progressive, single-field and two-field modes.
struct fit_case_t {
    const char* m_name;
    scale_case_t m_sizes;
    float m_src_aspect, m_dst_aspect;
    uint32_t m_fit_vertically;
};

const fit_case_t k_fits[] = {
    {"pillarbox", {1440, 1080, 1920, 1080, layout_t::packed, 0, fill_t::noise}, 4.0f / 3, 16.0f / 9, 0},
    {"side_crop", {1920, 1080, 640, 480, layout_t::padded, 0, fill_t::ramp}, 16.0f / 9, 4.0f / 3, 0},
    {"top_crop", {1440, 1080, 1920, 1080, layout_t::packed, 2, fill_t::noise}, 4.0f / 3, 16.0f / 9, 1},
    {"wide_vertical_fit", {1920, 1080, 640, 480, layout_t::packed, 0, fill_t::noise}, 16.0f / 9, 4.0f / 3, 1},
    {"wide_small", {24, 8, 10, 12, layout_t::packed, 0, fill_t::noise}, 3.0f, 10.0f / 12, 1},
    {"pillarbox_small", {12, 8, 20, 8, layout_t::padded, 0, fill_t::noise}, 1.5f, 2.5f, 0},
    {"pillarbox_odd", {8, 6, 21, 6, layout_t::packed, 0, fill_t::noise}, 2.0f - 4.0f / 21, 2.0f, 0},
    {"top_crop_small", {10, 30, 12, 8, layout_t::packed, 0, fill_t::noise}, 1.0f / 3, 1.5f, 1},
    {"odd_sizes", {1279, 719, 853, 481, layout_t::padded, 0, fill_t::ramp}, 1279.0f / 719, 853.0f / 481, 0},
};

struct fit_mode_t {
    const char* m_name;
    uint32_t m_mode, m_field_select;
};

const fit_mode_t k_fit_modes[] = {
    {"progressive", 0, 0}, {"top_field", 1, 0}, {"bottom_field", 2, 0}, {"two_fields_0", 3, 0}, {"two_fields_1", 3, 1},
};

void run_fit(const fit_case_t& c, const fit_mode_t& m) {
    uyvy_pair_t p(c.m_sizes);
    vc::resample_uyvy_aspect_fit(p.m_src.row(0), p.src_pitch(), c.m_sizes.m_ws, c.m_sizes.m_hs, m.m_mode,
                                 p.m_dst.row(0), c.m_src_aspect, c.m_dst_aspect, p.dst_pitch(), c.m_sizes.m_wd,
                                 c.m_sizes.m_hd, m.m_field_select, c.m_fit_vertically);
    report(sizes_name((std::string("resample_uyvy_aspect_fit ") + c.m_name + " " + m.m_name).c_str(), c.m_sizes),
           p.m_dst, p.m_dst.rows_hash());
}

}  // namespace

int main() {
    for (const conversion_case_t& c : k_conversions)
        for (uint32_t matrix : {709u, 601u}) run_conversion(c, matrix);
    for (const scale_case_t& c : k_scales) run_scale(c);
    for (const mapped_case_t& c : k_mapped) run_mapped(c);
    for (const fit_case_t& c : k_fits)
        for (const fit_mode_t& m : k_fit_modes) run_fit(c, m);
    return g_failures == 0 ? 0 : 1;
}

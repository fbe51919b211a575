#include "latency_stats.h"

#include <algorithm>
#include <cstdio>

#include "stamp/time_stamp.h"

namespace zav_camera {

namespace {

using Drivers::Mac::ZAV::stamp_layout_e;

// The value at fraction `p` of the sorted ages (nearest rank).
int64_t at_rank(std::vector<int64_t>& sorted, double p) {
    const auto rank = std::size_t(p * double(sorted.size()));
    return sorted[std::min(sorted.size() - 1, rank)];
}

}  // namespace

void latency_stats_t::read(const picture_view_t& picture, uint64_t now_us) {
    const bool uyvy = picture.format.pixel_format == kCVPixelFormatType_422YpCbCr8;
    if (!uyvy && picture.format.pixel_format != kCVPixelFormatType_32BGRA) return;
    const std::optional<uint64_t> stamp =
        Drivers::Mac::ZAV::read_time_stamp({picture.p_data, picture.row_bytes, picture.format.width,
                                            picture.format.height, uyvy ? stamp_layout_e::uyvy : stamp_layout_e::bgra});
    if (stamp) m_ages_us.push_back(Drivers::Mac::ZAV::stamp_age_us(now_us, *stamp));
}

std::string latency_stats_t::text() const {
    if (m_ages_us.empty()) return "latency -";
    std::vector<int64_t> sorted = m_ages_us;
    std::sort(sorted.begin(), sorted.end());
    char text[96];
    std::snprintf(text, sizeof text, "latency p50 %.1f p99 %.1f max %.1f ms", double(at_rank(sorted, 0.50)) / 1e3,
                  double(at_rank(sorted, 0.99)) / 1e3, double(sorted.back()) / 1e3);
    return text;
}

}  // namespace zav_camera

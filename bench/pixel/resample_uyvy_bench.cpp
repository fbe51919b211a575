// UYVY scaling and aspect fitting: ours beside libswscale (bilinear, fast bilinear), libyuv
// through planar 4:2:2 (UYVYToI422, I422Scale, I422ToUYVY) and a memcpy floor, single thread.
// Names are "<operation>/<implementation>".
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <libyuv.h>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include "pixel/resample_uyvy.h"

namespace {

namespace vc = Drivers::Mac::ZAV::VirtualCamera;

// A UYVY image whose first byte sits `misalign` bytes after a 64-byte boundary.
struct image_t {
    uint32_t m_width, m_height, m_row_bytes;
    std::vector<uint8_t> m_storage;
    uint8_t* m_p_data;

    image_t(uint32_t w, uint32_t h, uint32_t misalign)
        : m_width(w), m_height(h), m_row_bytes(2 * w), m_storage(size_t(2) * w * h + 128) {
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_storage.data());
        m_p_data = m_storage.data() + ((64 - (raw & 63u)) & 63u) + misalign;
        // Smooth shading with noise, so that no path meets only constant input.
        std::mt19937 rng(w * 7 + h);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < 2 * w; ++x)
                m_p_data[size_t(y) * m_row_bytes + x] = uint8_t((x & 1 ? 16 + (x + y) / 24 : 128 + x / 40) + rng() % 8);
    }
    size_t bytes() const { return size_t(m_row_bytes) * m_height; }
};

// The planes of a 4:2:2 image for libyuv's planar scaler.
struct planes_t {
    uint32_t m_width, m_height;
    std::vector<uint8_t> m_y, m_u, m_v;
    planes_t(uint32_t w, uint32_t h)
        : m_width(w), m_height(h), m_y(size_t(w) * h), m_u(size_t(w / 2) * h), m_v(size_t(w / 2) * h) {}
};

struct sws_deleter_t {
    void operator()(SwsContext* c) const { sws_freeContext(c); }
};
using sws_ptr_t = std::unique_ptr<SwsContext, sws_deleter_t>;

sws_ptr_t make_sws(uint32_t ws, uint32_t hs, uint32_t wd, uint32_t hd, int flags) {
    SwsContext* c = sws_getContext(int(ws), int(hs), AV_PIX_FMT_UYVY422, int(wd), int(hd), AV_PIX_FMT_UYVY422, flags,
                                   nullptr, nullptr, nullptr);
    if (!c) throw std::runtime_error("sws_getContext failed");
    return sws_ptr_t(c);
}

void sws_into(SwsContext* c, const image_t& src, uint8_t* dst, uint32_t dst_row_bytes) {
    const uint8_t* s[4] = {src.m_p_data, nullptr, nullptr, nullptr};
    const int ss[4] = {int(src.m_row_bytes), 0, 0, 0};
    uint8_t* d[4] = {dst, nullptr, nullptr, nullptr};
    const int ds[4] = {int(dst_row_bytes), 0, 0, 0};
    sws_scale(c, s, ss, 0, int(src.m_height), d, ds);
}

void libyuv_into(const image_t& src, planes_t& a, planes_t& b, uint8_t* dst, uint32_t dst_row_bytes,
                 libyuv::FilterMode filter) {
    libyuv::UYVYToI422(src.m_p_data, int(src.m_row_bytes), a.m_y.data(), int(a.m_width), a.m_u.data(),
                       int(a.m_width / 2), a.m_v.data(), int(a.m_width / 2), int(a.m_width), int(a.m_height));
    libyuv::I422Scale(a.m_y.data(), int(a.m_width), a.m_u.data(), int(a.m_width / 2), a.m_v.data(), int(a.m_width / 2),
                      int(a.m_width), int(a.m_height), b.m_y.data(), int(b.m_width), b.m_u.data(), int(b.m_width / 2),
                      b.m_v.data(), int(b.m_width / 2), int(b.m_width), int(b.m_height), filter);
    libyuv::I422ToUYVY(b.m_y.data(), int(b.m_width), b.m_u.data(), int(b.m_width / 2), b.m_v.data(), int(b.m_width / 2),
                       dst, int(dst_row_bytes), int(b.m_width), int(b.m_height));
}

// The floor: one memcpy that moves as many bytes as the operation reads and writes together.
void register_floor(const std::string& op, size_t read_bytes, size_t written_bytes) {
    const size_t n = (read_bytes + written_bytes) / 2;
    auto from = std::make_shared<std::vector<uint8_t>>(n, 1), to = std::make_shared<std::vector<uint8_t>>(n);
    benchmark::RegisterBenchmark((op + "/memcpy_floor").c_str(), [from, to](benchmark::State& state) {
        for (auto _ : state) {
            std::memcpy(to->data(), from->data(), from->size());
            benchmark::DoNotOptimize(to->data());
            benchmark::ClobberMemory();
        }
    })->Unit(benchmark::kMillisecond);
}

void register_case(const std::string& op, const std::string& impl, std::function<void()> body) {
    benchmark::RegisterBenchmark((op + "/" + impl).c_str(), [body](benchmark::State& state) {
        for (auto _ : state) {
            body();
            benchmark::ClobberMemory();
        }
    })->Unit(benchmark::kMillisecond);
}

// A whole-picture scale: ours beside the peers and the floor, on the same buffers.
void register_scale(const std::string& op, uint32_t ws, uint32_t hs, uint32_t wd, uint32_t hd, uint32_t src_misalign,
                    uint32_t dst_misalign, bool box_peer) {
    auto src = std::make_shared<image_t>(ws, hs, src_misalign);
    auto dst = std::make_shared<image_t>(wd, hd, dst_misalign);
    register_case(op, "ours", [src, dst] {
        vc::resample_uyvy(src->m_p_data, src->m_row_bytes, src->m_width, src->m_height, dst->m_p_data, dst->m_row_bytes,
                          dst->m_width, dst->m_height);
    });
    for (const auto& [name, flags] : {std::pair<const char*, int>{"swscale_bilinear", SWS_BILINEAR},
                                      {"swscale_fast_bilinear", SWS_FAST_BILINEAR}}) {
        auto ctx = std::shared_ptr<SwsContext>(make_sws(ws, hs, wd, hd, flags).release(), sws_deleter_t{});
        register_case(op, name, [ctx, src, dst] { sws_into(ctx.get(), *src, dst->m_p_data, dst->m_row_bytes); });
    }
    auto a = std::make_shared<planes_t>(ws, hs);
    auto b = std::make_shared<planes_t>(wd, hd);
    register_case(op, "libyuv_i422", [a, b, src, dst] {
        libyuv_into(*src, *a, *b, dst->m_p_data, dst->m_row_bytes, libyuv::kFilterBilinear);
    });
    if (box_peer)
        register_case(op, "libyuv_i422_box", [a, b, src, dst] {
            libyuv_into(*src, *a, *b, dst->m_p_data, dst->m_row_bytes, libyuv::kFilterBox);
        });
    register_floor(op, src->bytes(), dst->bytes());
}

// Paints UYVY black over columns [x0, x1) of every row (the peers' bars).
void black_columns(const image_t& img, uint32_t x0, uint32_t x1) {
    libyuv::ARGBRect(img.m_p_data, int(img.m_row_bytes), int(x0 / 2), 0, int((x1 - x0) / 2), int(img.m_height),
                     0x10801080u);
}

void register_pillarbox() {
    // 1440x1080 (4:3) into 1920x1080 (16:9): bars of 240 columns, the picture between them.
    const std::string op = "uyvy_fit_1440x1080_in_1080p";
    auto src = std::make_shared<image_t>(1440, 1080, 0);
    auto dst = std::make_shared<image_t>(1920, 1080, 0);
    register_case(op, "ours", [src, dst] {
        vc::resample_uyvy_aspect_fit(src->m_p_data, src->m_row_bytes, 1440, 1080, 0, dst->m_p_data, 4.0f / 3, 16.0f / 9,
                                     dst->m_row_bytes, 1920, 1080, 0, 0);
    });
    auto ctx = std::shared_ptr<SwsContext>(make_sws(1440, 1080, 1440, 1080, SWS_BILINEAR).release(), sws_deleter_t{});
    register_case(op, "swscale_bilinear", [ctx, src, dst] {
        black_columns(*dst, 0, 240);
        black_columns(*dst, 1680, 1920);
        sws_into(ctx.get(), *src, dst->m_p_data + 480, dst->m_row_bytes);
    });
    auto a = std::make_shared<planes_t>(1440, 1080);
    auto b = std::make_shared<planes_t>(1440, 1080);
    register_case(op, "libyuv_i422", [a, b, src, dst] {
        black_columns(*dst, 0, 240);
        black_columns(*dst, 1680, 1920);
        libyuv_into(*src, *a, *b, dst->m_p_data + 480, dst->m_row_bytes, libyuv::kFilterBilinear);
    });
    register_floor(op, src->bytes(), dst->bytes());
}

void register_wide_fit() {
    // 1920x1080 (16:9) into 640x480 (4:3), the fill's wide-source path: the picture scaled to
    // 640x360 in the middle, the 60 rows above and below repeating its edge rows. The peers
    // scale into the middle rows and copy the edge rows outwards.
    const std::string op = "uyvy_fit_1080p_in_640x480";
    auto src = std::make_shared<image_t>(1920, 1080, 0);
    auto dst = std::make_shared<image_t>(640, 480, 0);
    register_case(op, "ours", [src, dst] {
        vc::resample_uyvy_aspect_fit(src->m_p_data, src->m_row_bytes, 1920, 1080, 0, dst->m_p_data, 16.0f / 9, 4.0f / 3,
                                     dst->m_row_bytes, 640, 480, 0, 1);
    });
    const auto repeat_edges = [](const image_t& d) {
        for (uint32_t y = 0; y < 60; ++y) {
            std::memcpy(d.m_p_data + size_t(y) * d.m_row_bytes, d.m_p_data + size_t(60) * d.m_row_bytes, d.m_row_bytes);
            std::memcpy(d.m_p_data + size_t(420 + y) * d.m_row_bytes, d.m_p_data + size_t(419) * d.m_row_bytes,
                        d.m_row_bytes);
        }
    };
    uint8_t* middle = dst->m_p_data + size_t(60) * dst->m_row_bytes;
    for (const auto& [name, flags] : {std::pair<const char*, int>{"swscale_bilinear", SWS_BILINEAR},
                                      {"swscale_fast_bilinear", SWS_FAST_BILINEAR}}) {
        auto ctx = std::shared_ptr<SwsContext>(make_sws(1920, 1080, 640, 360, flags).release(), sws_deleter_t{});
        register_case(op, name, [ctx, src, dst, middle, repeat_edges] {
            sws_into(ctx.get(), *src, middle, dst->m_row_bytes);
            repeat_edges(*dst);
        });
    }
    auto a = std::make_shared<planes_t>(1920, 1080);
    auto b = std::make_shared<planes_t>(640, 360);
    register_case(op, "libyuv_i422", [a, b, src, dst, middle, repeat_edges] {
        libyuv_into(*src, *a, *b, middle, dst->m_row_bytes, libyuv::kFilterBilinear);
        repeat_edges(*dst);
    });
    register_floor(op, src->bytes(), dst->bytes());
}

// The general bilinear path at the two-thirds ratio (a mapping 0.15 pixel off the default
// one turns the fast path off), to compare the dedicated path with it.
void register_general_two_thirds() {
    const std::string op = "uyvy_1080p_to_720p_general_path";
    auto src = std::make_shared<image_t>(1920, 1080, 0);
    auto dst = std::make_shared<image_t>(1280, 720, 0);
    register_case(op, "ours", [src, dst] {
        const vc::uyvy_plane_t s{src->m_p_data, src->m_row_bytes, 1920, 1080},
            d{dst->m_p_data, dst->m_row_bytes, 1280, 720};
        const float scales[2] = {1.5f, 1.5f}, offsets[2] = {0.4f, 0.4f};
        vc::resample_uyvy_kernel(s, d, scales, offsets);
    });
    register_floor(op, src->bytes(), dst->bytes());
}

const int k_registered = [] {
    register_scale("uyvy_1080p_to_720p", 1920, 1080, 1280, 720, 0, 0, false);
    register_scale("uyvy_1080p_to_720p_unaligned", 1920, 1080, 1280, 720, 3, 5, false);
    register_scale("uyvy_1080p_to_960x540", 1920, 1080, 960, 540, 0, 0, true);
    register_scale("uyvy_720p_to_1080p", 1280, 720, 1920, 1080, 0, 0, false);
    register_pillarbox();
    register_wide_fit();
    register_general_two_thirds();
    return 0;
}();

}  // namespace

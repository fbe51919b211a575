// BGRA 1920x1080 to UYVY: ours beside libyuv, libswscale (BT.709 limited range, with and without
// its error-diffusion option) and a memcpy floor, single thread, on the same buffers.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

#include <libyuv.h>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include "pixel/convert_bgra_to_uyvy_alpha.h"

namespace {

constexpr int k_width = 1920;
constexpr int k_height = 1080;

// One set of buffers shared by every benchmark of the file.
struct buffers_t {
    std::vector<uint8_t> m_src = std::vector<uint8_t>(size_t(k_width) * k_height * 4);
    std::vector<uint8_t> m_dst = std::vector<uint8_t>(size_t(k_width) * k_height * 2);
    std::vector<uint8_t> m_alpha = std::vector<uint8_t>(size_t(k_width) * k_height);
    std::vector<uint8_t> m_copy = std::vector<uint8_t>(size_t(k_width) * k_height * 4);

    buffers_t() {
        // A smooth picture with noise, so that no path meets only constant input.
        std::mt19937 rng(1);
        for (int y = 0; y < k_height; ++y)
            for (int x = 0; x < k_width; ++x) {
                uint8_t* p = &m_src[(size_t(y) * k_width + x) * 4];
                p[0] = uint8_t(x / 8 + rng() % 16);
                p[1] = uint8_t(y / 5 + rng() % 16);
                p[2] = uint8_t((x + y) / 12 + rng() % 16);
                p[3] = 255;
            }
    }
};

buffers_t& buffers() {
    static buffers_t b;
    return b;
}

void bgra_to_uyvy_ours(benchmark::State& state) {
    buffers_t& b = buffers();
    for (auto _ : state) {
        Drivers::Mac::ZAV::VirtualCamera::convert_bgra_to_uyvy_alpha(b.m_src.data(), 4 * k_width, b.m_dst.data(),
                                                                     2 * k_width, b.m_alpha.data(), k_width, k_width,
                                                                     k_height, 709);
        benchmark::DoNotOptimize(b.m_dst.data());
        benchmark::ClobberMemory();
    }
}

// libyuv's "ARGB" is BGRA in memory order. It neither dithers nor follows BT.709.
void bgra_to_uyvy_libyuv(benchmark::State& state) {
    buffers_t& b = buffers();
    for (auto _ : state) {
        libyuv::ARGBToUYVY(b.m_src.data(), 4 * k_width, b.m_dst.data(), 2 * k_width, k_width, k_height);
        benchmark::DoNotOptimize(b.m_dst.data());
        benchmark::ClobberMemory();
    }
}

// A libswscale context for BGRA to UYVY422 at the same size, BT.709 into limited range, with
// the named dither mode ("none", "ed", ...).
SwsContext* make_swscale(const char* dither) {
    SwsContext* ctx = sws_alloc_context();
    if (!ctx) throw std::runtime_error("sws_alloc_context");
    av_opt_set_int(ctx, "srcw", k_width, 0);
    av_opt_set_int(ctx, "srch", k_height, 0);
    av_opt_set_int(ctx, "src_format", AV_PIX_FMT_BGRA, 0);
    av_opt_set_int(ctx, "dstw", k_width, 0);
    av_opt_set_int(ctx, "dsth", k_height, 0);
    av_opt_set_int(ctx, "dst_format", AV_PIX_FMT_UYVY422, 0);
    av_opt_set_int(ctx, "sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND, 0);
    if (av_opt_set(ctx, "sws_dither", dither, 0) < 0) throw std::runtime_error("sws_dither");
    if (sws_init_context(ctx, nullptr, nullptr) < 0) throw std::runtime_error("sws_init_context");
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    // Source full range (RGB), destination limited range; neutral brightness, contrast, saturation.
    sws_setColorspaceDetails(ctx, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
    return ctx;
}

void run_swscale(benchmark::State& state, const char* dither) {
    buffers_t& b = buffers();
    SwsContext* ctx = make_swscale(dither);
    const uint8_t* src[4] = {b.m_src.data(), nullptr, nullptr, nullptr};
    const int src_stride[4] = {4 * k_width, 0, 0, 0};
    uint8_t* dst[4] = {b.m_dst.data(), nullptr, nullptr, nullptr};
    const int dst_stride[4] = {2 * k_width, 0, 0, 0};
    for (auto _ : state) {
        sws_scale(ctx, src, src_stride, 0, k_height, dst, dst_stride);
        benchmark::DoNotOptimize(b.m_dst.data());
        benchmark::ClobberMemory();
    }
    sws_freeContext(ctx);
}

void bgra_to_uyvy_swscale(benchmark::State& state) {
    run_swscale(state, "none");
}

// libswscale's error-diffusion option: for UYVY output it leaves the bytes as they are (see
// swscale_dither_changes_nothing below), so this measures the same work under that setting.
void bgra_to_uyvy_swscale_dither(benchmark::State& state) {
    run_swscale(state, "ed");
}

// The floor: one memcpy that reads the bytes the conversion reads (the whole source image). It
// writes as many, a little more than the 6 MB of UYVY and alpha that the conversion writes.
void bgra_to_uyvy_memcpy(benchmark::State& state) {
    buffers_t& b = buffers();
    for (auto _ : state) {
        std::memcpy(b.m_copy.data(), b.m_src.data(), b.m_src.size());
        benchmark::DoNotOptimize(b.m_copy.data());
        benchmark::ClobberMemory();
    }
}

// Records in the output whether swscale's dither option changes any byte for this path.
void bgra_to_uyvy_swscale_dither_check(benchmark::State& state) {
    buffers_t& b = buffers();
    std::vector<uint8_t> plain(b.m_dst.size()), dithered(b.m_dst.size());
    const uint8_t* src[4] = {b.m_src.data(), nullptr, nullptr, nullptr};
    const int src_stride[4] = {4 * k_width, 0, 0, 0};
    const int dst_stride[4] = {2 * k_width, 0, 0, 0};
    for (auto _ : state) {
        for (auto [mode, out] : {std::pair<const char*, uint8_t*>{"none", plain.data()}, {"ed", dithered.data()}}) {
            SwsContext* ctx = make_swscale(mode);
            uint8_t* dst[4] = {out, nullptr, nullptr, nullptr};
            sws_scale(ctx, src, src_stride, 0, k_height, dst, dst_stride);
            sws_freeContext(ctx);
        }
    }
    size_t differing = 0;
    for (size_t i = 0; i < plain.size(); ++i) differing += plain[i] != dithered[i];
    state.counters["differing_bytes"] = double(differing);
}

}  // namespace

BENCHMARK(bgra_to_uyvy_ours)->Name("bgra_to_uyvy_1080p/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(bgra_to_uyvy_libyuv)->Name("bgra_to_uyvy_1080p/libyuv_ARGBToUYVY")->Unit(benchmark::kMillisecond);
BENCHMARK(bgra_to_uyvy_swscale)->Name("bgra_to_uyvy_1080p/swscale_bt709")->Unit(benchmark::kMillisecond);
BENCHMARK(bgra_to_uyvy_swscale_dither)->Name("bgra_to_uyvy_1080p/swscale_bt709_dither")->Unit(benchmark::kMillisecond);
BENCHMARK(bgra_to_uyvy_memcpy)->Name("bgra_to_uyvy_1080p/memcpy_floor")->Unit(benchmark::kMillisecond);
BENCHMARK(bgra_to_uyvy_swscale_dither_check)
    ->Name("check/swscale_dither_changes_bytes")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

#include "receive/colour.h"

#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>

namespace Drivers::Mac::ZAV {

namespace {

frame_ptr_t new_frame_like(const frame_t& from, int stride, uint32_t fourcc, frame_pool_t* p_pool) {
    frame_ptr_t frame = p_pool->acquire(std::size_t(stride) * std::size_t(from.height));
    frame->width = from.width;
    frame->height = from.height;
    frame->stride = stride;
    frame->fourcc = fourcc;
    frame->rate_num = from.rate_num;
    frame->rate_den = from.rate_den;
    frame->rtp_timestamp = from.rtp_timestamp;
    frame->send_time_100ns = from.send_time_100ns;
    return frame;
}

// 4:2:2 to 32-bit BGRX (libyuv's "ARGB" is B, G, R, A in memory) through planar 4:2:2 rows.
void uyvy_to_bgrx(const frame_t& src, frame_t* p_dst) {
    const int w = src.width;
    const int chroma_w = (w + 1) / 2;
    std::unique_ptr<uint8_t[]> rows(new uint8_t[std::size_t(w + 2 * chroma_w)]);
    uint8_t* y = rows.get();
    uint8_t* u = y + w;
    uint8_t* v = u + chroma_w;
    for (int row = 0; row < src.height; ++row) {
        libyuv::UYVYToI422(src.p_data + std::size_t(row) * std::size_t(src.stride), src.stride, y, w, u, chroma_w, v,
                           chroma_w, w, 1);
        libyuv::I422ToARGBMatrix(y, w, u, chroma_w, v, chroma_w,
                                 p_dst->p_data + std::size_t(row) * std::size_t(p_dst->stride), p_dst->stride,
                                 &libyuv::kYuvH709Constants, w, 1);
    }
}

}  // namespace

frame_ptr_t deliver_in_colour_format(const frame_ptr_t& received, sampling_e sampling, ZAVlib_recv_color_format_e asked,
                                     frame_pool_t* p_pool) {
    const bool want_bgrx = asked == ZAVlib_recv_color_format_BGRX_BGRA;
    const frame_t& src = *received;
    const uint32_t rgb_fourcc = want_bgrx ? ZAVlib_FourCC_video_type_BGRX : ZAVlib_FourCC_video_type_BGRA;
    switch (sampling) {
        case sampling_e::ycbcr_422: {
            if (!want_bgrx) return received;
            frame_ptr_t out = new_frame_like(src, src.width * 4, ZAVlib_FourCC_video_type_BGRX, p_pool);
            uyvy_to_bgrx(src, out.get());
            return out;
        }
        case sampling_e::bgra:
            received->fourcc = rgb_fourcc;
            return received;
        case sampling_e::rgba: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            libyuv::ABGRToARGB(src.p_data, src.stride, out->p_data, out->stride, src.width, src.height);
            return out;
        }
        case sampling_e::rgb: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            libyuv::RAWToARGB(src.p_data, src.stride, out->p_data, out->stride, src.width, src.height);
            return out;
        }
        case sampling_e::bgr: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            libyuv::RGB24ToARGB(src.p_data, src.stride, out->p_data, out->stride, src.width, src.height);
            return out;
        }
    }
    return nullptr;
}

}  // namespace Drivers::Mac::ZAV

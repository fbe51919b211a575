#include "receive/colour.h"

#include "common/pixel_convert.h"

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
            uyvy_to_bgrx_709(src.p_data, src.stride, out->p_data, out->stride, src.width, src.height);
            return out;
        }
        case sampling_e::bgra:
            received->fourcc = rgb_fourcc;
            return received;
        case sampling_e::rgba: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            rgba_to_bgra(src.p_data, src.stride, out->p_data, out->stride, src.width, src.height);
            return out;
        }
        case sampling_e::rgb: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            rgb24_to_bgra(src.p_data, src.stride, true, out->p_data, out->stride, src.width, src.height);
            return out;
        }
        case sampling_e::bgr: {
            frame_ptr_t out = new_frame_like(src, src.width * 4, rgb_fourcc, p_pool);
            rgb24_to_bgra(src.p_data, src.stride, false, out->p_data, out->stride, src.width, src.height);
            return out;
        }
    }
    return nullptr;
}

}  // namespace Drivers::Mac::ZAV

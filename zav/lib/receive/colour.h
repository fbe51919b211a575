// Turns a received picture into the colour format a receiver asked for. Pictures that need no
// conversion are handed on as they are (same buffer): UYVY to a UYVY_BGRA receiver, BGRA to either
// kind (labelled BGRX for a BGRX_BGRA receiver). 4:2:2 to BGRX uses BT.709 studio range.
#ifndef ZAV_LIB_RECEIVE_COLOUR_H
#define ZAV_LIB_RECEIVE_COLOUR_H

#include <memory>

#include <zav/zav_lib.h>

#include "wire/frame.h"
#include "wire/video_params.h"

namespace Drivers::Mac::ZAV {

frame_ptr_t deliver_in_colour_format(const frame_ptr_t& received, sampling_e sampling, ZAVlib_recv_color_format_e asked,
                                     frame_pool_t* p_pool);

}  // namespace Drivers::Mac::ZAV

#endif

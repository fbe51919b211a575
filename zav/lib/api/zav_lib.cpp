// The C boundary of the library: the public calls and the extension calls. Nothing thrown inside
// gets out; a failure becomes a null handle or nothing done.
#include <zav/zav_lib.h>
#include <zav/zav_lib_ext.h>

#include <new>

#include "common/lib_log.h"
#include "receive/framesync.h"
#include "receive/receiver.h"

using namespace Drivers::Mac::ZAV;

struct ZAVlib_recv_instance_type {
    std::unique_ptr<receiver_t> receiver;
};

struct ZAVlib_framesync_instance_type {
    explicit ZAVlib_framesync_instance_type(const receiver_t* p_receiver) : sync(p_receiver) {}
    framesync_t sync;
};

extern "C" {

ZAVlib_recv_instance_t ZAVlib_recv_create_v4(const ZAVlib_recv_create_v3_t* p_create_settings, const void* p_reserved) {
    try {
        if (!p_create_settings) return nullptr;
        const ZAVlib_source_t& source = p_create_settings->source_to_connect_to;
        receiver_settings_t settings;
        if (source.p_zav_name) settings.source_name = source.p_zav_name;
        if (source.p_url_address) settings.address = source.p_url_address;
        if (settings.source_name.empty() && settings.address.empty()) {
            lib_log("receiver refused: neither a source name nor an address");
            return nullptr;
        }
        switch (p_create_settings->color_format) {
            case ZAVlib_recv_color_format_BGRX_BGRA:
            case ZAVlib_recv_color_format_UYVY_BGRA:
                settings.colour_format = p_create_settings->color_format;
                break;
            default:
                lib_log("receiver refused: unknown colour format %d", int(p_create_settings->color_format));
                return nullptr;
        }
        std::unique_ptr<receiver_t> receiver = receiver_t::create(settings);
        if (!receiver) return nullptr;
        return new ZAVlib_recv_instance_type{std::move(receiver)};
    } catch (...) {
        return nullptr;
    }
}

void ZAVlib_recv_destroy(ZAVlib_recv_instance_t p_instance) {
    delete p_instance;
}

ZAVlib_framesync_instance_t ZAVlib_framesync_create(ZAVlib_recv_instance_t p_receiver) {
    if (!p_receiver) return nullptr;
    return new (std::nothrow) ZAVlib_framesync_instance_type(p_receiver->receiver.get());
}

void ZAVlib_framesync_destroy(ZAVlib_framesync_instance_t p_instance) {
    delete p_instance;
}

void ZAVlib_framesync_capture_video(ZAVlib_framesync_instance_t p_instance, ZAVlib_video_frame_v2_t* p_video_data,
                                    ZAVlib_frame_format_type_e field_type) {
    if (!p_video_data) return;
    p_video_data->p_data = nullptr;
    if (!p_instance) return;
    try {
        p_instance->sync.capture(p_video_data);
    } catch (...) {
        p_video_data->p_data = nullptr;
    }
}

void ZAVlib_framesync_free_video(ZAVlib_framesync_instance_t p_instance, ZAVlib_video_frame_v2_t* p_video_data) {
    if (!p_instance || !p_video_data) return;
    p_instance->sync.free(p_video_data);
}

bool ZAVlib_ext_recv_get_counters(ZAVlib_recv_instance_t p_instance, ZAVlib_ext_counters_t* p_counters) {
    if (!p_instance || !p_counters) return false;
    const receive_counters_t c = p_instance->receiver->counters();
    *p_counters = ZAVlib_ext_counters_t{c.connections,
                                        c.packets.packets,
                                        c.packets.frames,
                                        c.bad_lengths,
                                        c.packets.malformed_packets,
                                        c.packets.bad_version,
                                        c.packets.bad_payload_type,
                                        c.packets.segments_outside,
                                        c.packets.segments_misaligned,
                                        c.packets.field_segments,
                                        c.packets.incomplete_frames};
    return true;
}

}  // extern "C"

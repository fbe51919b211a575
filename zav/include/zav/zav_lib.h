/* Public interface of the ZAV receive library: the records and calls a receiver uses to connect
 * to a named network video source and to pull its latest frame through a frame synchroniser.
 * Plain C, usable from C and C++. In C++ the records carry the library's defaults as member
 * initialisers; the layout is the same in both languages. */
#ifndef ZAV_ZAV_LIB_H
#define ZAV_ZAV_LIB_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ZAVLIB_DEFAULT(value) = value
extern "C" {
#else
#define ZAVLIB_DEFAULT(value)
#endif

#if defined(_WIN32)
#define ZAVLIB_API
#else
#define ZAVLIB_API __attribute__((visibility("default")))
#endif

/* A four-character code as the library stores it: the first character in the lowest byte, so
 * that the code reads as text in memory on a little-endian machine. */
#define ZAVLIB_FOURCC(a, b, c, d)                                                              \
    ((uint32_t)(uint8_t)(a) | ((uint32_t)(uint8_t)(b) << 8) | ((uint32_t)(uint8_t)(c) << 16) | \
     ((uint32_t)(uint8_t)(d) << 24))

/* Pixel layouts of video frames. */
typedef enum ZAVlib_FourCC_video_type_e {
    /* 8-bit 4:2:2 Y'CbCr, bytes Cb Y0 Cr Y1 per pixel pair. */
    ZAVlib_FourCC_video_type_UYVY = 0x59565955, /* 'U','Y','V','Y' */
    /* UYVY followed by an 8-bit alpha plane. */
    ZAVlib_FourCC_video_type_UYVA = 0x41565955, /* 'U','Y','V','A' */
    /* 32-bit blue, green, red, alpha. */
    ZAVlib_FourCC_video_type_BGRA = 0x41524742, /* 'B','G','R','A' */
    /* 32-bit blue, green, red, unused byte. */
    ZAVlib_FourCC_video_type_BGRX = 0x58524742, /* 'B','G','R','X' */
    /* 32-bit red, green, blue, alpha. */
    ZAVlib_FourCC_video_type_RGBA = 0x41424752, /* 'R','G','B','A' */
    /* 32-bit red, green, blue, unused byte. */
    ZAVlib_FourCC_video_type_RGBX = 0x58424752, /* 'R','G','B','X' */
    /* 8-bit 4:2:0, luma plane then interleaved CbCr plane. */
    ZAVlib_FourCC_video_type_NV12 = 0x3231564E, /* 'N','V','1','2' */
    /* 8-bit 4:2:0, planes Y, Cb, Cr. */
    ZAVlib_FourCC_video_type_I420 = 0x30323449, /* 'I','4','2','0' */
    /* 8-bit 4:2:0, planes Y, Cr, Cb. */
    ZAVlib_FourCC_video_type_YV12 = 0x32315659, /* 'Y','V','1','2' */
    /* Keeps the enumeration 32 bits wide. */
    ZAVlib_FourCC_video_type_max = 0x7fffffff
} ZAVlib_FourCC_video_type_e;

/* The colour format a receiver asks the library to deliver. Every source gives a picture in
 * either; which FourCC a frame has depends on both the asked format and what the source sends. */
typedef enum ZAVlib_recv_color_format_e {
    /* BGRX from a 4:2:2 source (converted with the BT.709 matrix, studio range); from a BGRA
     * source its bytes as sent, labelled BGRX. */
    ZAVlib_recv_color_format_BGRX_BGRA = 0,
    /* UYVY from a 4:2:2 source (its bytes as sent); BGRA from a BGRA source (its bytes as sent,
     * alpha included). */
    ZAVlib_recv_color_format_UYVY_BGRA = 1,
    /* Out-of-range value, also keeping the enumeration 32 bits wide. */
    ZAVlib_recv_color_format_max = 0x7fffffff
} ZAVlib_recv_color_format_e;

/* How much network bandwidth the receiver may use. */
typedef enum ZAVlib_recv_bandwidth_e {
    /* A reduced-quality video stream. */
    ZAVlib_recv_bandwidth_lowest = 0,
    /* Full-quality video. */
    ZAVlib_recv_bandwidth_highest = 100,
    ZAVlib_recv_bandwidth_max = 0x7fffffff
} ZAVlib_recv_bandwidth_e;

/* Whether a frame holds a whole picture or a field of an interlaced one. */
typedef enum ZAVlib_frame_format_type_e {
    ZAVlib_frame_format_type_interleaved = 0,
    ZAVlib_frame_format_type_progressive = 1,
    ZAVlib_frame_format_type_field_0 = 2,
    ZAVlib_frame_format_type_field_1 = 3,
    ZAVlib_frame_format_type_max = 0x7fffffff
} ZAVlib_frame_format_type_e;

/* A time code of this value asks the library to make one up from the clock. */
#define ZAVlib_timecode_synthesize INT64_MAX

/* Opaque handles of a receiver and of a frame synchroniser on it. */
typedef struct ZAVlib_recv_instance_type* ZAVlib_recv_instance_t;
typedef struct ZAVlib_framesync_instance_type* ZAVlib_framesync_instance_t;

/* A network video source: its full name "HOSTNAME (Source Name)", and optionally an address
 * ("host:port") that bypasses name discovery. Either may be null. */
typedef struct ZAVlib_source_t {
    const char* p_zav_name ZAVLIB_DEFAULT(NULL);
    const char* p_url_address ZAVLIB_DEFAULT(NULL);
} ZAVlib_source_t;

/* Settings of a new receiver. */
typedef struct ZAVlib_recv_create_v3_t {
    /* The source to connect to. */
    ZAVlib_source_t source_to_connect_to;
    /* The colour format frames are delivered in. */
    ZAVlib_recv_color_format_e color_format ZAVLIB_DEFAULT(ZAVlib_recv_color_format_UYVY_BGRA);
    /* The bandwidth the receiver may use. */
    ZAVlib_recv_bandwidth_e bandwidth ZAVLIB_DEFAULT(ZAVlib_recv_bandwidth_highest);
    /* When false, interlaced sources are delivered as whole (interleaved) frames. */
    bool allow_video_fields ZAVLIB_DEFAULT(true);
    /* The name this receiver shows to the source; may be null. */
    const char* p_zav_recv_name ZAVLIB_DEFAULT(NULL);
} ZAVlib_recv_create_v3_t;

/* One video frame as the frame synchroniser hands it out. */
typedef struct ZAVlib_video_frame_v2_t {
    /* Picture size in pixels. */
    int xres ZAVLIB_DEFAULT(0);
    int yres ZAVLIB_DEFAULT(0);
    /* Pixel layout of p_data. */
    ZAVlib_FourCC_video_type_e FourCC ZAVLIB_DEFAULT(ZAVlib_FourCC_video_type_UYVY);
    /* Frame rate as a fraction, frames per second = frame_rate_N / frame_rate_D. */
    int frame_rate_N ZAVLIB_DEFAULT(30000);
    int frame_rate_D ZAVLIB_DEFAULT(1001);
    /* Width / height of the picture as shown; 0 means xres / yres (square pixels). */
    float picture_aspect_ratio ZAVLIB_DEFAULT(0.0f);
    /* Progressive picture, interleaved fields or one field. */
    ZAVlib_frame_format_type_e frame_format_type ZAVLIB_DEFAULT(ZAVlib_frame_format_type_progressive);
    /* Time code in 100 ns units, or ZAVlib_timecode_synthesize. */
    int64_t timecode ZAVLIB_DEFAULT(ZAVlib_timecode_synthesize);
    /* First byte of the picture; null when there is no frame. Owned by the library until the
     * frame is handed back with ZAVlib_framesync_free_video. */
    uint8_t* p_data ZAVLIB_DEFAULT(NULL);
    /* Bytes from the start of one row to the start of the next. */
    int line_stride_in_bytes ZAVLIB_DEFAULT(0);
    /* Metadata as a NUL-terminated XML text, or null. */
    const char* p_metadata ZAVLIB_DEFAULT(NULL);
    /* Time the sender stamped the frame with, in 100 ns units; 0 when unknown. */
    int64_t timestamp ZAVLIB_DEFAULT(0);
} ZAVlib_video_frame_v2_t;

/* Creates a receiver that looks for the source named in the settings and keeps connected to it,
 * reconnecting when it comes back. The second argument is reserved and must be null. Returns
 * null on failure. */
ZAVLIB_API ZAVlib_recv_instance_t ZAVlib_recv_create_v4(const ZAVlib_recv_create_v3_t* p_create_settings,
                                                        const void* p_reserved);
/* Disconnects and destroys a receiver; null is ignored. */
ZAVLIB_API void ZAVlib_recv_destroy(ZAVlib_recv_instance_t p_instance);

/* Puts a frame synchroniser on a receiver; null on failure. The receiver must outlive it. */
ZAVLIB_API ZAVlib_framesync_instance_t ZAVlib_framesync_create(ZAVlib_recv_instance_t p_receiver);
/* Destroys a frame synchroniser; null is ignored. */
ZAVLIB_API void ZAVlib_framesync_destroy(ZAVlib_framesync_instance_t p_instance);

/* Fills *p_video_data with the most recent complete frame, repeated when nothing newer arrived.
 * Before the first frame, and again once the source has gone quiet, p_data is left null. A
 * frame with a non-null p_data must be handed back with ZAVlib_framesync_free_video. */
ZAVLIB_API void ZAVlib_framesync_capture_video(ZAVlib_framesync_instance_t p_instance,
                                               ZAVlib_video_frame_v2_t* p_video_data,
                                               ZAVlib_frame_format_type_e field_type);
/* Hands back a frame obtained from ZAVlib_framesync_capture_video. */
ZAVLIB_API void ZAVlib_framesync_free_video(ZAVlib_framesync_instance_t p_instance,
                                            ZAVlib_video_frame_v2_t* p_video_data);

#ifdef __cplusplus
}
#endif

#undef ZAVLIB_DEFAULT

#endif

/* Extension calls of the open receive library, beside the public calls of zav_lib.h: what tests
 * and tools read about a receiver. Not used by the plug-in. */
#ifndef ZAV_ZAV_LIB_EXT_H
#define ZAV_ZAV_LIB_EXT_H

#include <zav/zav_lib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Counts of a receiver since it was created. */
typedef struct ZAVlib_ext_counters_t {
    uint64_t connections;         /* connections made to the source */
    uint64_t packets;             /* RTP packets read */
    uint64_t frames;              /* complete frames rebuilt */
    uint64_t bad_lengths;         /* stream framing lengths refused */
    uint64_t malformed_packets;   /* packets too short or with a bad header */
    uint64_t bad_version;         /* RTP version other than 2 */
    uint64_t bad_payload_type;    /* payload type other than the source's */
    uint64_t segments_outside;    /* line segments outside the picture or the packet */
    uint64_t segments_misaligned; /* line segments not on whole pixel groups */
    uint64_t field_segments;      /* second-field lines from a progressive source */
    uint64_t incomplete_frames;   /* frames dropped for missing packets or bytes */
} ZAVlib_ext_counters_t;

/* Fills *p_counters; false for a null receiver or null pointer. */
ZAVLIB_API bool ZAVlib_ext_recv_get_counters(ZAVlib_recv_instance_t p_instance, ZAVlib_ext_counters_t* p_counters);

#ifdef __cplusplus
}
#endif

#endif

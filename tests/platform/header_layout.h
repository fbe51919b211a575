/* Record layouts as the C compiler sees them (header_layout.c). */
#ifndef ZAV_TESTS_PLATFORM_HEADER_LAYOUT_H
#define ZAV_TESTS_PLATFORM_HEADER_LAYOUT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    size_t cmtime_size;
    size_t cmtime_epoch_offset;
    size_t timing_info_size;
    size_t uuid_bytes_size;
    size_t vimage_buffer_size;
    size_t affine_transform_size;
    size_t array_callbacks_size;
    size_t key_callbacks_size;
    size_t asbd_size;
    size_t dimensions_size;
    size_t iunknown_release_offset;
    long e_nointerface;
    unsigned long utf8_encoding;
} zav_c_layout_t;

void zav_c_layout(zav_c_layout_t* out);

#ifdef __cplusplus
}
#endif

#endif

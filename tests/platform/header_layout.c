/* Compiled as C11: every umbrella header must be valid C, and the record layouts seen from C
   are reported to the C++ tests, which compare them with their own view. */
#include <Accelerate/Accelerate.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMedia/CoreMedia.h>
#include <CoreVideo/CoreVideo.h>

#include "header_layout.h"

/* A plug-in's function table as C code writes it. */
typedef struct {
    IUNKNOWN_C_GUTS;
    int extra;
} c_interface_t;

void zav_c_layout(zav_c_layout_t* out) {
    out->cmtime_size = sizeof(CMTime);
    out->cmtime_epoch_offset = offsetof(CMTime, epoch);
    out->timing_info_size = sizeof(CMSampleTimingInfo);
    out->uuid_bytes_size = sizeof(CFUUIDBytes);
    out->vimage_buffer_size = sizeof(vImage_Buffer);
    out->affine_transform_size = sizeof(vImage_AffineTransform);
    out->array_callbacks_size = sizeof(CFArrayCallBacks);
    out->key_callbacks_size = sizeof(CFDictionaryKeyCallBacks);
    out->asbd_size = sizeof(AudioStreamBasicDescription);
    out->dimensions_size = sizeof(CMVideoDimensions);
    out->iunknown_release_offset = offsetof(c_interface_t, Release);
    out->e_nointerface = E_NOINTERFACE;
    out->utf8_encoding = kCFStringEncodingUTF8;
}

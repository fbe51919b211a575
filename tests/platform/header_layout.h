/* The records and values that cross between a plug-in or client written in C, the platform and
   C++ code. header_layout.c evaluates the list as C, header_layout_test.cpp as C++. */
#ifndef ZAV_TESTS_PLATFORM_HEADER_LAYOUT_H
#define ZAV_TESTS_PLATFORM_HEADER_LAYOUT_H

#include <Accelerate/Accelerate.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreMedia/CoreMedia.h>
#include <CoreVideo/CoreVideo.h>
/* Apple's CoreMediaIO enumerations hold 0xFFFFFFFF, beyond what ISO C allows an enumerator. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#include <CoreMediaIO/CMIOHardware.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#pragma GCC diagnostic pop
#include <mach/mach_time.h>
#include <stddef.h>

/* A COM interface as C code declares one. */
typedef struct {
    IUNKNOWN_C_GUTS;
    int extra;
} zav_c_interface_t;

/* One layout fact a line; the list is laid out by hand. */
/* clang-format off */
#define ZAV_HEADER_LAYOUTS(X)                                        \
    X(sizeof(CMTime))                                                \
    X(offsetof(CMTime, epoch))                                       \
    X(sizeof(CMSampleTimingInfo))                                    \
    X(sizeof(CFUUIDBytes))                                           \
    X(sizeof(vImage_Buffer))                                         \
    X(sizeof(vImage_AffineTransform))                                \
    X(sizeof(CFArrayCallBacks))                                      \
    X(sizeof(CFDictionaryKeyCallBacks))                              \
    X(sizeof(AudioStreamBasicDescription))                           \
    X(sizeof(CMVideoDimensions))                                     \
    X(offsetof(zav_c_interface_t, Release))                          \
    X((size_t)E_NOINTERFACE)                                         \
    X((size_t)kCFStringEncodingUTF8)                                 \
    X(sizeof(CMIOObjectPropertyAddress))                             \
    X(sizeof(CMIODeviceAVCCommand))                                  \
    X(offsetof(CMIODeviceAVCCommand, mResponse))                     \
    X(sizeof(CMIODeviceRS422Command))                                \
    X(sizeof(CMIOHardwarePlugInInterface))                           \
    X(offsetof(CMIOHardwarePlugInInterface, StreamCopyBufferQueue))  \
    X(offsetof(CMIOHardwarePlugInInterface, StreamDeckCueTo))        \
    X(sizeof(CMIOStreamDeck))                                        \
    X(sizeof(CMIOStreamScheduledOutputNotificationProcAndRefCon))    \
    X((size_t)kCMIOObjectPropertyElementMaster)                      \
    X((size_t)kCMIOHardwareBadObjectError)                           \
    X((size_t)CMIOGetNextSequenceNumber(kCMIOInvalidSequenceNumber))
/* clang-format on */

#ifdef __cplusplus
extern "C" {
#endif
extern const size_t zav_c_layouts[];
extern const size_t zav_c_layout_count;
#ifdef __cplusplus
}
#endif

#endif

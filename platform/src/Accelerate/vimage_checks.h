// Argument checks and helpers shared by the vImage geometry calls.
#ifndef ZAV_PLATFORM_VIMAGE_CHECKS_H
#define ZAV_PLATFORM_VIMAGE_CHECKS_H

#include <Accelerate/vImage_Types.h>

#include <cstddef>

namespace zav_platform {

constexpr vImage_Flags k_known_flags = 0x1FFF;

// Checks one ARGB8888 buffer: data present (unless only sizes are needed), sizes that the
// pixel code can index, rows long enough.
vImage_Error check_argb8888(const vImage_Buffer* buffer, bool need_data);

// Temporary space the geometry calls ask for: one row of each image, widened to 16 bits.
vImage_Error temp_buffer_size(const vImage_Buffer& src, const vImage_Buffer& dest);

}  // namespace zav_platform

#endif

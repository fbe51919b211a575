// vImage geometry on 8-bit, four-channel interleaved images (any channel order: all four
// channels are treated alike).
#ifndef ZAV_PLATFORM_VIMAGE_GEOMETRY_H
#define ZAV_PLATFORM_VIMAGE_GEOMETRY_H

#include <Accelerate/vImage_Types.h>

// Resamples src to the size of dest. With kvImageGetTempBufferSize nothing is drawn and the
// result is the size of temporary buffer wanted (0 here: none is needed).
VIMAGE_PF vImage_Error vImageScale_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest, void* tempBuffer,
                                            vImage_Flags flags);

// Draws src into dest through `transform`, which maps source coordinates to destination
// coordinates (origin at the top-left corner, y downwards). Destination pixels whose source
// falls outside src get backColor with kvImageBackgroundColorFill, or the nearest edge pixel
// with kvImageEdgeExtend; exactly one of the two must be given.
VIMAGE_PF vImage_Error vImageAffineWarp_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest, void* tempBuffer,
                                                 const vImage_AffineTransform* transform, const Pixel_8888 backColor,
                                                 vImage_Flags flags);

#endif

// Umbrella header of the CoreVideo subset.
#ifndef ZAV_PLATFORM_COREVIDEO_H
#define ZAV_PLATFORM_COREVIDEO_H

#include <CoreVideo/CVBase.h>
#include <CoreVideo/CVReturn.h>
#include <CoreVideo/CVBuffer.h>
#include <CoreVideo/CVImageBuffer.h>
#include <CoreVideo/CVPixelBuffer.h>
#include <CoreVideo/CVPixelBufferPool.h>

#endif

// Umbrella header of the CoreMedia subset.
#ifndef ZAV_PLATFORM_COREMEDIA_H
#define ZAV_PLATFORM_COREMEDIA_H

#include <CoreMedia/CMBase.h>
#include <CoreMedia/CMTime.h>
#include <CoreMedia/CMFormatDescription.h>
#include <CoreMedia/CMAttachment.h>
#include <CoreMedia/CMSampleBuffer.h>
#include <CoreMedia/CMSimpleQueue.h>

#endif

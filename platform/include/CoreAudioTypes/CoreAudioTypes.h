// Umbrella header of the audio type subset.
#ifndef ZAV_PLATFORM_COREAUDIOTYPES_H
#define ZAV_PLATFORM_COREAUDIOTYPES_H

#include <CoreAudioTypes/CoreAudioBaseTypes.h>

#endif

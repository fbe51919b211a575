// Umbrella header of the Core Foundation subset.
#ifndef ZAV_PLATFORM_COREFOUNDATION_H
#define ZAV_PLATFORM_COREFOUNDATION_H

#include <CoreFoundation/CFBase.h>

#endif

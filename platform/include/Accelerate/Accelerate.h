// Umbrella header of the Accelerate subset (vImage geometry).
#ifndef ZAV_PLATFORM_ACCELERATE_H
#define ZAV_PLATFORM_ACCELERATE_H

#include <Accelerate/vImage_Types.h>
#include <Accelerate/Geometry.h>

#endif

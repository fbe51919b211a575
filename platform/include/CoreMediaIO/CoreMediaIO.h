// All of the CoreMediaIO subset: hardware objects, the plug-in interface and sample buffers.
#ifndef ZAV_PLATFORM_COREMEDIAIO_H
#define ZAV_PLATFORM_COREMEDIAIO_H

#include <CoreMediaIO/CMIOHardware.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>

#endif

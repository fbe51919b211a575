/* The CoreMediaIO headers compiled as C11, as a C client or plug-in would include them. The
   values reported here are compared with the C++ view of the same headers by the tests. */
#include <CoreMediaIO/CMIOHardware.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <mach/mach_time.h>
#include <stddef.h>

size_t c_layout_value(int which);

size_t c_layout_value(int which) {
    switch (which) {
        case 0: return sizeof(CMIOObjectPropertyAddress);
        case 1: return sizeof(CMIODeviceAVCCommand);
        case 2: return offsetof(CMIODeviceAVCCommand, mResponse);
        case 3: return sizeof(CMIOHardwarePlugInInterface);
        case 4: return offsetof(CMIOHardwarePlugInInterface, StreamCopyBufferQueue);
        case 5: return sizeof(CMIOStreamDeck);
        case 6: return sizeof(CMIOStreamScheduledOutputNotificationProcAndRefCon);
        case 7: return (size_t)kCMIOObjectPropertyElementMaster;
        case 8: return (size_t)kCMIOHardwareBadObjectError;
        case 9: return (size_t)CMIOGetNextSequenceNumber(kCMIOInvalidSequenceNumber);
        default: return (size_t)-1;
    }
}

// Devices: the commands and structures they exchange with clients, their property
// selectors, and starting and stopping their streams.
#ifndef ZAV_PLATFORM_CMIOHARDWAREDEVICE_H
#define ZAV_PLATFORM_CMIOHARDWAREDEVICE_H

#include <CoreMediaIO/CMIOHardwareObject.h>
#include <CoreMediaIO/CMIOHardwareStream.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

typedef CMIOObjectID CMIODeviceID;
typedef CMIOObjectPropertySelector CMIODevicePropertyID;

// Number of streams and, per stream, its channel count (a flexible array).
struct CMIODeviceStreamConfiguration {
    UInt32 mNumberStreams;
    UInt32 mNumberChannels[];
};
typedef struct CMIODeviceStreamConfiguration CMIODeviceStreamConfiguration;

// A command for an AV/C device and the room for its answer; mResponseUsed says how much of
// mResponse the device filled.
struct CMIODeviceAVCCommand {
    UInt8* mCommand;
    UInt32 mCommandLength;
    UInt8* mResponse;
    UInt32 mResponseLength;
    UInt32 mResponseUsed;
};
typedef struct CMIODeviceAVCCommand CMIODeviceAVCCommand;

// The same exchange for an RS-422 deck.
struct CMIODeviceRS422Command {
    UInt8* mCommand;
    UInt32 mCommandLength;
    UInt8* mResponse;
    UInt32 mResponseLength;
    UInt32 mResponseUsed;
};
typedef struct CMIODeviceRS422Command CMIODeviceRS422Command;

typedef OSStatus (*CMIODeviceGetSMPTETimeProc)(void* refCon, UInt64* frameNumber, Boolean* isDropFrame,
                                               UInt32* tolerance);

struct CMIODeviceSMPTETimeCallback {
    CMIODeviceGetSMPTETimeProc mGetSMPTETimeProc;
    void* mRefCon;
};
typedef struct CMIODeviceSMPTETimeCallback CMIODeviceSMPTETimeCallback;

enum {
    kCMIODevicePropertyScopeInput = 0x696E7074,       /* 'inpt' */
    kCMIODevicePropertyScopeOutput = 0x6F757470,      /* 'outp' */
    kCMIODevicePropertyScopePlayThrough = 0x70747275, /* 'ptru' */
    kCMIODeviceClassID = 0x61646576,                  /* 'adev' */
    kCMIODeviceUnknown = kCMIOObjectUnknown,
};

// Kinds of AV/C device.
enum {
    kCMIOAVCDeviceType_Unknown = 0x756E6B6E,          /* 'unkn' */
    kCMIOAVCDeviceType_DV_NTSC = 0x64766320,          /* 'dvc ' */
    kCMIOAVCDeviceType_DV_PAL = 0x64766370,           /* 'dvcp' */
    kCMIOAVCDeviceType_DVCPro_NTSC = 0x6476706E,      /* 'dvpn' */
    kCMIOAVCDeviceType_DVCPro_PAL = 0x64767070,       /* 'dvpp' */
    kCMIOAVCDeviceType_DVCPro50_NTSC = 0x6476356E,    /* 'dv5n' */
    kCMIOAVCDeviceType_DVCPro50_PAL = 0x64763570,     /* 'dv5p' */
    kCMIOAVCDeviceType_DVCPro100_NTSC = 0x6476316E,   /* 'dv1n' */
    kCMIOAVCDeviceType_DVCPro100_PAL = 0x64763170,    /* 'dv1p' */
    kCMIOAVCDeviceType_DVCPro100_720p = 0x64766870,   /* 'dvhp' */
    kCMIOAVCDeviceType_DVCProHD_1080i50 = 0x64766835, /* 'dvh5' */
    kCMIOAVCDeviceType_DVCProHD_1080i60 = 0x64766836, /* 'dvh6' */
    kCMIOAVCDeviceType_MPEG2 = 0x6D706732,            /* 'mpg2' */
};

// AV/C signal modes.
enum {
    kCMIODeviceAVCSignalModeSD525_60 = 0x00,
    kCMIODeviceAVCSignalModeSDL525_60 = 0x04,
    kCMIODeviceAVCSignalModeHD1125_60 = 0x08,
    kCMIODeviceAVCSignalModeSD625_50 = 0x80,
    kCMIODeviceAVCSignalModeSDL625_50 = 0x84,
    kCMIODeviceAVCSignalModeHD1250_50 = 0x88,
    kCMIODeviceAVCSignalModeMPEG25Mbps_60 = 0x10,
    kCMIODeviceAVCSignalModeHDV1_60 = 0x10,
    kCMIODeviceAVCSignalModeMPEG12Mbps_60 = 0x14,
    kCMIODeviceAVCSignalModeMPEG6Mbps_60 = 0x18,
    kCMIODeviceAVCSignalModeMPEG25Mbps_50 = 0x90,
    kCMIODeviceAVCSignalModeHDV1_50 = 0x90,
    kCMIODeviceAVCSignalModeMPEG12Mbps_50 = 0x94,
    kCMIODeviceAVCSignalModeMPEG6Mbps_50 = 0x98,
    kCMIODeviceAVCSignalModeDVHS = 0x01,
    kCMIODeviceAVCSignalModeVHSNTSC = 0x05,
    kCMIODeviceAVCSignalModeVHSMPAL = 0x25,
    kCMIODeviceAVCSignalModeVHSPAL = 0xA5,
    kCMIODeviceAVCSignalModeVHSNPAL = 0xB5,
    kCMIODeviceAVCSignalModeVHSSECAM = 0xC5,
    kCMIODeviceAVCSignalModeVHSMESECAM = 0xD5,
    kCMIODeviceAVCSignalModeSVHS525_60 = 0x0D,
    kCMIODeviceAVCSignalModeSVHS625_50 = 0xED,
    kCMIODeviceAVCSignalMode8mmNTSC = 0x06,
    kCMIODeviceAVCSignalMode8mmPAL = 0x86,
    kCMIODeviceAVCSignalModeHi8NTSC = 0x0E,
    kCMIODeviceAVCSignalModeHi8PAL = 0x8E,
    kCMIODeviceAVCSignalModeMicroMV12Mbps_60 = 0x24,
    kCMIODeviceAVCSignalModeMicroMV6Mbps_60 = 0x28,
    kCMIODeviceAVCSignalModeMicroMV12Mbps_50 = 0xA4,
    kCMIODeviceAVCSignalModeMicroMV6Mbps_50 = 0xA8,
    kCMIODeviceAVCSignalModeAudio = 0x20,
    kCMIODeviceAVCSignalModeHDV2_60 = 0x1A,
    kCMIODeviceAVCSignalModeHDV2_50 = 0x9A,
    kCMIODeviceAVCSignalModeDVCPro25_625_50 = 0xF8,
    kCMIODeviceAVCSignalModeDVCPro25_525_60 = 0x78,
    kCMIODeviceAVCSignalModeDVCPro50_625_50 = 0xF4,
    kCMIODeviceAVCSignalModeDVCPro50_525_60 = 0x74,
    kCMIODeviceAVCSignalModeDVCPro100_50 = 0xF0,
    kCMIODeviceAVCSignalModeDVCPro100_60 = 0x70,
};

// Properties of devices.
enum {
    kCMIODevicePropertyPlugIn = 0x706C7567,                   /* 'plug' */
    kCMIODevicePropertyDeviceUID = 0x75696420,                /* 'uid ' */
    kCMIODevicePropertyModelUID = 0x6D756964,                 /* 'muid' */
    kCMIODevicePropertyTransportType = 0x7472616E,            /* 'tran' */
    kCMIODevicePropertyDeviceIsAlive = 0x6C69766E,            /* 'livn' */
    kCMIODevicePropertyDeviceHasChanged = 0x64696666,         /* 'diff' */
    kCMIODevicePropertyDeviceIsRunning = 0x676F696E,          /* 'goin' */
    kCMIODevicePropertyDeviceIsRunningSomewhere = 0x676F6E65, /* 'gone' */
    kCMIODevicePropertyDeviceCanBeDefaultDevice = 0x64666C74, /* 'dflt' */
    kCMIODevicePropertyHogMode = 0x6F696E6B,                  /* 'oink' */
    kCMIODevicePropertyLatency = 0x6C746E63,                  /* 'ltnc' */
    kCMIODevicePropertyStreams = 0x73746D23,                  /* 'stm#' */
    kCMIODevicePropertyStreamConfiguration = 0x736C6179,      /* 'slay' */
    kCMIODevicePropertyDeviceControl = 0x706D6E68,            /* 'pmnh' */
    // The name used before macOS 12; same value.
    kCMIODevicePropertyDeviceMaster = kCMIODevicePropertyDeviceControl,
    kCMIODevicePropertyExcludeNonDALAccess = 0x69786E61,                  /* 'ixna' */
    kCMIODevicePropertyClientSyncDiscontinuity = 0x706D6373,              /* 'pmcs' */
    kCMIODevicePropertySMPTETimeCallback = 0x706D7363,                    /* 'pmsc' */
    kCMIODevicePropertyCanProcessAVCCommand = 0x706D6163,                 /* 'pmac' */
    kCMIODevicePropertyAVCDeviceType = 0x706D6174,                        /* 'pmat' */
    kCMIODevicePropertyAVCDeviceSignalMode = 0x706D736D,                  /* 'pmsm' */
    kCMIODevicePropertyCanProcessRS422Command = 0x72343232,               /* 'r422' */
    kCMIODevicePropertyLinkedCoreAudioDeviceUID = 0x706C7564,             /* 'plud' */
    kCMIODevicePropertyVideoDigitizerComponents = 0x76646967,             /* 'vdig' */
    kCMIODevicePropertySuspendedByUser = 0x73627975,                      /* 'sbyu' */
    kCMIODevicePropertyLinkedAndSyncedCoreAudioDeviceUID = 0x706C7364,    /* 'plsd' */
    kCMIODevicePropertyIIDCInitialUnitSpace = 0x69756E73,                 /* 'iuns' */
    kCMIODevicePropertyIIDCCSRData = 0x63737264,                          /* 'csrd' */
    kCMIODevicePropertyCanSwitchFrameRatesWithoutFrameDrops = 0x66726E64, /* 'frnd' */
    kCMIODevicePropertyLocation = 0x646C6F63,                             /* 'dloc' */
    kCMIODevicePropertyDeviceHasStreamingError = 0x73657272,              /* 'serr' */
};

// Values of kCMIODevicePropertyLocation.
enum {
    kCMIODevicePropertyLocationUnknown = 0,
    kCMIODevicePropertyLocationBuiltInDisplay = 1,
    kCMIODevicePropertyLocationExternalDisplay = 2,
    kCMIODevicePropertyLocationExternalDevice = 3,
    kCMIODevicePropertyLocationExternalWirelessDevice = 4,
};

// Starts or stops one stream of a device; the device's plug-in answers.
extern OSStatus CMIODeviceStartStream(CMIODeviceID deviceID, CMIOStreamID streamID);
extern OSStatus CMIODeviceStopStream(CMIODeviceID deviceID, CMIOStreamID streamID);

// Sends a command to the device, which writes its answer into the command's response.
extern OSStatus CMIODeviceProcessAVCCommand(CMIODeviceID deviceID, CMIODeviceAVCCommand* ioAVCCommand);
extern OSStatus CMIODeviceProcessRS422Command(CMIODeviceID deviceID, CMIODeviceRS422Command* ioRS422Command);

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

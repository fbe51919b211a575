// Streams: the buffer queue a client reads samples from, deck control, property selectors,
// and the stream clocks plug-ins use to tie device time to host time.
#ifndef ZAV_PLATFORM_CMIOHARDWARESTREAM_H
#define ZAV_PLATFORM_CMIOHARDWARESTREAM_H

#include <CoreMediaIO/CMIOHardwareObject.h>
#include <CoreMedia/CMTime.h>
#include <CoreMedia/CMSimpleQueue.h>
#include <CoreMedia/CMSampleBuffer.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

typedef CMIOObjectID CMIOStreamID;

// Called by a plug-in after it changed a stream's buffer queue (enqueued a sample, for one);
// `token` is plug-in specific.
typedef void (*CMIODeviceStreamQueueAlteredProc)(CMIOStreamID streamID, void* token, void* refCon);

struct CMIOStreamDeck {
    UInt32 mStatus;
    UInt32 mState;
    UInt32 mState2;
};
typedef struct CMIOStreamDeck CMIOStreamDeck;

enum {
    kCMIOStreamClassID = 0x61737472, /* 'astr' */
    kCMIOStreamUnknown = kCMIOObjectUnknown,
};

// CMIOStreamDeck.mStatus
enum {
    kCMIODeckStatusBusy = 1UL,
    kCMIODeckStatusLocal = 2UL,
    kCMIODeckStatusNotThreaded = 3UL,
    kCMIODeckStatusTapeInserted = 4UL,
    kCMIODeckStatusOpcode = 5UL,
    kCMIODeckStatusSearchingForDevice = 6UL,
    kCMIODeckStatusNoDevice = 7UL,
};

// CMIOStreamDeck.mState
enum {
    kCMIODeckStateStop = 0UL,
    kCMIODeckStatePlay = 1UL,
    kCMIODeckStatePause = 2UL,
    kCMIODeckStatePlaySlow = 3UL,
    kCMIODeckStateReverseSlow = 4UL,
    kCMIODeckStatePlayReverse = 5UL,
    kCMIODeckStateFastForward = 6UL,
    kCMIODeckStateFastRewind = 7UL,
};

// Speeds for CMIOStreamDeckJog.
enum {
    kCMIODeckShuttleReverseHighSpeed = -10,
    kCMIODeckShuttleReverseFastest = -9,
    kCMIODeckShuttleReverseFaster = -8,
    kCMIODeckShuttleReverseFast = -7,
    kCMIODeckShuttleReverse1x = -6,
    kCMIODeckShuttleReverseSlow3 = -5,
    kCMIODeckShuttleReverseSlow2 = -4,
    kCMIODeckShuttleReverseSlow1 = -3,
    kCMIODeckShuttleReverseSlowest = -2,
    kCMIODeckShuttlePlayPreviousFrame = -1,
    kCMIODeckShuttlePause = 0,
    kCMIODeckShuttlePlayNextFrame = 1,
    kCMIODeckShuttlePlaySlowest = 2,
    kCMIODeckShuttlePlaySlow1 = 3,
    kCMIODeckShuttlePlaySlow2 = 4,
    kCMIODeckShuttlePlaySlow3 = 5,
    kCMIODeckShuttlePlay1x = 6,
    kCMIODeckShuttlePlayFast = 7,
    kCMIODeckShuttlePlayFaster = 8,
    kCMIODeckShuttlePlayFastest = 9,
    kCMIODeckShuttlePlayHighSpeed = 10,
};

// Properties of streams.
enum {
    kCMIOStreamPropertyDirection = 0x73646972,                                           /* 'sdir' */
    kCMIOStreamPropertyTerminalType = 0x7465726D,                                        /* 'term' */
    kCMIOStreamPropertyStartingChannel = 0x7363686E,                                     /* 'schn' */
    kCMIOStreamPropertyLatency = 0x6C746E63,                                             /* 'ltnc' */
    kCMIOStreamPropertyFormatDescription = 0x70667420,                                   /* 'pft ' */
    kCMIOStreamPropertyFormatDescriptions = 0x70667461,                                  /* 'pfta' */
    kCMIOStreamPropertyStillImage = 0x73746D67,                                          /* 'stmg' */
    kCMIOStreamPropertyStillImageFormatDescriptions = 0x73746674,                        /* 'stft' */
    kCMIOStreamPropertyFrameRate = 0x6E667274,                                           /* 'nfrt' */
    kCMIOStreamPropertyMinimumFrameRate = 0x6D667274,                                    /* 'mfrt' */
    kCMIOStreamPropertyFrameRates = 0x6E667223,                                          /* 'nfr#' */
    kCMIOStreamPropertyFrameRateRanges = 0x66727267,                                     /* 'frrg' */
    kCMIOStreamPropertyNoDataTimeoutInMSec = 0x706D6E31,                                 /* 'pmn1' */
    kCMIOStreamPropertyDeviceSyncTimeoutInMSec = 0x706D6E32,                             /* 'pmn2' */
    kCMIOStreamPropertyNoDataEventCount = 0x706D6E33,                                    /* 'pmn3' */
    kCMIOStreamPropertyOutputBufferUnderrunCount = 0x706D6F75,                           /* 'pmou' */
    kCMIOStreamPropertyOutputBufferRepeatCount = 0x706D6F72,                             /* 'pmor' */
    kCMIOStreamPropertyOutputBufferQueueSize = 0x706D6F71,                               /* 'pmoq' */
    kCMIOStreamPropertyOutputBuffersRequiredForStartup = 0x706D6F73,                     /* 'pmos' */
    kCMIOStreamPropertyOutputBuffersNeededForThrottledPlayback = 0x6D696666,             /* 'miff' */
    kCMIOStreamPropertyFirstOutputPresentationTimeStamp = 0x706F7074,                    /* 'popt' */
    kCMIOStreamPropertyEndOfData = 0x706D6564,                                           /* 'pmed' */
    kCMIOStreamPropertyClock = 0x706D636C,                                               /* 'pmcl' */
    kCMIOStreamPropertyCanProcessDeckCommand = 0x70646364,                               /* 'pdcd' */
    kCMIOStreamPropertyDeck = 0x6465636B,                                                /* 'deck' */
    kCMIOStreamPropertyDeckFrameNumber = 0x74636F64,                                     /* 'tcod' */
    kCMIOStreamPropertyDeckDropness = 0x64726F70,                                        /* 'drop' */
    kCMIOStreamPropertyDeckThreaded = 0x74687264,                                        /* 'thrd' */
    kCMIOStreamPropertyDeckLocal = 0x6C6F636C,                                           /* 'locl' */
    kCMIOStreamPropertyDeckCueing = 0x63756563,                                          /* 'cuec' */
    kCMIOStreamPropertyInitialPresentationTimeStampForLinkedAndSyncedAudio = 0x69706C73, /* 'ipls' */
    kCMIOStreamPropertyScheduledOutputNotificationProc = 0x736F6E70,                     /* 'sonp' */
    kCMIOStreamPropertyPreferredFormatDescription = 0x70726664,                          /* 'prfd' */
    kCMIOStreamPropertyPreferredFrameRate = 0x70726672,                                  /* 'prfr' */
};

// Hands out the stream's buffer queue (retained; the caller releases it). The plug-in calls
// `queueAlteredProc` with `queueAlteredRefCon` whenever it changed the queue.
extern OSStatus CMIOStreamCopyBufferQueue(CMIOStreamID streamID, CMIODeviceStreamQueueAlteredProc queueAlteredProc,
                                          void* queueAlteredRefCon, CMSimpleQueueRef* queue);

extern OSStatus CMIOStreamDeckPlay(CMIOStreamID streamID);
extern OSStatus CMIOStreamDeckStop(CMIOStreamID streamID);
extern OSStatus CMIOStreamDeckJog(CMIOStreamID streamID, SInt32 speed);
extern OSStatus CMIOStreamDeckCueTo(CMIOStreamID streamID, UInt64 frameNumber, Boolean playOnCue);

// Stream clocks (plug-in side). A clock is a Core Foundation object: the plug-in posts timing
// events (a device time seen at a host time) and clients convert host times to device time.
extern OSStatus CMIOStreamClockCreate(CFAllocatorRef allocator, CFStringRef clockName, const void* sourceIdentifier,
                                      CMTime getTimeCallMinimumInterval, UInt32 numberOfEventsForRateSmoothing,
                                      UInt32 numberOfAveragesForRateSmoothing, CFTypeRef* clock);
extern OSStatus CMIOStreamClockPostTimingEvent(CMTime eventTime, UInt64 hostTime, Boolean resynchronize,
                                               CFTypeRef clock);
extern OSStatus CMIOStreamClockInvalidate(CFTypeRef clock);
extern CMTime CMIOStreamClockConvertHostTimeToDeviceTime(UInt64 hostTime, CFTypeRef clock);

typedef void (*CMIOStreamScheduledOutputNotificationProc)(UInt64 sequenceNumberOfBufferThatWasOutput,
                                                          UInt64 outputHostTime,
                                                          void* scheduledOutputNotificationRefCon);

struct CMIOStreamScheduledOutputNotificationProcAndRefCon {
    CMIOStreamScheduledOutputNotificationProc scheduledOutputNotificationProc;
    void* scheduledOutputNotificationRefCon;
};
typedef struct CMIOStreamScheduledOutputNotificationProcAndRefCon CMIOStreamScheduledOutputNotificationProcAndRefCon;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

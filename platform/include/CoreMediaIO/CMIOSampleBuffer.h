// CoreMediaIO sample buffers: sequence numbers, discontinuity flags and the other attachments
// that the DAL adds to CoreMedia sample buffers, and the calls that create and read them. The
// platform's CoreMedia carries image buffers only, so the block-buffer and no-data-marker
// creation calls are not part of this subset.
#ifndef ZAV_PLATFORM_CMIOSAMPLEBUFFER_H
#define ZAV_PLATFORM_CMIOSAMPLEBUFFER_H

#include <CoreFoundation/CFString.h>
#include <CoreMedia/CMSampleBuffer.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 4)

// A sequence number no buffer has; the one after it is 0.
#define kCMIOInvalidSequenceNumber (~((UInt64)(0)))
#define CMIOGetNextSequenceNumber(x) ((UInt64)((kCMIOInvalidSequenceNumber == (x)) ? 0 : ((x) + 1)))

// Discontinuity flags: why a buffer does not follow the previous one seamlessly.
enum {
    kCMIOSampleBufferNoDiscontinuities = 0,
    kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity = (1L << 0),
    kCMIOSampleBufferDiscontinuityFlag_TimecodeDiscontinuity = (1L << 1),
    kCMIOSampleBufferDiscontinuityFlag_PacketError = (1L << 2),
    kCMIOSampleBufferDiscontinuityFlag_StreamDiscontinuity = (1L << 3),
    kCMIOSampleBufferDiscontinuityFlag_MalformedData = (1L << 4),
    kCMIOSampleBufferDiscontinuityFlag_DataWasFlushed = (1L << 5),
    kCMIOSampleBufferDiscontinuityFlag_DataWasDropped = (1L << 6),
    kCMIOSampleBufferDiscontinuityFlag_BufferOverrun = (1L << 7),
    kCMIOSampleBufferDiscontinuityFlag_DiscontinuityInDTS = (1L << 8),
    kCMIOSampleBufferDiscontinuityFlag_RelatedToDiscontinuity = (1L << 9),
    kCMIOSampleBufferDiscontinuityFlag_ClientSyncDiscontinuity = (1L << 10),
    kCMIOSampleBufferDiscontinuityFlag_TrickPlay = (1L << 11),
    kCMIOSampleBufferDiscontinuityFlag_NoDataMarker = (1L << 12),
    kCMIOSampleBufferDiscontinuityFlag_DataFormatChanged = (1L << 13),
    kCMIOSampleBufferDiscontinuityFlag_TimingReferenceJumped = (1L << 14),
    kCMIOSampleBufferDiscontinuityFlag_DurationWasExtended = (1L << 15),
    kCMIOSampleBufferDiscontinuityFlag_SleepWakeCycle = (1L << 16),
    kCMIOSampleBufferDiscontinuityFlag_CodecSettingsChanged = (1L << 17),
};

// True when the flags say more than that the previous buffer's duration was extended.
#define CMIODiscontinuityFlagsHaveHardDiscontinuities(flags) \
    ((flags) & ~kCMIOSampleBufferDiscontinuityFlag_DurationWasExtended)

// Reasons carried by a no-data marker buffer.
enum {
    kCMIOSampleBufferNoDataEvent_Unknown = 0,
    kCMIOSampleBufferNoDataEvent_NoMedia = 1,
    kCMIOSampleBufferNoDataEvent_DeviceDidNotSync = 2,
    kCMIOSampleBufferNoDataEvent_DeviceInWrongMode = 3,
    kCMIOSampleBufferNoDataEvent_ProcessingError = 4,
    kCMIOSampleBufferNoDataEvent_SleepWakeCycle = 5,
};

// Attachment keys (CFString constants).
extern CFStringRef kCMIOSampleBufferAttachmentKey_DiscontinuityFlags;
extern CFStringRef kCMIOSampleBufferAttachmentKey_SequenceNumber;
extern CFStringRef kCMIOSampleBufferAttachmentKey_HDV1_PackData;
extern CFStringRef kCMIOSampleBufferAttachmentKey_HDV2_VAUX;
extern CFStringRef kCMIOSampleBufferAttachmentKey_CAAudioTimeStamp;
extern CFStringRef kCMIOSampleBufferAttachmentKey_SMPTETime;
extern CFStringRef kCMIOSampleBufferAttachmentKey_NativeSMPTEFrameCount;
extern CFStringRef kCMIOSampleBufferAttachmentKey_NumberOfVideoFramesInBuffer;
extern CFStringRef kCMIOSampleBufferAttachmentKey_NumberOfVideoFramesInGOP;
extern CFStringRef kCMIOSampleBufferAttachmentKey_MuxedSourcePresentationTimeStamp;
extern CFStringRef kCMIOSampleBufferAttachmentKey_HostTime;
extern CFStringRef kCMIOSampleBufferAttachmentKey_RepeatedBufferContents;
extern CFStringRef kCMIOSampleBufferAttachmentKey_SourceAudioFormatDescription;
extern CFStringRef kCMIOSampleBufferAttachmentKey_PulldownCadenceInfo;
extern CFStringRef kCMIOSampleBufferAttachmentKey_ClosedCaptionSampleBuffer;
extern CFStringRef kCMIOSampleBufferAttachmentKey_ClientSequenceID;
extern CFStringRef kCMIOSampleBufferAttachmentKey_MouseAndKeyboardModifiers;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorPositionX;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorPositionY;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_MouseButtonState;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorIsVisible;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorFrameRect;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorReference;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorSeed;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorScale;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorIsDrawnInFramebuffer;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_KeyboardModifiers;
extern CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_KeyboardModifiersEvent;
extern CFStringRef kCMIOSampleBufferAttachmentKey_NoDataMarker;
extern CFStringRef kCMIOBlockBufferAttachmentKey_CVPixelBufferReference;

// A ready sample buffer over an image buffer, with the sequence number and discontinuity
// flags attached.
extern OSStatus CMIOSampleBufferCreateForImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                     CMVideoFormatDescriptionRef formatDescription,
                                                     const CMSampleTimingInfo* sampleTiming, UInt64 sequenceNumber,
                                                     UInt32 discontinuityFlags, CMSampleBufferRef* sBufOut);

extern void CMIOSampleBufferSetSequenceNumber(CFAllocatorRef allocator, CMSampleBufferRef sbuf, UInt64 sequenceNumber);
// kCMIOInvalidSequenceNumber when the buffer has none.
extern UInt64 CMIOSampleBufferGetSequenceNumber(CMSampleBufferRef sbuf);

extern void CMIOSampleBufferSetDiscontinuityFlags(CFAllocatorRef allocator, CMSampleBufferRef sbuf,
                                                  UInt32 discontinuityFlags);
// kCMIOSampleBufferNoDiscontinuities when the buffer has none.
extern UInt32 CMIOSampleBufferGetDiscontinuityFlags(CMSampleBufferRef sbuf);

extern OSStatus CMIOSampleBufferCopyNonRequiredAttachments(CMSampleBufferRef sourceSBuf, CMSampleBufferRef destSBuf,
                                                           CMAttachmentMode attachmentMode);
extern OSStatus CMIOSampleBufferCopySampleAttachments(CMSampleBufferRef sourceSBuf, CMSampleBufferRef destSBuf);

#pragma pack(pop)

#ifdef __cplusplus
}
#endif

#endif

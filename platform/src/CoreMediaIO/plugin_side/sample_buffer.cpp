// CoreMediaIO's sample-buffer calls, built on the public CoreMedia API: a CMIO sample buffer
// is a CoreMedia sample buffer that carries its sequence number and discontinuity flags as
// propagating attachments.
#include "CoreMediaIO/guarded_call.h"

#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <CoreMediaIO/CMIOHardware.h>
#include <CoreMediaIO/CMIOSampleBuffer.h>

#include <vector>

using zav_platform::cmio::guarded_call;

// The key strings are this platform's own; clients only ever use the constants.
CFStringRef kCMIOSampleBufferAttachmentKey_DiscontinuityFlags = CFSTR("CMIO.DiscontinuityFlags");
CFStringRef kCMIOSampleBufferAttachmentKey_SequenceNumber = CFSTR("CMIO.SequenceNumber");
CFStringRef kCMIOSampleBufferAttachmentKey_HDV1_PackData = CFSTR("CMIO.HDV1PackData");
CFStringRef kCMIOSampleBufferAttachmentKey_HDV2_VAUX = CFSTR("CMIO.HDV2VAUX");
CFStringRef kCMIOSampleBufferAttachmentKey_CAAudioTimeStamp = CFSTR("CMIO.CAAudioTimeStamp");
CFStringRef kCMIOSampleBufferAttachmentKey_SMPTETime = CFSTR("CMIO.SMPTETime");
CFStringRef kCMIOSampleBufferAttachmentKey_NativeSMPTEFrameCount = CFSTR("CMIO.NativeSMPTEFrameCount");
CFStringRef kCMIOSampleBufferAttachmentKey_NumberOfVideoFramesInBuffer = CFSTR("CMIO.NumberOfVideoFramesInBuffer");
CFStringRef kCMIOSampleBufferAttachmentKey_NumberOfVideoFramesInGOP = CFSTR("CMIO.NumberOfVideoFramesInGOP");
CFStringRef kCMIOSampleBufferAttachmentKey_MuxedSourcePresentationTimeStamp =
    CFSTR("CMIO.MuxedSourcePresentationTimeStamp");
CFStringRef kCMIOSampleBufferAttachmentKey_HostTime = CFSTR("CMIO.HostTime");
CFStringRef kCMIOSampleBufferAttachmentKey_RepeatedBufferContents = CFSTR("CMIO.RepeatedBufferContents");
CFStringRef kCMIOSampleBufferAttachmentKey_SourceAudioFormatDescription = CFSTR("CMIO.SourceAudioFormatDescription");
CFStringRef kCMIOSampleBufferAttachmentKey_PulldownCadenceInfo = CFSTR("CMIO.PulldownCadenceInfo");
CFStringRef kCMIOSampleBufferAttachmentKey_ClosedCaptionSampleBuffer = CFSTR("CMIO.ClosedCaptionSampleBuffer");
CFStringRef kCMIOSampleBufferAttachmentKey_ClientSequenceID = CFSTR("CMIO.ClientSequenceID");
CFStringRef kCMIOSampleBufferAttachmentKey_MouseAndKeyboardModifiers = CFSTR("CMIO.MouseAndKeyboardModifiers");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorPositionX = CFSTR("CursorPositionX");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorPositionY = CFSTR("CursorPositionY");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_MouseButtonState = CFSTR("MouseButtonState");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorIsVisible = CFSTR("CursorIsVisible");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorFrameRect = CFSTR("CursorFrameRect");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorReference = CFSTR("CursorReference");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorSeed = CFSTR("CursorSeed");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorScale = CFSTR("CursorScale");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_CursorIsDrawnInFramebuffer =
    CFSTR("CursorIsDrawnInFramebuffer");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_KeyboardModifiers = CFSTR("KeyboardModifiers");
CFStringRef kCMIOSampleBufferAttachment_MouseAndKeyboardModifiersKey_KeyboardModifiersEvent =
    CFSTR("KeyboardModifiersEvent");
CFStringRef kCMIOSampleBufferAttachmentKey_NoDataMarker = CFSTR("CMIO.NoDataMarker");
CFStringRef kCMIOBlockBufferAttachmentKey_CVPixelBufferReference = CFSTR("CMIO.CVPixelBufferReference");

namespace {

void set_number(CFAllocatorRef allocator, CMSampleBufferRef sbuf, CFStringRef key, CFNumberType type,
                const void* value) {
    if (sbuf == nullptr) return;
    CFNumberRef number = CFNumberCreate(allocator, type, value);
    if (number == nullptr) return;
    CMSetAttachment(sbuf, key, number, kCMAttachmentMode_ShouldPropagate);
    CFRelease(number);
}

bool get_number(CMSampleBufferRef sbuf, CFStringRef key, CFNumberType type, void* value) {
    if (sbuf == nullptr) return false;
    CFTypeRef attachment = CMGetAttachment(sbuf, key, nullptr);
    if (attachment == nullptr || CFGetTypeID(attachment) != CFNumberGetTypeID()) return false;
    return CFNumberGetValue(static_cast<CFNumberRef>(attachment), type, value) != 0;
}

bool is_required_key(CFTypeRef key) {
    return CFEqual(key, kCMIOSampleBufferAttachmentKey_SequenceNumber) ||
           CFEqual(key, kCMIOSampleBufferAttachmentKey_DiscontinuityFlags);
}

// Copies the attachments of one propagation mode from `source` to `destination`, the required
// ones (sequence number, discontinuity flags) only when `with_required`.
void copy_attachments(CMSampleBufferRef source, CMSampleBufferRef destination, CMAttachmentMode mode,
                      bool with_required) {
    CFDictionaryRef all = CMCopyDictionaryOfAttachments(kCFAllocatorDefault, source, mode);
    if (all == nullptr) return;
    const CFIndex count = CFDictionaryGetCount(all);
    std::vector<const void*> keys(static_cast<std::size_t>(count));
    std::vector<const void*> values(static_cast<std::size_t>(count));
    CFDictionaryGetKeysAndValues(all, keys.data(), values.data());
    for (CFIndex i = 0; i < count; ++i) {
        if (!with_required && is_required_key(keys[i])) continue;
        CMSetAttachment(destination, static_cast<CFStringRef>(keys[i]), values[i], mode);
    }
    CFRelease(all);
}

}  // namespace

extern "C" OSStatus CMIOSampleBufferCreateForImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                         CMVideoFormatDescriptionRef formatDescription,
                                                         const CMSampleTimingInfo* sampleTiming, UInt64 sequenceNumber,
                                                         UInt32 discontinuityFlags, CMSampleBufferRef* sBufOut) {
    return guarded_call("CMIOSampleBufferCreateForImageBuffer", OSStatus(kCMIOHardwareUnspecifiedError),
                        [&]() -> OSStatus {
                            if (sBufOut == nullptr || imageBuffer == nullptr || formatDescription == nullptr ||
                                sampleTiming == nullptr) {
                                return kCMSampleBufferError_RequiredParameterMissing;
                            }
                            CMSampleBufferRef created = nullptr;
                            OSStatus status = CMSampleBufferCreateReadyWithImageBuffer(
                                allocator, imageBuffer, formatDescription, sampleTiming, &created);
                            if (status != noErr) return status;
                            if (created == nullptr) return kCMSampleBufferError_AllocationFailed;
                            CMIOSampleBufferSetSequenceNumber(allocator, created, sequenceNumber);
                            CMIOSampleBufferSetDiscontinuityFlags(allocator, created, discontinuityFlags);
                            *sBufOut = created;
                            return noErr;
                        });
}

extern "C" void CMIOSampleBufferSetSequenceNumber(CFAllocatorRef allocator, CMSampleBufferRef sbuf,
                                                  UInt64 sequenceNumber) {
    guarded_call("CMIOSampleBufferSetSequenceNumber", 0, [&] {
        const SInt64 value = static_cast<SInt64>(sequenceNumber);
        set_number(allocator, sbuf, kCMIOSampleBufferAttachmentKey_SequenceNumber, kCFNumberSInt64Type, &value);
        return 0;
    });
}

extern "C" UInt64 CMIOSampleBufferGetSequenceNumber(CMSampleBufferRef sbuf) {
    return guarded_call("CMIOSampleBufferGetSequenceNumber", UInt64(kCMIOInvalidSequenceNumber), [&]() -> UInt64 {
        SInt64 value = 0;
        if (!get_number(sbuf, kCMIOSampleBufferAttachmentKey_SequenceNumber, kCFNumberSInt64Type, &value)) {
            return kCMIOInvalidSequenceNumber;
        }
        return static_cast<UInt64>(value);
    });
}

extern "C" void CMIOSampleBufferSetDiscontinuityFlags(CFAllocatorRef allocator, CMSampleBufferRef sbuf,
                                                      UInt32 discontinuityFlags) {
    guarded_call("CMIOSampleBufferSetDiscontinuityFlags", 0, [&] {
        const SInt32 value = static_cast<SInt32>(discontinuityFlags);
        set_number(allocator, sbuf, kCMIOSampleBufferAttachmentKey_DiscontinuityFlags, kCFNumberSInt32Type, &value);
        return 0;
    });
}

extern "C" UInt32 CMIOSampleBufferGetDiscontinuityFlags(CMSampleBufferRef sbuf) {
    return guarded_call(
        "CMIOSampleBufferGetDiscontinuityFlags", UInt32(kCMIOSampleBufferNoDiscontinuities), [&]() -> UInt32 {
            SInt32 value = 0;
            if (!get_number(sbuf, kCMIOSampleBufferAttachmentKey_DiscontinuityFlags, kCFNumberSInt32Type, &value)) {
                return kCMIOSampleBufferNoDiscontinuities;
            }
            return static_cast<UInt32>(value);
        });
}

extern "C" OSStatus CMIOSampleBufferCopyNonRequiredAttachments(CMSampleBufferRef sourceSBuf, CMSampleBufferRef destSBuf,
                                                               CMAttachmentMode attachmentMode) {
    return guarded_call("CMIOSampleBufferCopyNonRequiredAttachments", OSStatus(kCMIOHardwareUnspecifiedError),
                        [&]() -> OSStatus {
                            if (sourceSBuf == nullptr || destSBuf == nullptr) {
                                return kCMSampleBufferError_RequiredParameterMissing;
                            }
                            copy_attachments(sourceSBuf, destSBuf, attachmentMode, false);
                            return noErr;
                        });
}

extern "C" OSStatus CMIOSampleBufferCopySampleAttachments(CMSampleBufferRef sourceSBuf, CMSampleBufferRef destSBuf) {
    return guarded_call("CMIOSampleBufferCopySampleAttachments", OSStatus(kCMIOHardwareUnspecifiedError),
                        [&]() -> OSStatus {
                            if (sourceSBuf == nullptr || destSBuf == nullptr) {
                                return kCMSampleBufferError_RequiredParameterMissing;
                            }
                            copy_attachments(sourceSBuf, destSBuf, kCMAttachmentMode_ShouldPropagate, true);
                            copy_attachments(sourceSBuf, destSBuf, kCMAttachmentMode_ShouldNotPropagate, true);
                            return noErr;
                        });
}

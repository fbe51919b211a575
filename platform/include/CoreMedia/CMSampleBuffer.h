// CoreMedia sample buffers: media samples (here: one image buffer) with their format
// description, timing and attachments.
#ifndef ZAV_PLATFORM_CMSAMPLEBUFFER_H
#define ZAV_PLATFORM_CMSAMPLEBUFFER_H

#include <CoreMedia/CMBase.h>
#include <CoreMedia/CMTime.h>
#include <CoreMedia/CMFormatDescription.h>
#include <CoreMedia/CMAttachment.h>
#include <CoreVideo/CoreVideo.h>

CF_EXTERN_C_BEGIN

#pragma pack(push, 4)

enum {
    kCMSampleBufferError_AllocationFailed = -12730,
    kCMSampleBufferError_RequiredParameterMissing = -12731,
    kCMSampleBufferError_AlreadyHasDataBuffer = -12732,
    kCMSampleBufferError_BufferNotReady = -12733,
    kCMSampleBufferError_SampleIndexOutOfRange = -12734,
    kCMSampleBufferError_BufferHasNoSampleSizes = -12735,
    kCMSampleBufferError_BufferHasNoSampleTimingInfo = -12736,
    kCMSampleBufferError_ArrayTooSmall = -12737,
    kCMSampleBufferError_InvalidEntryCount = -12738,
    kCMSampleBufferError_CannotSubdivide = -12739,
    kCMSampleBufferError_SampleTimingInfoInvalid = -12740,
    kCMSampleBufferError_InvalidMediaTypeForOperation = -12741,
    kCMSampleBufferError_InvalidSampleData = -12742,
    kCMSampleBufferError_InvalidMediaFormat = -12743,
    kCMSampleBufferError_Invalidated = -12744,
    kCMSampleBufferError_DataFailed = -16750,
    kCMSampleBufferError_DataCanceled = -16751
};

typedef struct opaqueCMSampleBuffer* CMSampleBufferRef;

typedef struct {
    CMTime duration;
    CMTime presentationTimeStamp;
    CMTime decodeTimeStamp;
} CMSampleTimingInfo;

CM_EXPORT const CMSampleTimingInfo kCMTimingInfoInvalid;

typedef OSStatus (*CMSampleBufferMakeDataReadyCallback)(CMSampleBufferRef sbuf, void* makeDataReadyRefcon);

CM_EXPORT CFTypeID CMSampleBufferGetTypeID(void);

// The image buffer and format description are retained; the description must match the
// image buffer (kCMSampleBufferError_InvalidMediaFormat otherwise).
CM_EXPORT OSStatus CMSampleBufferCreateForImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                      Boolean dataReady,
                                                      CMSampleBufferMakeDataReadyCallback makeDataReadyCallback,
                                                      void* makeDataReadyRefcon,
                                                      CMVideoFormatDescriptionRef formatDescription,
                                                      const CMSampleTimingInfo* sampleTiming,
                                                      CMSampleBufferRef* sampleBufferOut);
CM_EXPORT OSStatus CMSampleBufferCreateReadyWithImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                            CMVideoFormatDescriptionRef formatDescription,
                                                            const CMSampleTimingInfo* sampleTiming,
                                                            CMSampleBufferRef* sampleBufferOut);

CM_EXPORT Boolean CMSampleBufferDataIsReady(CMSampleBufferRef sbuf);
CM_EXPORT OSStatus CMSampleBufferSetDataReady(CMSampleBufferRef sbuf);
CM_EXPORT OSStatus CMSampleBufferMakeDataReady(CMSampleBufferRef sbuf);
CM_EXPORT Boolean CMSampleBufferIsValid(CMSampleBufferRef sbuf);
CM_EXPORT OSStatus CMSampleBufferInvalidate(CMSampleBufferRef sbuf);

CM_EXPORT CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef sbuf);
CM_EXPORT CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef sbuf);
CM_EXPORT CMItemCount CMSampleBufferGetNumSamples(CMSampleBufferRef sbuf);
CM_EXPORT CMTime CMSampleBufferGetDuration(CMSampleBufferRef sbuf);
CM_EXPORT CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sbuf);
CM_EXPORT CMTime CMSampleBufferGetDecodeTimeStamp(CMSampleBufferRef sbuf);
CM_EXPORT CMTime CMSampleBufferGetOutputPresentationTimeStamp(CMSampleBufferRef sbuf);
CM_EXPORT OSStatus CMSampleBufferGetSampleTimingInfo(CMSampleBufferRef sbuf, CMItemIndex sampleIndex,
                                                     CMSampleTimingInfo* timingInfoOut);
CM_EXPORT OSStatus CMSampleBufferGetSampleTimingInfoArray(CMSampleBufferRef sbuf, CMItemCount numSampleTimingEntries,
                                                          CMSampleTimingInfo* timingArrayOut,
                                                          CMItemCount* timingArrayEntriesNeededOut);
CM_EXPORT size_t CMSampleBufferGetTotalSampleSize(CMSampleBufferRef sbuf);

#pragma pack(pop)

CF_EXTERN_C_END

#endif

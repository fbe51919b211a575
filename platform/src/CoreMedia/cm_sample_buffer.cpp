// CMSampleBuffer for image buffers.
#include "cm_sample_buffer.h"

using namespace zav_platform;

namespace zav_platform {

CFTypeID cm_sample_buffer_t::class_type_id() {
    static const CFTypeID id = register_cf_type("CMSampleBuffer");
    return id;
}

cm_sample_buffer_t::cm_sample_buffer_t(CVImageBufferRef image_buffer, CMFormatDescriptionRef format_description,
                                       const CMSampleTimingInfo& timing, bool data_ready,
                                       CMSampleBufferMakeDataReadyCallback make_data_ready,
                                       void* make_data_ready_refcon)
    : attachment_bearer_t(class_type_id()),
      m_data_ready(data_ready),
      m_make_data_ready(make_data_ready),
      m_p_make_data_ready_refcon(make_data_ready_refcon),
      m_p_image_buffer(static_cast<CVImageBufferRef>(const_cast<void*>(CFRetain(image_buffer)))),
      m_p_format_description(static_cast<CMFormatDescriptionRef>(CFRetain(format_description))),
      m_timing(timing) {}

cm_sample_buffer_t::~cm_sample_buffer_t() {
    CFRelease(m_p_image_buffer);
    CFRelease(m_p_format_description);
}

}  // namespace zav_platform

namespace {

cm_sample_buffer_t* sample_of(CMSampleBufferRef ref) {
    return cf_cast<cm_sample_buffer_t>(ref);
}

}  // namespace

const CMSampleTimingInfo kCMTimingInfoInvalid = {kCMTimeInvalid, kCMTimeInvalid, kCMTimeInvalid};

CFTypeID CMSampleBufferGetTypeID(void) {
    return cm_sample_buffer_t::class_type_id();
}

OSStatus CMSampleBufferCreateForImageBuffer(CFAllocatorRef, CVImageBufferRef imageBuffer, Boolean dataReady,
                                            CMSampleBufferMakeDataReadyCallback makeDataReadyCallback,
                                            void* makeDataReadyRefcon, CMVideoFormatDescriptionRef formatDescription,
                                            const CMSampleTimingInfo* sampleTiming,
                                            CMSampleBufferRef* sampleBufferOut) {
    if (imageBuffer == nullptr || formatDescription == nullptr || sampleTiming == nullptr || sampleBufferOut == nullptr)
        return kCMSampleBufferError_RequiredParameterMissing;
    if (CFGetTypeID(formatDescription) != CMFormatDescriptionGetTypeID() ||
        !CMVideoFormatDescriptionMatchesImageBuffer(formatDescription, imageBuffer))
        return kCMSampleBufferError_InvalidMediaFormat;
    *sampleBufferOut = cf_ref<CMSampleBufferRef>(new cm_sample_buffer_t(
        imageBuffer, formatDescription, *sampleTiming, dataReady != 0, makeDataReadyCallback, makeDataReadyRefcon));
    return noErr;
}

OSStatus CMSampleBufferCreateReadyWithImageBuffer(CFAllocatorRef allocator, CVImageBufferRef imageBuffer,
                                                  CMVideoFormatDescriptionRef formatDescription,
                                                  const CMSampleTimingInfo* sampleTiming,
                                                  CMSampleBufferRef* sampleBufferOut) {
    return CMSampleBufferCreateForImageBuffer(allocator, imageBuffer, true, nullptr, nullptr, formatDescription,
                                              sampleTiming, sampleBufferOut);
}

Boolean CMSampleBufferDataIsReady(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr && sample->m_data_ready.load();
}

OSStatus CMSampleBufferSetDataReady(CMSampleBufferRef sbuf) {
    cm_sample_buffer_t* sample = sample_of(sbuf);
    if (sample == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    sample->m_data_ready.store(true);
    return noErr;
}

OSStatus CMSampleBufferMakeDataReady(CMSampleBufferRef sbuf) {
    cm_sample_buffer_t* sample = sample_of(sbuf);
    if (sample == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    if (sample->m_data_ready.load()) return noErr;
    if (sample->m_make_data_ready == nullptr) return kCMSampleBufferError_BufferNotReady;
    const OSStatus status = sample->m_make_data_ready(sbuf, sample->m_p_make_data_ready_refcon);
    if (status == noErr) sample->m_data_ready.store(true);
    return status;
}

Boolean CMSampleBufferIsValid(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr && sample->m_valid.load();
}

OSStatus CMSampleBufferInvalidate(CMSampleBufferRef sbuf) {
    cm_sample_buffer_t* sample = sample_of(sbuf);
    if (sample == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    sample->m_valid.store(false);
    return noErr;
}

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr ? sample->image_buffer() : nullptr;
}

CMFormatDescriptionRef CMSampleBufferGetFormatDescription(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr ? sample->format_description() : nullptr;
}

CMItemCount CMSampleBufferGetNumSamples(CMSampleBufferRef sbuf) {
    return sample_of(sbuf) != nullptr ? 1 : 0;
}

CMTime CMSampleBufferGetDuration(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr ? sample->timing().duration : kCMTimeInvalid;
}

CMTime CMSampleBufferGetPresentationTimeStamp(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr ? sample->timing().presentationTimeStamp : kCMTimeInvalid;
}

CMTime CMSampleBufferGetDecodeTimeStamp(CMSampleBufferRef sbuf) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    return sample != nullptr ? sample->timing().decodeTimeStamp : kCMTimeInvalid;
}

CMTime CMSampleBufferGetOutputPresentationTimeStamp(CMSampleBufferRef sbuf) {
    return CMSampleBufferGetPresentationTimeStamp(sbuf);
}

OSStatus CMSampleBufferGetSampleTimingInfo(CMSampleBufferRef sbuf, CMItemIndex sampleIndex,
                                           CMSampleTimingInfo* timingInfoOut) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    if (sample == nullptr || timingInfoOut == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    if (sampleIndex != 0) return kCMSampleBufferError_SampleIndexOutOfRange;
    *timingInfoOut = sample->timing();
    return noErr;
}

OSStatus CMSampleBufferGetSampleTimingInfoArray(CMSampleBufferRef sbuf, CMItemCount numSampleTimingEntries,
                                                CMSampleTimingInfo* timingArrayOut,
                                                CMItemCount* timingArrayEntriesNeededOut) {
    const cm_sample_buffer_t* sample = sample_of(sbuf);
    if (sample == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    if (timingArrayEntriesNeededOut != nullptr) *timingArrayEntriesNeededOut = 1;
    if (timingArrayOut == nullptr) return noErr;
    if (numSampleTimingEntries < 1) return kCMSampleBufferError_ArrayTooSmall;
    timingArrayOut[0] = sample->timing();
    return noErr;
}

size_t CMSampleBufferGetTotalSampleSize(CMSampleBufferRef) {
    return 0;
}

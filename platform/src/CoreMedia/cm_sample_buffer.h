// The object behind CMSampleBufferRef: one image buffer with its format description, timing,
// readiness and attachments.
#ifndef ZAV_PLATFORM_CM_SAMPLE_BUFFER_H
#define ZAV_PLATFORM_CM_SAMPLE_BUFFER_H

#include <CoreMedia/CMSampleBuffer.h>

#include "attachment_bearer.h"

#include <atomic>

namespace zav_platform {

class cm_sample_buffer_t final : public attachment_bearer_t {
public:
    static CFTypeID class_type_id();

    // Retains the image buffer and the format description.
    cm_sample_buffer_t(CVImageBufferRef image_buffer, CMFormatDescriptionRef format_description,
                       const CMSampleTimingInfo& timing, bool data_ready,
                       CMSampleBufferMakeDataReadyCallback make_data_ready, void* make_data_ready_refcon);
    ~cm_sample_buffer_t() override;

    CVImageBufferRef image_buffer() const { return m_p_image_buffer; }
    CMFormatDescriptionRef format_description() const { return m_p_format_description; }
    const CMSampleTimingInfo& timing() const { return m_timing; }

    std::atomic<bool> m_data_ready;
    std::atomic<bool> m_valid{true};
    const CMSampleBufferMakeDataReadyCallback m_make_data_ready;
    void* const m_p_make_data_ready_refcon;

private:
    const CVImageBufferRef m_p_image_buffer;
    const CMFormatDescriptionRef m_p_format_description;
    const CMSampleTimingInfo m_timing;
};

}  // namespace zav_platform

#endif

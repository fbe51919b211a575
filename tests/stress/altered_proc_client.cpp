#include "altered_proc_client.h"

#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <CoreVideo/CoreVideo.h>

namespace zav_test::stress {

namespace {

int middle_grey_of(CVPixelBufferRef image) {
    if (CVPixelBufferLockBaseAddress(image, kCVPixelBufferLock_ReadOnly) != kCVReturnSuccess) return -1;
    const std::size_t x = CVPixelBufferGetWidth(image) / 2, y = CVPixelBufferGetHeight(image) / 2;
    const auto* row =
        static_cast<const uint8_t*>(CVPixelBufferGetBaseAddress(image)) + y * CVPixelBufferGetBytesPerRow(image);
    const int grey = CVPixelBufferGetPixelFormatType(image) == kCVPixelFormatType_422YpCbCr8
                         ? row[(x & ~std::size_t(1)) * 2 + 1]
                         : row[x * 4];
    CVPixelBufferUnlockBaseAddress(image, kCVPixelBufferLock_ReadOnly);
    return grey;
}

}  // namespace

altered_proc_client_t::altered_proc_client_t(CMIOStreamID stream) : m_stream(stream) {
    if (CMIOStreamCopyBufferQueue(stream, &queue_altered, this, &m_p_queue) != kCMIOHardwareNoError)
        m_p_queue = nullptr;
}

altered_proc_client_t::~altered_proc_client_t() {
    if (m_p_queue == nullptr) return;
    CMIOStreamCopyBufferQueue(m_stream, nullptr, nullptr, nullptr);
    while (const void* sample = CMSimpleQueueDequeue(m_p_queue)) CFRelease(sample);
    CFRelease(m_p_queue);
}

std::vector<seen_sample_t> altered_proc_client_t::seen() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_seen;
}

bool altered_proc_client_t::wait_until(const std::function<bool(const std::vector<seen_sample_t>&)>& done,
                                       std::chrono::milliseconds deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, deadline, [&] { return done(m_seen); });
}

void altered_proc_client_t::queue_altered(CMIOObjectID /*stream*/, void* /*token*/, void* refcon) {
    static_cast<altered_proc_client_t*>(refcon)->take_all();
}

void altered_proc_client_t::take_all() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        while (const void* taken = CMSimpleQueueDequeue(m_p_queue)) {
            auto* const sample = static_cast<CMSampleBufferRef>(const_cast<void*>(taken));
            seen_sample_t seen;
            seen.sequence_number = CMIOSampleBufferGetSequenceNumber(sample);
            seen.discontinuity = CMIOSampleBufferGetDiscontinuityFlags(sample);
            if (CVImageBufferRef image = CMSampleBufferGetImageBuffer(sample)) {
                seen.pixel_format = CVPixelBufferGetPixelFormatType(image);
                seen.width = CVPixelBufferGetWidth(image);
                seen.height = CVPixelBufferGetHeight(image);
                seen.middle_grey = middle_grey_of(image);
            }
            CFRelease(sample);
            m_seen.push_back(seen);
        }
    }
    m_changed.notify_all();
}

}  // namespace zav_test::stress

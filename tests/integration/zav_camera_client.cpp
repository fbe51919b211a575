#include "zav_camera_client.h"

#include <CoreMediaIO/CMIOSampleBuffer.h>
#include <zav_platform/probe.h>

#include <cstdlib>
#include <cstring>
#include <thread>

namespace zav_test {

std::string read_string(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    OSStatus status = 0;
    const CFStringRef value = read_property<CFStringRef>(object, selector, kCMIOObjectPropertyScopeGlobal, &status);
    if (status != kCMIOHardwareNoError || value == nullptr) return "";
    char text[512] = {};
    CFStringGetCString(value, text, sizeof(text), kCFStringEncodingUTF8);
    CFRelease(value);
    return text;
}

void use_plugin_folder(const char* folder) {
    zav_platform::probe::unload_plug_ins();
    setenv("CMIO_DAL_PLUGIN_PATH", folder, 1);
}

camera_client_t::camera_client_t() {
    const CMIOObjectPropertyAddress devices = address_of(kCMIOHardwarePropertyDevices);
    UInt32 size = 0, used = 0;
    if (CMIOObjectGetPropertyDataSize(kCMIOObjectSystemObject, &devices, 0, nullptr, &size) != kCMIOHardwareNoError)
        return;
    std::vector<CMIOObjectID> ids(size / sizeof(CMIOObjectID));
    if (CMIOObjectGetPropertyData(kCMIOObjectSystemObject, &devices, 0, nullptr, size, &used, ids.data()) !=
        kCMIOHardwareNoError)
        return;
    for (CMIOObjectID id : ids) {
        if (read_string(id, kCMIOObjectPropertyName) == "ZAV Video") m_device = id;
    }
    if (m_device == kCMIOObjectUnknown) return;
    m_stream = read_property<CMIOStreamID>(m_device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
    if (m_stream == 0) m_stream = kCMIOObjectUnknown;
}

camera_client_t::~camera_client_t() {
    if (m_running) stop();
    if (m_p_queue != nullptr) {
        // Whatever the client left in the queue is its own to release.
        while (CMSimpleQueueGetCount(m_p_queue) > 0) CFRelease(CMSimpleQueueDequeue(m_p_queue));
        CMIOStreamCopyBufferQueue(m_stream, nullptr, nullptr, nullptr);
        CFRelease(m_p_queue);
    }
}

OSStatus camera_client_t::set_format(OSType pixel_format, int32_t width, int32_t height) {
    CMVideoFormatDescriptionRef description = nullptr;
    CMVideoFormatDescriptionCreate(kCFAllocatorDefault, pixel_format, width, height, nullptr, &description);
    const CMIOObjectPropertyAddress where = address_of(kCMIOStreamPropertyFormatDescription);
    const OSStatus status = CMIOObjectSetPropertyData(m_stream, &where, 0, nullptr, sizeof(description), &description);
    if (description != nullptr) CFRelease(description);
    return status;
}

OSStatus camera_client_t::start() {
    if (m_p_queue == nullptr) {
        const OSStatus status = CMIOStreamCopyBufferQueue(m_stream, &queue_altered, this, &m_p_queue);
        if (status != kCMIOHardwareNoError) return status;
    }
    const OSStatus status = CMIODeviceStartStream(m_device, m_stream);
    m_running = status == kCMIOHardwareNoError;
    return status;
}

OSStatus camera_client_t::stop() {
    const OSStatus status = CMIODeviceStopStream(m_device, m_stream);
    if (status == kCMIOHardwareNoError) m_running = false;
    return status;
}

void camera_client_t::queue_altered(CMIOObjectID /*stream*/, void* /*token*/, void* refcon) {
    auto* const self = static_cast<camera_client_t*>(refcon);
    {
        std::lock_guard<std::mutex> lock(self->m_mutex);
        ++self->m_altered;
    }
    self->m_altered_signal.notify_all();
}

bool camera_client_t::wait_for_altered(std::size_t count, std::chrono::milliseconds deadline) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_altered_signal.wait_for(lock, deadline, [&] { return m_altered.load() >= count; });
}

std::size_t camera_client_t::queued() const {
    return m_p_queue != nullptr ? std::size_t(CMSimpleQueueGetCount(m_p_queue)) : 0;
}

std::vector<sample_t> camera_client_t::take(std::size_t count, std::chrono::milliseconds deadline, bool with_pixels) {
    std::vector<sample_t> samples;
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (samples.size() < count && m_p_queue != nullptr && std::chrono::steady_clock::now() < end) {
        auto* const buffer = static_cast<CMSampleBufferRef>(const_cast<void*>(CMSimpleQueueDequeue(m_p_queue)));
        if (buffer == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        sample_t sample;
        sample.arrival = std::chrono::steady_clock::now();
        sample.sequence_number = CMIOSampleBufferGetSequenceNumber(buffer);
        sample.discontinuity = CMIOSampleBufferGetDiscontinuityFlags(buffer);
        sample.presentation_time = CMSampleBufferGetPresentationTimeStamp(buffer);
        sample.duration = CMSampleBufferGetDuration(buffer);
        if (CVImageBufferRef image = CMSampleBufferGetImageBuffer(buffer)) {
            sample.pixel_format = CVPixelBufferGetPixelFormatType(image);
            sample.width = CVPixelBufferGetWidth(image);
            sample.height = CVPixelBufferGetHeight(image);
            sample.row_bytes = CVPixelBufferGetBytesPerRow(image);
            if (with_pixels) {
                CVPixelBufferLockBaseAddress(image, kCVPixelBufferLock_ReadOnly);
                const auto* const base = static_cast<const uint8_t*>(CVPixelBufferGetBaseAddress(image));
                sample.pixels.assign(base, base + sample.row_bytes * sample.height);
                CVPixelBufferUnlockBaseAddress(image, kCVPixelBufferLock_ReadOnly);
            }
        }
        CFRelease(buffer);
        samples.push_back(std::move(sample));
    }
    return samples;
}

}  // namespace zav_test

#include "cmio_camera.h"

#include <CoreMediaIO/CMIOSampleBuffer.h>

#include <algorithm>

namespace zav_camera {

namespace {

CMIOObjectPropertyAddress address_of(CMIOObjectPropertySelector selector,
                                     CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal) {
    return {selector, scope, kCMIOObjectPropertyElementMain};
}

// An array-valued property: size asked first, then read.
template <typename value_t>
std::vector<value_t> array_property(CMIOObjectID object, CMIOObjectPropertySelector selector,
                                    CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal) {
    const CMIOObjectPropertyAddress where = address_of(selector, scope);
    UInt32 size = 0, used = 0;
    if (CMIOObjectGetPropertyDataSize(object, &where, 0, nullptr, &size) != kCMIOHardwareNoError) return {};
    std::vector<value_t> values(size / sizeof(value_t));
    if (values.empty()) return {};
    if (CMIOObjectGetPropertyData(object, &where, 0, nullptr, size, &used, values.data()) != kCMIOHardwareNoError)
        return {};
    values.resize(used / sizeof(value_t));
    return values;
}

format_t format_of(CMFormatDescriptionRef description) {
    format_t format;
    if (description == nullptr) return format;
    format.pixel_format = CMFormatDescriptionGetMediaSubType(description);
    const CMVideoDimensions dimensions = CMVideoFormatDescriptionGetDimensions(description);
    format.width = dimensions.width;
    format.height = dimensions.height;
    return format;
}

}  // namespace

std::string fourcc_text(uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((code >> shift) & 0xff);
        text += (c >= 32 && c < 127) ? c : '?';
    }
    return text;
}

std::vector<CMIOObjectID> devices() {
    return array_property<CMIOObjectID>(kCMIOObjectSystemObject, kCMIOHardwarePropertyDevices);
}

std::string string_property(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    const CMIOObjectPropertyAddress where = address_of(selector);
    CFStringRef value = nullptr;
    UInt32 used = 0;
    if (CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(value), &used, &value) != kCMIOHardwareNoError ||
        value == nullptr)
        return "";
    char text[1024] = {};
    CFStringGetCString(value, text, sizeof(text), kCFStringEncodingUTF8);
    CFRelease(value);
    return text;
}

uint32_t uint_property(CMIOObjectID object, CMIOObjectPropertySelector selector, uint32_t fallback,
                       CMIOObjectPropertyScope scope) {
    const CMIOObjectPropertyAddress where = address_of(selector, scope);
    uint32_t value = 0;
    UInt32 used = 0;
    if (CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(value), &used, &value) != kCMIOHardwareNoError)
        return fallback;
    return value;
}

double double_property(CMIOObjectID object, CMIOObjectPropertySelector selector) {
    const CMIOObjectPropertyAddress where = address_of(selector);
    Float64 value = 0;
    UInt32 used = 0;
    if (CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(value), &used, &value) != kCMIOHardwareNoError)
        return 0;
    return value;
}

std::vector<CMIOStreamID> input_streams(CMIOObjectID device) {
    return array_property<CMIOStreamID>(device, kCMIODevicePropertyStreams, kCMIODevicePropertyScopeInput);
}

std::vector<format_t> stream_formats(CMIOStreamID stream) {
    // The format list property hands its descriptions out with an extra retain that releasing
    // the array does not undo (ZAV Video makes the array without element callbacks), while other
    // cameras' arrays own their elements; no client can release both correctly, so this list is
    // the current format, which every camera answers with one plain reference.
    const format_t format = current_format(stream);
    if (format.pixel_format == 0) return {};
    return {format};
}

format_t current_format(CMIOStreamID stream) {
    const CMIOObjectPropertyAddress where = address_of(kCMIOStreamPropertyFormatDescription);
    CMFormatDescriptionRef description = nullptr;
    UInt32 used = 0;
    if (CMIOObjectGetPropertyData(stream, &where, 0, nullptr, sizeof(description), &used, &description) !=
        kCMIOHardwareNoError)
        return {};
    const format_t format = format_of(description);
    if (description != nullptr) CFRelease(description);
    return format;
}

CMIOObjectID find_device(const std::string& name) {
    for (CMIOObjectID device : devices())
        if (string_property(device, kCMIOObjectPropertyName) == name) return device;
    return kCMIOObjectUnknown;
}

running_stream_t::running_stream_t(CMIOObjectID device, CMIOStreamID stream) : m_device(device), m_stream(stream) {
    m_status = CMIOStreamCopyBufferQueue(stream, &altered, this, &m_p_queue);
    if (m_status == kCMIOHardwareNoError) m_status = CMIODeviceStartStream(device, stream);
}

running_stream_t::~running_stream_t() {
    if (m_status == kCMIOHardwareNoError) CMIODeviceStopStream(m_device, m_stream);
    if (m_p_queue != nullptr) {
        while (CMSimpleQueueGetCount(m_p_queue) > 0) CFRelease(CMSimpleQueueDequeue(m_p_queue));
        CMIOStreamCopyBufferQueue(m_stream, nullptr, nullptr, nullptr);
        CFRelease(m_p_queue);
    }
}

void running_stream_t::altered(CMIOObjectID, void*, void* refcon) {
    auto* const self = static_cast<running_stream_t*>(refcon);
    {
        std::lock_guard<std::mutex> lock(self->m_mutex);
        ++self->m_pending;
    }
    self->m_signal.notify_one();
}

std::size_t running_stream_t::queue_depth() const {
    return m_p_queue != nullptr ? std::size_t(CMSimpleQueueGetCount(m_p_queue)) : 0;
}

bool running_stream_t::next(sample_t& sample, std::chrono::milliseconds timeout, bool with_pixels,
                            const picture_reader_t& read_new_picture) {
    if (m_p_queue == nullptr) return false;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    CMSampleBufferRef buffer = nullptr;
    while (buffer == nullptr) {
        buffer = static_cast<CMSampleBufferRef>(const_cast<void*>(CMSimpleQueueDequeue(m_p_queue)));
        if (buffer != nullptr) break;
        // Woken by the queue-altered procedure; the short wait also covers a sample that came
        // between the dequeue and the wait.
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_signal.wait_until(lock,
                                std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5)),
                                [this] { return m_pending > 0; }))
            m_pending = 0;
        if (std::chrono::steady_clock::now() >= deadline && CMSimpleQueueGetCount(m_p_queue) == 0) return false;
    }
    sample = sample_t{};
    sample.sequence_number = CMIOSampleBufferGetSequenceNumber(buffer);
    sample.discontinuity = CMIOSampleBufferGetDiscontinuityFlags(buffer);
    if (CVImageBufferRef image = CMSampleBufferGetImageBuffer(buffer)) {
        sample.same_picture_as_before = image == m_p_last_picture;
        m_p_last_picture = image;
        sample.format.pixel_format = CVPixelBufferGetPixelFormatType(image);
        sample.format.width = int32_t(CVPixelBufferGetWidth(image));
        sample.format.height = int32_t(CVPixelBufferGetHeight(image));
        sample.row_bytes = CVPixelBufferGetBytesPerRow(image);
        const bool read = read_new_picture && !sample.same_picture_as_before;
        if ((with_pixels || read) &&
            CVPixelBufferLockBaseAddress(image, kCVPixelBufferLock_ReadOnly) == kCVReturnSuccess) {
            const auto* const base = static_cast<const uint8_t*>(CVPixelBufferGetBaseAddress(image));
            if (base != nullptr && with_pixels)
                sample.pixels.assign(base, base + sample.row_bytes * std::size_t(sample.format.height));
            if (base != nullptr && read) read_new_picture({base, sample.row_bytes, sample.format});
            CVPixelBufferUnlockBaseAddress(image, kCVPixelBufferLock_ReadOnly);
        }
    }
    CFRelease(buffer);
    return true;
}

}  // namespace zav_camera

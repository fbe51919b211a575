#include "objects/simple_input_stream.h"

#include "host/cf_ref.h"
#include "host/property_helpers.h"
#include "host/zav_log.h"

#include <exception>
#include <mutex>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// The name clients see on the stream's clock.
constexpr const char* k_clock_name = "ZAV Virtual Camera Stream Clock";

struct frame_rate_range_t {
    Float64 m_minimum;
    Float64 m_maximum;
};

}  // namespace

simple_input_stream_t::simple_input_stream_t(cmio_object_t* owner)
    : cmio_object_t(kCMIOStreamClassID, owner),
      m_p_queue(std::make_shared<sample_queue_t>(k_queue_capacity)),
      m_format(ZAVlib_FourCC_video_type_UYVY, 1280, 720, 30000, 1000) {
    m_p_clock = std::make_shared<cmio_clock_t>(k_clock_name, CMTimeMake(1, 10), 100, 10, nullptr);
}

simple_input_stream_t::~simple_input_stream_t() {
    // A failure here cannot be reported to anyone; the process cannot go on with a thread
    // running on a dead stream.
    try {
        stop();
        unpublish();
    } catch (...) {
        std::terminate();
    }
}

CMIOObjectPropertyScope simple_input_stream_t::get_scope() const {
    return kCMIODevicePropertyScopeInput;
}

void simple_input_stream_t::start() {
    if (m_running) {
        zav_log("simple_input_stream_t::start called when it's already running");
        return;
    }
    m_running = true;
    m_stop.exchange(false);
    try {
        m_capture_thread = std::thread(&simple_input_stream_t::capture_thread_proc, this);
    } catch (...) {
        // No thread runs: the stream stays idle so that a later start can try again.
        m_running = false;
        throw;
    }
}

void simple_input_stream_t::stop() {
    if (!m_running) {
        zav_log("simple_input_stream_t::stop called when it's already running");
        return;
    }
    m_running = false;
    m_stop.exchange(true);
    if (m_capture_thread.joinable()) m_capture_thread.join();
}

bool simple_input_stream_t::copy_buffer_queue(CMIODeviceStreamQueueAlteredProc proc, void* refcon,
                                              CMSimpleQueueRef* queue_out) {
    m_p_queue_altered_proc.store(proc, std::memory_order_relaxed);
    m_p_queue_altered_refcon.store(refcon, std::memory_order_relaxed);
    if (queue_out != nullptr) {
        CMSimpleQueueRef queue = m_p_queue->get_ref();
        if (queue != nullptr) CFRetain(queue);
        *queue_out = queue;
    }
    return true;
}

CVPixelBufferPoolRef simple_input_stream_t::create_pixel_buffer_pool(unsigned int fourcc, int width, int height) {
    const int32_t values[] = {static_cast<int32_t>(fourcc), width, height};
    const cf_ref_t<CFNumberRef> pixel_format(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &values[0]));
    const cf_ref_t<CFNumberRef> pixel_width(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &values[1]));
    const cf_ref_t<CFNumberRef> pixel_height(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &values[2]));
    const void* keys[] = {kCVPixelBufferPixelFormatTypeKey, kCVPixelBufferWidthKey, kCVPixelBufferHeightKey};
    const void* numbers[] = {pixel_format.get(), pixel_width.get(), pixel_height.get()};
    const cf_ref_t<CFDictionaryRef> attributes(CFDictionaryCreate(
        kCFAllocatorDefault, keys, numbers, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CVPixelBufferPoolRef pool = nullptr;
    CVPixelBufferPoolCreate(kCFAllocatorDefault, nullptr, attributes.get(), &pool);
    return pool;
}

bool simple_input_stream_t::has_property(const address_t& address, Boolean& is_settable) const {
    switch (address.mSelector) {
        case kCMIOStreamPropertyFormatDescription:
        case kCMIOStreamPropertyFrameRate:
        case kCMIOStreamPropertyMinimumFrameRate:
            is_settable = true;
            return true;
        case kCMIOStreamPropertyFormatDescriptions:
        case kCMIOStreamPropertyFrameRates:
        case kCMIOStreamPropertyFrameRateRanges:
        case kCMIOStreamPropertyClock:
        case kCMIOStreamPropertyDirection:
            is_settable = false;
            return true;
        default:
            return cmio_object_t::has_property(address, is_settable);
    }
}

OSStatus simple_input_stream_t::get_property(const address_t& address, UInt32 qualifier_data_size,
                                             const void* qualifier_data, UInt32 data_size, UInt32* data_used,
                                             void* data) {
    // The format is read under the lock that its writers take, so that a client changing it on
    // one thread and reading it on another never sees half a record.
    const auto current_format = [this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_format;
    };
    // The description is retained for the caller under the same lock: a copy of the format would
    // let go of it again at once, and a writer may release the stream's own reference meanwhile.
    const auto retained_description = [this] {
        std::lock_guard<std::mutex> lock(m_mutex);
        CMFormatDescriptionRef description = m_format.get_ref();
        if (description != nullptr) CFRetain(description);
        return description;
    };
    switch (address.mSelector) {
        case kCMIOStreamPropertyFormatDescription:
            return get_property_helper<CMFormatDescriptionRef>(data_size, data_used, data, retained_description);
        case kCMIOStreamPropertyFormatDescriptions: {
            if (data_used != nullptr) *data_used = sizeof(CFArrayRef);
            if (data == nullptr) return kCMIOHardwareNoError;
            if (data_size != sizeof(CFArrayRef)) return kCMIOHardwareBadPropertySizeError;
            // The array is made without element callbacks, so the description keeps the one
            // retain taken here for the caller even after the array goes.
            const void* description = retained_description();
            const CFArrayRef array = CFArrayCreate(kCFAllocatorDefault, &description, 1, nullptr);
            std::memcpy(data, &array, sizeof(array));
            return kCMIOHardwareNoError;
        }
        case kCMIOStreamPropertyFrameRate:
        case kCMIOStreamPropertyMinimumFrameRate:
        case kCMIOStreamPropertyFrameRates:
            return get_property_helper<Float64>(data_size, data_used, data,
                                                [&] { return current_format().get_frame_rate(); });
        case kCMIOStreamPropertyFrameRateRanges:
            return get_property_helper<frame_rate_range_t>(data_size, data_used, data, [&] {
                const Float64 rate = current_format().get_frame_rate();
                return frame_rate_range_t{rate, rate};
            });
        case kCMIOStreamPropertyClock:
            return get_property_helper<CFTypeRef>(data_size, data_used, data, [this] {
                CFTypeRef clock = m_p_clock->get_ref();
                if (clock != nullptr) CFRetain(clock);
                return clock;
            });
        case kCMIOStreamPropertyDirection:
            return get_property_value<UInt32>(data_size, data_used, data, 0);
        default:
            return cmio_object_t::get_property(address, qualifier_data_size, qualifier_data, data_size, data_used,
                                               data);
    }
}

OSStatus simple_input_stream_t::set_property(const address_t& address, UInt32 qualifier_data_size,
                                             const void* qualifier_data, UInt32 data_size, const void* data,
                                             bool& changed) {
    switch (address.mSelector) {
        case kCMIOStreamPropertyFrameRate:
        case kCMIOStreamPropertyMinimumFrameRate:
            // The rate follows the source, never a client: accepted so that clients that set it
            // go on, and ignored.
            return kCMIOHardwareNoError;
        case kCMIOStreamPropertyFormatDescription: {
            CMFormatDescriptionRef description = nullptr;
            const OSStatus status = set_property_helper(data_size, data, description);
            if (status != kCMIOHardwareNoError) return status;
            bool updated = false;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                updated = m_format.update(description);
            }
            return updated ? kCMIOHardwareNoError : kCMIOHardwareUnspecifiedError;
        }
        default:
            return cmio_object_t::set_property(address, qualifier_data_size, qualifier_data, data_size, data, changed);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

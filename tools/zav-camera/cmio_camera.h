// A camera as a CoreMediaIO client sees it: devices and their properties, and one stream that is
// started and read sample by sample.
#ifndef ZAV_TOOLS_ZAV_CAMERA_CMIO_CAMERA_H
#define ZAV_TOOLS_ZAV_CAMERA_CMIO_CAMERA_H

#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardware.h>
#include <CoreVideo/CoreVideo.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zav_camera {

std::string fourcc_text(uint32_t code);

struct format_t {
    OSType pixel_format = 0;
    int32_t width = 0;
    int32_t height = 0;
};

// Every device the system lists.
std::vector<CMIOObjectID> devices();
std::string string_property(CMIOObjectID object, CMIOObjectPropertySelector selector);
// A 32-bit property, or `fallback` when it cannot be read.
uint32_t uint_property(CMIOObjectID object, CMIOObjectPropertySelector selector, uint32_t fallback,
                       CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal);
double double_property(CMIOObjectID object, CMIOObjectPropertySelector selector);
// The device's input streams.
std::vector<CMIOStreamID> input_streams(CMIOObjectID device);
// The formats a stream offers, and the current one.
std::vector<format_t> stream_formats(CMIOStreamID stream);
format_t current_format(CMIOStreamID stream);
// The device of that name, or kCMIOObjectUnknown.
CMIOObjectID find_device(const std::string& name);

// What one dequeued sample held.
struct sample_t {
    uint64_t sequence_number = 0;
    uint32_t discontinuity = 0;
    bool same_picture_as_before = false;
    format_t format;
    std::size_t row_bytes = 0;
    std::vector<uint8_t> pixels;  // row_bytes x height, only when asked for
};

// A sample's picture while its buffer is locked; the bytes are valid only during the call it is
// passed to.
struct picture_view_t {
    const uint8_t* p_data = nullptr;
    std::size_t row_bytes = 0;
    format_t format;
};
using picture_reader_t = std::function<void(const picture_view_t&)>;

// A started stream; stopped when destroyed.
class running_stream_t {
public:
    running_stream_t(CMIOObjectID device, CMIOStreamID stream);
    ~running_stream_t();
    running_stream_t(const running_stream_t&) = delete;
    running_stream_t& operator=(const running_stream_t&) = delete;

    // The status of the queue request or the start; 0 when the stream runs.
    OSStatus status() const { return m_status; }
    // Waits up to `timeout` for the next sample; false when none came. `read_new_picture`, when
    // given, is shown each picture that is not the one of the sample before.
    bool next(sample_t& sample, std::chrono::milliseconds timeout, bool with_pixels,
              const picture_reader_t& read_new_picture = nullptr);
    std::size_t queue_depth() const;

private:
    static void altered(CMIOObjectID stream, void* token, void* refcon);

    CMIOObjectID m_device;
    CMIOStreamID m_stream;
    CMSimpleQueueRef m_p_queue = nullptr;
    OSStatus m_status = 0;
    const void* m_p_last_picture = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_signal;
    std::size_t m_pending = 0;
};

}  // namespace zav_camera

#endif

// The camera as an application sees it: the ZAV Video device and stream found through the DAL
// system, their properties, and the samples a client dequeues after starting the stream.
#ifndef ZAV_TESTS_INTEGRATION_ZAV_CAMERA_CLIENT_H
#define ZAV_TESTS_INTEGRATION_ZAV_CAMERA_CLIENT_H

#include <CoreMedia/CoreMedia.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreVideo/CoreVideo.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace zav_test {

inline CMIOObjectPropertyAddress address_of(CMIOObjectPropertySelector selector,
                                            CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal) {
    return {selector, scope, kCMIOObjectPropertyElementMain};
}

// A fixed-size property value read as a client does; the status goes to `status` when given.
template <class value_t>
value_t read_property(CMIOObjectID object, CMIOObjectPropertySelector selector,
                      CMIOObjectPropertyScope scope = kCMIOObjectPropertyScopeGlobal, OSStatus* status = nullptr) {
    const CMIOObjectPropertyAddress where = address_of(selector, scope);
    value_t value{};
    UInt32 used = 0;
    const OSStatus result = CMIOObjectGetPropertyData(object, &where, 0, nullptr, sizeof(value), &used, &value);
    if (status != nullptr) *status = result;
    return value;
}

// A string property as UTF-8 ("" on failure); the client's reference is released.
std::string read_string(CMIOObjectID object, CMIOObjectPropertySelector selector);

// Points the DAL system at `folder` and lets go of every plug-in it had loaded.
void use_plugin_folder(const char* folder);

// What a client keeps of one dequeued sample.
struct sample_t {
    uint64_t sequence_number = 0;
    uint32_t discontinuity = 0;
    CMTime presentation_time{};
    CMTime duration{};
    OSType pixel_format = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t row_bytes = 0;
    std::vector<uint8_t> pixels;  // row_bytes x height
    std::chrono::steady_clock::time_point arrival;
};

// The ZAV Video device and its stream, with the client's side of the sample queue.
class camera_client_t {
public:
    // Finds the camera; `found()` tells whether it is there.
    camera_client_t();
    // Stops a stream still running and hands the queue back.
    ~camera_client_t();
    camera_client_t(const camera_client_t&) = delete;
    camera_client_t& operator=(const camera_client_t&) = delete;

    bool found() const { return m_device != kCMIOObjectUnknown && m_stream != kCMIOObjectUnknown; }
    CMIOObjectID device() const { return m_device; }
    CMIOObjectID stream() const { return m_stream; }

    // Sets the stream's format through its format description property.
    OSStatus set_format(OSType pixel_format, int32_t width, int32_t height);
    // Asks for the queue (with this client's altered procedure), then starts the stream.
    OSStatus start();
    OSStatus stop();

    // Dequeues until `count` samples were taken or the deadline passed; `with_pixels` copies
    // each picture. Dequeued samples are released.
    std::vector<sample_t> take(std::size_t count, std::chrono::milliseconds deadline, bool with_pixels = false);
    // Samples sitting in the queue now.
    std::size_t queued() const;
    // Times the altered procedure was called.
    std::size_t altered_count() const { return m_altered.load(); }
    // Waits until the altered procedure was called `count` times in all.
    bool wait_for_altered(std::size_t count, std::chrono::milliseconds deadline);

private:
    static void queue_altered(CMIOObjectID stream, void* token, void* refcon);

    CMIOObjectID m_device = kCMIOObjectUnknown;
    CMIOObjectID m_stream = kCMIOObjectUnknown;
    CMSimpleQueueRef m_p_queue = nullptr;
    bool m_running = false;
    std::atomic<std::size_t> m_altered{0};
    std::mutex m_mutex;
    std::condition_variable m_altered_signal;
};

}  // namespace zav_test

#endif

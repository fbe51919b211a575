// The camera's one input stream: its properties, the clients' sample queue, and the start and
// stop of the capture thread that fills that queue.
#ifndef ZAV_PLUGIN_OBJECTS_SIMPLE_INPUT_STREAM_H
#define ZAV_PLUGIN_OBJECTS_SIMPLE_INPUT_STREAM_H

#include "host/cmio_object.h"
#include "objects/cm_queue.h"
#include "objects/cmio_clock.h"
#include "objects/video_format.h"

#include <Accelerate/Accelerate.h>
#include <CoreMediaIO/CMIOHardwarePlugIn.h>
#include <CoreVideo/CoreVideo.h>
#include <zav/zav_lib.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>

// Symbols meant for other code in the process; everything else in the plug-in is hidden.
#define ZAV_EXPORTED __attribute__((visibility("default")))

namespace Drivers::Mac::ZAV::VirtualCamera {

class simple_input_stream_t : public cmio_object_t {
public:
    using sample_queue_t = cm_queue_t<CMSampleBufferRef>;
    // Scratch memory that the capture thread lends to `fill`: pointer and capacity in bytes.
    // Grown with realloc, freed with free.
    using scratch_t = std::pair<void*, std::size_t>;
    // The intermediate UYVY buffer and alpha plane of a BGRA source, kept between frames.
    using conversion_cache_t = std::pair<CVPixelBufferRef, uint8_t*>;

    static constexpr int32_t k_queue_capacity = 16;

    explicit simple_input_stream_t(cmio_object_t* owner);
    // Stops the capture thread and withdraws the stream from the host.
    ~simple_input_stream_t() override;

    CMIOObjectPropertyScope get_scope() const override;
    OSStatus set_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                          UInt32 data_size, const void* data, bool& changed) override;
    bool has_property(const address_t& address, Boolean& is_settable) const override;
    OSStatus get_property(const address_t& address, UInt32 qualifier_data_size, const void* qualifier_data,
                          UInt32 data_size, UInt32* data_used, void* data) override;
    using cmio_object_t::has_property;

    // Starts the capture thread; logged and ignored when running. Throws std::system_error when
    // no thread can be made.
    void start();
    // Stops and joins the capture thread; logged and ignored when not running.
    void stop();
    bool is_running() const { return m_running; }

    // Records the client's queue-altered procedure (null to forget it) and, when `queue_out` is
    // given, hands out the sample queue retained once for the caller. Always true.
    bool copy_buffer_queue(CMIODeviceStreamQueueAlteredProc proc, void* refcon, CMSimpleQueueRef* queue_out);

    // A pool of pixel buffers of one format and size that the caller owns; null on failure.
    static CVPixelBufferPoolRef create_pixel_buffer_pool(unsigned int fourcc, int width, int height);

    // The name of the network source: "HOSTNAME (base name)".
    std::string get_full_zav_router_name() const;
    // Records a new source frame rate in the current format and tells the host.
    ZAV_EXPORTED void captured_framerate_change(int num, int den);
    // The base name of the network source.
    ZAV_EXPORTED static const char* m_p_zav_router_name;

    // Fills `dst`, locked pixel memory of `format`, from one received frame.
    static void fill(const ZAVlib_video_frame_v2_t& frame, const vImage_Buffer& dst, const video_format_t& format,
                     scratch_t& scratch, conversion_cache_t& cache);
    // Scales `src` into `dst`, both of the CoreVideo layout `pixel_format`.
    static void fill(const vImage_Buffer& src, const vImage_Buffer& dst, uint32_t pixel_format, scratch_t& scratch);

private:
    // The body of the capture thread.
    void capture_thread_proc();

    std::shared_ptr<sample_queue_t> m_p_queue;
    // Written by clients on host threads, read by the capture thread after each enqueue.
    std::atomic<CMIODeviceStreamQueueAlteredProc> m_p_queue_altered_proc{nullptr};
    std::atomic<void*> m_p_queue_altered_refcon{nullptr};
    std::shared_ptr<cmio_clock_t> m_p_clock;
    // Guarded by m_mutex for writers and for the capture thread's copy.
    video_format_t m_format;
    // Host-side view only; the capture thread looks at m_stop.
    bool m_running = false;
    std::thread m_capture_thread;
    std::atomic<bool> m_stop{false};
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera

#endif

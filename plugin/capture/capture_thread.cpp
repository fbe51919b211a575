// The stream's worker: receives frames from the network source, paces them at the stream's frame
// rate, fills pixel buffers and hands timestamped samples to the client's queue.
#include "capture/pacing.h"
#include "host/cf_ref.h"
#include "host/zav_log.h"
#include "objects/simple_input_stream.h"

#include <CoreMediaIO/CMIOSampleBuffer.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// The schedule restarts when it is off by this much either way (a stall or a clock jump).
constexpr int64_t k_schedule_limit_ms = 2001;

int64_t system_clock_microseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

// Everything the thread creates, so that every way out of it (a failed start-up, the stop flag,
// an exception) releases exactly what exists, in the order the receive library needs.
struct capture_resources_t {
    ZAVlib_recv_instance_t m_p_receiver = nullptr;
    ZAVlib_framesync_instance_t m_p_framesync = nullptr;
    cf_ref_t<CVPixelBufferPoolRef> m_pool;
    simple_input_stream_t::conversion_cache_t m_cache{nullptr, nullptr};
    // The last picture sent, sent again while nothing newer arrives.
    cf_ref_t<CVPixelBufferRef> m_previous_buffer;
    cf_ref_t<CMVideoFormatDescriptionRef> m_previous_description;
    simple_input_stream_t::scratch_t m_scratch{nullptr, 0};
    // A frame pulled and not yet handed back.
    ZAVlib_video_frame_v2_t m_frame;
    bool m_frame_held = false;

    capture_resources_t() = default;
    capture_resources_t(const capture_resources_t&) = delete;
    capture_resources_t& operator=(const capture_resources_t&) = delete;
    ~capture_resources_t() { teardown(); }

    void free_frame() {
        if (m_frame_held) ZAVlib_framesync_free_video(m_p_framesync, &m_frame);
        m_frame_held = false;
    }

    void teardown() {
        free_frame();
        if (m_p_framesync != nullptr) ZAVlib_framesync_destroy(m_p_framesync);
        m_p_framesync = nullptr;
        if (m_p_receiver != nullptr) ZAVlib_recv_destroy(m_p_receiver);
        m_p_receiver = nullptr;
        m_pool.reset();
        if (m_cache.first != nullptr) CFRelease(m_cache.first);
        m_cache.first = nullptr;
        delete[] m_cache.second;
        m_cache.second = nullptr;
        m_previous_buffer.reset();
        m_previous_description.reset();
        std::free(m_scratch.first);
        m_scratch = {nullptr, 0};
    }
};

}  // namespace

void simple_input_stream_t::capture_thread_proc() {
    capture_resources_t resources;
    // Nothing may leave the thread: an escaping exception would end the host's process. The
    // stream then delivers nothing, as after any other failure of the thread.
    try {
        zav_log("Started stream capture thread");
        video_format_t format;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            format = m_format;
        }
        const std::string source_name = get_full_zav_router_name();

        ZAVlib_recv_create_v3_t settings;
        settings.source_to_connect_to.p_zav_name = source_name.c_str();
        settings.source_to_connect_to.p_url_address = nullptr;
        settings.color_format = format.get_recv_color_zav();
        settings.bandwidth = ZAVlib_recv_bandwidth_highest;
        settings.allow_video_fields = false;
        settings.p_zav_recv_name = "ZAV Virtual Input Driver";
        resources.m_p_receiver = ZAVlib_recv_create_v4(&settings, nullptr);
        if (resources.m_p_receiver == nullptr) {
            zav_log("Failed to create ZAV receiver");
            return;
        }
        resources.m_p_framesync = ZAVlib_framesync_create(resources.m_p_receiver);
        if (resources.m_p_framesync == nullptr) {
            resources.teardown();
            zav_log("Failed to create ZAV framesync");
            return;
        }
        resources.m_pool.reset(create_pixel_buffer_pool(format.get_fourcc_cm(), format.get_xres(), format.get_yres()));
        if (!resources.m_pool) {
            resources.teardown();
            zav_log("Failed to create ZAV receiving pixel buffer pool");
            return;
        }

        const CMTime frame_duration = CMTimeMake(int64_t(format.get_fr_den()), format.get_fr_num());
        CMTime presentation_time = {};
        int64_t start_time = system_clock_microseconds();
        int64_t elapsed_ticks = 0;
        uint64_t sequence_number = 0;
        unsigned char resync = 1;

        // Wraps the picture in a sample at `presentation_time`, hands it to the client, tells the
        // client so, and counts it. The queue owns the sample from here; a full queue refuses it
        // and it is lost: the client is expected to drain.
        const auto send = [&](CVPixelBufferRef buffer, CMVideoFormatDescriptionRef description, UInt32 discontinuity) {
            const CMSampleTimingInfo timing = {frame_duration, presentation_time, presentation_time};
            CMSampleBufferRef sample = nullptr;
            CMIOSampleBufferCreateForImageBuffer(kCFAllocatorDefault, buffer, description, &timing, sequence_number,
                                                 discontinuity, &sample);
            m_p_queue->enqueue(sample);
            const CMIODeviceStreamQueueAlteredProc proc = m_p_queue_altered_proc.load(std::memory_order_relaxed);
            if (proc != nullptr) proc(m_object_id, sample, m_p_queue_altered_refcon.load(std::memory_order_relaxed));
            ++sequence_number;
        };

        while (!m_stop.load()) {
            // Absolute deadlines (start + n intervals): the time spent below is absorbed by the
            // next wait, and rounding never accumulates.
            elapsed_ticks += rescale_rounded(k_pacing_ticks_per_second, format.get_fr_den(), format.get_fr_num());
            const int64_t deadline_ms = rescale_rounded(elapsed_ticks, 1000, k_pacing_ticks_per_second);
            const int64_t wait_us = start_time + deadline_ms * 1000 - system_clock_microseconds();

            resources.m_frame = ZAVlib_video_frame_v2_t{};
            ZAVlib_framesync_capture_video(resources.m_p_framesync, &resources.m_frame,
                                           ZAVlib_frame_format_type_progressive);
            if (resources.m_frame.p_data != nullptr) {
                resources.m_frame_held = true;
                const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
                // Whole seconds over a nanosecond timescale: the clock is re-based on this.
                if (resync != 0) presentation_time = CMTimeMake(int64_t(now), 1000000000);
                m_p_clock->post_timing_event(presentation_time, static_cast<unsigned long long>(now), resync);

                // Held from its creation, so that nothing is lost if filling throws.
                cf_ref_t<CVPixelBufferRef> buffer;
                if (CVPixelBufferPoolCreatePixelBuffer(nullptr, resources.m_pool.get(), buffer.out()) ==
                    kCVReturnSuccess) {
                    CVPixelBufferLockBaseAddress(buffer.get(), 0);
                    const vImage_Buffer image = {
                        CVPixelBufferGetBaseAddress(buffer.get()), CVPixelBufferGetHeight(buffer.get()),
                        CVPixelBufferGetWidth(buffer.get()), CVPixelBufferGetBytesPerRow(buffer.get())};
                    fill(resources.m_frame, image, format, resources.m_scratch, resources.m_cache);
                    CVPixelBufferUnlockBaseAddress(buffer.get(), 0);

                    CMVideoFormatDescriptionCreateForImageBuffer(kCFAllocatorDefault, buffer.get(),
                                                                 resources.m_previous_description.out());
                    resources.m_previous_buffer = std::move(buffer);
                    send(resources.m_previous_buffer.get(), resources.m_previous_description.get(),
                         kCMIOSampleBufferNoDiscontinuities);
                    presentation_time = CMTimeAdd(presentation_time, frame_duration);
                    resync = 0;
                }
                resources.free_frame();
            } else if (resources.m_previous_buffer) {
                // Nothing new: the last picture again, marked as a break in the stream.
                const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
                presentation_time = CMTimeMake(int64_t(now), 1000000000);
                m_p_clock->post_timing_event(presentation_time, static_cast<unsigned long long>(now), 1);
                send(resources.m_previous_buffer.get(), resources.m_previous_description.get(),
                     kCMIOSampleBufferDiscontinuityFlag_UnknownDiscontinuity);
                resync = 1;
            }

            const int64_t wait_ms = wait_us / 1000;
            if (wait_ms >= k_schedule_limit_ms || wait_ms <= -k_schedule_limit_ms) {
                zav_log("Frame-sync wait time is cray-cray! \n");
                start_time = system_clock_microseconds();
                elapsed_ticks = 0;
            } else if (wait_us >= 1000) {
                std::this_thread::sleep_for(std::chrono::milliseconds(wait_ms));
            }
        }
    } catch (const std::exception& error) {
        zav_log("capture thread stopped by an exception: %s", error.what());
    } catch (...) {
        zav_log("capture thread stopped by an unknown exception");
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

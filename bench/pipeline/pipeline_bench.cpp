// The capture path timed as it runs: the ZAV Video bundle loaded through the DAL system with the
// scripted source handing out one picture (without copying it), streamed at the camera's rate.
//   - CPU time per frame of the capture thread (measured on that thread in the client's
//     queue-altered procedure, which runs there), for three source and output combinations;
//   - pacing error: each sample's arrival against the ideal schedule (n x interval, anchored at
//     the median offset), p50 and p99 of its size, at 30 fps through the DAL system and at
//     60000/1001 fps on a stream object whose rate was changed as a source change would (no
//     client can set the rate).
// Usage: pipeline_bench [seconds of pacing per rate, default 10]
#include "objects/simple_input_stream.h"
#include "scripted_source.h"
#include "zav_camera_client.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using zav_test::camera_client_t;
namespace source = zav_test::scripted_source;

// What the queue-altered procedure records, on the capture thread, for each sample.
struct recorder_t {
    std::mutex mutex;
    std::vector<double> thread_cpu_seconds;
    std::vector<double> arrival_seconds;

    static void record(CMIOObjectID, void*, void* refcon) {
        auto* const self = static_cast<recorder_t*>(refcon);
        timespec cpu{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
        const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
        std::lock_guard<std::mutex> lock(self->mutex);
        self->thread_cpu_seconds.push_back(double(cpu.tv_sec) + double(cpu.tv_nsec) * 1e-9);
        self->arrival_seconds.push_back(now);
    }
};

source::frame_t make_frame(ZAVlib_FourCC_video_type_e fourcc, int width, int height) {
    source::frame_t frame;
    frame.fourcc = fourcc;
    frame.width = width;
    frame.height = height;
    frame.stride = width * (fourcc == ZAVlib_FourCC_video_type_UYVY ? 2 : 4);
    frame.bytes.resize(std::size_t(frame.stride) * std::size_t(height));
    for (std::size_t i = 0; i < frame.bytes.size(); ++i) frame.bytes[i] = uint8_t((i * 7 + i / 4093) & 0xff);
    return frame;
}

// Drains the client's queue (releasing the samples) until `until`.
void drain(CMSimpleQueueRef queue, std::chrono::steady_clock::time_point until) {
    while (std::chrono::steady_clock::now() < until) {
        while (const void* sample = CMSimpleQueueDequeue(queue)) CFRelease(sample);
        std::this_thread::sleep_for(2ms);
    }
    while (const void* sample = CMSimpleQueueDequeue(queue)) CFRelease(sample);
}

// Streams from the bundle through the client API for `seconds` and records each sample.
bool stream_through_dal(OSType output, int width, int height, const source::frame_t& frame, double seconds,
                        recorder_t& recorder) {
    zav_test::use_plugin_folder(ZAV_TEST_PLUGIN_DIR);
    source::reset();
    source::copy_each_pull(false);
    source::send(frame);
    camera_client_t camera;
    if (!camera.found() || camera.set_format(output, width, height) != kCMIOHardwareNoError) return false;
    CMSimpleQueueRef queue = nullptr;
    if (CMIOStreamCopyBufferQueue(camera.stream(), &recorder_t::record, &recorder, &queue) != kCMIOHardwareNoError)
        return false;
    bool ok = CMIODeviceStartStream(camera.device(), camera.stream()) == kCMIOHardwareNoError;
    if (ok) {
        drain(queue, std::chrono::steady_clock::now() +
                         std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds)));
        ok = CMIODeviceStopStream(camera.device(), camera.stream()) == kCMIOHardwareNoError;
    }
    drain(queue, std::chrono::steady_clock::now());
    CMIOStreamCopyBufferQueue(camera.stream(), nullptr, nullptr, nullptr);
    CFRelease(queue);
    return ok;
}

double cpu_per_frame(const recorder_t& recorder) {
    // The first samples carry the start-up (pool, first conversion buffer); they are left out.
    const std::size_t skip = 5;
    const auto& cpu = recorder.thread_cpu_seconds;
    if (cpu.size() < skip + 2) return NAN;
    return (cpu.back() - cpu[skip]) / double(cpu.size() - 1 - skip);
}

struct pacing_t {
    double p50_ms = NAN, p99_ms = NAN, max_ms = NAN;
    std::size_t samples = 0;
};

pacing_t pacing_error(const std::vector<double>& arrivals, double interval) {
    pacing_t result;
    if (arrivals.size() < 10) return result;
    std::vector<double> offsets;
    for (std::size_t n = 0; n < arrivals.size(); ++n)
        offsets.push_back(arrivals[n] - arrivals[0] - double(n) * interval);
    std::vector<double> sorted = offsets;
    std::sort(sorted.begin(), sorted.end());
    const double anchor = sorted[sorted.size() / 2];
    std::vector<double> errors;
    for (double offset : offsets) errors.push_back(std::fabs(offset - anchor) * 1000.0);
    std::sort(errors.begin(), errors.end());
    result.samples = errors.size();
    result.p50_ms = errors[errors.size() / 2];
    result.p99_ms = errors[std::min(errors.size() - 1, std::size_t(double(errors.size()) * 0.99))];
    result.max_ms = errors.back();
    return result;
}

// The same measurement on a stream object made here, whose rate a source change set.
pacing_t pacing_on_stream(int num, int den, double seconds) {
    using Drivers::Mac::ZAV::VirtualCamera::simple_input_stream_t;
    source::reset();
    source::copy_each_pull(false);
    source::send(make_frame(ZAVlib_FourCC_video_type_UYVY, 1280, 720));
    recorder_t recorder;
    {
        simple_input_stream_t stream(nullptr);
        stream.captured_framerate_change(num, den);
        CMSimpleQueueRef queue = nullptr;
        stream.copy_buffer_queue(&recorder_t::record, &recorder, &queue);
        stream.start();
        drain(queue, std::chrono::steady_clock::now() +
                         std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds)));
        stream.stop();
        drain(queue, std::chrono::steady_clock::now());
        CFRelease(queue);
    }
    return pacing_error(recorder.arrival_seconds, double(den) / double(num));
}

}  // namespace

int main(int argc, char** argv) {
    const double pacing_seconds = argc > 1 ? std::atof(argv[1]) : 10.0;
    struct cpu_case_t {
        const char* name;
        ZAVlib_FourCC_video_type_e source_fourcc;
        int source_width, source_height;
        OSType output;
        int width, height;
    };
    // A 'BGRA' stream receives BGRX from a 4:2:2 source (the library converts before the plug-in).
    const cpu_case_t cases[] = {
        {"1920x1080 UYVY -> 1280x720 '2vuy'", ZAVlib_FourCC_video_type_UYVY, 1920, 1080, kCVPixelFormatType_422YpCbCr8,
         1280, 720},
        {"1920x1080 BGRA -> 1280x720 '2vuy'", ZAVlib_FourCC_video_type_BGRA, 1920, 1080, kCVPixelFormatType_422YpCbCr8,
         1280, 720},
        {"1280x720 UYVY (as BGRX) -> 1280x720 'BGRA'", ZAVlib_FourCC_video_type_BGRX, 1280, 720,
         kCVPixelFormatType_32BGRA, 1280, 720},
    };
    std::printf("%-44s %14s %18s %18s\n", "capture path (30 fps, 4 s)", "CPU ms/frame", "% core at 30 fps",
                "% core at 60 fps");
    for (const cpu_case_t& c : cases) {
        recorder_t recorder;
        const bool ok = stream_through_dal(c.output, c.width, c.height,
                                           make_frame(c.source_fourcc, c.source_width, c.source_height), 4.0, recorder);
        const double cpu = ok ? cpu_per_frame(recorder) : NAN;
        std::printf("%-44s %14.3f %18.2f %18.2f\n", c.name, cpu * 1000.0, cpu * 30 * 100, cpu * 60 * 100);
    }

    std::printf("\n%-44s %8s %10s %10s %10s\n", "pacing error (|arrival - schedule|)", "samples", "p50 ms", "p99 ms",
                "max ms");
    recorder_t recorder;
    if (stream_through_dal(kCVPixelFormatType_422YpCbCr8, 1280, 720,
                           make_frame(ZAVlib_FourCC_video_type_UYVY, 1280, 720), pacing_seconds, recorder)) {
        const pacing_t p = pacing_error(recorder.arrival_seconds, 1.0 / 30.0);
        std::printf("%-44s %8zu %10.3f %10.3f %10.3f\n", "30 fps, through the DAL system", p.samples, p.p50_ms,
                    p.p99_ms, p.max_ms);
    }
    const pacing_t p = pacing_on_stream(60000, 1001, pacing_seconds);
    std::printf("%-44s %8zu %10.3f %10.3f %10.3f\n", "60000/1001 fps, stream object", p.samples, p.p50_ms, p.p99_ms,
                p.max_ms);
    return 0;
}

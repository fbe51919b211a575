// Receives zav-send's 1920x1080 60 fps test pattern over loopback (zav-send runs as its own
// process, so this process's CPU time is the receiver's) for UYVY and BGRA, and prints per format:
// frames received, the CPU time per frame of the receiver's network thread and of the whole process
// beside the time of one memcpy of the frame's bytes,
// and the latency from the send time stamped in each frame to its first hand-out (p50, p99).
// Last, the CPU time of a receiver whose source is absent.
// Usage: receive_bench [seconds per format, default 5]
#include <zav/zav_lib.h>
#include <zav/zav_lib_ext.h>

#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "common/monotonic.h"

namespace {

using namespace std::chrono;

double cpu_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Run time of this process's threads other than the calling one: the receiver's network thread,
// without the pull loop of this thread. From the scheduler's nanosecond counters (Linux); -1
// where they cannot be read.
double other_threads_cpu_seconds() {
    const long self = long(syscall(SYS_gettid));
    DIR* p_dir = opendir("/proc/self/task");
    if (p_dir == nullptr) return -1;
    double total = 0;
    bool read_any = false;
    while (const dirent* p_entry = readdir(p_dir)) {
        const long tid = std::strtol(p_entry->d_name, nullptr, 10);
        if (tid <= 0 || tid == self) continue;
        const std::string path = "/proc/self/task/" + std::string(p_entry->d_name) + "/schedstat";
        if (FILE* p_file = std::fopen(path.c_str(), "r")) {
            unsigned long long run_ns = 0;
            if (std::fscanf(p_file, "%llu", &run_ns) == 1) {
                total += double(run_ns) / 1e9;
                read_any = true;
            }
            std::fclose(p_file);
        }
    }
    closedir(p_dir);
    return read_any ? total : -1;
}

// Median time of one memcpy of `bytes` between two buffers that were touched before.
double memcpy_seconds(std::size_t bytes) {
    std::vector<uint8_t> a(bytes, 1), b(bytes, 2);
    std::vector<double> times;
    for (int i = 0; i < 41; ++i) {
        const auto start = steady_clock::now();
        std::memcpy(b.data(), a.data(), bytes);
        asm volatile("" : : "r"(b.data()) : "memory");
        times.push_back(duration<double>(steady_clock::now() - start).count());
        std::swap(a, b);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// Median time of one memcpy of `bytes` whose source and destination are not in the cache: each
// copy uses buffers that a dozen other copies (over 100 MB) went through since, as a receiver's
// frame buffers and the kernel's socket buffers are by the time they are copied.
double cold_memcpy_seconds(std::size_t bytes) {
    constexpr int pairs = 12;
    std::vector<std::vector<uint8_t>> from(pairs, std::vector<uint8_t>(bytes, 1)),
        to(pairs, std::vector<uint8_t>(bytes, 2));
    std::vector<double> times;
    for (int i = 0; i < 4 * pairs; ++i) {
        const int k = i % pairs;
        const auto start = steady_clock::now();
        std::memcpy(to[k].data(), from[k].data(), bytes);
        asm volatile("" : : "r"(to[k].data()) : "memory");
        times.push_back(duration<double>(steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, std::size_t(p * double(values.size())))];
}

struct result_t {
    const char* format;
    std::size_t frame_bytes;
    uint64_t frames;
    double cpu_per_frame;         // the whole process
    double thread_cpu_per_frame;  // the receiver's thread alone
    double memcpy_time;
    double cold_memcpy_time;
    double p50, p99;
};

result_t run(const char* format, const char* sampling, std::size_t bytes_per_pixel, double seconds) {
    const uint16_t port = zav_test::free_loopback_port();
    const std::string port_text = std::to_string(port);
    // The sender writes its sources line into a throw-away folder, not the user's.
    zav_test::child_process_t sender({ZAV_SEND_PATH, "--size", "1920x1080", "--rate", "60", "--format", format,
                                      "--port", port_text, "--seconds", std::to_string(seconds + 2), "--no-dnssd"},
                                     {"XDG_CONFIG_HOME=/tmp/zav-receive-bench"});
    if (!sender.started() || !zav_test::wait_for_listener(port, 10s)) {
        std::fprintf(stderr, "cannot start %s\n", ZAV_SEND_PATH);
        std::exit(1);
    }
    const std::string address =
        "127.0.0.1:" + port_text + " sampling=" + sampling + "; width=1920; height=1080; exactframerate=60";
    ZAVlib_recv_create_v3_t settings;
    settings.source_to_connect_to.p_url_address = address.c_str();
    settings.color_format = ZAVlib_recv_color_format_UYVY_BGRA;
    ZAVlib_recv_instance_t recv = ZAVlib_recv_create_v4(&settings, nullptr);
    ZAVlib_framesync_instance_t sync = ZAVlib_framesync_create(recv);

    // Wait for the first frame, then measure over `seconds`.
    const auto first_deadline = steady_clock::now() + 10s;
    for (;;) {
        ZAVlib_video_frame_v2_t frame;
        ZAVlib_framesync_capture_video(sync, &frame, ZAVlib_frame_format_type_progressive);
        const bool got = frame.p_data != nullptr;
        ZAVlib_framesync_free_video(sync, &frame);
        if (got || steady_clock::now() > first_deadline) break;
        std::this_thread::sleep_for(milliseconds(5));
    }
    ZAVlib_ext_counters_t before{}, after{};
    ZAVlib_ext_recv_get_counters(recv, &before);
    const double cpu_before = cpu_seconds();
    const double thread_cpu_before = other_threads_cpu_seconds();
    std::vector<double> latencies;
    int64_t last_stamp = 0;
    const auto end = steady_clock::now() + duration<double>(seconds);
    while (steady_clock::now() < end) {
        ZAVlib_video_frame_v2_t frame;
        ZAVlib_framesync_capture_video(sync, &frame, ZAVlib_frame_format_type_progressive);
        if (frame.p_data && frame.timestamp != last_stamp) {
            last_stamp = frame.timestamp;
            latencies.push_back(double(Drivers::Mac::ZAV::wall_clock_100ns() - frame.timestamp) / 1e4);
        }
        ZAVlib_framesync_free_video(sync, &frame);
        std::this_thread::sleep_for(microseconds(500));
    }
    const double cpu = cpu_seconds() - cpu_before;
    const double thread_cpu = other_threads_cpu_seconds() - thread_cpu_before;
    ZAVlib_ext_recv_get_counters(recv, &after);
    ZAVlib_framesync_destroy(sync);
    ZAVlib_recv_destroy(recv);
    sender.stop(SIGTERM, 5s);

    result_t result{format, 1920 * 1080 * bytes_per_pixel, after.frames - before.frames, 0, 0, 0, 0, 0, 0};
    result.cpu_per_frame = result.frames ? cpu / double(result.frames) : 0;
    result.thread_cpu_per_frame = result.frames && thread_cpu_before >= 0 ? thread_cpu / double(result.frames) : 0;
    result.memcpy_time = memcpy_seconds(result.frame_bytes);
    result.cold_memcpy_time = cold_memcpy_seconds(result.frame_bytes);
    result.p50 = percentile(latencies, 0.50);
    result.p99 = percentile(latencies, 0.99);
    return result;
}

// CPU time a receiver costs while its source is absent (lookups, refused connects, back-off).
double absent_source_cpu(double seconds) {
    setenv("ZAV_SOURCES", "/nonexistent/zav/sources", 1);
    ZAVlib_recv_create_v3_t settings;
    settings.source_to_connect_to.p_zav_name = "NOWHERE (Absent Source)";
    ZAVlib_recv_instance_t recv = ZAVlib_recv_create_v4(&settings, nullptr);
    const double before = cpu_seconds();
    std::this_thread::sleep_for(duration<double>(seconds));
    const double used = cpu_seconds() - before;
    ZAVlib_recv_destroy(recv);
    unsetenv("ZAV_SOURCES");
    return used;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const result_t results[] = {run("uyvy", "YCbCr-4:2:2", 2, seconds), run("bgra", "BGRA", 4, seconds)};
    std::printf("\nreceive 1920x1080 at 60 fps over loopback, %.0f s per format\n", seconds);
    std::printf("%-6s %8s %6s %10s %11s %10s %9s %9s %10s %11s %11s\n", "format", "frame MB", "frames", "thread ms",
                "process ms", "memcpy ms", "x memcpy", "cold ms", "x cold", "latency p50", "latency p99");
    for (const result_t& r : results)
        std::printf("%-6s %8.2f %6llu %10.3f %11.3f %10.3f %8.2fx %9.3f %9.2fx %8.2f ms %8.2f ms\n", r.format,
                    double(r.frame_bytes) / 1e6, static_cast<unsigned long long>(r.frames),
                    r.thread_cpu_per_frame * 1e3, r.cpu_per_frame * 1e3, r.memcpy_time * 1e3,
                    r.memcpy_time > 0 ? r.thread_cpu_per_frame / r.memcpy_time : 0, r.cold_memcpy_time * 1e3,
                    r.cold_memcpy_time > 0 ? r.thread_cpu_per_frame / r.cold_memcpy_time : 0, r.p50, r.p99);
    std::printf(
        "(CPU per frame. thread: the receiver's network thread; process: also this program's 2 kHz pull loop;\n"
        " memcpy: one copy of the frame's bytes in the cache; cold: one copy from and to memory out of it)\n");
    const double absent_seconds = 3;
    std::printf("receiver with an absent source: %.2f ms CPU in %.0f s\n", absent_source_cpu(absent_seconds) * 1e3,
                absent_seconds);
    return 0;
}

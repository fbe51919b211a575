// A receiver by name and nothing else, for the DNS-SD test: it waits for one frame from the named
// source and says what arrived. Exit status 0 when a frame came, 1 when none did in time.
// Usage: dnssd_probe "HOSTNAME (Source Name)" SECONDS
#include <zav/zav_lib.h>
#include <zav/zav_lib_ext.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: dnssd_probe NAME SECONDS\n");
        return 2;
    }
    ZAVlib_recv_create_v3_t settings;
    settings.source_to_connect_to.p_zav_name = argv[1];
    ZAVlib_recv_instance_t recv = ZAVlib_recv_create_v4(&settings, nullptr);
    ZAVlib_framesync_instance_t sync = ZAVlib_framesync_create(recv);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(argv[2]));
    int status = 1;
    while (status != 0 && std::chrono::steady_clock::now() < end) {
        ZAVlib_video_frame_v2_t frame;
        ZAVlib_framesync_capture_video(sync, &frame, ZAVlib_frame_format_type_progressive);
        if (frame.p_data) {
            std::printf("dnssd_probe: received %dx%d from \"%s\"\n", frame.xres, frame.yres, argv[1]);
            status = 0;
        }
        ZAVlib_framesync_free_video(sync, &frame);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ZAVlib_ext_counters_t counters{};
    ZAVlib_ext_recv_get_counters(recv, &counters);
    if (status != 0)
        std::printf("dnssd_probe: nothing from \"%s\" (connections %llu)\n", argv[1],
                    static_cast<unsigned long long>(counters.connections));
    ZAVlib_framesync_destroy(sync);
    ZAVlib_recv_destroy(recv);
    return status;
}

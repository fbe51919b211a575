// zav-camera: lists cameras, shows their properties, streams from the ZAV Video camera with a
// live status line, and writes frames (Y4M) and snapshots (PNG).
#include "cmio_camera.h"
#include "latency_stats.h"
#include "picture_files.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "stamp/time_stamp.h"

namespace {

using namespace zav_camera;
using clock_type = std::chrono::steady_clock;

constexpr const char* k_camera_name = "ZAV Video";
// How long a started camera may take to send its first frame.
constexpr std::chrono::milliseconds k_first_frame_timeout{5000};

enum exit_code_t { k_ok = 0, k_usage = 1, k_camera_error = 2, k_no_frames = 3, k_file_error = 4 };

void usage() {
    std::fprintf(stderr,
                 "usage: zav-camera list\n"
                 "       zav-camera info [NAME]\n"
                 "       zav-camera stream [--format 2vuy|BGRA] [--size WxH] [--seconds N] [--y4m FILE]\n"
                 "       zav-camera snapshot FILE.png\n");
}

std::string format_text(const format_t& format) {
    return "'" + fourcc_text(format.pixel_format) + "' " + std::to_string(format.width) + "x" +
           std::to_string(format.height);
}

int list() {
    const std::vector<CMIOObjectID> all = devices();
    if (all.empty()) std::printf("no cameras\n");
    for (CMIOObjectID device : all) {
        std::printf("%s\n  maker: %s\n  UID:   %s\n", string_property(device, kCMIOObjectPropertyName).c_str(),
                    string_property(device, kCMIOObjectPropertyManufacturer).c_str(),
                    string_property(device, kCMIODevicePropertyDeviceUID).c_str());
        for (CMIOStreamID stream : input_streams(device))
            for (const format_t& format : stream_formats(stream))
                std::printf("  format: %s at %.3f fps\n", format_text(format).c_str(),
                            double_property(stream, kCMIOStreamPropertyFrameRate));
    }
    return k_ok;
}

int info(const std::string& name) {
    const CMIOObjectID device = find_device(name);
    if (device == kCMIOObjectUnknown) {
        std::fprintf(stderr, "zav-camera: no camera named \"%s\"\n", name.c_str());
        return k_camera_error;
    }
    std::printf("device %u\n", unsigned(device));
    std::printf("  name:                %s\n", string_property(device, kCMIOObjectPropertyName).c_str());
    std::printf("  manufacturer:        %s\n", string_property(device, kCMIOObjectPropertyManufacturer).c_str());
    std::printf("  model UID:           %s\n", string_property(device, kCMIODevicePropertyModelUID).c_str());
    std::printf("  device UID:          %s\n", string_property(device, kCMIODevicePropertyDeviceUID).c_str());
    std::printf("  transport:           '%s'\n",
                fourcc_text(uint_property(device, kCMIODevicePropertyTransportType, 0)).c_str());
    std::printf("  alive:               %u\n", uint_property(device, kCMIODevicePropertyDeviceIsAlive, 0));
    std::printf("  running:             %u\n", uint_property(device, kCMIODevicePropertyDeviceIsRunning, 0));
    std::printf("  running somewhere:   %u\n", uint_property(device, kCMIODevicePropertyDeviceIsRunningSomewhere, 0));
    std::printf("  can be default:      %u\n",
                uint_property(device, kCMIODevicePropertyDeviceCanBeDefaultDevice, 0, kCMIODevicePropertyScopeInput));
    std::printf("  hog mode:            %d\n", int32_t(uint_property(device, kCMIODevicePropertyHogMode, 0)));
    std::printf("  device master:       %d\n", int32_t(uint_property(device, kCMIODevicePropertyDeviceMaster, 0)));
    std::printf("  suspended by user:   %u\n", uint_property(device, kCMIODevicePropertySuspendedByUser, 0));
    for (CMIOStreamID stream : input_streams(device)) {
        std::printf("stream %u\n", unsigned(stream));
        std::printf("  format:              %s\n", format_text(current_format(stream)).c_str());
        for (const format_t& format : stream_formats(stream))
            std::printf("  offers:              %s\n", format_text(format).c_str());
        std::printf("  frame rate:          %.3f\n", double_property(stream, kCMIOStreamPropertyFrameRate));
        std::printf("  minimum frame rate:  %.3f\n", double_property(stream, kCMIOStreamPropertyMinimumFrameRate));
        std::printf("  direction:           %u\n", uint_property(stream, kCMIOStreamPropertyDirection, 0));
    }
    return k_ok;
}

struct stream_options_t {
    OSType pixel_format = 0;  // 0: keep the camera's
    int32_t width = 0, height = 0;
    double seconds = 5;
    std::string y4m_path;
};

bool parse_stream_options(int argc, char** argv, stream_options_t& options) {
    for (int i = 2; i < argc; ++i) {
        const std::string option = argv[i];
        if (i + 1 >= argc) return false;
        const std::string value = argv[++i];
        if (option == "--format" && value == "2vuy") {
            options.pixel_format = kCVPixelFormatType_422YpCbCr8;
        } else if (option == "--format" && value == "BGRA") {
            options.pixel_format = kCVPixelFormatType_32BGRA;
        } else if (option == "--size") {
            if (std::sscanf(value.c_str(), "%dx%d", &options.width, &options.height) != 2 || options.width <= 0 ||
                options.height <= 0)
                return false;
        } else if (option == "--seconds") {
            options.seconds = std::atof(value.c_str());
            if (options.seconds <= 0) return false;
        } else if (option == "--y4m") {
            options.y4m_path = value;
        } else {
            return false;
        }
    }
    return true;
}

// Opens the camera and its stream; a message and false when it is not there.
bool open_camera(CMIOObjectID& device, CMIOStreamID& stream) {
    device = find_device(k_camera_name);
    const std::vector<CMIOStreamID> streams =
        device != kCMIOObjectUnknown ? input_streams(device) : std::vector<CMIOStreamID>{};
    if (streams.empty()) {
        std::fprintf(stderr, "zav-camera: no camera named \"%s\"\n", k_camera_name);
        return false;
    }
    stream = streams[0];
    return true;
}

// Sets the asked format, keeping what is not asked for from the current one.
bool apply_format(CMIOStreamID stream, const stream_options_t& options) {
    if (options.pixel_format == 0 && options.width == 0) return true;
    format_t format = current_format(stream);
    if (options.pixel_format != 0) format.pixel_format = options.pixel_format;
    if (options.width != 0) {
        format.width = options.width;
        format.height = options.height;
    }
    CMVideoFormatDescriptionRef description = nullptr;
    CMVideoFormatDescriptionCreate(kCFAllocatorDefault, format.pixel_format, format.width, format.height, nullptr,
                                   &description);
    const CMIOObjectPropertyAddress where = {kCMIOStreamPropertyFormatDescription, kCMIOObjectPropertyScopeGlobal,
                                             kCMIOObjectPropertyElementMain};
    const OSStatus status = description != nullptr ? CMIOObjectSetPropertyData(stream, &where, 0, nullptr,
                                                                               sizeof(description), &description)
                                                   : OSStatus(kCMIOHardwareUnspecifiedError);
    if (description != nullptr) CFRelease(description);
    if (status != kCMIOHardwareNoError) {
        std::fprintf(stderr, "zav-camera: %s refused the format %s (status %d)\n", k_camera_name,
                     format_text(format).c_str(), int(status));
        return false;
    }
    return true;
}

struct stream_stats_t {
    std::size_t frames = 0, repeats = 0, discontinuities = 0, sequence_gaps = 0;
    uint64_t next_sequence = 0;
    latency_stats_t latency;

    void count(const sample_t& sample) {
        if (frames > 0 && sample.sequence_number != next_sequence) ++sequence_gaps;
        next_sequence = sample.sequence_number + 1;
        ++frames;
        if (sample.same_picture_as_before) ++repeats;
        if (sample.discontinuity != 0) ++discontinuities;
    }
    void print(FILE* out, double seconds, std::size_t queue_depth, const char* end) const {
        std::fprintf(out,
                     "frames %zu  rate %.2f fps  repeats %zu  discontinuities %zu  sequence gaps %zu  %s  queue %zu%s",
                     frames, seconds > 0 ? double(frames) / seconds : 0.0, repeats, discontinuities, sequence_gaps,
                     latency.text().c_str(), queue_depth, end);
    }
};

int stream_command(const stream_options_t& options) {
    CMIOObjectID device = kCMIOObjectUnknown;
    CMIOStreamID stream = kCMIOObjectUnknown;
    if (!open_camera(device, stream)) return k_camera_error;
    if (!apply_format(stream, options)) return k_camera_error;
    const format_t format = current_format(stream);
    const double frame_rate = double_property(stream, kCMIOStreamPropertyFrameRate);
    std::unique_ptr<y4m_writer_t> y4m;
    if (!options.y4m_path.empty()) {
        y4m = std::make_unique<y4m_writer_t>(options.y4m_path, format, frame_rate);
        if (!y4m->ok()) {
            std::fprintf(stderr, "zav-camera: cannot write %s\n", options.y4m_path.c_str());
            return k_file_error;
        }
    }
    std::printf("streaming %s from %s at %.3f fps for %.1f s\n", format_text(format).c_str(), k_camera_name, frame_rate,
                options.seconds);

    running_stream_t running(device, stream);
    if (running.status() != kCMIOHardwareNoError) {
        std::fprintf(stderr, "zav-camera: %s did not start (status %d)\n", k_camera_name, int(running.status()));
        return k_camera_error;
    }
    const bool live_status = isatty(STDOUT_FILENO) != 0;
    stream_stats_t stats;
    const auto start = clock_type::now();
    const auto end =
        start + std::chrono::duration_cast<clock_type::duration>(std::chrono::duration<double>(options.seconds));
    auto next_status = start;
    sample_t sample;
    // Each new picture's send-time stamp, read as it is dequeued.
    const picture_reader_t read_stamp = [&stats](const picture_view_t& picture) {
        stats.latency.read(picture, Drivers::Mac::ZAV::stamp_clock_now_us());
    };
    while (clock_type::now() < end) {
        const auto wait = stats.frames == 0 ? k_first_frame_timeout : std::chrono::milliseconds(100);
        if (!running.next(sample, wait, y4m != nullptr, read_stamp)) {
            if (stats.frames == 0) {
                std::fprintf(stderr, "zav-camera: %s sent nothing within %lld s\n", k_camera_name,
                             static_cast<long long>(k_first_frame_timeout.count() / 1000));
                return k_no_frames;
            }
            continue;
        }
        stats.count(sample);
        if (y4m != nullptr && !sample.same_picture_as_before && !y4m->write(sample)) {
            std::fprintf(stderr, "\nzav-camera: writing %s failed\n", options.y4m_path.c_str());
            return k_file_error;
        }
        if (live_status && clock_type::now() >= next_status) {
            std::printf("\r");
            stats.print(stdout, std::chrono::duration<double>(clock_type::now() - start).count(), running.queue_depth(),
                        "   ");
            std::fflush(stdout);
            next_status = clock_type::now() + std::chrono::milliseconds(250);
        }
    }
    if (live_status) std::printf("\n");
    std::printf("summary: ");
    stats.print(stdout, std::chrono::duration<double>(clock_type::now() - start).count(), running.queue_depth(), "\n");
    return k_ok;
}

int snapshot(const std::string& path) {
    CMIOObjectID device = kCMIOObjectUnknown;
    CMIOStreamID stream = kCMIOObjectUnknown;
    if (!open_camera(device, stream)) return k_camera_error;
    sample_t sample;
    {
        running_stream_t running(device, stream);
        if (running.status() != kCMIOHardwareNoError) {
            std::fprintf(stderr, "zav-camera: %s did not start (status %d)\n", k_camera_name, int(running.status()));
            return k_camera_error;
        }
        if (!running.next(sample, k_first_frame_timeout, true)) {
            std::fprintf(stderr, "zav-camera: %s sent nothing within %lld s\n", k_camera_name,
                         static_cast<long long>(k_first_frame_timeout.count() / 1000));
            return k_no_frames;
        }
    }
    std::string error;
    if (!write_png(path, sample, error)) {
        std::fprintf(stderr, "zav-camera: %s\n", error.c_str());
        return k_file_error;
    }
    std::printf("wrote %s (%s)\n", path.c_str(), format_text(sample.format).c_str());
    return k_ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        usage();
        return k_usage;
    }
    const std::string command = argv[1];
    if (command == "list" && argc == 2) return list();
    if (command == "info" && argc <= 3) return info(argc == 3 ? argv[2] : k_camera_name);
    if (command == "snapshot" && argc == 3) return snapshot(argv[2]);
    if (command == "stream") {
        stream_options_t options;
        if (parse_stream_options(argc, argv, options)) return stream_command(options);
    }
    usage();
    return k_usage;
}

// zav-send: serves a named video source on the network. Receivers connect over TCP and get RTP
// (RFC 4175) in RFC 4571 framing. The source is published through DNS-SD when a daemon answers,
// and its line is written into the per-user sources file (and removed again when the program ends,
// by the end of --seconds, SIGINT or SIGTERM).
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "common/monotonic.h"
#include "discovery/dnssd.h"
#include "discovery/sources_file.h"
#include "send/sender.h"
#include "send/test_pattern.h"
#include "send/y4m_reader.h"
#include "send_options.h"
#include "sources_line.h"

using namespace Drivers::Mac::ZAV;

namespace {

std::atomic<bool> g_stop{false};

void on_signal(int) {
    g_stop = true;
}

std::string upper_host_name() {
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    for (char* p = host; *p; ++p) *p = char(std::toupper(static_cast<unsigned char>(*p)));
    return host;
}

// Time from the start to frame n at rate num/den, without drift or overflow over long runs.
std::chrono::nanoseconds frame_offset(uint64_t n, int num, int den) {
    const uint64_t q = n / uint64_t(num), r = n % uint64_t(num);
    return std::chrono::nanoseconds(
        int64_t(q * uint64_t(den) * 1000000000ull + r * uint64_t(den) * 1000000000ull / uint64_t(num)));
}

}  // namespace

int main(int argc, char** argv) {
    send_options_t options;
    std::string error;
    if (!parse_send_options(argc, argv, &options, &error)) {
        std::fprintf(stderr, "zav-send: %s\n%s", error.c_str(), send_usage());
        return 2;
    }
    std::unique_ptr<y4m_reader_t> file;
    if (!options.input.empty()) {
        file = y4m_reader_t::open(options.input, &error);
        if (!file) {
            std::fprintf(stderr, "zav-send: %s\n", error.c_str());
            return 1;
        }
        options.width = file->width();
        options.height = file->height();
        options.rate_num = file->rate_num();
        options.rate_den = file->rate_den();
    }

    sender_settings_t settings;
    settings.params.sampling = options.bgra ? sampling_e::bgra : sampling_e::ycbcr_422;
    settings.params.width = options.width;
    settings.params.height = options.height;
    settings.params.rate_num = options.rate_num;
    settings.params.rate_den = options.rate_den;
    settings.port = options.port;
    // TCP has no datagram limit: large packets cost receivers far fewer headers per frame.
    settings.max_packet_bytes = 8192;
    std::unique_ptr<sender_t> sender = sender_t::create(settings);
    if (!sender) {
        std::fprintf(stderr, "zav-send: cannot listen on port %u\n", unsigned(options.port));
        return 1;
    }

    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);

    source_entry_t entry;
    entry.name = upper_host_name() + " (" + options.name + ")";
    entry.host = "127.0.0.1";
    entry.port = sender->port();
    entry.params = settings.params;
    const std::string sources_path = user_sources_path();
    const bool wrote_line =
        !sources_path.empty() && add_sources_line(sources_path, entry.name, format_sources_line(entry));
    std::unique_ptr<dnssd_publication_t> publication;
    if (options.publish) publication = dnssd_publish(entry.name, entry.port, entry.params);

    std::printf("zav-send: serving \"%s\" on port %u: %s %dx%d at %d/%d fps\n", entry.name.c_str(),
                unsigned(entry.port), options.bgra ? "BGRA" : "UYVY", options.width, options.height, options.rate_num,
                options.rate_den);
    std::printf("zav-send: sources file %s%s; DNS-SD %s\n",
                wrote_line ? "line in " : "not written: ", sources_path.empty() ? "(no home)" : sources_path.c_str(),
                publication ? "registering" : (options.publish ? "not available" : "off"));
    std::fflush(stdout);

    test_pattern_t pattern(settings.params);
    const auto start = std::chrono::steady_clock::now();
    const auto end = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                 std::chrono::duration<double>(options.seconds));
    auto next_status = start + std::chrono::seconds(1);
    std::size_t last_receivers = 0;
    dnssd_registration_e registration = dnssd_registration_e::pending;
    int status = 0;
    for (uint64_t n = 0; !g_stop; ++n) {
        const auto deadline = start + frame_offset(n, options.rate_num, options.rate_den);
        if (options.seconds > 0 && deadline >= end) break;
        while (!g_stop && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_until(
                std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(50)));
        if (g_stop) break;
        const int64_t now = wall_clock_100ns();
        const uint8_t* picture = file ? file->next(settings.params.sampling) : pattern.draw(n, now);
        if (!picture) {
            std::fprintf(stderr, "zav-send: cannot read %s\n", options.input.c_str());
            status = 1;
            break;
        }
        sender->send(picture, settings.params.row_bytes(), now);
        if (publication && registration == dnssd_registration_e::pending) {
            // Said only once the daemon confirmed it: until then no browser can find the source.
            registration = publication->update();
            if (registration == dnssd_registration_e::registered)
                std::printf("zav-send: DNS-SD published as \"%s\"\n", publication->published_name().c_str());
            if (registration == dnssd_registration_e::failed)
                std::printf("zav-send: DNS-SD refused the registration; the sources file alone names the source\n");
            std::fflush(stdout);
        }
        const auto wall = std::chrono::steady_clock::now();
        if (wall >= next_status || sender->receivers() != last_receivers) {
            last_receivers = sender->receivers();
            std::printf("zav-send: frame %llu, %zu receiver%s\n", static_cast<unsigned long long>(n + 1),
                        last_receivers, last_receivers == 1 ? "" : "s");
            std::fflush(stdout);
            while (next_status <= wall) next_status += std::chrono::seconds(5);
        }
    }
    publication.reset();
    if (wrote_line) remove_sources_line(sources_path, entry.name);
    sender.reset();
    std::printf("zav-send: stopped\n");
    return status;
}

#include "send_options.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Drivers::Mac::ZAV {

const char* send_usage() {
    return "usage: zav-send [--name \"Source Name\"] [--size WxH] [--rate N/D] [--format uyvy|bgra] [--port N]\n"
           "                [--input FILE.y4m] [--seconds N] [--no-dnssd]\n";
}

bool parse_send_options(int argc, char** argv, send_options_t* p_options, std::string* p_error) {
    send_options_t options;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--no-dnssd") {
            options.publish = false;
            continue;
        }
        if (i + 1 >= argc) {
            *p_error = option + " needs a value";
            return false;
        }
        const std::string value = argv[++i];
        char tail = 0;
        if (option == "--name") {
            if (value.empty()) {
                *p_error = "--name must not be empty";
                return false;
            }
            options.name = value;
        } else if (option == "--size") {
            if (std::sscanf(value.c_str(), "%dx%d%c", &options.width, &options.height, &tail) != 2 ||
                options.width < 2 || options.height < 1 || options.width > 8192 || options.height > 8192) {
                *p_error = "--size wants WxH within 2x1..8192x8192, not " + value;
                return false;
            }
        } else if (option == "--rate") {
            const int read = std::sscanf(value.c_str(), "%d/%d%c", &options.rate_num, &options.rate_den, &tail);
            if (read == 1) options.rate_den = 1;
            if ((read != 1 && read != 2) || options.rate_num <= 0 || options.rate_den <= 0 ||
                options.rate_num / options.rate_den > 1000) {
                *p_error = "--rate wants N or N/D, not " + value;
                return false;
            }
        } else if (option == "--format") {
            if (value != "uyvy" && value != "bgra") {
                *p_error = "--format is uyvy or bgra, not " + value;
                return false;
            }
            options.bgra = value == "bgra";
        } else if (option == "--port") {
            const long port = std::strtol(value.c_str(), nullptr, 10);
            if (port < 0 || port > 65535 || value.find_first_not_of("0123456789") != std::string::npos) {
                *p_error = "--port wants 0..65535, not " + value;
                return false;
            }
            options.port = uint16_t(port);
        } else if (option == "--input") {
            options.input = value;
        } else if (option == "--seconds") {
            char* end = nullptr;
            options.seconds = std::strtod(value.c_str(), &end);
            if (!end || *end || options.seconds < 0) {
                *p_error = "--seconds wants a number of seconds, not " + value;
                return false;
            }
        } else {
            *p_error = "unknown option " + option;
            return false;
        }
    }
    if (!options.bgra && options.width % 2 != 0) {
        *p_error = "uyvy needs an even width";
        return false;
    }
    *p_options = options;
    return true;
}

}  // namespace Drivers::Mac::ZAV

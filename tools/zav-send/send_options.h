// The command line of zav-send.
#ifndef ZAV_TOOLS_ZAV_SEND_SEND_OPTIONS_H
#define ZAV_TOOLS_ZAV_SEND_SEND_OPTIONS_H

#include <cstdint>
#include <string>

namespace Drivers::Mac::ZAV {

struct send_options_t {
    std::string name = "Test Pattern";  // the part in brackets of the full name
    int width = 1280;
    int height = 720;
    int rate_num = 30;
    int rate_den = 1;
    bool bgra = false;
    uint16_t port = 0;
    std::string input;   // a Y4M file, or empty for the test pattern
    double seconds = 0;  // 0: until stopped
    bool publish = true;
};

// Reads argv; false with a message in *p_error for a bad option or value.
bool parse_send_options(int argc, char** argv, send_options_t* p_options, std::string* p_error);
const char* send_usage();

}  // namespace Drivers::Mac::ZAV

#endif

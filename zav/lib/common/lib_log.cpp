#include "common/lib_log.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

namespace Drivers::Mac::ZAV {

void lib_log(const char* format, ...) {
    char message[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    syslog(LOG_NOTICE, "zav_embedded: %s\n", message);
}

}  // namespace Drivers::Mac::ZAV

#include "host/zav_log.h"

#include "host/string_utils.h"

#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <string>

namespace Drivers::Mac::ZAV {

// Identifies this plug-in's lines among those of every process that loads it.
static const char* s_p_log_token = "ZAVVC1";

extern "C" void set_zav_log_token(const char* token) {
    s_p_log_token = token;
}

void zav_log(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string message = sprintf_args(format, args);
    va_end(args);

    // A failing call leaves the id untouched, so the line then carries 0.
    uint64_t thread_id = 0;
    pthread_threadid_np(nullptr, &thread_id);

    syslog(LOG_NOTICE, "[%s %d : %lld] %s\n", s_p_log_token, static_cast<int>(getpid()),
           static_cast<long long>(thread_id), message.c_str());
}

}  // namespace Drivers::Mac::ZAV

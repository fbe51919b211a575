// The plug-in's one diagnostic channel: printf-style messages, one line each, to the system log.
#ifndef ZAV_PLUGIN_HOST_ZAV_LOG_H
#define ZAV_PLUGIN_HOST_ZAV_LOG_H

namespace Drivers::Mac::ZAV {

// Formats the message and writes it to the system log at notice priority as
// "[token pid : thread id] message". Safe to call from any thread.
void zav_log(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Replaces the token that starts every log line. The pointer is stored, not the text, so the
// text must live as long as the process. Meant for a host or test harness, before logging
// starts; exported under its plain C name.
extern "C" __attribute__((visibility("default"))) void set_zav_log_token(const char* token);

}  // namespace Drivers::Mac::ZAV

#endif

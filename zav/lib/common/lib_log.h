// The library's log: one line per call to syslog at notice priority, prefixed "zav_embedded: ", so
// that its lines sit beside the host application's in the system log.
#ifndef ZAV_LIB_COMMON_LIB_LOG_H
#define ZAV_LIB_COMMON_LIB_LOG_H

namespace Drivers::Mac::ZAV {

void lib_log(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Drivers::Mac::ZAV

#endif

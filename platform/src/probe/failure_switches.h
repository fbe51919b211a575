// The platform's side of the failure switches of the probe header: every call that can be
// made to fail asks here first.
#ifndef ZAV_PLATFORM_FAILURE_SWITCHES_H
#define ZAV_PLATFORM_FAILURE_SWITCHES_H

#include <zav_platform/probe.h>

namespace zav_platform {

// True when a test has switched `call` to fail; `status` (when not null) then receives the
// status the call must return. Thread-safe and cheap when no switch is set.
bool should_fail(probe::failing_call_t call, OSStatus* status);

}  // namespace zav_platform

#endif

#include "failure_switches.h"

#include <array>
#include <atomic>

namespace zav_platform {
namespace {

// Room for every failing_call_t, with space for calls added later.
constexpr std::size_t k_call_count = 64;

// One status per call, 0 meaning "do not fail". Atomics rather than a lock: the switches are
// read on every creation call, from any thread.
std::array<std::atomic<OSStatus>, k_call_count>& switches() {
    static std::array<std::atomic<OSStatus>, k_call_count> s_switches{};
    return s_switches;
}

std::size_t index_of(probe::failing_call_t call) {
    return static_cast<std::size_t>(call);
}

}  // namespace

bool should_fail(probe::failing_call_t call, OSStatus* status) {
    const std::size_t index = index_of(call);
    if (index >= k_call_count) return false;
    const OSStatus value = switches()[index].load(std::memory_order_acquire);
    if (value == 0) return false;
    if (status != nullptr) *status = value;
    return true;
}

namespace probe {

void set_failure(failing_call_t call, OSStatus status) {
    const std::size_t index = index_of(call);
    if (index < k_call_count) switches()[index].store(status, std::memory_order_release);
}

void clear_failures() {
    for (auto& entry : switches()) entry.store(0, std::memory_order_release);
}

}  // namespace probe
}  // namespace zav_platform

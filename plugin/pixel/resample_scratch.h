// Per-call scratch memory of the resampler: on the stack up to a fixed size (enough for rows
// of 4096 pixels), on the heap beyond, always 32-byte aligned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Drivers::Mac::ZAV::VirtualCamera::resample {

template <size_t stack_bytes>
class scratch_t {
public:
    explicit scratch_t(size_t bytes) {
        if (bytes <= stack_bytes) {
            m_p_data = m_stack;
        } else {
            m_p_heap.reset(new uint8_t[bytes + 32]);
            const uintptr_t raw = reinterpret_cast<uintptr_t>(m_p_heap.get());
            m_p_data = m_p_heap.get() + ((32 - (raw & 31u)) & 31u);
        }
    }
    scratch_t(const scratch_t&) = delete;
    scratch_t& operator=(const scratch_t&) = delete;

    uint8_t* data() { return m_p_data; }

private:
    alignas(32) uint8_t m_stack[stack_bytes];
    std::unique_ptr<uint8_t[]> m_p_heap;
    uint8_t* m_p_data = nullptr;
};

}  // namespace Drivers::Mac::ZAV::VirtualCamera::resample

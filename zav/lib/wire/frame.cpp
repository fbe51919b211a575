#include "wire/frame.h"

namespace Drivers::Mac::ZAV {

std::shared_ptr<frame_pool_t> frame_pool_t::create(std::size_t keep) {
    return std::shared_ptr<frame_pool_t>(new frame_pool_t(keep));
}

std::size_t frame_pool_t::kept() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_free.size();
}

frame_ptr_t frame_pool_t::acquire(std::size_t bytes) {
    std::unique_ptr<frame_t> frame;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        while (!m_free.empty() && !frame) {
            std::unique_ptr<frame_t> candidate = std::move(m_free.back());
            m_free.pop_back();
            if (candidate->capacity >= bytes && candidate->capacity <= 2 * bytes) frame = std::move(candidate);
        }
    }
    if (!frame) {
        frame.reset(new frame_t);
        // 64-byte alignment of rows' start keeps the vector kernels of the readers on their fast path.
        frame->storage.reset(new uint8_t[bytes + 64]);
        const uintptr_t base = reinterpret_cast<uintptr_t>(frame->storage.get());
        frame->p_data = frame->storage.get() + ((64 - base % 64) % 64);
        frame->capacity = bytes;
    }
    uint8_t* p_data = frame->p_data;
    std::unique_ptr<uint8_t[]> storage = std::move(frame->storage);
    const std::size_t capacity = frame->capacity;
    *frame = frame_t{};
    frame->p_data = p_data;
    frame->storage = std::move(storage);
    frame->capacity = capacity;
    std::weak_ptr<frame_pool_t> pool = weak_from_this();
    return frame_ptr_t(frame.release(), [pool](frame_t* p_frame) {
        if (std::shared_ptr<frame_pool_t> owner = pool.lock())
            owner->give_back(p_frame);
        else
            delete p_frame;
    });
}

void frame_pool_t::give_back(frame_t* p_frame) {
    std::unique_ptr<frame_t> frame(p_frame);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_free.size() < m_keep) m_free.push_back(std::move(frame));
}

}  // namespace Drivers::Mac::ZAV

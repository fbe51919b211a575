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
        // Buffers of other sizes stay: a receiver that converts keeps two sizes in turn.
        for (auto it = m_free.begin(); it != m_free.end(); ++it)
            if ((*it)->capacity == bytes) {
                frame = std::move(*it);
                m_free.erase(it);
                break;
            }
    }
    if (!frame) {
        frame.reset(new frame_t);
        frame->storage.reset(static_cast<uint8_t*>(::operator new[](bytes ? bytes : 1, std::align_val_t(64))));
        frame->p_data = frame->storage.get();
        frame->capacity = bytes;
    }
    uint8_t* p_data = frame->p_data;
    picture_storage_t storage = std::move(frame->storage);
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
    if (m_keep == 0) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_free.size() == m_keep) m_free.erase(m_free.begin());  // the longest unused goes
    m_free.push_back(std::move(frame));
}

}  // namespace Drivers::Mac::ZAV

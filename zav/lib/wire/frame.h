// A received picture in memory the library owns. Frames are shared: the network thread fills one,
// the frame synchroniser hands the same bytes to every pull until a newer one is complete, and a
// frame's memory goes back to its pool only when the last holder lets go.
#ifndef ZAV_LIB_WIRE_FRAME_H
#define ZAV_LIB_WIRE_FRAME_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace Drivers::Mac::ZAV {

// Picture memory on a 64-byte boundary (the vector kernels of readers prefer it), exactly as large
// as asked, so that any write past a picture's end is a write past its allocation.
struct aligned_delete_t {
    void operator()(uint8_t* p) const { ::operator delete[](p, std::align_val_t(64)); }
};
using picture_storage_t = std::unique_ptr<uint8_t[], aligned_delete_t>;

struct frame_t {
    int width = 0;
    int height = 0;
    uint32_t fourcc = 0;  // a ZAVlib_FourCC_video_type_e value
    int stride = 0;
    int rate_num = 30000;
    int rate_den = 1001;
    uint32_t rtp_timestamp = 0;
    int64_t send_time_100ns = 0;
    uint8_t* p_data = nullptr;
    std::size_t capacity = 0;
    picture_storage_t storage;
};

using frame_ptr_t = std::shared_ptr<frame_t>;

// Keeps a few released frame buffers (the most recently released, of any size), so that steady
// streaming does not allocate (and fault in) a new picture per frame.
class frame_pool_t : public std::enable_shared_from_this<frame_pool_t> {
public:
    static std::shared_ptr<frame_pool_t> create(std::size_t keep = 4);

    // A frame whose buffer holds exactly `bytes`; its other fields are reset.
    frame_ptr_t acquire(std::size_t bytes);
    std::size_t kept() const;

private:
    explicit frame_pool_t(std::size_t keep) : m_keep(keep) {}
    void give_back(frame_t* p_frame);

    std::size_t m_keep;
    mutable std::mutex m_mutex;
    std::vector<std::unique_ptr<frame_t>> m_free;
};

}  // namespace Drivers::Mac::ZAV

#endif

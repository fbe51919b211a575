// The object behind CVPixelBufferRef: one packed image in main memory, with counted locks of
// its base address. Memory is either the buffer's own, a pool's (given back when the buffer
// dies) or the caller's (CVPixelBufferCreateWithBytes).
#ifndef ZAV_PLATFORM_CV_PIXEL_BUFFER_H
#define ZAV_PLATFORM_CV_PIXEL_BUFFER_H

#include <CoreVideo/CVPixelBuffer.h>

#include "CoreMedia/attachment_bearer.h"

#include <functional>
#include <mutex>

namespace zav_platform {

struct pixel_layout_t {
    std::size_t m_width;
    std::size_t m_height;
    OSType m_format;
    std::size_t m_row_bytes;

    std::size_t data_size() const { return m_row_bytes * m_height; }
    bool operator==(const pixel_layout_t& o) const {
        return m_width == o.m_width && m_height == o.m_height && m_format == o.m_format && m_row_bytes == o.m_row_bytes;
    }
};

class cv_pixel_buffer_t final : public attachment_bearer_t {
public:
    static CFTypeID class_type_id();

    // `on_free` runs with the memory when the buffer dies.
    cv_pixel_buffer_t(const pixel_layout_t& layout, void* data, std::function<void(void*)> on_free);
    ~cv_pixel_buffer_t() override;

    const pixel_layout_t& layout() const { return m_layout; }
    void* data() const { return m_p_data; }

    CVReturn lock(CVPixelBufferLockFlags flags);
    CVReturn unlock(CVPixelBufferLockFlags flags);

private:
    const pixel_layout_t m_layout;
    void* const m_p_data;
    std::function<void(void*)> m_on_free;
    std::mutex m_lock_mutex;
    long m_read_only_locks = 0;
    long m_read_write_locks = 0;
};

// Layout of a new buffer from size, format and creation attributes (row alignment); false
// with the CVReturn to give when they are not acceptable.
bool pixel_layout_for(std::size_t width, std::size_t height, OSType format, CFDictionaryRef attributes,
                      pixel_layout_t* layout, CVReturn* status);

// Memory for image data: 64-byte aligned, freed with free_pixels.
void* allocate_pixels(std::size_t size);
void free_pixels(void* data);

}  // namespace zav_platform

#endif

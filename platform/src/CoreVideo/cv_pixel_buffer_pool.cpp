// CVPixelBufferPool: pixel buffers of one layout whose memory goes back to the pool when the
// last reference to a buffer is released, and is handed out again by the next creation.
#include <CoreVideo/CVPixelBufferPool.h>

#include "cv_pixel_buffer.h"
#include "probe/failure_switches.h"

#include <memory>
#include <mutex>
#include <vector>

using namespace zav_platform;

namespace {

// Shared by the pool object and every buffer it made, so that buffers may outlive the pool.
struct pool_memory_t {
    std::mutex m_mutex;
    std::vector<void*> m_free;
    bool m_closed = false;

    void* take() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_free.empty()) return nullptr;
        void* data = m_free.back();
        m_free.pop_back();
        return data;
    }
    void give_back(void* data) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_closed) {
                m_free.push_back(data);
                return;
            }
        }
        free_pixels(data);
    }
    void flush() {
        std::vector<void*> released;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            released.swap(m_free);
        }
        for (void* data : released) free_pixels(data);
    }
    void close() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
        }
        flush();
    }
};

class cv_pixel_buffer_pool_t final : public cf_object_t {
public:
    static CFTypeID class_type_id() {
        static const CFTypeID id = register_cf_type("CVPixelBufferPool");
        return id;
    }
    cv_pixel_buffer_pool_t(const pixel_layout_t& layout, CFDictionaryRef pool_attributes,
                           CFDictionaryRef buffer_attributes)
        : cf_object_t(class_type_id()),
          m_layout(layout),
          m_memory(std::make_shared<pool_memory_t>()),
          m_p_pool_attributes(copy(pool_attributes)),
          m_p_buffer_attributes(copy(buffer_attributes)) {}
    ~cv_pixel_buffer_pool_t() override {
        m_memory->close();
        if (m_p_pool_attributes != nullptr) CFRelease(m_p_pool_attributes);
        if (m_p_buffer_attributes != nullptr) CFRelease(m_p_buffer_attributes);
    }

    CFDictionaryRef pool_attributes() const { return m_p_pool_attributes; }
    CFDictionaryRef buffer_attributes() const { return m_p_buffer_attributes; }
    void flush() { m_memory->flush(); }

    CVReturn create_buffer(CVPixelBufferRef* out) {
        void* data = m_memory->take();
        if (data == nullptr) data = allocate_pixels(m_layout.data_size());
        if (data == nullptr) return kCVReturnAllocationFailed;
        std::shared_ptr<pool_memory_t> memory = m_memory;
        *out = cf_ref<CVPixelBufferRef>(
            new cv_pixel_buffer_t(m_layout, data, [memory](void* pixels) { memory->give_back(pixels); }));
        return kCVReturnSuccess;
    }

    void preallocate(long count) {
        for (long i = 0; i < count; ++i) {
            if (void* data = allocate_pixels(m_layout.data_size())) m_memory->give_back(data);
        }
    }

private:
    static CFDictionaryRef copy(CFDictionaryRef attributes) {
        return attributes != nullptr ? CFDictionaryCreateCopy(nullptr, attributes) : nullptr;
    }

    const pixel_layout_t m_layout;
    const std::shared_ptr<pool_memory_t> m_memory;
    const CFDictionaryRef m_p_pool_attributes;
    const CFDictionaryRef m_p_buffer_attributes;
};

// An unsigned integer attribute; false when absent or not a non-negative number.
bool number_attribute(CFDictionaryRef attributes, CFStringRef key, SInt64* value) {
    const void* found = CFDictionaryGetValue(attributes, key);
    if (found == nullptr) return false;
    if (CFGetTypeID(found) == CFArrayGetTypeID()) {
        // The pixel format may be given as a list of acceptable formats: the first is used.
        if (CFArrayGetCount(static_cast<CFArrayRef>(found)) == 0) return false;
        found = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(found), 0);
    }
    if (CFGetTypeID(found) != CFNumberGetTypeID()) return false;
    return CFNumberGetValue(static_cast<CFNumberRef>(found), kCFNumberSInt64Type, value) && *value >= 0;
}

cv_pixel_buffer_pool_t* pool_of(CVPixelBufferPoolRef ref) {
    return cf_cast<cv_pixel_buffer_pool_t>(ref);
}

}  // namespace

CFTypeID CVPixelBufferPoolGetTypeID(void) {
    return cv_pixel_buffer_pool_t::class_type_id();
}

CVPixelBufferPoolRef CVPixelBufferPoolRetain(CVPixelBufferPoolRef pixelBufferPool) {
    if (pixelBufferPool != nullptr) CFRetain(pixelBufferPool);
    return pixelBufferPool;
}

void CVPixelBufferPoolRelease(CVPixelBufferPoolRef pixelBufferPool) {
    if (pixelBufferPool != nullptr) CFRelease(pixelBufferPool);
}

CVReturn CVPixelBufferPoolCreate(CFAllocatorRef, CFDictionaryRef poolAttributes, CFDictionaryRef pixelBufferAttributes,
                                 CVPixelBufferPoolRef* poolOut) {
    if (poolOut == nullptr) return kCVReturnInvalidArgument;
    OSStatus forced = 0;
    if (should_fail(probe::failing_call_t::pixel_buffer_pool_create, &forced)) return forced;
    if (pixelBufferAttributes == nullptr || CFGetTypeID(pixelBufferAttributes) != CFDictionaryGetTypeID())
        return kCVReturnInvalidPixelBufferAttributes;
    if (poolAttributes != nullptr && CFGetTypeID(poolAttributes) != CFDictionaryGetTypeID())
        return kCVReturnInvalidPoolAttributes;
    SInt64 format = 0;
    SInt64 width = 0;
    SInt64 height = 0;
    if (!number_attribute(pixelBufferAttributes, kCVPixelBufferPixelFormatTypeKey, &format) ||
        !number_attribute(pixelBufferAttributes, kCVPixelBufferWidthKey, &width) ||
        !number_attribute(pixelBufferAttributes, kCVPixelBufferHeightKey, &height))
        return kCVReturnInvalidPixelBufferAttributes;
    pixel_layout_t layout{};
    CVReturn status = kCVReturnSuccess;
    if (!pixel_layout_for(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                          static_cast<OSType>(format), pixelBufferAttributes, &layout, &status))
        return status;
    auto* pool = new cv_pixel_buffer_pool_t(layout, poolAttributes, pixelBufferAttributes);
    SInt64 minimum = 0;
    if (poolAttributes != nullptr &&
        number_attribute(poolAttributes, kCVPixelBufferPoolMinimumBufferCountKey, &minimum))
        pool->preallocate(static_cast<long>(minimum < 64 ? minimum : 64));
    *poolOut = cf_ref<CVPixelBufferPoolRef>(pool);
    return kCVReturnSuccess;
}

CFDictionaryRef CVPixelBufferPoolGetAttributes(CVPixelBufferPoolRef pool) {
    const cv_pixel_buffer_pool_t* p = pool_of(pool);
    return p != nullptr ? p->pool_attributes() : nullptr;
}

CFDictionaryRef CVPixelBufferPoolGetPixelBufferAttributes(CVPixelBufferPoolRef pool) {
    const cv_pixel_buffer_pool_t* p = pool_of(pool);
    return p != nullptr ? p->buffer_attributes() : nullptr;
}

CVReturn CVPixelBufferPoolCreatePixelBuffer(CFAllocatorRef, CVPixelBufferPoolRef pixelBufferPool,
                                            CVPixelBufferRef* pixelBufferOut) {
    cv_pixel_buffer_pool_t* pool = pool_of(pixelBufferPool);
    if (pool == nullptr || pixelBufferOut == nullptr) return kCVReturnInvalidArgument;
    OSStatus forced = 0;
    if (should_fail(probe::failing_call_t::pool_create_pixel_buffer, &forced)) return forced;
    return pool->create_buffer(pixelBufferOut);
}

CVReturn CVPixelBufferPoolCreatePixelBufferWithAuxAttributes(CFAllocatorRef allocator,
                                                             CVPixelBufferPoolRef pixelBufferPool, CFDictionaryRef,
                                                             CVPixelBufferRef* pixelBufferOut) {
    return CVPixelBufferPoolCreatePixelBuffer(allocator, pixelBufferPool, pixelBufferOut);
}

void CVPixelBufferPoolFlush(CVPixelBufferPoolRef pool, CVPixelBufferPoolFlushFlags) {
    if (cv_pixel_buffer_pool_t* p = pool_of(pool)) p->flush();
}

// CVPixelBuffer.
#include "cv_pixel_buffer.h"

#include "cv_pixel_format.h"
#include "probe/failure_switches.h"

#include <cstdlib>
#include <limits>

namespace zav_platform {

CFTypeID cv_pixel_buffer_t::class_type_id() {
    static const CFTypeID id = register_cf_type("CVPixelBuffer");
    return id;
}

cv_pixel_buffer_t::cv_pixel_buffer_t(const pixel_layout_t& layout, void* data, std::function<void(void*)> on_free)
    : attachment_bearer_t(class_type_id()), m_layout(layout), m_p_data(data), m_on_free(std::move(on_free)) {}

cv_pixel_buffer_t::~cv_pixel_buffer_t() {
    if (m_on_free) m_on_free(m_p_data);
}

CVReturn cv_pixel_buffer_t::lock(CVPixelBufferLockFlags flags) {
    if ((flags & ~static_cast<CVPixelBufferLockFlags>(kCVPixelBufferLock_ReadOnly)) != 0)
        return kCVReturnInvalidArgument;
    std::lock_guard<std::mutex> guard(m_lock_mutex);
    ++((flags & kCVPixelBufferLock_ReadOnly) ? m_read_only_locks : m_read_write_locks);
    return kCVReturnSuccess;
}

CVReturn cv_pixel_buffer_t::unlock(CVPixelBufferLockFlags flags) {
    if ((flags & ~static_cast<CVPixelBufferLockFlags>(kCVPixelBufferLock_ReadOnly)) != 0)
        return kCVReturnInvalidArgument;
    std::lock_guard<std::mutex> guard(m_lock_mutex);
    // An unlock must match an earlier lock with the same flags.
    long& count = (flags & kCVPixelBufferLock_ReadOnly) ? m_read_only_locks : m_read_write_locks;
    if (count == 0) return kCVReturnError;
    --count;
    return kCVReturnSuccess;
}

void* allocate_pixels(std::size_t size) {
    const std::size_t rounded = (size + 63) / 64 * 64;
    return std::aligned_alloc(64, rounded == 0 ? 64 : rounded);
}

void free_pixels(void* data) {
    std::free(data);
}

bool pixel_layout_for(std::size_t width, std::size_t height, OSType format, CFDictionaryRef attributes,
                      pixel_layout_t* layout, CVReturn* status) {
    if (width == 0 || height == 0 || width > (1u << 16) || height > (1u << 16)) {
        *status = kCVReturnInvalidSize;
        return false;
    }
    std::size_t alignment = k_default_row_alignment;
    if (attributes != nullptr && CFGetTypeID(attributes) == CFDictionaryGetTypeID()) {
        const void* value = CFDictionaryGetValue(attributes, kCVPixelBufferBytesPerRowAlignmentKey);
        if (value != nullptr) {
            SInt64 requested = 0;
            if (CFGetTypeID(value) != CFNumberGetTypeID() ||
                !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &requested) || requested < 0 ||
                requested > 4096) {
                *status = kCVReturnInvalidPixelBufferAttributes;
                return false;
            }
            alignment = static_cast<std::size_t>(requested);
        }
    }
    const std::size_t row_bytes = padded_row_bytes(format, width, alignment);
    if (row_bytes == 0) {
        *status = kCVReturnInvalidPixelFormat;
        return false;
    }
    *layout = pixel_layout_t{width, height, format, row_bytes};
    return true;
}

}  // namespace zav_platform

using namespace zav_platform;

namespace {

const cv_pixel_buffer_t* buffer_of(CVPixelBufferRef ref) {
    return cf_cast<cv_pixel_buffer_t>(ref);
}

}  // namespace

CFTypeID CVPixelBufferGetTypeID(void) {
    return cv_pixel_buffer_t::class_type_id();
}

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef texture) {
    return CVBufferRetain(texture);
}

void CVPixelBufferRelease(CVPixelBufferRef texture) {
    CVBufferRelease(texture);
}

CVReturn CVPixelBufferCreate(CFAllocatorRef, size_t width, size_t height, OSType pixelFormatType,
                             CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut) {
    if (pixelBufferOut == nullptr) return kCVReturnInvalidArgument;
    OSStatus forced = 0;
    if (should_fail(probe::failing_call_t::pixel_buffer_create, &forced)) return forced;
    pixel_layout_t layout{};
    CVReturn status = kCVReturnSuccess;
    if (!pixel_layout_for(width, height, pixelFormatType, pixelBufferAttributes, &layout, &status)) return status;
    void* data = allocate_pixels(layout.data_size());
    if (data == nullptr) return kCVReturnAllocationFailed;
    *pixelBufferOut = cf_ref<CVPixelBufferRef>(new cv_pixel_buffer_t(layout, data, free_pixels));
    return kCVReturnSuccess;
}

CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef, size_t width, size_t height, OSType pixelFormatType,
                                      void* baseAddress, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                      CFDictionaryRef, CVPixelBufferRef* pixelBufferOut) {
    if (pixelBufferOut == nullptr || baseAddress == nullptr) return kCVReturnInvalidArgument;
    OSStatus forced = 0;
    if (should_fail(probe::failing_call_t::pixel_buffer_create, &forced)) return forced;
    if (width == 0 || height == 0) return kCVReturnInvalidSize;
    const std::size_t minimum = unpadded_row_bytes(pixelFormatType, width);
    if (minimum == 0) return kCVReturnInvalidPixelFormat;
    if (bytesPerRow < minimum) return kCVReturnInvalidArgument;
    const pixel_layout_t layout{width, height, pixelFormatType, bytesPerRow};
    auto on_free = [releaseCallback, releaseRefCon](void* data) {
        if (releaseCallback != nullptr) releaseCallback(releaseRefCon, data);
    };
    *pixelBufferOut = cf_ref<CVPixelBufferRef>(new cv_pixel_buffer_t(layout, baseAddress, on_free));
    return kCVReturnSuccess;
}

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags lockFlags) {
    cv_pixel_buffer_t* buffer = cf_cast<cv_pixel_buffer_t>(pixelBuffer);
    return buffer != nullptr ? buffer->lock(lockFlags) : kCVReturnInvalidArgument;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef pixelBuffer, CVPixelBufferLockFlags unlockFlags) {
    cv_pixel_buffer_t* buffer = cf_cast<cv_pixel_buffer_t>(pixelBuffer);
    return buffer != nullptr ? buffer->unlock(unlockFlags) : kCVReturnInvalidArgument;
}

size_t CVPixelBufferGetWidth(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->layout().m_width : 0;
}

size_t CVPixelBufferGetHeight(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->layout().m_height : 0;
}

OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->layout().m_format : 0;
}

void* CVPixelBufferGetBaseAddress(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->data() : nullptr;
}

size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->layout().m_row_bytes : 0;
}

size_t CVPixelBufferGetDataSize(CVPixelBufferRef pixelBuffer) {
    const cv_pixel_buffer_t* buffer = buffer_of(pixelBuffer);
    return buffer != nullptr ? buffer->layout().data_size() : 0;
}

Boolean CVPixelBufferIsPlanar(CVPixelBufferRef) {
    return false;
}

size_t CVPixelBufferGetPlaneCount(CVPixelBufferRef) {
    return 0;
}

void CVPixelBufferGetExtendedPixels(CVPixelBufferRef, size_t* extraColumnsOnLeft, size_t* extraColumnsOnRight,
                                    size_t* extraRowsOnTop, size_t* extraRowsOnBottom) {
    for (size_t* out : {extraColumnsOnLeft, extraColumnsOnRight, extraRowsOnTop, extraRowsOnBottom})
        if (out != nullptr) *out = 0;
}

CVReturn CVPixelBufferFillExtendedPixels(CVPixelBufferRef pixelBuffer) {
    return buffer_of(pixelBuffer) != nullptr ? kCVReturnSuccess : kCVReturnInvalidArgument;
}

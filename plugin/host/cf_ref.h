// Ownership of one Core Foundation reference, released when the holder goes away.
#ifndef ZAV_PLUGIN_HOST_CF_REF_H
#define ZAV_PLUGIN_HOST_CF_REF_H

#include <CoreFoundation/CoreFoundation.h>

namespace Drivers::Mac::ZAV {

// Holds exactly one reference (or none) to a Core Foundation object: adopts what a Create or
// Copy call returned and releases it once. Movable, not copyable.
template <typename ref_t>
class cf_ref_t {
public:
    cf_ref_t() noexcept = default;
    // Adopts `ref`: the holder now owns the reference the caller had.
    explicit cf_ref_t(ref_t ref) noexcept : m_p_ref(ref) {}
    ~cf_ref_t() { reset(); }

    cf_ref_t(const cf_ref_t&) = delete;
    cf_ref_t& operator=(const cf_ref_t&) = delete;
    cf_ref_t(cf_ref_t&& other) noexcept : m_p_ref(other.release()) {}
    cf_ref_t& operator=(cf_ref_t&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }

    ref_t get() const noexcept { return m_p_ref; }
    explicit operator bool() const noexcept { return m_p_ref != nullptr; }

    // Gives the reference up to the caller, who then owns it.
    ref_t release() noexcept {
        ref_t ref = m_p_ref;
        m_p_ref = nullptr;
        return ref;
    }

    // Releases the held reference (if any) and adopts `ref`.
    void reset(ref_t ref = nullptr) noexcept {
        if (m_p_ref != nullptr) CFRelease(m_p_ref);
        m_p_ref = ref;
    }

    // For Create-style calls that return their result through a pointer: releases what is held
    // and hands out the empty slot.
    ref_t* out() noexcept {
        reset();
        return &m_p_ref;
    }

private:
    ref_t m_p_ref = nullptr;
};

}  // namespace Drivers::Mac::ZAV

#endif

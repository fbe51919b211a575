// UYVY test images for the resampler tests: rows of 2 * width bytes at a chosen stride and
// a chosen offset from a 16-byte boundary, every other byte of the allocation (row padding
// and the margins) holding a guard value that the code under test must leave alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "pixel/resample_uyvy.h"

namespace zav_resample_test {

class test_image_t {
public:
    static constexpr uint8_t k_guard = 0x5A;
    static constexpr size_t k_margin = 96;

    // misalign: bytes between a 16-byte boundary and row 0. row_bytes 0 means 2 * width.
    test_image_t(uint32_t width, uint32_t height, uint32_t row_bytes = 0, uint32_t misalign = 0)
        : m_width(width), m_height(height), m_row_bytes(row_bytes ? row_bytes : 2 * width)
    {
        const size_t span = height ? size_t{m_row_bytes} * (height - 1) + 2 * size_t{width} : 0;
        m_storage.assign(span + 2 * k_margin + 16, k_guard);
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_storage.data()) + k_margin;
        m_first = k_margin + ((16 - (raw & 15u)) & 15u) + misalign;
    }

    uint8_t* data() { return m_storage.data() + m_first; }
    const uint8_t* data() const { return m_storage.data() + m_first; }
    uint8_t* row(uint32_t y) { return data() + size_t{y} * m_row_bytes; }
    const uint8_t* row(uint32_t y) const { return data() + size_t{y} * m_row_bytes; }
    uint32_t width() const { return m_width; }
    uint32_t height() const { return m_height; }
    uint32_t row_bytes() const { return m_row_bytes; }

    Drivers::Mac::ZAV::VirtualCamera::uyvy_plane_t plane() { return {data(), m_row_bytes, m_width, m_height}; }

    void fill_random(std::mt19937& rng)
    {
        for (uint32_t y = 0; y < m_height; ++y)
            for (uint32_t i = 0; i < 2 * m_width; ++i) row(y)[i] = static_cast<uint8_t>(rng());
    }

    void fill(uint8_t v)
    {
        for (uint32_t y = 0; y < m_height; ++y)
            for (uint32_t i = 0; i < 2 * m_width; ++i) row(y)[i] = v;
    }

    // True when every byte outside the rows' 2 * width bytes still holds the guard.
    bool guards_intact() const
    {
        std::vector<bool> inside(m_storage.size(), false);
        for (uint32_t y = 0; y < m_height; ++y)
            for (uint32_t i = 0; i < 2 * m_width; ++i) inside[m_first + size_t{y} * m_row_bytes + i] = true;
        for (size_t i = 0; i < m_storage.size(); ++i)
            if (!inside[i] && m_storage[i] != k_guard) return false;
        return true;
    }

    // The picture, rows packed at 2 * width bytes.
    std::vector<uint8_t> pixels() const
    {
        std::vector<uint8_t> out;
        for (uint32_t y = 0; y < m_height; ++y) out.insert(out.end(), row(y), row(y) + 2 * m_width);
        return out;
    }

private:
    uint32_t m_width;
    uint32_t m_height;
    uint32_t m_row_bytes;
    size_t m_first = 0;
    std::vector<uint8_t> m_storage;
};

}  // namespace zav_resample_test

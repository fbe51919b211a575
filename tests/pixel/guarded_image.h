// Test images whose rows sit between guard bytes, so that a test can tell whether code wrote
// anywhere outside the rows it was given (row padding included).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "pixel/resample_uyvy.h"

namespace zav_test {

class guarded_image_t {
public:
    static constexpr uint8_t k_guard = 0xA5;
    static constexpr size_t k_margin = 96;

    // `rows` rows of `row_bytes` bytes, `stride` apart (a negative stride puts row 0 last), the
    // first row in memory `misalign` bytes past a 16-byte boundary.
    guarded_image_t(int rows, size_t row_bytes, ptrdiff_t stride, size_t misalign = 0)
        : m_rows(rows), m_row_bytes(row_bytes), m_stride(stride) {
        const size_t gaps = rows > 0 ? static_cast<size_t>(std::labs(stride)) * (rows - 1) : 0;
        m_bytes.assign(gaps + row_bytes + 2 * k_margin + 32, k_guard);
        const uintptr_t raw = reinterpret_cast<uintptr_t>(m_bytes.data()) + k_margin;
        m_first = k_margin + ((16 - (raw & 15u)) & 15u) + misalign + (stride < 0 ? gaps : 0);
    }

    uint8_t* row(int y) { return m_bytes.data() + m_first + y * m_stride; }
    const uint8_t* row(int y) const { return m_bytes.data() + m_first + y * m_stride; }
    ptrdiff_t stride() const { return m_stride; }
    int rows() const { return m_rows; }

    void fill_rows_random(std::mt19937& rng) {
        for (int y = 0; y < m_rows; ++y)
            for (size_t i = 0; i < m_row_bytes; ++i) row(y)[i] = static_cast<uint8_t>(rng());
    }

    // True when every byte outside the rows still holds the guard value.
    bool guards_intact() const {
        std::vector<uint8_t> copy = m_bytes;
        for (int y = 0; y < m_rows; ++y) std::fill_n(copy.begin() + (row(y) - m_bytes.data()), m_row_bytes, k_guard);
        return copy == std::vector<uint8_t>(copy.size(), k_guard);
    }

    // True when no byte at all changed since construction (rows included).
    bool untouched() const { return m_bytes == std::vector<uint8_t>(m_bytes.size(), k_guard); }

    // The rows' bytes, packed.
    std::vector<uint8_t> rows_bytes() const {
        std::vector<uint8_t> out;
        for (int y = 0; y < m_rows; ++y) out.insert(out.end(), row(y), row(y) + m_row_bytes);
        return out;
    }

private:
    int m_rows;
    size_t m_row_bytes, m_first = 0;
    ptrdiff_t m_stride;
    std::vector<uint8_t> m_bytes;
};

// A UYVY picture: rows of 2 * width bytes, `stride` apart (0: packed).
class uyvy_image_t : public guarded_image_t {
public:
    uyvy_image_t(uint32_t width, uint32_t height, uint32_t stride = 0, size_t misalign = 0)
        : guarded_image_t(int(height), 2 * size_t{width}, stride ? stride : 2 * width, misalign), m_width(width) {}
    uint8_t* data() { return row(0); }
    uint32_t width() const { return m_width; }
    uint32_t pitch() const { return uint32_t(stride()); }
    Drivers::Mac::ZAV::VirtualCamera::uyvy_plane_t plane() { return {data(), pitch(), m_width, uint32_t(rows())}; }

private:
    uint32_t m_width;
};

}  // namespace zav_test

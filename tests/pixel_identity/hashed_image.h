// An image for the cross-architecture comparison: rows filled from a seed, a hash of the rows,
// and a check that nothing outside the rows (margins, row padding) was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zav_identity {

// What the rows hold before a run: noise (every byte value, no structure) or a ramp (smooth
// gradients, where rounding decisions cluster around the same values).
enum class fill_t { noise, ramp };

class hashed_image_t {
public:
    static constexpr uint8_t k_guard = 0xA5;
    static constexpr size_t k_margin = 64;

    // `rows` rows of `row_bytes` bytes, `stride` apart (negative: row 0 is last in memory), the
    // first row in memory `misalign` bytes past a 16-byte boundary.
    hashed_image_t(uint32_t rows, size_t row_bytes, ptrdiff_t stride, size_t misalign = 0);

    uint8_t* row(uint32_t y) { return m_bytes.data() + m_first + ptrdiff_t(y) * m_stride; }
    const uint8_t* row(uint32_t y) const { return m_bytes.data() + m_first + ptrdiff_t(y) * m_stride; }
    ptrdiff_t stride() const { return m_stride; }

    void fill_rows(fill_t kind, uint64_t seed);

    // 64-bit FNV-1a over the rows' bytes, row 0 first: the same on every architecture.
    uint64_t rows_hash() const;

    // True when every byte outside the rows still holds the guard value.
    bool outside_rows_intact() const;

private:
    uint32_t m_rows;
    size_t m_row_bytes;
    ptrdiff_t m_stride;
    size_t m_first = 0;
    std::vector<uint8_t> m_bytes;
};

}  // namespace zav_identity

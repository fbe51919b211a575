#include "hashed_image.h"

#include <cstdlib>

namespace zav_identity {

namespace {

// splitmix64: a fixed sequence from any seed, defined by integer arithmetic alone.
uint64_t next_random(uint64_t& state) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

}  // namespace

hashed_image_t::hashed_image_t(uint32_t rows, size_t row_bytes, ptrdiff_t stride, size_t misalign)
    : m_rows(rows), m_row_bytes(row_bytes), m_stride(stride) {
    const size_t gaps = rows > 0 ? size_t(std::labs(stride)) * (rows - 1) : 0;
    m_bytes.assign(gaps + row_bytes + 2 * k_margin + 32, k_guard);
    const uintptr_t start = reinterpret_cast<uintptr_t>(m_bytes.data()) + k_margin;
    m_first = k_margin + ((16 - (start & 15u)) & 15u) + misalign + (stride < 0 ? gaps : 0);
}

void hashed_image_t::fill_rows(fill_t kind, uint64_t seed) {
    uint64_t state = seed;
    for (uint32_t y = 0; y < m_rows; ++y) {
        uint8_t* p = row(y);
        for (size_t i = 0; i < m_row_bytes; ++i) {
            if (kind == fill_t::noise)
                p[i] = uint8_t(next_random(state));
            else
                p[i] = uint8_t(i / 4 + 3 * y + 61 * (i % 4) + seed);
        }
    }
}

uint64_t hashed_image_t::rows_hash() const {
    uint64_t h = 0xCBF29CE484222325ull;
    for (uint32_t y = 0; y < m_rows; ++y) {
        const uint8_t* p = row(y);
        for (size_t i = 0; i < m_row_bytes; ++i) h = (h ^ p[i]) * 0x100000001B3ull;
    }
    return h;
}

bool hashed_image_t::outside_rows_intact() const {
    std::vector<bool> in_row(m_bytes.size(), false);
    for (uint32_t y = 0; y < m_rows; ++y) {
        const size_t first = size_t(row(y) - m_bytes.data());
        for (size_t i = 0; i < m_row_bytes; ++i) in_row[first + i] = true;
    }
    for (size_t i = 0; i < m_bytes.size(); ++i)
        if (!in_row[i] && m_bytes[i] != k_guard) return false;
    return true;
}

}  // namespace zav_identity

#include <algorithm>
#include <climits>
#include <cstring>

#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/simd.h"

namespace Drivers::Mac::ZAV::VirtualCamera {

namespace {

// Vectors per cell and lanes in all. The vectors of one step are independent of each other (a
// vector only uses what the one above it produced in earlier steps), which lets the processor
// overlap their long quantise-and-spread chains.
constexpr int32_t k_vectors = 4;
constexpr int32_t k_lanes = 4 * k_vectors;
// Rows dithered per band; the last lane only receives the downward shares of the one above.
constexpr int32_t k_active_lanes = k_lanes - 1;
// Lane r holds slot s of its row at cell s + k_cell_lag * r: two pairs (four slots) per row,
// the least lag at which every share lands in the order of the row-by-row loop.
constexpr int32_t k_cell_lag = 4;
// Ring of cells: a step touches cells j..j+6, loading runs a few cells ahead of that and the
// write-back a few behind.
constexpr int32_t k_ring = 32;
constexpr int32_t k_ring_mask = k_ring - 1;
// A cell: for each component (Y, Cb, Cr) the values of all lanes.
constexpr int32_t k_comp_floats = k_lanes;
constexpr int32_t k_cell_floats = 3 * k_comp_floats;

struct lanes_t {
    alignas(16) float m_cells[k_ring * k_cell_floats];
    float* m_p_rows[k_lanes];  // slot 0 of each lane's scratch row, null for an empty lane
    int32_t m_slots = 0;       // width + 3
    int32_t m_loaded = 0;      // cells below this index are in the ring
    int32_t m_written = 0;     // receiver cells below this index are back in the scratch
    int32_t m_receiver = 0;

    float* cell(int32_t k) { return m_cells + (k & k_ring_mask) * k_cell_floats; }

    bool row_has(int32_t lane, int32_t first_slot, int32_t count) const
    {
        return m_p_rows[lane] && first_slot >= 0 && first_slot + count <= m_slots;
    }

    // Fills cells [k, k + 4) of the ring from the lanes' rows.
    void load4(int32_t k)
    {
        for (int32_t v = 0; v < k_vectors; ++v) {
            bool inside = true;
            for (int32_t r = 4 * v; r < 4 * v + 4; ++r) inside = inside && row_has(r, k - k_cell_lag * r, 4);
            if (inside) {
                // Twelve floats (four slots) of each of four rows transpose into four cells.
                __m128 x[4][3];
                for (int32_t r = 0; r < 4; ++r) {
                    const int32_t lane = 4 * v + r;
                    const float* p = m_p_rows[lane] + 3 * (k - k_cell_lag * lane);
                    for (int i = 0; i < 3; ++i) x[r][i] = _mm_loadu_ps(p + 4 * i);
                }
                for (int i = 0; i < 3; ++i) {
                    _MM_TRANSPOSE4_PS(x[0][i], x[1][i], x[2][i], x[3][i]);
                    for (int f = 0; f < 4; ++f) {
                        const int32_t flat = 4 * i + f;  // float index within the four slots
                        float* out = cell(k + flat / 3) + (flat % 3) * k_comp_floats + 4 * v;
                        _mm_store_ps(out, x[f][i]);
                    }
                }
                continue;
            }
            for (int32_t kk = k; kk < k + 4; ++kk) {
                float* out = cell(kk);
                for (int32_t lane = 4 * v; lane < 4 * v + 4; ++lane) {
                    const int32_t s = kk - k_cell_lag * lane;
                    const bool has = row_has(lane, s, 1);
                    for (int c = 0; c < 3; ++c)
                        out[c * k_comp_floats + lane] = has ? m_p_rows[lane][3 * s + c] : 0.0f;
                }
            }
        }
    }

    void load_through(int32_t k)
    {
        while (m_loaded <= k) {
            load4(m_loaded);
            m_loaded += 4;
        }
    }

    // Copies the receiving lane's final cells below `k` back into its scratch row.
    void write_back_below(int32_t k)
    {
        k = std::min(k, m_loaded);
        float* row = m_p_rows[m_receiver];
        for (; m_written < k; ++m_written) {
            const int32_t s = m_written - k_cell_lag * m_receiver;
            if (s < 0 || s >= m_slots) continue;
            const float* in = cell(m_written);
            for (int c = 0; c < 3; ++c) row[3 * s + c] = in[c * k_comp_floats + m_receiver];
        }
    }
};

// (e * weight) + target, lane by lane.
inline __m128 spread(__m128 target, __m128 e, __m128 weight)
{
    return _mm_add_ps(_mm_mul_ps(e, weight), target);
}

// Values of a vector moved one lane up: lane r's value goes to lane r + 1, the first lane
// taking the last lane of the vector above (zero above the first vector).
inline __m128 shift_down(__m128 share, __m128 share_above)
{
    return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(share), _mm_castps_si128(share_above), 12));
}





struct quantised_t {
    __m128i m_byte;
    __m128 m_error;
};

// (v + 0.5) truncated, low byte kept, error against it; inactive lanes pass on no error.
inline quantised_t quantise(__m128 x, __m128 active)
{
    const __m128i q = _mm_cvttps_epi32(_mm_add_ps(x, _mm_set1_ps(0.5f)));
    const __m128i stored = _mm_and_si128(q, _mm_set1_epi32(0xff));
    return {stored, _mm_and_ps(_mm_sub_ps(x, _mm_cvtepi32_ps(stored)), active)};
}

}  // namespace

void dither_uyvy_rows_lanes(float* scratch, int32_t ring_rows, int32_t first, int32_t rows, int32_t width,
                            uint8_t* dst, ptrdiff_t dst_stride, const row_prefetch_t* prefetch)
{
    if (width < 1) return;
    const ptrdiff_t row_floats = 3 * (static_cast<ptrdiff_t>(width) + 3);
    const int32_t pairs = width / 2 + (width & 1);
    const __m128 w_right = _mm_set1_ps(0.4375f);
    const __m128 w_below_left = _mm_set1_ps(0.1875f);
    const __m128 w_below = _mm_set1_ps(0.3125f);
    const __m128 w_below_right = _mm_set1_ps(0.0625f);
    constexpr int32_t cb = k_comp_floats;
    constexpr int32_t cr = 2 * k_comp_floats;

    for (int32_t y = 0; y < rows; y += k_active_lanes) {
        const int32_t active = std::min(k_active_lanes, rows - y);
        lanes_t lanes;
        lanes.m_slots = width + 3;
        lanes.m_receiver = active;
        for (int32_t r = 0; r < k_lanes; ++r)
            lanes.m_p_rows[r] = r <= active ? scratch + row_floats * ((first + y + r) % ring_rows) : nullptr;

        // Lane r works on pair t - 2r of its row when that pair exists; in the middle of the
        // band every row has one.
        alignas(16) int32_t on[k_lanes];
        __m128 all_on[k_vectors];
        for (int32_t r = 0; r < k_lanes; ++r) on[r] = r < active ? -1 : 0;
        for (int32_t v = 0; v < k_vectors; ++v)
            all_on[v] = _mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(on + 4 * v)));
        const int32_t full_from = 2 * (active - 1);
        uint8_t* out_rows[k_lanes];
        for (int32_t r = 0; r < active; ++r) out_rows[r] = dst + dst_stride * (y + r);

        const int32_t steps = pairs + 2 * (active - 1);
        // Cache lines of the prefetch rows, spread evenly over the last band's steps.
        const size_t lines_per_row = prefetch ? (prefetch->m_row_bytes + 63) / 64 : 0;
        const bool last_band = y + active >= rows;
        const size_t lines = last_band && prefetch ? lines_per_row * static_cast<size_t>(prefetch->m_rows) : 0;
        const size_t lines_per_step = lines / static_cast<size_t>(steps) + 1;
        size_t line = 0;

        for (int32_t t = 0; t < steps; ++t) {
            const int32_t j = 2 * t + 1;
            lanes.load_through(j + 6);
            for (size_t n = 0; n < lines_per_step && line < lines; ++n, ++line) {
                const size_t row = line / lines_per_row;
                const size_t offset = std::min(64 * (line % lines_per_row), prefetch->m_row_bytes - 1);
                _mm_prefetch(reinterpret_cast<const char*>(prefetch->m_p_first + prefetch->m_stride * static_cast<ptrdiff_t>(row) + offset),
                             _MM_HINT_T0);
            }

            const bool full = t >= full_from && t < pairs;
            __m128 mask[k_vectors];
            if (full) {
                std::copy(all_on, all_on + k_vectors, mask);
            } else {
                for (int32_t r = 0; r < k_lanes; ++r) {
                    const int32_t i = t - 2 * r;
                    on[r] = (r < active && i >= 0 && i < pairs) ? -1 : 0;
                }
                for (int32_t v = 0; v < k_vectors; ++v)
                    mask[v] = _mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(on + 4 * v)));
            }

            float* c0 = lanes.cell(j);
            float* c1 = lanes.cell(j + 1);
            float* c2 = lanes.cell(j + 2);
            float* c3 = lanes.cell(j + 3);
            float* c4 = lanes.cell(j + 4);
            float* c5 = lanes.cell(j + 5);
            float* c6 = lanes.cell(j + 6);

            // Vector by vector, top to bottom: vector v only needs the errors of the vector above
            // (for its first lane's downward shares), so each cell component is loaded once,
            // updated in registers in the row-by-row order and stored once.
            __m128i bytes[4][k_vectors];  // Cb, Y0, Cr, Y1
            __m128 above[4] = {_mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps()};
            for (int32_t v = 0; v < k_vectors; ++v) {
                const int32_t o = 4 * v;
                for (int c = 1; c <= 2; ++c) {
                    const int32_t oc = o + (c == 1 ? cb : cr);
                    const __m128 avg = _mm_mul_ps(_mm_add_ps(_mm_load_ps(c0 + oc), _mm_load_ps(c1 + oc)), _mm_set1_ps(0.5f));
                    const quantised_t q = quantise(avg, mask[v]);
                    bytes[c == 1 ? 0 : 2][v] = q.m_byte;
                    const __m128 down = shift_down(q.m_error, above[c]);
                    above[c] = q.m_error;
                    // Cell j+2 of the row below takes the 3/16 share of the row above before its
                    // own row's 7/16 share, as in the row-by-row order.
                    __m128 t2 = spread(_mm_load_ps(c2 + oc), down, w_below_left);
                    _mm_store_ps(c2 + oc, spread(t2, q.m_error, w_right));
                    _mm_store_ps(c4 + oc, spread(_mm_load_ps(c4 + oc), down, w_below));
                    _mm_store_ps(c6 + oc, spread(_mm_load_ps(c6 + oc), down, w_below_right));
                }
                const quantised_t q0 = quantise(_mm_load_ps(c0 + o), mask[v]);
                bytes[1][v] = q0.m_byte;
                const __m128 d0 = shift_down(q0.m_error, above[0]);
                above[0] = q0.m_error;
                const __m128 y1 = spread(_mm_load_ps(c1 + o), q0.m_error, w_right);
                _mm_store_ps(c1 + o, y1);
                _mm_store_ps(c3 + o, spread(_mm_load_ps(c3 + o), d0, w_below_left));
                const __m128 y4 = spread(_mm_load_ps(c4 + o), d0, w_below);
                const __m128 y5 = spread(_mm_load_ps(c5 + o), d0, w_below_right);
                // Y of the pair's second pixel, read after the first pixel's share landed on it.
                const quantised_t q1 = quantise(y1, mask[v]);
                bytes[3][v] = q1.m_byte;
                const __m128 d1 = shift_down(q1.m_error, above[3]);
                above[3] = q1.m_error;
                _mm_store_ps(c2 + o, spread(_mm_load_ps(c2 + o), q1.m_error, w_right));
                _mm_store_ps(c4 + o, spread(y4, d1, w_below_left));
                _mm_store_ps(c5 + o, spread(y5, d1, w_below));
                _mm_store_ps(c6 + o, spread(_mm_load_ps(c6 + o), d1, w_below_right));
            }

            // Cb | Y0 << 8 | Cr << 16 | Y1 << 24: each lane's four output bytes.
            alignas(16) uint32_t words[k_lanes];
            for (int32_t v = 0; v < k_vectors; ++v) {
                const __m128i packed = _mm_or_si128(
                    _mm_or_si128(bytes[0][v], _mm_slli_epi32(bytes[1][v], 8)),
                    _mm_or_si128(_mm_slli_epi32(bytes[2][v], 16), _mm_slli_epi32(bytes[3][v], 24)));
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 4 * v), packed);
            }
            if (full) {
                for (int32_t r = 0; r < active; ++r)
                    std::memcpy(out_rows[r] + 4 * static_cast<ptrdiff_t>(t - 2 * r), &words[r], 4);
            } else {
                for (int32_t r = 0; r < active; ++r) {
                    const int32_t i = t - 2 * r;
                    if (i >= 0 && i < pairs) std::memcpy(out_rows[r] + 4 * static_cast<ptrdiff_t>(i), &words[r], 4);
                }
            }

            // The receiving row's cells below j + 2 get no more shares.
            lanes.write_back_below(j + 2);
        }
        lanes.write_back_below(INT32_MAX);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

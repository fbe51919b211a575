#include <algorithm>
#include <climits>
#include <cstring>

#include "pixel/bgra_to_uyvy_colour_lanes.h"
#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/bgra_to_uyvy_matrix.h"
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
    // Row 0 of each lane's BGRA source when the lane converts its image slots itself, else
    // null: the lane then takes every slot from its scratch row.
    const uint8_t* m_p_src_rows[k_lanes];
    const colour_lanes_t* m_p_colour = nullptr;
    int32_t m_slots = 0;    // width + 3
    int32_t m_loaded = 0;   // cells below this index are in the ring
    int32_t m_written = 0;  // receiver cells below this index are back in the scratch
    int32_t m_receiver = 0;

    float* cell(int32_t k) { return m_cells + (k & k_ring_mask) * k_cell_floats; }

    bool row_has(int32_t lane, int32_t first_slot, int32_t count) const {
        return m_p_rows[lane] && first_slot >= 0 && first_slot + count <= m_slots;
    }

    // Per vector, the groups of four cells k (a multiple of 4) that load4 fills in one go,
    // from_k <= k <= to_k: every lane reads four slots of its scratch row or converts four image
    // columns of its source row. In a vector that converts, a lane without a source converts
    // the pixels of a neighbour (its donor) and then takes its own slots over the result; a
    // vector whose lanes all lack a source transposes its scratch rows instead.
    int32_t m_from_k[k_vectors];
    int32_t m_to_k[k_vectors];
    bool m_converts[k_vectors];
    // Where the pixels that lane `lane` converts for cell group k start: m_src_at[lane] + 4 * k
    // (as an address; before the row's start for the groups that lie outside it).
    uintptr_t m_src_at[k_lanes];
    // The lanes of each converting vector that read their scratch row.
    int32_t m_patch_count[k_vectors];
    int32_t m_patch_lanes[k_vectors][4];

    // Called once the rows are set.
    void plan(int32_t width) {
        for (int32_t v = 0; v < k_vectors; ++v) {
            int32_t from_k = INT32_MIN;
            int32_t to_k = INT32_MAX;
            int32_t donor = -1;
            for (int32_t lane = 4 * v; lane < 4 * v + 4; ++lane) {
                // Lane `lane` takes slots [k - lag * lane, + 4): image columns need slots 1 to
                // width, a scratch row slots 0 to width + 2.
                if (!m_p_rows[lane]) {
                    to_k = INT32_MIN;
                } else if (m_p_src_rows[lane]) {
                    from_k = std::max(from_k, k_cell_lag * lane + 1);
                    to_k = std::min(to_k, k_cell_lag * lane + width - 3);
                    donor = lane;
                } else {
                    from_k = std::max(from_k, k_cell_lag * lane);
                    to_k = std::min(to_k, k_cell_lag * lane + width - 1);
                }
            }
            m_from_k[v] = from_k;
            m_to_k[v] = to_k;
            m_converts[v] = donor >= 0;
            m_patch_count[v] = 0;
            for (int32_t lane = 4 * v; lane < 4 * v + 4; ++lane) {
                const int32_t l = m_p_src_rows[lane] ? lane : donor;
                // Slot k - lag * l is image column k - lag * l - 1.
                m_src_at[lane] = l < 0 ? 0
                                       : reinterpret_cast<uintptr_t>(m_p_src_rows[l]) -
                                             4u * static_cast<uintptr_t>(k_cell_lag * l + 1);
                if (!m_p_src_rows[lane]) m_patch_lanes[v][m_patch_count[v]++] = lane;
            }
        }
    }

    // One slot of one lane into the cell at `out` (component stride k_comp_floats).
    void load_slot(int32_t lane, int32_t s, float* out) const {
        if (!row_has(lane, s, 1)) {
            for (int c = 0; c < 3; ++c) out[c * k_comp_floats] = 0.0f;
        } else if (m_p_src_rows[lane] && s >= 1 && s <= m_slots - 3) {
            float yuv[3];
            uint8_t unused_alpha;
            bgra_to_yuv_row_c(m_p_src_rows[lane] + 4 * static_cast<ptrdiff_t>(s - 1), yuv, &unused_alpha, 1,
                              *m_p_matrix);
            for (int c = 0; c < 3; ++c) out[c * k_comp_floats] = yuv[c];
        } else {
            for (int c = 0; c < 3; ++c) out[c * k_comp_floats] = m_p_rows[lane][3 * s + c];
        }
    }

    const colour_matrix_t* m_p_matrix = nullptr;

    // Fills cells [k, k + 4) of the ring from the lanes' rows.
    void load4(int32_t k) {
        // k is a multiple of 4 and so is the ring: the four cells follow each other in memory,
        // and float f of the four slots (component f % 3 of cell f / 3) is at base + 16 * f.
        float* const base = cell(k);
        for (int32_t v = 0; v < k_vectors; ++v) {
            if (k < m_from_k[v] || k > m_to_k[v]) {
                for (int32_t kk = k; kk < k + 4; ++kk)
                    for (int32_t lane = 4 * v; lane < 4 * v + 4; ++lane)
                        load_slot(lane, kk - k_cell_lag * lane, cell(kk) + lane);
                continue;
            }
            if (!m_converts[v]) {
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
                        _mm_store_ps(base + flat * k_comp_floats + 4 * v, x[f][i]);
                    }
                }
                continue;
            }
            // Four pixels of each converting row go through the colour matrix in lane form; a
            // lane that reads its scratch row converts its donor's pixels and then takes its own
            // slots over them.
            const uint8_t* src[4];
            for (int32_t r = 0; r < 4; ++r)
                src[r] = reinterpret_cast<const uint8_t*>(m_src_at[4 * v + r] + 4u * static_cast<uint32_t>(k));
            bgra_rows_to_yuv_lanes(src, *m_p_colour, base + 4 * v, k_cell_floats, k_comp_floats);
            for (int32_t n = 0; n < m_patch_count[v]; ++n) {
                const int32_t lane = m_patch_lanes[v][n];
                const float* p = m_p_rows[lane] + 3 * (k - k_cell_lag * lane);
                for (int32_t i = 0; i < 4; ++i)
                    for (int c = 0; c < 3; ++c) base[i * k_cell_floats + c * k_comp_floats + lane] = p[3 * i + c];
            }
        }
    }

    void load_through(int32_t k) {
        while (m_loaded <= k) {
            load4(m_loaded);
            m_loaded += 4;
        }
    }

    // Copies the receiving lane's final cells below `k` back into its scratch row.
    void write_back_below(int32_t k) {
        k = std::min(k, m_loaded);
        float* row = m_p_rows[m_receiver];
        const int32_t lag = k_cell_lag * m_receiver;
        if (m_written >= lag && k - lag <= m_slots) {
            // Every cell maps into the row: no per-cell check.
            for (; m_written < k; ++m_written) {
                const float* in = cell(m_written) + m_receiver;
                float* out = row + 3 * (m_written - lag);
                out[0] = in[0];
                out[1] = in[k_comp_floats];
                out[2] = in[2 * k_comp_floats];
            }
            return;
        }
        for (; m_written < k; ++m_written) {
            const int32_t s = m_written - k_cell_lag * m_receiver;
            if (s < 0 || s >= m_slots) continue;
            const float* in = cell(m_written);
            for (int c = 0; c < 3; ++c) row[3 * s + c] = in[c * k_comp_floats + m_receiver];
        }
    }
};

// (e * weight) + target, lane by lane.
inline __m128 spread(__m128 target, __m128 e, __m128 weight) {
    return _mm_add_ps(_mm_mul_ps(e, weight), target);
}

// Values of a vector moved one lane up: lane r's value goes to lane r + 1, the first lane
// taking the last lane of the vector above (zero above the first vector).
inline __m128 shift_down(__m128 share, __m128 share_above) {
    return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(share), _mm_castps_si128(share_above), 12));
}

struct quantised_t {
    __m128i m_byte;
    __m128 m_error;
};

// (v + 0.5) truncated, low byte kept, error against it; inactive lanes pass on no error.
// With `masked` false every lane is active and the mask is not applied.
template <bool masked>
inline quantised_t quantise(__m128 x, __m128 active) {
    const __m128i q = _mm_cvttps_epi32(_mm_add_ps(x, _mm_set1_ps(0.5f)));
    const __m128i stored = _mm_and_si128(q, _mm_set1_epi32(0xff));
    const __m128 error = _mm_sub_ps(x, _mm_cvtepi32_ps(stored));
    return {stored, masked ? _mm_and_ps(error, active) : error};
}

// The seven cells that one step touches: c[0] and c[1] hold the pair being quantised.
struct step_cells_t {
    float* m_c[7];
};

// Errors of the previous vector's lanes for Y0, Cb, Cr, Y1, in the order the vectors are done.
struct errors_above_t {
    __m128 m_e[4];
};

// One vector (four lanes, offset `o` within each component) of one step: quantises the lanes'
// pairs, spreads their errors in the row-by-row order and returns each lane's four output
// bytes as Cb | Y0 << 8 | Cr << 16 | Y1 << 24. Vector v only needs the errors of the vector
// above (for its first lane's downward shares), so each cell component is loaded once, updated
// in registers and stored once.
template <bool masked>
inline __m128i dither_vector(const step_cells_t& s, int32_t o, __m128 mask, errors_above_t& above) {
    const __m128 w_right = _mm_set1_ps(0.4375f);
    const __m128 w_below_left = _mm_set1_ps(0.1875f);
    const __m128 w_below = _mm_set1_ps(0.3125f);
    const __m128 w_below_right = _mm_set1_ps(0.0625f);
    float* const c0 = s.m_c[0];
    float* const c1 = s.m_c[1];
    float* const c2 = s.m_c[2];
    float* const c3 = s.m_c[3];
    float* const c4 = s.m_c[4];
    float* const c5 = s.m_c[5];
    float* const c6 = s.m_c[6];

    __m128i chroma_bytes[2];
    for (int c = 1; c <= 2; ++c) {
        const int32_t oc = o + c * k_comp_floats;
        const __m128 avg = _mm_mul_ps(_mm_add_ps(_mm_load_ps(c0 + oc), _mm_load_ps(c1 + oc)), _mm_set1_ps(0.5f));
        const quantised_t q = quantise<masked>(avg, mask);
        chroma_bytes[c - 1] = q.m_byte;
        const __m128 down = shift_down(q.m_error, above.m_e[c]);
        above.m_e[c] = q.m_error;
        // Cell j+2 of the row below takes the 3/16 share of the row above before its own row's
        // 7/16 share, as in the row-by-row order.
        const __m128 t2 = spread(_mm_load_ps(c2 + oc), down, w_below_left);
        _mm_store_ps(c2 + oc, spread(t2, q.m_error, w_right));
        _mm_store_ps(c4 + oc, spread(_mm_load_ps(c4 + oc), down, w_below));
        _mm_store_ps(c6 + oc, spread(_mm_load_ps(c6 + oc), down, w_below_right));
    }
    const quantised_t q0 = quantise<masked>(_mm_load_ps(c0 + o), mask);
    const __m128 d0 = shift_down(q0.m_error, above.m_e[0]);
    above.m_e[0] = q0.m_error;
    const __m128 y1 = spread(_mm_load_ps(c1 + o), q0.m_error, w_right);
    _mm_store_ps(c1 + o, y1);
    _mm_store_ps(c3 + o, spread(_mm_load_ps(c3 + o), d0, w_below_left));
    const __m128 y4 = spread(_mm_load_ps(c4 + o), d0, w_below);
    const __m128 y5 = spread(_mm_load_ps(c5 + o), d0, w_below_right);
    // Y of the pair's second pixel, read after the first pixel's share landed on it.
    const quantised_t q1 = quantise<masked>(y1, mask);
    const __m128 d1 = shift_down(q1.m_error, above.m_e[3]);
    above.m_e[3] = q1.m_error;
    _mm_store_ps(c2 + o, spread(_mm_load_ps(c2 + o), q1.m_error, w_right));
    _mm_store_ps(c4 + o, spread(y4, d1, w_below_left));
    _mm_store_ps(c5 + o, spread(y5, d1, w_below));
    _mm_store_ps(c6 + o, spread(_mm_load_ps(c6 + o), d1, w_below_right));

    return _mm_or_si128(_mm_or_si128(chroma_bytes[0], _mm_slli_epi32(q0.m_byte, 8)),
                        _mm_or_si128(_mm_slli_epi32(chroma_bytes[1], 16), _mm_slli_epi32(q1.m_byte, 24)));
}

// Writes the output words of steps t0 to t0 + count - 1 (count <= 4) from `stage`, lanes in
// order: lane r's words of four steps are four consecutive pairs of its row, so where all four
// exist they are transposed out of the steps and stored as one 16-byte run.
void store_four_steps(const uint32_t (*stage)[k_lanes], int32_t t0, int32_t count, int32_t active, int32_t pairs,
                      uint8_t* const* out_rows) {
    // Lane r works on pair t - 2r at step t.
    auto store_words = [&](int32_t r) {
        for (int32_t s = 0; s < count; ++s) {
            const int32_t i = t0 - 2 * r + s;
            if (i >= 0 && i < pairs) std::memcpy(out_rows[r] + 4 * static_cast<ptrdiff_t>(i), &stage[s][r], 4);
        }
    };
    if (count < 4) {
        for (int32_t r = 0; r < active; ++r) store_words(r);
        return;
    }
    for (int32_t v = 0; v < k_vectors; ++v) {
        const __m128i a = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[0] + 4 * v));
        const __m128i b = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[1] + 4 * v));
        const __m128i c = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[2] + 4 * v));
        const __m128i d = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[3] + 4 * v));
        const __m128i ab_lo = _mm_unpacklo_epi32(a, b);
        const __m128i cd_lo = _mm_unpacklo_epi32(c, d);
        const __m128i ab_hi = _mm_unpackhi_epi32(a, b);
        const __m128i cd_hi = _mm_unpackhi_epi32(c, d);
        const __m128i runs[4] = {_mm_unpacklo_epi64(ab_lo, cd_lo), _mm_unpackhi_epi64(ab_lo, cd_lo),
                                 _mm_unpacklo_epi64(ab_hi, cd_hi), _mm_unpackhi_epi64(ab_hi, cd_hi)};
        for (int32_t k = 0; k < 4; ++k) {
            const int32_t r = 4 * v + k;
            if (r >= active) return;
            const int32_t i0 = t0 - 2 * r;
            if (i0 >= 0 && i0 + 4 <= pairs)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out_rows[r] + 4 * static_cast<ptrdiff_t>(i0)), runs[k]);
            else
                store_words(r);
        }
    }
}

}  // namespace

void dither_uyvy_rows_lanes(float* scratch, int32_t ring_rows, int32_t first, int32_t rows, int32_t width, uint8_t* dst,
                            ptrdiff_t dst_stride, const row_prefetch_t* prefetch, const lane_source_t* source) {
    if (width < 1) return;
    const colour_lanes_t colour = source ? colour_lanes_t(*source->m_p_matrix) : colour_lanes_t();
    const ptrdiff_t row_floats = 3 * (static_cast<ptrdiff_t>(width) + 3);
    const int32_t pairs = width / 2 + (width & 1);

    for (int32_t y = 0; y < rows; y += k_active_lanes) {
        const int32_t active = std::min(k_active_lanes, rows - y);
        lanes_t lanes;
        lanes.m_slots = width + 3;
        lanes.m_receiver = active;
        for (int32_t r = 0; r < k_lanes; ++r) {
            lanes.m_p_rows[r] = r <= active ? scratch + row_floats * ((first + y + r) % ring_rows) : nullptr;
            // An image row converts its own pixels unless it is the first lane of a later band:
            // that row received the shares of the band above and they are in its scratch row.
            const int32_t image_row = first + y + r;
            const bool converts = source && r <= active && image_row < source->m_height && (r > 0 || image_row == 0);
            lanes.m_p_src_rows[r] = converts ? source->m_p_src + source->m_stride * image_row : nullptr;
        }
        lanes.m_p_colour = &colour;
        lanes.m_p_matrix = source ? source->m_p_matrix : nullptr;
        lanes.plan(width);

        // Lane r works on pair t - 2r of its row when that pair exists; in the middle of the
        // band every row has one.
        alignas(16) int32_t on[k_lanes];
        __m128 all_on[k_vectors];
        for (int32_t r = 0; r < k_lanes; ++r) on[r] = r < active ? -1 : 0;
        for (int32_t v = 0; v < k_vectors; ++v)
            all_on[v] = _mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(on + 4 * v)));
        const int32_t full_from = 2 * (active - 1);
        // The output words of the last four steps, step t in stage[t % 4].
        alignas(16) uint32_t stage[4][k_lanes];
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
                _mm_prefetch(reinterpret_cast<const char*>(prefetch->m_p_first +
                                                           prefetch->m_stride * static_cast<ptrdiff_t>(row) + offset),
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

            const step_cells_t cells = {{lanes.cell(j), lanes.cell(j + 1), lanes.cell(j + 2), lanes.cell(j + 3),
                                         lanes.cell(j + 4), lanes.cell(j + 5), lanes.cell(j + 6)}};
            errors_above_t above = {{_mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps()}};
            static_assert(k_vectors == 4, "the step is written out for four vectors");
            uint32_t* const words = stage[t & 3];
            // In the middle of a full band only the last lane (the receiving row) is inactive.
            if (full && active == k_active_lanes) {
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 0), dither_vector<false>(cells, 0, mask[0], above));
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 4), dither_vector<false>(cells, 4, mask[1], above));
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 8), dither_vector<false>(cells, 8, mask[2], above));
            } else {
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 0), dither_vector<true>(cells, 0, mask[0], above));
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 4), dither_vector<true>(cells, 4, mask[1], above));
                _mm_store_si128(reinterpret_cast<__m128i*>(words + 8), dither_vector<true>(cells, 8, mask[2], above));
            }
            _mm_store_si128(reinterpret_cast<__m128i*>(words + 12), dither_vector<true>(cells, 12, mask[3], above));
            if ((t & 3) == 3) store_four_steps(stage, t - 3, 4, active, pairs, out_rows);

            // The receiving row's cells below j + 2 get no more shares.
            lanes.write_back_below(j + 2);
        }
        if (steps & 3) store_four_steps(stage, steps & ~3, steps & 3, active, pairs, out_rows);
        lanes.write_back_below(INT32_MAX);
    }
}

}  // namespace Drivers::Mac::ZAV::VirtualCamera

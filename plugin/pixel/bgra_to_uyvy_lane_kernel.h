// The packing pass of the BGRA to UYVY converter with many rows in flight, written once over
// the vector types of bgra_to_uyvy_vectors.h and instantiated by each vector row set.
//
// How the rows run side by side:
// - Lanes. Four vectors of V::k_lanes lanes each; lane r holds one image row of the band. All
//   but the last lane dither a row (the band's rows); the last one, the receiver, only takes the
//   shares that the row above it passes down, and becomes the first row of the next band.
// - Cells. A cell holds, for each component (Y, Cb, Cr), the value of every lane. Lane r keeps
//   slot s of its row in cell s + 4r: each row runs two pairs (four slots) behind the row above,
//   the least lag at which every share lands in the order of the row-by-row loop. At step t all
//   lanes therefore work on cells j = 2t + 1 (the pair) to j + 6 (the farthest share), each on
//   its own pair t - 2r, and a row's shares into the row below move one lane up (shift_down).
// - Ring. Only a window of cells is needed at a time: cells live in a ring of 32, filled from
//   the scratch rows (or converted straight from the source) a few cells ahead of the step, and
//   the receiver's finished cells are written back to its scratch row a few cells behind.
//
// The vectors of one step are independent of each other (a vector only uses what the one above
// it produced in the same step, after quantising), which lets the processor overlap their long
// quantise-and-spread chains. Internal linkage throughout: see bgra_to_uyvy_vectors.h.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "pixel/bgra_to_uyvy_dither.h"
#include "pixel/bgra_to_uyvy_rows.h"
#include "pixel/bgra_to_uyvy_vectors.h"

namespace Drivers::Mac::ZAV::VirtualCamera {
namespace {

namespace lane_kernel {

constexpr int32_t k_vectors = 4;
// Lanes are regrouped by four for the transposes, which use 128-bit vectors at every width.
constexpr int32_t k_group = 4;
constexpr int32_t k_cell_lag = 4;
constexpr int32_t k_ring = 32;
constexpr int32_t k_ring_mask = k_ring - 1;

// std::min and std::max are not used here: their instances would have external linkage.
inline int32_t min_of(int32_t a, int32_t b) {
    return a < b ? a : b;
}
inline int32_t max_of(int32_t a, int32_t b) {
    return a > b ? a : b;
}

template <typename V>
struct lanes_t {
    static constexpr int32_t k_lanes = k_vectors * V::k_lanes;
    // A cell: for each component (Y, Cb, Cr) the values of all lanes.
    static constexpr int32_t k_comp_floats = k_lanes;
    static constexpr int32_t k_cell_floats = 3 * k_comp_floats;

    alignas(32) float m_cells[k_ring * k_cell_floats];
    float* m_p_rows[k_lanes];  // slot 0 of each lane's scratch row, null for an empty lane
    // Row 0 of each lane's BGRA source when the lane converts its image slots itself, else
    // null: the lane then takes every slot from its scratch row.
    const uint8_t* m_p_src_rows[k_lanes];
    const colour_vectors_t<V>* m_p_colour = nullptr;
    // The same coefficients in four lanes, for the four pixels of one row at the row ends.
    const colour_vectors_t<vec4_t>* m_p_colour4 = nullptr;
    const colour_matrix_t* m_p_matrix = nullptr;
    int32_t m_slots = 0;    // width + 3
    int32_t m_loaded = 0;   // cells below this index are in the ring
    int32_t m_written = 0;  // receiver cells below this index are back in the scratch
    int32_t m_receiver = 0;

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
    int32_t m_patch_lanes[k_vectors][V::k_lanes];

    float* cell(int32_t k) { return m_cells + (k & k_ring_mask) * k_cell_floats; }

    bool row_has(int32_t lane, int32_t first_slot, int32_t count) const {
        return m_p_rows[lane] && first_slot >= 0 && first_slot + count <= m_slots;
    }

    // Called once the rows are set.
    void plan(int32_t width) {
        for (int32_t v = 0; v < k_vectors; ++v) plan_vector(v, width);
    }

    void plan_vector(int32_t v, int32_t width) {
        const int32_t first_lane = V::k_lanes * v;
        int32_t from_k = INT32_MIN;
        int32_t to_k = INT32_MAX;
        int32_t donor = -1;
        for (int32_t lane = first_lane; lane < first_lane + V::k_lanes; ++lane) {
            // Lane `lane` takes slots [k - lag * lane, + 4): image columns need slots 1 to
            // width, a scratch row slots 0 to width + 2.
            if (!m_p_rows[lane]) {
                to_k = INT32_MIN;
            } else if (m_p_src_rows[lane]) {
                from_k = max_of(from_k, k_cell_lag * lane + 1);
                to_k = min_of(to_k, k_cell_lag * lane + width - 3);
                donor = lane;
            } else {
                from_k = max_of(from_k, k_cell_lag * lane);
                to_k = min_of(to_k, k_cell_lag * lane + width - 1);
            }
        }
        m_from_k[v] = from_k;
        m_to_k[v] = to_k;
        m_converts[v] = donor >= 0;
        m_patch_count[v] = 0;
        for (int32_t lane = first_lane; lane < first_lane + V::k_lanes; ++lane) {
            const int32_t l = m_p_src_rows[lane] ? lane : donor;
            // Slot k - lag * l is image column k - lag * l - 1.
            m_src_at[lane] =
                l < 0 ? 0
                      : reinterpret_cast<uintptr_t>(m_p_src_rows[l]) - 4u * static_cast<uintptr_t>(k_cell_lag * l + 1);
            if (!m_p_src_rows[lane]) m_patch_lanes[v][m_patch_count[v]++] = lane;
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

    // Cells [k, k + 4) of one vector's lanes where the vector as a whole reaches past the ends
    // of its rows: lane by lane, a lane whose four slots are image columns of its own source
    // row converting them in one go, any other slot by slot.
    void load_vector_slots(int32_t v, int32_t k) {
        for (int32_t lane = V::k_lanes * v; lane < V::k_lanes * (v + 1); ++lane) {
            const int32_t s = k - k_cell_lag * lane;
            if (m_p_src_rows[lane] && s >= 1 && s + 3 <= m_slots - 3) {
                convert_lane4(lane, s, k);
                continue;
            }
            for (int32_t i = 0; i < 4; ++i) load_slot(lane, s + i, cell(k + i) + lane);
        }
    }

    // Image columns s - 1 to s + 2 of one lane's source row into cells [k, k + 4).
    void convert_lane4(int32_t lane, int32_t s, int32_t k) {
        const __m128i px =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_p_src_rows[lane] + 4 * static_cast<ptrdiff_t>(s - 1)));
        __m128 yuv[3];
        yuv_of_bgra<vec4_t>(px, *m_p_colour4, yuv);
        alignas(16) float out[3][4];
        for (int c = 0; c < 3; ++c) _mm_store_ps(out[c], yuv[c]);
        for (int32_t i = 0; i < 4; ++i)
            for (int c = 0; c < 3; ++c) cell(k + i)[c * k_comp_floats + lane] = out[c][i];
    }

    // Twelve floats (four slots) of each of four rows transposed into four cells.
    void transpose_group(int32_t first_lane, int32_t k, float* base) {
        __m128 x[4][3];
        for (int32_t r = 0; r < 4; ++r) {
            const int32_t lane = first_lane + r;
            const float* p = m_p_rows[lane] + 3 * (k - k_cell_lag * lane);
            for (int i = 0; i < 3; ++i) x[r][i] = _mm_loadu_ps(p + 4 * i);
        }
        for (int i = 0; i < 3; ++i) {
            _MM_TRANSPOSE4_PS(x[0][i], x[1][i], x[2][i], x[3][i]);
            for (int f = 0; f < 4; ++f) {
                const int32_t flat = 4 * i + f;  // float index within the four slots
                _mm_store_ps(base + flat * k_comp_floats + first_lane, x[f][i]);
            }
        }
    }

    // Four pixels of each of the vector's rows through the colour matrix in lane form; a lane
    // that reads its scratch row converts its donor's pixels and then takes its own slots over
    // them.
    void convert_vector(int32_t v, int32_t k, float* base) {
        const uint8_t* src[V::k_lanes];
        for (int32_t r = 0; r < V::k_lanes; ++r)
            src[r] = reinterpret_cast<const uint8_t*>(m_src_at[V::k_lanes * v + r] + 4u * static_cast<uint32_t>(k));
        typename V::i px[4];
        V::pixels_of_rows(src, px);
        for (int32_t i = 0; i < 4; ++i) {
            typename V::f yuv[3];
            yuv_of_bgra<V>(px[i], *m_p_colour, yuv);
            for (int c = 0; c < 3; ++c) V::store(base + i * k_cell_floats + c * k_comp_floats + V::k_lanes * v, yuv[c]);
        }
        for (int32_t n = 0; n < m_patch_count[v]; ++n) {
            const int32_t lane = m_patch_lanes[v][n];
            const float* p = m_p_rows[lane] + 3 * (k - k_cell_lag * lane);
            for (int32_t i = 0; i < 4; ++i)
                for (int c = 0; c < 3; ++c) base[i * k_cell_floats + c * k_comp_floats + lane] = p[3 * i + c];
        }
    }

    // Fills cells [k, k + 4) of the ring from the lanes' rows. k is a multiple of 4 and so is
    // the ring: the four cells follow each other in memory.
    void load4(int32_t k) {
        float* const base = cell(k);
        for (int32_t v = 0; v < k_vectors; ++v) {
            if (k < m_from_k[v] || k > m_to_k[v])
                load_vector_slots(v, k);
            else if (m_converts[v])
                convert_vector(v, k, base);
            else
                for (int32_t g = 0; g < V::k_lanes; g += k_group) transpose_group(V::k_lanes * v + g, k, base);
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
        k = min_of(k, m_loaded);
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

// (e * weight) + target, lane by lane: the order of the reference's spread.
template <typename V>
inline typename V::f spread(typename V::f target, typename V::f e, typename V::f weight) {
    return V::add(V::mul(e, weight), target);
}

template <typename V>
struct quantised_t {
    typename V::i m_byte;
    typename V::f m_error;
};

// (v + 0.5) truncated, low byte kept, error against it; inactive lanes pass on no error. With
// `masked` false every lane is active and the mask is not applied. Out of the 32-bit range the
// truncation gives INT32_MIN, as the reference's quantise does on purpose.
template <typename V, bool masked>
inline quantised_t<V> quantise(typename V::f x, typename V::f active) {
    const typename V::i q = V::truncate(V::add(x, V::set(0.5f)));
    const typename V::i stored = V::and_(q, V::set_int(0xff));
    const typename V::f error = V::sub(x, V::to_float(stored));
    return {stored, masked ? V::and_(error, active) : error};
}

// The seven cells that one step touches: c[0] and c[1] hold the pair being quantised.
struct step_cells_t {
    float* m_c[7];
};

// Errors of the previous vector's lanes for Y0, Cb, Cr, Y1, in the order the vectors are done.
template <typename V>
struct errors_above_t {
    typename V::f m_e[4];
};

// One vector (lanes from offset `o` within each component) of one step: quantises the lanes'
// pairs, spreads their errors in the row-by-row order and returns each lane's four output
// bytes as Cb | Y0 << 8 | Cr << 16 | Y1 << 24. Each cell component is loaded once, updated in
// registers and stored once.
template <typename V, bool masked>
inline typename V::i dither_vector(const step_cells_t& s, int32_t o, typename V::f mask, errors_above_t<V>& above,
                                   int32_t comp_floats) {
    using f = typename V::f;
    const f w_right = V::set(k_share_right);
    const f w_below_left = V::set(k_share_below_left);
    const f w_below = V::set(k_share_below);
    const f w_below_right = V::set(k_share_below_right);
    float* const c0 = s.m_c[0];
    float* const c1 = s.m_c[1];
    float* const c2 = s.m_c[2];
    float* const c3 = s.m_c[3];
    float* const c4 = s.m_c[4];
    float* const c5 = s.m_c[5];
    float* const c6 = s.m_c[6];

    typename V::i chroma_bytes[2];
    for (int c = 1; c <= 2; ++c) {
        const int32_t oc = o + c * comp_floats;
        const f avg = V::mul(V::add(V::load(c0 + oc), V::load(c1 + oc)), V::set(0.5f));
        const quantised_t<V> q = quantise<V, masked>(avg, mask);
        chroma_bytes[c - 1] = q.m_byte;
        const f down = V::shift_down(q.m_error, above.m_e[c]);
        above.m_e[c] = q.m_error;
        // Cell j+2 of the row below takes the 3/16 share of the row above before its own row's
        // 7/16 share, as in the row-by-row order.
        const f t2 = spread<V>(V::load(c2 + oc), down, w_below_left);
        V::store(c2 + oc, spread<V>(t2, q.m_error, w_right));
        V::store(c4 + oc, spread<V>(V::load(c4 + oc), down, w_below));
        V::store(c6 + oc, spread<V>(V::load(c6 + oc), down, w_below_right));
    }
    const quantised_t<V> q0 = quantise<V, masked>(V::load(c0 + o), mask);
    const f d0 = V::shift_down(q0.m_error, above.m_e[0]);
    above.m_e[0] = q0.m_error;
    const f y1 = spread<V>(V::load(c1 + o), q0.m_error, w_right);
    V::store(c1 + o, y1);
    V::store(c3 + o, spread<V>(V::load(c3 + o), d0, w_below_left));
    const f y4 = spread<V>(V::load(c4 + o), d0, w_below);
    const f y5 = spread<V>(V::load(c5 + o), d0, w_below_right);
    // Y of the pair's second pixel, read after the first pixel's share landed on it.
    const quantised_t<V> q1 = quantise<V, masked>(y1, mask);
    const f d1 = V::shift_down(q1.m_error, above.m_e[3]);
    above.m_e[3] = q1.m_error;
    V::store(c2 + o, spread<V>(V::load(c2 + o), q1.m_error, w_right));
    V::store(c4 + o, spread<V>(y4, d1, w_below_left));
    V::store(c5 + o, spread<V>(y5, d1, w_below));
    V::store(c6 + o, spread<V>(V::load(c6 + o), d1, w_below_right));

    return V::or_(V::or_(chroma_bytes[0], V::template shift_left<8>(q0.m_byte)),
                  V::or_(V::template shift_left<16>(chroma_bytes[1]), V::template shift_left<24>(q1.m_byte)));
}

// Writes the output words of steps t0 to t0 + count - 1 (count <= 4) from `stage`, lanes in
// order: lane r's words of four steps are four consecutive pairs of its row, so where all four
// exist they are transposed out of the steps and stored as one 16-byte run.
template <int32_t lanes>
void store_four_steps(const uint32_t (*stage)[lanes], int32_t t0, int32_t count, int32_t active, int32_t pairs,
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
    for (int32_t g = 0; g < lanes; g += k_group) {
        const __m128i a = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[0] + g));
        const __m128i b = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[1] + g));
        const __m128i c = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[2] + g));
        const __m128i d = _mm_load_si128(reinterpret_cast<const __m128i*>(stage[3] + g));
        const __m128i ab_lo = _mm_unpacklo_epi32(a, b);
        const __m128i cd_lo = _mm_unpacklo_epi32(c, d);
        const __m128i ab_hi = _mm_unpackhi_epi32(a, b);
        const __m128i cd_hi = _mm_unpackhi_epi32(c, d);
        const __m128i runs[4] = {_mm_unpacklo_epi64(ab_lo, cd_lo), _mm_unpackhi_epi64(ab_lo, cd_lo),
                                 _mm_unpacklo_epi64(ab_hi, cd_hi), _mm_unpackhi_epi64(ab_hi, cd_hi)};
        for (int32_t k = 0; k < 4; ++k) {
            const int32_t r = g + k;
            if (r >= active) return;
            const int32_t i0 = t0 - 2 * r;
            if (i0 >= 0 && i0 + 4 <= pairs)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out_rows[r] + 4 * static_cast<ptrdiff_t>(i0)), runs[k]);
            else
                store_words(r);
        }
    }
}

// Requests the cache lines of the prefetch rows, spread evenly over the steps of a band.
struct prefetcher_t {
    const row_prefetch_t* m_p_rows = nullptr;
    size_t m_lines_per_row = 0;
    size_t m_lines = 0;
    size_t m_lines_per_step = 0;
    size_t m_line = 0;

    prefetcher_t(const row_prefetch_t* rows, int32_t steps) : m_p_rows(rows) {
        if (!rows) return;
        m_lines_per_row = (rows->m_row_bytes + 63) / 64;
        m_lines = m_lines_per_row * static_cast<size_t>(rows->m_rows);
        m_lines_per_step = m_lines / static_cast<size_t>(steps) + 1;
    }

    void step() {
        for (size_t n = 0; n < m_lines_per_step && m_line < m_lines; ++n, ++m_line) {
            const size_t row = m_line / m_lines_per_row;
            const size_t line_offset = 64 * (m_line % m_lines_per_row);
            const size_t offset = line_offset < m_p_rows->m_row_bytes ? line_offset : m_p_rows->m_row_bytes - 1;
            _mm_prefetch(reinterpret_cast<const char*>(m_p_rows->m_p_first +
                                                       m_p_rows->m_stride * static_cast<ptrdiff_t>(row) + offset),
                         _MM_HINT_T0);
        }
    }
};

// The band of up to k_lanes - 1 rows from image row `first`: the lanes over their scratch rows
// (and source rows, when the kernel converts).
template <typename V>
void set_band_rows(lanes_t<V>& lanes, float* scratch, ptrdiff_t row_floats, int32_t ring_rows, int32_t first,
                   int32_t active, const lane_source_t* source) {
    for (int32_t r = 0; r < lanes_t<V>::k_lanes; ++r) {
        lanes.m_p_rows[r] = r <= active ? scratch + row_floats * ((first + r) % ring_rows) : nullptr;
        // An image row converts its own pixels unless it is the first lane of a later band:
        // that row received the shares of the band above and they are in its scratch row.
        const int32_t image_row = first + r;
        const bool converts = source && r <= active && image_row < source->m_height && (r > 0 || image_row == 0);
        lanes.m_p_src_rows[r] = converts ? source->m_p_src + source->m_stride * image_row : nullptr;
    }
}

// One band: `active` rows dithered side by side, the lane below them receiving their shares.
template <typename V>
void dither_band(lanes_t<V>& lanes, int32_t active, int32_t pairs, uint8_t* dst, ptrdiff_t dst_stride,
                 const row_prefetch_t* prefetch) {
    constexpr int32_t k_lanes = lanes_t<V>::k_lanes;
    constexpr int32_t k_comp_floats = lanes_t<V>::k_comp_floats;
    using f = typename V::f;

    // Lane r works on pair t - 2r of its row when that pair exists; in the middle of the band
    // every row has one.
    alignas(32) int32_t on[k_lanes];
    f all_on[k_vectors];
    for (int32_t r = 0; r < k_lanes; ++r) on[r] = r < active ? -1 : 0;
    for (int32_t v = 0; v < k_vectors; ++v) all_on[v] = V::as_float(V::load_int(on + V::k_lanes * v));
    const int32_t full_from = 2 * (active - 1);
    // The output words of the last four steps, step t in stage[t % 4].
    alignas(32) uint32_t stage[4][k_lanes];
    uint8_t* out_rows[k_lanes];
    for (int32_t r = 0; r < active; ++r) out_rows[r] = dst + dst_stride * r;

    const int32_t steps = pairs + 2 * (active - 1);
    prefetcher_t prefetcher(prefetch, steps);
    for (int32_t t = 0; t < steps; ++t) {
        const int32_t j = 2 * t + 1;
        lanes.load_through(j + 6);
        prefetcher.step();

        const bool full = t >= full_from && t < pairs;
        f mask[k_vectors];
        if (full) {
            for (int32_t v = 0; v < k_vectors; ++v) mask[v] = all_on[v];
        } else {
            for (int32_t r = 0; r < k_lanes; ++r) {
                const int32_t i = t - 2 * r;
                on[r] = (r < active && i >= 0 && i < pairs) ? -1 : 0;
            }
            for (int32_t v = 0; v < k_vectors; ++v) mask[v] = V::as_float(V::load_int(on + V::k_lanes * v));
        }

        const step_cells_t cells = {{lanes.cell(j), lanes.cell(j + 1), lanes.cell(j + 2), lanes.cell(j + 3),
                                     lanes.cell(j + 4), lanes.cell(j + 5), lanes.cell(j + 6)}};
        errors_above_t<V> above = {{V::zero(), V::zero(), V::zero(), V::zero()}};
        static_assert(k_vectors == 4, "the step is written out for four vectors");
        uint32_t* const words = stage[t & 3];
        constexpr int32_t n = V::k_lanes;
        // In the middle of a full band only the last lane (the receiving row) is inactive.
        if (full && active == k_lanes - 1) {
            V::store_int(words + 0 * n, dither_vector<V, false>(cells, 0 * n, mask[0], above, k_comp_floats));
            V::store_int(words + 1 * n, dither_vector<V, false>(cells, 1 * n, mask[1], above, k_comp_floats));
            V::store_int(words + 2 * n, dither_vector<V, false>(cells, 2 * n, mask[2], above, k_comp_floats));
        } else {
            V::store_int(words + 0 * n, dither_vector<V, true>(cells, 0 * n, mask[0], above, k_comp_floats));
            V::store_int(words + 1 * n, dither_vector<V, true>(cells, 1 * n, mask[1], above, k_comp_floats));
            V::store_int(words + 2 * n, dither_vector<V, true>(cells, 2 * n, mask[2], above, k_comp_floats));
        }
        V::store_int(words + 3 * n, dither_vector<V, true>(cells, 3 * n, mask[3], above, k_comp_floats));
        if ((t & 3) == 3) store_four_steps<k_lanes>(stage, t - 3, 4, active, pairs, out_rows);

        // The receiving row's cells below j + 2 get no more shares.
        lanes.write_back_below(j + 2);
    }
    if (steps & 3) store_four_steps<k_lanes>(stage, steps & ~3, steps & 3, active, pairs, out_rows);
    lanes.write_back_below(INT32_MAX);
}

// The m_p_dither_rows of a vector row set; see bgra_to_uyvy_rows_t.
template <typename V>
void dither_rows(float* scratch, int32_t ring_rows, int32_t first, int32_t rows, int32_t width, uint8_t* dst,
                 ptrdiff_t dst_stride, const row_prefetch_t* prefetch, const lane_source_t* source) {
    if (width < 1) return;
    constexpr int32_t k_band = lanes_t<V>::k_lanes - 1;
    const colour_matrix_t* matrix = source ? source->m_p_matrix : nullptr;
    const colour_vectors_t<V> colour(matrix ? *matrix : *colour_matrix_for(709));
    const colour_vectors_t<vec4_t> colour4(matrix ? *matrix : *colour_matrix_for(709));
    const ptrdiff_t row_floats = 3 * (static_cast<ptrdiff_t>(width) + 3);
    const int32_t pairs = width / 2 + (width & 1);

    for (int32_t y = 0; y < rows; y += k_band) {
        const int32_t active = min_of(k_band, rows - y);
        lanes_t<V> lanes;
        lanes.m_slots = width + 3;
        lanes.m_receiver = active;
        set_band_rows(lanes, scratch, row_floats, ring_rows, first + y, active, source);
        lanes.m_p_colour = &colour;
        lanes.m_p_colour4 = &colour4;
        lanes.m_p_matrix = matrix;
        lanes.plan(width);
        // Only the last band fetches the caller's next rows: the earlier ones would evict them.
        const bool last_band = y + active >= rows;
        dither_band(lanes, active, pairs, dst + dst_stride * y, dst_stride, last_band ? prefetch : nullptr);
    }
}

}  // namespace lane_kernel

}  // namespace
}  // namespace Drivers::Mac::ZAV::VirtualCamera

#include <tq5/cellworks/editing/cleaning.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/indices.hpp>

namespace tq5 {
namespace cellworks {

namespace {

int as_count(std::size_t n) noexcept { return n > std::size_t(INT_MAX) ? INT_MAX : int(n); }

// The largest limit that check_IDs takes for `pos`.
unsigned node_limit(const dense2D<double>& pos) noexcept {
    return unsigned(std::min<std::size_t>(pos.cols(), NO_INDEX));
}

template <class F> int guarded(F&& f) noexcept {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

// Whether two entries of a column are equal and count: a node, or with
// `strict` anything. The pairs are compared without branches, which for the
// heights of elements takes fewer steps than sorting a copy and looking at
// neighbours, and gives the same answer with no scratch. R = 0 takes the
// height at run time.
template <std::size_t R> bool degenerate(const unsigned* c, std::size_t rows, bool strict) noexcept {
    const std::size_t h = R ? R : rows;
    bool found = false;
    for (std::size_t i = 0; i < h; ++i)
        for (std::size_t j = i + 1; j < h; ++j) found |= (c[i] == c[j]) & ((c[i] != NO_INDEX) | strict);
    return found;
}

#if defined(__has_builtin)
#if __has_builtin(__builtin_shufflevector)
// Four rows (tetrahedra, quadrangles) in one vector: comparing it with itself
// turned by one and by two places meets all six pairs. Three times fewer
// instructions than the pairs one by one, on any target the compiler has
// vectors for.
template <> bool degenerate<4>(const unsigned* c, std::size_t, bool strict) noexcept {
    typedef unsigned u32x4 __attribute__((vector_size(16)));
    typedef int i32x4 __attribute__((vector_size(16)));
    u32x4 v;
    std::memcpy(&v, c, sizeof v);
    const u32x4 by1 = __builtin_shufflevector(v, v, 1, 2, 3, 0), by2 = __builtin_shufflevector(v, v, 2, 3, 0, 1);
    const i32x4 hit = ((v == by1) | (v == by2)) & ((v != NO_INDEX) | -int(strict));
    std::uint64_t half[2];
    std::memcpy(half, &hit, sizeof half);
    return (half[0] | half[1]) != 0;
}
#endif
#endif

// Moves the columns that are not degenerate forward; `map`, when given, gets
// an entry for every column. Returns the number removed. Every column is
// written to place `kept` and `kept` then goes up for the good ones only, so
// that the loop has no branch on the random outcome: a degenerate column is
// overwritten by the next good one or left beyond the end.
template <std::size_t R> int compact(dense2D<unsigned>& conn, unsigned* map, bool strict) noexcept {
    unsigned* d = conn.data();
    const std::size_t rows = R ? R : conn.rows(), ld = conn.ld(), cols = conn.cols();
    std::size_t kept = 0;
    for (std::size_t j = 0; j < cols; ++j) {
        const unsigned* c = d + j * ld;
        unsigned* to = d + kept * ld;  // the column itself, or an earlier one
        bool bad;
        if constexpr (R > 0) {  // through registers, without a call to memmove
            unsigned v[R];
            for (std::size_t r = 0; r < R; ++r) v[r] = c[r];
            bad = degenerate<R>(v, R, strict);
            for (std::size_t r = 0; r < R; ++r) to[r] = v[r];
        } else {
            bad = degenerate<0>(c, rows, strict);
            std::memmove(to, c, rows * sizeof(unsigned));
        }
        if (map) map[j] = bad ? NO_INDEX : unsigned(kept);
        kept += !bad;
    }
    conn.resize(rows, kept);  // fewer columns of the same rows: no storage needed
    return as_count(cols - kept);
}

// The heights of the element kinds up to hexahedra get loops of fixed length.
int compact_any(dense2D<unsigned>& conn, unsigned* map, bool strict) noexcept {
    switch (conn.rows()) {
        case 2: return compact<2>(conn, map, strict);
        case 3: return compact<3>(conn, map, strict);
        case 4: return compact<4>(conn, map, strict);
        case 5: return compact<5>(conn, map, strict);
        case 6: return compact<6>(conn, map, strict);
        case 8: return compact<8>(conn, map, strict);
        default: return compact<0>(conn, map, strict);
    }
}

// Sets the bit of each node that the matrices refer to, testing the ids on
// the way, so that they are read once: false at the first entry that is
// neither NO_INDEX nor below n (the bits then don't matter).
bool mark_used(const dense2D<unsigned>* first, const dense2D<unsigned>* last, std::size_t n,
               std::uint64_t* bits) noexcept {
    for (const dense2D<unsigned>* m = first; m != last; ++m) {
        const unsigned* d = m->data();
        const std::size_t rows = m->rows(), ld = m->ld();
        for (std::size_t j = 0, cols = m->empty() ? 0 : m->cols(); j < cols; ++j)
            for (std::size_t r = 0; r < rows; ++r) {
                const unsigned x = d[j * ld + r];
                if (x >= n) {
                    if (x != NO_INDEX) return false;
                    continue;
                }
                bits[x / 64] |= std::uint64_t(1) << (x % 64);
            }
    }
    return true;
}

int drop_unused(dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, dense1D<unsigned>& map,
                unsigned keep_first) {
    map.clear();
    if (first == last) return 0;
    if (std::less<const dense2D<unsigned>*>()(last, first)) return -3;
    // Where nothing is marked, the ids are tested on their own, so that a bad
    // id still comes before the codes of later steps.
    auto ids_ok = [&] {
        for (const dense2D<unsigned>* m = first; m != last; ++m)
            if (!check_IDs(*m, node_limit(pos))) return false;
        return true;
    };
    const std::size_t n = pos.cols();
    if (pos.empty() || keep_first >= n) return ids_ok() ? 0 : -2;
    dense1D<std::uint64_t> used;
    if (!map.resize(n) || !used.resize((n + 63) / 64, 0)) {
        map.clear();
        return ids_ok() ? ERR_ALLOC : -2;
    }
    const std::uint64_t* bits = used.data();
    if (!mark_used(first, last, n, used.data())) {
        map.clear();
        return -2;
    }
    // Each column from keep_first on is copied to place `fresh`, which moves
    // on past the used ones only: no branch on the random outcome.
    unsigned* to = map.data();
    double* p = pos.data();
    const std::size_t rows = pos.rows(), ld = pos.ld();
    for (std::size_t i = 0; i < keep_first; ++i) to[i] = unsigned(i);
    std::size_t fresh = keep_first;
    for (std::size_t i = keep_first; i < n; ++i) {
        const bool in = bits[i / 64] >> (i % 64) & 1;
        const double* src = p + i * ld;
        double* dst = p + fresh * ld;  // the column itself, or an earlier one
        for (std::size_t r = 0; r < rows; ++r) dst[r] = src[r];
        to[i] = in ? unsigned(fresh) : NO_INDEX;
        fresh += in;
    }
    pos.resize(rows, fresh);
    if (fresh < n)
        for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, map);
    return as_count(n - fresh);
}

int clip_side(const dense2D<double>& pos, const dense2D<unsigned>& conn, const vector_fixed<double, 3>& point,
              const vector_fixed<double, 3>& normal, dense2D<unsigned>& kept) {
    const std::size_t dim = std::min<std::size_t>(3, pos.rows());
    const double len = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    if (conn.empty()) return 0;
    if (!check_IDs(conn, node_limit(pos))) return -2;
    if (!(len >= 1e-12)) return -4;
    if (!kept.empty() && kept.rows() != conn.rows()) return -5;
    // 0: not looked at yet, 1: strictly on the side of `normal`, -1: not.
    dense1D<std::int16_t> side;
    dense1D<unsigned> list;
    if (!side.resize(pos.cols(), 0) || !list.resize(conn.cols())) return ERR_ALLOC;
    std::int16_t* s = side.data();
    unsigned* l = list.data();
    const double* p = pos.data();
    const unsigned* d = conn.data();
    const std::size_t pld = pos.ld(), rows = conn.rows(), ld = conn.ld(), cols = conn.cols();
    std::size_t n = 0;
    for (std::size_t j = 0; j < cols; ++j) {
        bool in = true;
        for (std::size_t r = 0; r < rows && in; ++r) {
            const unsigned id = d[j * ld + r];
            if (id == NO_INDEX) break;
            if (s[id] == 0) {
                double t = 0.0;
                for (std::size_t k = 0; k < dim; ++k) t += (p[id * pld + k] - point[k]) * normal[k];
                s[id] = t > 0.0 ? 1 : -1;
            }
            in = s[id] == 1;
        }
        if (in) l[n++] = unsigned(j);
    }
    list.resize(n);
    // An empty `kept` takes the rows of `conn`; a failed append restores its shape.
    const std::size_t old_rows = kept.rows(), old_cols = kept.cols();
    if (kept.empty()) kept.clear();
    if (!kept.push_back(conn, list)) {
        kept.resize(old_rows, old_cols);
        return ERR_ALLOC;
    }
    return 0;
}

}  // namespace

int remove_degenerated(dense2D<unsigned>& conn, dense1D<unsigned>& map, bool strict) noexcept {
    map.clear();
    if (!map.resize(conn.cols())) return ERR_ALLOC;  // every entry is written
    return compact_any(conn, map.data(), strict);
}

int remove_degenerated(dense2D<unsigned>& conn, bool strict) noexcept { return compact_any(conn, nullptr, strict); }

int simplify(dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, dense1D<unsigned>& map,
             unsigned keep_first) noexcept {
    return guarded([&] { return drop_unused(pos, first, last, map, keep_first); });
}

int simplify(dense2D<double>& pos, dense2D<unsigned>& conn, dense1D<unsigned>& map, unsigned keep_first) noexcept {
    return simplify(pos, &conn, &conn + 1, map, keep_first);
}

int simplify(dense2D<double>& pos, dense2D<unsigned>& conn, unsigned keep_first) noexcept {
    return guarded([&] {
        dense1D<unsigned> map;
        return drop_unused(pos, &conn, &conn + 1, map, keep_first);
    });
}

// The views in `both` share the storage of conn1 and conn2, which therefore
// see the renumbering.
int simplify(dense2D<double>& pos, dense2D<unsigned>& conn1, dense2D<unsigned>& conn2, unsigned keep_first) noexcept {
    return guarded([&] {
        dense2D<unsigned> both[2] = {conn1, conn2};
        dense1D<unsigned> map;
        return drop_unused(pos, both, both + 2, map, keep_first);
    });
}

int clip(const dense2D<double>& pos, const dense2D<unsigned>& conn, const vector_fixed<double, 3>& point,
         const vector_fixed<double, 3>& normal, dense2D<unsigned>& kept) noexcept {
    return guarded([&] { return clip_side(pos, conn, point, normal, kept); });
}

}  // namespace cellworks
}  // namespace tq5

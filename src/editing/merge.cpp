#include <tq5/cellworks/editing/merge.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/indices.hpp>

#include "../detail/prefetch.hpp"
#include "detail/node_tree.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using u64 = std::uint64_t;
constexpr double INF = std::numeric_limits<double>::infinity();

// The greatest d2 with sqrt(d2) <= tol. The square root is correctly rounded
// and so monotone: sqrt(d2) <= tol exactly when d2 <= this limit, and the
// distance tests need no root. A NaN d2 (from inf - inf) fails `d2 > limit` as
// it fails `sqrt(d2) > tol`, so both read it as close.
double squared_limit(double tol) noexcept {
    if (tol == INF) return INF;
    double t = tol * tol;
    while (std::sqrt(t) > tol) t = std::nextafter(t, 0.0);
    for (double up = std::nextafter(t, INF); std::sqrt(up) <= tol; up = std::nextafter(t, INF)) t = up;
    return t;
}

// The closed box x - tol to x + tol on every axis holds y.
template <unsigned DIM> bool in_box(const double* x, const double* y, double tol) noexcept {
    bool in = true;
    for (unsigned k = 0; k < DIM; ++k) in &= x[k] - tol <= y[k] && y[k] <= x[k] + tol;
    return in;
}

// A list of node ids by rank: an array, or 0 .. n-1 when `ids` is null.
struct node_list {
    const unsigned* ids;
    std::size_t n;
    unsigned operator[](std::size_t r) const noexcept { return ids ? ids[r] : unsigned(r); }
};

// Whether every coordinate of the listed nodes is finite; `lo`, `hi` get their box.
template <unsigned DIM> bool finite_box(const dense2D<double>& pos, node_list list, double* lo, double* hi) noexcept {
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    bool finite = true;
    for (std::size_t r = 0; r < list.n; ++r) {
        const double* x = pd + std::size_t(list[r]) * ld;
        for (unsigned k = 0; k < DIM; ++k) {
            finite &= std::isfinite(x[k]);
            lo[k] = std::min(lo[k], x[k]);
            hi[k] = std::max(hi[k], x[k]);
        }
    }
    return finite;
}

// Follows `map` from each listed node to the first node that maps to itself
// and stores that root. Ranks fall along every chain, so each walk ends.
void resolve_roots(unsigned* map, node_list list) noexcept {
    for (std::size_t r = 0; r < list.n; ++r) {
        const unsigned v = list[r];
        unsigned root = map[v];
        while (map[root] != root) root = map[root];
        map[v] = root;
    }
}

// ---------------------------------------------------------------------------
// Close pairs by cells. Space is cut into cubes of side h; every searching node
// u puts one entry into each cell that its box [u - tol, u + tol] meets, every
// node that may be joined is found through the one cell that holds it. The cell
// of a coordinate is a monotone function of it, so when v lies in the box of
// u, v's cell lies among the cells of that box: each pair meets in exactly one
// cell, and nothing but the exact box and distance tests decides. The cell
// size only changes the cost: h of about 16 tol keeps the extra entries few
// ((1 + 2 tol / h)^DIM per node), and a cap near the mean spacing keeps cells
// small when tol is large.

template <unsigned DIM> struct cell_grid {
    double low[DIM];
    double inv_h;  // 0 for cells of infinite size
    u64 count[DIM], stride[DIM], total;

    cell_grid(const double* lo, const double* hi, std::size_t n, double tol) noexcept {
        constexpr double max_cells = double(u64(1) << (60 / DIM));
        double extent[DIM], ext_max = 0, volume = 1;
        unsigned spread = 0;
        for (unsigned k = 0; k < DIM; ++k) {
            low[k] = lo[k];
            extent[k] = hi[k] - lo[k];
            ext_max = std::max(ext_max, extent[k]);
            if (extent[k] > 0) volume *= extent[k], ++spread;
        }
        // The mean spacing of n nodes spread over the axes where they differ.
        const double spacing = spread ? std::pow(volume / double(n), 1.0 / spread) : 0.0;
        double h = std::max({2 * tol, std::min(16 * tol, spacing), spacing / 8, ext_max / (max_cells - 1)});
        if (!(h > 0)) h = 1;
        inv_h = 1 / h;
        total = 1;
        for (unsigned k = 0; k < DIM; ++k) {
            const double cells = extent[k] * inv_h;
            count[k] = cells < max_cells - 1 ? u64(cells) + 1 : u64(max_cells);
            stride[k] = total;
            total *= count[k];
        }
    }

    // Cell number of x on axis k; monotone in x, clamped to the grid.
    u64 on_axis(unsigned k, double x) const noexcept {
        const double t = (x - low[k]) * inv_h;
        if (!(t >= 0)) return 0;  // also the NaN of an infinite bound times 0
        if (t >= double(count[k] - 1)) return count[k] - 1;
        return u64(t);
    }
    u64 key(const double* x) const noexcept {
        u64 key = 0;
        for (unsigned k = 0; k < DIM; ++k) key += on_axis(k, x[k]) * stride[k];
        return key;
    }
};

// One entry of a cell: its key, and the position r of its node in the search
// order (below the number of searchers: the rank of a searching node; above:
// a node that is only found).
template <class K> struct cell_entry {
    K key;
    unsigned r;
};

// Stable LSD radix sort of n entries by the low `bits` bits of their keys, in
// passes of at most 11 bits; `b` is room for n entries. Returns the array that
// holds the result. `counts` has room for 2048 entries per pass.
template <class E> E* radix_sort(E* a, E* b, std::size_t n, unsigned bits, std::size_t* counts) noexcept {
    const unsigned passes = (bits + 10) / 11, width = passes ? (bits + passes - 1) / passes : 0;
    const std::size_t buckets = std::size_t(1) << width, mask = buckets - 1;
    std::fill(counts, counts + passes * buckets, std::size_t(0));
    for (std::size_t i = 0; i < n; ++i)
        for (unsigned p = 0; p < passes; ++p) ++counts[p * buckets + ((a[i].key >> (p * width)) & mask)];
    for (unsigned p = 0; p < passes; ++p) {
        std::size_t* c = counts + p * buckets;
        if (*std::max_element(c, c + buckets) == n) continue;  // one digit throughout
        std::size_t sum = 0;
        for (std::size_t d = 0; d < buckets; ++d) sum += std::exchange(c[d], sum);
        const unsigned shift = p * width;
        for (std::size_t i = 0; i < n; ++i) b[c[(a[i].key >> shift) & mask]++] = a[i];
        std::swap(a, b);
    }
    return a;
}

// The searchers of `order` (ranks 0 .. n2-1) and the nodes that are only found
// (n2 and on), with the tests of a pair.
template <unsigned DIM> struct pair_search {
    const double* pd;
    std::size_t ld;
    double tol, limit;
    node_list searchers, found_only;
    const u64* in_first;  // bit v: node v may be joined; null when every searcher may

    unsigned id(unsigned r) const noexcept { return r < searchers.n ? searchers[r] : found_only[r - searchers.n]; }
    const double* at(unsigned id) const noexcept { return pd + std::size_t(id) * ld; }
    bool joinable(unsigned v) const noexcept { return !in_first || (in_first[v >> 6] >> (v & 63)) & 1; }
    // v lies in the box of u and within tol of it.
    bool close(const double* xu, const double* xv) const noexcept {
        return in_box<DIM>(xu, xv, tol) && !(detail::tree_metric<DIM>::dist2(xv, xu) > limit);
    }
};

// Entries of every searcher in each cell its box meets (searchers in rank
// order, so the sort keeps each cell in rank order), then of every node that
// is only found, in its own cell.
template <unsigned DIM, class K>
bool make_entries(const pair_search<DIM>& s, const cell_grid<DIM>& grid, dense1D<cell_entry<K>>& entries) noexcept {
    const std::size_t n2 = s.searchers.n, n = n2 + s.found_only.n;
    if (!entries.reserve(n + n / 2, 1)) return false;
    for (std::size_t r = 0; r < n; ++r) {
        const double* x = s.at(s.id(unsigned(r)));
        if (r >= n2) {
            if (!entries.push_back({K(grid.key(x)), unsigned(r)})) return false;
            continue;
        }
        u64 first[DIM], last[DIM], at[DIM], base = 0;
        for (unsigned k = 0; k < DIM; ++k) {
            first[k] = at[k] = grid.on_axis(k, x[k] - s.tol);
            last[k] = grid.on_axis(k, x[k] + s.tol);
            base += first[k] * grid.stride[k];
        }
        for (;;) {  // every cell of the box, axis 0 fastest
            if (!entries.push_back({K(base), unsigned(r)})) return false;
            unsigned k = 0;
            for (; k < DIM && at[k] == last[k]; ++k) {
                base -= (at[k] - first[k]) * grid.stride[k];
                at[k] = first[k];
            }
            if (k == DIM) break;
            ++at[k];
            base += grid.stride[k];
        }
    }
    return true;
}

// Walks the sorted cells. In a cell, the entries before a node's own entry
// are the searchers of lower rank (or all searchers, for a node that is only
// found); the first of them that is close is the node's survivor, which is
// the lowest-ranked close searcher of all, since each pair meets in one cell
// only. Returns the count joined.
template <unsigned DIM, class K>
std::size_t join_in_cells(const pair_search<DIM>& s, const cell_grid<DIM>& grid, const cell_entry<K>* e, std::size_t n,
                          unsigned* map) noexcept {
    constexpr std::size_t ahead = 16;
    const std::size_t n2 = s.searchers.n;
    std::size_t joined = 0;
    for (std::size_t i = 0, start = 0; i < n; ++i) {
        if (i + ahead < n) detail::prefetch(s.at(s.id(e[i + ahead].r)));
        if (e[i].key != e[start].key) start = i;
        if (i == start) continue;  // first of its cell: nobody before it
        const unsigned rv = e[i].r, v = s.id(rv);
        if (rv < n2 && !s.joinable(v)) continue;
        const double* xv = s.at(v);
        if (rv < n2 && K(grid.key(xv)) != e[i].key) continue;  // a searcher's entry outside its own cell
        for (std::size_t j = start; j < i && e[j].r < n2; ++j) {
            const unsigned u = s.searchers[e[j].r];
            if (!s.close(s.at(u), xv)) continue;
            map[v] = u;
            ++joined;
            break;
        }
    }
    return joined;
}

template <unsigned DIM, class K>
int join_by_cells(const pair_search<DIM>& s, const cell_grid<DIM>& grid, unsigned* map, std::size_t& joined) {
    dense1D<cell_entry<K>> entries, room;
    dense1D<std::size_t> counts;
    if (!make_entries(s, grid, entries)) return ERR_ALLOC;
    const std::size_t n = entries.size();
    unsigned bits = 0;
    while (bits < 64 && (grid.total - 1) >> bits) ++bits;
    if (!room.resize(n) || !counts.resize(2048 * ((bits + 10) / 11) + 1)) return ERR_ALLOC;
    const cell_entry<K>* sorted = radix_sort(entries.data(), room.data(), n, bits, counts.data());
    joined = join_in_cells(s, grid, sorted, n, map);
    return 0;
}

// The search as stated for the k-d tree: the nodes of `first` in a tree, each
// node of `second` in turn searching its box. Kept for coordinates that are not
// all finite: a NaN node hides its subtrees from the box search, so the result
// then depends on the tree.
template <unsigned DIM>
int join_by_tree(const dense2D<double>& pos, node_list first, node_list second, double tol, double limit,
                 dense1D<unsigned>& map, std::size_t& joined) {
    node_tree<DIM> tree(pos);
    if (!tree.reserve(first.n) || !map.resize(first.n)) return ERR_ALLOC;
    unsigned* m = map.data();
    for (std::size_t p = 0; p < first.n; ++p) m[p] = unsigned(p);
    detail::shuffle_positions(m, first.n);
    for (std::size_t p = 0; p < first.n; ++p) tree.insert(first[m[p]]);
    // From here `map` holds the rank in `second` of each node already visited.
    if (!map.resize(pos.cols())) return ERR_ALLOC;
    m = map.data();
    std::fill(m, m + pos.cols(), NO_INDEX);
    dense1D<u64> pairs;
    dense1D<unsigned> found;
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    for (std::size_t i = 0; i < second.n; ++i) {
        const unsigned u = second[i];
        const double* xu = pd + std::size_t(u) * ld;
        m[u] = unsigned(i);
        vector_fixed<double, DIM> lo, hi;
        for (unsigned k = 0; k < DIM; ++k) lo[k] = xu[k] - tol, hi[k] = xu[k] + tol;
        found.clear();
        if (!tree.find_in_box(lo, hi, found)) return ERR_ALLOC;
        for (const unsigned v : found) {
            if (m[v] <= i) continue;
            if (detail::tree_metric<DIM>::dist2(pd + std::size_t(v) * ld, xu) > limit) continue;
            if (!pairs.push_back(u64(i) << 32 | v)) return ERR_ALLOC;
        }
    }
    // The pairs come by rising rank, and the pairs of one rank name different
    // nodes: in this order the first pair of each node is its lowest rank.
    for (std::size_t v = 0; v < pos.cols(); ++v) m[v] = unsigned(v);
    joined = 0;
    for (const u64 p : pairs) {
        const unsigned v = unsigned(p);
        if (m[v] != v) continue;
        m[v] = second[std::size_t(p >> 32)];
        ++joined;
    }
    return 0;
}

// Global joining of the nodes of `first` onto the nodes of `second` (both
// without repeats or NO_INDEX; `same` when they are one list). `map` gets the
// final survivor of every column of `pos`; the count joined comes back, or
// ERR_ALLOC (map then in any state).
template <unsigned DIM>
int merge_lists(const dense2D<double>& pos, node_list first, node_list second, bool same, double tol,
                dense1D<unsigned>& map) {
    const std::size_t cols = pos.cols();
    const double limit = squared_limit(tol);
    double lo[DIM], hi[DIM];
    std::fill(lo, lo + DIM, INF);
    std::fill(hi, hi + DIM, -INF);
    bool finite = finite_box<DIM>(pos, second, lo, hi);
    if (!same) finite &= finite_box<DIM>(pos, first, lo, hi);
    std::size_t joined = 0;
    if (!finite || first.n == 0 || second.n == 0) {
        const int rc = join_by_tree<DIM>(pos, first, second, tol, limit, map, joined);
        if (rc != 0) return rc;
    } else {
        // Nodes of `first` that are not in `second` are found only; when the
        // lists differ, a bitmap tells which searchers may be joined.
        dense1D<unsigned> extra;
        dense1D<u64> in_first;
        if (!same) {
            if (!map.resize(cols, NO_INDEX) || !in_first.resize(cols / 64 + 1, 0)) return ERR_ALLOC;
            for (std::size_t r = 0; r < second.n; ++r) map[second[r]] = 0;
            u64* bits = in_first.data();
            for (std::size_t r = 0; r < first.n; ++r) {
                const unsigned v = first[r];
                bits[v >> 6] |= u64(1) << (v & 63);
                if (map[v] == NO_INDEX && !extra.push_back(v)) return ERR_ALLOC;
            }
        }
        if (!map.resize(cols)) return ERR_ALLOC;
        unsigned* m = map.data();
        for (std::size_t v = 0; v < cols; ++v) m[v] = unsigned(v);
        const pair_search<DIM> s{pos.data(),
                                 pos.ld(),
                                 tol,
                                 limit,
                                 second,
                                 node_list{extra.data(), extra.size()},
                                 same ? nullptr : in_first.data()};
        const cell_grid<DIM> grid(lo, hi, second.n + extra.size(), tol);
        const int rc = grid.total <= u64(1) << 32 ? join_by_cells<DIM, unsigned>(s, grid, m, joined)
                                                  : join_by_cells<DIM, u64>(s, grid, m, joined);
        if (rc != 0) return rc;
    }
    resolve_roots(map.data(), first);
    return int(joined);
}

// ---------------------------------------------------------------------------
// Joining within elements (modes 1 and 2).

struct close_pair {
    double d;
    unsigned u, v;
};

// By distance, then by the node that stays; the joined node only makes the
// order total (pairs equal in d and u can be taken in any order, since taking
// one changes neither u nor the other's v). NaN distances go last.
bool before(const close_pair& a, const close_pair& b) noexcept {
    if (a.d != b.d) return a.d < b.d || std::isnan(b.d);
    return a.u != b.u ? a.u < b.u : a.v < b.v;
}

// Each pass reads the matrices as renumbered by the passes before it (an entry
// x reads map[x]), and the matrices themselves are renumbered once at the end,
// so that a failure leaves them untouched.
template <unsigned DIM>
int merge_in_elements(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, node_list list,
                      double tol, unsigned mode, dense1D<unsigned>& map) {
    const std::size_t cols = pos.cols();
    const double limit = squared_limit(tol);
    double lo[DIM], hi[DIM];
    std::fill(lo, lo + DIM, INF);
    std::fill(hi, hi + DIM, -INF);
    // With finite coordinates a box search finds exactly the nodes in the box,
    // so the other nodes of the column are tested directly; otherwise the
    // tree decides, as it does in the stated search.
    const bool use_tree = !finite_box<DIM>(pos, list, lo, hi);
    node_tree<DIM> tree(pos);
    if (use_tree) {
        if (!tree.reserve(list.n) || !map.resize(list.n)) return ERR_ALLOC;
        unsigned* m = map.data();
        for (std::size_t p = 0; p < list.n; ++p) m[p] = unsigned(p);
        detail::shuffle_positions(m, list.n);
        for (std::size_t p = 0; p < list.n; ++p) tree.insert(list[m[p]]);
    }
    if (!map.resize(cols)) return ERR_ALLOC;
    unsigned* m = map.data();
    for (std::size_t v = 0; v < cols; ++v) m[v] = unsigned(v);
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    dense1D<close_pair> pairs;
    dense1D<unsigned> found;
    std::size_t total = 0;
    for (;;) {
        pairs.clear();
        for (const dense2D<unsigned>* c = first; c != last; ++c) {
            const std::size_t rows = c->empty() ? 0 : c->rows();
            for (std::size_t j = 0; j < c->cols() && rows; ++j) {
                const unsigned* col = c->data() + j * c->ld();
                auto in_column = [&](unsigned v) {
                    for (std::size_t q = 0; q < rows; ++q)
                        if (col[q] != NO_INDEX && m[col[q]] == v) return true;
                    return false;
                };
                auto take = [&](unsigned u, const double* xu, unsigned v) {
                    const double d2 = detail::tree_metric<DIM>::dist2(pd + std::size_t(v) * ld, xu);
                    return d2 > limit || pairs.push_back({std::sqrt(d2), u, v});
                };
                for (std::size_t r = 0; r < rows; ++r) {
                    if (col[r] == NO_INDEX) continue;
                    const unsigned u = m[col[r]];  // a root: the map is resolved after every pass
                    const double* xu = pd + std::size_t(u) * ld;
                    if (use_tree) {
                        vector_fixed<double, DIM> blo, bhi;
                        for (unsigned k = 0; k < DIM; ++k) blo[k] = xu[k] - tol, bhi[k] = xu[k] + tol;
                        found.clear();
                        if (!tree.find_in_box(blo, bhi, found)) return ERR_ALLOC;
                        if (found.size() == 1) continue;
                        for (const unsigned v : found)
                            if (v != u && m[v] == v && in_column(v) && !take(u, xu, v)) return ERR_ALLOC;
                        continue;
                    }
                    for (std::size_t q = 0; q < rows; ++q) {
                        if (q == r || col[q] == NO_INDEX) continue;
                        const unsigned v = m[col[q]];
                        if (v == u || m[v] != v || !in_box<DIM>(xu, pd + std::size_t(v) * ld, tol)) continue;
                        if (!take(u, xu, v)) return ERR_ALLOC;
                    }
                }
            }
        }
        std::sort(pairs.begin(), pairs.end(), before);
        std::size_t count = 0;
        for (const close_pair& p : pairs)
            if (m[p.u] == p.u && m[p.v] == p.v) m[p.v] = p.u, ++count;
        resolve_roots(m, list);
        total += count;
        if (mode == 1 || count == 0) break;
    }
    for (dense2D<unsigned>* c = first; c != last; ++c) change_indices(*c, map);
    return int(total);
}

// ---------------------------------------------------------------------------
// The forms.

bool rows_ok(const dense2D<double>& pos) noexcept { return pos.rows() == 2 || pos.rows() == 3; }
unsigned column_limit(const dense2D<double>& pos) noexcept {
    return unsigned(std::min<std::size_t>(pos.cols(), NO_INDEX));
}

// Runs `f` (which may throw std::bad_alloc from the `new` of a block object);
// on any failure `map` is left empty.
template <class F> int guarded(dense1D<unsigned>& map, F&& f) noexcept {
    int rc;
    try {
        rc = f();
    } catch (const std::bad_alloc&) {
        rc = ERR_ALLOC;
    }
    if (rc < 0) map.clear();
    return rc;
}

template <class F> int by_dim(const dense2D<double>& pos, F&& f) {
    return pos.rows() == 2 ? f(std::integral_constant<unsigned, 2>()) : f(std::integral_constant<unsigned, 3>());
}

bool backwards(const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept {
    return std::less<const dense2D<unsigned>*>()(last, first);
}

int merge_range(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, dense1D<unsigned>& map,
                double tol, unsigned mode, int tol_code) noexcept {
    map.clear();
    if (pos.cols() == 0 || first == last) return 0;
    if (!rows_ok(pos)) return -1;
    if (backwards(first, last)) return -3;
    if (!(tol >= 0)) return tol_code;
    if (mode > 2) return -6;
    return guarded(map, [&] {
        dense1D<unsigned> ids;
        if (unique_indices(ids, first, last, dense1D<unsigned>()) != 0) return ERR_ALLOC;
        if (ids.empty()) return 0;
        if (!check_IDs(ids, column_limit(pos))) return -2;
        const node_list list{ids.data(), ids.size()};
        const int rc = by_dim(pos, [&](auto dim) {
            return mode == 0 ? merge_lists<decltype(dim)::value>(pos, list, list, true, tol, map)
                             : merge_in_elements<decltype(dim)::value>(pos, first, last, list, tol, mode, map);
        });
        if (rc >= 0 && mode == 0)
            for (dense2D<unsigned>* c = first; c != last; ++c) change_indices(*c, map);
        return rc;
    });
}

}  // namespace

int merge(dense2D<double>& pos, dense1D<unsigned>& map, double tol) noexcept {
    map.clear();
    if (pos.cols() == 0) return 0;
    if (!rows_ok(pos)) return -1;
    if (!(tol >= 0)) return -3;
    return guarded(map, [&] {
        const std::size_t rows = pos.rows(), cols = pos.cols();
        dense2D<double> moved;
        if (cols > NO_INDEX || !moved.resize(rows, cols)) return ERR_ALLOC;
        const node_list all{nullptr, cols};
        const int rc =
            by_dim(pos, [&](auto dim) { return merge_lists<decltype(dim)::value>(pos, all, all, true, tol, map); });
        if (rc < 0) return rc;
        // Each column takes its survivor's coordinates (its own when it stays).
        const double* src = pos.data();
        double* dst = moved.data();
        const unsigned* m = map.data();
        for (std::size_t i = 0; i < cols; ++i)
            std::memcpy(dst + i * rows, src + std::size_t(m[i]) * pos.ld(), rows * sizeof(double));
        pos.shallow_copy(moved);
        return rc;
    });
}

int merge(dense2D<double>& pos, double tol) noexcept {
    dense1D<unsigned> map;
    return merge(pos, map, tol);
}

int merge(const dense2D<double>& pos, const dense1D<unsigned>& ids1, const dense1D<unsigned>& ids2,
          dense1D<unsigned>& map, double tol) noexcept {
    map.clear();
    if (pos.cols() == 0) return 0;
    if (!rows_ok(pos)) return -1;
    if (!check_IDs(ids1, column_limit(pos))) return -2;
    if (!check_IDs(ids2, column_limit(pos))) return -3;
    if (!(tol >= 0)) return -4;
    if (ids1.empty() || ids2.empty()) return 0;
    return guarded(map, [&] {
        const bool same =
            ids1.size() == ids2.size() && (ids1 == ids2 || std::equal(ids1.begin(), ids1.end(), ids2.begin()));
        dense1D<unsigned> list1, list2;
        if (unique_indices(list1, ids1, dense1D<unsigned>()) != 0) return ERR_ALLOC;
        if (!same && unique_indices(list2, ids2, dense1D<unsigned>()) != 0) return ERR_ALLOC;
        const node_list l1{list1.data(), list1.size()};
        const node_list l2 = same ? l1 : node_list{list2.data(), list2.size()};
        return by_dim(pos, [&](auto dim) { return merge_lists<decltype(dim)::value>(pos, l1, l2, same, tol, map); });
    });
}

int merge(const dense2D<double>& pos, const dense1D<unsigned>& ids, dense1D<unsigned>& map, double tol) noexcept {
    return merge(pos, ids, ids, map, tol);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, dense1D<unsigned>& map,
          double tol, unsigned mode) noexcept {
    return merge_range(pos, first, last, map, tol, mode, -5);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, double tol,
          unsigned mode) noexcept {
    dense1D<unsigned> map;
    return merge_range(pos, first, last, map, tol, mode, -5);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, dense1D<unsigned>& map, double tol,
          unsigned mode) noexcept {
    return merge_range(pos, &connect, &connect + 1, map, tol, mode, -5);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, double tol, unsigned mode) noexcept {
    dense1D<unsigned> map;
    return merge_range(pos, &connect, &connect + 1, map, tol, mode, -5);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect) noexcept { return merge(pos, connect, 1e-6, 0); }

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2, dense1D<unsigned>& map,
          double tol, unsigned mode) noexcept {
    dense2D<unsigned> both[2] = {connect1, connect2};  // views on the callers' blocks
    return merge_range(pos, both, both + 2, map, tol, mode, -5);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2, double tol,
          unsigned mode) noexcept {
    dense1D<unsigned> map;
    return merge(pos, connect1, connect2, map, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2) noexcept {
    return merge(pos, connect1, connect2, 1e-6, 0);
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/editing/merge.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
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

bool has_bit(const u64* bits, unsigned v) noexcept { return (bits[v >> 6] >> (v & 63)) & 1; }

// The nodes that take part, in the order of their ranks: all columns of the
// coordinates, a list without repeats or NO_INDEX, or the entries of a range of
// matrices in the order of their first use (column by column, each column from
// row 0; NO_INDEX left out), told apart by a bitmap of one bit per column.
class node_order {
public:
    static node_order columns(std::size_t n) noexcept {
        node_order o;
        o.count_ = n;
        return o;
    }
    static node_order list(const dense1D<unsigned>& ids) noexcept {
        node_order o;
        o.ids_ = ids.data();
        o.count_ = ids.size();
        return o;
    }
    static node_order first_uses(const dense2D<unsigned>* first, const dense2D<unsigned>* last, u64* seen,
                                 std::size_t words) noexcept {
        node_order o;
        o.first_ = first;
        o.last_ = last;
        o.seen_ = seen;
        o.count_ = words;
        return o;
    }

    // Calls f(id) for each node in rank order.
    template <class F> void each(F&& f) const noexcept {
        if (ids_) {
            for (std::size_t r = 0; r < count_; ++r) f(ids_[r]);
        } else if (!first_) {
            for (std::size_t id = 0; id < count_; ++id) f(unsigned(id));
        } else {
            std::fill(seen_, seen_ + count_, u64(0));
            for (const dense2D<unsigned>* c = first_; c != last_; ++c) {
                const std::size_t rows = c->rows(), cols = c->empty() ? 0 : c->cols();
                for (std::size_t j = 0; j < cols; ++j)
                    for (const unsigned *v = c->data() + j * c->ld(), *end = v + rows; v != end; ++v) {
                        if (*v == NO_INDEX || has_bit(seen_, *v)) continue;
                        seen_[*v >> 6] |= u64(1) << (*v & 63);
                        f(*v);
                    }
            }
        }
    }

    // Calls f(id, x) for each node in rank order, x its DIM coordinates in
    // `pd` (leading dimension `ld`). Unless the nodes come in column order,
    // their coordinates are first gathered in small batches by a tight loop,
    // whose independent loads wait for memory together.
    template <unsigned DIM, class F> void each(const double* pd, std::size_t ld, F&& f) const noexcept {
        if (!ids_ && !first_) {
            for (std::size_t id = 0; id < count_; ++id) f(unsigned(id), pd + id * ld);
            return;
        }
        constexpr std::size_t batch = 64;
        unsigned ids[batch];
        double xs[batch * DIM];
        std::size_t n = 0;
        auto flush = [&] {
            for (std::size_t i = 0; i < n; ++i)
                for (unsigned k = 0; k < DIM; ++k) xs[i * DIM + k] = pd[std::size_t(ids[i]) * ld + k];
            for (std::size_t i = 0; i < n; ++i) f(ids[i], xs + i * DIM);
            n = 0;
        };
        each([&](unsigned id) {
            ids[n++] = id;
            if (n == batch) flush();
        });
        flush();
    }

    // At most this many nodes (`cols`: the columns of the coordinates).
    std::size_t bound(std::size_t cols) const noexcept {
        if (!first_) return count_;
        std::size_t entries = 0;
        for (const dense2D<unsigned>* c = first_; c != last_; ++c) entries += c->rows() * c->cols();
        return std::min(entries, cols);
    }

    // No node at all (a range of matrices is never made empty).
    bool empty() const noexcept { return !first_ && count_ == 0; }

    // The nodes as a list, into `out` (cleared first); false on exhaustion.
    bool write(dense1D<unsigned>& out) const noexcept {
        out.clear();
        bool ok = true;
        each([&](unsigned id) { ok = ok && out.push_back(id); });
        return ok;
    }

private:
    const unsigned* ids_ = nullptr;
    const dense2D<unsigned>*first_ = nullptr, *last_ = nullptr;
    u64* seen_ = nullptr;
    std::size_t count_ = 0;  // nodes of a list or of all columns; words of `seen_`
};

// The nodes that take part are walked in their own order only when they are
// few next to the columns; otherwise one pass over all columns, in memory
// order, costs less than reaching the nodes in scattered order.
bool walk_listed(std::size_t listed, std::size_t cols) noexcept { return listed < cols / 4; }

// Follows `map` from each node (from each listed node, or from every column)
// to the first node that maps to itself and stores that root. Ranks fall along
// every chain, so each walk ends.
void resolve_roots(dense1D<unsigned>& map, const node_order& nodes, std::size_t listed) noexcept {
    unsigned* m = map.data();
    auto follow = [m](unsigned v) {
        unsigned root = m[v];
        while (m[root] != root) root = m[root];
        m[v] = root;
    };
    if (walk_listed(listed, map.size()))
        nodes.each(follow);
    else
        for (std::size_t v = 0, n = map.size(); v < n; ++v) follow(unsigned(v));
}

// The box of the nodes that take part (or of all columns, which holds them),
// and whether their coordinates are all finite.
template <unsigned DIM> struct node_box {
    double lo[DIM], hi[DIM];
    bool finite = true;
    std::size_t count = 0;

    node_box(const dense2D<double>& pos, const node_order& a, const node_order& b, std::size_t listed) noexcept {
        std::fill(lo, lo + DIM, INF);
        std::fill(hi, hi + DIM, -INF);
        auto take = [this](unsigned, const double* x) {
            for (unsigned k = 0; k < DIM; ++k) {
                finite &= std::isfinite(x[k]);
                lo[k] = std::min(lo[k], x[k]);
                hi[k] = std::max(hi[k], x[k]);
            }
            ++count;
        };
        if (walk_listed(listed, pos.cols())) {
            a.template each<DIM>(pos.data(), pos.ld(), take);
            if (&b != &a) b.template each<DIM>(pos.data(), pos.ld(), take);
        } else {
            node_order::columns(pos.cols()).template each<DIM>(pos.data(), pos.ld(), take);
        }
    }
};

// ---------------------------------------------------------------------------
// Close pairs by cells. Space is cut into cubes of side h; every searching node
// u puts one entry into each cell that its box [u - tol, u + tol] meets, every
// node that may be joined is found through the one cell that holds it. The cell
// of a coordinate is a monotone function of it, so when v lies in the box of
// u, v's cell lies among the cells of that box: each pair meets in exactly one
// cell, and nothing but the exact box and distance tests decides.
//
// A cell's key is its number when the grid has at most 2^32 cells, else a hash
// of its place. Cells whose hashes collide just share one group of entries:
// their nodes are tested in vain, and results stay exact.
//
// The cell size only changes the cost: h of about 16 tol keeps the extra
// entries few ((1 + 2 tol / h)^DIM per node), and a cap at the mean spacing
// keeps cells small when tol is large.

template <unsigned DIM> struct cell_grid {
    double low[DIM], top[DIM];  // top: the last cell on the axis, as a double
    double inv_h;               // 0 for cells of infinite size
    double tol;
    u64 last[DIM], stride[DIM];
    unsigned bits;  // of the keys
    bool hashed;

    explicit cell_grid(const node_box<DIM>& box, double tol_) noexcept : tol(tol_) {
        double extent[DIM], ext_max = 0, volume = 1;
        for (unsigned k = 0; k < DIM; ++k) ext_max = std::max(ext_max, extent[k] = box.hi[k] - box.lo[k]);
        // The mean spacing of the nodes over the axes along which they spread
        // (a surface in 3D counts as 2D while it is much thinner than wide).
        unsigned spread = 0;
        for (unsigned k = 0; k < DIM; ++k)
            if (extent[k] > ext_max / 1024) volume *= extent[k], ++spread;
        const double spacing = spread ? std::pow(volume / double(box.count), 1.0 / spread) : 0.0;
        // At most 2^50 cells along an axis, so that cell numbers are exact.
        double h = std::max({2 * tol, std::min(16 * tol, spacing), ext_max * 0x1p-50});
        if (!(h > 0)) h = 1;
        inv_h = 1 / h;
        double cells = 1;
        u64 total = 1;
        for (unsigned k = 0; k < DIM; ++k) {
            low[k] = box.lo[k];
            top[k] = inv_h > 0 ? std::floor(extent[k] * inv_h) : 0;
            last[k] = u64(std::int64_t(top[k]));
            cells *= top[k] + 1;
            stride[k] = total;
            total *= last[k] + 1;
        }
        hashed = cells > 0x1p32;
        bits = 32;
        if (!hashed)
            for (bits = 0; bits < 32 && (total - 1) >> bits;) ++bits;
    }

    // The likely number of entries of n nodes: each box meets 1 + 2 tol / h
    // cells along an axis on average.
    std::size_t expected_entries(std::size_t n) const noexcept {
        double per_node = 1;
        for (unsigned k = 0; k < DIM; ++k) per_node *= last[k] ? 1 + std::min(1.0, 2 * tol * inv_h) : 1;
        return std::size_t(double(n) * per_node * 1.02) + 64;
    }

    // Cell number of x on axis k; monotone in x, clamped to the grid.
    u64 on_axis(unsigned k, double x) const noexcept {
        const double t = (x - low[k]) * inv_h;
        if (!(t >= 0)) return 0;  // also the NaN of an infinite bound times 0
        if (t >= top[k]) return last[k];
        return u64(std::int64_t(t));  // below 2^50: the signed conversion is exact and quick
    }
    unsigned key_of(const u64* c) const noexcept {
        u64 key = 0;
        if (!hashed) {
            for (unsigned k = 0; k < DIM; ++k) key += c[k] * stride[k];
            return unsigned(key);
        }
        for (unsigned k = 0; k < DIM; ++k) key = (key ^ c[k]) * 0x9E3779B97F4A7C15ull, key ^= key >> 29;
        return unsigned(key >> 32);
    }
    unsigned key(const double* x) const noexcept {
        u64 c[DIM];
        for (unsigned k = 0; k < DIM; ++k) c[k] = on_axis(k, x[k]);
        return key_of(c);
    }
    // Calls f(key) for every cell that the box of x meets, axis 0 fastest.
    template <class F> void each_cell(const double* x, double tol, F&& f) const noexcept {
        u64 first[DIM], end[DIM], at[DIM];
        for (unsigned k = 0; k < DIM; ++k) {
            first[k] = at[k] = on_axis(k, x[k] - tol);
            end[k] = on_axis(k, x[k] + tol);
        }
        for (;;) {
            f(key_of(at));
            unsigned k = 0;
            for (; k < DIM && at[k] == end[k]; ++k) at[k] = first[k];
            if (k == DIM) return;
            ++at[k];
        }
    }
};

// One entry of a cell: its key and a node.
struct cell_entry {
    unsigned key, id;
};

// Sorts n entries stably by the low `bits` bits of their keys: by insertion
// when they are few, else by radix passes of at most 11 bits through `tmp`.
void sort_low_bits(cell_entry* e, cell_entry* tmp, std::size_t n, unsigned bits) noexcept {
    if (n < 32) {
        for (std::size_t i = 1; i < n; ++i) {
            const cell_entry x = e[i];
            std::size_t j = i;
            for (; j > 0 && e[j - 1].key > x.key; --j) e[j] = e[j - 1];
            e[j] = x;
        }
        return;
    }
    const unsigned passes = (bits + 10) / 11, width = passes ? (bits + passes - 1) / passes : 0;
    const unsigned mask = (1u << width) - 1;
    std::size_t counts[2048];
    cell_entry *src = e, *dst = tmp;
    for (unsigned p = 0, shift = 0; p < passes; ++p, shift += width) {
        std::fill(counts, counts + mask + 1, std::size_t(0));
        for (std::size_t i = 0; i < n; ++i) ++counts[(src[i].key >> shift) & mask];
        if (counts[(src[0].key >> shift) & mask] == n) continue;  // one digit throughout
        for (std::size_t d = 0, sum = 0; d <= mask; ++d) sum += std::exchange(counts[d], sum);
        for (std::size_t i = 0; i < n; ++i) dst[counts[(src[i].key >> shift) & mask]++] = src[i];
        std::swap(src, dst);
    }
    if (src != e) std::copy(src, src + n, e);
}

// The two lists as the cells see them: the searching nodes (`second`, which
// may survive) and the nodes that are only found (those of `first` that are
// not in `second`), with the tests of a pair. The bitmaps are null when the
// lists are one.
template <unsigned DIM> struct pair_search {
    const double* pd;
    std::size_t ld;
    double tol, limit;
    const node_order& second;
    const node_order& first;
    const u64* in_first;
    const u64* in_second;

    const double* at(unsigned id) const noexcept { return pd + std::size_t(id) * ld; }
    bool searcher(unsigned v) const noexcept { return !in_second || has_bit(in_second, v); }
    bool joinable(unsigned v) const noexcept { return !in_first || has_bit(in_first, v); }
    // v lies in the box of u and within tol of it.
    bool close(const double* xu, const double* xv) const noexcept {
        return in_box<DIM>(xu, xv, tol) && !(detail::tree_metric<DIM>::dist2(xv, xu) > limit);
    }
    // Calls f(key, id) for every entry: each searcher in each cell of its box,
    // in rank order, then each node only found, in its own cell. In every
    // cell the entries thus come in rank order, searchers first.
    template <class F> void each_entry(const cell_grid<DIM>& grid, F&& f) const noexcept {
        second.template each<DIM>(
            pd, ld, [&](unsigned id, const double* x) { grid.each_cell(x, tol, [&](unsigned key) { f(key, id); }); });
        if (in_second)
            first.template each<DIM>(pd, ld, [&](unsigned id, const double* x) {
                if (!has_bit(in_second, id)) f(grid.key(x), id);
            });
    }
};

// Walks the sorted cells of a bucket, with `xs` the coordinates of each entry. In a cell, the
// entries before a node's own entry are the searchers of lower rank (and only
// searchers: for a node that is only found, all of them). The first of them
// that is close is the node's survivor, which is the lowest-ranked close
// searcher of all, since each pair meets in one cell only. (Two colliding
// cells may show a node's home and another of its entries in one group; they
// stand next to each other, and only the first is taken.) Returns the count
// joined.
template <unsigned DIM>
std::size_t join_in_cells(const pair_search<DIM>& s, const cell_grid<DIM>& grid, const cell_entry* e, const double* xs,
                          std::size_t n, unsigned* map) noexcept {
    std::size_t joined = 0;
    for (std::size_t i = 0, start = 0; i < n; ++i) {
        if (e[i].key != e[start].key) start = i;
        const unsigned v = e[i].id;
        if (i == start || e[i - 1].id == v) continue;  // nobody before it, or taken at its other entry
        const bool searcher = s.searcher(v);
        if (searcher && !s.joinable(v)) continue;
        const double* xv = xs + i * DIM;
        if (searcher && grid.key(xv) != e[i].key) continue;  // a searcher's entry outside its own cell
        for (std::size_t j = start; j < i && s.searcher(e[j].id); ++j) {
            if (!s.close(xs + j * DIM, xv)) continue;
            map[v] = e[j].id;  // written, never read here: a store does not wait for its line
            ++joined;
            break;
        }
    }
    return joined;
}

// Entries written one after another: into the offered room while it lasts,
// then into storage of their own. After a failure nothing more is taken.
struct entry_sink {
    cell_entry* data;
    std::size_t size = 0, cap;
    dense1D<cell_entry> own;
    bool failed = false;

    entry_sink(void* room, std::size_t room_cap) : data(static_cast<cell_entry*>(room)), cap(room_cap) {}

    void push(unsigned key, unsigned id) noexcept {
        if (size == cap && !grow()) return;
        data[size++] = {key, id};
    }
    bool grow() noexcept {
        const std::size_t want = std::max<std::size_t>(2 * cap, 1024);
        const bool owned = data == own.data();  // then the resize carries the entries over
        if (failed || !own.resize(want)) return !(failed = true);
        if (!owned) std::copy(data, data + size, own.data());
        data = own.data();
        cap = want;
        return true;
    }
};

// Cells by sorting. One walk writes the entries (in rank order) and counts them
// by the high bits of their keys; a stable pass moves them bucket by bucket
// into a second array; each bucket is sorted on the low bits (the first array
// is free by then and lends its place), its coordinates are gathered, and it is
// walked while it is in cache. `room` may offer storage for both arrays;
// `expected` is the likely number of entries.
template <unsigned DIM>
int join_by_cells(const pair_search<DIM>& s, const cell_grid<DIM>& grid, unsigned* map, void* room,
                  std::size_t room_bytes, std::size_t expected, std::size_t& joined) {
    const unsigned high = std::min(grid.bits, 11u), low = grid.bits - high;
    const std::size_t buckets = std::size_t(1) << high, room_cap = room_bytes / sizeof(cell_entry);
    dense1D<std::size_t> ends;
    if (!ends.resize(buckets + 1, 0)) return ERR_ALLOC;
    std::size_t* end = ends.data() + 1;  // end[b - 1] starts bucket b
    entry_sink a(room, room_cap / 2);
    if (a.cap < expected) {
        if (!a.own.resize(expected)) return ERR_ALLOC;
        a.data = a.own.data();
        a.cap = expected;
    }
    s.each_entry(grid, [&](unsigned key, unsigned id) {
        ++end[key >> low];
        a.push(key, id);
    });
    if (a.failed) return ERR_ALLOC;
    const std::size_t n = a.size;
    std::size_t largest = 0;
    for (std::size_t b = 0, sum = 0; b < buckets; ++b)
        largest = std::max(largest, end[b]), sum += std::exchange(end[b], sum);
    dense1D<cell_entry> own;
    dense1D<double> xs;
    cell_entry* e = static_cast<cell_entry*>(room) + (a.data == room ? n : 0);
    if (!room || e + n > static_cast<cell_entry*>(room) + room_cap) {
        if (!own.resize(n)) return ERR_ALLOC;
        e = own.data();
    }
    if (!xs.resize(largest * DIM)) return ERR_ALLOC;
    for (std::size_t i = 0; i < n; ++i) e[end[a.data[i].key >> low]++] = a.data[i];
    joined = 0;
    constexpr std::size_t ahead = 24;
    for (std::size_t b = 0, begin = 0; b < buckets; begin = end[b++]) {
        const std::size_t size = end[b] - begin;
        sort_low_bits(e + begin, a.data + begin, size, low);
        double* x = xs.data();
        for (std::size_t i = begin; i < end[b]; ++i, x += DIM) {
            if (i + ahead < n) {
                detail::prefetch(s.at(e[i + ahead].id));
                detail::prefetch_for_write(map + e[i + ahead].id);
            }
            const double* from = s.at(e[i].id);
            for (unsigned k = 0; k < DIM; ++k) x[k] = from[k];
        }
        joined += join_in_cells(s, grid, e + begin, xs.data(), size, map);
    }
    return 0;
}

// The search through a k-d tree, whose results define those of the cells: the
// nodes of `first` in a tree built in the shuffled order, each node of
// `second` in turn searching its box. Used when a coordinate is not finite: a
// NaN node hides its subtrees from box searches, so the tree's shape then
// matters, and the tree must be this one.
template <unsigned DIM>
int join_by_tree(const dense2D<double>& pos, const dense1D<unsigned>& first, const dense1D<unsigned>& second,
                 double tol, double limit, dense1D<unsigned>& map, std::size_t& joined) {
    node_tree<DIM> tree(pos);
    bool stored = tree.reserve(first.size());
    if (stored) tree.insert(first, stored);
    if (!stored) return ERR_ALLOC;
    // `map` holds the rank in `second` of each node already visited.
    if (!map.resize(pos.cols())) return ERR_ALLOC;
    unsigned* m = map.data();
    std::fill(m, m + pos.cols(), NO_INDEX);
    dense1D<u64> pairs;
    dense1D<unsigned> found;
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    for (std::size_t i = 0; i < second.size(); ++i) {
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

// Global joining of the nodes of `first` onto the nodes of `second` (`same`
// when they are one list). `map` gets the final survivor of every column of
// `pos`; the count joined comes back, or ERR_ALLOC (map then in any state).
// `room` may offer scratch storage.
template <unsigned DIM>
int merge_lists(const dense2D<double>& pos, const node_order& first, const node_order& second, bool same, double tol,
                dense1D<unsigned>& map, void* room = nullptr, std::size_t room_bytes = 0) {
    const std::size_t cols = pos.cols();
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    const double limit = squared_limit(tol);
    const std::size_t listed = second.bound(cols) + (same ? 0 : first.bound(cols));
    const node_box<DIM> box(pos, second, same ? second : first, listed);
    std::size_t joined = 0;
    if (!box.finite || first.empty() || second.empty()) {
        dense1D<unsigned> list1, list2;
        if (!first.write(list1) || (!same && !second.write(list2))) return ERR_ALLOC;
        const int rc = join_by_tree<DIM>(pos, list1, same ? list1 : list2, tol, limit, map, joined);
        if (rc != 0) return rc;
    } else {
        dense1D<u64> in_first, in_second;
        if (!same) {
            if (!in_first.resize(cols / 64 + 1, 0) || !in_second.resize(cols / 64 + 1, 0)) return ERR_ALLOC;
            first.each([&](unsigned v) { in_first[v >> 6] |= u64(1) << (v & 63); });
            second.each([&](unsigned v) { in_second[v >> 6] |= u64(1) << (v & 63); });
        }
        if (!map.resize(cols)) return ERR_ALLOC;
        unsigned* m = map.data();
        for (std::size_t v = 0; v < cols; ++v) m[v] = unsigned(v);
        const pair_search<DIM> s{
            pd, ld, tol, limit, second, first, same ? nullptr : in_first.data(), same ? nullptr : in_second.data()};
        const cell_grid<DIM> grid(box, tol);
        const int rc = join_by_cells<DIM>(s, grid, m, room, room_bytes, grid.expected_entries(listed), joined);
        if (rc != 0) return rc;
    }
    resolve_roots(map, first, first.bound(cols));
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
int merge_in_elements(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                      const node_order& nodes, double tol, unsigned mode, dense1D<unsigned>& map) {
    const std::size_t cols = pos.cols();
    const double* pd = pos.data();
    const std::size_t ld = pos.ld();
    const double limit = squared_limit(tol);
    const std::size_t listed = nodes.bound(cols);
    const node_box<DIM> box(pos, nodes, nodes, listed);
    // With finite coordinates a box search of the tree finds exactly the nodes
    // in the box, so the other nodes of the column are tested directly;
    // otherwise the tree's own search decides.
    const bool use_tree = !box.finite;
    node_tree<DIM> tree(pos);
    if (use_tree) {
        dense1D<unsigned> list;
        bool stored = nodes.write(list) && tree.reserve(list.size());
        if (stored) tree.insert(list, stored);
        if (!stored) return ERR_ALLOC;
    }
    if (!map.resize(cols)) return ERR_ALLOC;
    unsigned* m = map.data();
    for (std::size_t v = 0; v < cols; ++v) m[v] = unsigned(v);
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
        resolve_roots(map, nodes, listed);
        total += count;
        if (mode == 1 || count == 0) break;
    }
    for (dense2D<unsigned>* c = first; c != last; ++c) change_indices(*c, map);
    return int(total);
}

// ---------------------------------------------------------------------------
// The forms.

// Each column of `moved` (ld = DIM) takes the coordinates of its survivor in
// `pos`, its own when it stays.
template <unsigned DIM>
void move_onto_survivors(const dense2D<double>& pos, const dense1D<unsigned>& map, dense2D<double>& moved) noexcept {
    constexpr std::size_t ahead = 16;
    const double* src = pos.data();
    const std::size_t ld = pos.ld(), cols = pos.cols();
    const unsigned* m = map.data();
    double* dst = moved.data();
    for (std::size_t i = 0; i < cols; ++i, dst += DIM) {
        if (i + ahead < cols) detail::prefetch(src + std::size_t(m[i + ahead]) * ld);
        const double* from = src + std::size_t(m[i]) * ld;
        for (unsigned k = 0; k < DIM; ++k) dst[k] = from[k];
    }
}

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
                double tol, unsigned mode) noexcept {
    map.clear();
    if (pos.cols() == 0 || first == last) return 0;
    if (!rows_ok(pos)) return -1;
    if (backwards(first, last)) return -3;
    if (!(tol >= 0)) return -5;
    if (mode > 2) return -6;
    return guarded(map, [&] {
        const std::size_t cols = pos.cols();
        bool any = false, bad = false;
        for (const dense2D<unsigned>* c = first; c != last; ++c) {
            const std::size_t rows = c->rows(), n = c->empty() ? 0 : c->cols();
            for (std::size_t j = 0; j < n; ++j)
                for (const unsigned* e = c->data() + j * c->ld(); e != c->data() + j * c->ld() + rows; ++e)
                    any |= *e != NO_INDEX, bad |= *e != NO_INDEX && *e >= cols;
        }
        if (!any) return 0;
        if (bad) return -2;
        dense1D<u64> seen;
        if (!seen.resize(cols / 64 + 1)) return ERR_ALLOC;
        const node_order nodes = node_order::first_uses(first, last, seen.data(), seen.size());
        const int rc = by_dim(pos, [&](auto dim) {
            return mode == 0 ? merge_lists<decltype(dim)::value>(pos, nodes, nodes, true, tol, map)
                             : merge_in_elements<decltype(dim)::value>(pos, first, last, nodes, tol, mode, map);
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
        // The new block is the scratch of the search until the coordinates go in.
        const node_order all = node_order::columns(cols);
        const int rc = by_dim(pos, [&](auto dim) {
            constexpr unsigned DIM = decltype(dim)::value;
            const int joined =
                merge_lists<DIM>(pos, all, all, true, tol, map, moved.data(), rows * cols * sizeof(double));
            if (joined >= 0) move_onto_survivors<DIM>(pos, map, moved);
            return joined;
        });
        if (rc < 0) return rc;
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
        const node_order l1 = node_order::list(list1), l2 = same ? l1 : node_order::list(list2);
        return by_dim(pos, [&](auto dim) { return merge_lists<decltype(dim)::value>(pos, l1, l2, same, tol, map); });
    });
}

int merge(const dense2D<double>& pos, const dense1D<unsigned>& ids, dense1D<unsigned>& map, double tol) noexcept {
    return merge(pos, ids, ids, map, tol);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, dense1D<unsigned>& map,
          double tol, unsigned mode) noexcept {
    return merge_range(pos, first, last, map, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, double tol,
          unsigned mode) noexcept {
    dense1D<unsigned> map;
    return merge_range(pos, first, last, map, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, dense1D<unsigned>& map, double tol,
          unsigned mode) noexcept {
    return merge_range(pos, &connect, &connect + 1, map, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, double tol, unsigned mode) noexcept {
    dense1D<unsigned> map;
    return merge_range(pos, &connect, &connect + 1, map, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect) noexcept { return merge(pos, connect, 1e-6, 0); }

int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2, dense1D<unsigned>& map,
          double tol, unsigned mode) noexcept {
    dense2D<unsigned> both[2] = {connect1, connect2};  // views on the callers' blocks
    return merge_range(pos, both, both + 2, map, tol, mode);
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

// The k-d tree behind node searches and node merging: one id per tree node, no
// buckets and no balancing step. The ids are inserted in a pseudo-random but
// reproducible order, which keeps the expected depth logarithmic even for nodes
// that come sorted along a line, as mesh nodes often do.
//
// Layout: `nodes` is a 3 x size matrix, one column per slot: the id (a column of
// `pos`), then the slots of the `low` child (coordinate on the level's axis
// strictly smaller) and the `high` child (greater or equal), `NO_INDEX` when
// absent. Slot 0 is the root, a child always has a higher slot than its parent,
// and the axis of a level is its depth modulo DIM (x at the root). Slots are
// handed out in order, since nodes are never removed singly; an id may stand in
// the tree more than once.
//
// Beside `nodes` the tree keeps a mirror of itself for the searches: one cell
// per tree node with the node's coordinates and the places of its children,
// plus the id and slot of each place in a separate array. A tree built in one
// go lays its cells out subtree by subtree (each subtree a contiguous run, its
// root at one end), so that a walk near the leaves stays within a few cache
// lines; nodes added later are appended. Searches read the mirror only, and
// take the same steps, in the same order, as a walk of `nodes` over `pos`.
//
// A large tree that answers many searches adds a bucket grid
// (node_grid.hpp) that gives the same answers in a few bucket reads where it
// can vouch for them; `walk_closest` and `walk_in_box` are the walks alone.
//
// The tree keeps a view of the caller's coordinates (sharing the block, not
// copying the matrix; the mirror holds copies of the values): moving nodes makes
// the tree stale. Searches are const and keep nothing in the object, so they
// may run side by side; insertion needs exclusive access. Nothing here throws
// except the constructor and `copy` (the small block object of an empty
// matrix); no function prints or keeps global state.
#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <random>
#include <utility>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>
#include <tq5/containers/storage.hpp>

#include "../../detail/huge_pages.hpp"
#include "../../detail/prefetch.hpp"
#include "node_grid.hpp"

namespace tq5 {
namespace cellworks {

namespace detail {

// What differs by dimension: the squared distance, summed in a fixed order so
// that ties between equally close nodes come out the same everywhere.
template <unsigned DIM> struct tree_metric;
template <> struct tree_metric<2> {
    static double dist2(const double* a, const double* q) noexcept {
        const double dx = a[0] - q[0], dy = a[1] - q[1];
        return dx * dx + dy * dy;
    }
};
template <> struct tree_metric<3> {
    static double dist2(const double* a, const double* q) noexcept {
        const double dx = a[0] - q[0], dy = a[1] - q[1], dz = a[2] - q[2];
        return dz * dz + (dx * dx + dy * dy);
    }
};

// Shuffles the n entries a[0], a[stride], ... in place, in the one order that
// every tree build uses: a new MT19937 seeded with 1 for each call; for i from
// 1 to n - 1, words masked to the bits of i are drawn until one is at most i,
// and entries i and r swap. The permutation depends on n only. n must fit in
// 32 bits.
template <class T> void shuffle_positions(T* a, std::size_t n, std::size_t stride = 1) noexcept {
    if (n < 2) return;
    std::mt19937 gen(1);
    auto draw = [&gen](std::uint32_t i) noexcept {
        std::uint32_t mask = i;
        mask |= mask >> 1;
        mask |= mask >> 2;
        mask |= mask >> 4;
        mask |= mask >> 8;
        mask |= mask >> 16;
        std::uint32_t r;
        do r = std::uint32_t(gen()) & mask;
        while (r > i);
        return r;
    };
    // The draws run AHEAD steps before the swaps, in the same order, so that
    // the entry each swap reaches at random is fetched in time.
    constexpr std::uint32_t AHEAD = 16;
    std::uint32_t drawn[AHEAD];
    for (std::uint32_t i = 1; i < n && i <= AHEAD; ++i) {
        drawn[i % AHEAD] = draw(i);
        prefetch_for_write(a + drawn[i % AHEAD] * stride);
    }
    for (std::uint32_t i = 1; i < n; ++i) {
        const std::uint32_t r = drawn[i % AHEAD];
        if (std::size_t(i) + AHEAD < n) {
            drawn[i % AHEAD] = draw(i + AHEAD);
            prefetch_for_write(a + drawn[i % AHEAD] * stride);
        }
        std::swap(a[i * stride], a[r * stride]);
    }
}

// One tree node of the search mirror: its coordinates and the places of its
// children in the mirror (`NO_INDEX` when absent). 32 bytes in 3D, so that two
// cells fill a cache line exactly. While a tree is being built, a cell in
// transit keeps its slot in `low` and its id in `high`.
template <unsigned DIM> struct tree_cell {
    double x[DIM];
    unsigned low, high;
};

// Where a mirror cell stands in `nodes`: the node's id and its slot.
struct tree_tag {
    unsigned id, slot;
};

constexpr unsigned next_axis(unsigned axis, unsigned dim) noexcept { return axis + 1 == dim ? 0 : axis + 1; }

// What both searches walk: the mirror's cells and tags, and the query point
// (for a box, its low corner).
template <unsigned DIM> struct tree_walk {
    const tree_cell<DIM>* cells;
    const tree_tag* tags;
    const double* q;
};

// Fetches the cells of a small subtree ahead of a walk through it, so that
// its misses overlap instead of following one another; with `tags`, their
// ids as well. A build lays each subtree out as one run with its root at one
// end: a root at the front has its high child at the back, a root at the
// back has its low child at the front. Cells appended later need not follow
// this; the hint then fetches a few lines for nothing.
template <unsigned DIM> struct subtree_fetch {
    static constexpr unsigned MOST = 128;  // cells, 4 kB in 3D
    unsigned lo = 0, hi = 0;               // the run fetched last

    void operator()(const tree_cell<DIM>* cells, unsigned at, const tree_tag* tags) noexcept {
        if (at >= lo && at < hi) return;
        const tree_cell<DIM>& c = cells[at];
        unsigned first = at, last = at;
        if (c.high != NO_INDEX && c.high > at)
            last = c.high + 1;
        else if (c.low != NO_INDEX && c.low < at)
            first = c.low, last = at + 1;
        if (last - first < 2 || last - first > MOST) return;
        lo = first;
        hi = last;
        const char* end = reinterpret_cast<const char*>(cells + last);
        for (const char* p = reinterpret_cast<const char*>(cells + first); p < end; p += 64) prefetch(p);
        if (!tags) return;
        end = reinterpret_cast<const char*>(tags + last);
        for (const char* p = reinterpret_cast<const char*>(tags + first); p < end; p += 64) prefetch(p);
    }
};

// Pending branches of an iterative walk. Searches keep it on their own stack:
// when it is full, the walk goes on in a nested call with a fresh one, so the
// depth of a degenerate tree costs frames only every CAPACITY levels.
template <class Entry> struct walk_stack {
    static constexpr unsigned CAPACITY = 48;
    Entry at[CAPACITY];
    unsigned n = 0;
    bool full() const noexcept { return n == CAPACITY; }
};

}  // namespace detail

template <unsigned DIM> class node_tree {
    static_assert(DIM == 2 || DIM == 3, "node trees are 2D or 3D");
    using cell = detail::tree_cell<DIM>;
    using tag = detail::tree_tag;

public:
    static constexpr unsigned dim = DIM;
    using point = vector_fixed<double, DIM>;

    dense2D<double> pos;      // the caller's coordinates, DIM x #nodes (a view)
    dense2D<unsigned> nodes;  // 3 x size: id, low, high

    explicit node_tree(const dense2D<double>& coordinates) : pos(coordinates) {}
    node_tree(const node_tree&) = delete;
    node_tree& operator=(const node_tree&) = delete;

    unsigned size() const noexcept { return unsigned(nodes.cols()); }

    // Room for n slots in all; false on exhaustion (the tree is unchanged).
    bool reserve(std::size_t n) noexcept { return shape() && grow_nodes(n) && mirror_room(n, n); }

    // Makes this tree (which must be empty) a copy of `src`, over the same
    // coordinates; false on exhaustion, the tree then empty. Throws only
    // std::bad_alloc.
    bool copy(const node_tree& src) {
        const std::size_t n = src.nodes.cols();
        if (!nodes.copy(src.nodes) || !mirror_room(n, n)) {
            nodes.clear();
            return false;
        }
        pos = src.pos;
        std::copy(src.cells_.data(), src.cells_.data() + n, cells_.data());
        std::copy(src.tags_.data(), src.tags_.data() + n, tags_.data());
        return true;
    }

    // Inserts one id: false, and nothing done, when it is not a column of `pos`.
    // A full matrix first grows to max(2 x size, 8) columns; if that fails the
    // record is dropped and the tree stays as it was (the id still counts).
    bool insert(unsigned id) noexcept {
        if (id >= pos.cols()) return false;
        const std::size_t slot = nodes.cols();
        if (!shape() || slot >= NO_INDEX) return true;
        const std::size_t grown = std::max<std::size_t>(2 * slot, 8);
        if (slot == nodes.col_capacity() && !grow_nodes(grown)) return true;
        if (!mirror_room(slot + 1, grown)) return true;
        drop_grid();
        nodes.resize(3, slot + 1);  // within the reserved room
        place(unsigned(slot), id);
        return true;
    }

    // Inserts `ids` in the shuffled order (the caller's list stays as it is) and
    // returns how many were columns of `pos`. The list is copied into the id
    // rows of the new columns and shuffled there. When that storage cannot be
    // had, no record is stored, `stored` becomes false and the valid ids are
    // counted all the same.
    unsigned insert(const dense1D<unsigned>& ids, bool& stored) noexcept {
        const unsigned* p = ids.data();
        return insert_run(
            ids.size(), [p](std::size_t k) { return p[k]; }, stored);
    }

    // As `insert(ids)`, over the ids 0 to n - 1.
    unsigned insert_first(std::size_t n, bool& stored) noexcept {
        return insert_run(
            n, [](std::size_t k) { return unsigned(k); }, stored);
    }

    // The id of the tree node closest to q, other than `excluded`; `NO_INDEX`
    // for an empty tree. Of equally close nodes the one met first stays: first
    // along a greedy descent, then in a branch-and-bound walk (node, high, low).
    unsigned find_closest(const point& q, unsigned excluded = NO_INDEX) const noexcept {
        if (nodes.cols() == 0) return NO_INDEX;
        // The grid's answers are the walk's, except where the descent meets
        // no node but the excluded one, which needs the root to be it.
        if (excluded == NO_INDEX || tags_.data()[0].id != excluded)
            if (const grid* g = ready_grid()) {
                const unsigned id = g->find(q.data(), excluded);
                if (id != NO_INDEX) return id;
            }
        return walk_closest(q, excluded);
    }

    // `find_closest` by the walk of the tree alone.
    unsigned walk_closest(const point& q, unsigned excluded = NO_INDEX) const noexcept {
        if (nodes.cols() == 0) return NO_INDEX;
        closest_search s{{cells_.data(), tags_.data(), q.data()}, excluded, 0.0, NO_INDEX};
        // Greedy descent: the first candidate.
        double best = std::numeric_limits<double>::max();
        unsigned found = NO_INDEX;
        for (unsigned at = 0, axis = 0; at != NO_INDEX;) {
            const cell& c = s.cells[at];
            const bool up = q[axis] >= c.x[axis];
            const unsigned next = up ? c.high : c.low, other = up ? c.low : c.high;
            // The other side is where the second phase turns off first.
            detail::prefetch(s.cells + (next == NO_INDEX ? at : next));
            detail::prefetch(s.cells + (other == NO_INDEX ? at : other));
            axis = detail::next_axis(axis, DIM);
            const double d2 = detail::tree_metric<DIM>::dist2(c.x, s.q);
            if (d2 < best && s.tags[at].id != excluded) {
                best = d2;
                found = at;
            }
            at = next;
        }
        if (found == NO_INDEX) return NO_INDEX;
        s.best = s.tags[found].id;
        s.r = std::sqrt(best);
        if (!(s.r > 0)) return s.best;
        s.visit(0, 0);
        return s.best;
    }

    // The closest tree node to node `id`, other than `id` itself (a different
    // node at the same place is found at distance 0); `NO_INDEX` when `id` is
    // not a column of `pos`. The id need not be in the tree.
    unsigned find_closest(unsigned id) const noexcept {
        if (id >= pos.cols()) return NO_INDEX;
        point q;
        const double* x = pos.data() + std::size_t(id) * pos.ld();
        for (unsigned k = 0; k < DIM; ++k) q[k] = x[k];
        return find_closest(q, id);
    }

    // Appends to `out` the id of every tree node in the closed box [lo, hi] (not
    // normalised: lo above hi on an axis finds nothing), in the order of a walk
    // that takes the node, its low side, then its high side. False on
    // exhaustion, with `out` back at its old size.
    bool find_in_box(const point& lo, const point& hi, dense1D<unsigned>& out) const noexcept {
        if (nodes.cols() == 0) return true;
        if (const grid* g = ready_grid()) {
            const int done = g->find_in_box(lo.data(), hi.data(), out);
            if (done != 0) return done > 0;
        }
        return walk_in_box(lo, hi, out);
    }

    // `find_in_box` by the walk of the tree alone.
    bool walk_in_box(const point& lo, const point& hi, dense1D<unsigned>& out) const noexcept {
        if (nodes.cols() == 0) return true;
        const std::size_t old = out.size();
        const box_search s{{cells_.data(), tags_.data(), lo.data()}, hi.data(), out};
        if (s.walk(0, 0)) return true;
        out.resize(old);
        return false;
    }

    // Drops the closest-node grid; insertion calls it, since the grid holds
    // the nodes of the tree as it was.
    void drop_grid() noexcept {
        grid_.store(nullptr, std::memory_order_relaxed);
        grid_owner_.reset();
        grid_state_.store(0, std::memory_order_relaxed);
    }

private:
    using grid = detail::node_grid<DIM, detail::tree_metric<DIM>>;
    // Trees smaller than this answer from cache well enough without a grid.
    static constexpr std::size_t GRID_LEAST = 1 << 14;

    vector_num<cell, 64> cells_;  // the search mirror, one cell per tree node
    vector_num<tag, 16> tags_;    // id and slot of each cell

    // A grid that answers most closest-node searches of a large tree in a few
    // bucket reads, with the tree's own answers (see node_grid.hpp). It is
    // built once a tree has had as many searches as a 32nd of its nodes, so
    // that a few searches never pay for it: `grid_state_` counts searches up
    // to then, and turns negative when the grid is built or declined.
    mutable std::atomic<const grid*> grid_{nullptr};
    mutable std::atomic<long> grid_state_{0};
    mutable std::mutex grid_mutex_;
    mutable std::unique_ptr<grid> grid_owner_;

    // Numbers the cells in the order of the box search's walk: a node, its
    // low side, then its high side. False when the stack cannot be had.
    bool walk_ranks(unsigned* rank) const noexcept {
        const cell* c = cells_.data();
        vector_num<unsigned, 16> stack;
        std::size_t depth = 0;
        unsigned next = 0;
        for (unsigned at = 0;;) {
            for (; at != NO_INDEX; at = c[at].low) {
                rank[at] = next++;
                if (c[at].high == NO_INDEX) continue;
                if (depth == stack.capacity() && !stack.grow(depth + 1, depth, 2)) return false;
                stack.data()[depth++] = c[at].high;
            }
            if (depth == 0) return true;
            at = stack.data()[--depth];
        }
    }

    const grid* ready_grid() const noexcept {
        if (const grid* g = grid_.load(std::memory_order_acquire)) return g;
        const std::size_t n = nodes.cols();
        if (n < GRID_LEAST || grid_state_.load(std::memory_order_relaxed) < 0) return nullptr;
        if (std::size_t(grid_state_.fetch_add(1, std::memory_order_relaxed)) < n / 32) return nullptr;
        std::lock_guard<std::mutex> lock(grid_mutex_);
        if (grid_state_.load(std::memory_order_relaxed) < 0) return grid_.load(std::memory_order_relaxed);
        grid_state_.store(-1, std::memory_order_relaxed);
        std::unique_ptr<grid> fresh(new (std::nothrow) grid);
        vector_num<unsigned, 16> rank;
        if (!fresh || !rank.grow(n, 0, 1) || !walk_ranks(rank.data())) return nullptr;
        const cell* c = cells_.data();
        const tag* t = tags_.data();
        const unsigned* r = rank.data();
        if (!fresh->build(
                n, [c](std::size_t k) { return c[k].x; }, [t](std::size_t k) { return t[k].id; },
                [r](std::size_t k) { return r[k]; }))
            return nullptr;
        grid_owner_ = std::move(fresh);
        grid_.store(grid_owner_.get(), std::memory_order_release);
        return grid_owner_.get();
    }

    // Rows 3 and ld 3 on a matrix that has no column yet; never allocates.
    bool shape() noexcept { return nodes.rows() == 3 || (nodes.cols() == 0 && nodes.resize(3, 0)); }

    // Room for `cols` slots in `nodes`. New storage is filled whole by the
    // builds and then read at random, hence the hint for huge pages.
    bool grow_nodes(std::size_t cols) noexcept {
        if (!nodes.reserve(3, cols)) return false;
        detail::advise_huge_pages(nodes.data(), nodes.col_capacity() * nodes.ld() * sizeof(unsigned));
        return true;
    }

    // Room for `needed` mirror cells, growing to `want` when short; the cells
    // in use are kept.
    bool mirror_room(std::size_t needed, std::size_t want) noexcept {
        const std::size_t keep = nodes.cols();
        if (cells_.capacity() < needed) {
            if (!cells_.grow(want, keep, 1)) return false;
            detail::advise_huge_pages(cells_.data(), cells_.capacity() * sizeof(cell));
        }
        if (tags_.capacity() < needed) {
            if (!tags_.grow(want, keep, 1)) return false;
            detail::advise_huge_pages(tags_.data(), tags_.capacity() * sizeof(tag));
        }
        return true;
    }

    // Stores (id, NO_INDEX, NO_INDEX) at `slot`, appends its cell to the mirror
    // and links it below the root: at each tree node the new node goes high
    // when its coordinate on the axis is greater or equal, else low, until the
    // child entry is empty. The mirror has one cell per slot, so the new cell's
    // place is `slot` as well.
    void place(unsigned slot, unsigned id) noexcept {
        unsigned* nd = nodes.data();
        const std::size_t nld = nodes.ld();
        unsigned* rec = nd + std::size_t(slot) * nld;
        rec[0] = id;
        rec[1] = rec[2] = NO_INDEX;
        cell* cells = cells_.data();
        tag* tags = tags_.data();
        const double* x = pos.data() + std::size_t(id) * pos.ld();
        cell& fresh = cells[slot];
        for (unsigned k = 0; k < DIM; ++k) fresh.x[k] = x[k];
        fresh.low = fresh.high = NO_INDEX;
        tags[slot] = tag{id, slot};
        if (slot == 0) return;
        for (unsigned at = 0, axis = 0;;) {
            const bool up = x[axis] >= cells[at].x[axis];
            unsigned& child = up ? cells[at].high : cells[at].low;
            if (child == NO_INDEX) {
                child = slot;
                nd[std::size_t(tags[at].slot) * nld + (up ? 2 : 1)] = slot;
                return;
            }
            at = child;
            axis = detail::next_axis(axis, DIM);
        }
    }

    template <class IdAt> unsigned insert_run(std::size_t n, IdAt id_at, bool& stored) noexcept {
        const std::size_t cols = pos.cols();
        unsigned valid = 0;
        for (std::size_t k = 0; k < n; ++k) valid += id_at(k) < cols;
        stored = true;
        if (valid == 0) return 0;
        const std::size_t base = nodes.cols(), want = std::max(base + n, 2 * base);
        if (!shape() || n > NO_INDEX - base || (base + n > nodes.col_capacity() && !grow_nodes(want)) ||
            !mirror_room(base + n, want)) {
            stored = false;
            return valid;
        }
        drop_grid();
        const std::size_t nld = nodes.ld();
        unsigned* run = nodes.data() + base * nld;
        for (std::size_t k = 0; k < n; ++k) run[k * nld] = id_at(k);
        detail::shuffle_positions(run, n, nld);
        // The valid ids move to the first `valid` new slots, in the shuffled
        // order; a slot is never past the entry being read.
        std::size_t slot = 0;
        for (std::size_t k = 0; k < n; ++k)
            if (run[k * nld] < cols) {
                run[slot * nld] = run[k * nld];
                run[slot * nld + 1] = run[slot * nld + 2] = NO_INDEX;
                ++slot;
            }
        if (base != 0 || !build(valid))
            for (std::size_t k = 0; k < valid; ++k) place(unsigned(base + k), run[k * nld]);
        nodes.resize(3, base + valid);  // within the reserved room
        return valid;
    }

    // A range of cells in transit during a build: the ids of one subtree, in
    // insertion order, forward or backward in memory, in the mirror or in the
    // scratch; `axis` is the axis of the subtree's root.
    struct build_range {
        std::size_t begin, end;
        unsigned axis;
        bool in_scratch, backward;
    };

    // Builds the tree of the ids in slots 0 to n - 1 of an empty tree, as the
    // insertion of one id after the other in slot order would, and lays out
    // the mirror subtree by subtree. The first id of a subtree's list is its
    // root; the rest splits, keeping its order, into the ids that go low of
    // the root (strictly smaller on the axis) and those that go high: the
    // lists of the two child subtrees. Each split streams one range into the
    // other of two buffers, the mirror and a scratch, low ids forward from the
    // front of the range and high ids backward from its back, so a high list
    // reads backward; the root settles in the mirror at the place it had in
    // its range. False, with nothing done, when the scratch cannot be had.
    bool build(std::size_t n) noexcept {
        vector_num<cell, 64> scratch;
        if (n < 2 || !scratch.grow(n, 0, 1)) return false;
        detail::advise_huge_pages(scratch.data(), n * sizeof(cell));
        unsigned* nd = nodes.data();
        const std::size_t nld = nodes.ld(), pld = pos.ld();
        const double* pd = pos.data();
        cell* const mirror = cells_.data();
        cell* const spare = scratch.data();
        tag* const tags = tags_.data();
        for (std::size_t k = 0; k < n; ++k) {
            if (k + 16 < n) detail::prefetch(pd + std::size_t(nd[(k + 16) * nld]) * pld);
            const unsigned id = nd[k * nld];
            const double* x = pd + std::size_t(id) * pld;
            for (unsigned a = 0; a < DIM; ++a) mirror[k].x[a] = x[a];
            mirror[k].low = unsigned(k);
            mirror[k].high = id;
        }
        // The smaller child goes on at once and the larger one waits: the range
        // in hand halves with each wait, so 64 entries suffice.
        build_range waiting[64];
        unsigned depth = 0;
        for (build_range r{0, n, 0, false, false};;) {
            const cell* from = r.in_scratch ? spare : mirror;
            cell* to = r.in_scratch ? mirror : spare;
            const std::size_t home = r.backward ? r.end - 1 : r.begin;
            const std::size_t first = r.backward ? r.begin : r.begin + 1, last = r.backward ? r.end - 1 : r.end;
            const cell root = from[home];
            const double split = root.x[r.axis];
            std::size_t lo = first, hi = last - 1;
            auto deal = [&](const cell& c) {
                const bool up = c.x[r.axis] >= split;
                to[lo] = c;
                to[hi] = c;
                lo += !up;
                hi -= up;
            };
            if (r.backward)
                for (std::size_t k = last; k-- > first;) deal(from[k]);
            else
                for (std::size_t k = first; k < last; ++k) deal(from[k]);
            const std::size_t n_low = lo - first, n_high = last - lo;
            cell& settled = mirror[home];
            settled = root;
            settled.low = n_low ? unsigned(first) : NO_INDEX;
            settled.high = n_high ? unsigned(last - 1) : NO_INDEX;
            tags[home] = tag{root.high, root.low};
            // The links of `nodes` are NO_INDEX until set here.
            unsigned* rec = nd + std::size_t(root.low) * nld;
            if (n_low) rec[1] = to[first].low;
            if (n_high) rec[2] = to[last - 1].low;
            // A child of one id settles at once; a larger one is taken up later.
            auto leaf = [&](std::size_t at) {
                mirror[at] = to[at];
                tags[at] = tag{to[at].high, to[at].low};
                mirror[at].low = mirror[at].high = NO_INDEX;
            };
            if (n_low == 1) leaf(first);
            if (n_high == 1) leaf(last - 1);
            const unsigned axis = detail::next_axis(r.axis, DIM);
            const build_range low{first, lo, axis, !r.in_scratch, false}, high{lo, last, axis, !r.in_scratch, true};
            if (n_low > 1 && n_high > 1) {
                waiting[depth++] = n_low < n_high ? high : low;
                r = n_low < n_high ? low : high;
            } else if (n_low > 1 || n_high > 1) {
                r = n_low > 1 ? low : high;
            } else if (depth) {
                r = waiting[--depth];
            } else {
                return true;
            }
        }
    }

    // Branch and bound from a cell: the node, then the high side while it may
    // hold a node nearer than r, then the low side with r read again.
    struct closest_search : detail::tree_walk<DIM> {
        unsigned excluded;
        double r;
        unsigned best;

        // A low side put off until the high side is done: the low child, and
        // the split it must be checked against once r is known.
        struct later {
            unsigned at, axis;
            double split;
        };

        void visit(unsigned at, unsigned axis) noexcept {
            const double* q = this->q;
            detail::walk_stack<later> stack;
            detail::subtree_fetch<DIM> fetch;
            for (;;) {
                while (at != NO_INDEX) {
                    const cell& c = this->cells[at];
                    detail::prefetch(this->cells + (c.high == NO_INDEX ? at : c.high));
                    fetch(this->cells, at, nullptr);
                    bool near = true;
                    for (unsigned k = 0; k < DIM; ++k) near = near && q[k] - r <= c.x[k] && c.x[k] <= q[k] + r;
                    if (near) {
                        const double d = std::sqrt(detail::tree_metric<DIM>::dist2(c.x, q));
                        if (d < r && this->tags[at].id != excluded) {
                            r = d;
                            best = this->tags[at].id;
                        }
                    }
                    const double split = c.x[axis];
                    const unsigned next = detail::next_axis(axis, DIM);
                    if (split < q[axis] + r) {
                        if (c.low != NO_INDEX && split > q[axis] - r) {
                            if (stack.full()) {
                                visit(c.high, next);
                                if (!(split > q[axis] - r)) break;
                                at = c.low;
                                axis = next;
                                continue;
                            }
                            stack.at[stack.n++] = later{c.low, axis, split};
                            detail::prefetch(this->cells + c.low);
                        }
                        at = c.high;
                    } else {
                        at = split > q[axis] - r ? c.low : NO_INDEX;
                    }
                    axis = next;
                }
                // The latest low side put off, if it may still hold a nearer node.
                for (;;) {
                    if (stack.n == 0) return;
                    const later& w = stack.at[--stack.n];
                    if (w.split > q[w.axis] - r) {
                        at = w.at;
                        axis = detail::next_axis(w.axis, DIM);
                        break;
                    }
                }
            }
        }
    };

    // Appends the ids in the box: the node, its low side, then its high side.
    struct box_search : detail::tree_walk<DIM> {
        const double* hi;
        dense1D<unsigned>& out;

        struct later {
            unsigned at, axis;
        };

        bool walk(unsigned at, unsigned axis) const noexcept {
            const double* lo = this->q;
            detail::walk_stack<later> stack;
            detail::subtree_fetch<DIM> fetch;
            for (;;) {
                for (;;) {
                    const cell& c = this->cells[at];
                    fetch(this->cells, at, this->tags);
                    const bool low_ok = c.x[axis] >= lo[axis], high_ok = c.x[axis] <= hi[axis];
                    if (low_ok && high_ok) {
                        bool inside = true;
                        for (unsigned k = 0; k < DIM; ++k) inside = inside && lo[k] <= c.x[k] && c.x[k] <= hi[k];
                        if (inside && !out.push_back(this->tags[at].id)) return false;
                    }
                    axis = detail::next_axis(axis, DIM);
                    const bool go_low = low_ok && c.low != NO_INDEX, go_high = high_ok && c.high != NO_INDEX;
                    if (go_low && go_high) {
                        if (stack.full()) {
                            if (!walk(c.low, axis)) return false;
                            at = c.high;
                            continue;
                        }
                        stack.at[stack.n++] = later{c.high, axis};
                        detail::prefetch(this->cells + c.high);
                    }
                    if (!go_low && !go_high) break;
                    at = go_low ? c.low : c.high;
                }
                if (stack.n == 0) return true;
                --stack.n;
                at = stack.at[stack.n].at;
                axis = stack.at[stack.n].axis;
            }
        }
    };
};

}  // namespace cellworks
}  // namespace tq5

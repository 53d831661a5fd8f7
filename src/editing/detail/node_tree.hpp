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
// The tree keeps a view of the caller's coordinates (sharing the block, not
// copying the values): moving nodes makes the tree stale. Searches are const and
// keep nothing in the object, so they may run side by side; insertion needs
// exclusive access. Nothing here throws except the constructor (the small block
// object of an empty matrix); no function prints or keeps global state.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

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
    for (std::uint32_t i = 1; i < n; ++i) {
        std::uint32_t mask = i;
        mask |= mask >> 1;
        mask |= mask >> 2;
        mask |= mask >> 4;
        mask |= mask >> 8;
        mask |= mask >> 16;
        std::uint32_t r;
        do r = std::uint32_t(gen()) & mask;
        while (r > i);
        std::swap(a[i * stride], a[r * stride]);
    }
}

}  // namespace detail

template <unsigned DIM> class node_tree {
    static_assert(DIM == 2 || DIM == 3, "node trees are 2D or 3D");

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
    bool reserve(std::size_t n) noexcept { return shape() && nodes.reserve(3, n); }

    // Inserts one id: false, and nothing done, when it is not a column of `pos`.
    // A full matrix first grows to max(2 x size, 8) columns; if that fails the
    // record is dropped and the tree stays as it was (the id still counts).
    bool insert(unsigned id) noexcept {
        if (id >= pos.cols()) return false;
        const std::size_t slot = nodes.cols();
        if (!shape() || slot >= NO_INDEX) return true;
        if (slot == nodes.col_capacity() && !nodes.reserve(3, std::max<std::size_t>(2 * slot, 8))) return true;
        nodes.resize(3, slot + 1);  // within the reserved room
        place(unsigned(slot), id);
        return true;
    }

    // Inserts `ids` in the shuffled order (the caller's list stays as it is) and
    // returns how many were columns of `pos`. The list is copied into the id
    // rows of the new columns, shuffled there and linked in place, so the call
    // needs no scratch. When that storage cannot be had, no record is stored,
    // `stored` becomes false and the valid ids are counted all the same.
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
        closest_search s{nodes.data(), nodes.ld(), pos.data(), pos.ld(), q.data(), excluded, 0.0, NO_INDEX};
        // Greedy descent: the first candidate.
        double best = std::numeric_limits<double>::max();
        const std::size_t size = nodes.cols();
        for (std::size_t slot = 0, axis = 0; slot < size;) {
            const unsigned* rec = s.nd + slot * s.nld;
            const double* x = s.pd + std::size_t(rec[0]) * s.pld;
            slot = q[axis] >= x[axis] ? rec[2] : rec[1];
            axis = axis + 1 == DIM ? 0 : axis + 1;
            const double d2 = detail::tree_metric<DIM>::dist2(x, s.q);
            if (rec[0] != excluded && d2 < best) {
                best = d2;
                s.best = rec[0];
            }
        }
        if (s.best == NO_INDEX) return NO_INDEX;
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
    // normalised: lo above hi on an axis finds nothing). False on exhaustion,
    // with `out` back at its old size.
    bool find_in_box(const point& lo, const point& hi, dense1D<unsigned>& out) const noexcept {
        if (nodes.cols() == 0) return true;
        const std::size_t old = out.size();
        const box_search s{nodes.data(), nodes.ld(), pos.data(), pos.ld(), lo.data(), hi.data(), out};
        if (s.walk(0, 0)) return true;
        out.resize(old);
        return false;
    }

private:
    // Rows 3 and ld 3 on a matrix that has no column yet; never allocates.
    bool shape() noexcept { return nodes.rows() == 3 || (nodes.cols() == 0 && nodes.resize(3, 0)); }

    // Stores (id, NO_INDEX, NO_INDEX) at `slot` and links it below the root: at
    // each tree node the new node goes high when its coordinate on the axis is
    // greater or equal, else low, until the child entry is empty.
    void place(unsigned slot, unsigned id) noexcept {
        unsigned* nd = nodes.data();
        const std::size_t nld = nodes.ld(), pld = pos.ld();
        unsigned* rec = nd + std::size_t(slot) * nld;
        rec[0] = id;
        rec[1] = rec[2] = NO_INDEX;
        if (slot == 0) return;
        const double* pd = pos.data();
        const double* x = pd + std::size_t(id) * pld;
        for (std::size_t at = 0, axis = 0;;) {
            unsigned* parent = nd + at * nld;
            unsigned& child = x[axis] >= pd[std::size_t(parent[0]) * pld + axis] ? parent[2] : parent[1];
            if (child == NO_INDEX) {
                child = slot;
                return;
            }
            at = child;
            axis = axis + 1 == DIM ? 0 : axis + 1;
        }
    }

    template <class IdAt> unsigned insert_run(std::size_t n, IdAt id_at, bool& stored) noexcept {
        const std::size_t cols = pos.cols();
        unsigned valid = 0;
        for (std::size_t k = 0; k < n; ++k) valid += id_at(k) < cols;
        stored = true;
        if (valid == 0) return 0;
        const std::size_t base = nodes.cols();
        if (!shape() || n > NO_INDEX - base ||
            (base + n > nodes.col_capacity() && !nodes.reserve(3, std::max(base + n, 2 * base)))) {
            stored = false;
            return valid;
        }
        const std::size_t nld = nodes.ld();
        unsigned* run = nodes.data() + base * nld;
        for (std::size_t k = 0; k < n; ++k) run[k * nld] = id_at(k);
        detail::shuffle_positions(run, n, nld);
        // Slot `base + valid so far` is never past the entry being read, so the
        // records overwrite only ids already taken.
        std::size_t slot = base;
        for (std::size_t k = 0; k < n; ++k) {
            const unsigned id = run[k * nld];
            if (id < cols) place(unsigned(slot++), id);
        }
        nodes.resize(3, slot);  // within the reserved room
        return valid;
    }

    struct closest_search {
        const unsigned* nd;
        std::size_t nld;
        const double* pd;
        std::size_t pld;
        const double* q;
        unsigned excluded;
        double r;
        unsigned best;

        // Branch and bound from `slot`: the node, then the high side while it may
        // hold a node nearer than r, then the low side with r read again. High
        // recurses; low loops in the same frame.
        void visit(unsigned slot, std::size_t axis) noexcept {
            while (slot != NO_INDEX) {
                const unsigned* rec = nd + std::size_t(slot) * nld;
                const double* x = pd + std::size_t(rec[0]) * pld;
                const double c = x[axis];
                if (rec[0] != excluded) {
                    bool near = true;
                    for (unsigned k = 0; k < DIM; ++k) near = near && q[k] - r <= x[k] && x[k] <= q[k] + r;
                    if (near) {
                        const double d = std::sqrt(detail::tree_metric<DIM>::dist2(x, q));
                        if (d < r) {
                            r = d;
                            best = rec[0];
                        }
                    }
                }
                const std::size_t next = axis + 1 == DIM ? 0 : axis + 1;
                if (c < q[axis] + r) visit(rec[2], next);
                if (!(c > q[axis] - r)) return;
                slot = rec[1];
                axis = next;
            }
        }
    };

    struct box_search {
        const unsigned* nd;
        std::size_t nld;
        const double* pd;
        std::size_t pld;
        const double* lo;
        const double* hi;
        dense1D<unsigned>& out;

        // Recurses on the low side and loops on the high side, so that a chain
        // of coincident nodes (all high) is walked in one frame.
        bool walk(unsigned slot, std::size_t axis) const noexcept {
            for (;;) {
                const unsigned* rec = nd + std::size_t(slot) * nld;
                const double* x = pd + std::size_t(rec[0]) * pld;
                const bool low_ok = x[axis] >= lo[axis], high_ok = x[axis] <= hi[axis];
                if (low_ok && high_ok) {
                    bool inside = true;
                    for (unsigned k = 0; k < DIM; ++k) inside = inside && lo[k] <= x[k] && x[k] <= hi[k];
                    if (inside && !out.push_back(rec[0])) return false;
                }
                axis = axis + 1 == DIM ? 0 : axis + 1;
                if (low_ok && rec[1] != NO_INDEX && !walk(rec[1], axis)) return false;
                if (!high_ok || rec[2] == NO_INDEX) return true;
                slot = rec[2];
            }
        }
    };
};

}  // namespace cellworks
}  // namespace tq5

// A bucket grid beside a k-d tree, for the searches of large trees.
//
// The tree's walk is a chain of dependent loads, one cache miss per level; the
// grid looks at a few neighbouring buckets instead.
//
// Box searches: with finite coordinates the tree's walk finds exactly the
// nodes in the box, in the order of a walk that takes a node, its low side,
// then its high side. The grid keeps each node's rank in that order, finds the
// nodes in the box by their buckets (a node's bucket is a monotone function of
// its coordinates, so no node in the box is missed), and sorts them by rank.
//
// Closest-node searches: the grid answers only when it can
// vouch for the tree's own answer: when one node is closer than every other by
// a margin that no rounding in the tree's walk can bridge. The tree's walk then
// ends at that node too, whatever the order of its steps. Otherwise (ties, near
// ties, queries that are not finite) the grid answers `NO_INDEX` and the caller
// asks the tree.
//
// Why the margin suffices: the tree skips a branch only when its splitting
// plane lies at least the current best distance r from the query, up to a few
// units in the last place of the coordinates and of r. A node missed that way
// is therefore at least r minus that error away, while the node returned is at
// most r away. So the node returned is the closest one, or within that error
// of it; a margin of many such units rules the second case out.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/storage.hpp>

#include "../../detail/prefetch.hpp"

namespace tq5 {
namespace cellworks {
namespace detail {

// `Metric::dist2(a, q)` is the squared distance exactly as the tree sums it.
template <unsigned DIM, class Metric> class node_grid {
public:
    // Builds the grid over n nodes, node k at `x(k)` (DIM doubles) with id
    // `id(k)` and rank `rank(k)` in the order of box searches. False when
    // storage cannot be had, when a coordinate is not finite, or when the
    // nodes crowd into few buckets (a grid would not pay); the grid is then
    // unusable.
    template <class X, class Id, class Rank> bool build(std::size_t n, X x, Id id, Rank rank) noexcept {
        if (n == 0 || n >= NO_INDEX) return false;
        double lo[DIM], hi[DIM];
        for (unsigned a = 0; a < DIM; ++a) lo[a] = hi[a] = x(0)[a];
        for (std::size_t k = 0; k < n; ++k) {
            const double* p = x(k);
            for (unsigned a = 0; a < DIM; ++a) {
                if (!std::isfinite(p[a])) return false;
                lo[a] = std::min(lo[a], p[a]);
                hi[a] = std::max(hi[a], p[a]);
            }
        }
        shape(n, lo, hi);
        const std::size_t cells = cell_count();
        if (!start_.grow(cells + 1, 0, 1) || !entries_.grow(n, 0, 1)) return false;
        unsigned* start = start_.data();
        std::fill(start, start + cells + 1, 0u);
        for (std::size_t k = 0; k < n; ++k) ++start[cell_of(x(k)) + 1];
        // Expected nodes in the bucket of a node: the sum of squared counts
        // over n. Crowded buckets (strongly graded meshes) leave it to the tree.
        double crowd = 0;
        for (std::size_t c = 1; c <= cells; ++c) crowd += double(start[c]) * double(start[c]);
        if (crowd > 24.0 * double(n)) return false;
        for (std::size_t c = 0; c < cells; ++c) start[c + 1] += start[c];
        entry* e = entries_.data();
        for (std::size_t k = 0; k < n; ++k) {
            const double* p = x(k);
            entry& to = e[start[cell_of(p)]++];
            for (unsigned a = 0; a < DIM; ++a) to.x[a] = p[a];
            to.id = id(k);
            to.rank = rank(k);
        }
        // The scatter moved each start to the next bucket's start.
        for (std::size_t c = cells; c > 0; --c) start[c] = start[c - 1];
        start[0] = 0;
        return true;
    }

    // The node closest to q other than `excluded`, if the grid can vouch that
    // the tree finds it too, else `NO_INDEX`.
    unsigned find(const double* q, unsigned excluded) const noexcept {
        double scale = scale_;
        for (unsigned a = 0; a < DIM; ++a) {
            if (!std::isfinite(q[a])) return NO_INDEX;
            scale = std::max(scale, std::fabs(q[a]));
        }
        const double slack = 64 * DBL_EPSILON * scale;
        std::size_t c[DIM];
        std::size_t reach = 0;  // rings past this one hold no bucket
        for (unsigned a = 0; a < DIM; ++a) {
            c[a] = bucket(a, q[a]);
            reach = std::max(reach, std::max(c[a], dims_[a] - 1 - c[a]));
        }
        // Squared distances while searching; the margin is checked on the
        // distances themselves, as the tree compares them.
        double best2 = std::numeric_limits<double>::infinity(), second2 = best2;
        unsigned found = NO_INDEX;
        const entry* e = entries_.data();
        run runs[MOST_RUNS];
        // A query that the first rings cannot settle (far outside the nodes,
        // or in a hole) is left to the tree.
        for (std::size_t r = 0;; ++r) {
            if (r > reach || (r > 0 && ring_bound(q, c, r) > std::sqrt(best2) + margin(std::sqrt(best2), slack))) break;
            if (r > MOST_RINGS) return NO_INDEX;
            const std::size_t m = ring(c, r, runs);
            for (std::size_t j = 0; j < m; ++j)
                for (unsigned k = runs[j].first; k < runs[j].last; ++k) {
                    if (e[k].id == excluded) continue;
                    const double d2 = Metric::dist2(e[k].x, q);
                    if (d2 < best2) {
                        second2 = best2;
                        best2 = d2;
                        found = e[k].id;
                    } else if (d2 < second2) {
                        second2 = d2;
                    }
                }
        }
        const double best = std::sqrt(best2);
        return found != NO_INDEX && std::sqrt(second2) > best + margin(best, slack) ? found : NO_INDEX;
    }

    // Appends to `out` the ids of the nodes in the closed box [lo, hi], as the
    // tree's walk would: 1. Returns 0, with nothing done, for a box over many
    // buckets or nodes, which the walk does as fast; -1 when `out` could not
    // grow, `out` then as it was.
    int find_in_box(const double* lo, const double* hi, dense1D<unsigned>& out) const noexcept {
        std::size_t from[DIM], to[DIM], i[DIM], buckets = 1;
        for (unsigned a = 0; a < DIM; ++a) {
            if (!(lo[a] <= hi[a])) return 1;  // an empty box, or a NaN corner: nothing
            from[a] = bucket(a, lo[a]);
            to[a] = bucket(a, hi[a]);
            i[a] = from[a];
            buckets *= to[a] - from[a] + 1;
        }
        if (buckets > MOST_BOX_BUCKETS) return 0;
        const unsigned* start = start_.data();
        const entry* e = entries_.data();
        std::size_t rows[MOST_BOX_BUCKETS], m = 0;  // the first bucket of each row
        for (;;) {
            std::size_t row = 0;
            for (unsigned a = DIM; a-- > 1;) row = row * dims_[a] + i[a];
            rows[m++] = row * dims_[0] + from[0];
            prefetch(start + rows[m - 1]);
            if (!next_row(i, from, to)) break;
        }
        const std::size_t width = to[0] - from[0] + 1;
        for (std::size_t j = 0; j < m; ++j) {
            const char* end = reinterpret_cast<const char*>(e + start[rows[j] + width]);
            for (const char* p = reinterpret_cast<const char*>(e + start[rows[j]]); p < end; p += 64) prefetch(p);
        }
        hit hits[MOST_BOX_HITS];
        std::size_t n = 0;
        for (std::size_t j = 0; j < m; ++j)
            for (unsigned k = start[rows[j]], last = start[rows[j] + width]; k < last; ++k) {
                bool inside = true;
                for (unsigned a = 0; a < DIM; ++a) inside = inside && lo[a] <= e[k].x[a] && e[k].x[a] <= hi[a];
                if (!inside) continue;
                if (n == MOST_BOX_HITS) return 0;
                hits[n++] = hit{e[k].rank, e[k].id};
            }
        std::sort(hits, hits + n, [](const hit& a, const hit& b) { return a.rank < b.rank; });
        const std::size_t old = out.size();
        for (std::size_t j = 0; j < n; ++j)
            if (!out.push_back(hits[j].id)) {
                out.resize(old);
                return -1;
            }
        return 1;
    }

private:
    struct entry {
        double x[DIM];
        unsigned id, rank;
    };

    static constexpr std::size_t MOST_RINGS = 4;
    // Boxes over more buckets or nodes are left to the tree.
    static constexpr std::size_t MOST_BOX_BUCKETS = 512, MOST_BOX_HITS = 512;

    struct hit {
        unsigned rank, id;
    };
    // Runs of entries in one ring: two a row at most.
    static constexpr std::size_t MOST_RUNS =
        2 * (DIM == 3 ? (2 * MOST_RINGS + 1) * (2 * MOST_RINGS + 1) : 2 * MOST_RINGS + 1);

    struct run {
        unsigned first, last;
    };

    double lo_[DIM], h_[DIM], inv_h_[DIM];
    std::size_t dims_[DIM];
    double scale_ = 0;  // the largest magnitude of a node coordinate
    vector_num<unsigned, 16> start_;
    vector_num<entry, 64> entries_;

    static double margin(double best, double slack) noexcept { return slack + 64 * DBL_EPSILON * best; }

    // About two nodes per bucket, cubic buckets; a flat axis gets one layer.
    void shape(std::size_t n, const double* lo, const double* hi) noexcept {
        double volume = 1;
        unsigned spread = 0;
        for (unsigned a = 0; a < DIM; ++a) {
            scale_ = std::max(scale_, std::max(std::fabs(lo[a]), std::fabs(hi[a])));
            if (hi[a] > lo[a]) volume *= hi[a] - lo[a], ++spread;
        }
        const double side = spread ? std::pow(volume / (0.5 * double(n)), 1.0 / spread) : 1;
        const double most = std::max(1.0, std::pow(4.0 * double(n), 1.0 / DIM));  // buckets an axis
        for (unsigned a = 0; a < DIM; ++a) {
            const double extent = hi[a] - lo[a];
            const double k = extent > 0 && side > 0 ? std::min(most, std::max(1.0, std::ceil(extent / side))) : 1;
            dims_[a] = std::size_t(k);
            lo_[a] = lo[a];
            h_[a] = extent > 0 ? extent / k : 0;
            inv_h_[a] = extent > 0 ? k / extent : 0;
        }
    }

    std::size_t cell_count() const noexcept {
        std::size_t cells = 1;
        for (unsigned a = 0; a < DIM; ++a) cells *= dims_[a];
        return cells;
    }

    // Steps the bucket index i over the rows of the block [from, to] (all axes
    // but x, the first fastest); false past the last row.
    static bool next_row(std::size_t* i, const std::size_t* from, const std::size_t* to) noexcept {
        for (unsigned a = 1; a < DIM; ++a) {
            if (i[a] < to[a]) {
                ++i[a];
                return true;
            }
            i[a] = from[a];
        }
        return false;
    }

    // The bucket of coordinate x on axis a: a non-decreasing function of x
    // (NaN, from an infinite x on a flat axis, gives the first).
    std::size_t bucket(unsigned a, double x) const noexcept {
        const double t = (x - lo_[a]) * inv_h_[a];
        return !(t > 0) ? 0 : t >= double(dims_[a] - 1) ? dims_[a] - 1 : std::size_t(t);
    }

    std::size_t cell_of(const double* p) const noexcept {
        std::size_t cell = 0;
        for (unsigned a = DIM; a-- > 0;) cell = cell * dims_[a] + bucket(a, p[a]);
        return cell;
    }

    // A lower bound of the distance from q to the buckets of ring r (those r
    // steps away from bucket c on some axis): the distance from q to the faces
    // of the block of rings below r, on the sides where buckets lie beyond.
    // Each face is pulled towards q by a small part of a bucket, which covers
    // the rounding of the bucket of a node.
    double ring_bound(const double* q, const std::size_t* c, std::size_t r) const noexcept {
        double bound = std::numeric_limits<double>::infinity();
        for (unsigned a = 0; a < DIM; ++a) {
            const double pull = 1e-6 * h_[a];
            if (c[a] >= r) bound = std::min(bound, q[a] - (lo_[a] + double(c[a] - r + 1) * h_[a]) - pull);
            if (c[a] + r < dims_[a]) bound = std::min(bound, lo_[a] + double(c[a] + r) * h_[a] - q[a] - pull);
        }
        return std::max(bound, 0.0);
    }

    // Lists in `runs` the runs of entries in the buckets of ring r around c
    // and returns their number: along x, a whole row where another axis is r
    // steps away, else the two ends of the row. The rows' bounds are fetched
    // first and then their entries, so that the misses overlap.
    std::size_t ring(const std::size_t* c, std::size_t r, run* runs) const noexcept {
        std::size_t from[DIM], to[DIM], i[DIM];
        for (unsigned a = 0; a < DIM; ++a) {
            from[a] = c[a] >= r ? c[a] - r : 0;
            to[a] = std::min(c[a] + r, dims_[a] - 1);
            i[a] = from[a];
        }
        const unsigned* start = start_.data();
        std::size_t at[MOST_RUNS], m = 0;  // the first bucket of each run, then its end
        for (;;) {
            bool edge = r == 0;
            std::size_t row = 0;
            for (unsigned a = DIM; a-- > 1;) {
                edge = edge || i[a] + r == c[a] || i[a] == c[a] + r;
                row = row * dims_[a] + i[a];
            }
            row *= dims_[0];
            auto add = [&](std::size_t first, std::size_t last) {
                prefetch(start + first);
                prefetch(start + last);
                at[m] = first;
                runs[m++].last = unsigned(last);
            };
            if (edge) {
                add(row + from[0], row + to[0] + 1);
            } else {
                if (c[0] >= r) add(row + c[0] - r, row + c[0] - r + 1);
                if (c[0] + r < dims_[0]) add(row + c[0] + r, row + c[0] + r + 1);
            }
            if (!next_row(i, from, to)) break;
        }
        const entry* e = entries_.data();
        for (std::size_t j = 0; j < m; ++j) {
            runs[j].first = start[at[j]];
            runs[j].last = start[runs[j].last];
            const char* end = reinterpret_cast<const char*>(e + runs[j].last);
            for (const char* p = reinterpret_cast<const char*>(e + runs[j].first); p < end; p += 64) prefetch(p);
        }
        return m;
    }
};

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

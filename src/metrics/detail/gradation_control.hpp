// The control of gradation and variation of a metric field on a node graph:
// the priority queue of edges, and the control loop that repairs the worst edge
// first by moving one of its nodes toward the other.
//
// One loop serves the eight exported variants. What differs is gathered in two
// small tables:
// - the measure (`shock_measure`, `variation_measure`): the rate of an edge and
//   the size difference per unit length that a limit allows;
// - the field kind (`size_values<N>`, `tensor_values<N>`): the value at a node,
//   the sizes along an edge, and the candidate value of a node moved by a
//   fraction t toward its neighbour.
//
// The loop works on state that the caller prepares: the compressed node graph,
// one stamp per node (0 free and unchanged, the change counter of the last
// change, NO_INDEX held) and one direction byte per node (0 undecided, 1 grow
// only, 255 shrink only, anything else never matches). Nothing here checks
// arguments.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>

#include "../../detail/prefetch.hpp"
#include "metric_core.hpp"

namespace tq5 {
namespace cellworks {
namespace detail {

constexpr double GROWTH_LIMIT_SLACK = 1.000000000001;  // an edge is queued only above limit * this
constexpr double TINY_FRACTION = 1e-12;                // a fraction above this has a direction
constexpr double MIN_FRACTION = 0.001;                 // a fraction not above this is not applied
constexpr double PENALTY_TOLERANCE = 0.001;            // relative tolerance of the penalty search
constexpr int SCAN_STEPS = 10;                         // intervals of the coarse penalty scan

constexpr unsigned char GROW = 1, SHRINK = 255;

/// One queued edge direction: `node` may be moved toward `target`.
struct queue_entry {
    float key;        ///< measure of the edge when queued, capped at FLT_MAX
    unsigned stamp;   ///< change counter when queued
    unsigned node;    ///< the node this entry may change
    unsigned target;  ///< the neighbour it is drawn toward
};
static_assert(sizeof(queue_entry) == 16, "queue entries are 16 bytes");

/// The key of a measure: capped in double, then narrowed, so that DBL_MAX and
/// infinity order first.
inline float queue_key(double q) noexcept { return static_cast<float>(q < FLT_MAX ? q : FLT_MAX); }

/// Binary max-heap of queue entries in one growing array. On equal keys a
/// pushed entry stays under its parent; a pop walks the hole to the bottom,
/// taking the right child unless the left one's key is greater, and sifts the
/// last entry up from there. Stale entries are the caller's business.
///
/// Entry i of the heap is a_[i], and a_ lies in its block so that the two
/// children of an entry share half a 64-byte line and its four grandchildren
/// one whole line: a pop meets one line per level, and asks for the lines
/// three levels below the hole's children ahead of time.
class entry_heap {
public:
    bool empty() const noexcept { return count_ == 0; }
    std::size_t size() const noexcept { return count_; }
    /// Most entries held at once.
    std::size_t peak() const noexcept { return peak_; }
    /// The entries, in heap order.
    queue_entry* begin() noexcept { return a_; }
    queue_entry* end() noexcept { return a_ + count_; }

    /// @return false when the array can't grow (the heap is unchanged).
    bool push(const queue_entry& e) noexcept {
        if (count_ == capacity_ && !grow()) return false;
        const std::size_t h = sift_up(a_, count_++, e.key);
        a_[h] = e;
        if (count_ > peak_) peak_ = count_;
        return true;
    }

    /// Removes and returns the entry of greatest key; the heap must not be empty.
    queue_entry pop() noexcept {
        queue_entry* a = a_;
        const queue_entry top = a[0];
        const std::size_t n = --count_;
        if (n == 0) return top;
        const queue_entry last = a[n];
        std::size_t h = 0;
        for (std::size_t l = 1; l < n; l = 2 * h + 1) {
            if (8 * l + 19 < n) {  // the 16 entries three levels below the children
                prefetch(a + 8 * l + 7);
                prefetch(a + 8 * l + 11);
                prefetch(a + 8 * l + 15);
                prefetch(a + 8 * l + 19);
            }
            const std::size_t c = l + 1 < n && !(a[l].key > a[l + 1].key) ? l + 1 : l;
            a[h] = a[c];
            h = c;
        }
        h = sift_up(a, h, last.key);
        a[h] = last;
        return top;
    }

private:
    // Moves parents down while their key is below `key`; returns the free place.
    static std::size_t sift_up(queue_entry* a, std::size_t h, float key) noexcept {
        while (h > 0) {
            const std::size_t p = (h - 1) / 2;
            if (!(a[p].key < key)) break;
            a[h] = a[p];
            h = p;
        }
        return h;
    }
    // Doubles the room (1024 entries at first) and places a_ 1 to 4 entries
    // into the new block, with a_ + 3 on a 64-byte boundary.
    bool grow() noexcept {
        if (capacity_ > std::size_t(-1) / 64) return false;
        const std::size_t want = capacity_ ? 2 * capacity_ : 1024;
        const std::size_t old_shift = a_ ? std::size_t(a_ - store_.data()) : 0;
        if (!store_.resize(want + 4)) return false;
        queue_entry* base = store_.data();
        std::size_t shift = 1;
        while ((reinterpret_cast<std::uintptr_t>(base + shift + 3) & 63) != 0) ++shift;
        if (count_ != 0 && shift != old_shift)
            std::memmove(static_cast<void*>(base + shift), base + old_shift, count_ * sizeof(queue_entry));
        a_ = base + shift;
        capacity_ = want;
        return true;
    }

    dense1D<queue_entry> store_;
    queue_entry* a_ = nullptr;
    std::size_t count_ = 0, capacity_ = 0, peak_ = 0;
};

// ---------------------------------------------------------------------------
// Measures

/// Gradation: the shock of an edge; a limit g allows a size difference of
/// log(1 + g) per unit length. `above` tells whether an edge's shock is above
/// a threshold not below the limit, and skips the shock's logarithm and power
/// where the end lengths alone show that it is not (`screen` of the limit).
struct shock_measure {
    template <int N, class V> static double of(const double* pi, const double* pj, V a, V b) noexcept {
        return edge_shock<N>(pi, pj, a, b);
    }
    template <int N, class V>
    static bool above(const double* pi, const double* pj, V a, V b, double screen, double threshold,
                      double& q) noexcept {
        return edge_shock_above<N>(pi, pj, a, b, screen, threshold, q);
    }
    static double screen(double limit) noexcept { return shock_screen(limit); }
    static double slope(double limit) noexcept { return std::log1p(limit); }
};

/// Variation: the plain slope of the size; a limit g allows g per unit length.
struct variation_measure {
    template <int N, class V> static double of(const double* pi, const double* pj, V a, V b) noexcept {
        return edge_variation<N>(pi, pj, a, b);
    }
    template <int N, class V>
    static bool above(const double* pi, const double* pj, V a, V b, double, double threshold, double& q) noexcept {
        q = edge_variation<N>(pi, pj, a, b);
        return q > threshold;
    }
    static double screen(double) noexcept { return 0; }
    static double slope(double limit) noexcept { return limit; }
};

// ---------------------------------------------------------------------------
// Field kinds

/// A size per node.
template <int N> struct size_values {
    using value = double;
    double* h;

    double at(unsigned i) const noexcept { return h[i]; }
    const double* where(unsigned i) const noexcept { return h + i; }
    static double view(const value& v) noexcept { return v; }
    void store(unsigned i, const value& v) const noexcept { h[i] = v; }
    void sizes_along(unsigned i, unsigned j, const double*, double, double& hi, double& hj) const noexcept {
        hi = h[i];
        hj = h[j];
    }
    /// The size of i moved by t toward j, kept on the side of i that `byte`
    /// allows; false unless it is > 0 and below DBL_MAX.
    bool candidate(unsigned i, unsigned j, double t, unsigned char byte, value& v) const noexcept {
        const double hi = h[i];
        v = (h[j] - hi) * t + hi;
        if (!(v > 0 && v < DBL_MAX)) return false;
        if (byte == GROW && v < hi) v = hi;
        if (byte == SHRINK && v > hi) v = hi;
        return true;
    }
};

/// A packed tensor per node, one column of a field with leading dimension ld.
template <int N> struct tensor_values {
    struct value {
        double m[packed<N>];
    };
    double* m;
    std::size_t ld;

    const double* at(unsigned i) const noexcept { return m + i * ld; }
    const double* where(unsigned i) const noexcept { return m + i * ld; }
    static const double* view(const value& v) noexcept { return v.m; }
    void store(unsigned i, const value& v) const noexcept {
        for (int k = 0; k < packed<N>; ++k) m[i * ld + k] = v.m[k];
    }
    /// Sizes along the unit direction of d (d itself when L is 0); a form
    /// that is not > 0 is taken as it is.
    void sizes_along(unsigned i, unsigned j, const double* d, double L, double& hi, double& hj) const noexcept {
        double u[N];
        for (int k = 0; k < N; ++k) u[k] = L != 0 ? d[k] / L : d[k];
        const double wi = quadratic_form<N>(at(i), u), wj = quadratic_form<N>(at(j), u);
        hi = wi > 0 ? 1 / std::sqrt(wi) : wi;
        hj = wj > 0 ? 1 / std::sqrt(wj) : wj;
    }
    /// The tensor of i interpolated by t toward that of j, then combined with
    /// the tensor of i so that no size moves against `byte`; false when the
    /// two can't be reduced together.
    bool candidate(unsigned i, unsigned j, double t, unsigned char byte, value& v) const noexcept {
        if (!interpolate_metric<N>(t, at(i), at(j), v.m)) return false;
        if (byte == GROW) maximum_metric_core<N>(at(i), v.m, v.m);
        if (byte == SHRINK) minimum_metric_core<N>(at(i), v.m, v.m);
        return true;
    }
};

// ---------------------------------------------------------------------------
// The loop

/// Compressed node graph: the neighbours of node i are
/// `nodes[indices[i]]` up to `nodes[indices[i + 1]]`.
struct graph_view {
    const unsigned* indices;
    const unsigned* nodes;
    std::size_t count;
};

/// The control loop of one field, measure and dimension.
template <int N, class Field, class Measure> class control_loop {
public:
    using value = typename Field::value;

    control_loop(const double* pos, std::size_t pos_ld, graph_view graph, unsigned* stamp, unsigned char* direction,
                 Field field, double limit)
        : pos_(pos),
          ld_(pos_ld),
          g_(graph),
          stamp_(stamp),
          dir_(direction),
          field_(field),
          limit_(limit),
          threshold_(limit * GROWTH_LIMIT_SLACK),
          slope_(Measure::slope(limit)),
          screen_(Measure::screen(limit)),
          huge_(std::sqrt(DBL_MAX)) {}

    /// The highest value the change counter reaches before the stamps are
    /// renumbered; lowered only by tests.
    unsigned stamp_ceiling = NO_INDEX - 1;

    /// Most queue entries held at once by the last `run`.
    std::size_t peak_entries() const noexcept { return heap_.peak(); }

    /// Fills the queue and repairs edges until it is empty. The field, stamps
    /// and direction bytes are changed in place. @return the count of changed
    /// nodes, or ERR_ALLOC at once when the queue or scratch can't grow.
    int run() noexcept {
        const std::size_t n = g_.count;
        bool any_held = false;
        std::size_t degree = 0;
        for (std::size_t i = 0; i < n; ++i) {
            any_held = any_held || stamp_[i] != 0;
            const std::size_t d = g_.indices[i + 1] - g_.indices[i];
            degree = d > degree ? d : degree;
        }
        if (any_held && !held_.resize(degree)) return ERR_ALLOC;

        for (unsigned i = 0; i < n; ++i) {
            if (stamp_[i] == NO_INDEX) continue;
            for (std::size_t q = g_.indices[i], end = g_.indices[i + 1]; q < end; ++q) {
                const unsigned j = g_.nodes[q];
                double m;
                if (above(i, j, m) && !heap_.push({queue_key(m), 0, i, j})) return ERR_ALLOC;
            }
        }

        unsigned counter = 0;
        int changed = 0;
        while (!heap_.empty()) {
            const queue_entry e = heap_.pop();
            const unsigned i = e.node, j = e.target;
            if (stamp_[i] > e.stamp || (stamp_[j] > e.stamp && stamp_[j] != NO_INDEX)) continue;
            // A change measures every edge of i: ask for the neighbours' data now.
            for (std::size_t q = g_.indices[i], end = g_.indices[i + 1]; q < end; ++q) {
                prefetch(pos_ + g_.nodes[q] * ld_);
                prefetch(field_.where(g_.nodes[q]));
            }
            std::size_t held = 0;
            if (any_held)
                for (std::size_t q = g_.indices[i], end = g_.indices[i + 1]; q < end; ++q)
                    if (stamp_[g_.nodes[q]] == NO_INDEX) held_[held++] = g_.nodes[q];
            unsigned char byte = dir_[i];
            if (!correct_edge(i, j, held, byte)) continue;
            dir_[i] = byte;
            if (stamp_[i] == 0) ++changed;
            if (counter >= stamp_ceiling) counter = renumber_stamps();
            stamp_[i] = ++counter;
            for (std::size_t q = g_.indices[i], end = g_.indices[i + 1]; q < end; ++q) {
                const unsigned k = g_.nodes[q];
                double m;
                if (!above(i, k, m)) continue;
                if (!heap_.push({queue_key(m), counter, i, k})) return ERR_ALLOC;
                if (stamp_[k] != NO_INDEX && !heap_.push({queue_key(m), counter, k, i})) return ERR_ALLOC;
            }
        }
        return changed;
    }

    /// Moves node i toward j by the smallest fraction that brings the edge to
    /// the limit, as `byte` (a private copy of the node's direction) allows,
    /// and as the first `held` entries of the held list make worth it.
    /// @return true when the field of i was changed.
    bool correct_edge(unsigned i, unsigned j, std::size_t held, unsigned char& byte) noexcept {
        const double* pi = pos_ + i * ld_;
        const double* pj = pos_ + j * ld_;
        double d[N], LL = 0;
        for (int k = 0; k < N; ++k) {
            d[k] = pj[k] - pi[k];
            LL += d[k] * d[k];
        }
        const double L = std::sqrt(LL);
        double hi, hj;
        field_.sizes_along(i, j, d, L, hi, hj);
        const unsigned char sign = hj > hi ? GROW : SHRINK;
        const double dh = std::fabs(hj - hi);
        double t = 0;
        if (dh > L * 1e-12) {
            t = 1 - slope_ * (L / dh);
            t = t > 0 ? t : 0;
        }
        bool go = false;
        if (t > TINY_FRACTION) {
            if (byte == 0) byte = sign;
            go = byte == sign;
        }
        if (!(go && t > MIN_FRACTION)) return false;

        if (held != 0) {
            auto penalty = [&](double x) { return anchor_penalty(i, j, held, byte, x); };
            const double pen = penalty(0);
            if (pen > 0 && pen < DBL_MAX) {
                const std::pair<double, double> bracket = scan_fraction(0, t, penalty);
                t = refine_fraction(bracket.first, bracket.second, PENALTY_TOLERANCE, penalty);
                if (!(t > MIN_FRACTION)) return false;
            }
        }
        value v;
        if (!field_.candidate(i, j, t, byte, v)) return false;
        field_.store(i, v);
        return true;
    }

    /// The price of moving i by t toward j against the held neighbours of i:
    /// the sum of the squared excess of each of their edges over the plain
    /// limit, DBL_MAX for an excess of sqrt(DBL_MAX) or more, and 0 when no
    /// candidate can be built.
    double anchor_penalty(unsigned i, unsigned j, std::size_t held, unsigned char byte, double t) const noexcept {
        value v;
        if (!field_.candidate(i, j, t, byte, v)) return 0;
        const double* pi = pos_ + i * ld_;
        double pen = 0;
        for (std::size_t q = 0; q < held; ++q) {
            const unsigned k = held_[q];
            const double e = Measure::template of<N>(pi, pos_ + k * ld_, Field::view(v), field_.at(k)) - limit_;
            if (e > 0) {
                if (e >= huge_)
                    pen = DBL_MAX;
                else
                    pen += e * e;
            }
        }
        return pen;
    }

    /// Coarse search of the penalty on [lo, hi] in SCAN_STEPS intervals; ties
    /// stay with the smaller fraction. @return the bracket one step either side
    /// of the best point, within [lo, hi].
    template <class Penalty>
    static std::pair<double, double> scan_fraction(double lo, double hi, Penalty penalty) noexcept {
        const double step = (hi - lo) * (1.0 / SCAN_STEPS);
        double best = lo, fbest = penalty(lo), x = lo;
        for (int s = 0; s < SCAN_STEPS; ++s) {
            x += step;
            const double f = penalty(x);
            if (f < fbest) {
                best = x;
                fbest = f;
            }
        }
        const double a = best - step, b = best + step;
        return {a > lo ? a : lo, b < hi ? b : hi};
    }

    /// Halving search of the penalty's minimum on [lo, hi], to a relative
    /// tolerance `tol` of the bracket or of the penalty's spread.
    /// @return the lowest of the final three points, the lower end on ties.
    template <class Penalty> static double refine_fraction(double lo, double hi, double tol, Penalty penalty) noexcept {
        auto larger = [](double a, double b) { return a < b ? b : a; };
        const double span = std::fabs(hi - lo);
        double mid = (lo + hi) * 0.5;
        double flo = penalty(lo), fmid = penalty(mid), fhi = penalty(hi);
        const double stop = tol * larger(std::fabs(fmid - fhi), std::fabs(fmid - flo));
        for (;;) {
            const double a = (mid + lo) * 0.5, b = (mid + hi) * 0.5;
            if (fmid >= flo || fmid >= fhi) {
                if (fhi >= flo) {
                    hi = mid, fhi = fmid, mid = a, fmid = penalty(a);
                } else {
                    lo = mid, flo = fmid, mid = b, fmid = penalty(b);
                }
            } else {
                const double fa = penalty(a);
                if (fa < fmid) {
                    hi = mid, fhi = fmid, mid = a, fmid = fa;
                } else {
                    const double fb = penalty(b);
                    if (fb < fmid)
                        lo = mid, flo = fmid, mid = b, fmid = fb;
                    else
                        lo = a, flo = fa, hi = b, fhi = fb;
                }
            }
            if (stop >= larger(std::fabs(fmid - fhi), std::fabs(fmid - flo))) break;
            if (!(std::fabs(hi - lo) > span * tol)) break;
        }
        double x = mid, fx = fmid;
        if (!(flo >= fmid)) x = lo, fx = flo;
        if (fhi < fx) x = hi;
        return x;
    }

private:
    // Whether the edge (i, j) is queued: its measure m above the limit with slack.
    bool above(unsigned i, unsigned j, double& m) const noexcept {
        return Measure::template above<N>(pos_ + i * ld_, pos_ + j * ld_, field_.at(i), field_.at(j), screen_,
                                          threshold_, m);
    }

    // Before the change counter would run into NO_INDEX: every live entry
    // gets stamp 1 and every stale one 0, every changed node stamp 1, and the
    // counter restarts at 1. Which entries are stale, and the heap's order,
    // stay as they were. Returns the new counter.
    unsigned renumber_stamps() noexcept {
        for (queue_entry& e : heap_) {
            const unsigned si = stamp_[e.node], sj = stamp_[e.target];
            const bool stale = si > e.stamp || (sj > e.stamp && sj != NO_INDEX);
            e.stamp = stale ? 0 : 1;
        }
        for (std::size_t i = 0; i < g_.count; ++i)
            if (stamp_[i] != 0 && stamp_[i] != NO_INDEX) stamp_[i] = 1;
        return 1;
    }

    const double* pos_;
    std::size_t ld_;
    graph_view g_;
    unsigned* stamp_;
    unsigned char* dir_;
    Field field_;
    double limit_, threshold_, slope_, screen_, huge_;
    entry_heap heap_;
    dense1D<unsigned> held_;
};

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

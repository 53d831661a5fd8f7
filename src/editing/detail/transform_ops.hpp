// The node moves behind translate, rotate and zoom, shared with the mesh
// copies: one struct per move holding what differs (its identity test, the
// change of one node, and how its list forms treat the list), and the steps
// that every move takes before it touches a node.
//
// A move is built once per call, so that sines, cosines and the rotation
// matrix are never evaluated per node, and applied as `op(p)` to the DIM
// leading coordinates of a column.
#pragma once

#include <climits>
#include <cmath>
#include <cstddef>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

// How the list forms of a move treat their list. The differences are part of
// the interface and are kept on purpose.
struct list_rules {
    bool skips_bad_ids;     // ids at or beyond the columns are skipped and not counted
    bool counts;            // the result is the number of ids applied, else 0
    bool empty_list_first;  // an empty list returns 0 before `pos` is widened
};

template <unsigned DIM> struct translation {
    static constexpr list_rules rules{true, true, true};
    vector_fixed<double, DIM> v;

    bool identity() const noexcept {
        for (unsigned k = 0; k < DIM; ++k)
            if (v[k] != 0.0) return false;
        return true;
    }
    void operator()(double* p) const noexcept {
        for (unsigned k = 0; k < DIM; ++k) p[k] += v[k];
    }
};

template <unsigned DIM> struct scaling {
    static constexpr list_rules rules{false, false, true};
    vector_fixed<double, DIM> center;
    double factor, grow;  // grow = factor - 1

    scaling(const vector_fixed<double, DIM>& c, double f) noexcept : center(c), factor(f), grow(f - 1.0) {}
    bool identity() const noexcept { return factor == 1.0; }
    void operator()(double* p) const noexcept {
        for (unsigned k = 0; k < DIM; ++k) p[k] += grow * (p[k] - center[k]);
    }
};

struct rotation2 {
    static constexpr list_rules rules{true, true, false};
    double cx, cy, c, s;
    bool none;

    rotation2(const vector_fixed<double, 2>& center, double angle) noexcept
        : cx(center[0]), cy(center[1]), c(std::cos(angle)), s(std::sin(angle)), none(angle == 0.0) {}
    bool identity() const noexcept { return none; }
    void operator()(double* p) const noexcept {
        const double dx = p[0] - cx, dy = p[1] - cy;
        p[0] = cx + (c * dx - s * dy);
        p[1] = cy + (s * dx + c * dy);
    }
};

// R = I + a W + b W^2 for the rotation vector w, W its cross-product matrix.
// Below t = 0.1 the series of a = sin(t)/t and b = (1 - cos(t))/t^2 avoid the
// cancellation in 1 - cos(t) and the division by a tiny t.
struct rotation3 {
    static constexpr list_rules rules{true, true, false};
    double center[3];
    double R[3][3];
    bool none;

    rotation3(const vector_fixed<double, 3>& c, const vector_fixed<double, 3>& w) noexcept
        : center{c[0], c[1], c[2]}, none(w[0] == 0.0 && w[1] == 0.0 && w[2] == 0.0) {
        const double x = w[0] * w[0] + w[1] * w[1] + w[2] * w[2], t = std::sqrt(x);
        double a, b;
        if (t > 0.1) {
            a = std::sin(t) / t;
            b = (1.0 - std::cos(t)) / x;
        } else {
            a = 1.0 + x * (-1.0 / 6 + x * (1.0 / 120 + x * (-1.0 / 5040 + x * (1.0 / 362880 + x * (-1.0 / 39916800)))));
            b = 0.5 + x * (-1.0 / 24 + x * (1.0 / 720 + x * (-1.0 / 40320 + x * (1.0 / 3628800))));
        }
        const double W[3][3] = {{0, -w[2], w[1]}, {w[2], 0, -w[0]}, {-w[1], w[0], 0}};
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j) {
                const double w2 = W[i][0] * W[0][j] + W[i][1] * W[1][j] + W[i][2] * W[2][j];
                R[i][j] = (i == j ? 1.0 : 0.0) + a * W[i][j] + b * w2;
            }
    }
    bool identity() const noexcept { return none; }
    void operator()(double* p) const noexcept {
        const double d[3] = {p[0] - center[0], p[1] - center[1], p[2] - center[2]};
        for (unsigned i = 0; i < 3; ++i) p[i] = center[i] + (R[i][0] * d[0] + R[i][1] * d[1] + R[i][2] * d[2]);
    }
};

// The mirror image through the plane of `point` and `normal` (any length but
// 0): p + f ((p - point) . normal) normal with f = -2 / |normal|^2. Only the
// mesh copies use it, on columns they have just made, so it has no list rules.
template <unsigned DIM> struct reflection {
    vector_fixed<double, DIM> point, normal;
    double f;

    reflection(const vector_fixed<double, DIM>& p, const vector_fixed<double, DIM>& n, double len2) noexcept
        : point(p), normal(n), f(-2.0 / len2) {}
    void operator()(double* p) const noexcept {
        double dot = 0.0;
        for (unsigned k = 0; k < DIM; ++k) dot += (p[k] - point[k]) * normal[k];
        const double s = f * dot;
        for (unsigned k = 0; k < DIM; ++k) p[k] += s * normal[k];
    }
};

// `pos` with fewer than DIM rows grows to DIM, the new rows 0.0. False when
// storage could not be obtained (`pos` unchanged).
template <unsigned DIM> bool widen(dense2D<double>& pos) noexcept {
    const std::size_t old = pos.rows(), cols = pos.cols();
    if (old >= DIM) return true;
    if (!pos.resize(DIM, cols)) return false;
    double* d = pos.data();  // ld is DIM now
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t r = old; r < DIM; ++r) d[j * DIM + r] = 0.0;
    return true;
}

// The steps before any node moves: 1 to go on, 0 when there is nothing to do
// (no entries, the identity, or an empty list where the move's rules say so),
// ERR_ALLOC when `pos` could not be widened. `listed` is the length of the
// list of a list form; the all-node forms pass `all`.
constexpr std::size_t all = std::size_t(-1);
template <unsigned DIM, class Op> int ready(dense2D<double>& pos, const Op& op, std::size_t listed) noexcept {
    if (pos.empty() || op.identity()) return 0;
    if (listed == 0 && Op::rules.empty_list_first) return 0;
    return widen<DIM>(pos) ? 1 : ERR_ALLOC;
}

// Applies `op` to the n columns of `pos` from `first`, which must exist.
template <class Op> void move_run(dense2D<double>& pos, std::size_t first, std::size_t n, const Op& op) noexcept {
    double* d = pos.data() + first * pos.ld();
    const std::size_t ld = pos.ld();
    for (std::size_t j = 0; j < n; ++j) op(d + j * ld);
}

inline int as_count(std::size_t n) noexcept { return n > std::size_t(INT_MAX) ? INT_MAX : int(n); }

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

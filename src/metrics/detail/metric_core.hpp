// The measuring core of metric fields, shared by the metric sources and the
// gradation control: small eigen solvers, validity of a tensor, clamping,
// the simultaneous reduction of two tensors with the combinations and the
// interpolation built on it, and the measures of an edge between two metrics.
//
// Conventions of this header:
// - N is the dimension, 2 or 3. A tensor is a pointer to its packed upper
//   entries, `packed<N>` doubles: m00, m01, m11 (2D); m00, m01, m11, m02, m12,
//   m22 (3D), so a column of a 3- or 6-row metric field serves directly.
// - An n x n matrix is n*n doubles in column-major order.
// - Nothing allocates, nothing keeps state: every function is reentrant.
// - Outputs may be the same storage as inputs where a function says so.
// Dispatch on the row counts of fields and the views of fields at the nodes
// are in metric_field.hpp; edge extraction is in edge_list.hpp.
#pragma once

#include <cfloat>
#include <cmath>

#include <tq5/cellworks/metrics/lapack.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

/// Number of packed entries of a symmetric N x N tensor.
template <int N> constexpr int packed = N*(N + 1) / 2;

/// Isotropic eigenvalue of a size: 1/(h*h) when h > 0, 0 otherwise (NaN included).
inline double size_to_eigenvalue(double h) noexcept { return h > 0 ? 1.0 / (h * h) : 0.0; }

// ---------------------------------------------------------------------------
// Eigen solvers

/// Eigenvalues of the 2x2 symmetric matrix ((a, b), (b, c)) in closed form,
/// l0 <= l1 as far as rounding allows. When one root is below 1e-12 times the
/// other in magnitude it is lost to cancellation and is taken from the
/// determinant instead. @return true when both values are finite (they are
/// written in either case).
inline bool eigen_values_2x2(double a, double b, double c, double& l0, double& l1) noexcept {
    const double s = std::sqrt((a - c) * (a - c) + 4 * b * b);
    const double det = a * c - b * b;
    l0 = (a + c - s) * 0.5;
    l1 = l0 + s;
    if (std::fabs(l0) < 1e-12 * std::fabs(l1))
        l0 = det / l1;
    else if (std::fabs(l1) < 1e-12 * std::fabs(l0))
        l1 = det / l0;
    return std::isfinite(l0) && std::isfinite(l1);
}

/// Eigenvalues and eigenvectors of ((a, b), (b, c)): q0 (2 values) belongs to
/// l0, and q1 is q0 turned a quarter. q0 is built from the better conditioned
/// of the two rows of the shifted matrix, and is (1, 0) when the matrix is a
/// multiple of the unit matrix. With `normalise` the vectors have unit length,
/// otherwise their length is arbitrary. @return false (at once) on a
/// non-finite eigenvalue.
inline bool eigen_pairs_2x2(double a, double b, double c, double& l0, double& l1, double* q0, double* q1,
                            bool normalise) noexcept {
    if (!eigen_values_2x2(a, b, c, l0, l1)) return false;
    const double x = l0;
    const double e = (x - a) * (x - a), f = (x - c) * (x - c);
    double nn;
    if (f > e) {
        q0[0] = x - c;
        q0[1] = b;
        nn = f + b * b;
    } else {
        q0[0] = b;
        q0[1] = x - a;
        nn = e + b * b;
    }
    const double scale = a * a > c * c ? a * a : c * c;
    if (nn > 1e-24 * scale) {
        if (normalise) {
            const double r = 1.0 / std::sqrt(nn);
            q0[0] *= r;
            q0[1] *= r;
        }
    } else {
        q0[0] = 1.0;
        q0[1] = 0.0;
    }
    q1[0] = -q0[1];
    q1[1] = q0[0];
    return true;
}

/// Eigenvalues (ascending, in w) and orthonormal eigenvectors (columns of z,
/// 3x3) of a packed 3x3 tensor through `dspev`, on a copy. @return info == 0.
inline bool eigen_pairs_3x3(const double* m, double* w, double* z) noexcept {
    double ap[6] = {m[0], m[1], m[2], m[3], m[4], m[5]};
    double work[9];
    long info = 0;
    lapack::dspev('V', 'U', 3, ap, w, z, 3, work, info);
    return info == 0;
}

/// Eigenvalues and unit eigenvectors of a packed tensor: closed form in 2D
/// (never LAPACK), `dspev` in 3D. w gets N values, z the N x N vectors in
/// columns, the first for the lowest value. @return false on failure (w and z
/// then partly written).
template <int N> inline bool symmetric_eigen(const double* m, double* w, double* z) noexcept {
    if constexpr (N == 2)
        return eigen_pairs_2x2(m[0], m[1], m[2], w[0], w[1], z, z + 2, true);
    else
        return eigen_pairs_3x3(m, w, z);
}

/// The lowest eigenvalue as the validity test reads it: 2D in closed form
/// whatever its finiteness, 3D through `dspev` without vectors, whatever its
/// info.
template <int N> inline double lowest_eigenvalue(const double* m) noexcept {
    if constexpr (N == 2) {
        double l0, l1;
        eigen_values_2x2(m[0], m[1], m[2], l0, l1);
        return l0;
    } else {
        double ap[6] = {m[0], m[1], m[2], m[3], m[4], m[5]};
        double w[3], work[9];
        long info = 0;
        lapack::dspev('N', 'U', 3, ap, w, nullptr, 1, work, info);
        return w[0];
    }
}

/// A usable metric: the lowest eigenvalue is not <= 0. A NaN eigenvalue
/// passes, and so does a huge one: tensors get no finiteness test.
template <int N> inline bool is_valid_metric(const double* m) noexcept { return !(0 >= lowest_eigenvalue<N>(m)); }

/// In-place factor M = L LT of a packed 3x3 tensor a, b, c, d, e, f = m00,
/// m01, m11, m02, m12, m22; on success the same places hold l00, l10, l11,
/// l20, l21, l22. Semi-definite input with an empty first or second row and
/// column is reduced to the 2x2 of the two other rows; the last pivot may be 0,
/// the first two may not. @return false when the tensor can't be factored.
inline bool cholesky_3x3(double* m) noexcept {
    double& a = m[0];
    double& b = m[1];
    double& c = m[2];
    double& d = m[3];
    double& e = m[4];
    double& f = m[5];
    double* p = nullptr;
    double* q = nullptr;
    if (a == 0 && b == 0 && d == 0) {
        p = &c;
        q = &e;
    } else if (b == 0 && c == 0 && e == 0) {
        p = &a;
        q = &d;
    }
    if (p) {
        if (*p == 0 && *q == 0) {
            if (!(f >= 0)) return false;
            f = std::sqrt(f);
            return true;
        }
        if (!(*p > 0)) return false;
        const double g = *p * f - *q * *q;
        if (!(g >= 0)) return false;
        const double rp = std::sqrt(*p);
        *p = rp;
        *q = *q / rp;
        f = std::sqrt(g) / rp;
        return true;
    }
    if (!(a > 0)) return false;
    const double c1 = a * c - b * b;
    if (!(c1 > 0)) return false;
    const double e1 = a * e - b * d;
    const double ra = std::sqrt(a), rc = std::sqrt(c1);
    const double l20 = d / ra, l21 = (e1 / rc) / ra;
    const double g = f - (l21 * l21 + l20 * l20);
    if (!(g >= 0)) return false;
    b = b / ra;
    c = rc / ra;
    d = l20;
    e = l21;
    f = std::sqrt(g);
    a = ra;
    return true;
}

// Scales each column of the n x n matrix q to unit length; a column of
// length 0 is left as it is.
template <int N> inline void normalise_columns(double* q) noexcept {
    for (int k = 0; k < N; ++k) {
        double nn = 0;
        for (int i = 0; i < N; ++i) nn += q[k * N + i] * q[k * N + i];
        if (nn > 0) {
            const double r = 1.0 / std::sqrt(nn);
            for (int i = 0; i < N; ++i) q[k * N + i] *= r;
        }
    }
}

/// Generalized problem M2 x = d M1 x in 2D through the congruence
/// G = ((s, 0), (-b, a)), s = sqrt(det M1), which turns M1 into a det(M1)
/// times the unit matrix. d gets 2 values (descending when m00 of M1 < 0),
/// q the unit vectors in columns. @return false unless m00 of M1 != 0 and
/// det M1 > 0, or when the reduced problem has a non-finite eigenvalue.
inline bool eigen_pairs_general_2x2(const double* m1, const double* m2, double* d, double* q) noexcept {
    const double a = m1[0], b = m1[1], c = m1[2];
    const double det = a * c - b * b;
    if (!(a != 0 && det > 0)) return false;
    const double s = std::sqrt(det);
    const double t = a * m2[1] - m2[0] * b;
    const double p = m2[0] * det, qq = t * s, r = a * a * m2[2] - (t + a * m2[1]) * b;
    double l[2], y0[2], y1[2];
    if (!eigen_pairs_2x2(p, qq, r, l[0], l[1], y0, y1, false)) return false;
    const double scale = 1.0 / (det * a);
    d[0] = l[0] * scale;
    d[1] = l[1] * scale;
    q[0] = s * y0[0] - b * y0[1];
    q[1] = a * y0[1];
    q[2] = s * y1[0] - b * y1[1];
    q[3] = a * y1[1];
    normalise_columns<2>(q);
    return true;
}

/// Generalized problem M2 x = d M1 x in 3D: with M1 = L LT and
/// P = det(L) L^-T, the eigen pairs (w, z) of PT M2 P give d = w / det(L)^2
/// (ascending) and x = P z, scaled to unit columns in q. A factor with a zero
/// last pivot is not refused: d is then not finite and the result true.
/// @return false when M1 can't be factored or `dspev` fails.
inline bool eigen_pairs_general_3x3(const double* m1, const double* m2, double* d, double* q) noexcept {
    double l[6] = {m1[0], m1[1], m1[2], m1[3], m1[4], m1[5]};
    if (!cholesky_3x3(l)) return false;
    const double l00 = l[0], l10 = l[1], l11 = l[2], l20 = l[3], l21 = l[4], l22 = l[5];
    const double detL = l00 * l11 * l22;
    // P is upper triangular, column-major.
    const double P[9] = {l11 * l22, 0, 0, -l10 * l22, l00 * l22, 0, l10 * l21 - l11 * l20, -l00 * l21, l00 * l11};
    // B = PT M2 P in packed upper order: B(i, j) = P_i . (M2 P_j).
    double ap[6];
    for (int j = 0; j < 3; ++j) {
        const double* pj = P + 3 * j;
        const double mp[3] = {m2[0] * pj[0] + m2[1] * pj[1] + m2[3] * pj[2],
                              m2[1] * pj[0] + m2[2] * pj[1] + m2[4] * pj[2],
                              m2[3] * pj[0] + m2[4] * pj[1] + m2[5] * pj[2]};
        for (int i = 0; i <= j; ++i) {
            const double* pi = P + 3 * i;
            ap[i + j * (j + 1) / 2] = pi[0] * mp[0] + pi[1] * mp[1] + pi[2] * mp[2];
        }
    }
    double w[3], z[9], work[9];
    long info = 0;
    lapack::dspev('V', 'U', 3, ap, w, z, 3, work, info);
    if (info != 0) return false;
    const double scale = 1.0 / (detL * detL);
    for (int k = 0; k < 3; ++k) {
        d[k] = w[k] * scale;
        for (int i = 0; i < 3; ++i) {
            double v = 0;
            for (int j = i; j < 3; ++j) v += P[i + 3 * j] * z[3 * k + j];
            q[3 * k + i] = v;
        }
    }
    normalise_columns<3>(q);
    return true;
}

/// M2 x = d M1 x in dimension N: d gets N values, q the unit vectors in
/// columns. @return false when M1 is refused or the solver fails.
template <int N> inline bool eigen_pairs_general(const double* m1, const double* m2, double* d, double* q) noexcept {
    if constexpr (N == 2)
        return eigen_pairs_general_2x2(m1, m2, d, q);
    else
        return eigen_pairs_general_3x3(m1, m2, d, q);
}

// ---------------------------------------------------------------------------
// Building and clamping tensors

/// dT M d for a packed tensor M and a vector d of N values.
template <int N> inline double quadratic_form(const double* m, const double* d) noexcept {
    if constexpr (N == 2)
        return m[0] * d[0] * d[0] + 2 * m[1] * d[0] * d[1] + m[2] * d[1] * d[1];
    else
        return m[0] * d[0] * d[0] + m[2] * d[1] * d[1] + m[5] * d[2] * d[2] +
               2 * (m[1] * d[0] * d[1] + m[3] * d[0] * d[2] + m[4] * d[1] * d[2]);
}

/// M = sum over k of L[k] C_k C_kT, written packed, where C_k is the k-th
/// group of N values of c: the eigenvectors (columns of a column-major
/// matrix) after an eigen decomposition, the rows of the inverse basis after
/// `reduce_metric_pair`. m must not overlap l or c.
template <int N> inline void rebuild_metric(const double* l, const double* c, double* m) noexcept {
    for (int j = 0; j < N; ++j)
        for (int i = 0; i <= j; ++i) {
            double v = 0;
            for (int k = 0; k < N; ++k) v += l[k] * c[k * N + i] * c[k * N + j];
            m[i + j * (j + 1) / 2] = v;
        }
}

/// The isotropic tensor of size h: 1/(h*h) on the diagonal when h > 0, the
/// zero tensor otherwise.
template <int N> inline void isotropic_metric(double h, double* m) noexcept {
    const double v = size_to_eigenvalue(h);
    for (int j = 0; j < N; ++j)
        for (int i = 0; i <= j; ++i) m[i + j * (j + 1) / 2] = i == j ? v : 0.0;
}

/// Eigenvalue bounds of a size range: lmax = 1/(hmin*hmin) when hmin > 0,
/// else DBL_MAX; lmin = 1/(hmax*hmax) when hmax > 0, else 0.
struct eigen_bounds {
    double lmin, lmax;
};
inline eigen_bounds eigen_bounds_of(double hmin, double hmax) noexcept {
    return {hmax > 0 ? 1.0 / (hmax * hmax) : 0.0, hmin > 0 ? 1.0 / (hmin * hmin) : DBL_MAX};
}

/// Clamps the eigenvalues of the packed tensor m to [lmin, lmax], each first
/// from above (a NaN becomes lmax), then from below. A tensor that can't be
/// decomposed becomes lmax times the unit matrix. The tensor is rewritten
/// only when something changed, so an unchanged tensor keeps its exact bits.
/// @return true when the tensor changed.
template <int N> inline bool bound_metric_core(double* m, eigen_bounds b) noexcept {
    double w[N], z[N * N];
    bool changed = false;
    if (!symmetric_eigen<N>(m, w, z)) {
        for (int k = 0; k < N; ++k) {
            w[k] = b.lmax;
            for (int i = 0; i < N; ++i) z[k * N + i] = i == k ? 1.0 : 0.0;
        }
        changed = true;
    } else {
        for (int k = 0; k < N; ++k) {
            if (!(b.lmax >= w[k])) {
                w[k] = b.lmax;
                changed = true;
            }
            if (b.lmin > w[k]) {
                w[k] = b.lmin;
                changed = true;
            }
        }
    }
    if (changed) rebuild_metric<N>(w, z, m);
    return changed;
}

// ---------------------------------------------------------------------------
// Simultaneous reduction of two tensors

/// Two tensors M1, M2 in the basis that makes both diagonal.
template <int N> struct metric_pair {
    double basis[N * N];    ///< unit generalized eigenvectors q_k of M2 x = d M1 x, column-major
    double inverse[N * N];  ///< inverse of basis, row after row: group k is row k
    double first[N];        ///< q_kT M1 q_k
    double second[N];       ///< q_kT M2 q_k = d[k] first[k]
};

/// Both diagonals hold only values > 0 and below DBL_MAX (NaN fails).
template <int N> inline bool metric_pair_is_valid(const metric_pair<N>& p) noexcept {
    for (int k = 0; k < N; ++k)
        if (!(p.first[k] > 0 && p.first[k] < DBL_MAX && p.second[k] > 0 && p.second[k] < DBL_MAX)) return false;
    return true;
}

/// The simultaneous reduction of M1 and M2: M1 = sum first[k] C_k C_kT and
/// M2 = sum second[k] C_k C_kT with C_k the rows of `inverse`.
/// When the generalized solver fails, the whole pair is set to zero. When the
/// basis is singular, `inverse` keeps its previous contents in 2D and holds
/// the undivided cofactors in 3D. @return `metric_pair_is_valid` of the
/// result (false after a failed solve).
template <int N> inline bool reduce_metric_pair(const double* m1, const double* m2, metric_pair<N>& pair) noexcept {
    double d[N];
    if (!eigen_pairs_general<N>(m1, m2, d, pair.basis)) {
        for (int i = 0; i < N * N; ++i) pair.basis[i] = pair.inverse[i] = 0.0;
        for (int k = 0; k < N; ++k) pair.first[k] = pair.second[k] = 0.0;
        return false;
    }
    const double* q = pair.basis;
    double* inv = pair.inverse;
    if constexpr (N == 2) {
        const double det = q[0] * q[3] - q[1] * q[2];
        if (det != 0) {
            const double r = 1.0 / det;
            inv[0] = q[3] * r;
            inv[1] = -q[2] * r;
            inv[2] = -q[1] * r;
            inv[3] = q[0] * r;
        }
    } else {
        // inv(k, i) = cofactor(i, k) / det, with q(i, k) = q[i + 3k].
        auto at = [q](int i, int k) { return q[i + 3 * k]; };
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k < 3; ++k) {
                const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, k1 = (k + 1) % 3, k2 = (k + 2) % 3;
                inv[3 * k + i] = at(i1, k1) * at(i2, k2) - at(i1, k2) * at(i2, k1);
            }
        const double det = q[0] * inv[0] + q[1] * inv[1] + q[2] * inv[2];  // along column 0
        if (det != 0) {
            const double r = 1.0 / det;
            for (int i = 0; i < 9; ++i) inv[i] *= r;
        }
    }
    for (int k = 0; k < N; ++k) {
        pair.first[k] = quadratic_form<N>(m1, q + k * N);
        pair.second[k] = d[k] * pair.first[k];
    }
    return metric_pair_is_valid(pair);
}

/// The tensor whose size in each direction of the common basis is the size
/// at t of the line from the size of M1 (t = 0) to that of M2 (t = 1): linear
/// in the size, not in the tensor. A size not > 0 gives the eigenvalue
/// DBL_MAX. @return false, m untouched, when the pair is not valid.
template <int N> inline bool interpolate_metric_pair(const metric_pair<N>& pair, double t, double* m) noexcept {
    if (!metric_pair_is_valid(pair)) return false;
    double l[N];
    for (int k = 0; k < N; ++k) {
        const double a = pair.first[k] > 0 ? 1.0 / std::sqrt(pair.first[k]) : DBL_MAX;
        const double b = pair.second[k] > 0 ? 1.0 / std::sqrt(pair.second[k]) : DBL_MAX;
        const double h = (b - a) * t + a;
        l[k] = h > 0 ? 1.0 / (h * h) : DBL_MAX;
    }
    rebuild_metric<N>(l, pair.inverse, m);
    return true;
}

/// Interpolation of `interpolate_metric_pair` from M1 to M2; t within 1e-12
/// of 0 or 1 copies M1 or M2 exactly (true). m may be the same storage as
/// m1 or m2. @return false, m untouched, when the two can't be reduced
/// together.
template <int N> inline bool interpolate_metric(double t, const double* m1, const double* m2, double* m) noexcept {
    if (std::fabs(t) < 1e-12 || std::fabs(t - 1) < 1e-12) {
        const double* src = std::fabs(t) < 1e-12 ? m1 : m2;
        for (int i = 0; i < packed<N>; ++i) m[i] = src[i];
        return true;
    }
    metric_pair<N> pair{};
    reduce_metric_pair<N>(m1, m2, pair);
    return interpolate_metric_pair<N>(pair, t, m);
}

// Shared body of the two combinations: in each direction of the common basis
// the eigenvalue `pick`(first, second); m is written in every case.
template <int N, class Pick>
inline bool combine_metrics(const double* m1, const double* m2, double* m, Pick pick) noexcept {
    metric_pair<N> pair{};
    reduce_metric_pair<N>(m1, m2, pair);
    double l[N];
    bool finite = true;
    for (int k = 0; k < N; ++k) {
        l[k] = pick(pair.first[k], pair.second[k]);
        finite = finite && l[k] > 0 && !(l[k] >= DBL_MAX);
    }
    double lo = l[0], hi = l[0];
    for (int k = 1; k < N; ++k) {
        lo = l[k] < lo ? l[k] : lo;
        hi = l[k] > hi ? l[k] : hi;
    }
    rebuild_metric<N>(l, pair.inverse, m);
    return finite && lo > 1e-24 * hi;
}

/// The larger size of M1 and M2 in each direction of their common basis (the
/// lower eigenvalue). m is written in every case and may be the same storage
/// as m1 or m2. @return true when the result is good: eigenvalues > 0, below
/// DBL_MAX, and the lowest above 1e-24 times the highest.
template <int N> inline bool maximum_metric_core(const double* m1, const double* m2, double* m) noexcept {
    return combine_metrics<N>(m1, m2, m, [](double a, double b) { return b < a ? b : a; });
}

/// The smaller size of M1 and M2 in each direction (the higher eigenvalue),
/// as `maximum_metric_core` otherwise.
template <int N> inline bool minimum_metric_core(const double* m1, const double* m2, double* m) noexcept {
    return combine_metrics<N>(m1, m2, m, [](double a, double b) { return a < b ? b : a; });
}

// ---------------------------------------------------------------------------
// Measures of an edge between two metrics

/// 1 over the logarithmic mean (hi - lo) / ln(hi/lo) of a and b: 0 unless
/// both are > 0, exactly 1/a for a == b, and a 5-term series of ln(r)/(r - 1)
/// for r = lo/hi >= 0.999, which keeps the division away from 0.
inline double inverse_log_mean(double a, double b) noexcept {
    const double hi = a > b ? a : b, lo = a > b ? b : a;
    if (!(lo > 0)) return 0.0;
    const double r = lo / hi, x = r - 1, w = 1.0 / hi;
    if (r >= 0.999) return ((((x * 0.2 - 0.25) * x + 0.3333333333333333) * x - 0.5) * x + 1) * w;
    return std::log(r) / x * w;
}

// The two ends of an edge: la, lb its length seen from each end's metric, and
// L its metric length (0 when undefined).
struct edge_ends {
    double la, lb, length;
};

// Edge between two points of N coordinates and two packed tensors, its
// metric length not yet set (0): la and lb, or all 0 when a quadratic form is
// not > 0 (only the zero length is read then).
template <int N>
inline edge_ends tensor_ends(const double* pi, const double* pj, const double* mi, const double* mj) noexcept {
    double d[N];
    for (int k = 0; k < N; ++k) d[k] = pj[k] - pi[k];
    const double qa = quadratic_form<N>(mi, d), qb = quadratic_form<N>(mj, d);
    if (!(qa > 0) || !(qb > 0)) return {0.0, 0.0, 0.0};
    return {std::sqrt(qa), std::sqrt(qb), 0.0};
}

// The same with its metric length.
inline edge_ends with_tensor_length(edge_ends e) noexcept {
    if (e.la != 0) e.length = inverse_log_mean(e.la, e.lb) * e.la * e.lb;
    return e;
}
template <int N>
inline edge_ends edge_ends_of(const double* pi, const double* pj, const double* mi, const double* mj) noexcept {
    return with_tensor_length(tensor_ends<N>(pi, pj, mi, mj));
}

// Euclidean length of the edge between two points of N coordinates.
template <int N> inline double euclidean_length(const double* pi, const double* pj) noexcept {
    double dd = 0;
    for (int k = 0; k < N; ++k) dd += (pj[k] - pi[k]) * (pj[k] - pi[k]);
    return std::sqrt(dd);
}

// Edge of Euclidean length len between two sizes.
inline edge_ends size_ends(double len, double hi, double hj) noexcept {
    return {len / hi, len / hj, inverse_log_mean(hi, hj) * len};
}
template <int N> inline edge_ends edge_ends_of(const double* pi, const double* pj, double hi, double hj) noexcept {
    return size_ends(euclidean_length<N>(pi, pj), hi, hj);
}

// The metric length of an edge lies between la and lb. When both are far
// inside the range of doubles it is neither 0 nor beyond DBL_MAX, so a rate
// that reads only la and lb doesn't need it (nor its logarithm).
inline bool well_inside(double x) noexcept { return x >= 0x1p-400 && x <= 0x1p400; }

/// Metric length of the edge from pi to pj (N coordinates each) between the
/// packed tensors mi and mj: the exact integral of 1/h(s) along the edge when
/// the size varies linearly from one end's size to the other's. 0 when a
/// quadratic form dT M d is not > 0.
template <int N>
inline double metric_edge_length(const double* pi, const double* pj, const double* mi, const double* mj) noexcept {
    return edge_ends_of<N>(pi, pj, mi, mj).length;
}

/// \overload With sizes hi, hj at the two ends: 0 unless both are > 0.
template <int N> inline double metric_edge_length(const double* pi, const double* pj, double hi, double hj) noexcept {
    return edge_ends_of<N>(pi, pj, hi, hj).length;
}

// Shared steps of the two rates: an infinite length gives 0, a zero length 0
// between equal metrics and DBL_MAX otherwise, anything else `rate`(ends).
template <class Rate> inline double edge_rate(const edge_ends& e, bool equal_ends, Rate rate) noexcept {
    if (e.length != 0) return e.length >= DBL_MAX ? 0.0 : rate(e);
    return equal_ends ? 0.0 : DBL_MAX;
}

inline double shock_rate(const edge_ends& e) noexcept {
    const double s = std::pow(e.la / e.lb, 1.0 / e.length);
    return s >= 1 ? s - 1 : 1 / s - 1;
}
inline double variation_rate(const edge_ends& e) noexcept { return std::fabs(e.la - e.lb) / (e.la * e.lb); }

template <int N> inline bool same_tensor(const double* mi, const double* mj) noexcept {
    for (int k = 0; k < packed<N>; ++k)
        if (!(mi[k] == mj[k])) return false;
    return true;
}

/// Shock of an edge: how fast the size changes along it per unit of metric
/// length; exp(|hj - hi| / |d|) - 1 for a size varying linearly. 0 for an
/// infinite metric length; for a zero one, 0 between equal tensors and
/// DBL_MAX otherwise (NaN entries are never equal).
template <int N>
inline double edge_shock(const double* pi, const double* pj, const double* mi, const double* mj) noexcept {
    return edge_rate(edge_ends_of<N>(pi, pj, mi, mj), same_tensor<N>(mi, mj), shock_rate);
}

/// \overload With sizes at the two ends.
template <int N> inline double edge_shock(const double* pi, const double* pj, double hi, double hj) noexcept {
    return edge_rate(edge_ends_of<N>(pi, pj, hi, hj), hi == hj, shock_rate);
}

/// The screen of `edge_shock_above` for a limit g: a little below log(1 + g),
/// the largest variation whose shock expm1(variation) stays within g.
inline double shock_screen(double limit) noexcept { return std::log1p(limit) * (1 - 1e-12) - 1e-15; }

/// Whether `edge_shock` of an edge with end lengths la and lb is certainly not
/// above the limit of `screen`. Its exact value is expm1 of the variation
/// |la - lb| / (la lb); the computed one errs in that exponent by a few units
/// of rounding times the variation, plus about 1e-16 / min(la, lb) from the
/// ratio la / lb, and the margins here hold both many times over. False when
/// it can't tell, also for every degenerate edge.
inline bool shock_surely_within(double la, double lb, double screen) noexcept {
    if (!well_inside(la) || !well_inside(lb)) return false;
    const double lo = la < lb ? la : lb;
    return variation_rate({la, lb, 0.0}) * (1 + 1e-12) + 1e-12 / lo < screen;
}

/// Whether `edge_shock` is above `threshold`, at least the limit of
/// `screen`, with q set to it when it is; the shock (its logarithm and power)
/// is computed only for an edge that `shock_surely_within` can't clear.
template <int N>
inline bool edge_shock_above(const double* pi, const double* pj, const double* mi, const double* mj, double screen,
                             double threshold, double& q) noexcept {
    const edge_ends e = tensor_ends<N>(pi, pj, mi, mj);
    if (shock_surely_within(e.la, e.lb, screen)) return false;
    q = edge_rate(with_tensor_length(e), same_tensor<N>(mi, mj), shock_rate);
    return q > threshold;
}

/// \overload With sizes at the two ends.
template <int N>
inline bool edge_shock_above(const double* pi, const double* pj, double hi, double hj, double screen, double threshold,
                             double& q) noexcept {
    const double len = euclidean_length<N>(pi, pj);
    if (shock_surely_within(len / hi, len / hj, screen)) return false;
    q = edge_rate(size_ends(len, hi, hj), hi == hj, shock_rate);
    return q > threshold;
}

/// Variation of an edge: the plain size difference along it per unit of
/// Euclidean length, |hj - hi| / |d|, with the degenerate cases of `edge_shock`.
template <int N>
inline double edge_variation(const double* pi, const double* pj, const double* mi, const double* mj) noexcept {
    const edge_ends e = tensor_ends<N>(pi, pj, mi, mj);
    if (well_inside(e.la) && well_inside(e.lb)) return variation_rate(e);
    return edge_rate(with_tensor_length(e), same_tensor<N>(mi, mj), variation_rate);
}

/// \overload With sizes at the two ends.
template <int N> inline double edge_variation(const double* pi, const double* pj, double hi, double hj) noexcept {
    const double len = euclidean_length<N>(pi, pj), la = len / hi, lb = len / hj;
    if (well_inside(la) && well_inside(lb)) return variation_rate({la, lb, 0.0});
    return edge_rate(size_ends(len, hi, hj), hi == hj, variation_rate);
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

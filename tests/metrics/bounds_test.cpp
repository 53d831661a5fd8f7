#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using namespace metric_testing;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

template <int N>
void sorted_eigenvalues(const tq5::symmetric_fixed<double, N>& M, double* w) {
    tq5::vector_fixed<double, N> D;
    tq5::matrix_fixed<double, N, N> Q;
    ASSERT_TRUE(cw::eigen_pairs(M, D, Q));
    for (int k = 0; k < N; ++k) w[k] = D[k];
}

TEST(BoundMetric, ArgumentCodesAndTheNoBoundShortcut) {
    tq5::symmetric_fixed<double, 2> M{{NaN, NaN, NaN}};
    EXPECT_EQ(cw::bound_metric(M, 0, DBL_MAX), 0);  // no bound: the tensor is not looked at
    EXPECT_TRUE(std::isnan(M[0]));
    EXPECT_EQ(cw::bound_metric(M, -1, DBL_MAX), 0);
    EXPECT_EQ(cw::bound_metric(M, INF, 1), -2);
    EXPECT_EQ(cw::bound_metric(M, NaN, 1), -2);
    EXPECT_EQ(cw::bound_metric(M, 1, INF), -3);
    tq5::symmetric_fixed<double, 3> M3{{1, 0, 1, 0, 0, 1}};
    EXPECT_EQ(cw::bound_metric(M3, 1, NaN), -3);
}

TEST(BoundMetric, TensorWithinBoundsKeepsItsBits) {
    std::mt19937 rng(3);
    for (int t = 0; t < 100; ++t) {
        tq5::symmetric_fixed<double, 2> A, A0;
        tq5::symmetric_fixed<double, 3> B, B0;
        random_metric<2>(rng, 0.2, 5, A.data());
        random_metric<3>(rng, 0.2, 5, B.data());
        A0 = A;
        B0 = B;
        EXPECT_EQ(cw::bound_metric(A, 0.1, 10), 0);
        EXPECT_EQ(cw::bound_metric(B, 0.1, 10), 0);
        EXPECT_EQ(std::memcmp(&A, &A0, sizeof A), 0);
        EXPECT_EQ(std::memcmp(&B, &B0, sizeof B), 0);
    }
}

// Eigenvalues l in a random basis, clamped with hmin = 0.01 (lmax 1e4) and
// hmax = 100 (lmin 1e-4): each eigenvalue is clamped on its own axis.
template <int N>
void clamps_each_eigenvalue() {
    std::mt19937 rng(11);
    const double l[3] = {1e-6, 0.5, 1e6}, want[3] = {1e-4, 0.5, 1e4};
    const double* ln = N == 2 ? l + 1 : l;
    const double* wn = N == 2 ? want + 1 : want;
    double q[N * N];
    random_rotation<N>(rng, q);
    tq5::symmetric_fixed<double, N> M;
    from_eigen<N>(ln, q, M.data());
    ASSERT_EQ(cw::bound_metric(M, 0.01, 100), 1);
    for (int k = 0; k < N; ++k)  // the axes are kept: M q_k = want_k q_k
        for (int i = 0; i < N; ++i) EXPECT_NEAR(times<N>(M.data(), q + k * N, i), wn[k] * q[k * N + i], 1e-12 * wn[N - 1]);
}

TEST(BoundMetric, ClampsEachEigenvalueOnItsAxis2D) { clamps_each_eigenvalue<2>(); }
TEST(BoundMetric, ClampsEachEigenvalueOnItsAxis3D) { clamps_each_eigenvalue<3>(); }

TEST(BoundMetric, NegativeEigenvalueIsRaisedToTheLowerBound) {
    tq5::symmetric_fixed<double, 2> A{{-1, 0, 4}};
    ASSERT_EQ(cw::bound_metric(A, 1, 10), 1);
    double w[3];
    sorted_eigenvalues<2>(A, w);
    EXPECT_NEAR(w[0], 0.01, 1e-15);
    EXPECT_NEAR(w[1], 1, 1e-15);
    tq5::symmetric_fixed<double, 3> B{{-1, 0, 0.5, 0, 0, 4}};
    ASSERT_EQ(cw::bound_metric(B, 1, 10), 1);
    sorted_eigenvalues<3>(B, w);
    EXPECT_NEAR(w[0], 0.01, 1e-15);
    EXPECT_NEAR(w[1], 0.5, 1e-15);
    EXPECT_NEAR(w[2], 1, 1e-15);
}

TEST(BoundMetric, UndecomposableTensorBecomesTheSmallestIsotropicSize) {
    tq5::symmetric_fixed<double, 2> A{{INF, 0, 1}};
    ASSERT_EQ(cw::bound_metric(A, 0.5, 10), 1);
    EXPECT_EQ(A[0], 4);
    EXPECT_EQ(A[1], 0);
    EXPECT_EQ(A[2], 4);
}

TEST(BoundMetrics, SizesClampWithHminWinningBelowIt) {
    tq5::dense1D<double> h;
    for (double x : {0.5, 2.0, 5.0, 20.0, NaN, 3.0}) h.push_back(x);
    tq5::dense1D<unsigned> changed;
    changed.push_back(77);
    ASSERT_EQ(cw::bound_metrics(h, 1, 10, changed), 3);
    const double want[] = {1, 2, 5, 10, 1, 3};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(h[i], want[i]);
    ASSERT_EQ(changed.size(), 3u);  // cleared first
    EXPECT_EQ(changed[0], 0u);
    EXPECT_EQ(changed[1], 3u);
    EXPECT_EQ(changed[2], 4u);

    // hmin 4 > hmax 2: below 4 becomes 4, at or above 4 becomes 2.
    for (double& x : h) x = 3;
    h[1] = 6;
    EXPECT_EQ(cw::bound_metrics(h, 4, 2), 6);
    EXPECT_EQ(h[0], 4);
    EXPECT_EQ(h[1], 2);

    EXPECT_EQ(cw::bound_metrics(h, INF, 2), -2);
    EXPECT_EQ(cw::bound_metrics(h, 0, DBL_MAX), 0);
    tq5::dense1D<double> none;
    EXPECT_EQ(cw::bound_metrics(none, INF, INF), 0);
}

TEST(BoundMetrics, TensorFieldAgreesWithOneTensorAtATime) {
    std::mt19937 rng(8);
    tq5::dense2D<double> m(6, 300);
    for (std::size_t c = 0; c < m.cols(); ++c) random_metric<3>(rng, 1e-3, 1e3, &m(0, c));
    tq5::dense2D<double> ref;
    ref.copy(m);
    tq5::dense1D<unsigned> changed;
    const int rc = cw::bound_metrics(m, 0.01, 100, changed);
    int expected = 0;
    for (std::size_t c = 0; c < m.cols(); ++c) {
        tq5::symmetric_fixed<double, 3> M;
        for (int r = 0; r < 6; ++r) M[r] = ref(r, c);
        const int one = cw::bound_metric(M, 0.01, 100);
        if (one == 1) {
            EXPECT_EQ(changed[expected++], c);
        }
        for (int r = 0; r < 6; ++r) EXPECT_EQ(m(r, c), M[r]);
    }
    EXPECT_EQ(rc, expected);
    EXPECT_GT(rc, 0);
}

TEST(BoundMetrics, TensorFieldCodes) {
    tq5::dense1D<unsigned> changed;
    changed.push_back(1);
    tq5::dense2D<double> m(4, 2, 1.0);
    EXPECT_EQ(cw::bound_metrics(m, 1, 2, changed), -1);
    EXPECT_EQ(changed.size(), 0u);  // cleared before any test
    EXPECT_EQ(cw::bound_metrics(m, 0, DBL_MAX), 0);  // no bound comes before the row test
    tq5::dense2D<double> m2(3, 2, 0.0);
    m2(0, 0) = m2(2, 0) = m2(0, 1) = m2(2, 1) = 1;  // two unit tensors
    EXPECT_EQ(cw::bound_metrics(m2, INF, 2), -2);
    EXPECT_EQ(cw::bound_metrics(m2, 1, INF), -3);
    EXPECT_EQ(cw::bound_metrics(m2, 0.5, 2), 0);  // unit tensors are within [0.5, 2]
    tq5::dense2D<double> empty;
    EXPECT_EQ(cw::bound_metrics(empty, INF, INF), 0);
}

TEST(BoundMetrics, FailedAppendDropsTheIndexFromTheCount) {
    tq5::dense1D<double> h(3, 100.0);
    tq5::dense1D<unsigned> changed;
    tq5::testing::fail_allocations_after(0);
    const int rc = cw::bound_metrics(h, 1, 10, changed);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(h[2], 10);  // the field is still clamped
}

}  // namespace

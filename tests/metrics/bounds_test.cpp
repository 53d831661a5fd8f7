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

// Eigenvalues chosen in a random basis, clamped with hmin = 0.01 (lmax 1e4)
// and hmax = 100 (lmin 1e-4): each on its own axis. A tensor within the
// bounds comes back bit for bit.
template <int N>
void clamps_each_eigenvalue() {
    std::mt19937 rng(11);
    const double l[3] = {1e-6, 0.5, 1e6}, want[3] = {1e-4, 0.5, 1e4};
    const double *ln = l + 3 - N, *wn = want + 3 - N;
    double q[N * N];
    random_rotation<N>(rng, q);
    tq5::symmetric_fixed<double, N> M, W;
    tensor_from_eigen<N>(ln, q, M.data());
    ASSERT_EQ(cw::bound_metric(M, 0.01, 100), 1);
    for (int k = 0; k < N; ++k)
        for (int i = 0; i < N; ++i) EXPECT_NEAR(times<N>(M.data(), q + k * N, i), wn[k] * q[k * N + i], 1e-12 * wn[N - 1]);
    tensor_from_eigen<N>(wn, q, W.data());
    M = W;
    EXPECT_EQ(cw::bound_metric(M, 0.009, 101), 0);
    EXPECT_EQ(std::memcmp(&M, &W, sizeof M), 0);
}

TEST(BoundMetric, ClampsEachEigenvalueOnItsAxis) {
    clamps_each_eigenvalue<2>();
    clamps_each_eigenvalue<3>();
}

TEST(BoundMetric, InvalidTensorsAreRepaired) {
    // Eigenvalue -1 becomes lmin = 0.01, 4 becomes lmax = 1, 0.5 stays.
    tq5::symmetric_fixed<double, 3> B{{-1, 0, 0.5, 0, 0, 4}};
    ASSERT_EQ(cw::bound_metric(B, 1, 10), 1);
    EXPECT_NEAR(B[0], 0.01, 1e-15);
    EXPECT_NEAR(B[2], 0.5, 1e-15);
    EXPECT_NEAR(B[5], 1, 1e-15);
    // Not decomposable: the isotropic tensor of hmin.
    tq5::symmetric_fixed<double, 2> A{{INF, 0, 1}};
    ASSERT_EQ(cw::bound_metric(A, 0.5, 10), 1);
    EXPECT_TRUE(A[0] == 4 && A[1] == 0 && A[2] == 4);
}

TEST(BoundMetrics, SizesClampWithHminWinningBelowIt) {
    auto h = values({0.5, 2.0, 20.0, NaN});
    auto changed = values({77u});
    ASSERT_EQ(cw::bound_metrics(h, 1, 10, changed), 3);
    EXPECT_TRUE(h[0] == 1 && h[1] == 2 && h[2] == 10 && h[3] == 1);
    ASSERT_EQ(changed.size(), 3u);  // cleared first
    EXPECT_TRUE(changed[0] == 0 && changed[1] == 2 && changed[2] == 3);
    // hmin 4 > hmax 2: below 4 becomes 4, at or above 4 becomes 2.
    h = 3.0;
    h[1] = 6;
    EXPECT_EQ(cw::bound_metrics(h, 4, 2), 4);
    EXPECT_TRUE(h[0] == 4 && h[1] == 2);
    EXPECT_EQ(cw::bound_metrics(h, INF, 2), -2);
    EXPECT_EQ(cw::bound_metrics(h, 1, INF), -3);
    EXPECT_EQ(cw::bound_metrics(h, 0, DBL_MAX), 0);
}

TEST(BoundMetrics, TensorFieldAgreesWithOneTensorAtATime) {
    std::mt19937 rng(8);
    tq5::dense2D<double> m(6, 300), ref;
    for (std::size_t c = 0; c < m.cols(); ++c) random_metric<3>(rng, 1e-3, 1e3, &m(0, c));
    ref.copy(m);
    tq5::dense1D<unsigned> changed;
    const int rc = cw::bound_metrics(m, 0.01, 100, changed);
    int expected = 0;
    for (std::size_t c = 0; c < m.cols(); ++c) {
        tq5::symmetric_fixed<double, 3> M;
        for (int r = 0; r < 6; ++r) M[r] = ref(r, c);
        if (cw::bound_metric(M, 0.01, 100) == 1) {
            EXPECT_EQ(changed[expected++], c);
        }
        for (int r = 0; r < 6; ++r) EXPECT_EQ(m(r, c), M[r]);
    }
    EXPECT_EQ(rc, expected);
    EXPECT_GT(rc, 0);
}

TEST(BoundMetrics, Codes) {
    tq5::symmetric_fixed<double, 2> M{{NaN, NaN, NaN}};
    EXPECT_EQ(cw::bound_metric(M, 0, DBL_MAX), 0);  // no bound: the tensor is not looked at
    EXPECT_TRUE(std::isnan(M[0]));
    EXPECT_EQ(cw::bound_metric(M, NaN, 1), -2);
    EXPECT_EQ(cw::bound_metric(M, 1, INF), -3);
    auto changed = values({1u});
    tq5::dense2D<double> m4(4, 2, 1.0), m3(3, 2, 0.0), empty;
    EXPECT_EQ(cw::bound_metrics(m4, 1, 2, changed), -1);
    EXPECT_EQ(changed.size(), 0u);                   // cleared before any test
    EXPECT_EQ(cw::bound_metrics(m4, 0, DBL_MAX), 0);  // no bound comes before the row test
    EXPECT_EQ(cw::bound_metrics(m3, INF, 2), -2);
    EXPECT_EQ(cw::bound_metrics(m3, 1, INF), -3);
    EXPECT_EQ(cw::bound_metrics(empty, INF, INF), 0);
    // A failed append drops the index from the result, not the clamp.
    tq5::dense1D<unsigned> fresh;
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::bound_metrics(m3, 1, 2, fresh), 0);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(m3(0, 0), 0.25);
}

}  // namespace

#include "test_support.hpp"

// The minimum is at least as fine as both inputs in every direction and the
// maximum at most as fine; M with itself gives M back.
template <int N> void dominates_both() {
    std::mt19937 rng(42);
    std::normal_distribution<double> g;
    for (int t = 0; t < 500; ++t) {
        tq5::symmetric_fixed<double, N> A, B, lo, hi, same;
        random_metric<N>(rng, 0.01, 1, A.data());
        random_metric<N>(rng, 0.01, 1, B.data());
        ASSERT_TRUE(cw::minimum_metric(A, B, lo));
        ASSERT_TRUE(cw::maximum_metric(A, B, hi));
        ASSERT_TRUE(cw::maximum_metric(A, A, same));
        for (int k = 0; k < 10; ++k) {
            double u[N];
            for (double& x : u) x = g(rng);
            const double a = form<N>(A.data(), u), b = form<N>(B.data(), u);
            EXPECT_GE(form<N>(lo.data(), u), std::max(a, b) * (1 - 1e-9));
            EXPECT_LE(form<N>(hi.data(), u), std::min(a, b) * (1 + 1e-9));
        }
        for (int i = 0; i < N * (N + 1) / 2; ++i) EXPECT_NEAR(same[i], A[i], 1e-10 * A[0]);
    }
}

TEST(MinMaxMetric, DominatesBothInputs) {
    dominates_both<2>();
    dominates_both<3>();
}

TEST(MinMaxMetric, AxisAlignedCaseInPlaceAndFailures) {
    // Size 0.1 along x and 1 along y against 0.5 everywhere, written over the first.
    tq5::symmetric_fixed<double, 2> a{{100, 0, 1}}, b{{4, 0, 4}}, c = a;
    ASSERT_TRUE(cw::maximum_metric(a, b, a));
    ASSERT_TRUE(cw::minimum_metric(c, b, c));
    const double want[2][3] = {{4, 0, 1}, {100, 0, 4}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(a[i], want[0][i], 1e-12);
        EXPECT_NEAR(c[i], want[1][i], 1e-12);
    }
    // A singular M1 can't be reduced: false, and M = M1.
    const tq5::symmetric_fixed<double, 2> singular{{1, 1, 1}};
    tq5::symmetric_fixed<double, 2> out{{7, 7, 7}};
    EXPECT_FALSE(cw::maximum_metric(singular, b, out));
    EXPECT_EQ(std::memcmp(&out, &singular, sizeof out), 0);
    // Eigenvalues 1 and 1e-30: the lowest is not above 1e-24 times the highest.
    const tq5::symmetric_fixed<double, 3> unit{{1, 0, 1, 0, 0, 1}}, flat{{1, 0, 1, 0, 0, 1e-30}};
    tq5::symmetric_fixed<double, 3> out3;
    EXPECT_FALSE(cw::maximum_metric(unit, flat, out3));
    EXPECT_EQ(std::memcmp(&out3, &unit, sizeof out3), 0);
}

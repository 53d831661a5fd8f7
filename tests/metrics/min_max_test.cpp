#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using namespace metric_testing;

// The minimum is at least as fine as both inputs in every direction and the
// maximum at most as fine; M with itself gives M back.
template <int N>
void dominates_both() {
    std::mt19937 rng(42);
    std::normal_distribution<double> g;
    for (int t = 0; t < 500; ++t) {
        tq5::symmetric_fixed<double, N> A, B, lo, hi, same;
        random_metric<N>(rng, 0.01, 1, A.data());
        random_metric<N>(rng, 0.01, 1, B.data());
        ASSERT_TRUE(cw::minimum_metric(A, B, lo) && cw::maximum_metric(A, B, hi) && cw::maximum_metric(A, A, same));
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

TEST(MinMaxMetric, IsotropicAndAxisAlignedCases) {
    tq5::symmetric_fixed<double, 3> fine{{4, 0, 4, 0, 0, 4}}, coarse{{1, 0, 1, 0, 0, 1}}, out;
    ASSERT_TRUE(cw::maximum_metric(fine, coarse, out));
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(out[i], coarse[i], 1e-15);
    ASSERT_TRUE(cw::minimum_metric(fine, coarse, out));
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(out[i], fine[i], 1e-15);
    // Size 0.1 along x and 1 along y against 0.5 everywhere, in place.
    tq5::symmetric_fixed<double, 2> a{{100, 0, 1}}, b{{4, 0, 4}};
    ASSERT_TRUE(cw::maximum_metric(a, b, a));
    EXPECT_NEAR(a[0], 4, 1e-12);
    EXPECT_NEAR(a[1], 0, 1e-12);
    EXPECT_NEAR(a[2], 1, 1e-12);
}

TEST(MinMaxMetric, FailureFallsBackOnTheFirst) {
    // A singular M1 can't be reduced.
    const tq5::symmetric_fixed<double, 2> singular{{1, 1, 1}}, unit{{1, 0, 1}};
    tq5::symmetric_fixed<double, 2> out{{7, 7, 7}};
    EXPECT_FALSE(cw::maximum_metric(singular, unit, out));
    EXPECT_TRUE(out[0] == 1 && out[1] == 1 && out[2] == 1);
    // Eigenvalues 1 and 1e-30: the lowest is not above 1e-24 times the highest.
    const tq5::symmetric_fixed<double, 3> a{{1, 0, 1, 0, 0, 1}}, b{{1, 0, 1, 0, 0, 1e-30}};
    tq5::symmetric_fixed<double, 3> out3;
    EXPECT_FALSE(cw::maximum_metric(a, b, out3));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out3[i], a[i]);
}

}  // namespace

#include <gtest/gtest.h>

#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using namespace metric_testing;

template <int N>
double form(const tq5::symmetric_fixed<double, N>& M, const double* u) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += u[i] * times<N>(M.data(), u, i);
    return s;
}

// The minimum is at least as fine as both inputs in every direction, the
// maximum at most as fine; M with itself gives M back.
template <int N>
void dominates_both() {
    std::mt19937 rng(42);
    std::normal_distribution<double> g;
    for (int t = 0; t < 500; ++t) {
        tq5::symmetric_fixed<double, N> A, B, lo, hi, same;
        random_metric<N>(rng, 0.01, 1, A.data());
        random_metric<N>(rng, 0.01, 1, B.data());
        ASSERT_TRUE(cw::minimum_metric(A, B, lo));
        ASSERT_TRUE(cw::maximum_metric(A, B, hi));
        for (int d = 0; d < 10; ++d) {
            double u[N];
            for (double& x : u) x = g(rng);
            const double a = form<N>(A, u), b = form<N>(B, u);
            EXPECT_GE(form<N>(lo, u), std::max(a, b) * (1 - 1e-9));
            EXPECT_LE(form<N>(hi, u), std::min(a, b) * (1 + 1e-9));
        }
        ASSERT_TRUE(cw::maximum_metric(A, A, same));
        for (int i = 0; i < N * (N + 1) / 2; ++i) EXPECT_NEAR(same[i], A[i], 1e-10 * std::fabs(A[0]));
    }
}

TEST(MinMaxMetric, Bounds2D) { dominates_both<2>(); }
TEST(MinMaxMetric, Bounds3D) { dominates_both<3>(); }

TEST(MinMaxMetric, IsotropicTensorsGiveTheLargerOrSmallerSize) {
    tq5::symmetric_fixed<double, 3> fine{{4, 0, 4, 0, 0, 4}}, coarse{{1, 0, 1, 0, 0, 1}}, out;
    ASSERT_TRUE(cw::maximum_metric(fine, coarse, out));
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(out[i], coarse[i], 1e-15);
    ASSERT_TRUE(cw::minimum_metric(fine, coarse, out));
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(out[i], fine[i], 1e-15);
}

TEST(MinMaxMetric, AnisotropicAxesCombineOneByOne) {
    tq5::symmetric_fixed<double, 2> fine{{100, 0, 1}}, coarse{{4, 0, 4}}, out;
    ASSERT_TRUE(cw::minimum_metric(fine, coarse, out));
    EXPECT_NEAR(out[0], 100, 1e-12);
    EXPECT_NEAR(out[1], 0, 1e-12);
    EXPECT_NEAR(out[2], 4, 1e-12);
    // The output may be an input.
    ASSERT_TRUE(cw::maximum_metric(fine, coarse, fine));
    EXPECT_NEAR(fine[0], 4, 1e-12);
    EXPECT_NEAR(fine[2], 1, 1e-12);
}

TEST(MinMaxMetric, UnreducibleOrDegeneratePairFallsBackOnTheFirst) {
    const tq5::symmetric_fixed<double, 2> singular{{1, 1, 1}}, unit{{1, 0, 1}};
    tq5::symmetric_fixed<double, 2> out{{7, 7, 7}};
    EXPECT_FALSE(cw::maximum_metric(singular, unit, out));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(out[i], singular[i]);
    // Eigenvalues 1 and 1e-30 in the result: lower than 1e-24 times the higher.
    const tq5::symmetric_fixed<double, 3> a{{1, 0, 1, 0, 0, 1}}, b{{1, 0, 1, 0, 0, 1e-30}};
    tq5::symmetric_fixed<double, 3> out3;
    EXPECT_FALSE(cw::maximum_metric(a, b, out3));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out3[i], a[i]);
}

}  // namespace

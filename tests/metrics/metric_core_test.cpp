// The internal measuring core that the gradation control builds on.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "metric_testing.hpp"
#include "metrics/detail/metric_core.hpp"

namespace {

namespace d = tq5::cellworks::detail;
using namespace metric_testing;

TEST(InverseLogMean, EqualValuesSeriesJoinAndZero) {
    EXPECT_EQ(d::inverse_log_mean(3, 3), 1.0 / 3);
    EXPECT_EQ(d::inverse_log_mean(0, 1), 0);
    EXPECT_EQ(d::inverse_log_mean(1, -1), 0);
    // Just below and at r = 0.999 the two branches agree to the truncation
    // of the series, about x^5 / 6.
    const double below = d::inverse_log_mean(0.998999999, 1), at = d::inverse_log_mean(0.999, 1);
    EXPECT_NEAR(below, at, 1e-9);
    EXPECT_NEAR(at, std::log(0.999) / (0.999 - 1), 1e-15);
    EXPECT_EQ(d::inverse_log_mean(2, 5), d::inverse_log_mean(5, 2));
}

// Midpoint rule for the integral of 1/h(s) along the edge with h linear.
double integral_of_inverse_size(double len, double h0, double h1) {
    const int n = 200000;
    double s = 0;
    for (int k = 0; k < n; ++k) s += 1 / (h0 + (h1 - h0) * (k + 0.5) / n);
    return s * len / n;
}

TEST(MetricEdgeLength, IsTheIntegralOfTheInverseLinearSize) {
    const double p[3] = {0, 0, 0}, q[3] = {1, 2, 2};  // |d| = 3 in 3D, sqrt(5) in 2D
    for (auto h : {std::pair<double, double>{0.1, 0.5}, {2, 2}, {1, 1.0005}, {0.01, 3}}) {
        const double want3 = integral_of_inverse_size(3, h.first, h.second);
        EXPECT_NEAR(d::metric_edge_length<3>(p, q, h.first, h.second), want3, 1e-6 * want3);
        const double want2 = integral_of_inverse_size(std::sqrt(5.0), h.first, h.second);
        EXPECT_NEAR(d::metric_edge_length<2>(p, q, h.first, h.second), want2, 1e-6 * want2);
        // The isotropic tensors of the same sizes measure the same.
        double mi[6], mj[6];
        d::isotropic_metric<3>(h.first, mi);
        d::isotropic_metric<3>(h.second, mj);
        EXPECT_NEAR(d::metric_edge_length<3>(p, q, mi, mj), want3, 1e-6 * want3);
    }
    double zero[3] = {0, 0, 0}, unit[3] = {1, 0, 1};
    EXPECT_EQ(d::metric_edge_length<2>(p, q, zero, unit), 0);
    EXPECT_EQ(d::metric_edge_length<2>(p, q, 0.0, 1.0), 0);
}

TEST(EdgeShockAndVariation, LinearSizeGivesExpAndSlope) {
    const double p[2] = {0, 0}, q[2] = {3, 4};  // length 5
    const double hi = 1, hj = 3;
    EXPECT_NEAR(d::edge_shock<2>(p, q, hi, hj), std::exp(2.0 / 5) - 1, 1e-12);
    EXPECT_NEAR(d::edge_shock<2>(q, p, hj, hi), std::exp(2.0 / 5) - 1, 1e-12);
    EXPECT_NEAR(d::edge_variation<2>(p, q, hi, hj), 2.0 / 5, 1e-12);
    double mi[3], mj[3];
    d::isotropic_metric<2>(hi, mi);
    d::isotropic_metric<2>(hj, mj);
    EXPECT_NEAR(d::edge_shock<2>(p, q, mi, mj), std::exp(2.0 / 5) - 1, 1e-12);
    EXPECT_NEAR(d::edge_variation<2>(p, q, mi, mj), 2.0 / 5, 1e-12);
    EXPECT_EQ(d::edge_shock<2>(p, q, mi, mi), 0);
    EXPECT_EQ(d::edge_shock<2>(p, q, 2.0, 2.0), 0);
    // Coincident nodes: 0 between equal metrics, DBL_MAX otherwise.
    EXPECT_EQ(d::edge_shock<2>(p, p, mi, mi), 0);
    EXPECT_EQ(d::edge_shock<2>(p, p, mi, mj), DBL_MAX);
    EXPECT_EQ(d::edge_variation<2>(p, p, hi, hj), DBL_MAX);
    EXPECT_EQ(d::edge_shock<2>(p, p, hi, hi), 0);
}

TEST(InterpolateMetric, LinearInTheSize) {
    double m1[3], m2[3], m[3];
    d::isotropic_metric<2>(1, m1);
    d::isotropic_metric<2>(3, m2);
    ASSERT_TRUE(d::interpolate_metric<2>(0.5, m1, m2, m));
    EXPECT_NEAR(m[0], 0.25, 1e-15);
    EXPECT_NEAR(m[1], 0, 1e-15);
    EXPECT_NEAR(m[2], 0.25, 1e-15);
    double a[6], b[6], c[6];
    d::isotropic_metric<3>(1, a);
    d::isotropic_metric<3>(3, b);
    ASSERT_TRUE(d::interpolate_metric<3>(0.25, a, b, c));
    EXPECT_NEAR(c[5], 1 / 2.25, 1e-15);
    // The ends are exact copies, also in place.
    ASSERT_TRUE(d::interpolate_metric<3>(1e-13, a, b, a));
    EXPECT_EQ(a[0], 1);
    ASSERT_TRUE(d::interpolate_metric<3>(1 - 1e-13, a, b, a));
    EXPECT_EQ(a[0], 1.0 / 9);
    // A pair that can't be reduced leaves the output.
    const double singular[3] = {1, 1, 1};
    m[0] = 7;
    EXPECT_FALSE(d::interpolate_metric<2>(0.5, singular, m2, m));
    EXPECT_EQ(m[0], 7);
}

template <int N>
void reduction_rebuilds_both() {
    std::mt19937 rng(17);
    for (int t = 0; t < 300; ++t) {
        double m1[d::packed<N>], m2[d::packed<N>], r1[d::packed<N>], r2[d::packed<N>];
        random_metric<N>(rng, 0.1, 10, m1);
        random_metric<N>(rng, 0.1, 10, m2);
        d::metric_pair<N> pair{};
        ASSERT_TRUE(d::reduce_metric_pair<N>(m1, m2, pair));
        d::rebuild_metric<N>(pair.first, pair.inverse, r1);
        d::rebuild_metric<N>(pair.second, pair.inverse, r2);
        for (int i = 0; i < d::packed<N>; ++i) {
            EXPECT_NEAR(r1[i], m1[i], 1e-10 * 100);
            EXPECT_NEAR(r2[i], m2[i], 1e-10 * 100);
        }
    }
}

TEST(ReduceMetricPair, RebuildsBothTensors2D) { reduction_rebuilds_both<2>(); }
TEST(ReduceMetricPair, RebuildsBothTensors3D) { reduction_rebuilds_both<3>(); }

TEST(ReduceMetricPair, FailureZeroesThePair) {
    const double bad[6] = {0, 0, 0, 0, 0, -1}, unit[6] = {1, 0, 1, 0, 0, 1};
    d::metric_pair<3> pair;
    for (double& x : pair.first) x = 5;
    EXPECT_FALSE(d::reduce_metric_pair<3>(bad, unit, pair));
    EXPECT_EQ(pair.first[0], 0);
    EXPECT_EQ(pair.inverse[4], 0);
    EXPECT_FALSE(d::metric_pair_is_valid(pair));
}

TEST(Cholesky3x3, FactorsDefiniteAndEmptyRowTensors) {
    std::mt19937 rng(23);
    for (int t = 0; t < 100; ++t) {
        double m[6], l[6];
        random_metric<3>(rng, 0.1, 10, m);
        std::copy(m, m + 6, l);
        ASSERT_TRUE(d::cholesky_3x3(l));
        // l00, l10, l11, l20, l21, l22 in the packed places: check L LT = M.
        const double L[3][3] = {{l[0], 0, 0}, {l[1], l[2], 0}, {l[3], l[4], l[5]}};
        for (int i = 0; i < 3; ++i)
            for (int j = i; j < 3; ++j) {
                double s = 0;
                for (int k = 0; k < 3; ++k) s += L[i][k] * L[j][k];
                EXPECT_NEAR(s, entry(m, i, j), 1e-12 * 100);
            }
    }
    double empty_first[6] = {0, 0, 4, 0, 2, 5};  // rows 1, 2: ((4, 2), (2, 5))
    ASSERT_TRUE(d::cholesky_3x3(empty_first));
    EXPECT_EQ(empty_first[2], 2);
    EXPECT_EQ(empty_first[4], 1);
    EXPECT_EQ(empty_first[5], 2);
    double empty_second[6] = {4, 0, 0, 2, 0, 1};  // ((4, 2), (2, 1)): last pivot 0
    ASSERT_TRUE(d::cholesky_3x3(empty_second));
    EXPECT_EQ(empty_second[5], 0);
    double indefinite[6] = {1, 2, 1, 0, 0, 1};
    EXPECT_FALSE(d::cholesky_3x3(indefinite));
    double negative_last[6] = {0, 0, 0, 0, 0, -1};
    EXPECT_FALSE(d::cholesky_3x3(negative_last));
}

}  // namespace

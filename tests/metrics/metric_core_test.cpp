// The internal measuring core that the gradation control builds on.

#include "metrics/detail/metric_core.hpp"
#include "test_support.hpp"

namespace d = tq5::cellworks::detail;

// Midpoint rule for the integral of 1/h along an edge of length len, h linear.
static double integral_of_inverse_size(double len, double h0, double h1) {
    const int n = 200000;
    double s = 0;
    for (int k = 0; k < n; ++k) s += 1 / (h0 + (h1 - h0) * (k + 0.5) / n);
    return s * len / n;
}

// Sizes 1 and 1.0005 take the series branch of the logarithmic mean; either
// side of r = 0.999 its branches agree to the series' truncation.
TEST(MetricEdgeLength, IsTheIntegralOfTheInverseLinearSize) {
    const double p[3] = {0, 0, 0}, q[3] = {1, 2, 2}, zero[3] = {0, 0, 0};  // length 3 in 3D, sqrt(5) in 2D
    for (auto h : {std::pair<double, double>{0.1, 0.5}, {2, 2}, {1, 1.0005}, {0.01, 3}}) {
        const double want3 = integral_of_inverse_size(3, h.first, h.second);
        const double want2 = integral_of_inverse_size(std::sqrt(5.0), h.first, h.second);
        double mi[6], mj[6];
        d::isotropic_metric<3>(h.first, mi);
        d::isotropic_metric<3>(h.second, mj);
        EXPECT_NEAR(d::metric_edge_length<3>(p, q, h.first, h.second), want3, 1e-6 * want3);
        EXPECT_NEAR(d::metric_edge_length<2>(p, q, h.first, h.second), want2, 1e-6 * want2);
        EXPECT_NEAR(d::metric_edge_length<3>(p, q, mi, mj), want3, 1e-6 * want3);
    }
    EXPECT_EQ(d::metric_edge_length<2>(p, q, zero, zero), 0);
    EXPECT_NEAR(d::inverse_log_mean(0.998999999, 1), d::inverse_log_mean(0.999, 1), 1e-9);
    EXPECT_NEAR(d::inverse_log_mean(1, 0.999), std::log(0.999) / (0.999 - 1), 1e-15);  // exact to rounding
    EXPECT_EQ(d::inverse_log_mean(0, 1), 0);
}

// The variation is the slope of the size, DBL_MAX between coincident nodes of other sizes.
TEST(EdgeVariation, IsTheSlopeOfTheSize) {
    const double p[3] = {0, 0, 0}, q[3] = {3, 4, 0};
    double m1[6], m3[6];
    d::isotropic_metric<3>(1, m1);
    d::isotropic_metric<3>(3, m3);
    EXPECT_NEAR(d::edge_variation<3>(p, q, 1.0, 3.0), 2.0 / 5, 1e-12);  // sizes 1 and 3, length 5
    EXPECT_NEAR(d::edge_variation<3>(q, p, m3, m1), 2.0 / 5, 1e-12);
    EXPECT_EQ(d::edge_variation<3>(p, p, 1.0, 3.0), DBL_MAX);
    EXPECT_EQ(d::edge_variation<3>(p, p, m1, m3), DBL_MAX);
}

// Edges whose slope lies within a relative 1e-6 of the limit's, and edges much
// shorter than their sizes, where the computed shock errs most.
TEST(EdgeShock, ScreenNeverClearsAnEdgeAboveTheLimit) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-1, 1);
    const double p[3] = {0, 0, 0};
    int screened = 0;
    for (double limit : {1e-6, 0.1, 1.0, 30.0})
        for (int n = 0; n < 4000; ++n) {
            const double len = std::exp(20 * u(rng)), hi = std::exp(10 * u(rng));
            const double v = std::log1p(limit) * (1 + 1e-6 * u(rng)) * (n % 2 ? 1 : std::exp(-4 * (u(rng) + 1)));
            const double hj = n % 3 ? hi + v * len : hi - v * len, e[3] = {len * 0.6, len * 0.8, 0};
            const double threshold = limit * 1.000000000001;
            double q = -1, mi[6], mj[6];
            d::isotropic_metric<3>(hi, mi);
            d::isotropic_metric<3>(hj, mj);
            const double exact = d::edge_shock<3>(p, e, hi, hj), texact = d::edge_shock<3>(p, e, mi, mj);
            const bool above = d::edge_shock_above<3>(p, e, hi, hj, d::shock_screen(limit), threshold, q);
            ASSERT_EQ(above, exact > threshold) << limit << " " << len << " " << hi << " " << hj;
            ASSERT_EQ(above ? q : exact, exact);  // above: q holds the shock
            screened += q == -1;
            q = -1;
            ASSERT_EQ(d::edge_shock_above<3>(p, e, mi, mj, d::shock_screen(limit), threshold, q), texact > threshold);
        }
    EXPECT_GT(screened, 4000);  // most edges below the limit are cleared without the shock
}

TEST(InterpolateMetric, LinearInTheSize) {
    double a[6], b[6], m[6], start[6];
    d::isotropic_metric<3>(1, a);
    d::isotropic_metric<3>(3, b);
    ASSERT_TRUE(d::interpolate_metric<3>(0.5, a, b, m));  // size 2
    EXPECT_NEAR(m[0], 0.25, 1e-15);
    EXPECT_NEAR(m[5], 0.25, 1e-15);
    ASSERT_TRUE(d::interpolate_metric<2>(0.25, a, b, m));  // size 1.5
    EXPECT_NEAR(m[2], 1 / 2.25, 1e-15);
    // The ends are exact copies, also in place.
    ASSERT_TRUE(d::interpolate_metric<3>(1e-13, a, b, start));
    EXPECT_EQ(start[0], 1.0);
    ASSERT_TRUE(d::interpolate_metric<3>(1 - 1e-13, a, b, a));
    EXPECT_EQ(a[0], 1.0 / 9);
    // A pair that can't be reduced leaves the output.
    const double singular[3] = {1, 1, 1};
    EXPECT_FALSE(d::interpolate_metric<2>(0.5, singular, b, m));
    EXPECT_NEAR(m[2], 1 / 2.25, 1e-15);
}

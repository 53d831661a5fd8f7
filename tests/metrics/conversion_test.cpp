#include <gtest/gtest.h>

#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;

TEST(MetricIsoToAniso, DiagonalOfInverseSquareOrZero) {
    tq5::symmetric_fixed<double, 3> M;
    cw::metric_iso_to_aniso(0.5, M);
    const double want[6] = {4, 0, 4, 0, 0, 4};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(M[i], want[i]);
    tq5::symmetric_fixed<double, 2> M2{{1, 1, 1}};
    cw::metric_iso_to_aniso(-1, M2);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(M2[i], 0);
}

TEST(MetricIsoToAniso2d, ScaledGramMatrixOfTheBasis) {
    const tq5::matrix_fixed<double, 3, 2> B{{1, 0, 0, 1, 2, 0}};  // b0 = x, b1 = x + 2y
    tq5::symmetric_fixed<double, 2> M;
    cw::metric_iso_to_aniso2d(0.5, B, M);
    EXPECT_EQ(M[0], 4);
    EXPECT_EQ(M[1], 4);
    EXPECT_EQ(M[2], 20);
    for (double h : {0.0, 1e200}) {  // h <= 0, or 1/(h*h) underflowing to 0
        cw::metric_iso_to_aniso2d(h, B, M);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(M[i], 0);
    }
}

TEST(MetricAniso3dToAniso2d, MeasuresTangentVectorsAsTheSolidMetric) {
    std::mt19937 rng(9);
    std::normal_distribution<double> g;
    for (int t = 0; t < 100; ++t) {
        tq5::symmetric_fixed<double, 3> M3;
        metric_testing::random_metric<3>(rng, 0.1, 10, M3.data());
        tq5::matrix_fixed<double, 3, 2> B;
        for (double& x : B.v) x = g(rng);
        tq5::symmetric_fixed<double, 2> M;
        cw::metric_aniso3d_to_aniso2d(M3, B, M);
        const double u[2] = {g(rng), g(rng)};
        const double v[3] = {B(0, 0) * u[0] + B(0, 1) * u[1], B(1, 0) * u[0] + B(1, 1) * u[1],
                             B(2, 0) * u[0] + B(2, 1) * u[1]};
        double f3 = 0, f2 = 0;
        for (int i = 0; i < 3; ++i) f3 += v[i] * metric_testing::times<3>(M3.data(), v, i);
        for (int i = 0; i < 2; ++i) f2 += u[i] * metric_testing::times<2>(M.data(), u, i);
        EXPECT_NEAR(f2, f3, 1e-10 * f3);
    }
}

TEST(MetricsIsoToAniso, WritesTheFirstColumnsWithAPositiveSize) {
    tq5::dense1D<double> h;
    for (double x : {0.5, 0.0, 1.0}) h.push_back(x);
    tq5::dense2D<double> m(6, 4, -7.0);
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(h, m), 0);
    EXPECT_EQ(m(0, 0), 4);
    EXPECT_EQ(m(1, 0), 0);
    EXPECT_EQ(m(5, 2), 1);
    EXPECT_EQ(m(0, 1), -7);  // size 0: left as it was
    EXPECT_EQ(m(0, 3), -7);  // beyond the sizes
    tq5::dense2D<double> m2(3, 3, -7.0);
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, m2), 0);
    EXPECT_EQ(m2(2, 0), 4);
    EXPECT_EQ(m2(0, 1), -7);

    tq5::dense2D<double> narrow(6, 2), wrong(3, 3), empty;
    EXPECT_EQ(cw::metrics_iso_to_aniso3d(h, narrow), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso3d(h, wrong), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, narrow), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(tq5::dense1D<double>(), empty), 0);
}

TEST(MetricsIsoToAniso2d, TangentFormWritesEveryColumnAndChecksShapes) {
    tq5::dense1D<double> h;
    h.push_back(1.0);
    h.push_back(-1.0);
    tq5::dense2D<double> B(6, 2, 0.0);
    B(0, 0) = B(4, 0) = B(0, 1) = B(4, 1) = 1;  // x and y
    tq5::dense2D<double> m(3, 2, -7.0);
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, B, m), 0);
    EXPECT_EQ(m(0, 0), 1);
    EXPECT_EQ(m(2, 0), 1);
    EXPECT_EQ(m(0, 1), 0);  // h <= 0: zeros, not left as it was
    tq5::dense2D<double> B3(6, 3), B5(5, 2), m1(3, 1), empty;
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, B3, m), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, B5, m), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, B, m1), -3);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(tq5::dense1D<double>(), empty, empty), 0);
}

TEST(MetricsAniso3dToAniso2d, Codes) {
    tq5::dense2D<double> m3(6, 2, 0.0), B(6, 2, 0.0), m(3, 2), empty;
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m3, B, m), 0);
    tq5::dense2D<double> m5(5, 2), B1(6, 1), m1(3, 1);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m5, B, m), -1);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m3, B1, m), -2);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m3, B, m1), -3);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(empty, empty, m1), 0);
}

}  // namespace

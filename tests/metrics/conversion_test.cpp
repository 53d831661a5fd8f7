#include <gtest/gtest.h>

#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using namespace metric_testing;

TEST(MetricConversion, OneTensor) {
    tq5::symmetric_fixed<double, 3> M3;
    cw::metric_iso_to_aniso(0.5, M3);
    EXPECT_TRUE(M3[0] == 4 && M3[1] == 0 && M3[2] == 4 && M3[3] == 0 && M3[4] == 0 && M3[5] == 4);
    tq5::symmetric_fixed<double, 2> M{{1, 1, 1}};
    cw::metric_iso_to_aniso(-1, M);
    EXPECT_TRUE(M[0] == 0 && M[2] == 0);
    const tq5::matrix_fixed<double, 3, 2> B{{1, 0, 0, 1, 2, 0}};  // x and x + 2y: 4 BT B
    cw::metric_iso_to_aniso2d(0.5, B, M);
    EXPECT_TRUE(M[0] == 4 && M[1] == 4 && M[2] == 20);
    cw::metric_iso_to_aniso2d(1e200, B, M);  // 1/(h*h) underflows: zero
    EXPECT_TRUE(M[0] == 0 && M[1] == 0 && M[2] == 0);
    // BT M3 B measures tangent coordinates u as M3 measures B u.
    std::mt19937 rng(9);
    std::normal_distribution<double> g;
    tq5::matrix_fixed<double, 3, 2> R;
    for (double& x : R.v) x = g(rng);
    random_metric<3>(rng, 0.1, 10, M3.data());
    cw::metric_aniso3d_to_aniso2d(M3, R, M);
    const double u[2] = {0.3, -0.7}, v[3] = {R(0, 0) * u[0] + R(0, 1) * u[1], R(1, 0) * u[0] + R(1, 1) * u[1],
                                            R(2, 0) * u[0] + R(2, 1) * u[1]};
    EXPECT_NEAR(form<2>(M.data(), u), form<3>(M3.data(), v), 1e-12 * form<3>(M3.data(), v));
}

TEST(MetricConversion, FieldsWriteTheirFirstColumns) {
    const auto h = values({0.5, 0.0});
    tq5::dense2D<double> m(6, 3, -7.0), m2(3, 2, -7.0), B(6, 2, 0.0), t(3, 2, -7.0);
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(h, m), 0);
    EXPECT_TRUE(m(0, 0) == 4 && m(1, 0) == 0 && m(5, 0) == 4);
    EXPECT_TRUE(m(0, 1) == -7 && m(0, 2) == -7);  // size 0 left as it was; beyond h untouched
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, m2), 0);
    EXPECT_TRUE(m2(2, 0) == 4 && m2(0, 1) == -7);
    B(0, 0) = B(4, 0) = B(0, 1) = B(4, 1) = 1;  // bases x, y
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, B, t), 0);
    EXPECT_TRUE(t(0, 0) == 4 && t(2, 0) == 4 && t(0, 1) == 0);  // with bases, size 0 writes zeros
    ASSERT_EQ(cw::metrics_aniso3d_to_aniso2d(m.sub_matrix(0, 0, 6, 2), B, t), 0);
    EXPECT_TRUE(t(0, 0) == 4 && t(1, 0) == 0 && t(2, 0) == 4 && t(0, 1) == -7);
}

TEST(MetricConversion, FieldCodes) {
    const auto h = values({1.0, 1.0});
    tq5::dense2D<double> e, m6(6, 2), m3(3, 2), m5(5, 2), m31(3, 1), B(6, 2), B1(6, 1);
    EXPECT_EQ(cw::metrics_iso_to_aniso3d(h, m3), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, m31), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(tq5::dense1D<double>(), e), 0);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, B1, m3), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, m5, m3), -2);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(h, B, m31), -3);
    EXPECT_EQ(cw::metrics_iso_to_aniso2d(tq5::dense1D<double>(), e, e), 0);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m5, B, m3), -1);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m6, B1, m3), -2);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(m6, B, m31), -3);
    EXPECT_EQ(cw::metrics_aniso3d_to_aniso2d(e, e, m31), 0);
}

}  // namespace

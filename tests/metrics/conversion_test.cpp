#include "test_support.hpp"

TEST(MetricConversion, OneTensor) {
    tq5::symmetric_fixed<double, 2> M{{1, 1, 1}};
    const auto packed = [&] { return doubles{M[0], M[1], M[2]}; };
    cw::metric_iso_to_aniso(-1, M);
    EXPECT_EQ(packed(), (doubles{0, 0, 0}));
    const tq5::matrix_fixed<double, 3, 2> B{{1, 0, 0, 1, 2, 0}};  // x and x + 2y: 4 BT B
    cw::metric_iso_to_aniso2d(0.5, B, M);
    EXPECT_EQ(packed(), (doubles{4, 4, 20}));
    cw::metric_iso_to_aniso2d(1e200, B, M);  // 1/(h*h) underflows: zero
    EXPECT_EQ(packed(), (doubles{0, 0, 0}));
    // BT M3 B with M3 = ((1, 2, 4), (2, 3, 5), (4, 5, 6)) and the basis (1, 0, 1), (0, 1, 1).
    cw::metric_aniso3d_to_aniso2d(tq5::symmetric_fixed<double, 3>{{1, 2, 3, 4, 5, 6}}, {{1, 0, 1, 0, 1, 1}}, M);
    EXPECT_EQ(packed(), (doubles{15, 17, 19}));
}

TEST(MetricConversion, FieldsWriteTheirFirstColumns) {
    const auto h = vec<double>({0.5, 0});
    const auto B = columns<double>(6, {1, 0, 0, 0, 1, 0, 1, 0, 0, 0, 1, 0});  // bases x, y
    tq5::dense2D<double> m(6, 3, -7.0), m2(3, 2, -7.0), t(3, 2, -7.0);
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(h, m), 0);  // size 0 left as it was; beyond h untouched
    EXPECT_EQ(values(m), (doubles{4, 0, 4, 0, 0, 4, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7, -7}));
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, m2), 0);
    EXPECT_EQ(values(m2), (doubles{4, 0, 4, -7, -7, -7}));
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(h, B, t), 0);
    EXPECT_EQ(values(t), (doubles{4, 0, 4, 0, 0, 0}));  // with bases, size 0 writes zeros
    ASSERT_EQ(cw::metrics_aniso3d_to_aniso2d(m.sub_matrix(0, 0, 6, 2), B, t), 0);
    EXPECT_EQ(values(t), (doubles{4, 0, 4, -7, -7, -7}));

    tq5::dense2D<double> e, m6(6, 2), m3(3, 2), m5(5, 2), m31(3, 1), B2(6, 2), B1(6, 1), B3(6, 3);
    const auto ones = vec<double>({1, 1});
    expect_codes({
        {cw::metrics_iso_to_aniso3d(ones, m3), -2},
        {cw::metrics_iso_to_aniso2d(ones, m31), -2},
        {cw::metrics_iso_to_aniso2d(vec<double>({}), e), 0},
        {cw::metrics_iso_to_aniso2d(ones, B1, m3), -2},
        {cw::metrics_iso_to_aniso2d(ones, B3, m3), -2},  // the bases must be exactly one per size
        {cw::metrics_iso_to_aniso2d(ones, m5, m3), -2},
        {cw::metrics_iso_to_aniso2d(ones, B2, m31), -3},
        {cw::metrics_iso_to_aniso2d(vec<double>({}), e, e), 0},
        {cw::metrics_aniso3d_to_aniso2d(m5, B1, m3), -1},
        {cw::metrics_aniso3d_to_aniso2d(m6, B1, m3), -2},
        {cw::metrics_aniso3d_to_aniso2d(m6, B2, m31), -3},
        {cw::metrics_aniso3d_to_aniso2d(e, e, m31), 0},
    });
}

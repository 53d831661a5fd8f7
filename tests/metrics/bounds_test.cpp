#include "test_support.hpp"

// Eigenvalues chosen in a random basis, clamped with hmin = 0.01 (lmax 1e4)
// and hmax = 100 (lmin 1e-4): each on its own axis. A tensor within the
// bounds comes back bit for bit.
template <int N> void clamps_each_eigenvalue() {
    std::mt19937 rng(11);
    const double l[3] = {1e-6, 0.5, 1e6}, want[3] = {1e-4, 0.5, 1e4};
    const double *ln = l + 3 - N, *wn = want + 3 - N;
    double q[N * N];
    random_rotation<N>(rng, q);
    tq5::symmetric_fixed<double, N> M, W;
    tensor_from_eigen<N>(ln, q, M.data());
    ASSERT_EQ(cw::bound_metric(M, 0.01, 100), 1);
    for (int k = 0; k < N; ++k)
        for (int i = 0; i < N; ++i)
            EXPECT_NEAR(times<N>(M.data(), q + k * N, i), wn[k] * q[k * N + i], 1e-12 * wn[N - 1]);
    tensor_from_eigen<N>(wn, q, W.data());
    M = W;
    EXPECT_EQ(cw::bound_metric(M, 0.009, 101), 0);
    EXPECT_EQ(std::memcmp(&M, &W, sizeof M), 0);
}

TEST(BoundMetric, ClampsEachEigenvalueOnItsAxisAndRepairsInvalidTensors) {
    clamps_each_eigenvalue<2>();
    clamps_each_eigenvalue<3>();
    // Eigenvalue -1 becomes lmin = 0.01, 4 becomes lmax = 1, 0.5 stays.
    tq5::symmetric_fixed<double, 3> B{{-1, 0, 0.5, 0, 0, 4}};
    ASSERT_EQ(cw::bound_metric(B, 1, 10), 1);
    const double want[6] = {0.01, 0, 0.5, 0, 0, 1};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(B[i], want[i], 1e-15);
    // Not decomposable: the isotropic tensor of hmin; a NaN eigenvalue is bounded from above.
    tq5::symmetric_fixed<double, 2> A{{INF, 0, 1}};
    tq5::symmetric_fixed<double, 3> C{{NaN, 0, 1, 0, 0, 1}};
    EXPECT_EQ(cw::bound_metric(A, 0.5, 10), 1);
    EXPECT_EQ(cw::bound_metric(C, 0.5, 10), 1);
    EXPECT_EQ((doubles{A[0], A[1], A[2]}), (doubles{4, 0, 4}));
}

TEST(BoundMetrics, SizesAndTensorFieldsWithHminWinningBelowIt) {
    auto h = vec<double>({0.5, 2, 20, NaN});
    auto changed = vec({77});
    ASSERT_EQ(cw::bound_metrics(h, 1, 10, changed), 3);
    EXPECT_EQ(values(h), (doubles{1, 2, 10, 1}));
    EXPECT_EQ(values(changed), (list{0, 2, 3}));  // cleared first
    // hmin 4 > hmax 2: below 4 becomes 4, at or above 4 becomes 2.
    h = vec<double>({3, 6, 3, 3});
    EXPECT_EQ(cw::bound_metrics(h, 4, 2), 4);
    EXPECT_EQ(values(h), (doubles{4, 2, 4, 4}));
    // Tensors between lmin 0.25 and lmax 4: the zero tensor becomes 0.25 I, and
    // diag(100, 1) diag(4, 1); the tensor within the bounds is not listed.
    auto m = padded<double>(3, {1, 0, 1, 0, 0, 0, 100, 0, 1}, -9);
    ASSERT_EQ(cw::bound_metrics(m, 0.5, 2, changed), 2);
    EXPECT_EQ(values(m), (doubles{1, 0, 1, 0.25, 0, 0.25, 4, 0, 1}));
    EXPECT_EQ(values(changed), (list{1, 2}));
    EXPECT_TRUE(pad_intact(m, -9.0));
}

TEST(BoundMetrics, CodesComeInTheirStatedOrder) {
    tq5::symmetric_fixed<double, 2> M{{NaN, NaN, NaN}};
    tq5::dense1D<double> h(2, 1.0);
    tq5::dense2D<double> m4(4, 2, 1.0), m3(3, 2, 0.0), empty;
    auto changed = vec({1});
    expect_codes({
        {cw::bound_metric(M, 0, DBL_MAX), 0},  // no bound: the tensor is not looked at
        {cw::bound_metric(M, NaN, 1), -2},
        {cw::bound_metric(M, 1, INF), -3},
        {cw::bound_metrics(h, INF, 2), -2},
        {cw::bound_metrics(h, 1, INF), -3},
        {cw::bound_metrics(h, 0, DBL_MAX), 0},
        {cw::bound_metrics(m4, 1, 2, changed), -1},
        {int(changed.size()), 0},                // cleared before any test
        {cw::bound_metrics(m4, 0, DBL_MAX), 0},  // no bound comes before the row test
        {cw::bound_metrics(m3, INF, 2), -2},
        {cw::bound_metrics(m3, 1, INF), -3},
        {cw::bound_metrics(empty, INF, INF), 0},
    });
    EXPECT_TRUE(std::isnan(M[0]));
    // A failed append drops the index from the result, not the clamp.
    tq5::dense1D<unsigned> fresh;
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::bound_metrics(m3, 1, 2, fresh), 0);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(m3(0, 0), 0.25);
}

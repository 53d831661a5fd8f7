#include "test_support.hpp"

template <int N> using S = tq5::symmetric_fixed<double, N>;

// Random tensors from a fixed seed against the definition: M2 q = d M1 q
// (M1 = I for the plain problem), unit columns, orthogonal ones for M1 = I,
// values ascending.
template <int N> void pairs_meet_their_definition(bool general) {
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int t = 0; t < 2000; ++t) {
        S<N> m1, m2;
        tq5::vector_fixed<double, N> d;
        tq5::matrix_fixed<double, N, N> q;
        random_metric<N>(rng, 0.1, 10, m1.data());
        random_metric<N>(rng, 0.1, 10, m2.data());
        if (!general)
            for (double& x : m2.v) x = u(rng);
        ASSERT_TRUE(general ? cw::eigen_pairs(m1, m2, d, q) : cw::eigen_pairs(m2, d, q));
        for (int k = 0; k < N; ++k) {
            const double* v = q.data() + k * N;
            EXPECT_NEAR(dot<N>(v, v), 1, 1e-13);
            for (int i = 0; i < N; ++i)
                EXPECT_NEAR(times<N>(m2.data(), v, i), d[k] * (general ? times<N>(m1.data(), v, i) : v[i]),
                            1e-11 * (std::fabs(d[k]) + 1));
            for (int p = 0; p < k && !general; ++p) EXPECT_NEAR(dot<N>(v, q.data() + p * N), 0, 1e-13);
            EXPECT_LE(d[k > 0 ? k - 1 : 0], d[k]);  // ascending
        }
    }
}

TEST(EigenPairs, RandomTensorsMeetTheDefinition) {
    for (const bool general : {false, true}) {
        pairs_meet_their_definition<2>(general);
        pairs_meet_their_definition<3>(general);
    }
}

TEST(EigenPairs, HandCases) {
    tq5::vector_fixed<double, 2> d2;
    tq5::matrix_fixed<double, 2, 2> q2;
    tq5::vector_fixed<double, 3> d3;
    tq5::matrix_fixed<double, 3, 3> q3;
    // Unit and zero tensors: equal values, and the unit basis through the
    // test against 1e-24 (the shifted rows are zero).
    for (double s : {1.0, 0.0}) {
        ASSERT_TRUE(cw::eigen_pairs(S<2>{{s, 0, s}}, d2, q2));
        EXPECT_EQ((doubles{d2[0], d2[1], q2[0], q2[1], q2[2], q2[3]}), (doubles{s, s, 1, 0, 0, 1}));
    }
    // diag(3, 1): the vector of 1 comes from the second row, (0, +-1).
    ASSERT_TRUE(cw::eigen_pairs(S<2>{{3, 0, 1}}, d2, q2));
    EXPECT_EQ((doubles{d2[0], d2[1], std::fabs(q2[1])}), (doubles{1, 3, 1}));
    // det = 1.5e14 - 9 is exact, so the small root det / l1 = 1.5 - 9e-14 is
    // accurate; the plain formula gives 1.5, lost to cancellation.
    ASSERT_TRUE(cw::eigen_pairs(S<2>{{1e14, 3, 1.5}}, d2, q2));
    EXPECT_NEAR(d2[0], 1.5 - 9e-14, 1e-15);
    EXPECT_FALSE(cw::eigen_pairs(S<2>{{INF, 0, 1}}, d2, q2));
    // Generalized, 2D: M1 needs m00 != 0 and det > 0; -I passes, giving descending values.
    const S<2> m2{{2, 0, 3}};
    EXPECT_FALSE(cw::eigen_pairs(S<2>{{1, 1, 1}}, m2, d2, q2));
    EXPECT_FALSE(cw::eigen_pairs(S<2>{{0, 0, 1}}, m2, d2, q2));
    ASSERT_TRUE(cw::eigen_pairs(S<2>{{-1, 0, -1}}, m2, d2, q2));
    EXPECT_EQ((doubles{d2[0], d2[1]}), (doubles{-2, -3}));
    // 3D: an empty first row passes the factor, then divides by detL = 0.
    const S<3> unit{{1, 0, 1, 0, 0, 1}};
    ASSERT_TRUE(cw::eigen_pairs(S<3>{{0, 0, 1, 0, 0, 1}}, unit, d3, q3));
    EXPECT_FALSE(std::isfinite(d3[0] + d3[1] + d3[2]));
    EXPECT_FALSE(cw::eigen_pairs(S<3>{{-1, 0, 1, 0, 0, 1}}, unit, d3, q3));
}

TEST(Dspev, BadArgumentsAreReportedWithoutStopping) {
    const struct {
        char jobz, uplo;
        long n, ldz, info;
    } cases[] = {{'X', 'U', 3, 3, -1}, {'V', 'X', 3, 3, -2}, {'V', 'U', -1, 3, -3},
                 {'V', 'U', 3, 2, -7}, {'N', 'U', 3, 0, -7}, {'n', 'l', 3, 1, 0}};
    for (const auto& c : cases) {
        double ap[6] = {1, 0, 1, 0, 0, 1}, w[3], z[9], work[9];
        long info = 99;
        EXPECT_EQ(tq5::lapack::dspev(c.jobz, c.uplo, c.n, ap, w, z, c.ldz, work, info), c.info) << c.jobz << c.uplo;
        EXPECT_EQ(info, c.info);
    }
}

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using namespace metric_testing;

// Checks the definition of the eigen pairs: M2 q = d M1 q (M1 the unit matrix
// when null), unit columns, orthogonal ones for M1 = I, values ascending.
template <int N>
void expect_pairs(const double* m2, const double* m1, const double* d, const double* q, bool ascending) {
    double scale = 0;
    for (int i = 0; i < N * (N + 1) / 2; ++i) scale = std::max(scale, std::fabs(m2[i]));
    for (int k = 0; k < N; ++k) {
        const double* v = q + k * N;
        double nn = 0;
        for (int i = 0; i < N; ++i) nn += v[i] * v[i];
        EXPECT_NEAR(nn, 1, 1e-13);
        for (int i = 0; i < N; ++i) {
            const double rhs = m1 ? d[k] * times<N>(m1, v, i) : d[k] * v[i];
            EXPECT_NEAR(times<N>(m2, v, i), rhs, 1e-12 * scale * (m1 ? std::fabs(d[k]) + 1 : 1));
        }
        for (int p = 0; p < k && !m1; ++p) {
            double dot = 0;
            for (int i = 0; i < N; ++i) dot += v[i] * q[p * N + i];
            EXPECT_NEAR(dot, 0, 1e-13);
        }
        if (ascending && k > 0) {
            EXPECT_LE(d[k - 1], d[k]);
        }
    }
}

template <int N>
void random_pairs() {
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int t = 0; t < 2000; ++t) {
        tq5::symmetric_fixed<double, N> M;
        for (auto& x : M.v) x = u(rng);
        tq5::vector_fixed<double, N> D;
        tq5::matrix_fixed<double, N, N> Q;
        ASSERT_TRUE(cw::eigen_pairs(M, D, Q));
        expect_pairs<N>(M.data(), nullptr, D.data(), Q.data(), true);
    }
}

TEST(EigenPairs, RandomSymmetric2x2MeetTheDefinition) { random_pairs<2>(); }
TEST(EigenPairs, RandomSymmetric3x3MeetTheDefinition) { random_pairs<3>(); }

template <int N>
void random_general_pairs() {
    std::mt19937 rng(77);
    for (int t = 0; t < 2000; ++t) {
        tq5::symmetric_fixed<double, N> M1, M2;
        random_metric<N>(rng, 0.1, 10, M1.data());
        random_metric<N>(rng, 0.1, 10, M2.data());
        tq5::vector_fixed<double, N> D;
        tq5::matrix_fixed<double, N, N> Q;
        ASSERT_TRUE(cw::eigen_pairs(M1, M2, D, Q));
        expect_pairs<N>(M2.data(), M1.data(), D.data(), Q.data(), true);
    }
}

TEST(EigenPairs, RandomGeneralized2x2MeetTheDefinition) { random_general_pairs<2>(); }
TEST(EigenPairs, RandomGeneralized3x3MeetTheDefinition) { random_general_pairs<3>(); }

TEST(EigenPairs, UnitAndZero2x2GiveTheUnitBasis) {
    for (double s : {1.0, 0.0}) {
        tq5::symmetric_fixed<double, 2> M{{s, 0, s}};
        tq5::vector_fixed<double, 2> D;
        tq5::matrix_fixed<double, 2, 2> Q;
        ASSERT_TRUE(cw::eigen_pairs(M, D, Q));
        EXPECT_EQ(D[0], s);
        EXPECT_EQ(D[1], s);
        EXPECT_EQ(Q[0], 1.0);
        EXPECT_EQ(Q[1], 0.0);
        EXPECT_EQ(Q[2], -0.0);
        EXPECT_EQ(Q[3], 1.0);
    }
}

TEST(EigenPairs, SmallEigenvalueBesideAHugeOneStaysAccurate) {
    // det = 1.5e14 - 9 is exact, and the small root is det / l1 = 1.5 - 9e-14
    // to rounding; the plain formula would lose it to cancellation.
    tq5::symmetric_fixed<double, 2> M{{1e14, 3, 1.5}};
    tq5::vector_fixed<double, 2> D;
    tq5::matrix_fixed<double, 2, 2> Q;
    ASSERT_TRUE(cw::eigen_pairs(M, D, Q));
    EXPECT_NEAR(D[0], 1.5 - 9e-14, 1e-15);
    EXPECT_NEAR(D[1], 1e14, 1);
}

TEST(EigenPairs, NonFiniteEigenvalueFails2x2) {
    tq5::symmetric_fixed<double, 2> M{{std::numeric_limits<double>::infinity(), 0, 1}};
    tq5::vector_fixed<double, 2> D;
    tq5::matrix_fixed<double, 2, 2> Q;
    EXPECT_FALSE(cw::eigen_pairs(M, D, Q));
}

TEST(EigenPairs, GeneralizedWithEqualTensorsGivesOnes) {
    std::mt19937 rng(5);
    tq5::symmetric_fixed<double, 2> A;
    tq5::symmetric_fixed<double, 3> B;
    random_metric<2>(rng, 0.01, 1, A.data());
    random_metric<3>(rng, 0.01, 1, B.data());
    tq5::vector_fixed<double, 2> D2;
    tq5::matrix_fixed<double, 2, 2> Q2;
    tq5::vector_fixed<double, 3> D3;
    tq5::matrix_fixed<double, 3, 3> Q3;
    ASSERT_TRUE(cw::eigen_pairs(A, A, D2, Q2));
    ASSERT_TRUE(cw::eigen_pairs(B, B, D3, Q3));
    for (int k = 0; k < 2; ++k) EXPECT_NEAR(D2[k], 1, 1e-12);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(D3[k], 1, 1e-12);
}

TEST(EigenPairs, Generalized2x2AcceptsOnlyNonZeroM00AndPositiveDeterminant) {
    tq5::vector_fixed<double, 2> D;
    tq5::matrix_fixed<double, 2, 2> Q;
    const tq5::symmetric_fixed<double, 2> M2{{2, 0, 3}};
    EXPECT_FALSE(cw::eigen_pairs(tq5::symmetric_fixed<double, 2>{{1, 1, 1}}, M2, D, Q));  // det 0
    EXPECT_FALSE(cw::eigen_pairs(tq5::symmetric_fixed<double, 2>{{0, 0, 1}}, M2, D, Q));  // m00 0
    // -I passes the test: d = -2, -3 come out descending.
    ASSERT_TRUE(cw::eigen_pairs(tq5::symmetric_fixed<double, 2>{{-1, 0, -1}}, M2, D, Q));
    EXPECT_DOUBLE_EQ(D[0], -2);
    EXPECT_DOUBLE_EQ(D[1], -3);
}

TEST(EigenPairs, Generalized3x3WithEmptyFirstRowDividesByZero) {
    // M1 = diag(0, 1, 1) factors with a zero pivot: detL = 0, and the values
    // are not finite while the result is true.
    const tq5::symmetric_fixed<double, 3> M1{{0, 0, 1, 0, 0, 1}}, M2{{1, 0, 1, 0, 0, 1}};
    tq5::vector_fixed<double, 3> D;
    tq5::matrix_fixed<double, 3, 3> Q;
    ASSERT_TRUE(cw::eigen_pairs(M1, M2, D, Q));
    EXPECT_FALSE(std::isfinite(D[0]) && std::isfinite(D[1]) && std::isfinite(D[2]));
    // Not semi-definite: refused.
    EXPECT_FALSE(cw::eigen_pairs(tq5::symmetric_fixed<double, 3>{{-1, 0, 1, 0, 0, 1}}, M2, D, Q));
}

}  // namespace

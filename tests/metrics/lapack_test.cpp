#include <gtest/gtest.h>

#include <cmath>

#include <tq5/cellworks.hpp>

namespace {

TEST(Dspev, DiagonalTensorGivesSortedValuesAndAxes) {
    double ap[6] = {2, 0, 3, 0, 0, 1};  // diag(2, 3, 1), upper packed
    double w[3], z[9], work[9];
    long info = -99;
    tq5::lapack::dspev('V', 'U', 3, ap, w, z, 3, work, info);
    ASSERT_EQ(info, 0);
    EXPECT_DOUBLE_EQ(w[0], 1);
    EXPECT_DOUBLE_EQ(w[1], 2);
    EXPECT_DOUBLE_EQ(w[2], 3);
    EXPECT_DOUBLE_EQ(std::fabs(z[2]), 1);  // column 0 is +-e2
    EXPECT_DOUBLE_EQ(std::fabs(z[3]), 1);  // column 1 is +-e0
    EXPECT_DOUBLE_EQ(std::fabs(z[7]), 1);  // column 2 is +-e1
}

TEST(Dspev, LowerStorageAndValuesOnly) {
    double ap[6] = {4, 1, 0, 4, 0, 5};  // lower packed by columns: ((4,1,0),(1,4,0),(0,0,5))
    double w[3], work[9];
    long info = -99;
    tq5::lapack::dspev('n', 'l', 3, ap, w, nullptr, 1, work, info);
    ASSERT_EQ(info, 0);
    EXPECT_NEAR(w[0], 3, 1e-14);
    EXPECT_NEAR(w[1], 5, 1e-14);
    EXPECT_NEAR(w[2], 5, 1e-14);
}

TEST(Dspev, BadArgumentsAreReportedWithoutStopping) {
    struct Case {
        char jobz, uplo;
        long n, ldz, info;
    };
    const Case cases[] = {{'X', 'U', 3, 3, -1}, {'V', 'X', 3, 3, -2}, {'V', 'U', -1, 3, -3},
                          {'V', 'U', 3, 2, -7}, {'N', 'U', 3, 0, -7}, {'N', 'U', 0, 1, 0}};
    for (const Case& c : cases) {
        double ap[6] = {1, 0, 1, 0, 0, 1}, w[3], z[9], work[9];
        long info = 99;
        const int rc = tq5::lapack::dspev(c.jobz, c.uplo, c.n, ap, w, z, c.ldz, work, info);
        EXPECT_EQ(info, c.info) << c.jobz << c.uplo << c.n << ' ' << c.ldz;
        EXPECT_EQ(rc, c.info);
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <tq5/cellworks.hpp>

TEST(Histogram, BinsRangeAndStatistics) {
    tq5::misc::histogram h;
    EXPECT_EQ(h.bins(), 10u);
    for (double x : {0.0, 0.05, 0.25, 0.999, 1.0, -0.5, 2.0}) h.process(x);
    EXPECT_EQ(h.count(), 7u);
    EXPECT_EQ(h.bin(0), 2u);
    EXPECT_EQ(h.bin(2), 1u);
    EXPECT_EQ(h.bin(9), 2u);  // 1.0 falls in the last bin
    EXPECT_EQ(h.below(), 1u);
    EXPECT_EQ(h.above(), 1u);
    EXPECT_EQ(h.min(), -0.5);
    EXPECT_EQ(h.max(), 2.0);
    EXPECT_NEAR(h.mean(), (0.05 + 0.25 + 0.999 + 1.0 - 0.5 + 2.0) / 7, 1e-15);
    h.clear();
    EXPECT_EQ(h.count(), 0u);
    EXPECT_EQ(h.bin(0), 0u);
    EXPECT_EQ(h.mean(), 0.0);
}

TEST(Histogram, CustomRangeVectorsAndNaN) {
    tq5::misc::histogram h(-1.0, 1.0, 4);
    tq5::dense1D<double> v(3, 0.0);
    v[1] = -1.0;
    v[2] = std::numeric_limits<double>::quiet_NaN();
    h.process(v);
    EXPECT_EQ(h.count(), 3u);
    EXPECT_EQ(h.nan_count(), 1u);
    EXPECT_EQ(h.bin(0), 1u);
    EXPECT_EQ(h.bin(2), 1u);
    EXPECT_EQ(h.mean(), -0.5);
    tq5::misc::histogram degenerate(2.0, 2.0, 0);
    EXPECT_EQ(degenerate.bins(), 1u);
    degenerate.process(2.5);
    EXPECT_EQ(degenerate.bin(0), 1u);
}

#include <gtest/gtest.h>

#include <limits>

#include <tq5/cellworks.hpp>

TEST(Histogram, BinsRangeAndStatistics) {
    tq5::misc::histogram h;  // 10 bins on [0, 1]
    for (double x : {0.0, 0.05, 0.25, 0.999, 1.0, -0.5, 2.0}) h.process(x);
    EXPECT_EQ(h.count(), 7u);
    EXPECT_TRUE(h.bin(0) == 2 && h.bin(2) == 1 && h.bin(9) == 2);  // 1.0 falls in the last bin
    EXPECT_TRUE(h.below() == 1 && h.above() == 1 && h.min() == -0.5 && h.max() == 2.0);
    EXPECT_NEAR(h.mean(), (0.05 + 0.25 + 0.999 + 1.0 - 0.5 + 2.0) / 7, 1e-15);
    h.clear();
    EXPECT_TRUE(h.count() == 0 && h.bin(0) == 0 && h.mean() == 0.0);
}

TEST(Histogram, CustomRangeVectorsAndNaN) {
    tq5::misc::histogram h(-1.0, 1.0, 4);
    tq5::dense1D<double> v(3, 0.0);
    v[1] = -1.0;
    v[2] = std::numeric_limits<double>::quiet_NaN();
    h.process(v);
    EXPECT_TRUE(h.count() == 3 && h.nan_count() == 1 && h.bin(0) == 1 && h.bin(2) == 1);
    EXPECT_EQ(h.mean(), -0.5);  // NaN left out
    tq5::misc::histogram degenerate(2.0, 2.0, 0);  // one bin of width 1
    degenerate.process(2.5);
    EXPECT_TRUE(degenerate.bins() == 1 && degenerate.bin(0) == 1);
}

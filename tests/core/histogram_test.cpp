#include "test_support.hpp"

TEST(Histogram, BinsRangeStatisticsAndNaN) {
    tq5::misc::histogram h;  // 10 bins on [0, 1]
    for (double x : {0.0, 0.05, 0.25, 0.999, 1.0, -0.5, 2.0, cwtest::NaN}) h.process(x);
    EXPECT_TRUE(h.count() == 8 && h.nan_count() == 1 && h.below() == 1 && h.above() == 1);
    EXPECT_TRUE(h.bin(0) == 2 && h.bin(2) == 1 && h.bin(9) == 2);  // 1.0 falls in the last bin
    EXPECT_TRUE(h.min() == -0.5 && h.max() == 2.0);
    EXPECT_NEAR(h.mean(), (0.05 + 0.25 + 0.999 + 1.0 - 0.5 + 2.0) / 7, 1e-15);  // NaN left out
    h.clear();
    EXPECT_TRUE(h.count() == 0 && h.bin(0) == 0 && h.mean() == 0.0);
    tq5::misc::histogram custom(-1.0, 1.0, 4), degenerate(2.0, 2.0, 0);  // the latter: one bin of width 1
    custom.process(cwtest::vec<double>({0, -1}));
    degenerate.process(2.5);
    EXPECT_TRUE(custom.bin(0) == 1 && custom.bin(2) == 1 && custom.mean() == -0.5);
    EXPECT_TRUE(degenerate.bins() == 1 && degenerate.bin(0) == 1);
}

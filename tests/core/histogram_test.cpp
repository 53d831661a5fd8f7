#include "test_support.hpp"

using counts = std::vector<std::size_t>;

TEST(Histogram, BinsRangeStatisticsAndNaN) {
    tq5::misc::histogram h;  // 10 bins on [0, 1]
    for (double x : {0.0, 0.05, 0.25, 0.999, 1.0, -0.5, 2.0, cwtest::NaN}) h.process(x);
    EXPECT_EQ((counts{h.count(), h.nan_count(), h.below(), h.above()}), (counts{8, 1, 1, 1}));
    EXPECT_EQ((counts{h.bin(0), h.bin(1), h.bin(2), h.bin(9)}), (counts{2, 0, 1, 2}));  // 1.0 falls in the last bin
    EXPECT_EQ((cwtest::doubles{h.min(), h.max()}), (cwtest::doubles{-0.5, 2.0}));
    EXPECT_NEAR(h.mean(), (0.05 + 0.25 + 0.999 + 1.0 - 0.5 + 2.0) / 7, 1e-15);  // NaN left out
    h.clear();
    EXPECT_EQ((counts{h.count(), h.nan_count(), h.bin(0), h.bin(9)}), (counts{0, 0, 0, 0}));
    EXPECT_EQ(h.mean(), 0.0);
    tq5::misc::histogram custom(-1.0, 1.0, 4), degenerate(2.0, 2.0, 0);  // the latter: one bin of width 1
    custom.process(cwtest::vec<double>({0, -1}));
    degenerate.process(2.5);
    EXPECT_EQ((counts{custom.bin(0), custom.bin(1), custom.bin(2)}), (counts{1, 0, 1}));
    EXPECT_EQ(custom.mean(), -0.5);
    EXPECT_EQ((counts{degenerate.bins(), degenerate.bin(0)}), (counts{1, 1}));
}

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include <tq5/cellworks.hpp>

namespace {

namespace cw = tq5::cellworks;

// Three nodes on a line at x = 0, 1, 3 with bars (0,1) and (1,2).
struct line {
    tq5::dense2D<double> pos{2, 3, 0.0};
    tq5::dense2D<unsigned> bars{2, 2};
    tq5::dense1D<double> sizes;
    line() {
        pos(0, 1) = 1;
        pos(0, 2) = 3;
        bars(0, 0) = 0, bars(1, 0) = 1, bars(0, 1) = 1, bars(1, 1) = 2;
        for (double h : {1.0, 1.5, 2.5}) sizes.push_back(h);
    }
};

TEST(HShock, LargestShockOfTheEdgesAtEachNode) {
    line l;
    tq5::dense1D<double> shock;
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    ASSERT_EQ(shock.size(), 3u);
    const double s01 = std::exp(0.5 / 1) - 1, s12 = std::exp(1.0 / 2) - 1;
    EXPECT_NEAR(shock[0], s01, 1e-14);
    EXPECT_NEAR(shock[1], std::max(s01, s12), 1e-14);
    EXPECT_NEAR(shock[2], s12, 1e-14);
    // The isotropic tensors of the same sizes give the same shocks.
    tq5::dense2D<double> m(3, 3);
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(l.sizes, m), 0);
    tq5::dense1D<double> tshock;
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, m, tshock), 0);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(tshock[i], shock[i], 1e-12);
}

TEST(HShock, ExistingEntriesAreAFloor) {
    line l;
    tq5::dense1D<double> shock;
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    const double first = shock[0];
    l.sizes = 1.0;  // a constant field has no shock...
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    EXPECT_EQ(shock[0], first);  // ...but the earlier values stay
    shock = 0.0;
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    EXPECT_EQ(shock[0], 0);
}

TEST(HShock, CoincidentNodesWithDifferentMetricsShockFully) {
    line l;
    l.pos(0, 1) = 0;
    tq5::dense1D<double> shock;
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    EXPECT_EQ(shock[0], DBL_MAX);
}

TEST(HShock, Codes) {
    line l;
    tq5::dense1D<double> shock(1, 5.0);
    EXPECT_EQ(cw::H_shock(l.pos, tq5::dense2D<unsigned>(), l.sizes, shock), 0);
    EXPECT_EQ(shock.size(), 1u);  // untouched
    EXPECT_EQ(cw::H_shock(tq5::dense2D<double>(4, 3, 0.0), l.bars, l.sizes, shock), -1);
    tq5::dense2D<unsigned> far(2, 1, 3u);
    EXPECT_EQ(cw::H_shock(l.pos, far, l.sizes, shock), -2);
    tq5::dense2D<unsigned> three_rows(3, 1, 0u);
    EXPECT_EQ(cw::H_shock(l.pos, three_rows, l.sizes, shock), -2);
    tq5::dense1D<double> fresh;
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, fresh), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(fresh.size(), 0u);
    // A field too short: the edges beyond it are skipped.
    tq5::dense1D<double> two(2, 1.0), out;
    EXPECT_EQ(cw::H_shock(l.pos, l.bars, two, out), 0);
    EXPECT_EQ(out[2], 0);
}

}  // namespace

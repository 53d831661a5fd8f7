#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using metric_testing::columns;

// Nodes at x = 0, 1, 3 with sizes 1, 1.5, 2 and bars (0,1), (1,2): slopes 0.5 and 0.25.
struct line {
    tq5::dense2D<double> pos = columns<double>(2, {{0, 0}, {1, 0}, {3, 0}});
    tq5::dense2D<unsigned> bars = columns<unsigned>(2, {{0, 1}, {1, 2}});
    tq5::dense1D<double> sizes = metric_testing::values({1.0, 1.5, 2.0});
};

TEST(HShock, LargestShockAtEachNodeAboveWhatWasThere) {
    line l;
    tq5::dense1D<double> shock, tshock;
    tq5::dense2D<double> m(3, 3);
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(l.sizes, m), 0);
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, m, tshock), 0);
    const double s[3] = {std::exp(0.5) - 1, std::exp(0.5) - 1, std::exp(0.25) - 1};
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::fabs(shock[i] - s[i]) < 1e-14 && std::fabs(tshock[i] - s[i]) < 1e-12);
    l.sizes = 1.0;  // a constant field has no shock, but the earlier values stay
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, shock), 0);
    EXPECT_EQ(shock[0], s[0]);
    shock = 0.0;
    l.pos(0, 1) = 0;  // nodes 0 and 1 coincide, with different sizes
    ASSERT_EQ(cw::H_shock(l.pos, l.bars, metric_testing::values({1.0, 2.0, 2.0}), shock), 0);
    EXPECT_TRUE(shock[0] == DBL_MAX && shock[1] == DBL_MAX && shock[2] == 0);
}

TEST(HShock, Codes) {
    line l;
    tq5::dense1D<double> shock(1, 5.0), fresh, out;
    EXPECT_EQ(cw::H_shock(l.pos, tq5::dense2D<unsigned>(), l.sizes, shock), 0);
    EXPECT_EQ(shock.size(), 1u);  // untouched
    EXPECT_EQ(cw::H_shock(tq5::dense2D<double>(4, 3, 0.0), l.bars, l.sizes, shock), -1);
    EXPECT_EQ(cw::H_shock(l.pos, columns<unsigned>(2, {{0, 3}}), l.sizes, shock), -2);
    EXPECT_EQ(cw::H_shock(l.pos, tq5::dense2D<unsigned>(3, 1, 0u), l.sizes, shock), -2);
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::H_shock(l.pos, l.bars, l.sizes, fresh), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(fresh.size(), 0u);
    // A short field: the edges beyond it are skipped.
    EXPECT_EQ(cw::H_shock(l.pos, l.bars, tq5::dense1D<double>(2, 1.0), out), 0);
    EXPECT_EQ(out[2], 0);
}

}  // namespace

#include "test_support.hpp"

// Nodes at x = 0, 1, 3 with sizes 1, 1.5, 2 and bars (0,1), (1,2): slopes 0.5
// and 0.25, so shocks e^0.5 - 1 at nodes 0 and 1, e^0.25 - 1 at node 2.
TEST(HShock, LargestShockAtEachNodeAboveWhatWasThere) {
    auto pos = columns<double>(2, {0, 0, 1, 0, 3, 0});
    const auto bars = columns(2, {0, 1, 1, 2});
    auto sizes = vec<double>({1, 1.5, 2});
    tq5::dense1D<double> shock, tshock, out;
    tq5::dense2D<double> m(3, 3);
    ASSERT_EQ(cw::metrics_iso_to_aniso2d(sizes, m), 0);
    ASSERT_EQ(cw::H_shock(pos, bars, sizes, shock), 0);
    ASSERT_EQ(cw::H_shock(pos, bars, m, tshock), 0);
    const double s[3] = {std::exp(0.5) - 1, std::exp(0.5) - 1, std::exp(0.25) - 1};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(shock[i], s[i], 1e-14);
        EXPECT_NEAR(tshock[i], s[i], 1e-12);
    }
    sizes = 1.0;  // a constant field has no shock, but the earlier values stay
    const auto before = values(shock);
    ASSERT_EQ(cw::H_shock(pos, bars, sizes, shock), 0);
    EXPECT_EQ(values(shock), before);
    ASSERT_EQ(cw::H_shock(pos, bars, tq5::dense1D<double>(2, 1.0), out), 0);  // edges beyond a short field are skipped
    EXPECT_EQ(values(out), (doubles{0, 0, 0}));
    shock = 0.0;
    pos = 0.0;  // all nodes coincide: equal sizes give 0, different ones DBL_MAX
    ASSERT_EQ(cw::H_shock(pos, bars, vec<double>({1, 1, 2}), shock), 0);
    EXPECT_EQ(values(shock), (doubles{0, DBL_MAX, DBL_MAX}));
    shock = 0.0;  // the same with tensors that differ in their last entry only
    ASSERT_EQ(cw::H_shock(pos, bars, columns<double>(3, {1, 0, 1, 1, 0, 1, 1, 0, 2}), shock), 0);
    EXPECT_EQ(values(shock), (doubles{0, DBL_MAX, DBL_MAX}));

    tq5::dense1D<double> kept(1, 5.0), fresh;
    EXPECT_EQ(cw::H_shock(pos, tq5::dense2D<unsigned>(), sizes, kept), 0);
    EXPECT_EQ(values(kept), doubles{5});  // untouched
    EXPECT_EQ(cw::H_shock(tq5::dense2D<double>(4, 3, 0.0), bars, sizes, kept), -1);
    EXPECT_EQ(cw::H_shock(pos, columns(2, {0, 3}), sizes, kept), -2);
    EXPECT_EQ(cw::H_shock(pos, tq5::dense2D<unsigned>(3, 1, 0u), sizes, kept), -2);
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::H_shock(pos, bars, sizes, fresh), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(fresh.empty());
}

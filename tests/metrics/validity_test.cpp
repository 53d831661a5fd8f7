#include "test_support.hpp"

using S2 = tq5::symmetric_fixed<double, 2>;
using S3 = tq5::symmetric_fixed<double, 3>;
const auto field = &columns<double>;

// A tensor is valid when its lowest eigenvalue is not <= 0, with no finiteness
// test; a size must be > 0 and finite.
TEST(IsValidMetric, LowestEigenvalueMustBePositiveButNaNPasses) {
    EXPECT_TRUE(cw::is_valid_metric(S2{{1, 0, 1}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{1, 2, 1}}));  // eigenvalues -1, 3
    EXPECT_TRUE(cw::is_valid_metric(S2{{NaN, 0, 1}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{0, 0, 0, 0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{1, 0, 1, 0, 0, -1e-9}}));
}

TEST(FirstInvalidMetric, EachFormStopsAtTheFirstBadEntry) {
    EXPECT_EQ(cw::first_invalid_metric(vec<double>({1, 2})), 2u);
    EXPECT_EQ(cw::first_invalid_metric(vec<double>({1, INF, 0})), 1u);
    EXPECT_EQ(cw::first_invalid_metric(vec<double>({1, NaN})), 1u);
    // An infinite entry gives no finite eigenvalue and does not stop the walk.
    EXPECT_EQ(cw::first_invalid_metric(field(3, {INF, 0, 1, 1, 0, -1})), 1u);
    EXPECT_EQ(cw::first_invalid_metric(field(6, {1, 0, 1, 0, 0, INF, 1, 0, 1, 0, 0, 1})), 2u);
    // Another row count is no field: 0, valid only without columns.
    EXPECT_EQ(cw::first_invalid_metric(field(4, {1, 0, 1, 0})), 0u);
    EXPECT_FALSE(cw::are_valid_metrics(field(4, {1, 0, 1, 0})));
    EXPECT_TRUE(cw::are_valid_metrics(tq5::dense2D<double>(4, 0)));
    // Forms with ids give the position in the list; an id beyond the field stops the walk.
    const auto h = vec<double>({1, 0, 2});
    const auto m = field(3, {1, 0, 1, 0, 0, 0});
    EXPECT_EQ(cw::first_invalid_metric(vec({2, 0, 1}), h), 2u);
    EXPECT_EQ(cw::first_invalid_metric(vec({2, 3, 1}), h), 1u);
    EXPECT_EQ(cw::first_invalid_metric(vec({0, 0, 1}), m), 2u);
    EXPECT_EQ(cw::first_invalid_metric(vec({0, 7}), m), 1u);
    EXPECT_TRUE(cw::are_valid_metrics(vec({}), field(5, {1, 1, 1, 1, 1})));
    auto good = vec({9});
    cw::valid_metrics(field(3, {0, 0, 0, 1, 0, 1, -1, 0, 1, 2, 1, 2}), good);
    cw::valid_metrics(field(2, {1, 1}), good);  // no field: nothing
    EXPECT_EQ(values(good), (list{9, 1, 3}));   // appended, never cleared
}

TEST(OverwriteInvalidMetrics, ReplacementRulesAndCodes) {
    auto h = vec<double>({0.0, -1.0, NaN, 2.0, 0.0});
    EXPECT_EQ(cw::overwrite_invalid_metrics(h, vec<double>({5, 0, 5, 5})), 1);
    EXPECT_TRUE(std::isnan(h[2]));                                         // a NaN stays
    EXPECT_EQ((doubles{h[0], h[1], h[3], h[4]}), (doubles{5, -1, 2, 0}));  // h[4] has no replacement
    auto m = field(3, {0, 0, 0, 1, 0, 1, -1, 0, -1});
    EXPECT_EQ(cw::overwrite_invalid_metrics(m, field(3, {4, 0, 4, 9, 0, 9, 0, 0, 0})), 1);
    EXPECT_EQ(values(m), (doubles{4, 0, 4, 1, 0, 1, -1, 0, -1}));  // only a valid replacement is taken
    tq5::dense2D<double> empty, bad = field(4, {0, 0, 0, 0});
    auto m3 = field(6, {0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, -1, 0, 1, 0, 0, 1});
    expect_codes({{cw::overwrite_invalid_metrics(empty, m), 0},
                  {cw::overwrite_invalid_metrics(bad, m), -1},
                  {cw::overwrite_invalid_metrics(m3, m), -2},
                  {cw::overwrite_invalid_metrics(bad, h), -1}});
    // From sizes: size 0 skips, a NaN size writes the zero tensor and counts.
    EXPECT_EQ(cw::overwrite_invalid_metrics(m3, vec<double>({0.5, 0.5, 0.0, NaN})), 2);
    EXPECT_EQ(values(m3), (doubles{4, 0, 4, 0, 0, 4, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

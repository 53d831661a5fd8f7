#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <tq5/cellworks.hpp>

#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using metric_testing::values;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
const auto field = &metric_testing::columns<double>;

TEST(IsValidMetric, LowestEigenvalueMustBePositiveButNaNPasses) {
    using S2 = tq5::symmetric_fixed<double, 2>;
    using S3 = tq5::symmetric_fixed<double, 3>;
    EXPECT_TRUE(cw::is_valid_metric(S2{{1, 0, 1}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{1, 2, 1}}));  // eigenvalues -1, 3
    EXPECT_TRUE(cw::is_valid_metric(S2{{NaN, 0, 1}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{0, 0, 0, 0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{1, 0, 1, 0, 0, -1e-9}}));
}

TEST(FirstInvalidMetric, SizesMustBeFiniteButTensorsNot) {
    EXPECT_EQ(cw::first_invalid_metric(values({1.0, 2.0})), 2u);
    EXPECT_EQ(cw::first_invalid_metric(values({1.0, INF, 0.0})), 1u);
    EXPECT_EQ(cw::first_invalid_metric(values({1.0, NaN})), 1u);
    EXPECT_FALSE(cw::are_valid_metrics(values({-1.0})));
    // An infinite entry gives no finite eigenvalue and does not stop the walk.
    EXPECT_EQ(cw::first_invalid_metric(field(3, {{INF, 0, 1}, {1, 0, -1}})), 1u);
    EXPECT_TRUE(cw::are_valid_metrics(field(6, {{1, 0, 1, 0, 0, INF}, {1, 0, 1, 0, 0, 1}})));
    // Another row count is no field: 0, valid only without columns.
    EXPECT_EQ(cw::first_invalid_metric(field(4, {{1, 0, 1, 0}})), 0u);
    EXPECT_FALSE(cw::are_valid_metrics(field(4, {{1, 0, 1, 0}})));
    EXPECT_TRUE(cw::are_valid_metrics(tq5::dense2D<double>(4, 0)));
}

TEST(FirstInvalidMetric, IdFormsReturnThePositionInTheList) {
    const auto h = values({1.0, 0.0, 2.0});
    EXPECT_EQ(cw::first_invalid_metric(values({2u, 0u, 1u}), h), 2u);
    EXPECT_EQ(cw::first_invalid_metric(values({2u, 3u, 1u}), h), 1u);  // an id beyond the field
    EXPECT_FALSE(cw::are_valid_metrics(values({0u, 3u}), h));
    EXPECT_TRUE(cw::are_valid_metrics(values({2u, 0u}), h));
    const auto m = field(3, {{1, 0, 1}, {0, 0, 0}});
    EXPECT_EQ(cw::first_invalid_metric(values({0u, 0u, 1u}), m), 2u);
    EXPECT_EQ(cw::first_invalid_metric(values({0u, 7u}), m), 1u);
    EXPECT_TRUE(cw::are_valid_metrics(tq5::dense1D<unsigned>(), field(5, {{1, 1, 1, 1, 1}})));
}

TEST(ValidMetrics, AppendsTheGoodColumnsWithoutClearing) {
    auto list = values({9u});
    cw::valid_metrics(field(3, {{0, 0, 0}, {1, 0, 1}, {-1, 0, 1}, {2, 1, 2}}), list);
    cw::valid_metrics(field(2, {{1, 1}}), list);  // no field: nothing
    ASSERT_EQ(list.size(), 3u);
    EXPECT_TRUE(list[0] == 9 && list[1] == 1 && list[2] == 3);
}

TEST(OverwriteInvalidMetrics, ReplacementRulesAndCodes) {
    auto h = values({0.0, -1.0, NaN, 2.0, 0.0});
    EXPECT_EQ(cw::overwrite_invalid_metrics(h, values({5.0, 0.0, 5.0, 5.0})), 1);
    EXPECT_TRUE(h[0] == 5 && h[1] == -1 && std::isnan(h[2]) && h[4] == 0);  // NaN stays, h[4] has no replacement

    auto m = field(3, {{0, 0, 0}, {1, 0, 1}, {-1, 0, -1}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(m, field(3, {{4, 0, 4}, {9, 0, 9}, {0, 0, 0}})), 1);
    EXPECT_TRUE(m(0, 0) == 4 && m(0, 1) == 1 && m(0, 2) == -1);  // only a valid replacement is taken
    tq5::dense2D<double> empty;
    auto bad = field(4, {{0, 0, 0, 0}});
    auto m3 = field(6, {{0, 0, 0, 0, 0, 0}, {1, 0, 1, 0, 0, 1}, {0, 0, 0, 0, 0, 0}, {-1, 0, 1, 0, 0, 1}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(empty, m), 0);
    EXPECT_EQ(cw::overwrite_invalid_metrics(bad, m), -1);
    EXPECT_EQ(cw::overwrite_invalid_metrics(m3, m), -2);
    EXPECT_EQ(cw::overwrite_invalid_metrics(bad, h), -1);

    // From sizes: size 0 skips, a NaN size writes the zero tensor and counts.
    EXPECT_EQ(cw::overwrite_invalid_metrics(m3, values({0.5, 0.5, 0.0, NaN})), 2);
    const double iso[6] = {4, 0, 4, 0, 0, 4};
    for (int r = 0; r < 6; ++r) EXPECT_TRUE(m3(r, 0) == iso[r] && m3(r, 3) == 0 && m3(r, 2) == 0);
    EXPECT_EQ(m3(0, 1), 1);
}

}  // namespace

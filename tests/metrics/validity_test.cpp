#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include <tq5/cellworks.hpp>

namespace {

namespace cw = tq5::cellworks;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

tq5::dense1D<double> sizes(std::initializer_list<double> v) {
    tq5::dense1D<double> h;
    for (double x : v) h.push_back(x);
    return h;
}
tq5::dense1D<unsigned> ids(std::initializer_list<unsigned> v) {
    tq5::dense1D<unsigned> r;
    for (unsigned x : v) r.push_back(x);
    return r;
}
// A field of `rows` rows whose columns are the given tensors.
tq5::dense2D<double> field(std::size_t rows, std::initializer_list<std::initializer_list<double>> cols) {
    tq5::dense2D<double> m(rows, cols.size());
    std::size_t c = 0;
    for (auto& col : cols) {
        std::size_t r = 0;
        for (double x : col) m(r++, c) = x;
        ++c;
    }
    return m;
}

TEST(IsValidMetric, LowestEigenvalueMustBePositiveButNaNPasses) {
    using S2 = tq5::symmetric_fixed<double, 2>;
    using S3 = tq5::symmetric_fixed<double, 3>;
    EXPECT_TRUE(cw::is_valid_metric(S2{{1, 0, 1}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S2{{1, 2, 1}}));  // eigenvalues -1, 3
    EXPECT_TRUE(cw::is_valid_metric(S2{{NaN, 0, 1}}));
    EXPECT_TRUE(cw::is_valid_metric(S2{{1e300, 0, 1e300}}));
    EXPECT_TRUE(cw::is_valid_metric(S3{{1, 0, 2, 0, 0, 3}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{0, 0, 0, 0, 0, 0}}));
    EXPECT_FALSE(cw::is_valid_metric(S3{{1, 0, 1, 0, 0, -1e-9}}));
}

TEST(FirstInvalidMetric, SizesMustBePositiveAndFinite) {
    EXPECT_EQ(cw::first_invalid_metric(sizes({1, 2, 3})), 3u);
    EXPECT_EQ(cw::first_invalid_metric(sizes({1, INF, 0})), 1u);
    EXPECT_EQ(cw::first_invalid_metric(sizes({1, 2, NaN})), 2u);
    EXPECT_EQ(cw::first_invalid_metric(sizes({-1})), 0u);
    EXPECT_TRUE(cw::are_valid_metrics(sizes({})));
    EXPECT_FALSE(cw::are_valid_metrics(sizes({1, 0})));
}

TEST(FirstInvalidMetric, TensorsStopOnlyAtANonPositiveEigenvalue) {
    // An infinite entry gives no finite eigenvalue: it does not stop the walk.
    const auto m2 = field(3, {{1, 0, 1}, {INF, 0, 1}, {1, 0, -1}});
    EXPECT_EQ(cw::first_invalid_metric(m2), 2u);
    const auto m3 = field(6, {{1, 0, 1, 0, 0, 1}, {1, 0, 1, 0, 0, INF}, {1, 0, 1, 0, 0, 1}});
    EXPECT_EQ(cw::first_invalid_metric(m3), 3u);
    EXPECT_TRUE(cw::are_valid_metrics(m3));
    // Another row count is no field: 0, valid only without columns.
    EXPECT_EQ(cw::first_invalid_metric(field(4, {{1, 0, 1, 0}})), 0u);
    EXPECT_FALSE(cw::are_valid_metrics(field(4, {{1, 0, 1, 0}})));
    EXPECT_TRUE(cw::are_valid_metrics(tq5::dense2D<double>(4, 0)));
}

TEST(FirstInvalidMetric, IdFormsReturnThePositionInTheList) {
    const auto h = sizes({1, 0, 2});
    EXPECT_EQ(cw::first_invalid_metric(ids({2, 0, 1}), h), 2u);
    EXPECT_EQ(cw::first_invalid_metric(ids({2, 3, 1}), h), 1u);  // id beyond the field
    EXPECT_FALSE(cw::are_valid_metrics(ids({0, 3}), h));
    EXPECT_TRUE(cw::are_valid_metrics(ids({2, 0}), h));
    const auto m = field(3, {{1, 0, 1}, {0, 0, 0}});
    EXPECT_EQ(cw::first_invalid_metric(ids({0, 0, 1}), m), 2u);
    EXPECT_EQ(cw::first_invalid_metric(ids({0, 7}), m), 1u);
    EXPECT_TRUE(cw::are_valid_metrics(ids({}), field(5, {{1, 1, 1, 1, 1}})));
    EXPECT_FALSE(cw::are_valid_metrics(ids({0}), field(5, {{1, 1, 1, 1, 1}})));
}

TEST(ValidMetrics, AppendsTheGoodColumnsWithoutClearing) {
    auto list = ids({9});
    cw::valid_metrics(field(3, {{0, 0, 0}, {1, 0, 1}, {-1, 0, 1}, {2, 1, 2}}), list);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0], 9u);
    EXPECT_EQ(list[1], 1u);
    EXPECT_EQ(list[2], 3u);
    cw::valid_metrics(field(2, {{1, 1}}), list);
    EXPECT_EQ(list.size(), 3u);
}

TEST(OverwriteInvalidMetrics, SizesFromSizes) {
    auto h = sizes({0, -1, NaN, 2, 0});
    EXPECT_EQ(cw::overwrite_invalid_metrics(h, sizes({5, 0, 5, 5})), 1);  // -1 has no good replacement
    EXPECT_EQ(h[0], 5);
    EXPECT_EQ(h[1], -1);
    EXPECT_TRUE(std::isnan(h[2]));
    EXPECT_EQ(h[3], 2);
    EXPECT_EQ(h[4], 0);  // beyond the replacements
}

TEST(OverwriteInvalidMetrics, TensorsFromTensors) {
    auto m = field(3, {{0, 0, 0}, {1, 0, 1}, {-1, 0, -1}});
    const auto repl = field(3, {{4, 0, 4}, {9, 0, 9}, {0, 0, 0}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(m, repl), 1);
    EXPECT_EQ(m(0, 0), 4);
    EXPECT_EQ(m(0, 1), 1);
    EXPECT_EQ(m(0, 2), -1);  // the replacement is not valid either

    tq5::dense2D<double> empty;
    EXPECT_EQ(cw::overwrite_invalid_metrics(empty, repl), 0);
    auto bad = field(4, {{0, 0, 0, 0}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(bad, repl), -1);
    auto m3 = field(6, {{0, 0, 0, 0, 0, 0}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(m3, repl), -2);
    EXPECT_EQ(m3(0, 0), 0);
}

TEST(OverwriteInvalidMetrics, TensorsFromSizes) {
    auto m = field(6, {{0, 0, 0, 0, 0, 0}, {1, 0, 1, 0, 0, 1}, {0, 0, 0, 0, 0, 0}, {-1, 0, 1, 0, 0, 1}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(m, sizes({0.5, 0.5, 0, NaN})), 2);
    const double iso[6] = {4, 0, 4, 0, 0, 4};
    for (int r = 0; r < 6; ++r) {
        EXPECT_EQ(m(r, 0), iso[r]);
        EXPECT_EQ(m(r, 3), 0.0);  // a NaN size writes the zero tensor
    }
    EXPECT_EQ(m(0, 1), 1);  // valid: kept
    EXPECT_EQ(m(0, 2), 0);  // size 0: skipped
    auto bad = field(2, {{0, 0}});
    EXPECT_EQ(cw::overwrite_invalid_metrics(bad, sizes({1})), -1);
}

}  // namespace

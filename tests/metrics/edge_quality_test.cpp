#include "test_support.hpp"

TEST(EdgeQuality, LengthOverTheLogarithmicMeanSize) {
    double q = -1;
    EXPECT_EQ(cw::edge_quality(1, 1, 1, q), 0);
    EXPECT_EQ(q, 1);
    EXPECT_EQ(cw::edge_quality(2, 1, std::exp(1.0), q), 0);  // ln(e) - ln(1) = 1 over e - 1
    EXPECT_NEAR(q, 2 / (std::exp(1.0) - 1), 1e-15);
    EXPECT_EQ(cw::edge_quality(1, 0, 1, q), -2);
    EXPECT_EQ(cw::edge_quality(1, 1, -1, q), -3);
}

// The unit square in two triangles, sizes 1: four sides of length 1 and a
// diagonal of sqrt(2), each measured once, less the excluded.
TEST(EdgeQualities, EachEdgeOnceLessTheExcludedAndCodes) {
    const auto pos = columns<double>(2, {0, 0, 1, 0, 1, 1, 0, 1});
    const tq5::dense2D<unsigned> tria = columns(3, {0, 1, 2, 0, 2, 3}), none, *t = &tria;
    tq5::dense1D<double> sizes(4, 1.0);
    auto tensors = columns<double>(3, {1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1});
    const tq5::dense1D<int> one(1, cw::ET_TRIA3), two(2, cw::ET_TRIA3);
    tq5::misc::histogram a, b, c, d, e, h;
    ASSERT_EQ(cw::edge_qualities(pos, tria, cw::ET_TRIA3, tensors, a, none), 0);
    ASSERT_EQ(cw::edge_qualities(pos, tria, cw::ET_TRIA3, sizes, b, none), 0);
    for (const auto* x : {&a, &b}) {
        EXPECT_EQ(x->count(), 5u);
        EXPECT_EQ(x->min(), 1);
        EXPECT_NEAR(x->max(), std::sqrt(2.0), 1e-15);
    }
    // Excluded edges in either direction; all of them: no value, success.
    ASSERT_EQ(cw::edge_qualities(pos, tria, cw::ET_TRIA3, sizes, c, columns(2, {2, 0, 3, 2})), 0);
    EXPECT_EQ(c.count(), 3u);
    EXPECT_EQ(c.max(), 1);
    tq5::dense2D<unsigned> all;
    ASSERT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, all), 0);
    ASSERT_EQ(cw::edge_qualities(pos, t, t + 1, one, tensors, c, all), 0);
    EXPECT_EQ(c.count(), 3u);
    // Edges (0,3) and (2,3) can't be measured: the walk goes on, and -4 (-5 for the range form).
    sizes[3] = 0;
    tensors(2, 3) = -1;
    EXPECT_EQ(cw::edge_qualities(pos, tria, cw::ET_TRIA3, sizes, d, none), -4);
    EXPECT_EQ(cw::edge_qualities(pos, tria, cw::ET_TRIA3, tensors, e, none), -4);
    EXPECT_EQ(d.count(), 3u);
    EXPECT_EQ(e.count(), 3u);
    const tq5::dense2D<double> pos4(4, 4, 0.0);
    const tq5::dense2D<unsigned> far = columns(3, {0, 1, 9}), bad_excluded(2, 1, 9u);
    const tq5::dense1D<double> short_sizes(3, 1.0);
    expect_codes({
        {cw::edge_qualities(pos4, tria, cw::ET_TRIA3, sizes, h, none), -1},
        {cw::edge_qualities(pos, far, cw::ET_TRIA3, sizes, h, none), -2},
        {cw::edge_qualities(pos, tria, cw::ET_QUAD4, sizes, h, none), -2},
        {cw::edge_qualities(pos, tria, cw::ET_TRIA3, sizes, h, bad_excluded), -6},
        {cw::edge_qualities(pos, tria, cw::ET_TRIA3, short_sizes, h, none), -4},
        {cw::edge_qualities(pos4, t, t, one, sizes, h, none), 0},       // no block
        {cw::edge_qualities(pos4, t, t + 1, two, sizes, h, none), -1},  // before the type count
        {cw::edge_qualities(pos, t, t + 1, two, sizes, h, none), -4},
        {cw::edge_qualities(pos, t + 1, t, one, sizes, h, none), -4},
        {cw::edge_qualities(pos, &far, &far + 1, one, sizes, h, none), -2},
        {cw::edge_qualities(pos, t, t + 1, one, tensors, h, bad_excluded), -7},
        {cw::edge_qualities(pos, t, t + 1, one, short_sizes, h, none), -5},
        {cw::edge_qualities(pos, t, t + 1, one, sizes, h, none), -5},
    });
}

// 3D: the unit tetrahedron with size 0.5: three edges of length 1, three of sqrt(2).
TEST(EdgeQualities, TetrahedronWithIsotropicTensors) {
    const auto pos = columns<double>(3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1});
    tq5::dense2D<double> metrics(6, 4);
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(tq5::dense1D<double>(4, 0.5), metrics), 0);
    tq5::misc::histogram hist;
    ASSERT_EQ(cw::edge_qualities(pos, columns(4, {0, 1, 2, 3}), cw::ET_TETRA4, metrics, hist, {}), 0);
    EXPECT_EQ(hist.count(), 6u);
    EXPECT_NEAR(hist.min(), 2, 1e-14);
    EXPECT_NEAR(hist.max(), 2 * std::sqrt(2.0), 1e-14);
    EXPECT_NEAR(hist.mean(), 1 + std::sqrt(2.0), 1e-14);
}

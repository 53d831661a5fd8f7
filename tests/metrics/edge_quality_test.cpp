#include <gtest/gtest.h>

#include <cmath>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using metric_testing::columns;

// The unit square in two triangles, sizes 1: four sides of length 1 and a
// diagonal of sqrt(2).
struct square {
    tq5::dense2D<double> pos = columns<double>(2, {{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    tq5::dense2D<unsigned> tria = columns<unsigned>(3, {{0, 1, 2}, {0, 2, 3}}), none;
    tq5::dense1D<double> sizes{4, 1.0};
    tq5::dense2D<double> tensors = columns<double>(3, {{1, 0, 1}, {1, 0, 1}, {1, 0, 1}, {1, 0, 1}});
    tq5::dense1D<int> one{1, cw::ET_TRIA3};
};

TEST(EdgeQuality, LengthOverTheLogarithmicMeanSize) {
    double q = -1;
    EXPECT_TRUE(cw::edge_quality(1, 1, 1, q) == 0 && q == 1);
    EXPECT_TRUE(cw::edge_quality(2, 1, std::exp(1.0), q) == 0 && std::fabs(q - 2 / (std::exp(1.0) - 1)) < 1e-15);
    EXPECT_EQ(cw::edge_quality(1, 0, 1, q), -2);
    EXPECT_EQ(cw::edge_quality(1, 1, -1, q), -3);
}

TEST(EdgeQualities, EachEdgeOnceLessTheExcluded) {
    square s;
    tq5::misc::histogram a, b, c;
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.tensors, a, s.none), 0);
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, b, s.none), 0);
    for (const auto* h : {&a, &b})
        EXPECT_TRUE(h->count() == 5 && h->min() == 1 && std::fabs(h->max() - std::sqrt(2.0)) < 1e-15);
    // Excluded edges in either direction; all of them: no value, success.
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, c, columns<unsigned>(2, {{2, 0}, {3, 2}})), 0);
    EXPECT_TRUE(c.count() == 3 && c.max() == 1);
    tq5::dense2D<unsigned> all;
    ASSERT_EQ(cw::copy_edges(s.tria, cw::ET_TRIA3, all), 0);
    ASSERT_EQ(cw::edge_qualities(s.pos, &s.tria, &s.tria + 1, s.one, s.tensors, c, all), 0);
    EXPECT_EQ(c.count(), 3u);
}

TEST(EdgeQualities, CodesOfTheOneTypeAndRangeForms) {
    square s;
    s.sizes[3] = 0;        // edges (0,3) and (2,3) can't be measured
    s.tensors(2, 3) = -1;  // the same with tensors
    tq5::misc::histogram a, b, h;
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, a, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.tensors, b, s.none), -4);
    EXPECT_TRUE(a.count() == 3 && b.count() == 3);  // the walk goes on
    const tq5::dense2D<double> pos4(4, 4, 0.0);
    const tq5::dense2D<unsigned> far = columns<unsigned>(3, {{0, 1, 9}}), bad_excluded(2, 1, 9u);
    const tq5::dense1D<double> short_sizes(3, 1.0);
    const tq5::dense1D<int> two(2, cw::ET_TRIA3);
    EXPECT_EQ(cw::edge_qualities(pos4, s.tria, cw::ET_TRIA3, s.sizes, h, s.none), -1);
    EXPECT_EQ(cw::edge_qualities(s.pos, far, cw::ET_TRIA3, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_QUAD4, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, h, bad_excluded), -6);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, short_sizes, h, s.none), -4);
    const tq5::dense2D<unsigned>* t = &s.tria;
    EXPECT_EQ(cw::edge_qualities(pos4, t, t, s.one, s.sizes, h, s.none), 0);  // no block
    EXPECT_EQ(cw::edge_qualities(pos4, t, t + 1, s.one, s.sizes, h, s.none), -1);
    EXPECT_EQ(cw::edge_qualities(s.pos, t, t + 1, two, s.sizes, h, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, t + 1, t, s.one, s.sizes, h, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, &far, &far + 1, s.one, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, t, t + 1, s.one, s.tensors, h, bad_excluded), -7);
    EXPECT_EQ(cw::edge_qualities(s.pos, t, t + 1, s.one, short_sizes, h, s.none), -5);
    EXPECT_EQ(cw::edge_qualities(s.pos, t, t + 1, s.one, s.sizes, h, s.none), -5);
}

TEST(EdgeQualities, BlockOfTetrahedraWithIsotropicTensors) {
    tq5::dense2D<double> pos, metrics;
    tq5::dense2D<unsigned> tets, edges;
    ASSERT_TRUE(tq5::examples::block_nodes(3, 3, 3, pos) && tq5::examples::block_tetra(3, 3, 3, tets));
    ASSERT_EQ(cw::copy_edges(tets, cw::ET_TETRA4, edges), 0);
    ASSERT_TRUE(metrics.resize(6, pos.cols()));
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(tq5::dense1D<double>(pos.cols(), 0.5), metrics), 0);
    tq5::misc::histogram hist;
    ASSERT_EQ(cw::edge_qualities(pos, tets, cw::ET_TETRA4, metrics, hist, tq5::dense2D<unsigned>()), 0);
    EXPECT_EQ(hist.count(), edges.cols());
    EXPECT_NEAR(hist.min(), 2, 1e-14);                   // lattice edges of length 1
    EXPECT_NEAR(hist.max(), 2 * std::sqrt(3.0), 1e-14);  // the cell diagonals
}

}  // namespace

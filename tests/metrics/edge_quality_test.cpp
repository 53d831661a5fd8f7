#include <gtest/gtest.h>

#include <cmath>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"

namespace {

namespace cw = tq5::cellworks;

// The unit square split in two triangles: edges 1, 1, 1, 1 and sqrt(2).
struct square {
    tq5::dense2D<double> pos{2, 4};
    tq5::dense2D<unsigned> tria{3, 2};
    tq5::dense1D<double> sizes{4, 1.0};
    tq5::dense2D<double> tensors{3, 4, 0.0};
    tq5::dense2D<unsigned> none;
    square() {
        const double xy[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        const unsigned t[2][3] = {{0, 1, 2}, {0, 2, 3}};
        for (int n = 0; n < 4; ++n) {
            pos(0, n) = xy[n][0];
            pos(1, n) = xy[n][1];
            tensors(0, n) = tensors(2, n) = 1;
        }
        for (int e = 0; e < 2; ++e)
            for (int r = 0; r < 3; ++r) tria(r, e) = t[e][r];
    }
};

TEST(EdgeQuality, LengthOverTheLogarithmicMeanSize) {
    double q = -1;
    ASSERT_EQ(cw::edge_quality(1, 1, 1, q), 0);
    EXPECT_EQ(q, 1);
    ASSERT_EQ(cw::edge_quality(2, 1, std::exp(1.0), q), 0);
    EXPECT_NEAR(q, 2 / (std::exp(1.0) - 1), 1e-15);
    EXPECT_EQ(cw::edge_quality(1, 0, 1, q), -2);
    EXPECT_EQ(cw::edge_quality(1, 1, -1, q), -3);
}

TEST(EdgeQualities, EachEdgeOnceWithTensorsOrSizes) {
    square s;
    tq5::misc::histogram a, b;
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.tensors, a, s.none), 0);
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, b, s.none), 0);
    for (const auto* h : {&a, &b}) {
        EXPECT_EQ(h->count(), 5u);
        EXPECT_EQ(h->min(), 1);                         // the four sides
        EXPECT_NEAR(h->max(), std::sqrt(2.0), 1e-15);  // the diagonal
        EXPECT_NEAR(h->mean(), (4 + std::sqrt(2.0)) / 5, 1e-15);
    }
}

TEST(EdgeQualities, ExcludedEdgesAreNotMeasured) {
    square s;
    tq5::dense2D<unsigned> excluded(2, 2);
    excluded(0, 0) = 2, excluded(1, 0) = 0;  // the diagonal, high node first
    excluded(0, 1) = 3, excluded(1, 1) = 2;
    tq5::misc::histogram h;
    ASSERT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, h, excluded), 0);
    EXPECT_EQ(h.count(), 3u);
    EXPECT_EQ(h.max(), 1);
    // All excluded: nothing processed, success.
    tq5::dense2D<unsigned> all;
    ASSERT_EQ(cw::copy_edges(s.tria, cw::ET_TRIA3, all), 0);
    tq5::misc::histogram none;
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.tensors, none, all), 0);
    EXPECT_EQ(none.count(), 0u);
}

TEST(EdgeQualities, InvalidMetricsSkipTheirEdgesAndTheWalkGoesOn) {
    square s;
    s.sizes[3] = 0;   // edges (0,3) and (2,3) are not measured
    s.tensors(2, 3) = -1;
    tq5::misc::histogram a, b;
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, a, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.tensors, b, s.none), -4);
    EXPECT_EQ(a.count(), 3u);
    EXPECT_EQ(b.count(), 3u);
    // The range form reports the same as -5.
    tq5::dense1D<int> types(1, cw::ET_TRIA3);
    EXPECT_EQ(cw::edge_qualities(s.pos, &s.tria, &s.tria + 1, types, s.sizes, a, s.none), -5);
}

TEST(EdgeQualities, CodesOfTheOneTypeAndRangeForms) {
    square s;
    tq5::misc::histogram h;
    tq5::dense2D<double> pos4(4, 4, 0.0);
    tq5::dense2D<unsigned> bad_excluded(2, 1, 9u), bad_tria(3, 1, 9u);
    tq5::dense1D<double> short_sizes(3, 1.0);
    EXPECT_EQ(cw::edge_qualities(pos4, s.tria, cw::ET_TRIA3, s.sizes, h, s.none), -1);
    EXPECT_EQ(cw::edge_qualities(s.pos, bad_tria, cw::ET_TRIA3, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_QUAD4, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, s.sizes, h, bad_excluded), -6);
    EXPECT_EQ(cw::edge_qualities(s.pos, s.tria, cw::ET_TRIA3, short_sizes, h, s.none), -4);
    EXPECT_EQ(h.count(), 3u);  // the field mismatch does not stop the walk

    tq5::dense1D<int> one(1, cw::ET_TRIA3), two(2, cw::ET_TRIA3);
    const tq5::dense2D<unsigned>* b = &s.tria;
    EXPECT_EQ(cw::edge_qualities(pos4, b, b, one, s.sizes, h, s.none), 0);  // no block at all
    EXPECT_EQ(cw::edge_qualities(pos4, b, b + 1, one, s.sizes, h, s.none), -1);
    EXPECT_EQ(cw::edge_qualities(s.pos, b, b + 1, two, s.sizes, h, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, b + 1, b, one, s.sizes, h, s.none), -4);
    EXPECT_EQ(cw::edge_qualities(s.pos, &bad_tria, &bad_tria + 1, one, s.sizes, h, s.none), -2);
    EXPECT_EQ(cw::edge_qualities(s.pos, b, b + 1, one, s.tensors, h, bad_excluded), -7);
    EXPECT_EQ(cw::edge_qualities(s.pos, b, b + 1, one, short_sizes, h, s.none), -5);
}

TEST(EdgeQualities, Hexa20YieldsNoEdge) {
    tq5::dense2D<double> pos(3, 20, 0.0);
    tq5::dense2D<unsigned> hexa(20, 1);
    for (unsigned r = 0; r < 20; ++r) hexa(r, 0) = r;
    tq5::misc::histogram h;
    EXPECT_EQ(cw::edge_qualities(pos, hexa, cw::ET_HEXA20, tq5::dense1D<double>(20, 1.0), h, tq5::dense2D<unsigned>()), 0);
    EXPECT_EQ(h.count(), 0u);
}

TEST(EdgeQualities, BlockOfTetrahedraWithIsotropicTensors) {
    tq5::dense2D<double> pos, metrics;
    tq5::dense2D<unsigned> tets, edges;
    ASSERT_TRUE(tq5::examples::block_nodes(3, 3, 3, pos));
    ASSERT_TRUE(tq5::examples::block_tetra(3, 3, 3, tets));
    ASSERT_EQ(cw::copy_edges(tets, cw::ET_TETRA4, edges), 0);
    tq5::dense1D<double> h(pos.cols(), 0.5);
    ASSERT_TRUE(metrics.resize(6, pos.cols()));
    ASSERT_EQ(cw::metrics_iso_to_aniso3d(h, metrics), 0);
    tq5::misc::histogram hist(0, 4, 400);
    ASSERT_EQ(cw::edge_qualities(pos, tets, cw::ET_TETRA4, metrics, hist, tq5::dense2D<unsigned>()), 0);
    EXPECT_EQ(hist.count(), edges.cols());
    EXPECT_NEAR(hist.min(), 2, 1e-14);               // lattice edges of length 1
    EXPECT_NEAR(hist.max(), 2 * std::sqrt(3.0), 1e-14);  // the cell diagonals
}

}  // namespace

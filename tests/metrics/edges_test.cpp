#include <gtest/gtest.h>

#include <set>
#include <utility>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"

namespace {

namespace cw = tq5::cellworks;
using cw::NO_INDEX;

tq5::dense2D<unsigned> columns(std::size_t rows, std::initializer_list<std::initializer_list<unsigned>> cols) {
    tq5::dense2D<unsigned> m(rows, cols.size());
    std::size_t c = 0;
    for (auto& col : cols) {
        std::size_t r = 0;
        for (unsigned x : col) m(r++, c) = x;
        ++c;
    }
    return m;
}

// One element numbered 0, 1, 2, ... of a fixed type.
tq5::dense2D<unsigned> one_element(cw::element_type type) {
    tq5::dense2D<unsigned> m(cw::node_count(type), 1);
    for (unsigned r = 0; r < m.rows(); ++r) m(r, 0) = r;
    return m;
}

std::set<std::pair<unsigned, unsigned>> as_set(const tq5::dense2D<unsigned>& e, std::size_t from = 0) {
    std::set<std::pair<unsigned, unsigned>> s;
    for (std::size_t c = from; c < e.cols(); ++c) s.insert({e(0, c), e(1, c)});
    return s;
}

TEST(CopyEdges, EdgeCountPerType) {
    const std::pair<cw::element_type, std::size_t> cases[] = {
        {cw::ET_BAR2, 1},   {cw::ET_BAR3, 1},    {cw::ET_TRIA3, 3},  {cw::ET_TRIA6, 3},  {cw::ET_QUAD4, 4},
        {cw::ET_QUAD8, 4},  {cw::ET_QUAD9, 4},   {cw::ET_TETRA4, 6}, {cw::ET_TETRA10, 6}, {cw::ET_PYRA5, 8},
        {cw::ET_PYRA14, 8}, {cw::ET_PENTA6, 9},  {cw::ET_PENTA18, 9}, {cw::ET_HEXA8, 12}, {cw::ET_HEXA27, 12},
        {cw::ET_HEXA20, 0}, {cw::ET_NODE, 0}};
    for (const auto& c : cases) {
        tq5::dense2D<unsigned> edges;
        ASSERT_EQ(cw::copy_edges(one_element(c.first), c.first, edges), 0) << c.first;
        EXPECT_EQ(edges.cols(), c.second) << c.first;
        // Corner nodes only: mid-side nodes never appear.
        for (std::size_t e = 0; e < edges.cols(); ++e) EXPECT_LT(edges(1, e), cw::corner_count(c.first));
    }
}

TEST(CopyEdges, MixedColumnsUseTheTableOfTheirKind) {
    const unsigned X = NO_INDEX;
    tq5::dense2D<unsigned> edges;
    // A triangle and a quadrangle sharing the edge (1, 2).
    ASSERT_EQ(cw::copy_edges(columns(4, {{0, 1, 2, X}, {1, 3, 4, 2}}), cw::ET_FACE_MIX, edges), 0);
    EXPECT_EQ(edges.cols(), 6u);
    // A tetrahedron, pyramid, prism and hexahedron, each alone.
    const std::size_t counts[4] = {6, 8, 9, 12};
    for (unsigned k = 0; k < 4; ++k) {
        const unsigned nodes = k == 3 ? 8 : 4 + k;
        tq5::dense2D<unsigned> solid(8, 1, X);
        for (unsigned r = 0; r < nodes; ++r) solid(r, 0) = r;
        edges.clear();
        ASSERT_EQ(cw::copy_edges(solid, cw::ET_SOLID_MIX, edges), 0);
        EXPECT_EQ(edges.cols(), counts[k]);
    }
    // A 4-row mixed solid holds tetrahedra only.
    edges.clear();
    ASSERT_EQ(cw::copy_edges(columns(4, {{0, 1, 2, 3}}), cw::ET_SOLID_MIX, edges), 0);
    EXPECT_EQ(edges.cols(), 6u);
}

TEST(CopyEdges, SharedEdgeOnceLowFirstSortedAndAppended) {
    const auto tria = columns(3, {{0, 1, 2}, {1, 0, 3}});
    tq5::dense2D<unsigned> edges;
    ASSERT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    const unsigned want[5][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}};
    ASSERT_EQ(edges.rows(), 2u);
    ASSERT_EQ(edges.cols(), 5u);
    for (int e = 0; e < 5; ++e) {
        EXPECT_EQ(edges(0, e), want[e][0]);
        EXPECT_EQ(edges(1, e), want[e][1]);
    }
    // A second call appends every edge again behind the first ones.
    ASSERT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    ASSERT_EQ(edges.cols(), 10u);
    EXPECT_EQ(as_set(edges, 5), as_set(edges));
}

TEST(CopyEdges, BlocksMatchABruteForceSet) {
    tq5::dense2D<unsigned> blocks[2];
    ASSERT_TRUE(tq5::examples::block_tetra(4, 3, 5, blocks[0]));
    ASSERT_TRUE(tq5::examples::block_hexa(4, 3, 5, blocks[1]));
    std::set<std::pair<unsigned, unsigned>> want;
    const cw::element_type types[2] = {cw::ET_TETRA4, cw::ET_HEXA8};
    const unsigned pairs[2][12][2] = {{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}},
                                      {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}};
    for (int b = 0; b < 2; ++b)
        for (std::size_t c = 0; c < blocks[b].cols(); ++c)
            for (unsigned k = 0; k < (b ? 12u : 6u); ++k) {
                const unsigned i = blocks[b](pairs[b][k][0], c), j = blocks[b](pairs[b][k][1], c);
                want.insert({std::min(i, j), std::max(i, j)});
            }
    tq5::dense1D<int> t;
    t.push_back(types[0]);
    t.push_back(types[1]);
    tq5::dense2D<unsigned> edges;
    ASSERT_EQ(cw::copy_edges(blocks, blocks + 2, t, edges), 0);
    ASSERT_EQ(edges.cols(), want.size());
    EXPECT_EQ(as_set(edges), want);
    for (std::size_t e = 1; e < edges.cols(); ++e)
        EXPECT_TRUE(std::make_pair(edges(0, e - 1), edges(1, e - 1)) < std::make_pair(edges(0, e), edges(1, e)));
}

TEST(CopyEdges, Codes) {
    const auto tria = columns(3, {{0, 1, 2}});
    tq5::dense2D<unsigned> edges, three_rows(3, 1, 0u);
    EXPECT_EQ(cw::copy_edges(tq5::dense2D<unsigned>(), cw::ET_TRIA3, three_rows), 0);
    EXPECT_EQ(cw::copy_edges(columns(2, {{0, 1}}), cw::ET_TRIA3, edges), -1);  // rows of another type
    EXPECT_EQ(cw::copy_edges(columns(5, {{0, 1, 2, 3, 4}}), cw::ET_FACE_MIX, edges), -1);
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, three_rows), -3);

    tq5::dense2D<unsigned> blocks[2] = {tria, tria};
    tq5::dense1D<int> t(2, cw::ET_TRIA3), t1(1, cw::ET_TRIA3);
    EXPECT_EQ(cw::copy_edges(blocks + 1, blocks, t, edges), -2);
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t1, edges), -3);
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t, three_rows), -4);
    t[1] = cw::ET_QUAD4;
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t, edges), -1);
    EXPECT_EQ(cw::copy_edges(blocks, blocks, tq5::dense1D<int>(), edges), 0);
    EXPECT_TRUE(edges.empty());
}

TEST(CopyEdges, StorageFailures) {
    const auto tria = columns(3, {{0, 1, 2}, {1, 0, 3}});
    tq5::dense2D<unsigned> edges = columns(2, {{7, 8}});
    // The working list is obtained, the output can't grow: unchanged.
    tq5::testing::fail_allocations_after(1);
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), cw::ERR_ALLOC);
    // The working list itself can't be obtained: nothing found, result 0.
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(edges.cols(), 1u);
    EXPECT_EQ(edges(0, 0), 7u);
}

}  // namespace

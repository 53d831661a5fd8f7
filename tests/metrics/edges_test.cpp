#include <gtest/gtest.h>

#include <set>
#include <utility>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "metric_testing.hpp"

namespace {

namespace cw = tq5::cellworks;
using cw::NO_INDEX;
const auto columns = &metric_testing::columns<unsigned>;

TEST(CopyEdges, EdgeCountPerType) {
    const std::pair<cw::element_type, std::size_t> cases[] = {
        {cw::ET_BAR2, 1},   {cw::ET_BAR3, 1},    {cw::ET_TRIA3, 3},  {cw::ET_TRIA6, 3},  {cw::ET_QUAD4, 4},
        {cw::ET_QUAD8, 4},  {cw::ET_QUAD9, 4},   {cw::ET_TETRA4, 6}, {cw::ET_TETRA10, 6}, {cw::ET_PYRA5, 8},
        {cw::ET_PYRA14, 8}, {cw::ET_PENTA6, 9},  {cw::ET_PENTA18, 9}, {cw::ET_HEXA8, 12}, {cw::ET_HEXA27, 12},
        {cw::ET_HEXA20, 0}, {cw::ET_NODE, 0}};
    for (const auto& c : cases) {
        tq5::dense2D<unsigned> element(cw::node_count(c.first), 1), edges;
        for (unsigned r = 0; r < element.rows(); ++r) element(r, 0) = r;
        ASSERT_EQ(cw::copy_edges(element, c.first, edges), 0) << c.first;
        EXPECT_EQ(edges.cols(), c.second) << c.first;
        for (std::size_t e = 0; e < edges.cols(); ++e) EXPECT_LT(edges(1, e), cw::corner_count(c.first));
    }
    // Mixed kinds: each column by its own table.
    const unsigned X = NO_INDEX;
    tq5::dense2D<unsigned> edges;
    ASSERT_EQ(cw::copy_edges(columns(4, {{0, 1, 2, X}, {1, 3, 4, 2}}), cw::ET_FACE_MIX, edges), 0);
    EXPECT_EQ(edges.cols(), 6u);  // the triangle and the quadrangle share (1, 2)
    const std::size_t solid_counts[4] = {6, 8, 9, 12};
    for (unsigned k = 0; k < 4; ++k) {
        tq5::dense2D<unsigned> solid(8, 1, X);
        for (unsigned r = 0; r < (k == 3 ? 8 : 4 + k); ++r) solid(r, 0) = r;
        edges.clear();
        ASSERT_EQ(cw::copy_edges(solid, cw::ET_SOLID_MIX, edges), 0);
        EXPECT_EQ(edges.cols(), solid_counts[k]);
    }
}

TEST(CopyEdges, SharedEdgeOnceLowFirstSortedThenAppended) {
    const auto tria = columns(3, {{0, 1, 2}, {1, 0, 3}});
    tq5::dense2D<unsigned> edges;
    ASSERT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    ASSERT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);  // a second call appends them all again
    const unsigned want[5][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}};
    ASSERT_EQ(edges.cols(), 10u);
    for (unsigned e = 0; e < 10; ++e) EXPECT_TRUE(edges(0, e) == want[e % 5][0] && edges(1, e) == want[e % 5][1]);
}

TEST(CopyEdges, BlocksMatchABruteForceSet) {
    tq5::dense2D<unsigned> blocks[2], edges;
    ASSERT_TRUE(tq5::examples::block_tetra(4, 3, 5, blocks[0]) && tq5::examples::block_hexa(4, 3, 5, blocks[1]));
    const unsigned pairs[2][12][2] = {{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}},
                                      {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}};
    std::set<std::pair<unsigned, unsigned>> want;
    for (int b = 0; b < 2; ++b)
        for (std::size_t c = 0; c < blocks[b].cols(); ++c)
            for (unsigned k = 0; k < (b ? 12u : 6u); ++k) {
                const unsigned i = blocks[b](pairs[b][k][0], c), j = blocks[b](pairs[b][k][1], c);
                want.insert({std::min(i, j), std::max(i, j)});
            }
    ASSERT_EQ(cw::copy_edges(blocks, blocks + 2, metric_testing::values<int>({cw::ET_TETRA4, cw::ET_HEXA8}), edges), 0);
    ASSERT_EQ(edges.cols(), want.size());
    std::size_t e = 0;
    for (const auto& p : want) EXPECT_TRUE(edges(0, e) == p.first && edges(1, e++) == p.second);
}

TEST(CopyEdges, Codes) {
    const auto tria = columns(3, {{0, 1, 2}});
    tq5::dense2D<unsigned> edges, three_rows(3, 1, 0u), blocks[2] = {tria, tria};
    EXPECT_EQ(cw::copy_edges(tq5::dense2D<unsigned>(), cw::ET_TRIA3, three_rows), 0);
    EXPECT_EQ(cw::copy_edges(columns(2, {{0, 1}}), cw::ET_TRIA3, edges), -1);  // not the rows of the type
    EXPECT_EQ(cw::copy_edges(columns(5, {{0, 1, 2, 3, 4}}), cw::ET_FACE_MIX, edges), -1);
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, three_rows), -3);
    tq5::dense1D<int> t(2, cw::ET_TRIA3), t1(1, cw::ET_TRIA3);
    EXPECT_EQ(cw::copy_edges(blocks + 1, blocks, t, edges), -2);
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t1, edges), -3);
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t, three_rows), -4);
    t[1] = cw::ET_QUAD4;
    EXPECT_EQ(cw::copy_edges(blocks, blocks + 2, t, edges), -1);
    EXPECT_TRUE(edges.empty());
}

TEST(CopyEdges, StorageFailures) {
    const auto tria = columns(3, {{0, 1, 2}, {1, 0, 3}});
    tq5::dense2D<unsigned> edges = columns(2, {{7, 8}});
    tq5::testing::fail_allocations_after(1);  // the working list is obtained, the output can't grow
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(0);  // no working list: nothing found, and 0
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(edges.cols() == 1 && edges(0, 0) == 7);
}

}  // namespace

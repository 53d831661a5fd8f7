#include "test_support.hpp"

// One element numbered 0, 1, 2, ... of each type: its edge count, and only
// corner nodes (mid-side nodes take no part). ET_HEXA20 yields none, unlike
// ET_HEXA8 and ET_HEXA27. Mixed columns go by their own table.
TEST(CopyEdges, EdgesOfOneElementPerType) {
    const std::pair<cw::element_type, std::size_t> cases[] = {
        {cw::ET_BAR2, 1},   {cw::ET_BAR3, 1},   {cw::ET_TRIA3, 3},   {cw::ET_TRIA6, 3},   {cw::ET_QUAD4, 4},
        {cw::ET_QUAD8, 4},  {cw::ET_QUAD9, 4},  {cw::ET_TETRA4, 6},  {cw::ET_TETRA10, 6}, {cw::ET_PYRA5, 8},
        {cw::ET_PYRA14, 8}, {cw::ET_PENTA6, 9}, {cw::ET_PENTA18, 9}, {cw::ET_HEXA8, 12},  {cw::ET_HEXA27, 12},
        {cw::ET_HEXA20, 0}, {cw::ET_NODE, 0}};
    for (const auto& c : cases) {
        tq5::dense2D<unsigned> element(cw::node_count(c.first), 1), edges;
        for (unsigned r = 0; r < element.rows(); ++r) element(r, 0) = r;
        ASSERT_EQ(cw::copy_edges(element, c.first, edges), 0) << c.first;
        EXPECT_EQ(edges.cols(), c.second) << c.first;
        for (std::size_t e = 0; e < edges.cols(); ++e) EXPECT_LT(edges(1, e), cw::corner_count(c.first));
    }
    tq5::dense2D<unsigned> edges;
    ASSERT_EQ(cw::copy_edges(padded(4, {0, 1, 2, NO, 1, 3, 4, 2}), cw::ET_FACE_MIX, edges), 0);
    EXPECT_EQ(values(edges), (list{0, 1, 0, 2, 1, 2, 1, 3, 2, 4, 3, 4}));  // (1, 2) shared
    edges.clear();  // a 3-row mixed surface is triangles: no fourth row is read
    ASSERT_EQ(cw::copy_edges(columns(3, {0, 1, 2, 1, 0, 3}), cw::ET_FACE_MIX, edges), 0);
    EXPECT_EQ(values(edges), (list{0, 1, 0, 2, 0, 3, 1, 2, 1, 3}));
    edges.clear();  // a tetrahedron, a pyramid, a prism and a hexahedron without common nodes: 6 + 8 + 9 + 12
    ASSERT_EQ(cw::copy_edges(columns(8, {0,  1,  2,  3,  NO, NO, NO, NO, 10, 11, 12, 13, 14, NO, NO, NO,
                                         20, 21, 22, 23, 24, 25, NO, NO, 30, 31, 32, 33, 34, 35, 36, 37}),
                             cw::ET_SOLID_MIX, edges),
              0);
    EXPECT_EQ(edges.cols(), 35u);
}

// Two blocks, each of its own type, against a brute-force set of their edges
// from the tables written out here; a second call appends all the edges again.
TEST(CopyEdges, BlocksMatchABruteForceSetAndAreAppended) {
    tq5::dense2D<unsigned> blocks[2], edges;
    ASSERT_TRUE(tq5::fixtures::block_tetra(4, 3, 5, blocks[0]));
    ASSERT_TRUE(tq5::fixtures::block_hexa(4, 3, 5, blocks[1]));
    for (std::size_t i = 0; i < blocks[1].size(); ++i) blocks[1].data()[i] += 1000;  // no edge shared with the tets
    const unsigned pairs[2][12][2] = {
        {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}},
        {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}};
    std::set<std::pair<unsigned, unsigned>> unique;
    for (int b = 0; b < 2; ++b)
        for (std::size_t c = 0; c < blocks[b].cols(); ++c)
            for (unsigned k = 0; k < (b ? 12u : 6u); ++k) {
                const unsigned i = blocks[b](pairs[b][k][0], c), j = blocks[b](pairs[b][k][1], c);
                unique.insert({std::min(i, j), std::max(i, j)});
            }
    list want;
    for (const auto& p : unique) want.insert(want.end(), {p.first, p.second});
    const list once = want;
    want.insert(want.end(), once.begin(), once.end());
    const auto types = vec<int>({cw::ET_TETRA4, cw::ET_HEXA8});
    ASSERT_EQ(cw::copy_edges(blocks, blocks + 2, types, edges), 0);
    ASSERT_EQ(cw::copy_edges(blocks, blocks + 2, types, edges), 0);
    EXPECT_EQ(values(edges), want);
}

TEST(CopyEdges, CodesAndStorageFailures) {
    const auto tria = columns(3, {0, 1, 2, 1, 0, 3});
    tq5::dense2D<unsigned> edges, three_rows(3, 1, 0u), shapeless(0, 5), blocks[2] = {tria, tria};
    const auto t = vec<int>({cw::ET_TRIA3, cw::ET_TRIA3}), t1 = vec<int>({cw::ET_TRIA3});
    const auto tq = vec<int>({cw::ET_TRIA3, cw::ET_QUAD4});
    expect_codes({
        {cw::copy_edges(tq5::dense2D<unsigned>(), cw::ET_TRIA3, three_rows), 0},
        {cw::copy_edges(columns(2, {0, 1}), cw::ET_TRIA3, edges), -1},  // not the rows of the type
        {cw::copy_edges(columns(5, {0, 1, 2, 3, 4}), cw::ET_FACE_MIX, edges), -1},
        {cw::copy_edges(tria, cw::ET_TRIA3, three_rows), -3},
        {cw::copy_edges(blocks + 1, blocks, t, edges), -2},
        {cw::copy_edges(blocks, blocks + 2, t1, edges), -3},
        {cw::copy_edges(blocks, blocks + 2, t, three_rows), -4},
        {cw::copy_edges(blocks, blocks + 2, tq, edges), -1},
        {cw::copy_edges(tria, cw::ET_TRIA3, shapeless), 0},
    });
    EXPECT_TRUE(edges.empty());
    EXPECT_EQ(shapeless.rows(), 2u);  // an empty list of any shape starts from no column
    EXPECT_EQ(values(shapeless), (list{0, 1, 0, 2, 0, 3, 1, 2, 1, 3}));
    edges = columns(2, {7, 8});
    tq5::testing::fail_allocations_after(1);  // the working list is obtained, the output can't grow
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(0);  // no working list: nothing found, and 0
    EXPECT_EQ(cw::copy_edges(tria, cw::ET_TRIA3, edges), 0);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(values(edges), (list{7, 8}));
}

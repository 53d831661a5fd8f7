#include "test_support.hpp"

using graph_fn = int (*)(const tq5::dense2D<unsigned>&, tq5::dense1D<unsigned>&, tq5::dense1D<unsigned>&) noexcept;
using graph = std::pair<list, list>;  // indices, values

static graph run(graph_fn f, const tq5::dense2D<unsigned>& c) {
    tq5::dense1D<unsigned> i(3, 1u), v(3, 1u);
    EXPECT_EQ(f(c, i, v), 0);
    return {values(i), values(v)};
}

TEST(NodeGraph, HandExamples) {
    const auto two = columns(3, {0, 1, 2, 2, 1, 3});
    EXPECT_EQ(run(cw::get_connected_elements, two), (graph{{0, 1, 3, 5, 6}, {0, 0, 1, 0, 1, 1}}));
    // Node 1: 0, 2 from element 0, then 3 from element 1; never itself.
    EXPECT_EQ(run(cw::get_node_graph, two), (graph{{0, 2, 5, 8, 10}, {1, 2, 0, 2, 3, 0, 1, 3, 2, 1}}));
    // NO_INDEX is neither counted nor listed; node 1 is unused and keeps an empty range.
    const auto gaps = padded(3, {0, NO, 2, 2, 3, NO});
    EXPECT_EQ(run(cw::get_connected_elements, gaps), (graph{{0, 1, 1, 3, 4}, {0, 0, 1, 1}}));
    EXPECT_EQ(run(cw::get_node_graph, gaps), (graph{{0, 1, 1, 3, 4}, {2, 0, 3, 2}}));
    // A repeated node lists its element once per occurrence, but is one neighbour.
    EXPECT_EQ(run(cw::get_connected_elements, columns(3, {1, 0, 1})), (graph{{0, 1, 3}, {0, 0, 0}}));
    EXPECT_EQ(run(cw::get_node_graph, columns(3, {1, 0, 1})), (graph{{0, 1, 2}, {1, 0}}));
    for (graph_fn f : {cw::get_connected_elements, cw::get_node_graph}) {
        EXPECT_EQ(run(f, tq5::dense2D<unsigned>(0, 5)), (graph{{0}, {}}));
        EXPECT_EQ(run(f, columns(2, {NO, NO})), (graph{{0, 0}, {}}));
    }
}

TEST(NodeGraph, AncestorsKeepTheLastElementAndRespectAPresizedVector) {
    tq5::dense1D<unsigned> a, parent(3, 7u), sized = parent.sub_vector(0, 2), none;
    ASSERT_EQ(cw::get_ancestors(tq5::dense2D<unsigned>(), a), 0);
    EXPECT_TRUE(a.empty());
    ASSERT_EQ(cw::get_ancestors(padded(3, {4, 1, 2, 2, NO, 0}), a), 0);  // sized by node 4, met first
    EXPECT_EQ(values(a), (list{1, 0, 1, NO, 0}));
    ASSERT_EQ(cw::get_ancestors(columns(3, {5, 1, 2}), sized), 0);  // nodes 2 and 5 lie beyond its size
    EXPECT_EQ(values(parent), (list{7, 0, 7}));
    const auto bar = columns(2, {0, 1});
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::get_ancestors(bar, none), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(none.empty());
}

// Blocks against brute force; a padded view (ld above rows) is flattened by copy.
TEST(NodeGraph, StructuredGridsAgainstBruteForce) {
    tq5::dense2D<unsigned> hexa, tets;
    ASSERT_TRUE(tq5::fixtures::block_hexa(9, 8, 7, hexa));
    ASSERT_TRUE(tq5::fixtures::block_tetra(9, 8, 7, tets));  // 3024 tetrahedra
    for (const auto& c : {hexa, tets, padded(4, values(tets))}) {
        std::vector<std::set<unsigned>> near(10 * 9 * 8), elems(near.size());
        for (std::size_t e = 0; e < c.cols(); ++e)
            for (std::size_t a = 0; a < c.rows(); ++a) {
                elems[c(a, e)].insert(unsigned(e));
                for (std::size_t b = 0; b < c.rows(); ++b)
                    if (c(a, e) != c(b, e)) near[c(a, e)].insert(c(b, e));
            }
        const graph g = run(cw::get_node_graph, c), ce = run(cw::get_connected_elements, c);
        ASSERT_EQ(g.first.size(), near.size() + 1);
        for (unsigned n = 0; n < near.size(); ++n) {
            const list ring(g.second.begin() + g.first[n], g.second.begin() + g.first[n + 1]);
            EXPECT_EQ(std::set<unsigned>(ring.begin(), ring.end()), near[n]);
            EXPECT_EQ(ring.size(), near[n].size());  // listed once each
            const list els(ce.second.begin() + ce.first[n], ce.second.begin() + ce.first[n + 1]);
            EXPECT_EQ(els, list(elems[n].begin(), elems[n].end()));  // increasing
        }
    }
}

TEST(NodeGraph, FailedAllocationsLeaveEmptyOutputs) {
    tq5::dense2D<unsigned> tets;
    ASSERT_TRUE(tq5::fixtures::block_tetra(2, 1, 1, tets));
    for (const tq5::dense2D<unsigned>& c : {tets, padded(4, values(tets))})
        for (graph_fn f : {cw::get_connected_elements, cw::get_node_graph}) {
            tq5::dense1D<unsigned> i(3, 1u), v(3, 1u);
            int failures = 0;
            EXPECT_EQ(with_each_allocation_failing([&] { return f(c, i, v); },
                                                   [&] {
                                                       EXPECT_TRUE(i.empty());
                                                       EXPECT_TRUE(v.empty());
                                                   },
                                                   &failures),
                      0);
            EXPECT_GE(failures, 3);
            EXPECT_EQ(graph(values(i), values(v)), run(f, c));
        }
}

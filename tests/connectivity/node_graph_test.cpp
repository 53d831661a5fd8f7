#include <gtest/gtest.h>

#include <set>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "connectivity/detail/node_graph.hpp"
#include "mesh_test_support.hpp"

namespace cw = tq5::cellworks;
using namespace cwtest;

namespace {

using graph_fn = int (*)(const tq5::dense2D<unsigned>&, tq5::dense1D<unsigned>&, tq5::dense1D<unsigned>&) noexcept;

struct graph {
    list indices, values;
    bool operator==(const graph& o) const { return indices == o.indices && values == o.values; }
};

graph run(graph_fn f, const tq5::dense2D<unsigned>& c, int want_rc = 0) {
    tq5::dense1D<unsigned> i, v;
    EXPECT_EQ(f(c, i, v), want_rc);
    return {values(i), values(v)};
}

TEST(NodeGraph, HandExamples) {
    const auto two = columns(3, {0, 1, 2, 2, 1, 3});
    EXPECT_EQ(run(cw::get_connected_elements, two), (graph{{0, 1, 3, 5, 6}, {0, 0, 1, 0, 1, 1}}));
    // Node 1: 0, 2 from element 0, then 3 from element 1; never itself.
    EXPECT_EQ(run(cw::get_node_graph, two), (graph{{0, 2, 5, 8, 10}, {1, 2, 0, 2, 3, 0, 1, 3, 2, 1}}));
    // NO_INDEX is neither counted nor listed; node 1 is unused and keeps an empty range.
    const auto gaps = columns(3, {0, NO, 2, 2, 3, NO});
    EXPECT_EQ(run(cw::get_connected_elements, gaps), (graph{{0, 1, 1, 3, 4}, {0, 0, 1, 1}}));
    EXPECT_EQ(run(cw::get_node_graph, gaps), (graph{{0, 1, 1, 3, 4}, {2, 0, 3, 2}}));
    // A repeated node lists its element once per occurrence, but is one neighbour.
    EXPECT_EQ(run(cw::get_connected_elements, columns(3, {1, 0, 1})), (graph{{0, 1, 3}, {0, 0, 0}}));
    EXPECT_EQ(run(cw::get_node_graph, columns(3, {1, 0, 1})), (graph{{0, 1, 2}, {1, 0}}));
    for (graph_fn f : {cw::get_connected_elements, cw::get_node_graph}) {
        EXPECT_EQ(run(f, tq5::dense2D<unsigned>()), (graph{{0}, {}}));
        EXPECT_EQ(run(f, tq5::dense2D<unsigned>(0, 5)), (graph{{0}, {}}));
        EXPECT_EQ(run(f, columns(2, {NO, NO})), (graph{{0, 0}, {}}));
    }
}

TEST(NodeGraph, AncestorsKeepTheLastElementAndRespectAPresizedVector) {
    tq5::dense1D<unsigned> a;
    ASSERT_EQ(cw::get_ancestors(tq5::dense2D<unsigned>(), a), 0);
    EXPECT_TRUE(a.empty());
    ASSERT_EQ(cw::get_ancestors(columns(3, {0, 1, 2, 2, NO, 4}), a), 0);
    EXPECT_EQ(values(a), (list{0, 0, 1, NO, 1}));
    tq5::dense1D<unsigned> sized(2, 7u);
    ASSERT_EQ(cw::get_ancestors(columns(3, {5, 1, 3}), sized), 0);
    EXPECT_EQ(values(sized), (list{7, 0}));
    const auto bar = columns(2, {0, 1});
    tq5::dense1D<unsigned> none;
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::get_ancestors(bar, none), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(none.empty());
}

// The builders take elements of different sizes through their offsets.
TEST(NodeGraph, FlatBuildersTakeElementsOfAnySize) {
    // A triangle, a quadrangle and an empty element.
    tq5::dense1D<unsigned> off(3 + 1), flat(7), ni, ne, gi, gn;
    const unsigned o[] = {0, 3, 7, 7}, f[] = {0, 1, 2, 2, 1, 3, 4};
    std::copy(o, o + 4, off.data());
    std::copy(f, f + 7, flat.data());
    ASSERT_EQ(cw::detail::elements_of_nodes(off, flat, ni, ne), 0);
    EXPECT_EQ(values(ni), (list{0, 1, 3, 5, 6, 7}));
    EXPECT_EQ(values(ne), (list{0, 0, 1, 0, 1, 1, 1}));
    ASSERT_EQ(cw::detail::nodes_of_nodes(off, flat, ni, ne, gi, gn), 0);
    EXPECT_EQ(values(gi), (list{0, 2, 6, 10, 13, 16}));
    EXPECT_EQ(values(gn), (list{1, 2, 0, 2, 3, 4, 0, 1, 3, 4, 2, 1, 4, 2, 1, 3}));
}

// Sub-matrix views (ld above rows) are flattened by copy and give the same graphs.
TEST(NodeGraph, StructuredGridsAgainstBruteForce) {
    tq5::dense2D<unsigned> hexa, tets, wide;
    ASSERT_TRUE(tq5::examples::block_hexa(9, 8, 7, hexa));
    ASSERT_TRUE(tq5::examples::block_tetra(9, 8, 7, tets));  // 3024 tetrahedra
    ASSERT_TRUE(wide.resize(6, tets.cols(), 123u));
    for (std::size_t e = 0; e < tets.cols(); ++e)
        for (unsigned r = 0; r < 4; ++r) wide(r + 1, e) = tets(r, e);
    const tq5::dense2D<unsigned> view = wide.sub_matrix(1, 0, 4, tets.cols());
    for (const auto& [c, degree] : {std::pair{hexa, 26u}, {tets, 14u}, {view, 14u}}) {
        std::vector<std::set<unsigned>> near(10 * 9 * 8), elems(near.size());
        for (std::size_t e = 0; e < c.cols(); ++e)
            for (std::size_t a = 0; a < c.rows(); ++a) {
                elems[c(a, e)].insert(unsigned(e));
                for (std::size_t b = 0; b < c.rows(); ++b)
                    if (c(a, e) != c(b, e)) near[c(a, e)].insert(c(b, e));
            }
        const graph g = run(cw::get_node_graph, c), ce = run(cw::get_connected_elements, c);
        ASSERT_EQ(g.indices.size(), near.size() + 1);
        for (unsigned n = 0; n < near.size(); ++n) {
            const std::set<unsigned> got(g.values.begin() + g.indices[n], g.values.begin() + g.indices[n + 1]);
            EXPECT_EQ(got.size(), g.indices[n + 1] - g.indices[n]);  // listed once each
            EXPECT_EQ(got, near[n]);
            const list els(ce.values.begin() + ce.indices[n], ce.values.begin() + ce.indices[n + 1]);
            EXPECT_EQ(els, list(elems[n].begin(), elems[n].end()));  // increasing
            const unsigned i = n % 10, j = n / 10 % 9, k = n / 90;
            if (i && j && k && i < 9 && j < 8 && k < 7) {
                EXPECT_EQ(got.size(), degree);
            }
        }
    }
}

TEST(NodeGraph, FailedAllocationsLeaveEmptyOutputs) {
    tq5::dense2D<unsigned> tets, wide(5, 12, 0u);
    ASSERT_TRUE(tq5::examples::block_tetra(2, 1, 1, tets));
    for (const tq5::dense2D<unsigned>& c : {tets, wide.sub_matrix(0, 0, 4, 12)})
        for (graph_fn f : {cw::get_connected_elements, cw::get_node_graph}) {
            tq5::dense1D<unsigned> i(3, 1u), v(3, 1u);
            int failures = 0;
            const int rc = with_each_allocation_failing(
                [&] { return f(c, i, v); }, [&] { EXPECT_TRUE(i.empty() && v.empty()); }, &failures);
            EXPECT_EQ(rc, 0);
            EXPECT_GE(failures, 3);
            EXPECT_EQ((graph{values(i), values(v)}), run(f, c));
        }
}

}  // namespace

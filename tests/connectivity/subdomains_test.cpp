#include "test_support.hpp"

using parts = std::pair<list, list>;  // elements, indices

static parts visit(const tq5::dense2D<unsigned>& nb) {
    tq5::dense1D<unsigned> e(2, 1u), i(2, 1u);
    EXPECT_EQ(cw::get_subdomains(nb, e, i), 0);
    return {values(e), values(i)};
}

TEST(Subdomains, HandExamples) {
    EXPECT_EQ(visit(columns(2, {NO, NO, NO, NO, NO, NO})), (parts{{0, 1, 2}, {0, 1, 2, 3}}));
    EXPECT_EQ(visit(tq5::dense2D<unsigned>(0, 4)), (parts{{}, {0}}));
    // A ring of six quadrangles linked through slots 1 (next) and 3 (previous):
    // the walk leaves element 0 both ways in turn.
    tq5::dense2D<unsigned> ring(4, 6, NO);
    for (unsigned e = 0; e < 6; ++e) ring(1, e) = (e + 1) % 6, ring(3, e) = (e + 5) % 6;
    EXPECT_EQ(visit(ring), (parts{{0, 1, 5, 2, 4, 3}, {0, 6}}));
    // Slot order decides, not element numbers; a self link and a repeated link change nothing.
    EXPECT_EQ(visit(columns(3, {2, 1, 0, 0, 0, NO, 0, NO, 2})), (parts{{0, 2, 1}, {0, 3}}));
    // Triangles 0 and 2 share the edge (1, 2); triangle 1 is alone. Reordering
    // replaces the storage (old views keep the old order) and renumbers the links.
    auto tris = columns(3, {0, 1, 2, 5, 6, 7, 3, 2, 1}), nb = padded(3, {2, NO, NO, NO, NO, NO, 0, NO, NO});
    const tq5::dense2D<unsigned> old_view = tris;
    EXPECT_EQ(visit(nb), (parts{{0, 2, 1}, {0, 2, 3}}));
    tq5::dense1D<unsigned> idx;
    ASSERT_EQ(cw::get_subdomains(tris, nb, idx), 0);
    EXPECT_EQ(values(idx), (list{0, 2, 3}));
    EXPECT_EQ(values(tris), (list{0, 1, 2, 3, 2, 1, 5, 6, 7}));
    EXPECT_EQ(values(nb), (list{1, NO, NO, 0, NO, NO, NO, NO, NO}));
    EXPECT_EQ(values(old_view), (list{0, 1, 2, 5, 6, 7, 3, 2, 1}));
    tq5::dense2D<unsigned> empty_nb;
    ASSERT_EQ(cw::get_subdomains(tris, empty_nb, idx), 0);
    EXPECT_EQ(values(idx), list{0});
    EXPECT_EQ(tris.cols(), 3u);
}

TEST(Subdomains, FailedAllocations) {
    tq5::dense2D<unsigned> hexa, nb, c, n, want_c, want_n;
    ASSERT_TRUE(tq5::fixtures::block_hexa(3, 3, 2, hexa));
    ASSERT_EQ(cw::get_neighbors(hexa, cw::ET_HEXA8, false, nb), 0);
    tq5::dense1D<unsigned> e(2, 1u), i(2, 1u);
    with_each_allocation_failing([&] { return cw::get_subdomains(nb, e, i); },
                                 [&] { EXPECT_EQ(parts(values(e), values(i)), parts()); });
    EXPECT_EQ(parts(values(e), values(i)), visit(nb));
    // Reordering: a failure before it changes nothing, a failure during it clears both matrices.
    ASSERT_TRUE(want_c.copy(hexa));
    ASSERT_TRUE(want_n.copy(nb));
    ASSERT_EQ(cw::get_subdomains(want_c, want_n, i), 0);
    int failures = 0;
    const auto failed = [&] {
        EXPECT_TRUE(i.empty());
        if (c.cols() == 0) {
            EXPECT_EQ(n.cols(), 0u);  // failed while reordering: both cleared
        } else {                      // failed before: nothing moved
            EXPECT_EQ(values(c), values(hexa));
            EXPECT_EQ(values(n), values(nb));
        }
    };
    EXPECT_EQ(with_each_allocation_failing([&] { return cw::get_subdomains(c, n, i); }, failed, &failures,
                                           [&] {
                                               ASSERT_TRUE(c.copy(hexa));
                                               ASSERT_TRUE(n.copy(nb));
                                           }),
              0);
    EXPECT_GE(failures, 5);
    EXPECT_EQ(values(c), values(want_c));
    EXPECT_EQ(values(n), values(want_n));
}

// k disjoint blocks with their columns shuffled: k parts, each starting with its
// lowest element; after reordering, the links equal those of the new mesh.
TEST(Subdomains, DisjointBlocksGiveOnePartEach) {
    const unsigned k = 5;
    tq5::dense2D<unsigned> block, mesh, nb, fresh;
    ASSERT_TRUE(tq5::fixtures::block_tetra(6, 5, 4, block));  // 720 tetrahedra, 210 nodes per block
    std::vector<unsigned> order(k * block.cols());
    for (unsigned i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    ASSERT_TRUE(mesh.resize(4, order.size()));
    for (unsigned j = 0; j < order.size(); ++j)
        for (unsigned r = 0; r < 4; ++r)
            mesh(r, j) = block(r, order[j] % block.cols()) + 210 * (order[j] / block.cols());
    ASSERT_EQ(cw::get_neighbors(mesh, cw::ET_TETRA4, false, nb), 0);
    const parts p = visit(nb);
    ASSERT_EQ(p.second.size(), k + 1);
    for (unsigned s = 0; s < k; ++s) {
        const auto first = p.first.begin() + p.second[s], last = p.first.begin() + p.second[s + 1];
        EXPECT_EQ(*first, *std::min_element(first, last));
        EXPECT_EQ(last - first, std::ptrdiff_t(block.cols()));
        for (auto e = first; e != last; ++e) EXPECT_EQ(order[*e] / block.cols(), order[*first] / block.cols());
    }
    tq5::dense1D<unsigned> idx;
    ASSERT_EQ(cw::get_subdomains(mesh, nb, idx), 0);
    EXPECT_EQ(values(idx), p.second);
    ASSERT_EQ(cw::get_neighbors(mesh, cw::ET_TETRA4, false, fresh), 0);
    EXPECT_EQ(values(nb), values(fresh));
}

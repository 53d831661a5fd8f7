#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "connectivity/detail/faces.hpp"

namespace cw = tq5::cellworks;
using cw::NO_INDEX;
using Cols = std::vector<std::vector<unsigned>>;

namespace {

constexpr unsigned X = NO_INDEX;

tq5::dense2D<unsigned> matrix(std::size_t rows, const Cols& cols) {
    tq5::dense2D<unsigned> m(rows, cols.size());
    for (std::size_t j = 0; j < cols.size(); ++j)
        for (std::size_t r = 0; r < rows; ++r) m(r, j) = cols[j][r];
    return m;
}

Cols columns(const tq5::dense2D<unsigned>& m) {
    Cols out(m.cols(), std::vector<unsigned>(m.rows()));
    for (std::size_t j = 0; j < m.cols(); ++j)
        for (std::size_t r = 0; r < m.rows(); ++r) out[j][r] = m(r, j);
    return out;
}

Cols neighbors_of(const Cols& elements, std::size_t rows, cw::element_type type, bool link = false) {
    tq5::dense2D<unsigned> nb;
    EXPECT_EQ(cw::get_neighbors(matrix(rows, elements), type, link, nb), 0);
    return columns(nb);
}

}  // namespace

TEST(GetNeighbors, TrianglesShareTheEdgeOppositeTheirThirdNode) {
    // Entity 2 of each triangle is the edge (0, 1), opposite its third node.
    EXPECT_EQ(neighbors_of({{0, 1, 2}, {1, 0, 3}}, 3, cw::ET_TRIA3), (Cols{{X, X, 1}, {X, X, 0}}));
}

TEST(GetNeighbors, NonManifoldEdgeOfThreeQuadrangles) {
    // Edge (0, 1) is entity 0 of each quadrangle.
    const Cols quads = {{0, 1, 2, 3}, {1, 0, 4, 5}, {0, 1, 6, 7}};
    EXPECT_EQ(neighbors_of(quads, 4, cw::ET_QUAD4, false), (Cols{{X, X, X, X}, {X, X, X, X}, {X, X, X, X}}));
    // The first links to the last; the others link to the first.
    EXPECT_EQ(neighbors_of(quads, 4, cw::ET_QUAD4, true), (Cols{{2, X, X, X}, {0, X, X, X}, {0, X, X, X}}));
}

TEST(GetNeighbors, BarsJoinAtSharedEndNodes) {
    // Entity i of a bar is its node opposite node i: entity 0 is node 1.
    EXPECT_EQ(neighbors_of({{0, 1}, {1, 2}, {2, 3}}, 2, cw::ET_BAR2), (Cols{{1, X}, {2, 0}, {X, 1}}));
    const Cols star = {{0, 9}, {1, 9}, {9, 2}};  // three bars meet at node 9
    EXPECT_EQ(neighbors_of(star, 2, cw::ET_BAR2, false), (Cols{{X, X}, {X, X}, {X, X}}));
    EXPECT_EQ(neighbors_of(star, 2, cw::ET_BAR2, true), (Cols{{2, X}, {0, X}, {X, 0}}));
}

TEST(GetNeighbors, HexahedraNeedTheSameCycleOfNodes) {
    // Face 1 (1,5,6,2) of the first and face 0 (0,3,7,4) of the second.
    const std::vector<unsigned> a = {0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(neighbors_of({a, {1, 8, 9, 2, 5, 10, 11, 6}}, 8, cw::ET_HEXA8),
              (Cols{{X, 1, X, X, X, X}, {0, X, X, X, X, X}}));
    // Same four nodes, other cyclic order (1,5,2,6): no link.
    const Cols twisted = {a, {1, 8, 9, 6, 5, 10, 11, 2}};
    EXPECT_EQ(neighbors_of(twisted, 8, cw::ET_HEXA8), (Cols{{X, X, X, X, X, X}, {X, X, X, X, X, X}}));
}

TEST(GetNeighbors, PrismsAndPyramidsShareFaces) {
    // Prisms stacked on the triangle (3,4,5): face 1 of the lower, face 0 of the upper.
    EXPECT_EQ(neighbors_of({{0, 1, 2, 3, 4, 5}, {3, 4, 5, 6, 7, 8}}, 6, cw::ET_PENTA6),
              (Cols{{X, 1, X, X, X}, {0, X, X, X, X}}));
    // Pyramids on both sides of triangle (0, 4, 1): faces 0 of each, opposite cycles.
    EXPECT_EQ(neighbors_of({{0, 1, 2, 3, 4}, {1, 0, 7, 8, 4}}, 5, cw::ET_PYRA5),
              (Cols{{1, X, X, X, X}, {0, X, X, X, X}}));
}

TEST(GetNeighbors, MixedSolidsLinkTrianglesToTrianglesOnly) {
    // Pyramid face 0 (0, 4, 1) is tetrahedron face 3 (2, 1, 0) -> nodes (1, 4, 0).
    const Cols solids = {{0, 1, 2, 3, 4, X, X, X},      // pyramid
                         {0, 4, 9, 1, X, X, X, X},      // tetrahedron on the pyramid's face 0
                         {0, 1, 2, 3, 10, 11, 12, 13},  // hexahedron under the pyramid's base
                         {0, 1, 3, 20, X, X, X, X}};    // tetrahedron touching the base's diagonal only
    const Cols nb = neighbors_of(solids, 8, cw::ET_SOLID_MIX);
    EXPECT_EQ(nb[0], (std::vector<unsigned>{1, X, X, X, 2, X}));  // slot 5 of a pyramid stays empty
    EXPECT_EQ(nb[1], (std::vector<unsigned>{X, X, 0, X, X, X}));  // slots 4, 5 of a tetrahedron too
    EXPECT_EQ(nb[2], (std::vector<unsigned>{X, X, X, X, 0, X}));  // same base cycle (0,1,2,3)
    // Its triangle (3,1,0) lies on the quadrangle (0,1,2,3) but never equals it.
    EXPECT_EQ(nb[3], (std::vector<unsigned>{X, X, X, X, X, X}));
}

TEST(GetNeighbors, MixedSurfacesOfTrianglesAndQuadrangles) {
    EXPECT_EQ(neighbors_of({{0, 1, 2, X}, {1, 3, 4, 2}}, 4, cw::ET_FACE_MIX),
              (Cols{{1, X, X, X}, {X, X, X, 0}}));
    // A 3-row mixed surface counts as triangles.
    EXPECT_EQ(neighbors_of({{0, 1, 2}, {1, 0, 3}}, 3, cw::ET_FACE_MIX), (Cols{{X, X, 1}, {X, X, 0}}));
}

TEST(GetNeighbors, RepeatedNodeMakesAnElementItsOwnNeighbour) {
    // Edges 0 (0,1) and 1 (1,0) of the degenerate quadrangle (0, 1, 0, 2) are equal.
    const Cols nb = neighbors_of({{0, 1, 0, 2}}, 4, cw::ET_QUAD4);
    EXPECT_EQ(nb[0][0], 0u);
    EXPECT_EQ(nb[0][1], 0u);
}

TEST(GetNeighbors, CodesForShapesAndTypes) {
    tq5::dense2D<unsigned> nb(2, 2, 7u);
    const tq5::dense2D<unsigned> empty;
    for (cw::element_type t : {cw::ET_TETRA4, cw::ET_TRIA6, cw::ET_UNKNOWN}) {
        EXPECT_EQ(cw::get_neighbors(empty, t, false, nb), 0);
        EXPECT_TRUE(nb.empty());
    }
    const auto tri = matrix(3, {{0, 1, 2}});
    EXPECT_EQ(cw::get_neighbors(tri, cw::ET_TRIA6, false, nb), -2);
    EXPECT_EQ(cw::get_neighbors(matrix(10, {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}), cw::ET_TETRA10, false, nb), -2);
    EXPECT_EQ(cw::get_neighbors(tri, cw::ET_TETRA4, false, nb), -1);                            // 3 rows
    EXPECT_EQ(cw::get_neighbors(matrix(4, {{0, 1, 2, 3}}), cw::ET_SOLID_MIX, false, nb), -1);  // not 8 rows
    EXPECT_EQ(cw::get_neighbors(matrix(4, {{0, X, 2, 3}}), cw::ET_FACE_MIX, false, nb), -1);   // bad padding
    EXPECT_EQ(cw::get_neighbors(matrix(8, {{0, 1, 2, 3, 4, X, 6, X}}), cw::ET_SOLID_MIX, false, nb), -1);
    EXPECT_TRUE(nb.empty());
}

TEST(GetNeighbors, StepsByTheLeadingDimension) {
    // Rows 1..3 of a 5-row matrix are two triangles sharing edge (0, 1).
    const auto big = matrix(5, {{9, 0, 1, 2, 9}, {9, 1, 0, 3, 9}});
    const tq5::dense2D<unsigned> view = big.sub_matrix(1, 0, 3, 2);
    tq5::dense2D<unsigned> nb;
    ASSERT_EQ(cw::get_neighbors(view, cw::ET_TRIA3, false, nb), 0);
    EXPECT_EQ(columns(nb), (Cols{{X, X, 1}, {X, X, 0}}));
}

TEST(GetNeighbors, LongChainsOfCoincidentElements) {
    // 150 copies of one triangle put every edge in one long chain.
    const Cols same(150, std::vector<unsigned>{0, 1, 2});
    const Cols off = neighbors_of(same, 3, cw::ET_TRIA3, false);
    EXPECT_TRUE(std::all_of(off.begin(), off.end(), [](const std::vector<unsigned>& c) {
        return c == std::vector<unsigned>{X, X, X};
    }));
    const Cols on = neighbors_of(same, 3, cw::ET_TRIA3, true);
    EXPECT_EQ(on[0], (std::vector<unsigned>{149, 149, 149}));
    for (std::size_t e = 1; e < on.size(); ++e) EXPECT_EQ(on[e], (std::vector<unsigned>{0, 0, 0}));
}

TEST(GetNeighbors, AllocationFailuresReturnErrAlloc) {
    const auto tri = matrix(3, {{0, 1, 2}, {1, 0, 3}});
    tq5::dense2D<unsigned> nb;
    tq5::testing::fail_allocations_after(0);  // the neighbour matrix fails
    EXPECT_EQ(cw::get_neighbors(tri, cw::ET_TRIA3, false, nb), cw::ERR_ALLOC);
    EXPECT_TRUE(nb.empty());
    tq5::testing::fail_allocations_after(1);  // the hash fails
    EXPECT_EQ(cw::get_neighbors(tri, cw::ET_TRIA3, false, nb), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(columns(nb), (Cols{{X, X, X}, {X, X, X}}));
    EXPECT_EQ(cw::get_neighbors(tri, cw::ET_TRIA3, false, nb), 0);
}

// Properties on generated blocks: links are symmetric, and the faces without a
// neighbour are exactly the faces used once, counted by brute force.
class NeighborBlocks : public ::testing::TestWithParam<cw::element_type> {};

TEST_P(NeighborBlocks, LinksAreSymmetricAndBoundaryMatchesBruteForce) {
    const cw::element_type type = GetParam();
    tq5::dense2D<unsigned> connect;
    if (type == cw::ET_TETRA4)
        tq5::examples::block_tetra(9, 8, 7, connect);
    else
        tq5::examples::block_hexa(17, 13, 11, connect);
    const cw::detail::local_entities& k = type == cw::ET_TETRA4 ? cw::detail::tetra_face : cw::detail::hexa_face;

    tq5::dense2D<unsigned> nb;
    ASSERT_EQ(cw::get_neighbors(connect, type, false, nb), 0);
    ASSERT_EQ(nb.rows(), k.count);
    ASSERT_EQ(nb.cols(), connect.cols());

    std::map<std::array<unsigned, 4>, unsigned> uses;
    for (std::size_t e = 0; e < connect.cols(); ++e)
        for (unsigned i = 0; i < k.count; ++i) {
            std::array<unsigned, 4> f{};
            cw::detail::entity_nodes(k, &connect(0, e), i, 4, f.data());
            std::sort(f.begin(), f.end());
            ++uses[f];
        }
    std::size_t once = 0;
    for (const auto& u : uses) once += u.second == 1;

    std::size_t boundary = 0;
    for (std::size_t e = 0; e < nb.cols(); ++e)
        for (unsigned i = 0; i < k.count; ++i) {
            const unsigned f = nb(i, e);
            if (f == NO_INDEX) {
                ++boundary;
                continue;
            }
            unsigned back = 0;
            for (unsigned j = 0; j < k.count; ++j) back += nb(j, f) == e;
            EXPECT_EQ(back, 1u) << "element " << e << " face " << i;
        }
    EXPECT_EQ(boundary, once);
    EXPECT_GT(boundary, 0u);
}

INSTANTIATE_TEST_SUITE_P(Blocks, NeighborBlocks, ::testing::Values(cw::ET_TETRA4, cw::ET_HEXA8));

#include <algorithm>
#include <map>
#include <random>

#include "block_mesh.hpp"
#include "test_support.hpp"

using namespace cwtest;

namespace {

tq5::dense2D<unsigned> no_links(std::size_t rows, std::size_t cols) { return tq5::dense2D<unsigned>(rows, cols, NO); }

TEST(Boundaries, HandExamples) {
    tq5::dense2D<unsigned> faces = columns(2, {7, 8}), quad_faces, tet_faces, pyra_faces;
    // Edge i lies opposite node i; the output is appended to, twice here.
    for (int twice = 0; twice < 2; ++twice)
        ASSERT_EQ(cw::get_mesh_boundaries(padded(3, {10, 11, 12}), no_links(3, 1), cw::ET_TRIA3, faces), 0);
    EXPECT_EQ(values(faces), (list{7, 8, 11, 12, 12, 10, 10, 11, 11, 12, 12, 10, 10, 11}));
    ASSERT_EQ(cw::get_mesh_boundaries(padded(4, {10, 11, 12, 13}), no_links(4, 1), cw::ET_QUAD4, quad_faces), 0);
    EXPECT_EQ(values(quad_faces), (list{10, 11, 11, 12, 12, 13, 13, 10}));
    // Face i of a tetrahedron lies opposite node i, facing outward.
    ASSERT_EQ(cw::get_element_boundaries(padded(4, {10, 11, 12, 13}), cw::ET_TETRA4, tet_faces), 0);
    EXPECT_EQ(values(tet_faces), (list{11, 12, 13, 12, 10, 13, 11, 13, 10, 12, 11, 10}));
    // A pyramid: triangles closed by NO_INDEX, then the base.
    ASSERT_EQ(cw::get_element_boundaries(padded(5, {0, 1, 2, 3, 4}), cw::ET_PYRA5, pyra_faces), 0);
    EXPECT_EQ(values(pyra_faces), (list{0, 4, 1, NO, 1, 4, 2, NO, 2, 4, 3, NO, 3, 4, 0, NO, 0, 1, 2, 3}));
    // A triangle in column 5 of a mixed surface (columns 0-4 linked) is entities 20 to 22.
    tq5::dense2D<unsigned> surf(4, 6, 9u), nb(4, 6, 5u);
    tq5::dense1D<unsigned> ids;
    surf(3, 5) = nb(0, 5) = nb(1, 5) = nb(2, 5) = nb(3, 5) = NO;
    ASSERT_EQ(cw::get_mesh_bounding_elements(surf, nb, cw::ET_FACE_MIX, ids), 0);
    EXPECT_EQ(values(ids), (list{20, 21, 22}));
}

// On every solid the faces close the element: each directed edge of the face
// cycles comes once and its reverse once, and V - E + F = 2.
TEST(Boundaries, FacesOfEverySolidCloseTheElement) {
    const struct {
        cw::element_type type;
        tq5::dense2D<unsigned> c;
    } cases[] = {
        {cw::ET_TETRA4, columns(4, {0, 1, 2, 3})},
        {cw::ET_PYRA5, columns(5, {0, 1, 2, 3, 4})},
        {cw::ET_PENTA6, columns(6, {0, 1, 2, 3, 4, 5})},
        {cw::ET_HEXA8, columns(8, {0, 1, 2, 3, 4, 5, 6, 7})},
        {cw::ET_SOLID_MIX, columns(8, {0, 1, 2, 3, NO, NO, NO, NO, 0, 1, 2, 3, 4, NO, NO, NO,
                                       0, 1, 2, 3, 4,  5,  NO, NO, 0, 1, 2, 3, 4, 5,  6,  7})},
    };
    for (const auto& k : cases)
        for (std::size_t c = 0; c < k.c.cols(); ++c) {
            tq5::dense2D<unsigned> f;
            ASSERT_EQ(cw::get_element_boundaries(k.c.sub_matrix(0, c, k.c.rows(), 1), k.type, f), 0);
            std::map<std::pair<unsigned, unsigned>, int> edges;
            for (std::size_t j = 0; j < f.cols(); ++j) {
                const std::size_t n = f.rows() == 3 || f(3, j) == NO ? 3 : 4;
                for (std::size_t i = 0; i < n; ++i) ++edges[{f(i, j), f((i + 1) % n, j)}];
            }
            for (const auto& [e, uses] : edges) EXPECT_TRUE(uses == 1 && edges.count({e.second, e.first})) << k.type;
            const std::size_t nodes = k.c.rows() - std::count(&k.c(0, c), &k.c(0, c) + k.c.rows(), NO);
            EXPECT_EQ(nodes + f.cols(), 2 + edges.size() / 2) << k.type;
        }
}

TEST(Boundaries, CodesComeInTheirStatedOrder) {
    const auto tets = columns(4, {0, 1, 2, 3}), hexa = columns(8, {0, 1, 2, 3, 4, 5, 6, 7});
    tq5::dense2D<unsigned> faces, three_rows = columns(3, {1, 2, 3});
    tq5::dense1D<unsigned> ids;
    const auto nb4 = no_links(4, 1), nb6 = no_links(6, 1);
    const struct {
        int want, got;
    } cases[] = {
        {0, cw::get_element_boundaries(tq5::dense2D<unsigned>(), cw::ET_TRIA6, faces)},  // empty first
        {-1, cw::get_element_boundaries(columns(4, {0, NO, 1, 2}), cw::ET_FACE_MIX, faces)},
        {-2, cw::get_element_boundaries(columns(6, {0, 1, 2, 3, 4, 5}), cw::ET_TRIA6, faces)},
        {-1, cw::get_element_boundaries(columns(4, {0, 1, 2, 3}), cw::ET_SOLID_MIX, faces)},  // valid, not 8 rows
        {-2, cw::get_element_boundaries(hexa, cw::ET_HEXA8, three_rows)},
        {-1, cw::get_mesh_boundaries(columns(3, {0, 1, 2}), nb4, cw::ET_TETRA4, faces)},
        {-2, cw::get_mesh_boundaries(tets, nb6, cw::ET_TETRA4, faces)},
        {-2, cw::get_mesh_boundaries(tets, no_links(4, 2), cw::ET_TETRA4, faces)},
        {-2, cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA20, faces)},
        {-3, cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA8, three_rows)},
        {0, cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA8, faces = tq5::dense2D<unsigned>(3, 0))},
        {-2, cw::get_mesh_bounding_elements(tets, nb6, cw::ET_TETRA4, ids)},
        {-2, cw::get_mesh_bounding_elements(tets, nb4, cw::ET_QUAD8, ids)},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].got, cases[i].want) << "case " << i;
    EXPECT_EQ(values(three_rows), (list{1, 2, 3}));
    EXPECT_TRUE(faces.rows() == 4 && faces.cols() == 6);  // the empty 3 x 0 output took the hexahedron's faces
}

// A block whose neighbour matrix (faces used once are unlinked, as the
// neighbour tests check) gets gaps anywhere: the bounding entities are exactly
// the unlinked slots, in order, and the boundary faces those entities' faces.
// A failed append leaves a strict prefix of either output.
TEST(Boundaries, BoundaryOfABlockFollowsTheUnlinkedSlots) {
    tq5::dense2D<unsigned> tets, nb, all, skin;
    tq5::dense1D<unsigned> ids;
    ASSERT_TRUE(tq5::fixtures::block_tetra(11, 10, 9, tets));  // 5940 tetrahedra, not a multiple of 16
    ASSERT_EQ(cw::get_neighbors(tets, cw::ET_TETRA4, false, nb), 0);
    ASSERT_EQ(cw::get_element_boundaries(tets, cw::ET_TETRA4, all), 0);
    ASSERT_EQ(all.cols(), 4 * tets.cols());
    std::mt19937 rng(5);
    for (int g = 0; g < 300; ++g) nb(rng() % 4, rng() % nb.cols()) = NO;
    list want_ids, want_faces;
    for (unsigned id = 0; id < all.cols(); ++id)
        if (nb(id % 4, id / 4) == NO) {
            want_ids.push_back(id);
            for (unsigned r = 0; r < 3; ++r) want_faces.push_back(all(r, id));
        }
    const auto strict_prefix = [](const list& got, const list& of) {
        return got.size() < of.size() && std::equal(got.begin(), got.end(), of.begin());
    };
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing(
                  [&] {
                      ids.clear();
                      return cw::get_mesh_bounding_elements(tets, nb, cw::ET_TETRA4, ids);
                  },
                  [&] { EXPECT_TRUE(strict_prefix(values(ids), want_ids)); }, &failures),
              0);
    EXPECT_TRUE(values(ids) == want_ids && failures > 2);
    EXPECT_EQ(with_each_allocation_failing(
                  [&] {
                      skin.clear();
                      return cw::get_mesh_boundaries(tets, nb, cw::ET_TETRA4, skin);
                  },
                  [&] { EXPECT_TRUE(strict_prefix(values(skin), want_faces)); }, &failures),
              0);
    EXPECT_TRUE(values(skin) == want_faces && failures > 2);
}

}  // namespace

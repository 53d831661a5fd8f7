#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "mesh_test_support.hpp"

namespace cw = tq5::cellworks;
using namespace cwtest;

namespace {

tq5::dense2D<unsigned> no_links(std::size_t rows, std::size_t cols) { return tq5::dense2D<unsigned>(rows, cols, NO); }

TEST(MeshBoundaries, LoneTriangleAndQuadrangleGiveTheirEdgesInTableOrder) {
    const auto tri = columns(3, {10, 11, 12}), quad = columns(4, {10, 11, 12, 13});
    tq5::dense2D<unsigned> faces;
    tq5::dense1D<unsigned> ids;
    ASSERT_EQ(cw::get_mesh_boundaries(tri, no_links(3, 1), cw::ET_TRIA3, faces), 0);
    EXPECT_EQ(values(faces), (list{11, 12, 12, 10, 10, 11}));  // edge i lies opposite node i
    ASSERT_EQ(cw::get_mesh_bounding_elements(tri, no_links(3, 1), cw::ET_TRIA3, ids), 0);
    EXPECT_EQ(values(ids), (list{0, 1, 2}));
    faces.clear();
    ASSERT_EQ(cw::get_mesh_boundaries(quad, no_links(4, 1), cw::ET_QUAD4, faces), 0);
    EXPECT_EQ(values(faces), (list{10, 11, 11, 12, 12, 13, 13, 10}));
}

TEST(MeshBoundaries, AppendsToWhatTheCallerPassesIn) {
    const auto tri = columns(3, {0, 1, 2});
    tq5::dense2D<unsigned> faces = columns(2, {7, 8});
    ASSERT_EQ(cw::get_mesh_boundaries(tri, no_links(3, 1), cw::ET_TRIA3, faces), 0);
    ASSERT_EQ(cw::get_mesh_boundaries(tri, no_links(3, 1), cw::ET_TRIA3, faces), 0);
    EXPECT_EQ(values(faces), (list{7, 8, 1, 2, 2, 0, 0, 1, 1, 2, 2, 0, 0, 1}));
}

TEST(MeshBoundaries, MixedColumnsTakeTheirOwnFacesAndTheFullEntityCount) {
    // A triangle in column 5 of a mixed surface is entities 20 to 22.
    tq5::dense2D<unsigned> surf = no_links(4, 6);
    for (unsigned r = 0; r < 3; ++r) surf(r, 5) = r;
    tq5::dense1D<unsigned> ids;
    tq5::dense2D<unsigned> nb = no_links(4, 6);
    for (unsigned e = 0; e < 5; ++e) nb(0, e) = nb(1, e) = nb(2, e) = nb(3, e) = 5;  // columns 0-4 all linked
    for (unsigned e = 0; e < 5; ++e) surf(0, e) = surf(1, e) = surf(2, e) = surf(3, e) = 9;
    ASSERT_EQ(cw::get_mesh_bounding_elements(surf, nb, cw::ET_FACE_MIX, ids), 0);
    EXPECT_EQ(values(ids), (list{20, 21, 22}));
    // A pyramid: triangles closed by NO_INDEX, then the base.
    tq5::dense2D<unsigned> faces;
    ASSERT_EQ(cw::get_element_boundaries(columns(5, {0, 1, 2, 3, 4}), cw::ET_PYRA5, faces), 0);
    EXPECT_EQ(values(faces), (list{0, 4, 1, NO, 1, 4, 2, NO, 2, 4, 3, NO, 3, 4, 0, NO, 0, 1, 2, 3}));
}

// The faces of every kind close the element: on a solid each directed edge of
// the face cycles comes once and its reverse once; on a surface the edges chain
// around the element.
TEST(ElementBoundaries, FacesOfEveryKindCloseTheElement) {
    const struct { cw::element_type type; tq5::dense2D<unsigned> c; std::size_t faces; } cases[] = {
        {cw::ET_TRIA3, columns(3, {0, 1, 2}), 3},
        {cw::ET_QUAD4, columns(4, {0, 1, 2, 3}), 4},
        {cw::ET_FACE_MIX, columns(4, {0, 1, 2, NO, 0, 1, 2, 3}), 7},
        {cw::ET_TETRA4, columns(4, {0, 1, 2, 3}), 4},
        {cw::ET_PYRA5, columns(5, {0, 1, 2, 3, 4}), 5},
        {cw::ET_PENTA6, columns(6, {0, 1, 2, 3, 4, 5}), 5},
        {cw::ET_HEXA8, columns(8, {0, 1, 2, 3, 4, 5, 6, 7}), 6},
        {cw::ET_SOLID_MIX, columns(8, {0, 1, 2, 3, NO, NO, NO, NO, 0, 1, 2, 3, 4, NO, NO, NO, 0, 1, 2, 3, 4, 5, NO,
                                       NO, 0, 1, 2, 3, 4, 5, 6, 7}), 20},
    };
    for (const auto& k : cases) {
        std::size_t total = 0;
        for (std::size_t c = 0; c < k.c.cols(); ++c) {
            tq5::dense2D<unsigned> f;
            ASSERT_EQ(cw::get_element_boundaries(k.c.sub_matrix(0, c, k.c.rows(), 1), k.type, f), 0) << k.type;
            total += f.cols();
            std::map<std::pair<unsigned, unsigned>, int> edges;
            for (std::size_t j = 0; j < f.cols(); ++j) {
                if (f.rows() == 2) {
                    EXPECT_EQ(f(1, j), f(0, (j + 1) % f.cols())) << k.type;
                    continue;
                }
                const std::size_t n = f.rows() == 3 || f(3, j) == NO ? 3 : 4;
                for (std::size_t i = 0; i < n; ++i) ++edges[{f(i, j), f((i + 1) % n, j)}];
            }
            for (const auto& [e, uses] : edges) {
                EXPECT_EQ(uses, 1) << k.type;
                EXPECT_EQ(edges.count({e.second, e.first}), 1u) << k.type;
            }
        }
        EXPECT_EQ(total, k.faces) << k.type;
    }
}

TEST(Boundaries, CodesComeInTheirStatedOrder) {
    const auto tets = columns(4, {0, 1, 2, 3}), hexa = columns(8, {0, 1, 2, 3, 4, 5, 6, 7});
    tq5::dense2D<unsigned> faces, three_rows = columns(3, {1, 2, 3});
    tq5::dense1D<unsigned> ids;
    const auto nb4 = no_links(4, 1), nb6 = no_links(6, 1);
    const struct { int want, got; } cases[] = {
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
    EXPECT_EQ(faces.rows(), 4u);  // the empty 3 x 0 output took the hexahedron's faces
    EXPECT_EQ(faces.cols(), 6u);
}

TEST(Boundaries, FailedAppendKeepsWhatWasAppended) {
    tq5::dense2D<unsigned> hexa;
    ASSERT_TRUE(tq5::examples::block_hexa(3, 2, 2, hexa));
    const auto nb = no_links(6, hexa.cols());
    tq5::dense2D<unsigned> all, faces;
    tq5::dense1D<unsigned> ids;
    ASSERT_EQ(cw::get_element_boundaries(hexa, cw::ET_HEXA8, all), 0);
    auto is_prefix = [](const list& got, const list& want) {
        return got.size() < want.size() && std::equal(got.begin(), got.end(), want.begin());
    };
    int failures = 0;
    with_each_allocation_failing([&] { faces.clear(); return cw::get_mesh_boundaries(hexa, nb, cw::ET_HEXA8, faces); },
                                 [&] { EXPECT_TRUE(is_prefix(values(faces), values(all))); }, &failures);
    EXPECT_GT(failures, 2);
    EXPECT_EQ(values(faces), values(all));
    list want(all.cols());
    for (unsigned i = 0; i < want.size(); ++i) want[i] = i;
    with_each_allocation_failing([&] { ids.clear(); return cw::get_mesh_bounding_elements(hexa, nb, cw::ET_HEXA8, ids); },
                                 [&] { EXPECT_TRUE(is_prefix(values(ids), want)); });
    EXPECT_EQ(values(ids), want);
}

// A structured block against a brute-force count of the faces used once.
TEST(Boundaries, BoundaryOfABlockIsTheFacesUsedOnce) {
    tq5::dense2D<unsigned> tets, nb, skin, all;
    tq5::dense1D<unsigned> ids;
    ASSERT_TRUE(tq5::examples::block_tetra(12, 10, 9, tets));  // 6480 tetrahedra
    ASSERT_EQ(cw::get_neighbors(tets, cw::ET_TETRA4, false, nb), 0);
    ASSERT_EQ(cw::get_element_boundaries(tets, cw::ET_TETRA4, all), 0);
    ASSERT_EQ(cw::get_mesh_boundaries(tets, nb, cw::ET_TETRA4, skin), 0);
    ASSERT_EQ(cw::get_mesh_bounding_elements(tets, nb, cw::ET_TETRA4, ids), 0);
    std::map<std::array<unsigned, 3>, int> uses;
    for (std::size_t e = 0; e < tets.cols(); ++e)
        for (unsigned skip = 0; skip < 4; ++skip) {
            std::array<unsigned, 3> f{};
            for (unsigned r = 0, w = 0; r < 4; ++r)
                if (r != skip) f[w++] = tets(r, e);
            std::sort(f.begin(), f.end());
            ++uses[f];
        }
    std::map<std::array<unsigned, 3>, int> once;
    for (const auto& [f, n] : uses)
        if (n == 1) once[f] = 1;
    ASSERT_EQ(once.size(), 2u * 2 * (12 * 10 + 10 * 9 + 12 * 9));
    ASSERT_EQ(skin.cols(), once.size());
    ASSERT_EQ(ids.size(), once.size());
    EXPECT_EQ(all.cols(), 4 * tets.cols());
    for (std::size_t f = 0; f < skin.cols(); ++f) {
        std::array<unsigned, 3> s{skin(0, f), skin(1, f), skin(2, f)};
        std::sort(s.begin(), s.end());
        EXPECT_EQ(once.erase(s), 1u);
        EXPECT_EQ(values(skin.sub_matrix(0, f, 3, 1)), values(all.sub_matrix(0, ids[f], 3, 1)));
    }
}

}  // namespace

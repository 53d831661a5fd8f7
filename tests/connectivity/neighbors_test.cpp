#include "local_faces.hpp"

// Hand cases and codes; each connectivity is a padded view, so the walk must
// step by ld, and the output starts as a 2 x 2 matrix of 7s.
TEST(GetNeighbors, HandCasesAndCodes) {
    // clang-format off
    const struct { const char* what; cw::element_type type; std::size_t rows; bool link; list elements, want; int rc = 0; } cases[] = {
        {"entity 2 of a triangle is the edge (0, 1), opposite its third node",
         cw::ET_TRIA3, 3, false, {0, 1, 2, 1, 0, 3}, {NO, NO, 1, NO, NO, 0}},
        {"edge (0, 1) of three quadrangles links nothing",
         cw::ET_QUAD4, 4, false, {0, 1, 2, 3, 1, 0, 4, 5, 0, 1, 6, 7}, list(12, NO)},
        {"linked, the first gets the last and the others the first",
         cw::ET_QUAD4, 4, true, {0, 1, 2, 3, 1, 0, 4, 5, 0, 1, 6, 7}, {2, NO, NO, NO, 0, NO, NO, NO, 0, NO, NO, NO}},
        {"entity i of a bar is its node opposite node i", cw::ET_BAR2, 2, false, {0, 1, 1, 2, 2, 3}, {1, NO, 2, 0, NO, 1}},
        {"face 1 (1,5,6,2) of the first hexahedron is face 0 (0,3,7,4) of the second", cw::ET_HEXA8, 8, false,
         {0, 1, 2, 3, 4, 5, 6, 7, 1, 8, 9, 2, 5, 10, 11, 6}, {NO, 1, NO, NO, NO, NO, 0, NO, NO, NO, NO, NO}},
        {"the same four nodes in another cyclic order (1,5,2,6)", cw::ET_HEXA8, 8, false,
         {0, 1, 2, 3, 4, 5, 6, 7, 1, 8, 9, 6, 5, 10, 11, 2}, list(12, NO)},
        {"prisms stacked on the triangle (3,4,5)", cw::ET_PENTA6, 6, false,
         {0, 1, 2, 3, 4, 5, 3, 4, 5, 6, 7, 8}, {NO, 1, NO, NO, NO, 0, NO, NO, NO, NO}},
        {"pyramids on both sides of triangle (0,4,1), opposite cycles", cw::ET_PYRA5, 5, false,
         {0, 1, 2, 3, 4, 1, 0, 7, 8, 4}, {1, NO, NO, NO, NO, 0, NO, NO, NO, NO}},
        {"triangle (0,4,1) against (4,0,1): as 4-cycles closed by NO_INDEX they differ", cw::ET_PYRA5, 5, false,
         {0, 1, 2, 3, 4, 1, 5, 6, 4, 0}, list(10, NO)},
        {"the same pyramids as mixed solids compare triangles", cw::ET_SOLID_MIX, 8, false,
         {0, 1, 2, 3, 4, NO, NO, NO, 1, 5, 6, 4, 0, NO, NO, NO}, {1, NO, NO, NO, NO, NO, NO, NO, NO, 0, NO, NO}},
        // Slots beyond a column's faces stay empty; the triangle (3,1,0) of the last
        // tetrahedron lies on the quadrangle (0,1,2,3) but never equals it.
        {"pyramid, tetrahedron on its face 0, hexahedron under its base, tetrahedron on the base's diagonal",
         cw::ET_SOLID_MIX, 8, false,
         {0, 1, 2, 3, 4, NO, NO, NO, 0, 4, 9, 1, NO, NO, NO, NO, 0, 1, 2, 3, 10, 11, 12, 13, 0, 1, 3, 20, NO, NO, NO, NO},
         {1, NO, NO, NO, 2, NO, NO, NO, 0, NO, NO, NO, NO, NO, NO, NO, 0, NO, NO, NO, NO, NO, NO, NO}},
        {"triangle and quadrangle sharing (1,2)", cw::ET_FACE_MIX, 4, false,
         {0, 1, 2, NO, 1, 3, 4, 2}, {1, NO, NO, NO, NO, NO, NO, 0}},
        {"a 3-row mixed surface counts as triangles", cw::ET_FACE_MIX, 3, false, {0, 1, 2, 1, 0, 3}, {NO, NO, 1, NO, NO, 0}},
        {"repeated node: edges (0,1), (1,0) and (0,2), (2,0) make the element its own neighbour",
         cw::ET_QUAD4, 4, false, {0, 1, 0, 2}, {0, 0, 0, 0}},
        // Codes leave the output empty.
        {"empty, whatever the type", cw::ET_UNKNOWN, 0, false, {}, {}},
        {"quadratic kinds have no face table", cw::ET_TRIA6, 3, false, {0, 1, 2}, {}, -2},
        {"quadratic kinds have no face table", cw::ET_TETRA10, 10, false, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {}, -2},
        {"rows of the type", cw::ET_TETRA4, 3, false, {0, 1, 2}, {}, -1},
        {"a valid mixed solid, but not 8 rows", cw::ET_SOLID_MIX, 4, false, {0, 1, 2, 3}, {}, -1},
        {"bad padding", cw::ET_FACE_MIX, 4, false, {0, NO, 2, 3}, {}, -1},
        {"a node behind the padding", cw::ET_SOLID_MIX, 8, false, {0, 1, 2, 3, 4, NO, 6, NO}, {}, -1},
    };
    // clang-format on
    for (const auto& c : cases) {
        tq5::dense2D<unsigned> nb(2, 2, 7u);
        EXPECT_EQ(cw::get_neighbors(padded(c.rows, c.elements), c.type, c.link, nb), c.rc) << c.what;
        EXPECT_EQ(values(nb), c.want) << c.what;
    }
}

// 150 copies of one triangle put each edge in a chain longer than the 64 cells
// that are paired in a buffer: such chains are paired in the hash itself.
TEST(GetNeighbors, LongChainsOfCoincidentElementsAndStorageFailures) {
    tq5::dense2D<unsigned> same(3, 150), nb;
    for (std::size_t i = 0; i < same.size(); ++i) same.data()[i] = unsigned(i % 3);
    ASSERT_EQ(cw::get_neighbors(same, cw::ET_TRIA3, false, nb), 0);
    EXPECT_EQ(values(nb), list(450, NO));
    ASSERT_EQ(cw::get_neighbors(same, cw::ET_TRIA3, true, nb), 0);
    list want(450, 0);
    want[0] = want[1] = want[2] = 149;  // the first gets the last, the others the first
    EXPECT_EQ(values(nb), want);
    tq5::dense2D<unsigned> fresh;
    tq5::testing::fail_allocations_after(0);  // the neighbour matrix fails: empty
    EXPECT_EQ(cw::get_neighbors(same, cw::ET_TRIA3, false, fresh), cw::ERR_ALLOC);
    EXPECT_EQ(fresh.size(), 0u);
    tq5::testing::fail_allocations_after(1);  // the hash fails: full of NO_INDEX
    EXPECT_EQ(cw::get_neighbors(same, cw::ET_TRIA3, false, fresh), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(values(fresh), list(450, NO));
}

// Generated blocks against brute force on the tables written out in the test:
// the two elements of a shared face link each other, a face used once links nothing.
TEST(GetNeighbors, BlocksLinkTheTwoElementsOfEachSharedFace) {
    for (const cw::element_type type : {cw::ET_TETRA4, cw::ET_HEXA8}) {
        const bool tet = type == cw::ET_TETRA4;
        const local_faces::table& faces = tet ? local_faces::tetra4 : local_faces::hexa8;
        tq5::dense2D<unsigned> connect, nb;
        ASSERT_TRUE(tet ? tq5::fixtures::block_tetra(9, 8, 7, connect)
                        : tq5::fixtures::block_hexa(17, 13, 11, connect));
        ASSERT_EQ(cw::get_neighbors(connect, type, false, nb), 0);
        std::map<list, list> users;  // the sorted nodes of a face, and its elements
        const auto users_of = [&](unsigned e, const list& f) -> list& {
            list nodes;
            for (unsigned p : f) nodes.push_back(connect(p, e));
            std::sort(nodes.begin(), nodes.end());
            return users[nodes];
        };
        for (unsigned e = 0; e < connect.cols(); ++e)
            for (const list& f : faces) users_of(e, f).push_back(e);
        list want;
        for (unsigned e = 0; e < connect.cols(); ++e)
            for (const list& f : faces)
                want.push_back(users_of(e, f).size() == 2 ? users_of(e, f)[0] + users_of(e, f)[1] - e : NO);
        EXPECT_EQ(nb.rows(), faces.size());
        EXPECT_EQ(values(nb), want) << type;
    }
}

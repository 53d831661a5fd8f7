#include "local_faces.hpp"

static tq5::dense2D<unsigned> no_links(std::size_t rows, std::size_t cols) { return {rows, cols, NO}; }

// One column per table, holding 10 c + r in row r of column c up to the table's
// node count and NO_INDEX below: its faces are the table's, in order, each
// closed by NO_INDEX up to the face height, appended behind a column there.
TEST(Boundaries, ElementFacesFollowTheLocalTablesInOrder) {
    using namespace local_faces;
    const struct {
        cw::element_type type;
        std::size_t rows, height;
        std::vector<const table*> cols;
    } kinds[] = {
        {cw::ET_BAR2, 2, 1, {&bar2}},
        {cw::ET_TRIA3, 3, 2, {&tria3}},
        {cw::ET_QUAD4, 4, 2, {&quad4}},
        {cw::ET_FACE_MIX, 4, 2, {&quad4, &tria3}},
        {cw::ET_TETRA4, 4, 3, {&tetra4}},
        {cw::ET_PYRA5, 5, 4, {&pyra5}},
        {cw::ET_PENTA6, 6, 4, {&penta6}},
        {cw::ET_HEXA8, 8, 4, {&hexa8}},
        {cw::ET_SOLID_MIX, 8, 4, {&tetra4, &hexa8, &pyra5, &penta6}},
    };
    for (const auto& k : kinds) {
        tq5::dense2D<unsigned> connect(k.rows, k.cols.size(), NO), faces(k.height, 1, 5u);
        list want(k.height, 5);
        for (unsigned c = 0; c < k.cols.size(); ++c) {
            for (const list& f : *k.cols[c])
                for (unsigned w = 0; w < k.height; ++w) {
                    want.push_back(w < f.size() ? 10 * c + f[w] : NO);
                    if (w < f.size()) connect(f[w], c) = 10 * c + f[w];
                }
        }
        ASSERT_EQ(cw::get_element_boundaries(padded(k.rows, values(connect)), k.type, faces), 0) << k.type;
        EXPECT_EQ(values(faces), want) << k.type;
    }
}

// The identity of a face without a neighbour counts the full entity count of
// the kind: a triangle in column 5 of a mixed surface (0-4 linked) is 20 to 22.
TEST(Boundaries, BoundingEntitiesUseTheKindsEntityCount) {
    tq5::dense2D<unsigned> surf(4, 6, 9u), nb(4, 6, 5u);
    tq5::dense1D<unsigned> ids = vec({1});
    surf(3, 5) = nb(0, 5) = nb(1, 5) = nb(2, 5) = nb(3, 5) = NO;
    ASSERT_EQ(cw::get_mesh_bounding_elements(surf, nb, cw::ET_FACE_MIX, ids), 0);
    EXPECT_EQ(values(ids), (list{1, 20, 21, 22}));
}

TEST(Boundaries, CodesComeInTheirStatedOrder) {
    const auto tets = columns(4, {0, 1, 2, 3}), hexa = columns(8, {0, 1, 2, 3, 4, 5, 6, 7});
    tq5::dense2D<unsigned> faces, three_rows = columns(3, {1, 2, 3}), shapeless(0, 7);
    tq5::dense1D<unsigned> ids;
    const auto nb4 = no_links(4, 1), nb6 = no_links(6, 1);
    expect_codes({
        {cw::get_element_boundaries(tq5::dense2D<unsigned>(), cw::ET_TRIA6, faces), 0},  // empty first
        {cw::get_element_boundaries(columns(4, {0, NO, 1, 2}), cw::ET_FACE_MIX, faces), -1},
        {cw::get_element_boundaries(columns(6, {0, 1, 2, 3, 4, 5}), cw::ET_TRIA6, faces), -2},
        {cw::get_element_boundaries(columns(4, {0, 1, 2, 3}), cw::ET_SOLID_MIX, faces), -1},  // valid, not 8 rows
        {cw::get_element_boundaries(hexa, cw::ET_HEXA8, three_rows), -2},
        {cw::get_mesh_boundaries(columns(3, {0, 1, 2}), nb4, cw::ET_TETRA4, faces), -1},
        {cw::get_mesh_boundaries(tets, nb6, cw::ET_TETRA4, faces), -2},
        {cw::get_mesh_boundaries(tets, no_links(4, 2), cw::ET_TETRA4, faces), -2},
        {cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA20, faces), -2},
        {cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA8, three_rows), -3},
        {cw::get_mesh_boundaries(hexa, nb6, cw::ET_HEXA8, shapeless), 0},
        {cw::get_mesh_bounding_elements(tets, nb6, cw::ET_TETRA4, ids), -2},
        {cw::get_mesh_bounding_elements(tets, nb4, cw::ET_QUAD8, ids), -2},
    });
    EXPECT_EQ(faces.size(), 0u);
    EXPECT_EQ(values(three_rows), (list{1, 2, 3}));
    EXPECT_EQ(shapeless.rows(), 4u);  // the empty 0 x 7 output took the hexahedron's faces only
    EXPECT_EQ(shapeless.cols(), 6u);
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
    std::mt19937 rng(5);
    for (int g = 0; g < 300; ++g) nb(rng() % 4, rng() % nb.cols()) = NO;
    list want_ids, want_faces;
    for (unsigned id = 0; id < all.cols(); ++id)
        if (nb(id % 4, id / 4) == NO) {
            want_ids.push_back(id);
            for (unsigned r = 0; r < 3; ++r) want_faces.push_back(all(r, id));
        }
    const auto prefix = [](const list& got, const list& of) {
        return list(of.begin(), of.begin() + std::min(got.size(), of.size()));
    };
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return cw::get_mesh_bounding_elements(tets, nb, cw::ET_TETRA4, ids); },
                                           [&] { EXPECT_EQ(values(ids), prefix(values(ids), want_ids)); }, &failures,
                                           [&] { ids.clear(); }),
              0);
    EXPECT_EQ(values(ids), want_ids);
    EXPECT_GT(failures, 2);
    EXPECT_EQ(with_each_allocation_failing([&] { return cw::get_mesh_boundaries(tets, nb, cw::ET_TETRA4, skin); },
                                           [&] { EXPECT_EQ(values(skin), prefix(values(skin), want_faces)); },
                                           &failures, [&] { skin.clear(); }),
              0);
    EXPECT_EQ(values(skin), want_faces);
    EXPECT_GT(failures, 2);
}

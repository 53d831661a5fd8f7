// NASTRAN decks: the three GRID forms with their quirks, element cards in
// small, free and star-continued form with their node orders, families, the
// three reader forms, the writer's exact text and codes, and a round trip.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "file_test.hpp"
#include "test_support.hpp"

namespace {

namespace cw = tq5::cellworks;
using reals = tq5::dense2D<double>;
using ids = tq5::dense2D<unsigned>;
using lists = tq5::dense1D<unsigned>;
using types = tq5::dense1D<int>;
constexpr unsigned X = tq5::cellworks::NO_INDEX;

struct Nastran : cwtest::file_test {
    Nastran() : file_test("nastran", ".bdf") {}
};

struct deck {
    reals pos;
    ids connect;
    lists starts, props;
    types fams;
    int read(const std::string& file) { return cw::NASTRAN_input(file.c_str(), pos, connect, starts, fams, props); }
};

void expect_column(const ids& c, std::size_t j, std::initializer_list<unsigned> want) {
    ASSERT_EQ(c.rows(), want.size());
    std::size_t r = 0;
    for (unsigned v : want) EXPECT_EQ(c(r++, j), v) << "row " << r - 1 << " of column " << j;
}

TEST_F(Nastran, ReadsGridFormsCardsAndFamilies) {
    deck d;
    ASSERT_EQ(d.read(put("GRID    9       0       9.      9.      9.\n"  // before the bulk: ignored
                         "$ BEGIN BULK in a comment does not count\n"
                         "BEGIN BULK\n"
                         "GRID           1       0      1.      2.      3.\n"
                         "GRID           2       0  1.5-3 12345678    -4. \n"
                         "GRID,3,0,4.,5.,6.\n"
                         "GRID,4,0,1.5-3,7.,8.\n"
                         "GRID*                  5                       7.             8.5*\n"
                         "*                    9.5\n"
                         "CTRIA3,1,7,1,2,3\n"
                         "CTRIA3  2       7       3       4       5\n"
                         "MAT1    1       0.\n"
                         "CQUAD4,3,8,1,2,3,4\n"
                         "CTETRA,4,8,1,2,3,4\n"
                         "CTRIA6,5,8,1,2,3,4,5,6\n"
                         "CPENTA,6,8,1,2,3,4,5,6\n"
                         "CHEXA*  7       9       1       2       3       4\n"
                         "*       5       6       7       8\n"
                         "CROD,8,9,5,1\n"
                         "$ ENDDATA in a comment does not end the deck\n"
                         "CTRIA3,9,9,3,2,1\n"
                         "xx ENDDATA\n"
                         "CTRIA3,10,9,1,2,3\n")),
              0);
    ASSERT_EQ(d.pos.cols(), 6u);
    const double want[6][3] = {{0, 0, 0}, {1, 2, 3}, {1.5, 12345678, -4}, {4, 5, 6}, {1.5, 0, 0}, {7, 8.5, 9.5}};
    for (unsigned i = 0; i < 6; ++i)
        for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(d.pos(k, i), want[i][k]) << "node " << i << " axis " << k;
    ASSERT_EQ(d.connect.cols(), 9u);
    expect_column(d.connect, 0, {1, 2, 3, X, X, X, X, X});
    expect_column(d.connect, 1, {3, 4, 5, X, X, X, X, X});
    expect_column(d.connect, 2, {1, 2, 3, 4, X, X, X, X});
    expect_column(d.connect, 3, {1, 3, 2, 4, X, X, X, X});
    expect_column(d.connect, 4, {1, 2, 3, 5, 6, 4, X, X});
    expect_column(d.connect, 5, {X, X, X, X, X, X, X, X});
    expect_column(d.connect, 6, {1, 2, 3, 4, 5, 6, 7, 8});
    expect_column(d.connect, 7, {5, 1, X, X, X, X, X, X});
    const unsigned props[] = {7, 7, 8, 8, 8, 8, 9, 9, 9};
    for (unsigned j = 0; j < 9; ++j) EXPECT_EQ(d.props[j], props[j]);
    const int fams[] = {cw::ET_TRIA3, cw::ET_QUAD4, cw::ET_TETRA4, cw::ET_TRIA6,
                        cw::ET_PYRA5, cw::ET_HEXA8, cw::ET_BAR2,   cw::ET_TRIA3};
    const unsigned starts[] = {0, 2, 3, 4, 5, 6, 7, 8, 9};
    ASSERT_EQ(d.fams.size(), 8u);
    ASSERT_EQ(d.starts.size(), 9u);
    for (unsigned k = 0; k < 8; ++k) EXPECT_EQ(d.fams[k], fams[k]) << k;
    for (unsigned k = 0; k < 9; ++k) EXPECT_EQ(d.starts[k], starts[k]) << k;
}

TEST_F(Nastran, ReaderFormsAndCodes) {
    deck d;
    EXPECT_EQ(d.read(path("missing.bdf")), -1);
    // No bulk section: -1, the family starts closed at 0.
    EXPECT_EQ(d.read(put("GRID,1,0,1.,2.,3.\nCTRIA3,1,1,1,2,3\n")), -1);
    EXPECT_EQ(d.pos.cols(), 0u);
    EXPECT_EQ(d.connect.cols(), 0u);
    ASSERT_EQ(d.starts.size(), 2u);
    EXPECT_EQ(d.starts[1], 0u);
    // A GRID line with nothing to convert ends the reading with what was read.
    EXPECT_EQ(d.read(put("BEGIN BULK\nGRID,1,0,1.,2.,3.\nCTRIA3,1,1,1,2,3\nGRID,\nGRID,2,0,1.,2.,3.\n")), -1);
    EXPECT_EQ(d.pos.cols(), 2u);
    EXPECT_EQ(d.connect.cols(), 1u);
    EXPECT_EQ(d.starts.size(), 1u);
    EXPECT_EQ(d.read(put("BEGIN BULK\nGRID*  1\n")), -1);  // the continuation is missing
    deck fresh;
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(fresh.read(put("BEGIN BULK\nGRID,1,0,1.,2.,3.\n")), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);

    // Two families: each block with the rows of its type; a third is dropped.
    const std::string tri_quad = put("BEGIN BULK\nCTRIA3,1,1,1,2,3\nCQUAD4,2,1,1,2,3,4\nCTRIA3,3,1,4,5,6\n");
    reals pos;
    ids m1, m2, all;
    cw::element_type fe1 = cw::ET_NODE, fe2 = cw::ET_NODE, fe = cw::ET_TRIA3;
    ASSERT_EQ(cw::NASTRAN_input(tri_quad.c_str(), pos, m1, m2, fe1, fe2), 0);
    EXPECT_EQ(fe1, cw::ET_TRIA3);
    EXPECT_EQ(fe2, cw::ET_QUAD4);
    expect_column(m1, 0, {1, 2, 3});
    expect_column(m2, 0, {1, 2, 3, 4});
    EXPECT_EQ(m1.cols(), 1u);
    EXPECT_EQ(m2.cols(), 1u);
    ASSERT_EQ(cw::NASTRAN_input(tri_quad.c_str(), pos, all, fe), 0);
    EXPECT_EQ(fe, cw::ET_UNKNOWN);
    EXPECT_EQ(all.cols(), 3u);
    // One family: no second block.
    ASSERT_EQ(cw::NASTRAN_input(put("BEGIN BULK\nCTRIA3,1,1,1,2,3\n").c_str(), pos, m1, m2, fe1, fe2), 0);
    EXPECT_EQ(fe2, cw::ET_UNKNOWN);
    EXPECT_EQ(m2.cols(), 0u);
    // A failed read leaves the blocks as they were.
    EXPECT_EQ(cw::NASTRAN_input(path("missing.bdf").c_str(), pos, m1, m2, fe1, fe2), -1);
    EXPECT_EQ(m1.cols(), 1u);
    EXPECT_EQ(fe1, cw::ET_TRIA3);
}

// The writer's text of one triangle and one tetrahedron; the grid lines come
// from the platform's printf.
const char* const banner =
    "$ TQ5 CellWorks NASTRAN exporter\n"
    "BEGIN BULK\n"
    "$----------------------------------------\n"
    "$ Referenced Material Records -----------\n"
    "$ Material Record :    ------------------\n"
    "$ Description of Material :   -----------\n"
    "MAT1    1       0.                 0.  0.\n"
    "$----------------------------------------\n"
    "$                                        \n"
    "$                GRID POINTS             \n"
    "$                                        \n"
    "$----------------------------------------\n";
const char* const elements =
    "$----------------------------------------\n"
    "$                                        \n"
    "$                 ELEMENTS               \n"
    "$                                        \n"
    "$----------------------------------------\n"
    "CTRIA3,1,1,1,2,3\n"
    "CTETRA,2,2,2,1,3,4\n"
    "ENDDATA\n";

TEST_F(Nastran, WritesTheDeckTextAndReadsItBack) {
    reals pos(3, 4, 0.0);
    const double x[4][3] = {{0, 1, -0.25}, {123456.75, -0.0, 1e-300}, {1, 2, 3}, {INFINITY, -NAN, 0}};
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned k = 0; k < 3; ++k) pos(k, i) = x[i][k];
    ids tria(3, 1), tet(4, 1);
    for (unsigned r = 0; r < 4; ++r) {
        if (r < 3) tria(r, 0) = r;
        tet(r, 0) = r;
    }
    ASSERT_EQ(cw::NASTRAN_output(path().c_str(), pos, tria, tet, cw::ET_TRIA3, cw::ET_TETRA4), 0);
    std::string want = banner;
    char line[128];
    for (unsigned i = 0; i < 4; ++i) {
        std::snprintf(line, sizeof line, "GRID*   %16d                %16E%16E*\n*       %16E\n", int(i + 1), x[i][0],
                      x[i][1], x[i][2]);
        want += line;
    }
    EXPECT_EQ(text(), want + elements);
    EXPECT_NE(want.find("GRID*                  2                    1.234568E+05   -0.000000E+00*\n"
                        "*          1.000000E-300\n"),
              std::string::npos);
    // Read back: one column more, column 0 at the origin; the tetrahedron's
    // first three nodes come back rotated.
    deck d;
    ASSERT_EQ(d.read(path()), 0);
    ASSERT_EQ(d.pos.cols(), 5u);
    EXPECT_EQ(d.pos(1, 3), 2.0);
    EXPECT_EQ(d.pos(0, 0), 0.0);
    expect_column(d.connect, 1, {2, 3, 1, 4});
    EXPECT_EQ(d.props[1], 2u);
}

TEST_F(Nastran, WriterQuirksAndCodes) {
    reals pos(3, 6, 0.0), flat(2, 6, 0.0);
    ids mixed(4, 2, 0u), none;
    mixed(3, 0) = X;  // a triangle first: the whole family as triangles
    lists starts, props;
    types fams;
    starts.push_back(0);
    starts.push_back(2);
    fams.push_back(cw::ET_FACE_MIX);
    props.push_back(5);
    props.push_back(6);
    ASSERT_EQ(cw::NASTRAN_output(path().c_str(), pos, mixed, starts, fams, props), 0);
    const std::string text_mixed = text();
    EXPECT_NE(text_mixed.find("CTRIA3,1,5,1,1,1\nCTRIA3,2,6,1,1,1\nENDDATA\n"), std::string::npos);
    ids wedge(6, 1, 0u), pyramid(5, 1, 0u);
    ASSERT_EQ(cw::NASTRAN_output(path().c_str(), pos, wedge, cw::ET_PENTA6), 0);
    EXPECT_NE(text().find("\n,1,1,1,1,1,1,1,1\nENDDATA"), std::string::npos);
    ASSERT_EQ(cw::NASTRAN_output(path().c_str(), pos, pyramid, cw::ET_PYRA5), 0);
    EXPECT_NE(text().find("ELEMENTS               \n$                                        \n"
                          "$----------------------------------------\nENDDATA\n"),
              std::string::npos);
    // Empty: no file, an existing one untouched.
    std::ofstream(path()) << "kept";
    EXPECT_EQ(cw::NASTRAN_output(path().c_str(), pos, none, cw::ET_TRIA3), 0);
    EXPECT_EQ(text(), "kept");
    EXPECT_EQ(cw::NASTRAN_output((dir / "no" / "x.bdf").string().c_str(), pos, wedge, cw::ET_PENTA6), -1);
    // Refused lists, in the order of the checks.
    EXPECT_EQ(cw::NASTRAN_output(path().c_str(), flat, mixed, starts, fams, props), -2);
    fams.push_back(cw::ET_TRIA3);
    EXPECT_EQ(cw::NASTRAN_output(path().c_str(), pos, mixed, starts, fams, props), -5);
    fams.resize(1);
    props.push_back(7);
    EXPECT_EQ(cw::NASTRAN_output(path().c_str(), pos, mixed, starts, fams, props), -6);
    props.resize(2);
    mixed(0, 1) = X;
    EXPECT_EQ(cw::NASTRAN_output(path().c_str(), pos, mixed, starts, fams, props), -3);
}

// Decks written by gmsh (tests/data/nastran, made by make_decks.sh there).
TEST_F(Nastran, ReadsGeneratorDecksOnceTheyHaveABulkLine) {
    auto source = [](const char* name) {
        std::ifstream in(std::string(CELLWORKS_TEST_DATA "/nastran/") + name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    const std::string free_deck = source("part_tets_free.bdf"), small_deck = source("part_tris_small.bdf");
    ASSERT_FALSE(free_deck.empty());
    deck d;
    EXPECT_EQ(d.read(put(free_deck)), -1);  // no "BEGIN BULK"
    ASSERT_EQ(d.read(put("BEGIN BULK\n" + free_deck)), 0);
    EXPECT_EQ(d.pos.cols(), 243u);
    EXPECT_EQ(d.pos(0, 1), 2.5);
    ASSERT_EQ(d.fams.size(), 3u);
    const int fams[] = {cw::ET_BAR2, cw::ET_TRIA3, cw::ET_TETRA4};
    const unsigned starts[] = {0, 85, 545, 1191};
    for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(d.fams[k], fams[k]);
    for (unsigned k = 0; k < 4; ++k) EXPECT_EQ(d.starts[k], starts[k]);
    // Small field with left-justified ids: the elements read, the grid
    // coordinates are shifted out of their columns.
    ASSERT_EQ(d.read(put("BEGIN BULK\n" + small_deck)), 0);
    EXPECT_EQ(d.connect.cols(), 545u);
    EXPECT_NE(d.pos(0, 1), 2.5);
}

}  // namespace

#include <gtest/gtest.h>

#include <vector>

#include <tq5/cellworks.hpp>

namespace cw = tq5::cellworks;
using cw::NO_INDEX;
constexpr unsigned X = NO_INDEX;

namespace {
tq5::dense2D<unsigned> matrix(std::size_t rows, const std::vector<std::vector<unsigned>>& cols) {
    tq5::dense2D<unsigned> m(rows, cols.size());
    for (std::size_t j = 0; j < cols.size(); ++j)
        for (std::size_t r = 0; r < rows; ++r) m(r, j) = cols[j][r];
    return m;
}
}  // namespace

TEST(ElementType, CountsAndVersion) {
    EXPECT_STREQ(cw::version(), "4.4.0.0");
    EXPECT_EQ(cw::node_count(cw::ET_HEXA27), 27u);
    EXPECT_EQ(cw::node_count(cw::ET_PYRA14), 14u);
    EXPECT_EQ(cw::corner_count(cw::ET_PENTA18), 6u);
    EXPECT_EQ(cw::node_count(cw::ET_BAR_MIX), 0u);
    EXPECT_EQ(cw::corner_count(cw::ET_BAR_MIX), 2u);
    EXPECT_EQ(cw::node_count(cw::ET_SOLID_MIX) + cw::corner_count(cw::ET_SOLID_MIX), 0u);
    EXPECT_EQ(cw::ERR_ALLOC, -199);
}

TEST(CheckIDs, UntypedFormsAcceptAbsentEntries) {
    tq5::dense1D<unsigned> v(3, 1u);
    v[2] = X;
    EXPECT_TRUE(cw::check_IDs(v, 2));
    v[1] = 2;
    EXPECT_FALSE(cw::check_IDs(v, 2));
    EXPECT_TRUE(cw::check_IDs(v, NO_INDEX));
    EXPECT_TRUE(cw::check_IDs(tq5::dense1D<unsigned>(), 0));
    const auto m = matrix(4, {{0, 1, X, 3}, {9, 9, 9, 9}});
    EXPECT_FALSE(cw::check_IDs(m, 5));
    EXPECT_TRUE(cw::check_IDs(m.sub_matrix(0, 0, 4, 1), 4));  // steps by ld
    EXPECT_TRUE(cw::check_IDs(tq5::dense2D<unsigned>(0, 5), 0));
}

TEST(CheckIDs, FixedTypes) {
    const auto tri4 = matrix(4, {{0, 1, 2, 3}});
    EXPECT_TRUE(cw::check_IDs(tri4, cw::ET_TRIA3, NO_INDEX));  // no look at all
    EXPECT_FALSE(cw::check_IDs(tri4, cw::ET_TRIA3, 10));      // wrong rows
    EXPECT_TRUE(cw::check_IDs(tri4, cw::ET_QUAD4, 4));
    EXPECT_FALSE(cw::check_IDs(tri4, cw::ET_QUAD4, 3));
    EXPECT_FALSE(cw::check_IDs(matrix(4, {{0, 1, X, 3}}), cw::ET_QUAD4, 10));  // no padding in fixed types
    EXPECT_FALSE(cw::check_IDs(matrix(2, {{0, 1}}), cw::ET_BAR_MIX, 10));      // node count 0
    EXPECT_FALSE(cw::check_IDs(tri4, static_cast<cw::element_type>(40), 10));
    EXPECT_TRUE(cw::check_IDs(tq5::dense2D<unsigned>(), cw::ET_HEXA8, 0));
}

TEST(CheckIDs, MixedSurfaces) {
    EXPECT_TRUE(cw::check_IDs(matrix(4, {{7, 8, 9, X}, {1, 2, 3, 4}}), cw::ET_FACE_MIX, 10));
    EXPECT_FALSE(cw::check_IDs(matrix(4, {{7, X, 9, 4}}), cw::ET_FACE_MIX, 10));
    EXPECT_FALSE(cw::check_IDs(matrix(4, {{7, X, 9, 4}}), cw::ET_FACE_MIX, NO_INDEX));  // shape only
    EXPECT_TRUE(cw::check_IDs(matrix(3, {{7, 8, 9}}), cw::ET_FACE_MIX, 10));
    EXPECT_FALSE(cw::check_IDs(matrix(5, {{7, 8, 9, 1, 2}}), cw::ET_FACE_MIX, 10));
}

TEST(CheckIDs, MixedSolids) {
    const unsigned lim = 100;
    EXPECT_TRUE(cw::check_IDs(matrix(8, {{0, 1, 2, 3, X, X, X, X}, {0, 1, 2, 3, 4, X, X, X},
                                         {0, 1, 2, 3, 4, 5, X, X}, {0, 1, 2, 3, 4, 5, 6, 7}}),
                              cw::ET_SOLID_MIX, lim));
    EXPECT_FALSE(cw::check_IDs(matrix(8, {{0, 1, 2, 3, 4, X, 6, X}}), cw::ET_SOLID_MIX, lim));  // valid behind padding
    EXPECT_FALSE(cw::check_IDs(matrix(8, {{0, 1, 2, 3, 4, 5, 6, X}}), cw::ET_SOLID_MIX, lim));  // seven nodes
    EXPECT_FALSE(cw::check_IDs(matrix(8, {{0, 1, X, 3, X, X, X, X}}), cw::ET_SOLID_MIX, NO_INDEX));
    EXPECT_TRUE(cw::check_IDs(matrix(5, {{0, 1, 2, 3, X}}), cw::ET_SOLID_MIX, lim));
    EXPECT_FALSE(cw::check_IDs(matrix(7, {{0, 1, 2, 3, 4, 5, 6}}), cw::ET_SOLID_MIX, NO_INDEX));
    EXPECT_FALSE(cw::check_IDs(matrix(8, {{0, 1, 2, 3, 4, 5, 6, 100}}), cw::ET_SOLID_MIX, lim));
}

#include <gtest/gtest.h>

#include <vector>

#include <tq5/cellworks.hpp>

using M = tq5::dense2D<unsigned>;
using Col3 = tq5::vector_fixed<unsigned, 3>;

namespace {
// Entries column by column.
std::vector<unsigned> entries(const M& m) {
    std::vector<unsigned> out;
    for (std::size_t c = 0; c < m.cols(); ++c)
        for (std::size_t r = 0; r < m.rows(); ++r) out.push_back(m(r, c));
    return out;
}
M numbered(std::size_t rows, std::size_t cols) {
    M m(rows, cols);
    for (std::size_t c = 0; c < cols; ++c)
        for (std::size_t r = 0; r < rows; ++r) m(r, c) = unsigned(10 * c + r);
    return m;
}
}  // namespace

TEST(Dense2D, ColumnPushBackReservesFourColumnsAndChecksHeight) {
    M m;
    EXPECT_TRUE(m.empty());
    ASSERT_TRUE(m.push_back(Col3{{1, 2, 3}}));
    EXPECT_GE(m.col_capacity(), 4u);
    EXPECT_EQ(m.ld(), 3u);
    EXPECT_FALSE(m.push_back(tq5::vector_fixed<unsigned, 2>{{1, 2}}));
    for (unsigned i = 0; i < 20; ++i) ASSERT_TRUE(m.push_back(Col3{{i, i, i}}));
    EXPECT_EQ(m.cols(), 21u);
    EXPECT_EQ(m(0, 0), 1u);
    EXPECT_EQ(m(2, 20), 19u);
    EXPECT_EQ(m.size(), 63u);
}

TEST(Dense2D, ResizeWithSameRowsKeepsColumnsAndLd) {
    M m = numbered(2, 3);
    ASSERT_TRUE(m.resize(2, 5, 7u));
    EXPECT_EQ(entries(m), (std::vector<unsigned>{0, 1, 10, 11, 20, 21, 7, 7, 7, 7}));
    ASSERT_TRUE(m.resize(2, 1));
    EXPECT_EQ(entries(m), (std::vector<unsigned>{0, 1}));
    // With other rows the leading rows of the kept columns move to the new layout.
    M g = numbered(2, 3);
    ASSERT_TRUE(g.resize(3, 3));
    EXPECT_EQ(g.ld(), 3u);
    EXPECT_EQ(g(1, 2), 21u);
    ASSERT_TRUE(g.resize(1, 3));
    EXPECT_EQ(entries(g), (std::vector<unsigned>{0, 10, 20}));
    M cleared = numbered(2, 2);
    cleared.clear();
    ASSERT_TRUE(cleared.resize(3, 2, 5u));
    EXPECT_EQ(entries(cleared), (std::vector<unsigned>(6, 5u)));
}

TEST(Dense2D, SubMatrixAndColumnViewsWriteThroughToTheParent) {
    M m = numbered(4, 3);
    M sub = m.sub_matrix(1, 1, 2, 2);
    EXPECT_EQ(sub.ld(), 4u);
    EXPECT_EQ(entries(sub), (std::vector<unsigned>{11, 12, 21, 22}));
    sub(0, 1) = 99;
    EXPECT_EQ(m(1, 2), 99u);
    tq5::dense1D<unsigned> c = m.col(2);
    EXPECT_EQ(c.size(), 4u);
    c[3] = 77;
    EXPECT_EQ(m(3, 2), 77u);
    // A deep copy of a view is packed (ld = rows) and independent.
    M packed;
    ASSERT_TRUE(packed.copy(sub));
    EXPECT_EQ(packed.ld(), 2u);
    EXPECT_EQ(entries(packed), (std::vector<unsigned>{11, 12, 99, 22}));
    packed(0, 0) = 0;
    EXPECT_EQ(m(1, 1), 11u);
}

TEST(Dense2D, AppendingMatricesAndListedColumns) {
    M m = numbered(2, 2);
    ASSERT_TRUE(m.push_back(numbered(2, 3).sub_matrix(0, 1, 2, 2)));
    EXPECT_EQ(entries(m), (std::vector<unsigned>{0, 1, 10, 11, 10, 11, 20, 21}));
    tq5::dense1D<unsigned> list;
    list.push_back(3);
    list.push_back(0);
    const M src = numbered(2, 4);
    M dst;
    ASSERT_TRUE(dst.push_back(src, list));
    EXPECT_EQ(entries(dst), (std::vector<unsigned>{30, 31, 0, 1}));
    ASSERT_TRUE(dst.push_back(dst));  // appending a matrix to itself
    EXPECT_EQ(entries(dst), (std::vector<unsigned>{30, 31, 0, 1, 30, 31, 0, 1}));
}

TEST(Dense2D, FailuresLeaveDimensionsAndContents) {
    M m = numbered(3, 2);
    const M big = numbered(3, 50);
    const std::size_t fit = m.col_capacity();
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(m.resize(3, fit + 1));
    EXPECT_FALSE(m.reserve(3, fit + 1));
    EXPECT_FALSE(m.push_back(big));
    EXPECT_FALSE(m.copy(big));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(m.rows(), 3u);
    EXPECT_EQ(m.cols(), 2u);
    EXPECT_EQ(entries(m), (std::vector<unsigned>{0, 1, 2, 10, 11, 12}));
}

TEST(Dense2D, ExternalMemoryIsAViewUntilItGrows) {
    double coords[6] = {0, 0, 1, 0, 0, 1};
    tq5::dense2D<double> pos(coords, 2, 3);
    EXPECT_EQ(pos(1, 2), 1.0);
    pos(0, 1) = 2;
    EXPECT_EQ(coords[2], 2.0);
    ASSERT_TRUE(pos.resize(2, 4, 5.0));
    pos(0, 0) = 9;
    EXPECT_EQ(coords[0], 0.0);
    EXPECT_EQ(pos(0, 1), 2.0);
    EXPECT_EQ(pos(1, 3), 5.0);
}

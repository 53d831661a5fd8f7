#include "test_support.hpp"

using namespace cwtest;
using M = tq5::dense2D<unsigned>;
using Col3 = tq5::vector_fixed<unsigned, 3>;

namespace {
// Entry (r, c) is 10 c + r.
M numbered(std::size_t rows, std::size_t cols) {
    M m(rows, cols);
    for (std::size_t c = 0; c < cols; ++c)
        for (std::size_t r = 0; r < rows; ++r) m(r, c) = unsigned(10 * c + r);
    return m;
}
}  // namespace

TEST(Dense2D, ColumnPushBackChecksTheHeight) {
    M m;
    for (unsigned i = 0; i < 20; ++i) ASSERT_TRUE(m.push_back(Col3{{i, i, i + 1}}));
    EXPECT_FALSE(m.push_back(tq5::vector_fixed<unsigned, 2>{{1, 2}}));
    EXPECT_TRUE(m.cols() == 20 && m.ld() == 3 && m(0, 0) == 0 && m(2, 19) == 20);
}

TEST(Dense2D, ResizeKeepsColumnsOrMovesThemToTheNewLayout) {
    M m = numbered(2, 3);
    ASSERT_TRUE(m.resize(2, 5, 7u));
    EXPECT_EQ(values(m), (list{0, 1, 10, 11, 20, 21, 7, 7, 7, 7}));
    ASSERT_TRUE(m.resize(2, 1));
    EXPECT_EQ(values(m), (list{0, 1}));
    // With other rows the leading rows of the kept columns move to the new layout.
    M g = numbered(2, 3);
    ASSERT_TRUE(g.resize(3, 3));
    EXPECT_TRUE(g.ld() == 3 && g(1, 2) == 21);
    ASSERT_TRUE(g.resize(1, 3));
    EXPECT_EQ(values(g), (list{0, 10, 20}));
    // A view keeps its ld: resizing it never moves entries of its parent.
    M parent = numbered(4, 3), view = parent.sub_matrix(1, 0, 2, 3);
    ASSERT_TRUE(view.resize(2, 2));
    EXPECT_TRUE(view.ld() == 4 && values(parent) == values(numbered(4, 3)));
    M cleared = numbered(2, 2);
    cleared.clear();
    ASSERT_TRUE(cleared.resize(3, 2, 5u));
    EXPECT_EQ(values(cleared), list(6, 5u));
}

TEST(Dense2D, SubMatrixAndColumnViewsWriteThroughToTheParent) {
    M m = numbered(4, 3);
    M sub = m.sub_matrix(1, 1, 2, 2);
    EXPECT_EQ(sub.ld(), 4u);
    EXPECT_EQ(values(sub), (list{11, 12, 21, 22}));
    sub(0, 1) = 99;
    EXPECT_EQ(m(1, 2), 99u);
    tq5::dense1D<unsigned> c = m.col(2);
    c[3] = 77;
    EXPECT_TRUE(c.size() == 4 && m(3, 2) == 77);
    sub = 5u;  // a fill stays inside the view
    EXPECT_EQ(values(m), (list{0, 1, 2, 3, 10, 5, 5, 13, 20, 5, 5, 77}));
    // A deep copy of a view is packed (ld = rows) and independent.
    M packed;
    ASSERT_TRUE(packed.copy(sub));
    EXPECT_EQ(packed.ld(), 2u);
    packed(0, 0) = 0;
    EXPECT_EQ(values(packed), (list{0, 5, 5, 5}));
    EXPECT_EQ(m(1, 1), 5u);
}

TEST(Dense2D, AppendingMatricesAndListedColumns) {
    M m = numbered(2, 2);
    ASSERT_TRUE(m.push_back(numbered(2, 3).sub_matrix(0, 1, 2, 2)));
    EXPECT_EQ(values(m), (list{0, 1, 10, 11, 10, 11, 20, 21}));
    M dst;
    ASSERT_TRUE(dst.push_back(numbered(2, 4), vec({3, 0})));
    EXPECT_EQ(values(dst), (list{30, 31, 0, 1}));
    ASSERT_TRUE(dst.push_back(dst));  // appending a matrix to itself
    EXPECT_EQ(values(dst), (list{30, 31, 0, 1, 30, 31, 0, 1}));
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
    EXPECT_TRUE(m.rows() == 3 && m.cols() == 2);
    EXPECT_EQ(values(m), (list{0, 1, 2, 10, 11, 12}));
}

#include "test_support.hpp"

using M = tq5::dense2D<unsigned>;

// Entry (r, c) is 10 c + r.
static M numbered(std::size_t rows, std::size_t cols) {
    M m(rows, cols);
    for (std::size_t i = 0; i < m.size(); ++i) m.data()[i] = unsigned(10 * (i / rows) + i % rows);
    return m;
}

// Same rows keep columns and ld; other rows move the kept leading rows to ld = rows.
TEST(Dense2D, ResizeAndPushBackKeepColumnsOrMoveThemToTheNewLayout) {
    M m, g = numbered(2, 3), parent = numbered(4, 3), view = parent.sub_matrix(1, 0, 2, 3);
    for (unsigned i = 0; i < 20; ++i) ASSERT_TRUE(m.push_back(tq5::vector_fixed<unsigned, 3>{{i, i, i + 1}}));
    EXPECT_FALSE(m.push_back(tq5::vector_fixed<unsigned, 2>{{1, 2}}));  // another height
    EXPECT_EQ((list{unsigned(m.cols()), unsigned(m.ld()), m(0, 0), m(2, 19)}), (list{20, 3, 0, 20}));
    m = numbered(2, 3);
    ASSERT_TRUE(m.resize(2, 5, 7u));
    EXPECT_EQ(values(m), (list{0, 1, 10, 11, 20, 21, 7, 7, 7, 7}));
    ASSERT_TRUE(m.resize(2, 1));
    EXPECT_EQ(values(m), (list{0, 1}));
    ASSERT_TRUE(g.resize(3, 3));
    EXPECT_EQ((list{unsigned(g.ld()), g(1, 2)}), (list{3, 21}));
    ASSERT_TRUE(g.resize(1, 3));
    EXPECT_EQ(values(g), (list{0, 10, 20}));
    ASSERT_TRUE(view.resize(2, 2));  // a view keeps its ld: the parent's entries stay
    EXPECT_EQ(view.ld(), 4u);
    EXPECT_EQ(values(parent), values(numbered(4, 3)));
}

TEST(Dense2D, ViewsWriteThroughToTheParentAndCopiesArePacked) {
    M m = numbered(4, 3), sub = m.sub_matrix(1, 1, 2, 2), packed;
    EXPECT_EQ(values(sub), (list{11, 12, 21, 22}));
    sub(0, 1) = 99;
    EXPECT_EQ(m(1, 2), 99u);
    m.col(2)[3] = 77;
    sub = 5u;  // a fill stays inside the view
    EXPECT_EQ(values(m), (list{0, 1, 2, 3, 10, 5, 5, 13, 20, 5, 5, 77}));
    ASSERT_TRUE(packed.copy(sub));
    packed(0, 0) = 0;
    EXPECT_EQ(packed.ld(), 2u);
    EXPECT_EQ(values(packed), (list{0, 5, 5, 5}));
    EXPECT_EQ(m(1, 1), 5u);
    ASSERT_TRUE(m.push_back(numbered(4, 3).sub_matrix(0, 1, 4, 1)));
    ASSERT_TRUE(packed.push_back(numbered(2, 4), vec({3, 0})));
    ASSERT_TRUE(packed.push_back(packed));  // appending a matrix to itself
    EXPECT_EQ(values(m.col(3)), (list{10, 11, 12, 13}));
    EXPECT_EQ(values(packed), (list{0, 5, 5, 5, 30, 31, 0, 1, 0, 5, 5, 5, 30, 31, 0, 1}));
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
    EXPECT_EQ(values(m), (list{0, 1, 2, 10, 11, 12}));
}

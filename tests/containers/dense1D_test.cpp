#include "test_support.hpp"

using V = tq5::dense1D<unsigned>;

// Views share the block: writes and growth through one reach all of them, each
// keeping its size. Sub-vectors alias their parent; deep copies do not, even
// from a view of their own block. clear keeps the block, clear_hard lets it go.
TEST(Dense1D, ViewsShareTheBlockAndDeepCopiesDoNot) {
    V a(2, 1u), b = a, sub, deep, out(4, 1u), caller = out;
    b[0] = 5;
    ASSERT_TRUE(a.resize(1000, 2u));
    b[1] = 6;
    EXPECT_EQ((list{a[0], a[1], a[999], unsigned(b.size())}), (list{5, 6, 2, 2}));
    EXPECT_EQ(b.data(), a.data());
    {
        V parent = vec({0, 1, 2, 3, 4});
        sub = parent.sub_vector(1, 3);  // keeps the block alive
        sub[0] = 10;
        EXPECT_TRUE(sub == parent.sub_vector(1, 3));
        EXPECT_FALSE(sub == parent);
        ASSERT_TRUE(deep.copy(parent));
        parent[0] = 9;
    }
    V shared = deep;
    ASSERT_TRUE(shared.copy(deep.sub_vector(1, 2)));
    shared[0] = 7;
    EXPECT_EQ(values(sub), (list{10, 2, 3}));
    EXPECT_EQ(values(deep), (list{0, 10, 2, 3, 4}));
    EXPECT_EQ(values(shared), (list{7, 2}));
    out.clear();
    ASSERT_TRUE(out.resize(2, 8u));  // in place: the caller sees it
    out.clear_hard();                // the caller keeps the old block
    EXPECT_EQ(out.data(), nullptr);
    EXPECT_EQ(values(caller), (list{8, 8, 1, 1}));
    caller.clear_hard();  // the last holder frees it
    EXPECT_EQ(caller.block()->capacity(), 0u);
}

// Every operation that needs memory fails cleanly, the vector as it was; what fits needs none.
TEST(Dense1D, FailuresLeaveSizeAndContents) {
    V v(2, 3u);
    const std::size_t cap = v.capacity(), max = std::numeric_limits<std::size_t>::max();
    const V big(cap + 10, 0u);
    EXPECT_FALSE(v.resize(max));
    EXPECT_FALSE(v.push_back_n(0u, max));
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(v.resize(cap + 1, 0u));
    EXPECT_FALSE(v.reserve(cap + 1, 2));
    EXPECT_FALSE(v.push_back_n(5u, cap));
    for (std::size_t i = v.size(); i < cap; ++i) ASSERT_TRUE(v.push_back(5));
    EXPECT_FALSE(v.push_back(5));
    EXPECT_FALSE(v.copy(big));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(v.size(), cap);
    EXPECT_EQ(values(v.sub_vector(0, 2)), (list{3, 3}));
}

#include <limits>

#include "test_support.hpp"

using namespace cwtest;
using V = tq5::dense1D<unsigned>;

TEST(Dense1D, CopiesShareTheBlockAndSeeGrowth) {
    V a(2, 1u), b = a;
    b[0] = 5;
    EXPECT_TRUE(a[0] == 5 && a == b);
    // Growth through one view moves the data of all; each keeps its size and offset.
    ASSERT_TRUE(a.resize(1000, 2u));
    EXPECT_TRUE(b.size() == 2 && b.data() == a.data());
    b[1] = 6;
    EXPECT_TRUE(a[1] == 6 && a[999] == 2);
}

TEST(Dense1D, SubVectorsAliasAndDeepCopiesDoNot) {
    V sub, deep;
    {
        V parent = vec({0, 1, 2, 3, 4});
        sub = parent.sub_vector(1, 3);  // keeps the block alive
        sub[0] = 10;
        EXPECT_EQ(parent[1], 10u);
        EXPECT_FALSE(sub == parent);
        EXPECT_TRUE(sub == parent.sub_vector(1, 3));
        ASSERT_TRUE(deep.copy(parent));
        parent[0] = 9;
    }
    EXPECT_EQ(values(sub), (list{10, 2, 3}));
    EXPECT_EQ(values(deep), (list{0, 10, 2, 3, 4}));
    // Copying a view of the same block into a view of it gets new storage.
    V shared = deep;
    ASSERT_TRUE(shared.copy(deep.sub_vector(1, 2)));
    shared[0] = 7;
    EXPECT_EQ(values(deep), (list{0, 10, 2, 3, 4}));
    EXPECT_EQ(values(shared), (list{7, 2}));
}

TEST(Dense1D, ClearWritesInPlaceButClearHardLetsGo) {
    V out(4, 1u), caller = out;
    out.clear();
    ASSERT_TRUE(out.resize(2, 8u));
    EXPECT_EQ(caller[0], 8u);  // the caller's view sees the in-place write
    out.clear_hard();
    EXPECT_TRUE(out.size() == 0 && out.data() == nullptr);
    EXPECT_EQ(caller[1], 8u);  // another holder keeps the old block
    caller.clear_hard();
    EXPECT_EQ(caller.block()->capacity(), 0u);  // the last holder frees it
}

TEST(Dense1D, FailuresLeaveSizeAndContents) {
    V v(2, 3u);
    const std::size_t cap = v.capacity();
    const V big(cap + 10, 0u);
    EXPECT_FALSE(v.resize(std::numeric_limits<std::size_t>::max()));
    EXPECT_FALSE(v.push_back_n(0u, std::numeric_limits<std::size_t>::max()));
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(v.resize(cap + 1, 0u));
    EXPECT_FALSE(v.reserve(cap + 1, 2));
    EXPECT_FALSE(v.push_back_n(5u, cap));
    for (std::size_t i = v.size(); i < cap; ++i) ASSERT_TRUE(v.push_back(5));  // fits: no allocation
    EXPECT_FALSE(v.push_back(5));
    EXPECT_FALSE(v.copy(big));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(v.size() == cap && v[0] == 3 && v[1] == 3);
    // The injection counts allocations; a failed constructor leaves an empty vector.
    tq5::testing::fail_allocations_after(2);
    V a(1), b(1), c(1);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(a.size() == 1 && b.size() == 1 && c.size() == 0);
}

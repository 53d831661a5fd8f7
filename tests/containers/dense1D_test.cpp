#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include <tq5/cellworks.hpp>

using V = tq5::dense1D<unsigned>;

namespace {
std::vector<unsigned> values(const V& v) { return std::vector<unsigned>(v.begin(), v.end()); }
}  // namespace

TEST(Dense1D, EmptyVectorsOwnABlockWithoutMemory) {
    V v;
    ASSERT_NE(v.block(), nullptr);
    EXPECT_EQ(v.data(), nullptr);
    EXPECT_TRUE(v.resize(0));  // allocates nothing
    EXPECT_EQ(v.data(), nullptr);
    EXPECT_TRUE(v.push_back(3));
    EXPECT_GE(v.capacity(), 2u);
    EXPECT_EQ(values(V(3, 9u)), (std::vector<unsigned>{9, 9, 9}));
}

TEST(Dense1D, CopiesShareTheBlockAndSeeGrowth) {
    V a(2, 1u);
    V b = a;
    b[0] = 5;
    EXPECT_EQ(a[0], 5u);
    EXPECT_TRUE(a == b);
    // Growth through one view moves the data of all; each keeps its size and offset.
    ASSERT_TRUE(a.resize(1000, 2u));
    EXPECT_EQ(b.size(), 2u);
    EXPECT_EQ(b.data(), a.data());
    b[1] = 6;
    EXPECT_EQ(a[1], 6u);
    EXPECT_EQ(a[999], 2u);
}

TEST(Dense1D, SubVectorAliasesAndKeepsTheBlockAlive) {
    V sub;
    {
        V parent(5, 0u);
        for (unsigned i = 0; i < 5; ++i) parent[i] = i;
        sub = parent.sub_vector(1, 3);
        sub[0] = 10;
        EXPECT_EQ(parent[1], 10u);
        EXPECT_FALSE(sub == parent);
        EXPECT_TRUE(sub == parent.sub_vector(1, 3));
    }
    EXPECT_EQ(values(sub), (std::vector<unsigned>{10, 2, 3}));
    EXPECT_EQ(sub.offset(), 1u);
}

TEST(Dense1D, DeepCopyIsIndependentAlsoFromItsOwnBlock) {
    V a(3, 4u);
    V b;
    ASSERT_TRUE(b.copy(a));
    b[0] = 1;
    EXPECT_EQ(a[0], 4u);
    // Copying a view of the same block into a view of it gets new storage.
    V shared = a;
    ASSERT_TRUE(shared.copy(a.sub_vector(1, 2)));
    shared[0] = 7;
    EXPECT_EQ(values(a), (std::vector<unsigned>{4, 4, 4}));
    EXPECT_EQ(values(shared), (std::vector<unsigned>{7, 4}));
}

TEST(Dense1D, ClearWritesInPlaceButClearHardLetsGo) {
    V out(4, 1u);
    V caller = out;
    out.clear();
    ASSERT_TRUE(out.resize(2, 8u));
    EXPECT_EQ(caller[0], 8u);  // the caller's view sees the in-place write
    out.clear_hard();
    EXPECT_EQ(out.size(), 0u);
    EXPECT_EQ(out.data(), nullptr);
    EXPECT_EQ(caller[1], 8u);  // another holder keeps the old block
    V alone(4, 1u);
    alone.clear_hard();
    EXPECT_EQ(alone.block()->capacity(), 0u);
}

TEST(Dense1D, FillPushBackNAndReserve) {
    V v(3);
    EXPECT_EQ(v = 6u, 6u);
    EXPECT_EQ(values(v), (std::vector<unsigned>{6, 6, 6}));
    ASSERT_TRUE(v.push_back_n(1u, 2));
    EXPECT_EQ(values(v), (std::vector<unsigned>{6, 6, 6, 1, 1}));
    ASSERT_TRUE(v.reserve(100, 1));
    EXPECT_GE(v.capacity(), 100u);
    EXPECT_EQ(v.size(), 5u);
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
    for (std::size_t i = v.size(); i < cap; ++i) ASSERT_TRUE(v.push_back(5));  // fits: no allocation
    EXPECT_FALSE(v.push_back(5));
    EXPECT_FALSE(v.copy(big));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(v.size(), cap);
    EXPECT_EQ(v[0], 3u);
    EXPECT_EQ(v[1], 3u);
}

TEST(Dense1D, FaultInjectionCountsAllocationsPerThread) {
    tq5::testing::fail_allocations_after(2);
    V a(1), b(1), c(1);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(a.size(), 1u);
    EXPECT_EQ(b.size(), 1u);
    EXPECT_EQ(c.size(), 0u);  // a failed constructor leaves an empty vector
}

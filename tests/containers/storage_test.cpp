#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include <tq5/cellworks.hpp>

TEST(VectorNum, GrowKeepsPrefixAlignsAndRoundsCapacityUp) {
    tq5::Ptr<tq5::vector_num<double>> b(new tq5::vector_num<double>);
    ASSERT_TRUE(b->grow(0, 0, 2));
    EXPECT_GE(b->capacity(), 2u);  // never less than 2
    b->data()[0] = 0.5;
    b->data()[1] = 1.5;
    ASSERT_TRUE(b->grow(5, 2, 2));
    EXPECT_GE(b->capacity(), 5u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b->data()) % 16, 0u);
    EXPECT_TRUE(b->data()[0] == 0.5 && b->data()[1] == 1.5);
    const std::size_t cap = b->capacity();
    ASSERT_TRUE(b->grow(cap + 1, 0, 3));
    EXPECT_GE(b->capacity(), 3 * cap);  // the factor wins over what is needed
}

TEST(VectorNum, FailedGrowLeavesTheBlockUntouched) {
    constexpr std::size_t max = std::numeric_limits<std::size_t>::max();
    tq5::Ptr<tq5::vector_num<unsigned>> b(new tq5::vector_num<unsigned>);
    ASSERT_TRUE(b->grow(4, 0, 1));
    b->data()[3] = 42;
    unsigned* before = b->data();
    const std::size_t cap = b->capacity();
    EXPECT_FALSE(b->grow(max / 2, 4, 1));  // bytes overflow
    EXPECT_FALSE(b->grow(8, 4, max));      // capacity * factor overflows
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(b->grow(100, 4, 1));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_TRUE(b->data() == before && b->capacity() == cap && b->data()[3] == 42);
}

// Freeing caller memory would be reported by the address sanitizer.
TEST(VectorNum, ExternalMemoryIsAViewUntilGrowthMovesItToOwnedMemory) {
    unsigned ext1[3] = {7, 8, 9};
    tq5::dense1D<unsigned> v(ext1, 3);
    v[0] = 1;
    EXPECT_EQ(ext1[0], 1u);
    ASSERT_TRUE(v.push_back(10));
    EXPECT_NE(v.block()->shift(), 65535u);
    v[1] = 0;
    EXPECT_TRUE(ext1[1] == 8 && v[0] == 1 && v[3] == 10);
    double ext2[6] = {0, 0, 1, 0, 0, 1};
    tq5::dense2D<double> pos(ext2, 2, 3);
    pos(0, 1) = 2;
    EXPECT_EQ(ext2[2], 2.0);
    ASSERT_TRUE(pos.resize(2, 4, 5.0));
    pos(0, 0) = 9;
    EXPECT_TRUE(ext2[0] == 0 && pos(0, 1) == 2 && pos(1, 2) == 1 && pos(1, 3) == 5);
}

TEST(Ptr, CountsHoldersAndDestroysWithTheLast) {
    auto* raw = new tq5::vector_num<int>;
    tq5::Ptr<tq5::vector_num<int>> a(raw), b = a;
    EXPECT_EQ(raw->ref_count(), 2);
    b = b.get();  // self-assignment keeps the object
    EXPECT_EQ(raw->ref_count(), 2);
    b = nullptr;
    EXPECT_EQ(raw->ref_count(), 1);
    a = b;  // the sanitizer reports a leak if raw is not destroyed here
    EXPECT_FALSE(a);
}

TEST(FixedTypes, ColumnMajorAndPackedUpperLayouts) {
    tq5::matrix_fixed<double, 2, 3> m{};
    m(1, 2) = 7;  // flat index 1 + 2 * 2
    EXPECT_EQ(m[5], 7);
    const tq5::symmetric_fixed<double, 3> s{{1, 2, 3, 4, 5, 6}};  // (0,0) (0,1) (1,1) (0,2) (1,2) (2,2)
    EXPECT_TRUE(s(0, 1) == 2 && s(1, 0) == 2 && s(2, 0) == 4 && s(1, 2) == 5 && s(2, 1) == 5 && s(2, 2) == 6);
}

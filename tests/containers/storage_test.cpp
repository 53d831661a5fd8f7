#include <cstdint>

#include "test_support.hpp"

TEST(VectorNum, GrowKeepsPrefixAndAlignsOrFailsLeavingTheBlockUntouched) {
    constexpr std::size_t max = std::numeric_limits<std::size_t>::max();
    tq5::Ptr<tq5::vector_num<double>> b(new tq5::vector_num<double>);
    ASSERT_TRUE(b->grow(0, 0, 2));
    EXPECT_GE(b->capacity(), 2u);  // never less than 2
    b->data()[0] = 0.5, b->data()[1] = 1.5;
    ASSERT_TRUE(b->grow(5, 2, 2));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b->data()) % 16, 0u);
    const std::size_t cap = b->capacity();
    ASSERT_TRUE(b->grow(cap + 1, 2, 3));
    EXPECT_GE(b->capacity(), 3 * cap);  // the factor wins over what is needed
    double* before = b->data();
    const std::size_t grown = b->capacity();
    EXPECT_FALSE(b->grow(max / 4, 2, 1));  // bytes overflow
    EXPECT_FALSE(b->grow(8, 2, max));      // capacity * factor overflows
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(b->grow(10 * cap, 2, 1));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(b->data(), before);
    EXPECT_EQ(b->capacity(), grown);
    EXPECT_EQ((doubles{b->data()[0], b->data()[1]}), (doubles{0.5, 1.5}));
}

// Caller memory is written in place until growth moves the data to owned
// memory; freeing it would be reported by the address sanitizer.
TEST(VectorNum, ExternalMemoryIsAViewUntilGrowthMovesItToOwnedMemory) {
    unsigned ext1[3] = {7, 8, 9};
    double ext2[6] = {0, 0, 1, 0, 0, 1};
    tq5::dense1D<unsigned> v(ext1, 3);
    tq5::dense2D<double> pos(ext2, 2, 3);
    v[0] = 1, pos(0, 1) = 2;
    ASSERT_TRUE(v.push_back(10));
    ASSERT_TRUE(pos.resize(2, 4, 5.0));
    v[1] = 0, pos(0, 0) = 9;
    EXPECT_EQ((list{ext1[0], ext1[1]}), (list{1, 8}));
    EXPECT_EQ((doubles{ext2[0], ext2[2]}), (doubles{0, 2}));
    EXPECT_EQ(values(v), (list{1, 0, 9, 10}));
    EXPECT_EQ(values(pos), (doubles{9, 0, 2, 0, 0, 1, 5, 5}));
}

TEST(Ptr, SelfAssignmentKeepsTheObjectAndTheLastHolderDestroysIt) {
    auto* raw = new tq5::vector_num<int>;
    tq5::Ptr<tq5::vector_num<int>> a(raw), b = a;
    b = b.get();  // takes before it drops
    EXPECT_EQ(raw->ref_count(), 2);
    b = nullptr;
    a = b;  // the sanitizer reports a leak if raw is not destroyed here
    EXPECT_FALSE(a);
}

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include <tq5/cellworks.hpp>

namespace {

bool aligned16(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }

}  // namespace

TEST(VectorNum, GrowKeepsPrefixAlignsAndRoundsCapacityUp) {
    tq5::Ptr<tq5::vector_num<double>> b(new tq5::vector_num<double>);
    EXPECT_EQ(b->data(), nullptr);
    EXPECT_EQ(b->capacity(), 0u);
    ASSERT_TRUE(b->grow(0, 0, 2));
    EXPECT_GE(b->capacity(), 2u);  // never less than 2
    for (int i = 0; i < 2; ++i) b->data()[i] = i + 0.5;
    ASSERT_TRUE(b->grow(5, 2, 2));
    EXPECT_GE(b->capacity(), 5u);
    EXPECT_TRUE(aligned16(b->data()));
    EXPECT_LT(b->shift(), 16u);
    EXPECT_EQ(b->data()[0], 0.5);
    EXPECT_EQ(b->data()[1], 1.5);
    const std::size_t cap = b->capacity();
    ASSERT_TRUE(b->grow(cap + 1, 0, 3));
    EXPECT_GE(b->capacity(), 3 * cap);  // the factor wins over what is needed
}

TEST(VectorNum, FailedGrowLeavesTheBlockUntouched) {
    tq5::Ptr<tq5::vector_num<unsigned>> b(new tq5::vector_num<unsigned>);
    ASSERT_TRUE(b->grow(4, 0, 1));
    b->data()[3] = 42;
    unsigned* before = b->data();
    const std::size_t cap = b->capacity();
    EXPECT_FALSE(b->grow(std::numeric_limits<std::size_t>::max() / 2, 4, 1));  // bytes overflow
    EXPECT_FALSE(b->grow(8, 4, std::numeric_limits<std::size_t>::max()));    // capacity * factor overflows
    tq5::testing::fail_allocations_after(0);
    EXPECT_FALSE(b->grow(100, 4, 1));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(b->data(), before);
    EXPECT_EQ(b->capacity(), cap);
    EXPECT_EQ(b->data()[3], 42u);
}

TEST(VectorNum, ExternalMemoryIsNeverFreedAndGrowthMovesItToOwnedMemory) {
    // Freeing stack memory would be reported by the address sanitizer.
    unsigned external[3] = {7, 8, 9};
    tq5::dense1D<unsigned> v(external, 3);
    EXPECT_EQ(v.block()->shift(), 65535u);
    EXPECT_EQ(v.data(), external);
    v[0] = 1;
    EXPECT_EQ(external[0], 1u);
    ASSERT_TRUE(v.push_back(10));
    EXPECT_NE(v.data(), external);
    EXPECT_NE(v.block()->shift(), 65535u);
    EXPECT_EQ(v[0], 1u);
    EXPECT_EQ(v[3], 10u);
    v[1] = 0;
    EXPECT_EQ(external[1], 8u);
}

TEST(Ptr, CountsHoldersAndDestroysWithTheLast) {
    auto* raw = new tq5::vector_num<int>;
    {
        tq5::Ptr<tq5::vector_num<int>> a(raw);
        EXPECT_EQ(raw->ref_count(), 1);
        tq5::Ptr<tq5::vector_num<int>> b = a;
        EXPECT_EQ(raw->ref_count(), 2);
        b = b.get();  // self-assignment keeps the object
        EXPECT_EQ(raw->ref_count(), 2);
        b = nullptr;
        EXPECT_EQ(raw->ref_count(), 1);
        EXPECT_EQ(a.get(), raw);
        EXPECT_EQ(&*a, raw);
    }
    tq5::Ptr<tq5::vector_num<int>> none;
    EXPECT_EQ(none.get(), nullptr);  // the sanitizer reports a leak if raw was not destroyed
}

TEST(FixedTypes, FillAndLayouts) {
    tq5::vector_fixed<double, 4> v{};
    EXPECT_EQ(v = 2.5, 2.5);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(v[i], 2.5);
    tq5::matrix_fixed<double, 2, 3> m{};
    m(1, 2) = 7;  // column-major: flat index 1 + 2 * 2
    EXPECT_EQ(m[5], 7);
    tq5::symmetric_fixed<double, 3> s{{1, 2, 3, 4, 5, 6}};  // (0,0) (0,1) (1,1) (0,2) (1,2) (2,2)
    EXPECT_EQ(s(0, 1), 2);
    EXPECT_EQ(s(1, 0), 2);
    EXPECT_EQ(s(2, 0), 4);
    EXPECT_EQ(s(1, 2), 5);
    EXPECT_EQ(s(2, 2), 6);
}

#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "test_support.hpp"

using namespace tq5;
using namespace tq5::cellworks;
using namespace cwtest;
constexpr unsigned X = NO;

// Matrices come as `padded` views (ld > rows, 7777 around each column), which
// must never be read as ids nor written.
TEST(ChangeIndicesAndMaxID, RenumberInsideTheMapAndSkipNoIndex) {
    const dense1D<unsigned> map = vec({5, X, 9});  // 0->5, 1->NO_INDEX, 2->9; 3 and above stay
    dense1D<unsigned> v = vec({2, 0, 3, X, 1});
    change_indices(v, map);
    EXPECT_EQ(values(v), (list{9, 5, 3, X, X}));
    dense2D<unsigned> m = padded(2, {0, 2, 7, X});
    change_indices(m, map);
    EXPECT_EQ(values(m), (list{5, 9, 7, X}));
    EXPECT_TRUE(pad_intact(m));
    // max_ID tells an empty container (NO_INDEX) from one of NO_INDEX only (0).
    EXPECT_TRUE(max_ID(dense1D<unsigned>()) == X && max_ID(dense2D<unsigned>(0, 4)) == X);
    EXPECT_TRUE(max_ID(vec({X, X})) == 0 && max_ID(padded(2, {X, X})) == 0);
    EXPECT_TRUE(max_ID(vec({3, X, 8, 0})) == 8 && max_ID(padded(2, {1, X, 4, 2})) == 4);
}

TEST(ShiftIndices, KeepsPaddingOfMixedKindsOnly) {
    // clang-format off
    const struct { element_type type; int shift; list expected; } cases[] = {
        {ET_TRIA3, 2, {2, 7, 1}},       // fixed kind: NO_INDEX wraps to 1
        {ET_BAR_MIX, 2, {2, 7, 1}},     // not treated as mixed
        {ET_FACE_MIX, 2, {2, 7, X}},
        {ET_SOLID_MIX, -1, {X, 4, X}},  // 0 - 1 wraps to 0xFFFFFFFF
        {ET_TRIA3, 0, {0, 5, X}},
    };
    // clang-format on
    for (const auto& c : cases) {
        dense2D<unsigned> m = padded(3, {0, 5, X});
        EXPECT_EQ(shift_indices(m, c.shift, c.type), 0);
        EXPECT_EQ(values(m), c.expected) << "type " << c.type;
        EXPECT_TRUE(pad_intact(m));
    }
    dense1D<unsigned> v = vec({1, X, 4});
    EXPECT_EQ(shift_indices(v, -1), 0);
    EXPECT_EQ(values(v), (list{0, X, 3}));
}

TEST(Permutation, MovesValueAtIToPermIAndLeavesOldViewsAlone) {
    // clang-format off
    const struct { list v, perm, expected; } cases[] = {
        {{10, 11, 12}, {1, 0}, {11, 10, 12}},        // short perm moves only the first entries
        {{10, 11, 12}, {2, 0, 1}, {11, 12, 10}},
        {{10, 11, 12}, {2, 2, X, 0}, {10, 11, 11}},  // not one-to-one: last write wins
        {{10, 11, 12}, {5, X, 1}, {10, 12, 12}},     // places >= n move nothing
        {{}, {0, 1}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        dense1D<unsigned> v = vec(c.v);
        const dense1D<unsigned> before = v;
        EXPECT_EQ(permutation(v, vec(c.perm)), 0);
        EXPECT_EQ(values(v), c.expected);
        EXPECT_EQ(values(before), c.v);
    }
    dense1D<double> f = vec<double>({0.5, 1.5, 2.5});
    EXPECT_EQ(permutation(f, vec({2, 0, 1})), 0);
    EXPECT_EQ(values(f), (std::vector<double>{1.5, 2.5, 0.5}));
    // Exhaustion leaves the vector and its block untouched.
    const auto block = f.block();
    const dense1D<unsigned> reverse = vec({2, 1, 0});
    with_each_allocation_failing([&] { return permutation(f, reverse); },
                                 [&] { EXPECT_TRUE(f.block() == block && f[0] == 1.5 && f[2] == 0.5); });
    EXPECT_EQ(values(f), (std::vector<double>{0.5, 2.5, 1.5}));
}

TEST(UniqueIndices, AppendsFirstAppearancesLeavingOutExcludedAndNoIndex) {
    dense1D<unsigned> out = vec({42});
    EXPECT_EQ(unique_indices(out, vec({4, X, 2, 4, 9, 2, 1}), vec({9, 77})), 0);
    EXPECT_EQ(values(out), (list{42, 4, 2, 1}));
    EXPECT_EQ(unique_indices(out, padded(2, {5, 3, X, 5, 3, 6}), vec({})), 0);
    EXPECT_EQ(values(out), (list{42, 4, 2, 1, 5, 3, 6}));

    const dense2D<unsigned> ms[2] = {padded(2, {8, 1, 1, X}), padded(3, {0, 8, 3})};
    dense1D<unsigned> r;
    EXPECT_EQ(unique_indices(r, ms, ms + 2, vec({3})), 0);
    EXPECT_EQ(values(r), (list{8, 1, 0}));
    EXPECT_EQ(unique_indices(r, ms + 1, ms + 1, vec({})), 0);
    EXPECT_EQ(unique_indices(r, ms + 1, ms, vec({})), -3);
    EXPECT_EQ(values(r), (list{8, 1, 0}));
    EXPECT_EQ(count_unique_indices(ms, ms + 2), 4);
    EXPECT_EQ(count_unique_indices(ms[0]), 2);
    EXPECT_EQ(count_unique_indices(ms + 1, ms), -2);
    EXPECT_EQ(count_unique_indices(padded(2, {X, X})), 0);
    // The output may share its block with the input: appends would write over all[1..].
    dense1D<unsigned> all = vec({3, 1, 3, 2}), head = all.sub_vector(0, 1);
    EXPECT_EQ(unique_indices(head, all, vec({})), 0);
    EXPECT_EQ(values(head), (list{3, 3, 1, 2}));
}

// Dense ids go through a bitmap, sparse ones through a growing hash set: both
// against a brute-force scan, on the same random layout. A failure at any
// allocation restores the output's old size.
TEST(UniqueIndices, MatchesBruteForceAndRestoresTheOldSizeOnExhaustion) {
    std::mt19937 rng(7);
    for (const unsigned stride : {1u, 80000u}) {  // 50000 values: up to 4e9 when sparse, enough to rehash
        list ids(30000), expected = {5};
        for (unsigned& x : ids) x = rng() % 6 == 0 ? X : unsigned(rng() % 50000) * stride;
        ids[3] = stride;
        std::set<unsigned> seen = {X, ids[3]};
        for (unsigned x : ids)
            if (seen.insert(x).second) expected.push_back(x);
        const dense2D<unsigned> m = padded(3, ids);
        const dense1D<unsigned> excluded = vec({ids[3]});
        dense1D<unsigned> out = vec({5});
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing([&] { return unique_indices(out, m, excluded); },
                                               [&] { EXPECT_EQ(values(out), list{5}); }, &failures),
                  0);
        EXPECT_TRUE(values(out) == expected && failures >= 2) << "stride " << stride;
        EXPECT_EQ(with_each_allocation_failing([&] { return count_unique_indices(m); }, [] {}, &failures),
                  int(seen.size()) - 1);  // all but NO_INDEX
        EXPECT_GE(failures, 1);
    }
}

TEST(GetIDs, VectorsPairEqualIdsLastPlaceWinning) {
    for (const unsigned scale : {1u, 50000000u}) {  // direct table, then hash map
        const unsigned a = 2 * scale, b = 5 * scale, c = 7 * scale;
        dense1D<unsigned> m21 = vec({1, 1, 1, 1, 1, 1, 1, 1}), m12;
        // ids1: b twice (keeps place 3); ids2: a twice (place 0 of ids1 keeps the last, 2).
        EXPECT_EQ(get_IDs(vec({a, X, b, b, c}), vec({a, 9, a, X, b}), m21, m12), 0);
        EXPECT_EQ(values(m21), (list{0, X, 0, X, 3}));
        EXPECT_EQ(values(m12), (list{2, X, X, 4, X}));
    }
}

TEST(GetIDs, ColumnsMatchAsCyclesUnlessOrderIsExact) {
    // clang-format off
    const struct { std::size_t rows1, rows2; list m1, m2; bool exact; int rc; list m21, m12; } cases[] = {
        {3, 3, {1, 2, 3}, {3, 2, 1}, false, 0, {0}, {0}},  // reversed cycle
        {3, 3, {1, 2, 3}, {3, 2, 1}, true, 0, {X}, {X}},
        {3, 3, {1, 2, 3}, {2, 3, 1}, false, 0, {0}, {0}},        // rotated
        {4, 4, {1, 2, 3, 4}, {2, 1, 4, 3}, false, 0, {0}, {0}},  // opposite direction
        {4, 4, {1, 2, 3, 4}, {1, 3, 2, 4}, false, 0, {X}, {X}},  // same set, other cycle
        {2, 2, {4, 5, 4, 5, 6, 7}, {5, 4, 7, 6, 4, 5}, false, 0, {0, 2, 0}, {2, X, 1}},  // repeated m1 column unused
        {2, 2, {1, X}, {X, 1}, false, 0, {0}, {0}},  // NO_INDEX is an ordinary value
        {2, 3, {1, 2}, {1, 2, 3}, false, -2, {}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        dense1D<unsigned> m21 = vec({9}), m12 = vec({9});
        EXPECT_EQ(get_IDs(padded(c.rows1, c.m1), padded(c.rows2, c.m2), m21, m12, c.exact), c.rc);
        EXPECT_EQ(values(m21), c.m21);
        EXPECT_EQ(values(m12), c.m12);
    }
}

TEST(GetIDs, ExhaustionIsSilentAndLeavesBothMapsEmpty) {
    list big(300);
    for (unsigned i = 0; i < 300; ++i) big[i] = i * 1000003u;
    const dense1D<unsigned> ids = vec(big);
    const dense2D<unsigned> m = padded(3, big);
    dense1D<unsigned> m21, m12;
    // A run that leaves both maps empty is taken for a failure.
    with_each_allocation_failing([&] { return get_IDs(ids, ids, m21, m12) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                                 [&] { EXPECT_TRUE(m12.empty()); });
    EXPECT_TRUE(m21.size() == 300 && m21[299] == 299);
    with_each_allocation_failing([&] { return get_IDs(m, m, m21, m12, false) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                                 [&] { EXPECT_TRUE(m12.empty()); });
    EXPECT_TRUE(m12.size() == 100 && m12[99] == 99);
}

TEST(IncBoundingBox, GrowsTheBoxWithNaNLandingInMinOnly) {
    // x: NaN, 2, 3; y: 5, NaN, 1, as a 2 x 3 view with ld 4 among entries -99.
    const dense2D<double> pos = padded<double>(2, {NaN, 5, 2, NaN, 3, 1}, -99);
    vector_fixed<double, 2> lo, hi;
    lo = 4, hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, lo, hi), 0);
    EXPECT_TRUE(lo[0] == 2 && lo[1] == 1 && hi[0] == 4 && hi[1] == 5);
    lo = 4, hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, vec({2, X, 0}), lo, hi), 0);  // the NaN of node 0 comes last
    EXPECT_TRUE(std::isnan(lo[0]) && hi[0] == 4 && lo[1] == 1 && hi[1] == 5);
    // The connectivity form takes nodes 2, 0, 1; when their list can't be made the box stays.
    const dense2D<unsigned> connect = padded(2, {2, 0, 1, X});
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing(
                  [&] {
                      lo = 4, hi = 4;
                      return inc_bounding_box(pos, connect, lo, hi);
                  },
                  [&] { EXPECT_TRUE(lo[0] == 4 && lo[1] == 4 && hi[1] == 4); }, &failures),
              0);
    EXPECT_TRUE(failures > 0 && lo[0] == 2 && std::isnan(lo[1]) && hi[1] == 5);
    lo = 4, hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, vec({2, 3}), lo, hi), -2);
    EXPECT_EQ(inc_bounding_box(pos, padded(1, {0, 3}), lo, hi), -2);
    EXPECT_TRUE(lo[0] == 4 && hi[1] == 4);  // unchanged
    vector_fixed<double, 3> lo3, hi3;
    lo3 = 0, hi3 = 0;
    EXPECT_EQ(inc_bounding_box(pos, lo3, hi3), -1);
    EXPECT_EQ(inc_bounding_box(pos, dense1D<unsigned>(), lo3, hi3), 0);  // empty ids come first
    EXPECT_EQ(inc_bounding_box(pos, vec({0}), lo3, hi3), -1);
    EXPECT_EQ(inc_bounding_box(dense2D<double>(3, 0), lo3, hi3), 0);
}

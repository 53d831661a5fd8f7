#include "test_support.hpp"

using namespace tq5::cellworks;
using ids_t = tq5::dense1D<unsigned>;
using matrix = tq5::dense2D<unsigned>;

// Matrices come as `padded` views (ld > rows, 7777 around each column), which
// must never be read as ids nor written. The map renumbers 0->5, 1->NO_INDEX,
// 2->9, and entries beyond it stay; max_ID tells an empty container (NO_INDEX)
// from one of NO_INDEX only (0).
TEST(ChangeIndicesAndMaxID, RenumberInsideTheMapAndSkipNoIndex) {
    const ids_t map = vec({5, NO, 9});
    ids_t v = vec({2, 0, 3, NO, 1});
    matrix m = padded(2, {0, 2, 7, NO});
    change_indices(v, map);
    change_indices(m, map);
    EXPECT_EQ(values(v), (list{9, 5, 3, NO, NO}));
    EXPECT_EQ(values(m), (list{5, 9, 7, NO}));
    EXPECT_TRUE(pad_intact(m));
    EXPECT_EQ((list{max_ID(ids_t()), max_ID(matrix(0, 4)), max_ID(vec({NO, NO})), max_ID(padded(2, {NO, NO})),
                    max_ID(vec({3, NO, 8, 0})), max_ID(padded(2, {1, NO, 4, 2}))}),
              (list{NO, NO, 0, 0, 8, 4}));
}

// Shifts wrap on 32 bits; only the mixed kinds keep their NO_INDEX padding.
TEST(ShiftIndices, KeepsPaddingOfMixedKindsOnly) {
    // clang-format off
    const struct { element_type type; int shift; list expected; } cases[] = {
        {ET_TRIA3, 2, {2, 7, 1}}, {ET_BAR_MIX, 2, {2, 7, 1}}, {ET_FACE_MIX, 2, {2, 7, NO}},
        {ET_SOLID_MIX, -1, {NO, 4, NO}}, {ET_TRIA3, 0, {0, 5, NO}},
    };
    // clang-format on
    for (const auto& c : cases) {
        matrix m = padded(3, {0, 5, NO});
        EXPECT_EQ(shift_indices(m, c.shift, c.type), 0);
        EXPECT_EQ(values(m), c.expected) << "type " << c.type;
        EXPECT_TRUE(pad_intact(m));
    }
    ids_t v = vec({1, NO, 4});
    EXPECT_EQ(shift_indices(v, -1), 0);
    EXPECT_EQ(values(v), (list{0, NO, 3}));
}

// The value at i goes to perm[i] in a new block; exhaustion leaves the vector and its block.
TEST(Permutation, MovesValueAtIToPermIAndLeavesOldViewsAlone) {
    // clang-format off
    const struct { list v, perm, expected; } cases[] = {
        {{10, 11, 12}, {1, 0}, {11, 10, 12}},        // short perm moves only the first entries
        {{10, 11, 12}, {2, 2, NO, 0}, {10, 11, 11}},  // not one-to-one: last write wins
        {{10, 11, 12}, {5, NO, 1}, {10, 12, 12}},     // places >= n move nothing
        {{}, {0, 1}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        ids_t v = vec(c.v);
        const ids_t before = v;
        EXPECT_EQ(permutation(v, vec(c.perm)), 0);
        EXPECT_EQ(values(v), c.expected);
        EXPECT_EQ(values(before), c.v);
    }
    tq5::dense1D<double> f = vec<double>({0.5, 1.5, 2.5});
    const auto block = f.block();
    const auto failed = [&] {
        EXPECT_EQ(f.block(), block);
        EXPECT_EQ(values(f), (doubles{0.5, 1.5, 2.5}));
    };
    const ids_t rotate = vec({2, 0, 1});
    with_each_allocation_failing([&] { return permutation(f, rotate); }, failed);
    EXPECT_EQ(values(f), (doubles{1.5, 2.5, 0.5}));
}

TEST(UniqueIndices, AppendsFirstAppearancesLeavingOutExcludedAndNoIndex) {
    ids_t out = vec({42}), r;
    EXPECT_EQ(unique_indices(out, vec({4, NO, 2, 4, 9, 2, 1}), vec({9, 77})), 0);
    EXPECT_EQ(unique_indices(out, padded(2, {5, 3, NO, 5, 3, 6}), vec({6})), 0);  // excluded: the greatest id
    EXPECT_EQ(values(out), (list{42, 4, 2, 1, 5, 3}));
    const matrix ms[2] = {padded(2, {8, 1, 1, NO}), padded(3, {0, 8, 3})};
    expect_codes({{unique_indices(r, ms, ms + 2, vec({3})), 0},
                  {unique_indices(r, ms + 1, ms + 1, vec({})), 0},
                  {unique_indices(r, ms + 1, ms, vec({})), -3},
                  {count_unique_indices(ms, ms + 2), 4},
                  {count_unique_indices(ms[0]), 2},
                  {count_unique_indices(ms + 1, ms), -2},
                  {count_unique_indices(padded(2, {NO, NO})), 0}});
    EXPECT_EQ(values(r), (list{8, 1, 0}));
    // The output may share its block with the input: appends would write over all[1..].
    ids_t all = vec({3, 1, 3, 2}), head = all.sub_vector(0, 1);
    EXPECT_EQ(unique_indices(head, all, vec({})), 0);
    EXPECT_EQ(values(head), (list{3, 3, 1, 2}));
}

// Dense ids go through a bitmap, sparse ones through a growing hash set: both
// against a brute-force scan, on the same random layout. A failure at any
// allocation restores the output's old size.
TEST(UniqueIndices, MatchesBruteForceAndRestoresTheOldSizeOnExhaustion) {
    std::mt19937 rng(7);
    for (const unsigned stride : {1u, 80000u}) {  // 50000 values: up to 4e9 when sparse, enough to rehash
        SCOPED_TRACE(stride);
        list ids(30000), expected = {5};
        for (unsigned& x : ids) x = rng() % 6 == 0 ? NO : unsigned(rng() % 50000) * stride;
        std::set<unsigned> seen = {NO, ids[3] = stride};
        for (unsigned x : ids)
            if (seen.insert(x).second) expected.push_back(x);
        const matrix m = padded(3, ids);
        const ids_t excluded = vec({stride});
        ids_t out = vec({5});
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing([&] { return unique_indices(out, m, excluded); },
                                               [&] { EXPECT_EQ(values(out), list{5}); }, &failures),
                  0);
        EXPECT_EQ(values(out), expected);
        EXPECT_GE(failures, 2);
        EXPECT_EQ(with_each_allocation_failing([&] { return count_unique_indices(m); }, [] {}, &failures),
                  int(seen.size()) - 1);  // all but NO_INDEX
        EXPECT_GE(failures, 1);
    }
}

// ids1 holds b twice (b keeps place 3); ids2 holds a twice (place 0 of ids1 keeps the last, 2).
TEST(GetIDs, VectorsPairEqualIdsLastPlaceWinning) {
    for (const unsigned scale : {1u, 50000000u}) {  // direct table, then hash map
        const unsigned a = 2 * scale, b = 5 * scale, c = 7 * scale;
        ids_t m21 = vec({1, 1, 1, 1, 1, 1, 1, 1}), m12;
        EXPECT_EQ(get_IDs(vec({a, NO, b, b, c}), vec({a, 9, a, NO, b}), m21, m12), 0);
        EXPECT_EQ(values(m21), (list{0, NO, 0, NO, 3}));
        EXPECT_EQ(values(m12), (list{2, NO, NO, 4, NO}));
    }
}

TEST(GetIDs, ColumnsMatchAsCyclesUnlessOrderIsExact) {
    // clang-format off
    const struct { std::size_t rows1, rows2; list m1, m2; bool exact; int rc; list m21, m12; } cases[] = {
        {3, 3, {1, 2, 3}, {3, 2, 1}, false, 0, {0}, {0}},  // reversed cycle
        {3, 3, {1, 2, 3}, {3, 2, 1}, true, 0, {NO}, {NO}},
        {3, 3, {1, 2, 3}, {2, 3, 1}, false, 0, {0}, {0}},        // rotated
        {4, 4, {1, 2, 3, 4}, {2, 1, 4, 3}, false, 0, {0}, {0}},  // opposite direction
        {4, 4, {1, 2, 3, 4}, {1, 3, 2, 4}, false, 0, {NO}, {NO}},  // same set, other cycle
        {2, 2, {4, 5, 4, 5, 6, 7}, {5, 4, 7, 6, 4, 5}, false, 0, {0, 2, 0}, {2, NO, 1}},  // repeated m1 column unused
        {2, 2, {1, NO}, {NO, 1}, false, 0, {0}, {0}},  // NO_INDEX is an ordinary value
        {2, 3, {1, 2}, {1, 2, 3}, false, -2, {}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        ids_t m21 = vec({9}), m12 = vec({9});
        EXPECT_EQ(get_IDs(padded(c.rows1, c.m1), padded(c.rows2, c.m2), m21, m12, c.exact), c.rc);
        EXPECT_EQ(values(m21), c.m21);
        EXPECT_EQ(values(m12), c.m12);
    }
}

// A run that gives 0 but leaves map2to1 empty is taken for a failure; both maps are then empty.
TEST(GetIDs, ExhaustionIsSilentAndLeavesBothMapsEmpty) {
    list big(300);
    for (unsigned i = 0; i < 300; ++i) big[i] = i * 1000003u;
    const ids_t ids = vec(big);
    const matrix m = padded(3, big);
    ids_t m21, m12;
    const auto failed = [&] { EXPECT_TRUE(m12.empty()); };
    const auto refill = [&] { m12 = vec({1}); };
    with_each_allocation_failing([&] { return get_IDs(ids, ids, m21, m12) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                                 failed, nullptr, refill);
    EXPECT_EQ((list{unsigned(m21.size()), m21[299]}), (list{300, 299}));
    with_each_allocation_failing([&] { return get_IDs(m, m, m21, m12, false) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                                 failed, nullptr, refill);
    EXPECT_EQ((list{unsigned(m12.size()), m12[99]}), (list{100, 99}));
}

// x: NaN, 2, 3; y: 5, NaN, 1, as a 2 x 3 view with ld 4 among entries -99.
// The box only grows; a NaN lands in min and is replaced by the next value.
TEST(IncBoundingBox, GrowsTheBoxWithNaNLandingInMinOnly) {
    const tq5::dense2D<double> pos = padded<double>(2, {NaN, 5, 2, NaN, 3, 1}, -99);
    tq5::vector_fixed<double, 2> lo, hi;
    tq5::vector_fixed<double, 3> lo3, hi3;
    const auto box = [&] { return doubles{lo[0], lo[1], hi[0], hi[1]}; };
    const auto reset = [&] { lo = 4, hi = 4, lo3 = 0, hi3 = 0; };
    reset();
    EXPECT_EQ(inc_bounding_box(pos, lo, hi), 0);
    EXPECT_EQ(box(), (doubles{2, 1, 4, 5}));
    reset();
    EXPECT_EQ(inc_bounding_box(pos, vec({2, NO, 0}), lo, hi), 0);  // the NaN of node 0 comes last
    EXPECT_TRUE(std::isnan(lo[0]));
    EXPECT_EQ((doubles{lo[1], hi[0], hi[1]}), (doubles{1, 4, 5}));
    // The connectivity form takes nodes 2, 0, 1; when their list can't be made the box stays.
    const matrix connect = padded(2, {2, 0, 1, NO});
    const auto unchanged = [&] { EXPECT_EQ(box(), (doubles{4, 4, 4, 4})); };
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return inc_bounding_box(pos, connect, lo, hi); }, unchanged, &failures,
                                           reset),
              0);
    EXPECT_GT(failures, 0);
    EXPECT_TRUE(std::isnan(lo[1]));
    EXPECT_EQ((doubles{lo[0], hi[0], hi[1]}), (doubles{2, 4, 5}));
    reset();
    expect_codes({{inc_bounding_box(pos, vec({2, 3}), lo, hi), -2},
                  {inc_bounding_box(pos, padded(1, {0, 3}), lo, hi), -2},
                  {inc_bounding_box(pos, lo3, hi3), -1},
                  {inc_bounding_box(pos, ids_t(), lo3, hi3), 0},  // empty ids come first
                  {inc_bounding_box(pos, vec({0}), lo3, hi3), -1},
                  {inc_bounding_box(tq5::dense2D<double>(3, 0), lo3, hi3), 0}});
    unchanged();  // by the refused ids
}

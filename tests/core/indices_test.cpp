#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include <tq5/cellworks.hpp>

using namespace tq5;
using namespace tq5::cellworks;
using ids_t = std::vector<unsigned>;

namespace {

constexpr unsigned X = NO_INDEX;
constexpr unsigned PAD = 7777;  // fills the rows around a sub_matrix view: must never be read or written

dense1D<unsigned> vec(const ids_t& v) {
    dense1D<unsigned> d(v.size());
    for (std::size_t i = 0; i < v.size(); ++i) d[i] = v[i];
    return d;
}
ids_t values(const dense1D<unsigned>& d) { return ids_t(d.begin(), d.end()); }

// A rows x (v.size() / rows) view, column-major, inside a matrix with one more
// row above and below it, so that ld > rows and the offset is not 0.
dense2D<unsigned> view(std::size_t rows, const ids_t& v) {
    dense2D<unsigned> all(rows + 2, rows ? v.size() / rows : 0, PAD);
    for (std::size_t i = 0; i < v.size(); ++i) all(1 + i % rows, i / rows) = v[i];
    return all.sub_matrix(1, 0, rows, all.cols());
}
ids_t values(const dense2D<unsigned>& m) {
    ids_t out;
    for (std::size_t j = 0; j < m.cols(); ++j)
        for (std::size_t r = 0; r < m.rows(); ++r) out.push_back(m(r, j));
    return out;
}
// The padding rows of a view made by `view` are intact.
bool padding_intact(const dense2D<unsigned>& m) {
    for (std::size_t j = 0; j < m.cols(); ++j)
        if (m.data()[j * m.ld() - 1] != PAD || m.data()[j * m.ld() + m.rows()] != PAD) return false;
    return true;
}

// Runs `call` with the first, second, ... raw allocation failing, until it
// succeeds; `failed` checks the state after each ERR_ALLOC. Returns the number of failures.
template <class Call, class Failed>
int each_allocation_failing(Call call, Failed failed) {
    for (long k = 0;; ++k) {
        tq5::testing::fail_allocations_after(k);
        const int rc = call();
        tq5::testing::fail_allocations_after(-1);
        if (rc != ERR_ALLOC) {
            EXPECT_EQ(rc, 0);
            return int(k);
        }
        failed();
    }
}

}  // namespace

TEST(ChangeIndices, RenumbersEntriesInsideTheMapAndKeepsTheOthers) {
    const dense1D<unsigned> map = vec({5, X, 9});  // 0->5, 1->NO_INDEX, 2->9; 3 and above stay
    dense1D<unsigned> v = vec({2, 0, 3, X, 1});
    change_indices(v, map);
    EXPECT_EQ(values(v), (ids_t{9, 5, 3, X, X}));
    dense2D<unsigned> m = view(2, {0, 2, 7, X});
    change_indices(m, map);
    EXPECT_EQ(values(m), (ids_t{5, 9, 7, X}));
    EXPECT_TRUE(padding_intact(m));
}

TEST(MaxID, SkipsNoIndexAndTellsEmptyFromAllAbsent) {
    EXPECT_EQ(max_ID(dense1D<unsigned>()), X);
    EXPECT_EQ(max_ID(vec({X, X})), 0u);
    EXPECT_EQ(max_ID(vec({3, X, 8, 0})), 8u);
    EXPECT_EQ(max_ID(dense2D<unsigned>(0, 4)), X);
    EXPECT_EQ(max_ID(view(2, {X, X})), 0u);
    EXPECT_EQ(max_ID(view(2, {1, X, 4, 2})), 4u);  // PAD (7777) around the view is not seen
}

TEST(ShiftIndices, KeepsPaddingOfMixedKindsOnly) {
    struct Case { element_type type; int shift; ids_t expected; };
    const ids_t in = {0, 5, X};
    const Case cases[] = {
        {ET_TRIA3, 2, {2, 7, 1}},     // fixed kind: NO_INDEX wraps to 1
        {ET_BAR_MIX, 2, {2, 7, 1}},   // not treated as mixed
        {ET_FACE_MIX, 2, {2, 7, X}},
        {ET_SOLID_MIX, -1, {X, 4, X}},  // 0 - 1 wraps to 0xFFFFFFFF
        {ET_TRIA3, 0, {0, 5, X}},
    };
    for (const Case& c : cases) {
        dense2D<unsigned> m = view(3, in);
        EXPECT_EQ(shift_indices(m, c.shift, c.type), 0);
        EXPECT_EQ(values(m), c.expected) << "type " << c.type;
        EXPECT_TRUE(padding_intact(m));
    }
    dense1D<unsigned> v = vec({1, X, 4});
    EXPECT_EQ(shift_indices(v, -1), 0);
    EXPECT_EQ(values(v), (ids_t{0, X, 3}));
}

TEST(Permutation, MovesValueAtIToPermIAndLeavesOldViewsAlone) {
    struct Case { ids_t v, perm, expected; };
    const Case cases[] = {
        {{10, 11, 12}, {1, 0}, {11, 10, 12}},          // short perm moves only the first entries
        {{10, 11, 12}, {2, 0, 1}, {11, 12, 10}},
        {{10, 11, 12}, {2, 2, X, 0}, {10, 11, 11}},    // not one-to-one: last write wins
        {{10, 11, 12}, {5, X, 1}, {10, 12, 12}},       // places >= n move nothing
        {{}, {0, 1}, {}},
    };
    for (const Case& c : cases) {
        dense1D<unsigned> v = vec(c.v);
        const dense1D<unsigned> before = v;
        EXPECT_EQ(permutation(v, vec(c.perm)), 0);
        EXPECT_EQ(values(v), c.expected);
        EXPECT_EQ(values(before), c.v);
    }
    dense1D<double> f(3);
    f[0] = 0.5; f[1] = 1.5; f[2] = 2.5;
    EXPECT_EQ(permutation(f, vec({2, 0, 1})), 0);
    EXPECT_EQ(f[0], 1.5); EXPECT_EQ(f[1], 2.5); EXPECT_EQ(f[2], 0.5);
}

TEST(Permutation, ExhaustionLeavesTheVectorUntouched) {
    dense1D<unsigned> v = vec({1, 2, 3});
    const dense1D<unsigned> perm = vec({2, 1, 0});
    const auto block = v.block();
    each_allocation_failing([&] { return permutation(v, perm); }, [&] {
        EXPECT_EQ(v.block(), block);
        EXPECT_EQ(values(v), (ids_t{1, 2, 3}));
    });
    EXPECT_EQ(values(v), (ids_t{3, 2, 1}));
}

TEST(UniqueIndices, AppendsFirstAppearancesLeavingOutExcludedAndNoIndex) {
    dense1D<unsigned> out = vec({42});
    EXPECT_EQ(unique_indices(out, vec({4, X, 2, 4, 9, 2, 1}), vec({9, 77})), 0);
    EXPECT_EQ(values(out), (ids_t{42, 4, 2, 1}));
    EXPECT_EQ(unique_indices(out, view(2, {5, 3, X, 5, 3, 6}), vec({})), 0);
    EXPECT_EQ(values(out), (ids_t{42, 4, 2, 1, 5, 3, 6}));

    const dense2D<unsigned> ms[2] = {view(2, {8, 1, 1, X}), view(3, {0, 8, 3})};
    dense1D<unsigned> r;
    EXPECT_EQ(unique_indices(r, ms, ms + 2, vec({3})), 0);
    EXPECT_EQ(values(r), (ids_t{8, 1, 0}));
    EXPECT_EQ(unique_indices(r, ms + 1, ms + 1, vec({})), 0);
    EXPECT_EQ(unique_indices(r, ms + 1, ms, vec({})), -3);
    EXPECT_EQ(values(r), (ids_t{8, 1, 0}));
    EXPECT_EQ(count_unique_indices(ms, ms + 2), 4);
    EXPECT_EQ(count_unique_indices(ms[0]), 2);
    EXPECT_EQ(count_unique_indices(ms + 1, ms), -2);
    EXPECT_EQ(count_unique_indices(view(2, {X, X})), 0);
}

// Dense ids go through a bitmap, sparse ones through a growing hash set: both
// against a brute-force scan, on the same random layout.
TEST(UniqueIndices, MatchesBruteForceForDenseAndSparseIds) {
    std::mt19937 rng(7);
    for (const unsigned stride : {1u, 80000u}) {  // 50000 values: up to 4e9 when sparse, enough to rehash
        ids_t ids(30000);
        for (unsigned& x : ids) x = rng() % 6 == 0 ? X : unsigned(rng() % 50000) * stride;
        ids[3] = stride;
        ids_t expected;
        std::set<unsigned> seen = {X, ids[3]};
        for (unsigned x : ids)
            if (seen.insert(x).second) expected.push_back(x);
        dense1D<unsigned> out;
        ASSERT_EQ(unique_indices(out, view(3, ids), vec({ids[3]})), 0);
        EXPECT_EQ(values(out), expected) << "stride " << stride;
        EXPECT_EQ(count_unique_indices(view(3, ids)), int(expected.size()) + 1);
    }
}

TEST(UniqueIndices, OutputMaySharePlaceWithTheInput) {
    dense1D<unsigned> all = vec({3, 1, 3, 2});
    dense1D<unsigned> head = all.sub_vector(0, 1);  // appends would write over all[1..]
    EXPECT_EQ(unique_indices(head, all, vec({})), 0);
    EXPECT_EQ(values(head), (ids_t{3, 3, 1, 2}));
}

TEST(UniqueIndices, ExhaustionRestoresTheOldSize) {
    for (const unsigned scale : {1u, 100000u}) {  // bitmap, then hash set with rehashes
        ids_t ids;
        for (unsigned i = 0; i < 200; ++i) ids.push_back((i * 37 % 101) * scale);
        const dense2D<unsigned> m = view(4, ids);
        const dense1D<unsigned> none;
        dense1D<unsigned> out = vec({5});
        const int failures = each_allocation_failing([&] { return unique_indices(out, m, none); },
                                                     [&] { EXPECT_EQ(values(out), ids_t{5}); });
        EXPECT_GE(failures, 2);
        EXPECT_EQ(out.size(), 102u);
        const auto count_is_101 = [&] {
            const int n = count_unique_indices(m);
            return n == ERR_ALLOC ? n : n - 101;
        };
        EXPECT_GE(each_allocation_failing(count_is_101, [] {}), 1);
    }
}

TEST(GetIDs, VectorsPairEqualIdsLastPlaceWinning) {
    for (const unsigned scale : {1u, 50000000u}) {  // direct table, then hash map
        const unsigned a = 2 * scale, b = 5 * scale, c = 7 * scale;
        dense1D<unsigned> m21 = vec({1, 1, 1, 1, 1, 1, 1, 1}), m12;
        // ids1: b twice (keeps place 3); ids2: a twice (place 0 of ids1 keeps the last, 2).
        EXPECT_EQ(get_IDs(vec({a, X, b, b, c}), vec({a, 9, a, X, b}), m21, m12), 0);
        EXPECT_EQ(values(m21), (ids_t{0, X, 0, X, 3}));
        EXPECT_EQ(values(m12), (ids_t{2, X, X, 4, X}));
    }
}

TEST(GetIDs, ExhaustionIsSilentAndLeavesBothMapsEmpty) {
    ids_t big(300);
    for (unsigned i = 0; i < 300; ++i) big[i] = i * 1000003u;
    const dense1D<unsigned> ids = vec(big);
    dense1D<unsigned> m21, m12;
    each_allocation_failing([&] { return get_IDs(ids, ids, m21, m12) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                            [&] { EXPECT_TRUE(m12.empty()); });
    EXPECT_EQ(values(m21)[299], 299u);
    const dense2D<unsigned> m = view(3, big);
    each_allocation_failing([&] { return get_IDs(m, m, m21, m12, false) == 0 && m21.empty() ? ERR_ALLOC : 0; },
                            [&] { EXPECT_TRUE(m12.empty()); });
    EXPECT_EQ(values(m12)[99], 99u);
}

TEST(GetIDs, ColumnsMatchAsCyclesUnlessOrderIsExact) {
    struct Case { std::size_t rows1, rows2; ids_t m1, m2; bool exact; int rc; ids_t m21, m12; };
    const Case cases[] = {
        {3, 3, {1, 2, 3}, {3, 2, 1}, false, 0, {0}, {0}},                  // reversed cycle
        {3, 3, {1, 2, 3}, {3, 2, 1}, true, 0, {X}, {X}},
        {3, 3, {1, 2, 3}, {2, 3, 1}, false, 0, {0}, {0}},                  // rotated
        {4, 4, {1, 2, 3, 4}, {2, 1, 4, 3}, false, 0, {0}, {0}},            // opposite direction
        {4, 4, {1, 2, 3, 4}, {1, 3, 2, 4}, false, 0, {X}, {X}},            // same set, other cycle
        {2, 2, {4, 5, 4, 5, 6, 7}, {5, 4, 7, 6, 4, 5}, false, 0, {0, 2, 0}, {2, X, 1}},  // duplicate m1 column never chosen
        {2, 2, {1, X}, {X, 1}, false, 0, {0}, {0}},                        // NO_INDEX is an ordinary value
        {2, 3, {1, 2}, {1, 2, 3}, false, -2, {}, {}},
    };
    for (const Case& c : cases) {
        dense1D<unsigned> m21 = vec({9}), m12 = vec({9});
        EXPECT_EQ(get_IDs(view(c.rows1, c.m1), view(c.rows2, c.m2), m21, m12, c.exact), c.rc);
        EXPECT_EQ(values(m21), c.m21);
        EXPECT_EQ(values(m12), c.m12);
    }
}

TEST(IncBoundingBox, GrowsTheBoxWithNaNLandingInMinOnly) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    dense2D<double> all(4, 4, -99.0);  // a 2 x 3 view with ld 4: rows 0 and 3 and column 3 are out
    const double xy[3][2] = {{nan, 5}, {2, nan}, {3, 1}};
    for (int j = 0; j < 3; ++j) { all(1, j) = xy[j][0]; all(2, j) = xy[j][1]; }
    const dense2D<double> pos = all.sub_matrix(1, 0, 2, 3);

    vector_fixed<double, 2> lo, hi;
    lo = 4; hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, lo, hi), 0);  // x: NaN, 2, 3; y: 5, NaN, 1
    EXPECT_EQ(lo[0], 2); EXPECT_EQ(hi[0], 4); EXPECT_EQ(lo[1], 1); EXPECT_EQ(hi[1], 5);

    lo = 4; hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, vec({2, X, 0}), lo, hi), 0);  // the NaN of node 0 comes last
    EXPECT_TRUE(std::isnan(lo[0])); EXPECT_EQ(hi[0], 4); EXPECT_EQ(lo[1], 1); EXPECT_EQ(hi[1], 5);

    lo = 4; hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, view(2, {2, 0, 1, X}), lo, hi), 0);  // nodes 2, 0, 1
    EXPECT_EQ(lo[0], 2); EXPECT_TRUE(std::isnan(lo[1])); EXPECT_EQ(hi[1], 5);

    vector_fixed<double, 3> lo3, hi3;
    lo3 = 0; hi3 = 0;
    EXPECT_EQ(inc_bounding_box(pos, lo3, hi3), -1);
    EXPECT_EQ(inc_bounding_box(pos, dense1D<unsigned>(), lo3, hi3), 0);  // empty ids come first
    EXPECT_EQ(inc_bounding_box(pos, vec({0}), lo3, hi3), -1);
    EXPECT_EQ(inc_bounding_box(dense2D<double>(3, 0), lo3, hi3), 0);
    lo = 4; hi = 4;
    EXPECT_EQ(inc_bounding_box(pos, vec({2, 3}), lo, hi), -2);
    EXPECT_EQ(inc_bounding_box(pos, view(1, {0, 3}), lo, hi), -2);
    EXPECT_EQ(lo[0], 4); EXPECT_EQ(hi[1], 4);  // unchanged
}

TEST(IncBoundingBox, ConnectFormReportsExhaustion) {
    dense2D<double> pos(3, 200, 1.0);
    pos(2, 150) = -3;
    ids_t tets(800);
    for (unsigned i = 0; i < 800; ++i) tets[i] = i % 200;
    const dense2D<unsigned> connect = view(4, tets);
    vector_fixed<double, 3> lo, hi;
    lo = 0; hi = 0;
    each_allocation_failing([&] { return inc_bounding_box(pos, connect, lo, hi); },
                            [&] { EXPECT_EQ(lo[2], 0); });
    EXPECT_EQ(lo[2], -3); EXPECT_EQ(hi[0], 1);
}

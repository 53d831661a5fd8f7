#include "test_support.hpp"

// connect, neighbors, group_sizes, group_ends, old_to_new
using sorted = std::vector<list>;

static sorted sort(tq5::dense2D<unsigned> c, tq5::dense2D<unsigned> nb = {}) {
    tq5::dense1D<unsigned> sizes(1, 5u), ends(1, 5u), o2n(1, 5u);
    EXPECT_EQ(nb.empty() ? cw::sort_elfes(c, sizes, ends, o2n) : cw::sort_elfes(c, nb, sizes, ends, o2n), 0);
    return {values(c), values(nb), values(sizes), values(ends), values(o2n)};
}

TEST(SortElfes, HandExamples) {
    EXPECT_EQ(sort(columns(4, {1, 2, 3, 4, 5, 6, 7, NO, 8, 9, 10, 11})),
              (sorted{{1, 2, 3, 4, 8, 9, 10, 11, 5, 6, 7, NO}, {}, {4, 3}, {2, 3}, {0, 2, 1}}));
    EXPECT_EQ(sort(padded(4, {5, 6, 7, NO, 1, 2, 3, 4})),
              (sorted{{1, 2, 3, 4, 5, 6, 7, NO}, {}, {4, 3}, {1, 2}, {1, 0}}));
    // Only the entries before the first NO_INDEX count; those behind travel with the column.
    EXPECT_EQ(sort(columns(4, {5, NO, 6, 7, 1, 2, NO, NO})),
              (sorted{{1, 2, NO, NO, 5, NO, 6, 7}, {}, {2, 1}, {1, 2}, {1, 0}}));
    EXPECT_EQ(sort(columns(3, {1, 2, 3, 4, 5, 6})), (sorted{{1, 2, 3, 4, 5, 6}, {}, {3}, {2}, {0, 1}}));
    EXPECT_EQ(sort(tq5::dense2D<unsigned>()), (sorted{{}, {}, {NO}, {0}, {}}));
    EXPECT_EQ(sort(columns(2, {NO, 1, NO, NO})), (sorted{{}, {}, {NO}, {0}, {NO, NO}}));
    // A triangle, a dropped column, a quadrangle. The second matrix has 2 rows
    // against 4: only the column counts must agree, and links to the dropped column vanish.
    const auto c = columns(4, {1, 2, 3, NO, NO, 9, 9, 9, 4, 5, 6, 7});
    EXPECT_EQ(sort(c, columns(2, {2, 1, 0, 2, 1, 0})),
              (sorted{{4, 5, 6, 7, 1, 2, 3, NO}, {NO, 1, 0, NO}, {4, 3}, {1, 2}, {1, NO, 0}}));
    tq5::dense2D<unsigned> same = c, bad = columns(2, {0, 0, 0, 0});
    tq5::dense1D<unsigned> sizes(1, 5u), ends, o2n;
    EXPECT_EQ(cw::sort_elfes(same, bad, sizes, ends, o2n), -1);
    EXPECT_EQ(values(same), values(c));
    EXPECT_EQ(values(sizes), list{5});
}

// A random mixed solid matrix against a stable sort of its columns.
TEST(SortElfes, RandomMixedSolidsAgainstStableSort) {
    std::mt19937 rng(3);
    const unsigned n = 5000, kinds[] = {4, 5, 6, 8, 0};
    tq5::dense2D<unsigned> c(8, n, NO), nb(6, n, NO);
    std::vector<unsigned> valid(n), order(n);
    for (unsigned j = 0; j < n; ++j) {
        valid[j] = kinds[rng() % 5];
        for (unsigned r = 0; r < valid[j]; ++r) c(r, j) = rng() % 1000;
        for (unsigned r = 0; r < 6; ++r) nb(r, j) = rng() % 3 ? rng() % n : NO;
        order[j] = j;
    }
    std::stable_sort(order.begin(), order.end(), [&](unsigned a, unsigned b) { return valid[a] > valid[b]; });
    order.resize(n - std::count(valid.begin(), valid.end(), 0u));
    list o2n(n, NO), want_c, want_nb, sizes, ends;
    for (unsigned k = 0; k < order.size(); ++k) {
        o2n[order[k]] = k;
        if (sizes.empty() || sizes.back() != valid[order[k]]) {
            if (!sizes.empty()) ends.push_back(k);
            sizes.push_back(valid[order[k]]);
        }
    }
    ends.push_back(unsigned(order.size()));
    for (unsigned j : order) {
        for (unsigned r = 0; r < 8; ++r) want_c.push_back(c(r, j));
        for (unsigned r = 0; r < 6; ++r) want_nb.push_back(nb(r, j) == NO ? NO : o2n[nb(r, j)]);
    }
    EXPECT_EQ(sort(c, nb), (sorted{want_c, want_nb, sizes, ends, o2n}));
}

// Failed allocations are not reported: a run that gives 0 without old_to_new
// counts as failed, and must have left the matrix and the outputs alone.
TEST(SortElfes, FailedAllocationsReturnZeroAndChangeNothing) {
    const auto c0 = columns(4, {5, 6, 7, NO, 1, 2, 3, 4});
    tq5::dense2D<unsigned> c;
    tq5::dense1D<unsigned> sizes, ends, o2n;
    int failures = 0;
    with_each_allocation_failing(
        [&] { return cw::sort_elfes(c, sizes, ends, o2n) == 0 && o2n.empty() ? cw::ERR_ALLOC : 0; },
        [&] {
            EXPECT_EQ(values(c), values(c0));
            EXPECT_TRUE(sizes.empty());
            EXPECT_TRUE(ends.empty());
        },
        &failures,
        [&] {
            for (auto* v : {&sizes, &ends, &o2n}) *v = tq5::dense1D<unsigned>();  // fresh blocks, not shared
            ASSERT_TRUE(c.copy(c0));
        });
    EXPECT_EQ(failures, 4);
    EXPECT_EQ(values(c), sort(c0)[0]);
}

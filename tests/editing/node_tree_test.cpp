// The k-d tree under node_detector and merge: its insertion order, its layout
// against a plain transcription of one-descent-per-id insertion, and its
// searches against brute force.
#include <cmath>
#include <cstdint>
#include <random>

#include "editing/detail/node_tree.hpp"
#include "tree_testing.hpp"

using namespace cwtest;

namespace {

TEST(NodeTreeShuffle, GeneratorIsTheStatedRecurrenceAndTheStandardEngine) {
    plain_mt plain(1);
    std::mt19937 engine(1);
    // The first words for seed 1, as the recurrence and tempering give them.
    for (std::uint32_t want : {1791095845u, 4282876139u, 3093770124u, 4005303368u, 491263u, 550290313u})
        EXPECT_EQ(plain.next(), want);
    for (int k = 0; k < 6; ++k) engine();
    for (int k = 6; k < 3000; ++k) ASSERT_EQ(plain.next(), std::uint32_t(engine())) << k;  // several twists
}

TEST(NodeTreeShuffle, MaskedRejectionGivesOnePermutationPerLength) {
    // i = 1: word 0 is odd, r = 1. i = 2: word 1 & 3 = 3 > 2 is rejected, word 2 & 3 = 0: swap 2 and 0.
    list three{10, 11, 12};
    cw::detail::shuffle_positions(three.data(), 3);
    EXPECT_EQ(three, (list{12, 11, 10}));
    for (std::size_t n : {0, 1, 2, 7, 1000, 70000}) {
        list want(n), strided(3 * n, 99);
        for (std::size_t k = 0; k < n; ++k) want[k] = strided[3 * k] = unsigned(k);
        plain_shuffle(want);
        cw::detail::shuffle_positions(strided.data(), n, 3);
        for (std::size_t k = 0; k < n; ++k) ASSERT_EQ(strided[3 * k], want[k]);
    }
}

template <unsigned DIM> void check_layout(std::uint64_t seed) {
    const auto pos = random_pos(DIM, 3000, seed);
    list first(2500), second;
    for (unsigned k = 0; k < first.size(); ++k) first[k] = (k * 7919u) % 3000u;
    second = {NO, 5, 5, 3000, 17, 2999, 4000000000u};  // invalid ids are skipped, repeats kept
    cw::node_tree<DIM> tree(pos);
    bool stored = false;
    EXPECT_EQ(tree.insert(vec(first), stored), 2500u);
    EXPECT_TRUE(stored);
    EXPECT_EQ(tree.insert(vec(second), stored), 4u);
    const list want = plain_tree(pos, second, plain_tree(pos, first));
    EXPECT_EQ(values(tree.nodes), want);
    cw::node_tree<DIM> again(pos);  // one id at a time, in the given order
    for (unsigned id : first) EXPECT_TRUE(again.insert(id));
    EXPECT_FALSE(again.insert(3000u));
    EXPECT_EQ(values(again.nodes), plain_tree(pos, first, {}, false));
    cw::node_tree<DIM> all(pos);
    all.insert_first(3000, stored);
    EXPECT_EQ(values(all.nodes), plain_tree(pos, iota(3000)));
}

TEST(NodeTree, LayoutMatchesOneDescentPerIdInTheShuffledOrder) {
    check_layout<2>(1);
    check_layout<3>(2);
}

template <unsigned DIM> void check_searches(std::uint64_t seed) {
    const auto pos = random_pos(DIM, 3000, seed);
    cw::node_tree<DIM> tree(pos);
    bool stored;
    tree.insert(vec(iota(2800)), stored);  // the last 200 nodes are queried from outside the tree
    std::mt19937_64 rng(seed);
    for (int t = 0; t < 400; ++t) {
        typename cw::node_tree<DIM>::point q, lo, hi;
        for (unsigned k = 0; k < DIM; ++k) {
            q[k] = grid(rng) - 0.3;
            lo[k] = grid(rng) - 0.5;
            hi[k] = lo[k] + grid(rng) / 3;
        }
        const unsigned id = unsigned(rng() % 3000);
        const double* at = pos.data() + id * DIM;
        EXPECT_EQ(dist(pos, tree.find_closest(q), q.data()), nearest(pos, 2800, q.data(), NO));
        EXPECT_EQ(dist(pos, tree.find_closest(id), at), nearest(pos, 2800, at, id));
        tq5::dense1D<unsigned> out = vec({7u});
        ASSERT_TRUE(tree.find_in_box(lo, hi, out));
        list got = values(out), want{7};
        for (unsigned n = 0; n < 2800; ++n) {
            bool in = true;
            for (unsigned k = 0; k < DIM; ++k) in = in && lo[k] <= pos(k, n) && pos(k, n) <= hi[k];
            if (in) want.push_back(n);
        }
        std::sort(got.begin() + 1, got.end());
        EXPECT_EQ(got, want);
    }
}

TEST(NodeTree, SearchesAgreeWithBruteForceOnTiesAndCoincidentNodes) {
    check_searches<2>(3);
    check_searches<3>(4);
}

// The bulk paths under failing storage are driven through node_detector.
TEST(NodeTree, FailedGrowthDropsTheRecordButCountsTheId) {
    const auto pos = random_pos(3, 40, 5);
    cw::node_tree<3> tree(pos);
    while (tree.size() < 8 || tree.size() < tree.nodes.col_capacity()) tree.insert(tree.size());
    const list before = values(tree.nodes);
    tq5::testing::fail_allocations_after(0);
    EXPECT_TRUE(tree.insert(9u));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(values(tree.nodes), before);
}

}  // namespace

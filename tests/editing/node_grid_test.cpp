// The bucket grid beside large trees answers closest-node searches only with
// the tree walk's own answer: checked on random clouds, on a lattice full of
// exact ties, at nodes with the node excluded, far outside, and through the
// tree once the grid is built, from several threads at once. Box searches
// through the grid give the walk's list, in the walk's order.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>
#include <vector>

#include "editing/detail/node_tree.hpp"

namespace {

using namespace tq5::cellworks;

template <unsigned DIM> using grid = detail::node_grid<DIM, detail::tree_metric<DIM>>;

// n nodes: uniform in the unit box, or when `lattice`, every place of a
// lattice of step 1/28 in turn, the rest of the nodes twins of earlier ones.
tq5::dense2D<double> cloud(unsigned dim, unsigned n, bool lattice, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0, 1);
    const unsigned places = dim == 3 ? 28 * 28 * 28 : 28 * 28;
    tq5::dense2D<double> pos(dim, n);
    for (unsigned k = 0; k < n; ++k)
        for (unsigned a = 0, step = 1; a < dim; ++a, step *= 28)
            pos(a, k) = !lattice ? u(rng) : k < places ? double(k / step % 28) / 28 : pos(a, rng() % places);
    return pos;
}

template <unsigned DIM> struct fixture {
    tq5::dense2D<double> pos;
    node_tree<DIM> tree;
    grid<DIM> g;
    bool built;
    fixture(unsigned n, bool lattice)
        : pos(cloud(DIM, n, lattice, 7 + n)),
          tree(pos),
          built(g.build(
              n, [this](std::size_t k) { return &pos(0, k); }, [](std::size_t k) { return unsigned(k); },
              [](std::size_t) { return 0u; })) {
        bool stored = tree.reserve(n);
        tree.insert_first(n, stored);
    }
    // Compares the grid with the walk at q; true when the grid answered.
    bool agrees(const typename node_tree<DIM>::point& q, unsigned excluded) {
        const unsigned id = g.find(q.data(), excluded);
        if (id != NO_INDEX) {
            EXPECT_EQ(id, tree.walk_closest(q, excluded));
        }
        return id != NO_INDEX;
    }
};

// Queries: inside, a little and far outside the box, and at nodes.
template <unsigned DIM> void check_queries(fixture<DIM>& f, bool expect_most) {
    ASSERT_TRUE(f.built);
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> u(-0.1, 1.1), far(-50, 50);
    unsigned answered = 0, asked = 0;
    for (int k = 0; k < 4000; ++k, ++asked) {
        typename node_tree<DIM>::point q;
        for (unsigned a = 0; a < DIM; ++a) q[a] = k % 10 == 9 ? far(rng) : u(rng);
        answered += f.agrees(q, NO_INDEX);
    }
    for (unsigned id = 0; id < f.pos.cols(); id += 7, ++asked) {
        typename node_tree<DIM>::point q;
        for (unsigned a = 0; a < DIM; ++a) q[a] = f.pos(a, id);
        answered += f.agrees(q, id);
    }
    if (expect_most) {
        EXPECT_GT(answered, asked * 8 / 10);
    }
}

TEST(NodeGrid, AnswersAsTheWalkOnRandomClouds) {
    fixture<3> f3(20000, false);
    check_queries(f3, true);
    fixture<2> f2(20000, false);
    check_queries(f2, true);
}

TEST(NodeGrid, StandsAsideOnTies) {
    // Queries at half steps are equally close to several places, and twins
    // are equally close to each other.
    fixture<3> f(24000, true);
    check_queries(f, false);
    const double q[3] = {0.5 / 28, 0.5 / 28, 0.5 / 28};
    EXPECT_EQ(f.g.find(q, NO_INDEX), NO_INDEX);
    const double nan[3] = {NAN, 0, 0};
    EXPECT_EQ(f.g.find(nan, NO_INDEX), NO_INDEX);
}

TEST(NodeGrid, RefusesNodesThatAreNotFinite) {
    tq5::dense2D<double> pos = cloud(3, 100, false, 1);
    pos(1, 50) = INFINITY;
    grid<3> g;
    EXPECT_FALSE(g.build(
        100, [&pos](std::size_t k) { return &pos(0, k); }, [](std::size_t k) { return unsigned(k); },
        [](std::size_t) { return 0u; }));
}

TEST(NodeGrid, TreeSearchesMatchTheWalkOnceTheGridIsBuiltAndAfterInsertion) {
    const unsigned n = 40000;
    tq5::dense2D<double> pos = cloud(3, n + 1000, false, 11);
    bool stored = true;
    // The root, moved just beyond every other node along x: the descent from it
    // meets no other node, so its search ends with nothing, grid or not.
    unsigned root;
    {
        node_tree<3> probe(pos);
        probe.insert_first(n, stored);
        root = probe.nodes(0, 0);
    }
    pos(0, root) = 1;
    node_tree<3> tree(pos);
    tree.insert_first(n, stored);
    std::vector<node_tree<3>::point> queries(n / 8);
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> u(0, 1);
    for (auto& q : queries) q = {{u(rng), u(rng), u(rng)}};
    std::vector<unsigned> walked;
    for (const auto& q : queries) walked.push_back(tree.walk_closest(q));
    // Four threads search the same tree side by side; the grid is built
    // during their searches.
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t k = 0; k < queries.size(); ++k) wrong[t] += tree.find_closest(queries[k]) != walked[k];
        });
    for (auto& th : threads) th.join();
    for (int t = 0; t < 4; ++t) EXPECT_EQ(wrong[t], 0);
    EXPECT_EQ(tree.find_closest(root), NO_INDEX);
    // New nodes join the answers.
    tq5::dense1D<unsigned> more;
    for (unsigned id = n; id < n + 1000; ++id) more.push_back(id);
    tree.insert(more, stored);
    for (std::size_t k = 0; k < queries.size(); ++k) {
        for (int rep = 0; rep < 4; ++rep) tree.find_closest(queries[k]);
        ASSERT_EQ(tree.find_closest(queries[k]), tree.walk_closest(queries[k]));
    }
}

TEST(NodeGrid, BoxSearchesGiveTheWalksList) {
    for (const bool lattice : {false, true}) {
        const unsigned n = 24000;
        tq5::dense2D<double> pos = cloud(3, n, lattice, 13);
        node_tree<3> tree(pos);
        bool stored = true;
        tree.insert_first(n, stored);
        std::mt19937_64 rng(9);
        std::uniform_real_distribution<double> u(-0.1, 1.1);
        using point = node_tree<3>::point;
        // Enough searches to build the grid, then boxes of every kind: small
        // and large, with corners on node coordinates (closed faces),
        // infinite, NaN or inverted.
        for (unsigned k = 0; k < n / 16; ++k) tree.find_closest(point{{u(rng), u(rng), u(rng)}});
        tq5::dense1D<unsigned> got, want;
        for (int k = 0; k < 3000; ++k) {
            point lo, hi;
            const double half = k % 50 == 0 ? 0.3 : 0.02;
            for (unsigned a = 0; a < 3; ++a) {
                const double c = k % 3 == 0 ? pos(a, rng() % n) : u(rng);
                lo[a] = k % 7 == 0 ? pos(a, rng() % n) : c - half;
                hi[a] = k % 11 == 0 ? pos(a, rng() % n) : c + half;
            }
            if (k % 97 == 1) lo[k % 3] = -INFINITY;
            if (k % 97 == 2) hi[1] = NAN;
            if (k % 97 == 3) std::swap(lo[2], hi[2]);
            got.clear();
            want.clear();
            ASSERT_TRUE(tree.find_in_box(lo, hi, got));
            ASSERT_TRUE(tree.walk_in_box(lo, hi, want));
            ASSERT_EQ(got.size(), want.size()) << k;
            for (std::size_t j = 0; j < got.size(); ++j) ASSERT_EQ(got[j], want[j]) << k;
        }
    }
}

}  // namespace

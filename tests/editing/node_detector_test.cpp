#include <functional>
#include <thread>

#include "tree_testing.hpp"

using namespace cwtest;

namespace {

using p2 = tq5::vector_fixed<double, 2>;
using p3 = tq5::vector_fixed<double, 3>;

// Nodes 0 to 4, inserted one per call so that the order is the given one:
// 0 (0, 0) is the root, split on x; 1 (10, 5) goes high, split on y;
// 2 (3, 4.9) goes high of 0, low of 1; 3 (-2, 4.9) low of 0; 4 = 2, high of 2.
cw::node_detector hand_tree(const tq5::dense2D<double>& pos) {
    cw::node_detector d;
    EXPECT_EQ(d.reinit(pos, vec({0u})), 0);
    for (unsigned id = 1; id < pos.cols(); ++id) EXPECT_EQ(d.insert(vec({id})), 1u);
    return d;
}
const auto hand_pos = columns<double>(2, {0, 0, 10, 5, 3, 4.9, -2, 4.9, 3, 4.9});

list box(const cw::node_detector& d, p2 lo, p2 hi) {
    tq5::dense1D<unsigned> out;
    d.find_in_box(lo, hi, out);
    list v = values(out);
    std::sort(v.begin(), v.end());
    return v;
}

TEST(NodeDetector, TiesGoToTheFirstNodeMetAndBoxesAreClosed) {
    const cw::node_detector d = hand_tree(hand_pos);
    EXPECT_EQ(d.size(), 5u);
    // From (0.5, 10) the descent meets 0 and 1 (r = sqrt(100.25)); 2 and 3 lie
    // at sqrt(32.26) each, and the high side (2) is searched before the low (3).
    EXPECT_EQ(d.find_closest(p2{{0.5, 10}}), 2u);
    EXPECT_EQ(d.find_closest(p3{{0.5, 10, 99}}), 2u);  // z dropped
    EXPECT_EQ(d.find_closest(p2{{3, 4.9}}), 2u);       // exact hit on the descent: 4 is not looked for
    EXPECT_EQ(d.find_closest(2u), 4u);                 // a twin at distance 0
    EXPECT_EQ(d.find_closest(4u), 2u);
    EXPECT_EQ(d.find_closest(5u), NO);
    EXPECT_EQ(box(d, {{-2, 4.9}}, {{3, 10}}), (list{2, 3, 4}));  // all on corners
    EXPECT_EQ(box(d, {{3, 0}}, {{-2, 10}}), list{});             // not normalised
    tq5::dense1D<unsigned> out = vec({9u});
    d.find_in_box(p3{{9, 4, -1}}, p3{{11, 6, -1}}, out);
    d.find_in_box(p2{{9, 4}}, p2{{11, 6}}, out);
    EXPECT_EQ(values(out), (list{9, 1, 1}));  // appended, never cleared
}

TEST(NodeDetector, SmallTreesAndRepeatedIds) {
    const auto pos = columns<double>(3, {0, 0, 0, 1, 1, 1, 1, 1, 0, 2, 2, 5e-324});
    cw::node_detector one(pos, vec({1u})), d(pos);
    EXPECT_EQ(one.find_closest(p2{{-5, 7}}), 1u);
    EXPECT_EQ(one.find_closest(1u), NO);
    EXPECT_EQ(one.find_closest(0u), 1u);        // 0 is not in the tree
    EXPECT_EQ(d.find_closest(p2{{1, 1}}), 2u);  // z = 0: (1, 1, 0) beats (1, 1, 1)
    tq5::dense1D<unsigned> out;
    d.find_in_box(p2{{0, 0}}, p2{{2, 2}}, out);  // z in [0, 0]: not 1, nor 3 at the least subnormal
    std::sort(out.begin(), out.end());
    EXPECT_EQ(values(out), (list{0, 2}));
    EXPECT_EQ(d.insert(vec({3u, 3u, 4u})), 2u);
    EXPECT_EQ(d.size(), 6u);
    out.clear();
    d.find_in_box(p3{{2, 2, 0}}, p3{{2, 2, 1}}, out);
    EXPECT_EQ(values(out), (list{3, 3, 3}));
    cw::node_detector empty(pos, tq5::dense1D<unsigned>()), none;
    for (const cw::node_detector* e : {&empty, &none}) {
        EXPECT_EQ(e->size(), 0u);
        EXPECT_EQ(e->find_closest(p3{{0, 0, 0}}), NO);
        EXPECT_EQ(e->find_closest(0u), NO);
        out = vec({8u});
        e->find_in_box(p3{{-9, -9, -9}}, p3{{9, 9, 9}}, out);
        EXPECT_EQ(values(out), list{8});
    }
    EXPECT_EQ(none.insert(vec({0u})), 0u);
    EXPECT_EQ(none.insert(columns(1, {0})), 0u);
}

TEST(NodeDetector, ReinitCodesAndWhatSurvivesThem) {
    const auto pos = random_pos(2, 5, 7), flat = random_pos(1, 5, 7), deep = random_pos(4, 5, 7);
    const auto conn = columns(2, {0, 1, 1, NO}), bad = columns(2, {0, 5});
    struct row {
        const char* what;
        std::function<int(cw::node_detector&)> call;
        int code;
        unsigned size_after;  // the old tree has 5 nodes
    };
    const row rows[] = {
        {"1 row", [&](cw::node_detector& d) { return d.reinit(flat); }, -1, 0},
        {"4 rows, ids", [&](cw::node_detector& d) { return d.reinit(deep, vec({0u})); }, -1, 5},
        {"4 rows, range", [&](cw::node_detector& d) { return d.reinit(deep, &conn, &conn + 1); }, -1, 5},
        {"id out",
         [&](cw::node_detector& d) {
             return d.reinit(pos, vec({0u, 5u}));
         },
         -2, 5},
        {"matrix id out", [&](cw::node_detector& d) { return d.reinit(pos, bad); }, -2, 5},
        {"range id out", [&](cw::node_detector& d) { return d.reinit(pos, &bad, &bad + 1); }, -2, 5},
        {"range reversed", [&](cw::node_detector& d) { return d.reinit(pos, &conn + 1, &conn); }, -3, 5},
        {"NO_INDEX skipped",
         [&](cw::node_detector& d) {
             return d.reinit(pos, vec({NO, 4u}));
         },
         0, 1},
        {"matrix", [&](cw::node_detector& d) { return d.reinit(pos, conn); }, 0, 2},
        {"empty range", [&](cw::node_detector& d) { return d.reinit(pos, &conn, &conn); }, 0, 0},
    };
    for (const row& r : rows) {
        cw::node_detector d(pos);
        EXPECT_EQ(r.call(d), r.code) << r.what;
        EXPECT_EQ(d.size(), r.size_after) << r.what;
    }
    EXPECT_EQ(cw::node_detector(flat).size() + cw::node_detector(pos, bad).size(), 0u);  // rejected: empty
    EXPECT_EQ(cw::node_detector(pos, &conn, &conn + 1).size(), 2u);
}

TEST(NodeDetector, CopiesAreDeepAndSelfAssignmentKeepsTheTree) {
    const auto pos2 = random_pos(2, 300, 8), pos3 = random_pos(3, 300, 9);
    for (const auto* pos : {&pos2, &pos3}) {
        cw::node_detector d(*pos), copy(d), other = hand_tree(hand_pos);
        other = d;
        cw::node_detector& alias = d;
        d = alias;
        for (const cw::node_detector* c : {&d, &copy, &other}) {
            EXPECT_EQ(c->size(), 300u);
            for (unsigned id = 0; id < 300; id += 7) EXPECT_EQ(c->find_closest(id), d.find_closest(id));
        }
        EXPECT_EQ(copy.insert(vec({1u})), 1u);
        EXPECT_EQ(d.size(), 300u);
        other = cw::node_detector();
        EXPECT_EQ(other.size(), 0u);
    }
}

TEST(NodeDetector, CoincidentNodesFormAChainThatSearchesStillWalk) {
    tq5::dense2D<double> pos(2, 10001, 1.0);
    pos(0, 10000) = pos(1, 10000) = 2;
    const cw::node_detector d(pos);
    EXPECT_EQ(d.find_closest(p2{{5, 5}}), 10000u);
    EXPECT_LT(d.find_closest(p2{{0, 0}}), 10000u);
    EXPECT_EQ(dist(pos, d.find_closest(10000u), pos.data() + 20000), std::sqrt(2.0));
    EXPECT_EQ(box(d, {{1, 1}}, {{1, 1}}), iota(10000));
}

TEST(NodeDetector, ConstSearchesRunSideBySide) {
    const auto pos = random_pos(3, 20000, 10);
    const cw::node_detector d(pos);
    auto run = [&](unsigned seed, list& got) {
        std::mt19937_64 rng(seed);
        for (int k = 0; k < 300; ++k) {
            const p3 q{{grid(rng), grid(rng), grid(rng)}}, hi{{q[0] + 0.5, q[1] + 0.5, q[2] + 0.5}};
            got.push_back(d.find_closest(q));
            got.push_back(d.find_closest(unsigned(rng() % 20000)));
            tq5::dense1D<unsigned> out;
            d.find_in_box(q, hi, out);
            got.insert(got.end(), out.begin(), out.end());
        }
    };
    std::vector<list> serial(4), parallel(4);
    for (unsigned t = 0; t < 4; ++t) run(t, serial[t]);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) threads.emplace_back(run, t, std::ref(parallel[t]));
    for (auto& th : threads) th.join();
    EXPECT_EQ(parallel, serial);
}

TEST(NodeDetector, FailedAllocationsLeaveStatedStates) {
    const auto pos = random_pos(3, 500, 11);
    const auto conn = padded(4, iota(500));
    const auto ids = vec(iota(400));
    const cw::node_detector full(pos);
    cw::node_detector d;
    const std::function<int()> calls[] = {
        [&] { return d.reinit(pos); },
        [&] { return d.reinit(pos, ids); },
        [&] { return d.reinit(pos, conn); },
        [&] { return d.reinit(pos, &conn, &conn + 1); },
        [&] {
            d = full;
            return d.size() ? 0 : cw::ERR_ALLOC;
        },
    };
    for (const auto& call : calls) {
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing(
                      call, [&] { EXPECT_TRUE(d.size() == 0 || d.size() == 3u); }, &failures,
                      [&] {
                          d.reinit(pos, vec({0u, 1u, 2u}));
                      }),
                  0);
        EXPECT_GE(failures, 1);
        EXPECT_GE(d.size(), 400u);
    }
    tq5::dense1D<unsigned> out = vec({5u});
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(d.insert(ids), 400u);  // counted, not stored
    full.find_in_box(p3{{0, 0, 0}}, p3{{4, 4, 4}}, out);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(d.size(), 500u);
    EXPECT_EQ(values(out), list{5});
}

}  // namespace

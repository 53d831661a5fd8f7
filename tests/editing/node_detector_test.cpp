// node_detector and the k-d tree under it: the tree's insertion order, layout
// and searches against a plain transcription, a hand-made tree for ties, the
// reinit codes, chains of coincident nodes, copies and threads searching
// against brute force, and storage failures.
#include <numeric>
#include <random>
#include <thread>

#include "editing/detail/node_tree.hpp"
#include "test_support.hpp"

using namespace cwtest;

namespace {

using p2 = tq5::vector_fixed<double, 2>;
using p3 = tq5::vector_fixed<double, 3>;

list iota(unsigned n) {
    list v(n);
    std::iota(v.begin(), v.end(), 0u);
    return v;
}

// Quarter steps in [0, 4): plenty of ties and coincident nodes.
double grid(std::mt19937_64& rng) { return double(rng() % 16) * 0.25; }

// Half the nodes on the quarter grid, half anywhere in [0, 4).
tq5::dense2D<double> random_pos(unsigned dim, unsigned n, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    tq5::dense2D<double> pos(dim, n);
    for (unsigned i = 0; i < dim * n; ++i) pos.data()[i] = i / dim % 2 ? grid(rng) : double(rng() >> 11) * 0x1p-51;
    return pos;
}

// For i = 1 .. n-1: mask = i with all lower bits set; draw from a new
// MT19937(1) until (word & mask) <= i; swap entries i and r.
void plain_shuffle(list& a) {
    std::mt19937 gen(1);
    for (std::uint32_t i = 1; i < a.size(); ++i) {
        std::uint32_t mask = i, r;
        for (int s = 1; s <= 16; s *= 2) mask |= mask >> s;
        do r = std::uint32_t(gen()) & mask;
        while (r > i);
        std::swap(a[i], a[r]);
    }
}

// The tree's slots (id, low, high) after inserting `ids` into `tree`: shuffled,
// ids beyond the columns skipped, each walked down from the root on its own.
list plain_tree(const tq5::dense2D<double>& pos, list ids, list tree = {}, bool shuffle = true) {
    if (shuffle) plain_shuffle(ids);
    for (unsigned id : ids) {
        if (id >= pos.cols()) continue;
        const unsigned slot = unsigned(tree.size() / 3);
        tree.insert(tree.end(), {id, NO, NO});
        // At each tree node: high when the coordinate on the level's axis is >=, else low.
        for (unsigned at = 0, axis = 0; at != slot; axis = (axis + 1) % pos.rows()) {
            unsigned& child = tree[3 * at + (pos(axis, id) >= pos(axis, tree[3 * at]) ? 2 : 1)];
            if (child == NO) child = slot;
            at = child;
        }
    }
    return tree;
}

TEST(NodeTreeShuffle, StandardEngineAndMaskedRejection) {
    // The first words of MT19937 for seed 1, so that plain_shuffle may use std::mt19937.
    std::mt19937 engine(1);
    for (auto want : {1791095845u, 4282876139u, 3093770124u, 4005303368u, 491263u, 550290313u})
        EXPECT_EQ(engine(), want);
    // i = 1: word 0 is odd, r = 1. i = 2: word 1 & 3 = 3 > 2 is rejected, word 2 & 3 = 0: swap 2 and 0.
    list three{10, 11, 12};
    cw::detail::shuffle_positions(three.data(), 3);
    EXPECT_EQ(three, (list{12, 11, 10}));
}

// 140000 ids: i = 65536 and 131072 are where the shuffle needs the last step of its mask.
template <unsigned DIM> void check_layout(std::uint64_t seed) {
    const auto pos = random_pos(DIM, 140000, seed);
    list first(140000), second{NO, 5, 5, 140000, 17, 139999, 4000000000u};  // invalid ids skipped, repeats kept
    for (unsigned k = 0; k < first.size(); ++k) first[k] = (k * 7919u) % 140000u;
    cw::node_tree<DIM> tree(pos);
    bool stored;
    EXPECT_EQ(tree.insert(vec(first), stored), 140000u);
    EXPECT_EQ(tree.insert(vec(second), stored), 4u);
    for (unsigned id : second) EXPECT_EQ(tree.insert(id), id < 140000);  // one per call, in the given order
    EXPECT_EQ(values(tree.nodes), plain_tree(pos, second, plain_tree(pos, second, plain_tree(pos, first)), false));
    // A failed growth drops the record and leaves the tree as it was.
    while (tree.size() < tree.nodes.col_capacity()) tree.insert(tree.size() % 140000);
    const list full = values(tree.nodes);
    tq5::testing::fail_allocations_after(0);
    EXPECT_TRUE(tree.insert(9u));  // counted, not stored
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(values(tree.nodes), full);
}

// Bulk inserts under failing storage are driven through node_detector, below.
TEST(NodeTree, LayoutMatchesOneDescentPerIdInTheShuffledOrder) {
    check_layout<2>(1);
    check_layout<3>(2);
}

// The searches as stated, over the slots of a plain tree (id, low, high each):
// a greedy descent, then branch and bound recursing high before low.
unsigned plain_closest(const tq5::dense2D<double>& pos, const list& tree, const double* q, unsigned excluded) {
    const unsigned dim = unsigned(pos.rows());
    auto x = [&](unsigned slot, unsigned k) { return pos(k, tree[3 * slot]); };
    auto dist2 = [&](unsigned slot) {  // dz^2 + (dx^2 + dy^2) in 3D
        double s = 0;
        for (unsigned k = 0; k < dim; ++k) s = (x(slot, k) - q[k]) * (x(slot, k) - q[k]) + s;
        return s;
    };
    double best = DBL_MAX;
    unsigned found = NO;
    for (unsigned slot = 0, axis = 0; slot < tree.size() / 3; axis = (axis + 1) % dim) {
        const unsigned next = tree[3 * slot + (q[axis] >= x(slot, axis) ? 2 : 1)];
        if (tree[3 * slot] != excluded && dist2(slot) < best) best = dist2(slot), found = tree[3 * slot];
        slot = next;
    }
    double r = std::sqrt(best);
    if (found == NO || !(r > 0)) return found;
    std::function<void(unsigned, unsigned)> visit = [&](unsigned slot, unsigned axis) {
        if (slot == NO) return;
        bool near = tree[3 * slot] != excluded;
        for (unsigned k = 0; k < dim; ++k) near = near && q[k] - r <= x(slot, k) && x(slot, k) <= q[k] + r;
        if (near && std::sqrt(dist2(slot)) < r) r = std::sqrt(dist2(slot)), found = tree[3 * slot];
        if (x(slot, axis) < q[axis] + r) visit(tree[3 * slot + 2], (axis + 1) % dim);
        if (x(slot, axis) > q[axis] - r) visit(tree[3 * slot + 1], (axis + 1) % dim);
    };
    visit(0, 0);
    return found;
}

void plain_box(const tq5::dense2D<double>& pos, const list& tree, const double* lo, const double* hi, list& out,
               unsigned slot = 0, unsigned axis = 0) {
    const unsigned id = tree[3 * slot], dim = unsigned(pos.rows());
    bool inside = true;
    for (unsigned k = 0; k < dim; ++k) inside = inside && lo[k] <= pos(k, id) && pos(k, id) <= hi[k];
    if (inside) out.push_back(id);
    for (unsigned side : {1, 2})
        if ((side == 1 ? pos(axis, id) >= lo[axis] : pos(axis, id) <= hi[axis]) && tree[3 * slot + side] != NO)
            plain_box(pos, tree, lo, hi, out, tree[3 * slot + side], (axis + 1) % dim);
}

template <unsigned DIM> tq5::vector_fixed<double, DIM> point(const double* p) {
    tq5::vector_fixed<double, DIM> v;
    std::copy(p, p + DIM, v.data());
    return v;
}

// The tree's answers, id for id and in order, against the stated searches.
template <unsigned DIM> void expect_stated_searches(const cw::node_tree<DIM>& tree, std::mt19937_64& rng, int n) {
    const list plain = values(tree.nodes);
    for (int t = 0; t < n; ++t) {
        tq5::vector_fixed<double, DIM> q, lo, hi;
        const unsigned id = unsigned(rng() % tree.pos.cols());
        for (unsigned k = 0; k < DIM; ++k)
            q[k] = grid(rng) - 0.3, lo[k] = grid(rng) - 0.5, hi[k] = lo[k] + grid(rng) / 3;
        if (t % 4 == 0) q = point<DIM>(&tree.pos(0, id));  // on a node
        EXPECT_EQ(tree.find_closest(q), plain_closest(tree.pos, plain, q.data(), NO));
        EXPECT_EQ(tree.find_closest(id), plain_closest(tree.pos, plain, &tree.pos(0, id), id));
        tq5::dense1D<unsigned> out;
        list want;
        tree.find_in_box(lo, hi, out);
        plain_box(tree.pos, plain, lo.data(), hi.data(), want);
        EXPECT_EQ(values(out), want);
    }
}

// Built in one go (some ids repeated), then grown one id at a time.
template <unsigned DIM> void check_searches_as_stated(std::uint64_t seed) {
    const auto pos = random_pos(DIM, 6000, seed);
    std::mt19937_64 rng(seed);
    list ids(5000);
    for (unsigned& id : ids) id = unsigned(rng() % 5000);
    cw::node_tree<DIM> tree(pos);
    bool stored;
    tree.insert(vec(ids), stored);
    expect_stated_searches(tree, rng, 300);
    for (unsigned id = 4500; id < 6000; ++id) tree.insert(id);
    expect_stated_searches(tree, rng, 300);
}

TEST(NodeTree, SearchesGiveTheStatedAnswersInTheStatedOrder) {
    check_searches_as_stated<2>(5);
    check_searches_as_stated<3>(6);
    // Deep trees put off more branches than a walk keeps at hand: a spine of
    // 400 nodes going high, each with a low leaf, then the mirror image.
    tq5::dense2D<double> pos(2, 1600);
    for (unsigned k = 0; k < 400; ++k)
        for (unsigned j = 0; j < 4; ++j)
            pos(0, 400 * j + k) = pos(1, 400 * j + k) = (j < 2 ? 1.0 : -1.0) * (10.0 * k - 5.0 * (j % 2));
    for (unsigned half : {0u, 800u}) {
        cw::node_tree<2> tree(pos);
        for (unsigned k = 0; k < 400; ++k) tree.insert(half + k);
        for (unsigned k = 1; k < 400; ++k) tree.insert(half + 400 + k);
        const list plain = values(tree.nodes);
        for (double far : {50000.0, -5000.0, 2000.0}) {
            const double q[2] = {far, far}, lo[2] = {-far, -far}, hi[2] = {far, far};
            EXPECT_EQ(tree.find_closest(point<2>(q)), plain_closest(pos, plain, q, NO));
            tq5::dense1D<unsigned> out;
            list want;
            tree.find_in_box(point<2>(lo), point<2>(hi), out);
            plain_box(pos, plain, lo, hi, want);
            EXPECT_EQ(values(out), want);
        }
    }
}

// Nodes 0 to 4: 0 (0, 0), 1 (10, 5), 2 (3, 4.9), 3 (-2, 4.9), 4 = 2.
const auto hand_pos = columns<double>(2, {0, 0, 10, 5, 3, 4.9, -2, 4.9, 3, 4.9});

TEST(NodeDetector, TiesGoToTheFirstNodeMetAndBoxesAreClosed) {
    // Inserted one per call, so in the given order: 0 is the root, split on x;
    // 1 goes high, split on y; 2 high of 0, low of 1; 3 low of 0; 4 high of 2.
    cw::node_detector d(hand_pos, vec({0u}));
    for (unsigned id = 1; id < 5; ++id) EXPECT_EQ(d.insert(vec({id})), 1u);
    // From (0.5, 10) the descent meets 0 and 1 (r = sqrt(100.25)); 2 and 3 lie
    // at sqrt(32.26) each, and the high side (2) is searched before the low (3).
    EXPECT_EQ(d.find_closest(p2{{0.5, 10}}), 2u);
    EXPECT_EQ(d.find_closest(p3{{0.5, 10, 99}}), 2u);  // z dropped
    EXPECT_EQ(d.find_closest(p2{{3, 4.9}}), 2u);       // exact hit on the descent: 4 is not looked for
    EXPECT_EQ(d.find_closest(2u), 4u);                 // a twin at distance 0
    EXPECT_EQ(d.find_closest(5u), NO);
    cw::node_detector lone(hand_pos, vec({0u}));
    lone.insert(vec({3u}));                // 3 goes low of the root
    EXPECT_EQ(lone.find_closest(0u), NO);  // the descent from 0 goes high and meets no other node
    tq5::dense1D<unsigned> out = vec({9u});
    d.find_in_box(p2{{-2, 4.9}}, p2{{3, 10}}, out);       // all on corners
    d.find_in_box(p2{{3, 0}}, p2{{-2, 10}}, out);         // not normalised: nothing
    d.find_in_box(p3{{9, 4, -1}}, p3{{11, 6, -1}}, out);  // z dropped
    std::sort(out.begin(), out.end());
    EXPECT_EQ(values(out), (list{1, 2, 3, 4, 9}));  // appended, never cleared
}

TEST(NodeDetector, ReinitCodesAndWhatSurvivesThem) {
    const tq5::dense2D<double> flat(1, 5, 0.0), deep(4, 5, 0.0);
    const auto conn = columns(2, {0, 1, 1, NO}), bad = columns(2, {0, 5});
    // `call` on a tree of the 5 hand nodes: its code, and the tree left: its
    // size and the node closest to node 0.
    auto row = [&](const char* what, int code, unsigned size, unsigned near0, auto call) {
        cw::node_detector d(hand_pos);
        tq5::dense1D<unsigned> out = vec({8u});
        EXPECT_EQ(call(d), code) << what;
        d.find_in_box(p2{{-20, -20}}, p2{{20, 20}}, out);
        EXPECT_EQ(d.size(), size) << what;
        EXPECT_EQ(out.size(), size + 1) << what;  // 8 kept
        EXPECT_EQ(d.find_closest(0u), near0) << what;
    };
    row("1 row", -1, 0, NO, [&](auto& d) { return d.reinit(flat); });
    row("4 rows, ids", -1, 5, 3, [&](auto& d) { return d.reinit(deep, vec({0u})); });
    row("id out", -2, 5, 3, [&](auto& d) { return d.reinit(hand_pos, vec({0u, 5u})); });
    row("matrix id out", -2, 5, 3, [&](auto& d) { return d.reinit(hand_pos, bad); });
    row("range id out", -2, 5, 3, [&](auto& d) { return d.reinit(hand_pos, &bad, &bad + 1); });
    row("range reversed", -3, 5, 3, [&](auto& d) { return d.reinit(hand_pos, &conn + 1, &conn); });
    row("NO_INDEX skipped", 0, 1, NO, [&](auto& d) { return d.reinit(hand_pos, vec({NO, 0u})); });
    row("matrix", 0, 2, 1, [&](auto& d) { return d.reinit(hand_pos, conn); });
    row("empty range", 0, 0, NO, [&](auto& d) { return d.reinit(hand_pos, &conn, &conn); });
    EXPECT_EQ(cw::node_detector(flat).insert(vec({0u})), 0u);  // no tree to add to
    EXPECT_EQ(cw::node_detector(hand_pos, conn).size(), 2u);
    EXPECT_EQ(cw::node_detector(hand_pos, &conn, &conn + 1).size(), 2u);
}

TEST(NodeDetector, MissingZIsZeroAndCoincidentNodesChain) {
    const auto pos = columns<double>(3, {0, 0, 0, 1, 1, 1, 1, 1, 0, 2, 2, 5e-324});
    cw::node_detector d(pos);
    EXPECT_EQ(d.find_closest(p2{{1, 1}}), 2u);  // z = 0: (1, 1, 0) beats (1, 1, 1)
    tq5::dense1D<unsigned> out;
    d.find_in_box(p2{{0, 0}}, p2{{2, 2}}, out);  // z in [0, 0]: not 1, nor 3 at the least subnormal
    std::sort(out.begin(), out.end());
    EXPECT_EQ(values(out), (list{0, 2}));
    // Each copy of node 3 goes high of the one before: a chain 10001 deep.
    EXPECT_EQ(d.insert(vec(list(10000, 3u))), 10000u);
    EXPECT_EQ(d.find_closest(p3{{9, 9, 9}}), 3u);
    out.clear();
    d.find_in_box(p3{{2, 2, 0}}, p3{{2, 2, 1}}, out);
    EXPECT_EQ(values(out), list(10001, 3u));
}

// Random queries on the tree of nodes 0 .. 2799 of `pos` against brute force.
// A 2D detector drops the third coordinate of the queries.
void check_searches(const cw::node_detector* d, const tq5::dense2D<double>& pos, unsigned seed) {
    auto dist = [&](unsigned id, const double* q) {  // summed as the tree sums: x, y, then z
        double s = id == NO ? INF : 0;
        for (unsigned k = 0; id != NO && k < pos.rows(); ++k) s += (pos(k, id) - q[k]) * (pos(k, id) - q[k]);
        return std::sqrt(s);
    };
    std::mt19937_64 rng(seed);
    for (int t = 0; t < 400; ++t) {
        p3 q, lo, hi;
        for (unsigned k = 0; k < 3; ++k) q[k] = grid(rng) - 0.3, lo[k] = grid(rng) - 0.5, hi[k] = lo[k] + grid(rng) / 3;
        const unsigned id = unsigned(rng() % pos.cols());  // from 2800 on, not in the tree
        double best = INF, best_other = INF;
        list in_box;
        for (unsigned j = 0; j < 2800; ++j) {
            best = std::min(best, dist(j, q.data()));
            if (j != id) best_other = std::min(best_other, dist(j, &pos(0, id)));
            bool in = true;
            for (unsigned k = 0; k < pos.rows(); ++k) in = in && lo[k] <= pos(k, j) && pos(k, j) <= hi[k];
            if (in) in_box.push_back(j);
        }
        EXPECT_EQ(dist(d->find_closest(q), q.data()), best);
        EXPECT_EQ(dist(d->find_closest(id), &pos(0, id)), best_other);
        tq5::dense1D<unsigned> out;
        d->find_in_box(lo, hi, out);
        std::sort(out.begin(), out.end());
        EXPECT_EQ(values(out), in_box);
    }
}

// The original, a copy and an assigned copy all agree with brute force, each
// searched by two threads at once; then the copy is shown to be deep.
TEST(NodeDetector, CopiesAndConstSearchesAgreeWithBruteForce) {
    const auto pos2 = random_pos(2, 3000, 3), pos3 = random_pos(3, 3000, 4);
    cw::node_detector d2(pos2, vec(iota(2800))), d3(pos3, vec(iota(2800))), copy(d2), other(hand_pos);
    other = d3;                                            // a 2D tree replaced by a 3D one
    d2 = *&d2;                                             // self-assignment keeps the tree
    const cw::node_detector* ds[] = {&other, &d2, &copy};  // each searched by two threads at once
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 6; ++t) threads.emplace_back(check_searches, ds[t % 3], std::cref(t % 3 ? pos2 : pos3), t);
    for (auto& th : threads) th.join();
    EXPECT_EQ(copy.insert(vec({2900u})), 1u);
    EXPECT_EQ(d2.size(), 2800u);  // the copy is deep
    other = cw::node_detector();
    EXPECT_EQ(other.size(), 0u);
}

TEST(NodeDetector, FailedAllocationsLeaveStatedStates) {
    const auto pos = random_pos(3, 500, 11);
    const auto conn = padded(4, iota(500));
    const auto ids = vec(iota(400));
    cw::node_detector d, full(pos);
    // Each call, and what ERR_ALLOC may leave besides an empty detector: the
    // connectivity forms keep the old 3-node tree when their id list fails.
    const std::pair<std::function<int()>, unsigned> calls[] = {
        {[&] { return d.reinit(pos); }, 0},
        {[&] { return d.reinit(pos, ids); }, 0},
        {[&] { return d.reinit(pos, conn); }, 3},
        {[&] { return d.reinit(pos, &conn, &conn + 1); }, 3},
        {[&] { return (d = full).size() ? 0 : cw::ERR_ALLOC; }, 0},
    };
    for (const auto& [call, kept] : calls) {
        auto failed = [&, kept = kept] { EXPECT_EQ(d.size() ? d.size() : kept, kept); };  // empty, or kept
        EXPECT_EQ(with_each_allocation_failing(call, failed, nullptr, [&] { d.reinit(pos, vec({0u, 1u, 2u})); }), 0);
        EXPECT_GE(d.size(), 400u);
    }
    tq5::dense1D<unsigned> out = vec({5u});
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(d.insert(ids), 400u);  // counted, not stored
    full.find_in_box(p3{{0, 0, 0}}, p3{{4, 4, 4}}, out);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(d.size(), 500u);
    EXPECT_EQ(values(out), list{5});  // left at its old size
}

}  // namespace

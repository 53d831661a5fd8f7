// merge: the codes of every form in order, small cases by hand, both modes
// against plain step-by-step versions of their searches on random nodes full
// of coincidences and ties, and storage failures.
#include <memory>
#include <numeric>
#include <tuple>

#include "editing/detail/node_tree.hpp"
#include "test_support.hpp"

using namespace cwtest;

namespace {

using pos_t = tq5::dense2D<double>;
using conn_t = tq5::dense2D<unsigned>;
using finder = std::function<list(unsigned, double)>;

// Nodes on the quarter grid of [0, span)^dim (coincident nodes, distances of
// exactly 0.25 and equal distances), every third anywhere in [0, span).
pos_t random_pos(unsigned dim, unsigned n, double span, std::mt19937_64& rng) {
    pos_t pos(dim, n);
    for (unsigned i = 0; i < dim * n; ++i)
        pos.data()[i] = i / dim % 3 ? double(rng() % unsigned(4 * span)) / 4 : double(rng() >> 11) * 0x1p-53 * span;
    return pos;
}

// NaN nodes, which hide the subtrees below them from box searches, and two
// nodes at x = inf, which are close (inf - inf is NaN, not above tol).
void nan_and_inf(pos_t& pos) {
    for (unsigned i = 7; i < 40; i += 2) pos(1, i) = NaN;
    pos(0, 8) = pos(0, 10) = INF;
    pos(1, 10) = pos(1, 8);
}

// A 16^3 unit lattice, every 7th node twice, and a far node that makes the
// mean spacing large: with tol 1/16 the cells have side 16 tol = 1, every node
// lies on cell faces, and its box meets eight cells, not the 1.42 foreseen.
pos_t face_lattice() {
    pos_t pos(3, 4683);
    for (unsigned i = 0, j = 0; i < 4096; ++i)
        for (unsigned twice = i % 7 ? 1 : 2; twice--; ++j)
            pos(0, j) = i % 16, pos(1, j) = i / 16 % 16, pos(2, j) = i / 256;
    pos(0, 4682) = pos(1, 4682) = pos(2, 4682) = 1000;
    return pos;
}

list unique(const list& ids) {
    tq5::dense1D<unsigned> out;
    cw::unique_indices(out, vec(ids), tq5::dense1D<unsigned>());
    return values(out);
}

double dist(const pos_t& pos, unsigned u, unsigned v) {
    double s = 0;
    for (unsigned k = 0; k < pos.rows(); ++k) s += (pos(k, u) - pos(k, v)) * (pos(k, u) - pos(k, v));
    return std::sqrt(s);
}

// The nodes of `nodes` in the closed box around u, through a tree built in
// the library's shuffled order (a NaN node hides the subtrees below it; with
// finite coordinates the tree finds what brute force finds).
template <unsigned D> finder tree_finder(const pos_t& pos, const list& nodes) {
    auto tree = std::make_shared<cw::node_tree<D>>(pos);
    bool stored;
    tree->insert(vec(nodes), stored);
    return [tree](unsigned u, double tol) {
        tq5::vector_fixed<double, D> lo, hi;
        for (unsigned k = 0; k < D; ++k) lo[k] = tree->pos(k, u) - tol, hi[k] = tree->pos(k, u) + tol;
        tq5::dense1D<unsigned> out;
        tree->find_in_box(lo, hi, out);
        return values(out);
    };
}
finder box_finder(const pos_t& pos, const list& nodes) {
    return pos.rows() == 2 ? tree_finder<2>(pos, nodes) : tree_finder<3>(pos, nodes);
}

// Follows each node's chain of survivors to its end.
void follow(list& map, const list& nodes) {
    for (unsigned v : nodes)
        while (map[map[v]] != map[v]) map[v] = map[map[v]];
}

// Global joining: ranks in ids2, pairs (rank, node) from each box, sorted; the
// first pair of each node is taken, then chains are followed.
list plain_lists(const pos_t& pos, const list& ids1, const list& ids2, double tol, int& joined) {
    const list l1 = unique(ids1), l2 = unique(ids2);
    const finder found = box_finder(pos, l1);
    list rank(pos.cols(), NO), map(pos.cols());
    std::vector<std::pair<unsigned, unsigned>> pairs;
    for (unsigned i = 0; i < l2.size(); ++i) {
        rank[l2[i]] = i;
        for (unsigned v : found(l2[i], tol))
            if (rank[v] > i && !(dist(pos, l2[i], v) > tol)) pairs.push_back({i, v});
    }
    std::sort(pairs.begin(), pairs.end());
    std::iota(map.begin(), map.end(), 0u);
    joined = 0;
    for (auto [i, v] : pairs)
        if (map[v] == v) map[v] = l2[i], ++joined;
    follow(map, l1);
    return map;
}

// Joining within elements, pass by pass on the matrices themselves: records
// (distance, u, v) of the close nodes of each column, stably sorted by
// distance and u, taken while both nodes are free.
list plain_elements(const pos_t& pos, std::vector<conn_t>& conns, double tol, unsigned mode, int& total) {
    list all, map(pos.cols());
    for (const auto& c : conns) all.insert(all.end(), c.data(), c.data() + c.size());
    const list nodes = unique(all);
    const finder found = box_finder(pos, nodes);
    std::iota(map.begin(), map.end(), 0u);
    for (total = 0;;) {
        std::vector<std::tuple<double, unsigned, unsigned>> records;
        for (const auto& c : conns)
            for (unsigned j = 0; j < c.cols(); ++j)
                for (const unsigned u : list(&c(0, j), &c(0, j) + c.rows())) {
                    const list box = u == NO || map[u] != u ? list{} : found(u, tol);
                    for (unsigned v : box.size() > 1 ? box : list{})
                        if (v != u && map[v] == v && std::count(&c(0, j), &c(0, j) + c.rows(), v) &&
                            !(dist(pos, u, v) > tol))
                            records.emplace_back(dist(pos, u, v), u, v);
                }
        std::stable_sort(records.begin(), records.end(), [](const auto& a, const auto& b) {
            return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
        });
        int count = 0;
        for (auto [d, u, v] : records)
            if (map[u] == u && map[v] == v) map[v] = u, ++count;
        follow(map, nodes);
        for (auto& c : conns) cw::change_indices(c, vec(map));
        total += count;
        if (mode == 1 || count == 0) return map;
    }
}

TEST(Merge, CodesInOrderForEveryForm) {
    using codes = std::vector<int>;
    pos_t none(1, 0), deep(4, 3, 0.0), pos = columns<double>(2, {0, 0, 1, 0, 2, 0});
    conn_t c = columns(3, {0, 1, 2}), bad = columns(3, {0, 1, 9}), no = columns(3, {NO, NO, NO});
    const auto ok = vec({0u, 1u}), out = vec({3u}), empty = tq5::dense1D<unsigned>();
    tq5::dense1D<unsigned> map;
    auto M = [&](auto&&... args) {  // a form with a map leaves it empty on every code
        map = vec({7u});
        const int rc = cw::merge(args...);
        EXPECT_TRUE(map.empty());
        return rc;
    };
    auto N = [&](auto&&... args) { return cw::merge(args...); };
    EXPECT_EQ((codes{M(none, map, NaN), M(deep, map, NaN), M(pos, map, -1), M(pos, map, NaN), N(none, NaN), N(deep, -1),
                     N(pos, NaN)}),
              (codes{0, -1, -3, -3, 0, -1, -3}));
    EXPECT_EQ((codes{M(none, out, out, map, NaN), M(deep, out, out, map, NaN), M(pos, out, out, map, NaN),
                     M(pos, ok, out, map, NaN), M(pos, ok, ok, map, -1), M(pos, empty, ok, map, -1),
                     M(pos, ok, empty, map, 1), M(deep, out, map, NaN), M(pos, out, map, NaN), M(pos, ok, map, NaN)}),
              (codes{0, -1, -2, -3, -4, -4, 0, -1, -2, -4}));
    EXPECT_EQ(
        (codes{M(none, &c + 1, &c, map, NaN, 9), M(deep, &c, &c, map, NaN, 9), M(deep, &c, &c + 1, map, NaN, 9),
               M(pos, &c + 1, &c, map, NaN, 9), M(pos, &bad, &bad + 1, map, NaN, 9), M(pos, &bad, &bad + 1, map, 1, 3),
               M(pos, &bad, &bad + 1, map, 1, 0), M(pos, &no, &no + 1, map, 1, 0), N(pos, &c + 1, &c, NaN, 9),
               N(pos, &bad, &bad + 1, -1, 9), N(pos, &bad, &bad + 1, 1, 3), N(pos, &bad, &bad + 1, 1, 2)}),
        (codes{0, 0, -1, -3, -5, -6, -2, 0, -3, -5, -6, -2}));
    EXPECT_EQ((codes{M(deep, bad, map, NaN, 3), M(pos, bad, map, -1, 3), M(pos, bad, map, 1, 3), M(pos, bad, map, 1, 1),
                     M(pos, no, map, 1, 2), N(pos, bad, NaN, 3), N(pos, bad, 1, 3), N(deep, bad), N(pos, bad)}),
              (codes{-1, -5, -6, -2, 0, -5, -6, -1, -2}));
    EXPECT_EQ((codes{M(deep, c, bad, map, NaN, 3), M(pos, c, bad, map, NaN, 3), M(pos, c, bad, map, 0, 3),
                     M(pos, c, bad, map, 0, 1), N(pos, c, bad, -1, 0), N(pos, c, bad, 0, 7), N(deep, c, bad),
                     N(pos, c, bad)}),
              (codes{-1, -5, -6, -2, -5, -6, -1, -2}));
    EXPECT_EQ(values(c), (list{0, 1, 2}));
    // Lists of NO_INDEX only are not empty: nothing is searched, and every node maps to itself.
    EXPECT_EQ(cw::merge(pos, vec({NO}), map, 1), 0);
    EXPECT_EQ(values(map), (list{0, 1, 2}));
}

TEST(Merge, TriangleInARowAndCoincidentNodesByMode) {
    // Triangle A: nodes 0, 1, 2 on a line 0.25 apart. Triangle B: node 3 on
    // node 0, 4 and 5 far. Node 6 lies on node 0 and no element uses it.
    const pos_t pos = columns<double>(2, {0, 0, 0.25, 0, 0.5, 0, 0, 0, 3, 3, 4, 4, 0, 0});
    // With tol 0.25, mode 0: 1 joins 0 at exactly tol, 2 joins 1 and so 0, and
    // 3 joins 0 across elements. Modes 1 and 2: 0-1 is A's first pair, then 2
    // has no free partner within tol. With tol 0 only 3 and 0 meet, in mode 0.
    const std::tuple<double, unsigned, int, list> cases[] = {
        {0.25, 0, 3, {0, 0, 0, 0, 4, 5, 6}}, {0.25, 1, 1, {0, 0, 2, 3, 4, 5, 6}}, {0.25, 2, 1, {0, 0, 2, 3, 4, 5, 6}},
        {0, 0, 1, {0, 1, 2, 0, 4, 5, 6}},    {0, 2, 0, {0, 1, 2, 3, 4, 5, 6}},
    };
    for (const auto& [tol, mode, joined, expected] : cases) {
        conn_t tris = columns(3, {0, 1, 2, 3, 4, 5});
        tq5::dense1D<unsigned> map;
        EXPECT_EQ(cw::merge(pos, tris, map, tol, mode), joined);
        EXPECT_EQ(values(map), expected);
        EXPECT_EQ(values(tris), list(expected.begin(), expected.end() - 1));  // collapsed columns stay
    }
}

// Distances are compared once rounded, and the box is a test of its own:
// sqrt(0.01^2 + 1e-20) rounds to 0.01 though the square rounds above 0.01^2,
// and 1e-200 squared is 0 though 1e-200 lies outside the box [0, 0].
TEST(Merge, RoundedDistanceAndBoxDecide) {
    const pos_t near = columns<double>(2, {0, 0, 0.01, 1e-10, 3, 3}),
                tiny = columns<double>(2, {0, 0, 1e-200, 0, 3, 3});
    for (unsigned mode : {0u, 1u}) {
        conn_t a = columns(3, {0, 1, 2}), b = columns(3, {0, 1, 2});
        EXPECT_EQ(cw::merge(near, a, 0.01, mode), 1);
        EXPECT_EQ(cw::merge(tiny, b, 0.0, mode), 0);
    }
}

TEST(Merge, DisjointListsJoinOnlyOntoTheSecond) {
    // Nodes 0 to 3 coincide, 4 and 5 coincide elsewhere. Survivors come from
    // {2, 3} only, ranked 2 first; 4 and 5 of the first list stay apart.
    const pos_t pos = columns<double>(3, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 5, 5, 5, 5, 5});
    tq5::dense1D<unsigned> map;
    EXPECT_EQ(cw::merge(pos, vec({0, NO, 1, 0, 4, 5}), vec({2, 3, 2}), map, 0), 2);
    EXPECT_EQ(values(map), (list{2, 2, 2, 3, 4, 5}));
}

TEST(Merge, GlobalMapsEqualThePlainSearch) {
    std::mt19937_64 rng(5);
    tq5::dense1D<unsigned> map;
    int joined;
    // All columns (moved onto their survivors in new storage), then two lists,
    // then a connectivity ranked by first use; the map is final in each.
    auto check = [&](const pos_t& pos, list ids1, const list& ids2, double tol) {
        pos_t moved = pos;
        list all(pos.cols());
        std::iota(all.begin(), all.end(), 0u);
        const list by_id = plain_lists(pos, all, all, tol, joined);
        EXPECT_EQ(cw::merge(moved, map, tol), joined);
        EXPECT_EQ(values(map), by_id);
        for (unsigned i = 0; i < pos.cols(); ++i)  // bit for bit, NaN too
            EXPECT_EQ(std::memcmp(&moved(0, i), &pos(0, map[i]), pos.rows() * sizeof(double)), 0);
        EXPECT_NE(moved.data(), pos.data());
        const list expected = plain_lists(pos, ids1, ids2, tol, joined);
        EXPECT_EQ(cw::merge(pos, vec(ids1), vec(ids2), map, tol), joined);
        EXPECT_EQ(values(map), expected);
        ids1.resize(ids1.size() / 3 * 3);
        conn_t tris(3, ids1.size() / 3);
        std::copy(ids1.begin(), ids1.end(), tris.data());
        const list renumbered = plain_lists(pos, ids1, ids1, tol, joined);
        EXPECT_EQ(cw::merge(pos, tris, map, tol, 0), joined);
        EXPECT_EQ(values(map), renumbered);
        for (unsigned i = 0; i < pos.cols(); ++i) EXPECT_EQ(map[map[i]], map[i]);
        for (unsigned i = 0; i < ids1.size(); ++i) EXPECT_EQ(tris.data()[i], ids1[i] == NO ? NO : renumbered[ids1[i]]);
    };
    for (unsigned dim : {2u, 3u})
        for (double tol : {0.0, 0.25, 0.3})
            for (unsigned variant = 0; variant < 4; ++variant) {
                pos_t pos = random_pos(dim, variant ? 500 : 3000, variant ? 2 : 4, rng);
                list ids1(400), ids2(300);
                for (unsigned& x : ids1) x = rng() % 50 ? unsigned(rng() % 500) : NO;
                for (unsigned& x : ids2) x = variant % 2 ? ids1[rng() % 400] : unsigned(rng() % 500);
                if (variant == 3) nan_and_inf(pos);
                if (variant == 2) pos(0, 7) = pos(1, 7) = 1e12, ids1[0] = 7;  // more than 2^32 cells: hashed keys
                check(pos, ids1, ids2, tol);
            }
    // Many more cell entries than foreseen, the connectivity in shuffled order.
    list order(4683);
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), rng);
    check(face_lattice(), order, order, 1.0 / 16);
}

TEST(Merge, ElementModesEqualThePlainPasses) {
    std::mt19937_64 rng(6);
    for (unsigned dim : {2u, 3u})
        for (double tol : {0.0, 0.25, 0.6})
            for (unsigned mode : {1u, 2u}) {
                pos_t pos = random_pos(dim, mode == 2 ? 4000 : 300, 1.5, rng);  // elements use nodes 0 to 299
                if (tol == 0.6) nan_and_inf(pos);
                std::vector<conn_t> conns = {conn_t(3, 200), conn_t(4, 60)}, plain(2);
                for (auto& c : conns)
                    for (unsigned i = 0; i < c.size(); ++i) c.data()[i] = rng() % 9 ? unsigned(rng() % 300) : NO;
                for (unsigned k = 0; k < 2; ++k) plain[k].copy(conns[k]);
                int total;
                const list expected = plain_elements(pos, plain, tol, mode, total);
                tq5::dense1D<unsigned> map;
                EXPECT_EQ(cw::merge(pos, conns[0], conns[1], map, tol, mode), total);
                EXPECT_EQ(values(map), expected);
                for (unsigned k = 0; k < 2; ++k) EXPECT_EQ(values(conns[k]), values(plain[k]));
            }
}

TEST(Merge, FailedAllocationsLeaveMapEmptyAndInputsUntouched) {
    std::mt19937_64 rng(7);
    const pos_t lattice = face_lattice();
    pos_t nan_pos = random_pos(3, 400, 2, rng), work;
    nan_pos(2, 3) = NaN;
    conn_t orig(3, 1561), tris;
    for (unsigned i = 0; i < orig.size(); ++i) orig.data()[i] = unsigned(rng() % (i < 390 ? 400 : 4683));
    const auto ids = vec(list(orig.data(), orig.data() + 390)), some = vec(list(orig.data(), orig.data() + 200));
    tq5::dense1D<unsigned> map;
    conn_t part;  // columns 0 to 129 of tris: nodes below 400
    const std::function<int()> calls[] = {
        [&] { return cw::merge(work, map, 1.0 / 16); },
        [&] { return cw::merge(lattice, tris, map, 1.0 / 16, 0); },
        [&] { return cw::merge(nan_pos, ids, some, map, 0.3); },
        [&] { return cw::merge(lattice, tris, part, map, 1.0, 2); },
        [&] { return cw::merge(nan_pos, part, map, 0.6, 2); },
    };
    for (const auto& call : calls) {
        work = lattice;
        tris.copy(orig);
        part = tris.sub_matrix(0, 0, 3, 130);
        int failures = 0;
        auto untouched = [&] {
            EXPECT_TRUE(map.empty());
            EXPECT_EQ(work.data(), lattice.data());
            EXPECT_EQ(values(tris), values(orig));
        };
        EXPECT_GT(with_each_allocation_failing(call, untouched, &failures), 0);
        EXPECT_GE(failures, 3);
    }
}

}  // namespace

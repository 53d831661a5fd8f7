// Gradation and variation control: one-edge cases by hand (directions, held
// nodes, codes), and properties on a jittered triangulated grid against a
// Dijkstra envelope computed here.
#include <functional>
#include <queue>

#include "metrics/detail/gradation_control.hpp"
#include "test_support.hpp"

namespace d = tq5::cellworks::detail;
using sizes_t = tq5::dense1D<double>;
using tensors_t = tq5::dense2D<double>;
enum rule { gradation, variation };
const tq5::dense1D<unsigned> none;

template <class Field>
int bound(rule f, const tensors_t& pos, const tq5::dense2D<unsigned>& c, cw::element_type fe,
          const tq5::dense1D<unsigned>& hard, bool hold, int direction, double limit, Field& x) {
    return f == gradation ? cw::bound_metric_gradations(pos, c, fe, hard, hold, direction, limit, x)
                          : cw::bound_metric_variations(pos, c, fe, hard, hold, direction, limit, x);
}

// Isotropic tensors of dimension N from sizes, and the size of column c (NaN unless isotropic).
template <int N> tensors_t isotropic(const sizes_t& h) {
    tensors_t m(d::packed<N>, h.size());
    for (std::size_t c = 0; c < h.size(); ++c) d::isotropic_metric<N>(h[c], &m(0, c));
    return m;
}
static double size_of(const tensors_t& m, std::size_t c) {
    for (std::size_t r = 1; r < m.rows(); ++r)
        if (std::fabs(m(r, c) - (r == 2 || r == 5 ? m(0, c) : 0)) > 1e-12 * m(0, c)) return NAN;
    return 1 / std::sqrt(m(0, c));
}

// Sizes 1 and 3 on one edge of length 1, as sizes and as 2D and 3D tensors;
// each case changes some of these arguments.
struct edge_args {
    rule f = variation;
    double limit = 0.5;
    int direction = 0;
    tq5::dense1D<unsigned> hard;
    bool hold = true;
    tensors_t pos2 = columns<double>(2, {0, 0, 1, 0}), pos3 = columns<double>(3, {0, 0, 0, 1, 0, 0});
    tq5::dense2D<unsigned> c = columns(2, {0, 1});
    cw::element_type fe = cw::ET_BAR2;
    sizes_t h = vec<double>({1.0, 3.0});
    tensors_t m2 = isotropic<2>(h), m3 = isotropic<3>(h);
};

TEST(BoundMetricGradations, OneEdgeByHandDirectionsHeldNodesAndCodesInOrder) {
    const double half = std::expm1(0.5);  // the shock of a slope of 0.5
    struct {
        std::function<void(edge_args&)> set;
        int result;
        double h0 = 1, h1 = 3;
    } const cases[] = {
        // clang-format off
        {[](edge_args&) {}, 1, 2.5, 3},                        // (0, 1) surfaces first: t = 0.75 grows node 0
        {[](edge_args& a) { a.direction = 1; }, 1, 2.5, 3},
        {[](edge_args& a) { a.direction = -1; }, 1, 1, 1.5},   // (0, 1) refused by sign, (1, 0) shrinks node 1
        {[](edge_args& a) { a.direction = 255; }, 1, 1, 1.5},  // only the low byte counts
        {[](edge_args& a) { a.direction = 256; }, 1, 2.5, 3},
        {[](edge_args& a) { a.direction = 2; }, 0},            // a byte that matches no sign locks every node
        {[](edge_args& a) { a.limit = 0; }, 1, 3, 3},          // limit 0: t = 1, the neighbour's size
        {[](edge_args& a) { a.limit = 2; }, 0},                // on the limit
        {[&](edge_args& a) { a.f = gradation, a.limit = half; }, 1, 2.5, 3},
        {[&](edge_args& a) { a.f = gradation, a.limit = half, a.direction = -1; }, 1, 1, 1.5},
        {[](edge_args& a) { a.f = gradation, a.limit = std::expm1(2); }, 0},
        {[](edge_args& a) { a.hard = vec({0, 1}); }, 0},                         // all held: nothing queued
        {[](edge_args& a) { a.hold = false; }, 0},                               // none free
        {[](edge_args& a) { a.hard = vec({0}); }, 1, 1, 1.5},                    // node 1 comes down instead
        {[](edge_args& a) { a.hard = vec({0}), a.hold = false; }, 1, 2.5, 3},
        {[](edge_args& a) { a.hard = vec({1, NO}); }, 1, 2.5, 3},                // NO_INDEX is skipped
        // Codes, each case showing it comes before a later one; the field is untouched.
        {[](edge_args& a) { a.limit = DBL_MAX, a.pos2 = a.pos3 = tensors_t(4, 2, 0.0); }, 0},
        {[](edge_args& a) { a.pos2 = a.pos3 = tensors_t(4, 2, 0.0); }, -1},
        {[](edge_args& a) { a.c = columns(2, {0, 2}); }, -2},
        {[](edge_args& a) { a.fe = cw::ET_TRIA3; }, -2},
        {[](edge_args& a) { a.hard = vec({2}), a.limit = -1; }, -4},
        {[](edge_args& a) { a.f = gradation, a.limit = NAN; }, -7},
        {[](edge_args& a) { a.h = vec<double>({1.0}), std::swap(a.m2, a.m3); }, -8},  // short sizes, wrong rows
        // different tensors on coincident nodes are left alone (the sizes are made equal)
        {[](edge_args& a) { a.pos2 = tensors_t(2, 2, 0.0), a.pos3 = tensors_t(3, 2, 0.0), a.h[1] = 1; }, 0},
        // clang-format on
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(&k - cases);
        edge_args a;
        k.set(a);
        const doubles before[3] = {values(a.h), values(a.m2), values(a.m3)};
        EXPECT_EQ(bound(a.f, a.pos2, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.h), k.result);
        EXPECT_EQ(bound(a.f, a.pos2, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.m2), k.result);
        EXPECT_EQ(bound(a.f, a.pos3, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.m3), k.result);
        for (int i = 0; k.result > 0 && i < 2; ++i) {
            const double want = i ? k.h1 : k.h0;
            EXPECT_EQ(want == before[0][i] ? a.h[i] : want, want);  // an unmoved node is untouched
            EXPECT_NEAR(a.h[i], want, 1e-12);
            for (const tensors_t* m : {&a.m2, &a.m3}) EXPECT_NEAR(size_of(*m, i), want, 1e-9);
        }
        if (k.result > 0) continue;
        EXPECT_EQ(values(a.h), before[0]);
        EXPECT_EQ(values(a.m2), before[1]);
        EXPECT_EQ(values(a.m3), before[2]);
    }
}

// Sizes 1, h, 10 at x = 0, 1, 2 with both ends held: the squared excesses
// (h - 1.5)^2 + (9.5 - h)^2 are least at h = 5.5.
TEST(BoundMetricVariations, FreeNodeBetweenIncompatibleHeldNodesTakesTheCompromise) {
    const tensors_t pos = columns<double>(2, {0, 0, 1, 0, 2, 0});
    for (double start : {5.0, 5.5}) {  // from 5.5 the search finds no fraction worth applying
        sizes_t h = vec<double>({1.0, start, 10.0});
        EXPECT_EQ(cw::bound_metric_variations(pos, columns(2, {0, 1, 1, 2}), cw::ET_BAR2, vec({0, 2}), true, 0, 0.5, h),
                  start == 5.0);
        EXPECT_NEAR(h[1], 5.5, start == 5.0 ? 0.01 : 0);
    }
}

// Slope 2 on every edge of the path 1, 3, 1, 3: ties are repaired in queue
// order, (0 -> 1) first (node 0 grows to 2.5, and may only grow), then (1 -> 2)
// (node 1 shrinks to 1.5, and may only shrink), which leaves (0, 1) above the
// limit; node 3 shrinks to 1.5 toward node 2.
TEST(BoundMetricVariations, EqualSlopesAreRepairedInQueueOrderAndDirectionsStick) {
    sizes_t h = vec<double>({1, 3, 1, 3});
    const tensors_t pos = columns<double>(2, {0, 0, 1, 0, 2, 0, 3, 0});
    EXPECT_EQ(cw::bound_metric_variations(pos, columns(2, {0, 1, 1, 2, 2, 3}), cw::ET_BAR2, none, true, 0, 0.5, h), 3);
    EXPECT_EQ(values(h), (doubles{2.5, 1.5, 1, 1.5}));
}

// A jittered n x n lattice cut into triangles, sizes log-uniform in [0.2, 5].
struct grid {
    tensors_t pos;
    tq5::dense2D<unsigned> tris;
    sizes_t h;
    tq5::dense1D<unsigned> idx, nb;  // its node graph
    explicit grid(unsigned n) : pos(2, n * n), tris(3, 2 * (n - 1) * (n - 1)), h(n * n) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<double> jitter(-0.3, 0.3), lg(std::log(0.2), std::log(5.0));
        for (unsigned c = 0; c < n * n; ++c)
            pos(0, c) = c % n + jitter(rng), pos(1, c) = c / n + jitter(rng), h[c] = std::exp(lg(rng));
        for (unsigned j = 0, *t = tris.data(); j + 1 < n; ++j)
            for (unsigned i = 0; i + 1 < n; ++i, t += 6) {
                const unsigned a = i + n * j, c = a + n, both[6] = {a, a + 1, c + 1, a, c + 1, c};
                std::copy(both, both + 6, t);
            }
        EXPECT_EQ(cw::get_node_graph(tris, idx, nb), 0);
    }
    double dist(unsigned i, unsigned k) const { return std::hypot(pos(0, k) - pos(0, i), pos(1, k) - pos(1, i)); }
    // min over j of e_j + s dist(i, j) along the graph's edges, by Dijkstra.
    doubles envelope(doubles e, double s) const {
        using item = std::pair<double, unsigned>;
        std::priority_queue<item, std::vector<item>, std::greater<item>> q;
        for (unsigned i = 0; i < e.size(); ++i) q.push({e[i], i});
        while (!q.empty()) {
            const auto [v, i] = q.top();
            q.pop();
            for (unsigned p = idx[i]; p < idx[i + 1] && v <= e[i]; ++p)
                if (v + s * dist(i, nb[p]) < e[nb[p]]) q.push({e[nb[p]] = v + s * dist(i, nb[p]), nb[p]});
        }
        return e;
    }
};

// Isotropic tensors follow the sizes; one-sided runs reach the envelope, the
// size lowered (raised) to within the smallest fraction of the limit's slope.
TEST(BoundMetricGradations, GridRunsReachTheEnvelopeWithinTheSmallestFraction) {
    const grid g(60);
    const double s_min = 0.3, s_max = s_min / (1 - d::MIN_FRACTION);
    for (rule f : {gradation, variation})
        for (int direction : {-1, 0, 1}) {
            SCOPED_TRACE(testing::Message() << f << " " << direction);
            sizes_t h;
            tensors_t m = isotropic<2>(g.h);
            ASSERT_TRUE(h.copy(g.h));
            const double limit = f == gradation ? std::expm1(s_min) : s_min;
            const int rc = bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, direction, limit, h);
            EXPECT_GT(rc, 1000);
            EXPECT_EQ(bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, direction, limit, m), rc);
            for (unsigned i = 0; i < h.size(); ++i) ASSERT_NEAR(size_of(m, i), h[i], 1e-9 * h[i]);
            if (direction == 0) continue;  // nodes locked by their first change may stay above the limit
            doubles h0 = values(g.h);
            for (double& x : h0) x *= -direction;  // growing is shrinking on -h
            const doubles lo = g.envelope(h0, s_min), hi = g.envelope(h0, s_max);
            for (unsigned i = 0; i < h.size(); ++i) {
                for (unsigned p = g.idx[i]; p < g.idx[i + 1]; ++p)
                    ASSERT_LE(std::fabs(h[i] - h[g.nb[p]]), s_max * g.dist(i, g.nb[p]) * (1 + 1e-9));
                const double a = std::fmin(lo[i], hi[i]), b = std::fmax(lo[i], hi[i]);
                ASSERT_GE(-direction * h[i], a - 1e-9 * std::fabs(a)) << i;
                ASSERT_LE(-direction * h[i], b + 1e-9 * std::fabs(b)) << i;
                ASSERT_GE(direction * (h[i] - g.h[i]), 0) << i;  // one-sided
            }
        }
}

// Growing tensors lose size in no direction: every generalized eigenvalue of
// the result against the start is at most 1 (at least 1 when shrinking).
TEST(BoundMetricGradations, TensorsInABlockAreReproducibleAndOneSided) {
    tensors_t pos, m0(6, 7 * 7 * 7);
    tq5::dense2D<unsigned> tets;
    ASSERT_TRUE(tq5::fixtures::block_nodes(6, 6, 6, pos));
    ASSERT_TRUE(tq5::fixtures::block_tetra(6, 6, 6, tets));
    std::mt19937 rng(5);
    for (std::size_t c = 0; c < m0.cols(); ++c) random_metric<3>(rng, 0.2, 5, &m0(0, c));
    for (int direction : {-1, 1}) {
        tensors_t m, again;
        ASSERT_TRUE(m.copy(m0));
        ASSERT_TRUE(again.copy(m0));
        const int rc = cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, m);
        EXPECT_GT(rc, 0);
        EXPECT_EQ(cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, again), rc);
        EXPECT_EQ(values(m), values(again));
        for (std::size_t c = 0; c < m.cols(); ++c) {
            double w[3], q[9];
            ASSERT_TRUE(d::eigen_pairs_general<3>(&m0(0, c), &m(0, c), w, q));
            for (double x : w) ASSERT_LE(direction * (x - 1), 1e-9);
        }
    }
}

// Stamps renumbered every few changes (the ceiling is lowered only here) give
// the same run; nodes stamped NO_INDEX are held.
TEST(GradationControl, RenumberedStampsChangeNothingAndHeldNodesStay) {
    const grid g(25);
    const std::size_t n = g.h.size();
    sizes_t result[2];
    int count[2];
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(result[run].copy(g.h));
        std::vector<unsigned> stamp(n, 0);
        std::vector<unsigned char> bytes(n, 0);
        for (std::size_t i = 0; i < n; i += 11) stamp[i] = NO;
        d::control_loop<2, d::size_values<2>, d::shock_measure> loop(g.pos.data(), g.pos.ld(),
                                                                     {g.idx.data(), g.nb.data(), n}, stamp.data(),
                                                                     bytes.data(), {result[run].data()}, 0.2);
        if (run == 1) loop.stamp_ceiling = 5;
        count[run] = loop.run();
    }
    EXPECT_GT(count[0], 100);
    EXPECT_EQ(count[1], count[0]);
    EXPECT_EQ(values(result[1]), values(result[0]));
    for (std::size_t i = 0; i < n; i += 11) ASSERT_EQ(result[0][i], g.h[i]);
}

// Scratch, graph and each growth of the queue fail in turn; a later full run gives the reference.
TEST(BoundMetricGradations, StorageFailuresReturnAllocError) {
    const grid g(30);
    sizes_t ref, h;
    ASSERT_TRUE(ref.copy(g.h));
    const int expected = cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, ref);
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing(
                  [&] { return cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, h); },
                  [] {}, &failures, [&] { ASSERT_TRUE(h.copy(g.h)); }),
              expected);
    EXPECT_EQ(values(h), values(ref));
    EXPECT_GE(failures, 10);
}

// Gradation and variation control: one-edge cases by hand (directions, held
// nodes, codes), the queue's order, and properties on a jittered triangulated
// grid against a Dijkstra envelope computed here.
#include <cfloat>
#include <cmath>
#include <functional>
#include <queue>
#include <random>
#include <vector>

#include "block_mesh.hpp"
#include "metric_testing.hpp"
#include "metrics/detail/gradation_control.hpp"

namespace {

namespace d = tq5::cellworks::detail;
using cwtest::columns;
using cwtest::vec;
using sizes_t = tq5::dense1D<double>;
using tensors_t = tq5::dense2D<double>;

enum form { gradation, variation };

template <class Field>
int bound(form f, const tensors_t& pos, const tq5::dense2D<unsigned>& c, cw::element_type fe,
          const tq5::dense1D<unsigned>& hard, bool hold, int direction, double limit, Field& field) {
    return f == gradation ? cw::bound_metric_gradations(pos, c, fe, hard, hold, direction, limit, field)
                          : cw::bound_metric_variations(pos, c, fe, hard, hold, direction, limit, field);
}

// Isotropic tensors of dimension N from sizes, and the sizes back.
template <int N> tensors_t isotropic(const sizes_t& h) {
    tensors_t m(d::packed<N>, h.size());
    for (std::size_t c = 0; c < h.size(); ++c) d::isotropic_metric<N>(h[c], &m(0, c));
    return m;
}
// The size of an isotropic tensor, NaN if it is not isotropic.
double size_of(const tensors_t& m, std::size_t c) {
    for (std::size_t r = 1; r < m.rows(); ++r)
        if (std::fabs(m(r, c) - (r == 2 || r == 5 ? m(0, c) : 0)) > 1e-12 * m(0, c)) return NAN;
    return 1 / std::sqrt(m(0, c));
}
template <class Field> Field copy_of(const Field& x) {
    Field out;
    out.copy(x);
    return out;
}

const tq5::dense1D<unsigned> none;
const double shock_half = std::expm1(0.5);  // the shock of a slope of 0.5

// Sizes 1 and 3 on one edge of length 1, as sizes and as 2D and 3D tensors;
// each case changes some of these arguments.
struct edge_args {
    form f = variation;
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
const tq5::dense1D<unsigned> node_0 = vec({0u}), both_nodes = vec({0u, 1u}), node_1_and_no = vec({1u, cw::NO_INDEX});
const tq5::dense2D<unsigned> bar_to_2 = columns(2, {0, 2});
const tensors_t coincident2 = columns<double>(2, {0, 0, 0, 0}), coincident3 = columns<double>(3, {0, 0, 0, 0, 0, 0});

TEST(BoundMetricGradations, OneEdgeByHandDirectionsHeldNodesAndCodesInOrder) {
    struct {
        std::function<void(edge_args&)> set;
        int result;
        double h0 = 1, h1 = 3;
    } const cases[] = {
        {[](edge_args&) {}, 1, 2.5, 3},  // (0, 1) surfaces first: t = 0.75 grows node 0
        {[](edge_args& a) { a.direction = 1; }, 1, 2.5, 3},
        {[](edge_args& a) { a.direction = -1; }, 1, 1, 1.5},   // (0, 1) refused by sign, (1, 0) shrinks node 1
        {[](edge_args& a) { a.direction = 255; }, 1, 1, 1.5},  // only the low byte counts
        {[](edge_args& a) { a.direction = 256; }, 1, 2.5, 3},
        {[](edge_args& a) { a.direction = 2; }, 0},  // a byte that matches no sign locks every node
        {[](edge_args& a) { a.direction = -2; }, 0},
        {[](edge_args& a) { a.limit = 0; }, 1, 3, 3},  // limit 0: t = 1, the neighbour's size
        {[](edge_args& a) { a.limit = 2; }, 0},        // on the limit
        {[](edge_args& a) { a.f = gradation, a.limit = shock_half; }, 1, 2.5, 3},
        {[](edge_args& a) { a.f = gradation, a.limit = shock_half, a.direction = -1; }, 1, 1, 1.5},
        {[](edge_args& a) { a.f = gradation, a.limit = std::expm1(2); }, 0},
        {[](edge_args& a) { a.hard = both_nodes; }, 0},      // all held: nothing queued
        {[](edge_args& a) { a.hold = false; }, 0},           // none free
        {[](edge_args& a) { a.hard = node_0; }, 1, 1, 1.5},  // node 1 comes down instead
        {[](edge_args& a) { a.hard = node_0, a.hold = false; }, 1, 2.5, 3},
        {[](edge_args& a) { a.hard = node_1_and_no; }, 1, 2.5, 3},  // NO_INDEX is skipped
        // Codes, each case showing it comes before a later one; the field is untouched.
        {[](edge_args& a) { a.limit = DBL_MAX, a.pos2 = a.pos3 = tensors_t(4, 2, 0.0); }, 0},
        {[](edge_args& a) { a.pos2 = a.pos3 = tensors_t(4, 2, 0.0); }, -1},
        {[](edge_args& a) { a.c = bar_to_2; }, -2},
        {[](edge_args& a) { a.fe = cw::ET_TRIA3; }, -2},
        {[](edge_args& a) { a.hard = vec({2u}), a.limit = -1; }, -4},
        {[](edge_args& a) { a.limit = -1; }, -7},
        {[](edge_args& a) { a.f = gradation, a.limit = NAN; }, -7},
        {[](edge_args& a) { a.h = vec<double>({1.0}), std::swap(a.m2, a.m3); }, -8},  // short sizes, wrong rows
        // different tensors on coincident nodes are left alone (the sizes are made equal)
        {[](edge_args& a) { a.pos2 = coincident2, a.pos3 = coincident3, a.h[1] = 1; }, 0},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(&k - cases);
        edge_args a;
        k.set(a);
        const std::vector<double> before[3] = {cwtest::values(a.h), cwtest::values(a.m2), cwtest::values(a.m3)};
        EXPECT_EQ(bound(a.f, a.pos2, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.h), k.result);
        EXPECT_EQ(bound(a.f, a.pos2, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.m2), k.result);
        EXPECT_EQ(bound(a.f, a.pos3, a.c, a.fe, a.hard, a.hold, a.direction, a.limit, a.m3), k.result);
        if (k.result <= 0) {
            EXPECT_TRUE(cwtest::values(a.h) == before[0] && cwtest::values(a.m2) == before[1] &&
                        cwtest::values(a.m3) == before[2]);
            continue;
        }
        const double want[2] = {k.h0, k.h1};
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(want[i] != before[0][i] || a.h[i] == want[i]);  // an unmoved node is untouched
            EXPECT_NEAR(a.h[i], want[i], 1e-12);
            for (const tensors_t* m : {&a.m2, &a.m3}) EXPECT_NEAR(size_of(*m, i), want[i], 1e-9);
        }
    }
}

TEST(BoundMetricVariations, FreeNodeBetweenIncompatibleHeldNodesTakesTheCompromise) {
    // Sizes 1, h, 10 at x = 0, 1, 2 with both ends held: the squared excesses
    // (h - 1.5)^2 + (9.5 - h)^2 are least at h = 5.5.
    const tensors_t pos = columns<double>(2, {0, 0, 1, 0, 2, 0});
    const tq5::dense2D<unsigned> bars = columns(2, {0, 1, 1, 2});
    for (double start : {5.0, 5.5}) {  // from 5.5 the search finds no fraction worth applying
        sizes_t h = vec<double>({1.0, start, 10.0});
        EXPECT_EQ(cw::bound_metric_variations(pos, bars, cw::ET_BAR2, vec({0u, 2u}), true, 0, 0.5, h), start == 5.0);
        EXPECT_NEAR(h[1], 5.5, start == 5.0 ? 0.01 : 0);
    }
}

TEST(GradationQueue, PopsTheGreatestKeyWithTheStatedTieOrder) {
    d::entry_heap q;
    for (unsigned t = 0; t < 4; ++t) ASSERT_TRUE(q.push({1.0f, 0, 0, t}));
    // The hole walks right unless the left key is greater: a, c, b, d.
    for (unsigned t : {0u, 2u, 1u, 3u}) EXPECT_EQ(q.pop().target, t);
    EXPECT_EQ(d::queue_key(DBL_MAX), FLT_MAX);
    std::mt19937 rng(3);
    for (unsigned n = 0; n < 3000; ++n) ASSERT_TRUE(q.push({float(rng() % 50), 0, 0, n}));
    EXPECT_EQ(q.peak(), 3000u);
    for (float last = FLT_MAX; !q.empty();) {
        const float k = q.pop().key;
        ASSERT_LE(k, last);
        last = k;
    }
}

// A jittered n x n lattice cut into triangles, sizes log-uniform in [0.2, 5].
struct grid {
    tensors_t pos;
    tq5::dense2D<unsigned> tris;
    sizes_t h;
    explicit grid(unsigned n) : pos(2, n * n), tris(3, 2 * (n - 1) * (n - 1)), h(n * n) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<double> jitter(-0.3, 0.3), lg(std::log(0.2), std::log(5.0));
        for (unsigned c = 0; c < n * n; ++c) {
            pos(0, c) = c % n + jitter(rng);
            pos(1, c) = c / n + jitter(rng);
            h[c] = std::exp(lg(rng));
        }
        unsigned* t = tris.data();
        for (unsigned j = 0; j + 1 < n; ++j)
            for (unsigned i = 0; i + 1 < n; ++i, t += 6) {
                const unsigned a = i + n * j, b = a + 1, c = a + n, e = c + 1, both[6] = {a, b, e, a, e, c};
                std::copy(both, both + 6, t);
            }
    }
    double dist(unsigned i, unsigned k) const { return std::hypot(pos(0, k) - pos(0, i), pos(1, k) - pos(1, i)); }
    // min over j of h_j + s dist(i, j) along the graph's edges, by Dijkstra.
    std::vector<double> envelope(std::vector<double> e, double s) const {
        tq5::dense1D<unsigned> idx, nb;
        cw::get_node_graph(tris, idx, nb);
        using item = std::pair<double, unsigned>;
        std::priority_queue<item, std::vector<item>, std::greater<item>> q;
        for (unsigned i = 0; i < e.size(); ++i) q.push({e[i], i});
        while (!q.empty()) {
            const item top = q.top();
            q.pop();
            if (top.first > e[top.second]) continue;
            for (unsigned p = idx[top.second]; p < idx[top.second + 1]; ++p) {
                const double v = top.first + s * dist(top.second, nb[p]);
                if (v < e[nb[p]]) q.push({e[nb[p]] = v, nb[p]});
            }
        }
        return e;
    }
};

// Isotropic tensors follow the sizes; one-sided runs reach the envelope.
TEST(BoundMetricGradations, GridRunsReachTheEnvelopeWithinTheSmallestFraction) {
    const grid g(60);
    const double s_min = 0.3, s_max = s_min / (1 - d::MIN_FRACTION);
    for (form f : {gradation, variation})
        for (int direction : {-1, 0, 1}) {
            SCOPED_TRACE(testing::Message() << f << " " << direction);
            sizes_t h = copy_of(g.h);
            tensors_t m = isotropic<2>(g.h);
            const double limit = f == gradation ? std::expm1(s_min) : s_min;
            const int rc = bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, direction, limit, h);
            EXPECT_GT(rc, 1000);
            EXPECT_EQ(bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, direction, limit, m), rc);
            for (unsigned i = 0; i < h.size(); ++i) ASSERT_NEAR(size_of(m, i), h[i], 1e-9 * h[i]);
            if (direction == 0) continue;  // nodes locked by their first change may stay above the limit
            for (unsigned c = 0; c < g.tris.cols(); ++c)
                for (unsigned r = 0; r < 3; ++r) {
                    const unsigned i = g.tris(r, c), k = g.tris((r + 1) % 3, c);
                    ASSERT_LE(std::fabs(h[i] - h[k]), s_max * g.dist(i, k) * (1 + 1e-9));
                }
            // Shrinking meets min_j(h_j + s d); growing is the same on -h.
            std::vector<double> h0 = cwtest::values(g.h);
            for (double& x : h0) x *= -direction;
            const std::vector<double> lo = g.envelope(h0, s_min), hi = g.envelope(h0, s_max);
            for (unsigned i = 0; i < h.size(); ++i) {
                const double x = -direction * h[i], a = std::fmin(lo[i], hi[i]), b = std::fmax(lo[i], hi[i]);
                ASSERT_TRUE(x >= a - 1e-9 * std::fabs(a) && x <= b + 1e-9 * std::fabs(b)) << i;
                ASSERT_GE(direction * (h[i] - g.h[i]), 0);
            }
        }
}

TEST(BoundMetricGradations, TensorsInABlockAreReproducibleAndOneSided) {
    tensors_t pos, m0(6, 7 * 7 * 7);
    tq5::dense2D<unsigned> tets;
    tq5::fixtures::block_nodes(6, 6, 6, pos);
    tq5::fixtures::block_tetra(6, 6, 6, tets);
    std::mt19937 rng(5);
    for (std::size_t c = 0; c < m0.cols(); ++c) metric_testing::random_metric<3>(rng, 0.2, 5, &m0(0, c));
    for (int direction : {-1, 1}) {
        tensors_t m = copy_of(m0), again = copy_of(m0);
        const int rc = cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, m);
        EXPECT_GT(rc, 0);
        EXPECT_EQ(cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, again), rc);
        EXPECT_EQ(cwtest::values(m), cwtest::values(again));
        for (std::size_t c = 0; c < m.cols(); ++c) {
            double w[3], q[9];
            ASSERT_TRUE(d::eigen_pairs_general<3>(&m0(0, c), &m(0, c), w, q));  // M x = w M0 x
            for (double x : w) ASSERT_LE(direction * (x - 1), 1e-9);            // growing lowers every eigenvalue
        }
    }
}

TEST(GradationControl, RenumberedStampsChangeNothingAndHeldNodesStay) {
    const grid g(25);
    tq5::dense1D<unsigned> idx, nb;
    ASSERT_EQ(cw::get_node_graph(g.tris, idx, nb), 0);
    const std::size_t n = g.h.size();
    sizes_t result[2];
    int count[2];
    for (int run = 0; run < 2; ++run) {
        result[run] = copy_of(g.h);
        std::vector<unsigned> stamp(n, 0);
        std::vector<unsigned char> bytes(n, 0);
        for (std::size_t i = 0; i < n; i += 11) stamp[i] = cw::NO_INDEX;
        d::control_loop<2, d::size_values<2>, d::shock_measure> loop(g.pos.data(), g.pos.ld(),
                                                                     {idx.data(), nb.data(), n}, stamp.data(),
                                                                     bytes.data(), {result[run].data()}, 0.2);
        if (run == 1) loop.stamp_ceiling = 5;
        count[run] = loop.run();
    }
    EXPECT_GT(count[0], 100);
    EXPECT_EQ(count[1], count[0]);
    EXPECT_EQ(cwtest::values(result[1]), cwtest::values(result[0]));
    for (std::size_t i = 0; i < n; i += 11) ASSERT_EQ(result[0][i], g.h[i]);  // held
}

TEST(BoundMetricGradations, StorageFailuresReturnAllocError) {
    const grid g(30);
    sizes_t ref = copy_of(g.h), h;
    const int expected = cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, ref);
    int failures = 0;  // scratch, graph and each growth of the queue fail in turn
    const int rc = cwtest::with_each_allocation_failing(
        [&] { return cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, h); }, [] {},
        &failures, [&] { h = copy_of(g.h); });
    EXPECT_EQ(rc, expected);
    EXPECT_EQ(cwtest::values(h), cwtest::values(ref));
    EXPECT_GE(failures, 10);
}

}  // namespace

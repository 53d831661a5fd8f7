// Gradation and variation control: one-edge cases by hand, held nodes and
// direction locks, codes, the queue's order, and properties on a jittered
// triangulated grid against a Dijkstra envelope computed here.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <queue>
#include <random>
#include <vector>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "metric_testing.hpp"
#include "metrics/detail/gradation_control.hpp"

namespace {

namespace cw = tq5::cellworks;
namespace d = tq5::cellworks::detail;
using cwtest::vec;

// A matrix from its columns.
template <class T>
tq5::dense2D<T> columns(std::size_t rows, std::initializer_list<std::initializer_list<T>> cols) {
    tq5::dense2D<T> m(rows, cols.size());
    std::size_t j = 0;
    for (const auto& c : cols) std::copy(c.begin(), c.end(), &m(0, j++));
    return m;
}
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
template <int N>
tensors_t isotropic(const sizes_t& h) {
    tensors_t m(d::packed<N>, h.size());
    for (std::size_t c = 0; c < h.size(); ++c) d::isotropic_metric<N>(h[c], &m(0, c));
    return m;
}
double size_of(const tensors_t& m, std::size_t c) { return 1 / std::sqrt(m(0, c)); }

const tq5::dense1D<unsigned> none;
const tensors_t edge_pos2 = columns<double>(2, {{0, 0}, {1, 0}}), edge_pos3 = columns<double>(3, {{0, 0, 0}, {1, 0, 0}});
const tq5::dense2D<unsigned> edge_bar = columns<unsigned>(2, {{0, 1}});

// Sizes 1 and 3 on one edge of length 1, as sizes and as 2D and 3D tensors.
struct one_edge_case {
    form f;
    double limit;
    int direction;
    double h0, h1;
    int result;
};
TEST(BoundMetricGradations, OneEdgeMovesOneEndAsTheDirectionAllows) {
    const double g = std::exp(0.5) - 1;  // the shock of a slope of 0.5
    const one_edge_case cases[] = {
        {variation, 0.5, 0, 2.5, 3, 1},    // (0, 1) surfaces first: t = 0.75 grows node 0
        {variation, 0.5, 1, 2.5, 3, 1},    //
        {variation, 0.5, -1, 1, 1.5, 1},   // (0, 1) refused by sign, (1, 0) shrinks node 1
        {variation, 0.5, 255, 1, 1.5, 1},  // only the low byte counts
        {variation, 0.5, 256, 2.5, 3, 1},  //
        {variation, 0.5, 2, 1, 3, 0},      // a byte that matches no sign locks every node
        {variation, 0.5, -2, 1, 3, 0},     //
        {variation, 0, 0, 3, 3, 1},        // limit 0: t = 1, the neighbour's size
        {variation, 2, 0, 1, 3, 0},        // on the limit
        {gradation, g, 0, 2.5, 3, 1},      //
        {gradation, g, -1, 1, 1.5, 1},     //
        {gradation, std::exp(2) - 1, 0, 1, 3, 0},
    };
    for (const one_edge_case& k : cases) {
        SCOPED_TRACE(testing::Message() << k.f << " " << k.limit << " " << k.direction);
        sizes_t h = vec<double>({1.0, 3.0});
        tensors_t m2 = isotropic<2>(h), m3 = isotropic<3>(h);
        EXPECT_EQ(bound(k.f, edge_pos2, edge_bar, cw::ET_BAR2, none, true, k.direction, k.limit, h), k.result);
        EXPECT_EQ(bound(k.f, edge_pos2, edge_bar, cw::ET_BAR2, none, true, k.direction, k.limit, m2), k.result);
        EXPECT_EQ(bound(k.f, edge_pos3, edge_bar, cw::ET_BAR2, none, true, k.direction, k.limit, m3), k.result);
        EXPECT_NEAR(h[0], k.h0, 1e-12);
        EXPECT_NEAR(h[1], k.h1, 1e-12);
        for (const tensors_t* m : {&m2, &m3}) {
            EXPECT_NEAR(size_of(*m, 0), k.h0, 1e-9);
            EXPECT_NEAR(size_of(*m, 1), k.h1, 1e-9);
            EXPECT_NEAR((*m)(1, 0), 0, 1e-12);
        }
    }
}

TEST(BoundMetricVariations, HeldNodesNeverChange) {
    struct held_case {
        std::vector<unsigned> hard;
        bool hold;
        int result;
        double h0, h1;
    };
    const held_case cases[] = {
        {{0, 1}, true, 0, 1, 3},         // all held: nothing queued
        {{}, false, 0, 1, 3},            // none free
        {{0}, true, 1, 1, 1.5},          // node 1 comes down instead
        {{0}, false, 1, 2.5, 3},         //
        {{1, cw::NO_INDEX}, true, 1, 2.5, 3},  // NO_INDEX is skipped
    };
    for (const held_case& k : cases) {
        sizes_t h = vec<double>({1.0, 3.0});
        tq5::dense1D<unsigned> hard;
        for (unsigned x : k.hard) hard.push_back(x);
        EXPECT_EQ(cw::bound_metric_variations(edge_pos2, edge_bar, cw::ET_BAR2, hard, k.hold, 0, 0.5, h), k.result);
        EXPECT_EQ(h[0], k.h0);
        EXPECT_EQ(h[1], k.h1);
    }
}

TEST(BoundMetricVariations, FreeNodeBetweenIncompatibleHeldNodesTakesTheCompromise) {
    // Sizes 1, h, 10 at x = 0, 1, 2 with both ends held: the squared excesses
    // (h - 1.5)^2 + (9.5 - h)^2 are least at h = 5.5.
    const tensors_t pos = columns<double>(2, {{0, 0}, {1, 0}, {2, 0}});
    const tq5::dense2D<unsigned> bars = columns<unsigned>(2, {{0, 1}, {1, 2}});
    const tq5::dense1D<unsigned> ends = vec({0u, 2u});
    sizes_t h = vec<double>({1.0, 5.0, 10.0});
    EXPECT_EQ(cw::bound_metric_variations(pos, bars, cw::ET_BAR2, ends, true, 0, 0.5, h), 1);
    EXPECT_NEAR(h[1], 5.5, 0.01);
    h = vec<double>({1.0, 5.5, 10.0});  // already there: the search finds no fraction worth applying
    EXPECT_EQ(cw::bound_metric_variations(pos, bars, cw::ET_BAR2, ends, true, 0, 0.5, h), 0);
    EXPECT_EQ(h[1], 5.5);
}

TEST(BoundMetricGradations, CoincidentNodesWithDifferentTensorsAreLeftAlone) {
    const tensors_t pos = columns<double>(2, {{0, 0}, {0, 0}});
    tensors_t m = isotropic<2>(vec<double>({1.0, 2.0})), before;
    before.copy(m);
    EXPECT_EQ(cw::bound_metric_gradations(pos, edge_bar, cw::ET_BAR2, none, true, 0, 0.1, m), 0);
    for (int r = 0; r < 3; ++r) EXPECT_EQ(m(r, 1), before(r, 1));
}

TEST(BoundMetricGradations, CodesInOrderFieldUntouched) {
    struct args {
        tensors_t pos = edge_pos2;
        tq5::dense2D<unsigned> c = edge_bar;
        cw::element_type fe = cw::ET_BAR2;
        tq5::dense1D<unsigned> hard;
        double limit = 0.1;
        sizes_t h = vec<double>({1.0, 3.0});
        tensors_t m = isotropic<2>(vec<double>({1.0, 3.0}));
        bool tensors = false;
    };
    const std::pair<std::function<void(args&)>, int> cases[] = {
        {[](args& a) { a.limit = DBL_MAX, a.pos = tensors_t(4, 2, 0.0); }, 0},
        {[](args& a) { a.pos = tensors_t(4, 2, 0.0); }, -1},
        {[](args& a) { a.c = columns<unsigned>(2, {{0, 2}}); }, -2},
        {[](args& a) { a.fe = cw::ET_TRIA3; }, -2},
        {[](args& a) { a.hard = vec({2u}), a.limit = -1; }, -4},
        {[](args& a) { a.limit = -1; }, -7},
        {[](args& a) { a.limit = NAN; }, -7},
        {[](args& a) { a.h = vec<double>({1.0}); }, -8},
        {[](args& a) { a.m = isotropic<3>(vec<double>({1.0, 3.0})), a.tensors = true; }, -8},
    };
    for (const auto& k : cases) {
        args a;
        k.first(a);
        const double h0 = a.h[0], m0 = a.m(0, 0);
        const int rc = a.tensors ? cw::bound_metric_gradations(a.pos, a.c, a.fe, a.hard, true, 0, a.limit, a.m)
                                 : cw::bound_metric_gradations(a.pos, a.c, a.fe, a.hard, true, 0, a.limit, a.h);
        EXPECT_EQ(rc, k.second);
        EXPECT_TRUE(a.h[0] == h0 && a.m(0, 0) == m0);
    }
}

TEST(GradationQueue, PopsTheGreatestKeyWithTheStatedTieOrder) {
    d::entry_heap q;
    for (unsigned t = 0; t < 4; ++t) ASSERT_TRUE(q.push({1.0f, 0, 0, t}));
    // The hole walks right unless the left key is greater: a, c, b, d.
    for (unsigned t : {0u, 2u, 1u, 3u}) EXPECT_EQ(q.pop().target, t);
    EXPECT_EQ(d::queue_key(DBL_MAX), FLT_MAX);
    EXPECT_EQ(d::queue_key(INFINITY), FLT_MAX);
    EXPECT_EQ(d::queue_key(1.5), 1.5f);
    std::mt19937 rng(3);
    for (unsigned n = 0; n < 3000; ++n) ASSERT_TRUE(q.push({float(rng() % 50), 0, 0, n}));
    EXPECT_EQ(q.peak(), 3000u);
    float last = FLT_MAX;
    while (!q.empty()) {
        const float k = q.pop().key;
        EXPECT_LE(k, last);
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
                const unsigned a = i + n * j, b = a + 1, c = a + n, e = c + 1;
                const unsigned both[6] = {a, b, e, a, e, c};
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

TEST(BoundMetricGradations, OneSidedRunsReachTheEnvelopeWithinTheSmallestFraction) {
    const grid g(60);
    const double s_min = 0.3, s_max = s_min / (1 - d::MIN_FRACTION);
    for (form f : {gradation, variation})
        for (int direction : {-1, 1}) {
            SCOPED_TRACE(testing::Message() << f << " " << direction);
            sizes_t h;
            h.copy(g.h);
            const double limit = f == gradation ? std::expm1(s_min) : s_min;
            EXPECT_GT(bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, direction, limit, h), 1000);
            // Shrinking meets min_j(h_j + s d); growing is the same on -h.
            std::vector<double> h0(g.h.begin(), g.h.end());
            for (double& x : h0) x *= -direction;
            const std::vector<double> lo = g.envelope(h0, s_min), hi = g.envelope(h0, s_max);
            for (unsigned i = 0; i < h.size(); ++i) {
                const double x = -direction * h[i], a = std::fmin(lo[i], hi[i]), b = std::fmax(lo[i], hi[i]);
                ASSERT_TRUE(x >= a - 1e-9 * std::fabs(a) && x <= b + 1e-9 * std::fabs(b)) << i;
                ASSERT_GE(direction * (h[i] - g.h[i]), 0);
            }
            for (unsigned c = 0; c < g.tris.cols(); ++c)
                for (unsigned r = 0; r < 3; ++r) {
                    const unsigned i = g.tris(r, c), k = g.tris((r + 1) % 3, c);
                    ASSERT_LE(std::fabs(h[i] - h[k]), s_max * g.dist(i, k) * (1 + 1e-9));
                }
        }
}

TEST(BoundMetricGradations, IsotropicTensorsFollowTheSizes) {
    const grid g(40);
    for (form f : {gradation, variation}) {
        sizes_t h;
        h.copy(g.h);
        tensors_t m = isotropic<2>(g.h);
        const int rc = bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.25, h);
        EXPECT_EQ(bound(f, g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.25, m), rc);
        for (unsigned i = 0; i < h.size(); ++i) ASSERT_NEAR(size_of(m, i), h[i], 1e-9 * h[i]);
    }
}

TEST(BoundMetricGradations, TensorsInABlockAreReproducibleAndOneSided) {
    tensors_t pos, m0(6, 7 * 7 * 7);
    tq5::dense2D<unsigned> tets;
    tq5::examples::block_nodes(6, 6, 6, pos);
    tq5::examples::block_tetra(6, 6, 6, tets);
    std::mt19937 rng(5);
    for (std::size_t c = 0; c < m0.cols(); ++c) metric_testing::random_metric<3>(rng, 0.2, 5, &m0(0, c));
    for (int direction : {-1, 1}) {
        tensors_t m, again;
        m.copy(m0);
        again.copy(m0);
        const int rc = cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, m);
        EXPECT_GT(rc, 0);
        EXPECT_EQ(cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, none, true, direction, 0.3, again), rc);
        for (std::size_t c = 0; c < m.cols(); ++c) {
            double w[3], q[9];
            ASSERT_TRUE(d::eigen_pairs_general<3>(&m0(0, c), &m(0, c), w, q));  // M x = w M0 x
            for (double x : w) ASSERT_LE(direction * (x - 1), 1e-9);  // growing lowers every eigenvalue
            for (int r = 0; r < 6; ++r) ASSERT_EQ(m(r, c), again(r, c));
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
        result[run].copy(g.h);
        std::vector<unsigned> stamp(n, 0);
        std::vector<unsigned char> bytes(n, 0);
        for (std::size_t i = 0; i < n; i += 11) stamp[i] = cw::NO_INDEX;
        d::control_loop<2, d::size_values<2>, d::shock_measure> loop(
            g.pos.data(), g.pos.ld(), {idx.data(), nb.data(), n}, stamp.data(), bytes.data(), {result[run].data()}, 0.2);
        if (run == 1) loop.stamp_ceiling = 5;
        count[run] = loop.run();
    }
    EXPECT_GT(count[0], 100);
    EXPECT_EQ(count[1], count[0]);
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(result[1][i], result[0][i]);
        ASSERT_TRUE(i % 11 != 0 || result[0][i] == g.h[i]);  // held
    }
}

TEST(BoundMetricGradations, StorageFailuresReturnAllocError) {
    const grid g(30);
    sizes_t ref;
    ref.copy(g.h);
    const int expected = cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, ref);
    long n = 0;
    for (;; ++n) {  // scratch, graph and each growth of the queue fail in turn
        sizes_t h;
        h.copy(g.h);
        tq5::testing::fail_allocations_after(n);
        const int rc = cw::bound_metric_gradations(g.pos, g.tris, cw::ET_TRIA3, none, true, 0, 0.1, h);
        tq5::testing::fail_allocations_after(-1);
        if (rc != cw::ERR_ALLOC) {
            EXPECT_EQ(rc, expected);
            break;
        }
    }
    EXPECT_GE(n, 10);
}

}  // namespace

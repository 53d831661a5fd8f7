// Gradation and variation control on the block of about a million tetrahedra
// (56^3 = 175,616 nodes, unit lattice steps), shrinking only, with a slope of
// 0.3 allowed (variation limit 0.3, gradation limit exp(0.3) - 1), on random
// fields from a fixed seed:
// - noisy: sizes, or the three sizes of each random tensor, log-uniform over
//   [0.5, 4]; about 80% of the directed edges start above the limit;
// - moderate: the same over [1, 2]; about 40% start above the limit.
// Baseline in the same run, for the size fields: get_node_graph and a plain
// Dijkstra over that graph computing the shrink-only envelope
// min_j(h_j + 0.3 dist(i, j)), which the size-field runs converge to.
#include <benchmark/benchmark.h>

#include <cmath>
#include <functional>
#include <queue>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "metrics/detail/gradation_control.hpp"
#include "peak_memory.hpp"
#include "random_metrics.hpp"

namespace {

namespace cw = tq5::cellworks;
namespace d = tq5::cellworks::detail;
using sizes_t = tq5::dense1D<double>;
using tensors_t = tq5::dense2D<double>;

constexpr unsigned CELLS = 55;  // 6 * 55^3 = 998,250 tetrahedra
constexpr double SLOPE = 0.3;

struct field_range {
    const char* name;
    double hlo, hhi;
};
constexpr field_range RANGES[] = {{"noisy", 0.5, 4}, {"moderate", 1, 2}};

struct block {
    tensors_t pos;
    tq5::dense2D<unsigned> tets;
    tq5::dense1D<unsigned> graph_indices, graph_nodes;
    sizes_t sizes[2];
    tensors_t tensors[2];
    block() {
        tq5::fixtures::block_nodes(CELLS, CELLS, CELLS, pos);
        tq5::fixtures::block_tetra(CELLS, CELLS, CELLS, tets);
        cw::get_node_graph(tets, graph_indices, graph_nodes);
        const std::size_t n = pos.cols();
        for (int r = 0; r < 2; ++r) {
            std::mt19937 rng(1);
            std::uniform_real_distribution<double> lg(std::log(RANGES[r].hlo), std::log(RANGES[r].hhi));
            sizes[r].resize(n);
            for (std::size_t i = 0; i < n; ++i) sizes[r][i] = std::exp(lg(rng));
            tensors[r].resize(6, n);
            for (std::size_t i = 0; i < n; ++i)
                tq5::fixtures::random_metric<3>(rng, RANGES[r].hlo, RANGES[r].hhi, &tensors[r](0, i));
        }
    }
    static const block& get() {
        static const block b;
        return b;
    }
    const sizes_t& field(int r, sizes_t*) const { return sizes[r]; }
    const tensors_t& field(int r, tensors_t*) const { return tensors[r]; }
};

// The shrink-only envelope of h with slope s, in place, by Dijkstra from
// every node at once.
void envelope(const tensors_t& pos, const tq5::dense1D<unsigned>& idx, const tq5::dense1D<unsigned>& nb, double s,
              sizes_t& h, std::vector<std::pair<double, unsigned>>& heap) {
    using item = std::pair<double, unsigned>;
    heap.clear();
    std::priority_queue<item, std::vector<item>, std::greater<item>> q(std::greater<item>(), std::move(heap));
    const double* p = pos.data();
    const std::size_t ld = pos.ld();
    for (unsigned i = 0; i < h.size(); ++i) q.push({h[i], i});
    while (!q.empty()) {
        const item top = q.top();
        q.pop();
        const unsigned i = top.second;
        if (top.first > h[i]) continue;
        const double* pi = p + i * ld;
        for (unsigned e = idx[i]; e < idx[i + 1]; ++e) {
            const unsigned k = nb[e];
            const double* pk = p + k * ld;
            const double dx = pk[0] - pi[0], dy = pk[1] - pi[1], dz = pk[2] - pi[2];
            const double v = top.first + s * std::sqrt(dx * dx + dy * dy + dz * dz);
            if (v < h[k]) q.push({h[k] = v, k});
        }
    }
}

void node_counters(benchmark::State& state, const block& b) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(b.pos.cols()));
    state.counters["nodes"] = double(b.pos.cols());
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}

void BM_envelope(benchmark::State& state, int range) {
    const block& b = block::get();
    tq5::dense1D<unsigned> idx, nb;
    sizes_t h;
    std::vector<std::pair<double, unsigned>> heap;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        state.PauseTiming();
        h.copy(b.sizes[range]);
        state.ResumeTiming();
        if (cw::get_node_graph(b.tets, idx, nb) != 0) state.SkipWithError("get_node_graph failed");
        envelope(b.pos, idx, nb, SLOPE, h, heap);
        benchmark::DoNotOptimize(h.data());
    }
    node_counters(state, b);
}

// Most queue entries of a run, from the control loop on its own (not timed).
template <class Measure, class Values> std::size_t peak_entries(const block& b, Values values, double limit) {
    const std::size_t n = b.graph_indices.size() - 1;
    std::vector<unsigned> stamp(n, 0);
    std::vector<unsigned char> bytes(n, d::SHRINK);
    d::control_loop<3, Values, Measure> loop(b.pos.data(), b.pos.ld(),
                                             {b.graph_indices.data(), b.graph_nodes.data(), n}, stamp.data(),
                                             bytes.data(), values, limit);
    loop.run();
    return loop.peak_entries();
}
template <class Measure> std::size_t peak_of(const block& b, sizes_t& f, double limit) {
    return peak_entries<Measure>(b, d::size_values<3>{f.data()}, limit);
}
template <class Measure> std::size_t peak_of(const block& b, tensors_t& f, double limit) {
    return peak_entries<Measure>(b, d::tensor_values<3>{f.data(), f.ld()}, limit);
}

template <class Measure, class Field> void BM_control(benchmark::State& state, int range) {
    constexpr bool gradation = std::is_same<Measure, d::shock_measure>::value;
    const double limit = gradation ? std::expm1(SLOPE) : SLOPE;
    const block& b = block::get();
    const Field& pristine = b.field(range, static_cast<Field*>(nullptr));
    const tq5::dense1D<unsigned> none;
    Field f;
    int changed = 0;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        state.PauseTiming();
        f.copy(pristine);
        state.ResumeTiming();
        changed = gradation ? cw::bound_metric_gradations(b.pos, b.tets, cw::ET_TETRA4, none, true, -1, limit, f)
                            : cw::bound_metric_variations(b.pos, b.tets, cw::ET_TETRA4, none, true, -1, limit, f);
        if (changed < 0) state.SkipWithError("control failed");
    }
    node_counters(state, b);
    state.counters["changed"] = changed;
    f.copy(pristine);
    const std::size_t peak = peak_of<Measure>(b, f, limit);
    state.counters["queue_peak_entries"] = double(peak);
    state.counters["queue_peak_MB"] = double(peak * sizeof(d::queue_entry)) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
    for (int r = 0; r < 2; ++r) {
        const std::string tail = std::string("/tetra1M/") + RANGES[r].name;
        auto add = [&](const std::string& name, void (*fn)(benchmark::State&, int)) {
            benchmark::RegisterBenchmark(name.c_str(), fn, r)->Unit(benchmark::kMillisecond)->UseRealTime();
        };
        add("dijkstra_envelope" + tail + "/sizes", BM_envelope);
        add("bound_metric_gradations" + tail + "/sizes", BM_control<d::shock_measure, sizes_t>);
        add("bound_metric_variations" + tail + "/sizes", BM_control<d::variation_measure, sizes_t>);
        add("bound_metric_gradations" + tail + "/tensors", BM_control<d::shock_measure, tensors_t>);
        add("bound_metric_variations" + tail + "/tensors", BM_control<d::variation_measure, tensors_t>);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

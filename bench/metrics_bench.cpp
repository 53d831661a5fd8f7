// Metric fields: clamping of tensor fields in 3D (through LAPACK) and 2D
// (closed form), and the edge measures on a block of about a million
// tetrahedra against the extraction of its edges as baseline.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "peak_memory.hpp"
#include "random_metrics.hpp"

namespace {

namespace cw = tq5::cellworks;

constexpr std::size_t TENSORS = 1000000;
constexpr unsigned CELLS = 55;  // 6 * 55^3 = 998,250 tetrahedra

template <int N> const tq5::dense2D<double>& tensor_field() {
    static tq5::dense2D<double> m = [] {
        tq5::dense2D<double> f(N * (N + 1) / 2, TENSORS);
        std::mt19937 rng(1);
        // Sizes in [0.001, 1000]: a clamp to [0.01, 100] changes most tensors.
        for (std::size_t c = 0; c < TENSORS; ++c) tq5::fixtures::random_metric<N>(rng, 1e-3, 1e3, &f(0, c));
        return f;
    }();
    return m;
}

template <int N> void BM_bound_metrics(benchmark::State& state) {
    const tq5::dense2D<double>& pristine = tensor_field<N>();
    tq5::dense2D<double> m;
    int changed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        m.copy(pristine);
        state.ResumeTiming();
        changed = cw::bound_metrics(m, 0.01, 100);
        benchmark::DoNotOptimize(changed);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(TENSORS));
    state.counters["changed"] = changed;
    state.counters["ns_per_tensor"] = benchmark::Counter(
        double(TENSORS), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}
BENCHMARK_TEMPLATE(BM_bound_metrics, 3)->Name("bound_metrics/3D")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_TEMPLATE(BM_bound_metrics, 2)->Name("bound_metrics/2D")->Unit(benchmark::kMillisecond)->UseRealTime();

// The block of tetrahedra with a smooth anisotropic field: sizes about 1 to 4
// lattice steps, stretched along a direction that turns through the block.
struct tetra_block {
    tq5::dense2D<double> pos, metrics;
    tq5::dense2D<unsigned> tets, edges;
    tetra_block() {
        tq5::fixtures::block_nodes(CELLS, CELLS, CELLS, pos);
        tq5::fixtures::block_tetra(CELLS, CELLS, CELLS, tets);
        metrics.resize(6, pos.cols());
        for (std::size_t n = 0; n < pos.cols(); ++n) {
            const double x = pos(0, n) / CELLS, y = pos(1, n) / CELLS, z = pos(2, n) / CELLS;
            const double a = 3 * x + y, c = std::cos(a), s = std::sin(a);
            const double h0 = 1 + 3 * z, h1 = 1 + y, h2 = 2;
            const double l0 = 1 / (h0 * h0), l1 = 1 / (h1 * h1), l2 = 1 / (h2 * h2);
            // Axes (c, s, 0), (-s, c, 0), (0, 0, 1).
            double* m = &metrics(0, n);
            m[0] = l0 * c * c + l1 * s * s;
            m[1] = (l0 - l1) * c * s;
            m[2] = l0 * s * s + l1 * c * c;
            m[3] = 0;
            m[4] = 0;
            m[5] = l2;
        }
        cw::copy_edges(tets, cw::ET_TETRA4, edges);
    }
    static const tetra_block& get() {
        static const tetra_block b;
        return b;
    }
};

void mesh_counters(benchmark::State& state, const tetra_block& b) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(b.tets.cols()));
    state.counters["elements"] = double(b.tets.cols());
    state.counters["edges"] = double(b.edges.cols());
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}

// Baseline: extracting the same edges.
void BM_copy_edges(benchmark::State& state) {
    const tetra_block& b = tetra_block::get();
    tq5::dense2D<unsigned> edges;
    for (auto _ : state) {
        edges.clear();
        const int rc = cw::copy_edges(b.tets, cw::ET_TETRA4, edges);
        if (rc != 0) state.SkipWithError("copy_edges failed");
        benchmark::DoNotOptimize(edges.data());
    }
    mesh_counters(state, b);
}
BENCHMARK(BM_copy_edges)->Name("copy_edges/tetra1M")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_edge_qualities(benchmark::State& state) {
    const tetra_block& b = tetra_block::get();
    const tq5::dense2D<unsigned> none;
    tq5::misc::histogram hist(0, 2, 20);
    for (auto _ : state) {
        hist.clear();
        const int rc = cw::edge_qualities(b.pos, b.tets, cw::ET_TETRA4, b.metrics, hist, none);
        if (rc != 0 || hist.count() != b.edges.cols()) state.SkipWithError("edge_qualities failed");
    }
    mesh_counters(state, b);
    state.counters["mean_length"] = hist.mean();
}
BENCHMARK(BM_edge_qualities)->Name("edge_qualities/tetra1M/tensors")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_H_shock(benchmark::State& state) {
    const tetra_block& b = tetra_block::get();
    tq5::dense1D<double> shock;
    for (auto _ : state) {
        shock.clear();
        const int rc = cw::H_shock(b.pos, b.edges, b.metrics, shock);
        if (rc != 0) state.SkipWithError("H_shock failed");
        benchmark::DoNotOptimize(shock.data());
    }
    mesh_counters(state, b);
}
BENCHMARK(BM_H_shock)->Name("H_shock/tetra1M/tensors")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

// merge on the 3,000,000 corners of a soup of 1,000,000 triangles: a torus
// (R = 1, r = 0.35) on a 1000 x 500 grid, two triangles per cell, each triangle
// with its own three nodes, coordinates rounded through float, and tol 5% of
// the smallest triangle height, as a reader of triangle files would merge it.
// Once in the order of the soup and once with its nodes shuffled, beside a
// baseline in the same run: a deep copy of the coordinates, which the form that
// moves nodes makes at least.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include <tq5/cellworks.hpp>

#include "torus_mesh.hpp"

#include "peak_memory.hpp"

namespace cw = tq5::cellworks;

namespace {

struct soup {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tris;
    double tol = 0;
};

double smallest_height(const double* a, const double* b, const double* c) {
    double ab[3], ac[3], bc[3], n[3];
    for (int k = 0; k < 3; ++k) ab[k] = b[k] - a[k], ac[k] = c[k] - a[k], bc[k] = c[k] - b[k];
    n[0] = ab[1] * ac[2] - ab[2] * ac[1];
    n[1] = ab[2] * ac[0] - ab[0] * ac[2];
    n[2] = ab[0] * ac[1] - ab[1] * ac[0];
    auto len = [](const double* v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); };
    return len(n) / std::max({len(ab), len(ac), len(bc)});  // twice the area over the longest side
}

soup make_torus() {
    tq5::dense2D<double> nodes;
    tq5::dense2D<unsigned> tria;
    soup s;
    tq5::fixtures::torus_mesh(1000, 500, nodes, tria);
    tq5::fixtures::triangle_soup(nodes, tria, s.pos);
    s.tris.resize(3, tria.cols());
    for (std::size_t k = 0; k < s.tris.size(); ++k) s.tris.data()[k] = unsigned(k);
    double smallest = INFINITY;
    for (std::size_t t = 0; t < s.tris.cols(); ++t)
        smallest = std::min(smallest, smallest_height(&s.pos(0, 3 * t), &s.pos(0, 3 * t + 1), &s.pos(0, 3 * t + 2)));
    s.tol = 0.05 * smallest;
    return s;
}

// The same soup with its node columns in random order (fixed seed).
soup shuffle(const soup& in) {
    const std::size_t n = in.pos.cols();
    std::vector<unsigned> place(n);
    for (std::size_t i = 0; i < n; ++i) place[i] = unsigned(i);
    std::mt19937_64 rng(42);
    for (std::size_t i = n; i > 1; --i) std::swap(place[i - 1], place[rng() % i]);
    soup s;
    s.tol = in.tol;
    s.pos.resize(3, n);
    s.tris.copy(in.tris);
    for (std::size_t i = 0; i < n; ++i) std::copy(&in.pos(0, i), &in.pos(0, i) + 3, &s.pos(0, place[i]));
    for (unsigned* e = s.tris.data(); e != s.tris.data() + s.tris.size(); ++e) *e = place[*e];
    return s;
}

const soup& torus(bool shuffled) {
    static const soup ordered = make_torus();
    static const soup mixed = shuffle(ordered);
    return shuffled ? mixed : ordered;
}

void report(benchmark::State& state, const soup& s, int joined) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(s.pos.cols()));
    state.counters["nodes"] = double(s.pos.cols());
    state.counters["joined"] = joined;
    state.counters["tol"] = s.tol;
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;  // inputs included
}

// merge(pos, map, tol): every column, moved onto its survivor. The call gives
// `work` a new block, so each run starts from the soup's own.
void BM_merge_positions(benchmark::State& state) {
    const soup& s = torus(state.range(0));
    tq5::dense2D<double> work;
    tq5::dense1D<unsigned> map;
    int joined = 0;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        work = s.pos;
        joined = cw::merge(work, map, s.tol);
        if (joined <= 0) state.SkipWithError("merge failed");
        benchmark::DoNotOptimize(work.data());
    }
    report(state, s, joined);
}

// merge(pos, tris, map, tol, 0): the nodes of the triangles, renumbered in place.
void BM_merge_triangles(benchmark::State& state) {
    const soup& s = torus(state.range(0));
    tq5::dense2D<unsigned> tris;
    tq5::dense1D<unsigned> map;
    int joined = 0;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        state.PauseTiming();
        tris.copy(s.tris);
        state.ResumeTiming();
        joined = cw::merge(s.pos, tris, map, s.tol, 0);
        if (joined <= 0) state.SkipWithError("merge failed");
        benchmark::DoNotOptimize(tris.data());
    }
    report(state, s, joined);
}

// Baseline: a deep copy of the coordinates into a new block.
void BM_copy_positions(benchmark::State& state) {
    const soup& s = torus(state.range(0));
    for (auto _ : state) {
        tq5::dense2D<double> moved;
        if (!moved.copy(s.pos)) state.SkipWithError("copy failed");
        benchmark::DoNotOptimize(moved.data());
    }
    report(state, s, 0);
}

}  // namespace

BENCHMARK(BM_merge_positions)->ArgName("shuffled")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_merge_triangles)->ArgName("shuffled")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_copy_positions)->ArgName("shuffled")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);

BENCHMARK_MAIN();

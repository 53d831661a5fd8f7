// shape_qualities on a real mesh of 1,015,852 tetrahedra (nodes 2 and 3 of
// each element swapped, so that its elements are positive here), in the
// generator's numbering and renumbered at random, beside a plain closed-form
// radius-ratio loop over the same tetrahedra; and on a block of 1M hexahedra
// with one node in eight moved from a fixed seed, so that the flatness and the
// second tests have work.
//
// The mesh file is given by `--mesh=PATH`; by default
// `../shared/data/box-1M-tets.bin` beside the source tree.
#include <cmath>
#include <random>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "real_mesh.hpp"

namespace {

namespace cw = tq5::cellworks;
using tq5::bench::real_mesh;

std::string mesh_path = CELLWORKS_SOURCE_DIR "/../shared/data/box-1M-tets.bin";

real_mesh positive(const real_mesh& m) {
    real_mesh out;
    out.pos = m.pos;
    out.tets.copy(m.tets);
    for (std::size_t j = 0; j < out.tets.cols(); ++j) std::swap(out.tets(2, j), out.tets(3, j));
    return out;
}

// The real mesh as given (0) and renumbered (1), positively turned.
const real_mesh* tets() {
    static const tq5::bench::real_meshes& r = tq5::bench::read_once(mesh_path);
    static const real_mesh m[2] = {positive(r.given), positive(r.shuffled)};
    return r.ok ? m : nullptr;
}

// 100 x 100 x 100 hexahedra; one node in eight moved by up to a fifth of a cell.
const real_mesh& hexa_block() {
    static const real_mesh m = [] {
        real_mesh b;
        tq5::fixtures::block_nodes(101, 101, 101, b.pos);
        tq5::fixtures::block_hexa(100, 100, 100, b.tets);
        std::mt19937 rng(8);
        std::uniform_real_distribution<double> shift(-0.002, 0.002);
        for (std::size_t i = 0; i < b.pos.cols(); ++i)
            if (rng() % 8 == 0)
                for (unsigned k = 0; k < 3; ++k) b.pos(k, i) += shift(rng);
        return b;
    }();
    return m;
}

// 2 sqrt 6 x inscribed radius / longest edge, in one plain loop.
double radius_ratio_sum(const real_mesh& m) {
    double sum = 0;
    for (std::size_t j = 0; j < m.tets.cols(); ++j) {
        const double* p[4];
        for (int k = 0; k < 4; ++k) p[k] = &m.pos(0, m.tets(k, j));
        double a[3][3], l2 = 0, area = 0;
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c) a[k][c] = p[k][c] - p[3][c];
        const double v = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
                         a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                         a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
        const int face[4][3] = {{0, 1, 2}, {0, 1, 3}, {0, 2, 3}, {1, 2, 3}};
        for (const auto& f : face) {
            double e[2][3];
            for (int c = 0; c < 3; ++c) e[0][c] = p[f[1]][c] - p[f[0]][c], e[1][c] = p[f[2]][c] - p[f[0]][c];
            const double n[3] = {e[0][1] * e[1][2] - e[0][2] * e[1][1], e[0][2] * e[1][0] - e[0][0] * e[1][2],
                                 e[0][0] * e[1][1] - e[0][1] * e[1][0]};
            area += std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        }
        for (int s = 0; s < 4; ++s)
            for (int t = s + 1; t < 4; ++t) {
                double d = 0;
                for (int c = 0; c < 3; ++c) d += (p[s][c] - p[t][c]) * (p[s][c] - p[t][c]);
                l2 = std::max(l2, d);
            }
        sum += 4.898979485566356 * v / (area * std::sqrt(l2));
    }
    return sum;
}

void counters(benchmark::State& state, std::size_t n) { state.SetItemsProcessed(std::int64_t(state.iterations() * n)); }

void BM_plain_radius_ratio(benchmark::State& state, int order) {
    if (!tets()) return state.SkipWithError(("mesh file not readable: " + mesh_path).c_str());
    for (auto _ : state) benchmark::DoNotOptimize(radius_ratio_sum(tets()[order]));
    counters(state, tets()[order].tets.cols());
}

void BM_shape_qualities_tetra(benchmark::State& state, int order) {
    if (!tets()) return state.SkipWithError(("mesh file not readable: " + mesh_path).c_str());
    const real_mesh& m = tets()[order];
    tq5::dense1D<double> q;
    for (auto _ : state)
        if (cw::shape_qualities(m.pos, m.tets, cw::ET_TETRA4, q) != 0) state.SkipWithError("shape_qualities failed");
    double low = 1;
    for (double v : q) low = std::min(low, v);
    state.counters["lowest"] = low;
    counters(state, m.tets.cols());
}

void BM_shape_qualities_hexa(benchmark::State& state) {
    const real_mesh& m = hexa_block();
    tq5::dense1D<double> q;
    for (auto _ : state)
        if (cw::shape_qualities(m.pos, m.tets, cw::ET_HEXA8, q) != 0) state.SkipWithError("shape_qualities failed");
    counters(state, m.tets.cols());
}

}  // namespace

BENCHMARK_CAPTURE(BM_plain_radius_ratio, given, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_shape_qualities_tetra, given, 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_plain_radius_ratio, renumbered, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_shape_qualities_tetra, renumbered, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_shape_qualities_hexa)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    tq5::bench::take_mesh_argument(argc, argv, mesh_path);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// node_detector: building the tree, closest-node queries and box queries over a
// million uniform random points in the unit cube, then the build and a closest
// query at every node of a real tetrahedral mesh, in the generator's numbering
// and renumbered at random.
//
// The mesh file is given by `--mesh=PATH` (taken out before the benchmark
// library reads the arguments); by default `../shared/data/box-1M-tets.bin`
// beside the source tree. Without it the mesh cases are skipped with a message.
#include <random>
#include <string>

#include <benchmark/benchmark.h>

#include <tq5/cellworks.hpp>

#include "peak_memory.hpp"
#include "real_mesh.hpp"

namespace {

namespace cw = tq5::cellworks;
using p3 = tq5::vector_fixed<double, 3>;

constexpr std::size_t POINTS = 1000000, CLOSEST = 1000000, BOXES = 100000;
constexpr double HALF_SIDE = 0.01;

std::string mesh_path = CELLWORKS_SOURCE_DIR "/../shared/data/box-1M-tets.bin";

// `n` uniform points of the unit cube, 3 x n, from a fixed seed.
tq5::dense2D<double> uniform_points(std::size_t n, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    tq5::dense2D<double> pos(3, n);
    for (std::size_t k = 0; k < 3 * n; ++k) pos.data()[k] = u(rng);
    return pos;
}

const tq5::dense2D<double>& cloud() {
    static const tq5::dense2D<double> pos = uniform_points(POINTS, 1);
    return pos;
}

const cw::node_detector& cloud_detector() {
    static const cw::node_detector d(cloud());
    return d;
}

const tq5::bench::real_meshes& real() { return tq5::bench::read_once(mesh_path); }

void counters(benchmark::State& state, std::size_t items) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(items));
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;  // input included
}

void build(benchmark::State& state, const tq5::dense2D<double>& pos) {
    cw::node_detector d;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        if (d.reinit(pos) != 0) state.SkipWithError("reinit failed");
        benchmark::DoNotOptimize(d.size());
    }
    counters(state, pos.cols());
    state.counters["nodes"] = double(pos.cols());
}

void BM_build_uniform(benchmark::State& state) { build(state, cloud()); }

void BM_find_closest_uniform(benchmark::State& state) {
    const cw::node_detector& d = cloud_detector();
    const tq5::dense2D<double> queries = uniform_points(CLOSEST, 2);
    for (auto _ : state) {
        unsigned sum = 0;
        for (std::size_t k = 0; k < CLOSEST; ++k)
            sum += d.find_closest(p3{{queries(0, k), queries(1, k), queries(2, k)}});
        benchmark::DoNotOptimize(sum);
    }
    counters(state, CLOSEST);
}

void BM_find_in_box_uniform(benchmark::State& state) {
    const cw::node_detector& d = cloud_detector();
    const tq5::dense2D<double> centres = uniform_points(BOXES, 3);
    tq5::dense1D<unsigned> out;
    out.reserve(1024, 1);
    std::size_t hits = 0;
    for (auto _ : state) {
        hits = 0;
        for (std::size_t k = 0; k < BOXES; ++k) {
            const double x = centres(0, k), y = centres(1, k), z = centres(2, k);
            out.clear();
            d.find_in_box(p3{{x - HALF_SIDE, y - HALF_SIDE, z - HALF_SIDE}},
                          p3{{x + HALF_SIDE, y + HALF_SIDE, z + HALF_SIDE}}, out);
            hits += out.size();
        }
        benchmark::DoNotOptimize(hits);
    }
    counters(state, BOXES);
    state.counters["hits"] = double(hits);
}

void BM_build_mesh(benchmark::State& state, bool shuffled) {
    if (!real().ok) {
        state.SkipWithError(("mesh file not readable: " + mesh_path).c_str());
        return;
    }
    build(state, shuffled ? real().shuffled.pos : real().given.pos);
}

void BM_find_closest_mesh(benchmark::State& state, bool shuffled) {
    if (!real().ok) {
        state.SkipWithError(("mesh file not readable: " + mesh_path).c_str());
        return;
    }
    const tq5::dense2D<double>& pos = shuffled ? real().shuffled.pos : real().given.pos;
    const cw::node_detector d(pos);
    const unsigned n = unsigned(pos.cols());
    for (auto _ : state) {
        unsigned sum = 0;
        for (unsigned id = 0; id < n; ++id) sum += d.find_closest(id);
        benchmark::DoNotOptimize(sum);
    }
    counters(state, n);
}

}  // namespace

int main(int argc, char** argv) {
    tq5::bench::take_mesh_argument(argc, argv, mesh_path);
    auto ms = [](benchmark::internal::Benchmark* b) { b->Unit(benchmark::kMillisecond)->UseRealTime(); };
    ms(benchmark::RegisterBenchmark("build/uniform1M", BM_build_uniform));
    ms(benchmark::RegisterBenchmark("find_closest/uniform1M/1M_points", BM_find_closest_uniform));
    ms(benchmark::RegisterBenchmark("find_in_box/uniform1M/100k_boxes", BM_find_in_box_uniform));
    ms(benchmark::RegisterBenchmark("build/mesh175k/given", BM_build_mesh, false));
    ms(benchmark::RegisterBenchmark("build/mesh175k/renumbered", BM_build_mesh, true));
    ms(benchmark::RegisterBenchmark("find_closest/mesh175k/given/every_node", BM_find_closest_mesh, false));
    ms(benchmark::RegisterBenchmark("find_closest/mesh175k/renumbered/every_node", BM_find_closest_mesh, true));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// STL files of a 1M-triangle torus (500,000 nodes, 50 MB in binary): reading
// the binary soup back to a conforming mesh, writing both forms, and reading
// the file's bytes alone as the floor. Peak memory is reported against the
// size of the soup (3M vertices as doubles).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

#include "peak_memory.hpp"
#include "torus_mesh.hpp"

namespace cw = tq5::cellworks;

namespace {

struct torus_file {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tria;
    std::string path = "/tmp/cellworks_bench_torus_" + std::to_string(getpid()) + ".stl";
    torus_file() {
        tq5::fixtures::torus_mesh(1000, 500, pos, tria);
        cw::STL_output(path.c_str(), pos, tria, false);
    }
    ~torus_file() { std::remove(path.c_str()); }
};

const torus_file& data() {
    static const torus_file f;
    return f;
}

void BM_read_bytes(benchmark::State& state) {
    std::vector<char> buffer(1 << 20);
    for (auto _ : state) {
        std::FILE* f = std::fopen(data().path.c_str(), "rb");
        std::size_t total = 0, n;
        while ((n = std::fread(buffer.data(), 1, buffer.size(), f)) > 0) total += n;
        std::fclose(f);
        benchmark::DoNotOptimize(total);
    }
}

void BM_STL_input(benchmark::State& state) {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tria;
    tq5::bench::reset_peak_rss();
    const double before = tq5::bench::peak_rss_bytes();
    for (auto _ : state) {
        if (cw::STL_input(data().path.c_str(), pos, tria) != 0) state.SkipWithError("STL_input failed");
        pos = tq5::dense2D<double>();
        tria = tq5::dense2D<unsigned>();
    }
    state.counters["peak_vs_soup"] = (tq5::bench::peak_rss_bytes() - before) / (9.0 * 8 * data().tria.cols());
    cw::STL_input(data().path.c_str(), pos, tria);
    state.counters["nodes"] = double(pos.cols());
    state.counters["triangles"] = double(tria.cols());
}

void BM_STL_output(benchmark::State& state) {
    const std::string path = data().path + ".out";
    for (auto _ : state)
        if (cw::STL_output(path.c_str(), data().pos, data().tria, state.range(0) != 0) != 0)
            state.SkipWithError("STL_output failed");
    std::remove(path.c_str());
}

}  // namespace

BENCHMARK(BM_read_bytes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_STL_input)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_STL_output)->Arg(0)->Arg(1)->ArgName("ascii")->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();

// WavefrontOBJ_output and WavefrontOBJ_input on a torus of 500,000 nodes and
// 1,000,000 triangles, beside a plain read of the same file's bytes.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include <tq5/cellworks.hpp>

#include "peak_memory.hpp"

namespace cw = tq5::cellworks;

namespace {

struct torus {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tria;
};

// R = 1, r = 0.35 on a closed 1000 x 500 grid: each cell (a, b, c, d) gives
// the triangles (a, b, c) and (a, c, d).
const torus& mesh() {
    static const torus t = [] {
        constexpr unsigned nu = 1000, nv = 500;
        const double pi = std::acos(-1.0);
        torus m{tq5::dense2D<double>(3, nu * nv), tq5::dense2D<unsigned>(3, 2 * nu * nv)};
        for (unsigned i = 0; i < nu; ++i)
            for (unsigned j = 0; j < nv; ++j) {
                const double u = 2 * pi * i / nu, v = 2 * pi * j / nv, w = 1 + 0.35 * std::cos(v);
                const unsigned n = i * nv + j;
                m.pos(0, n) = w * std::cos(u);
                m.pos(1, n) = w * std::sin(u);
                m.pos(2, n) = 0.35 * std::sin(v);
                const unsigned a = n, b = (i + 1) % nu * nv + j, c = (i + 1) % nu * nv + (j + 1) % nv,
                               d = i * nv + (j + 1) % nv;
                const unsigned t[6] = {a, b, c, a, c, d};
                for (unsigned k = 0; k < 6; ++k) m.tria(k % 3, 2 * n + k / 3) = t[k];
            }
        return m;
    }();
    return t;
}

// The file, written once by the library and removed at exit.
const std::string& file() {
    static const struct written {
        std::string name;
        written()
            : name((std::filesystem::temp_directory_path() /
                    ("cellworks_obj_bench_" + std::to_string(getpid()) + ".obj"))
                       .string()) {
            cw::WavefrontOBJ_output(name.c_str(), mesh().pos, mesh().tria, cw::ET_TRIA3);
        }
        ~written() { std::remove(name.c_str()); }
    } f;
    return f.name;
}

void report(benchmark::State& state) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(mesh().tria.cols()));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(file())));
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;  // the mesh included
}

void BM_obj_write(benchmark::State& state) {
    const std::string name = file() + ".out";
    tq5::bench::reset_peak_rss();
    for (auto _ : state)
        if (cw::WavefrontOBJ_output(name.c_str(), mesh().pos, mesh().tria, cw::ET_TRIA3) != 0)
            state.SkipWithError("WavefrontOBJ_output failed");
    std::remove(name.c_str());
    report(state);
}

void BM_obj_read(benchmark::State& state) {
    tq5::dense2D<double> pos, normals, uvs;
    tq5::dense2D<unsigned> tria, quad;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        if (cw::WavefrontOBJ_input(file().c_str(), pos, normals, uvs, tria, quad) != 0 || tria.cols() != 1000000)
            state.SkipWithError("WavefrontOBJ_input failed");
        benchmark::DoNotOptimize(pos.data());
    }
    report(state);
}

// Baseline: the file's bytes read in blocks of 64 KiB, as the reader gets them.
void BM_read_bytes(benchmark::State& state) {
    std::vector<char> block(1 << 16);
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        std::FILE* f = std::fopen(file().c_str(), "r");
        std::size_t total = 0, got;
        while ((got = std::fread(block.data(), 1, block.size(), f)) != 0) total += got;
        std::fclose(f);
        benchmark::DoNotOptimize(total);
    }
    report(state);
}

}  // namespace

BENCHMARK(BM_obj_write)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_obj_read)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_read_bytes)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

BENCHMARK_MAIN();

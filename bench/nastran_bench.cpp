// NASTRAN_output and NASTRAN_input on a real mesh of 1,015,852 tetrahedra and
// 175,014 nodes, beside the plain ways to do the same: one fprintf a line
// writing the same bytes, and fgets with sscanf reading them back. Bytes per
// second count the deck's text.
//
// The mesh file is given by `--mesh=PATH`; by default
// `../shared/data/box-1M-tets.bin` beside the source tree.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <tq5/cellworks.hpp>

#include "real_mesh.hpp"

namespace {

namespace cw = tq5::cellworks;

std::string mesh_path = CELLWORKS_SOURCE_DIR "/../shared/data/box-1M-tets.bin";

struct fixture {
    tq5::bench::real_mesh mesh;
    std::string ours = "/tmp/cellworks_nastran_bench_" + std::to_string(getpid()) + ".bdf";
    std::string plain = ours + ".plain";
    std::size_t bytes = 0;
    std::string error;
    fixture() {
        if (!tq5::bench::read_real_mesh(mesh_path, mesh)) error = "cannot read " + mesh_path + " (--mesh=PATH)";
    }
    ~fixture() {
        std::remove(ours.c_str());
        std::remove(plain.c_str());
    }
    int write() const { return cw::NASTRAN_output(ours.c_str(), mesh.pos, mesh.tets, cw::ET_TETRA4); }
};

fixture& data() {
    static fixture f;
    return f;
}

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void plain_write(const fixture& f, const char* path) {
    const char* rule = "$----------------------------------------\n";
    const char* blank = "$                                        \n";
    std::FILE* out = std::fopen(path, "w");
    std::fprintf(out, "$ TQ5 CellWorks NASTRAN exporter\nBEGIN BULK\n%s", rule);
    std::fprintf(out, "$ Referenced Material Records -----------\n$ Material Record :    ------------------\n");
    std::fprintf(out, "$ Description of Material :   -----------\nMAT1    1       0.                 0.  0.\n");
    std::fprintf(out, "%s%s$                GRID POINTS             \n%s%s", rule, blank, blank, rule);
    const tq5::dense2D<double>& pos = f.mesh.pos;
    for (std::size_t i = 0; i < pos.cols(); ++i)
        std::fprintf(out, "GRID*   %16d                %16E%16E*\n*       %16E\n", int(i + 1), pos(0, i), pos(1, i),
                     pos(2, i));
    std::fprintf(out, "%s%s$                 ELEMENTS               \n%s%s", rule, blank, blank, rule);
    const tq5::dense2D<unsigned>& tets = f.mesh.tets;
    for (std::size_t j = 0; j < tets.cols(); ++j) {
        const unsigned* c = &tets(0, j);
        std::fprintf(out, "CTETRA,%d,1,%d,%d,%d,%d\n", int(j + 1), int(c[1] + 1), int(c[0] + 1), int(c[2] + 1),
                     int(c[3] + 1));
    }
    std::fputs("ENDDATA\n", out);
    std::fclose(out);
}

void plain_read(const char* path, std::vector<double>& pos, std::vector<unsigned>& tets) {
    pos.clear();
    tets.clear();
    std::FILE* in = std::fopen(path, "r");
    char line[512], next[512];
    while (std::fgets(line, sizeof line, in)) {
        if (std::strncmp(line, "GRID*", 5) == 0) {
            int id = 0;
            double x[3] = {0, 0, 0};
            std::fgets(next, sizeof next, in);
            std::sscanf(line, "%*8c%32d%16lf%16lf", &id, x, x + 1);
            std::sscanf(next, "%*8c%16lf", x + 2);
            if (3 * std::size_t(id) + 3 > pos.size()) pos.resize(3 * std::size_t(id) + 3);
            std::memcpy(&pos[3 * std::size_t(id)], x, sizeof x);
        } else if (std::strncmp(line, "CTETRA,", 7) == 0) {
            unsigned c[4];
            std::sscanf(line + 7, "%*d,%*d,%u,%u,%u,%u", c, c + 2, c + 1, c + 3);
            tets.insert(tets.end(), c, c + 4);
        }
    }
    std::fclose(in);
}

bool prepare(benchmark::State& state) {
    fixture& f = data();
    if (f.error.empty() && f.bytes == 0) {
        plain_write(f, f.plain.c_str());
        if (f.write() != 0 || contents(f.ours) != contents(f.plain)) f.error = "NASTRAN_output differs from fprintf";
        tq5::dense2D<double> pos;
        tq5::dense2D<unsigned> tets;
        cw::element_type type;
        if (cw::NASTRAN_input(f.ours.c_str(), pos, tets, type) != 0 || tets.cols() != f.mesh.tets.cols() ||
            pos.cols() != f.mesh.pos.cols() + 1)
            f.error = "NASTRAN_input does not give the mesh back";
        f.bytes = std::filesystem::file_size(f.ours);
    }
    if (!f.error.empty()) state.SkipWithError(f.error.c_str());
    return f.error.empty();
}

void report(benchmark::State& state) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data().bytes));
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(data().mesh.tets.cols()));
}

void BM_NASTRAN_output(benchmark::State& state) {
    if (!prepare(state)) return;
    for (auto _ : state)
        if (data().write() != 0) state.SkipWithError("NASTRAN_output failed");
    report(state);
}

void BM_fprintf_lines(benchmark::State& state) {
    if (!prepare(state)) return;
    for (auto _ : state) plain_write(data(), data().plain.c_str());
    report(state);
}

void BM_NASTRAN_input(benchmark::State& state) {
    if (!prepare(state)) return;
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> connect;
    tq5::dense1D<unsigned> starts, props;
    tq5::dense1D<int> types;
    for (auto _ : state) {
        if (cw::NASTRAN_input(data().ours.c_str(), pos, connect, starts, types, props) != 0)
            state.SkipWithError("NASTRAN_input failed");
        benchmark::DoNotOptimize(connect.data());
        pos = tq5::dense2D<double>();
        connect = tq5::dense2D<unsigned>();
    }
    report(state);
}

void BM_fgets_sscanf(benchmark::State& state) {
    if (!prepare(state)) return;
    std::vector<double> pos;
    std::vector<unsigned> tets;
    for (auto _ : state) {
        plain_read(data().ours.c_str(), pos, tets);
        benchmark::DoNotOptimize(tets.data());
    }
    report(state);
}

}  // namespace

int main(int argc, char** argv) {
    tq5::bench::take_mesh_argument(argc, argv, mesh_path);
    for (auto* b : {benchmark::RegisterBenchmark("NASTRAN_output/box1M", BM_NASTRAN_output),
                    benchmark::RegisterBenchmark("fprintf_lines/box1M", BM_fprintf_lines),
                    benchmark::RegisterBenchmark("NASTRAN_input/box1M", BM_NASTRAN_input),
                    benchmark::RegisterBenchmark("fgets_sscanf/box1M", BM_fgets_sscanf)})
        b->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(3)->ReportAggregatesOnly(true);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// FEMAP_output and FEMAP_input on a real mesh of 1,015,852 tetrahedra and
// 175,014 nodes (a neutral file of about 290 MB), beside the plain ways to do
// the same: one fprintf a line writing the same bytes, and fgets with sscanf
// reading them back into matrices. Bytes per second count the file's text.
//
// The mesh file is given by `--mesh=PATH` (taken out before the benchmark
// library reads the arguments); by default `../shared/data/box-1M-tets.bin`
// beside the source tree.
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

const char* const stars = "*********************************\n";
const char* const record_tail = "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";

// The mesh as one family of tetrahedra with property id 1, and the paths of
// the files written by the library and by the plain loop, removed at exit.
struct fixture {
    tq5::bench::real_mesh mesh;
    tq5::dense1D<unsigned> starts, props;
    tq5::dense1D<int> types;
    std::string ours = "/tmp/cellworks_femap_bench_" + std::to_string(getpid()) + ".neu";
    std::string plain = ours + ".plain";
    std::size_t bytes = 0;
    std::string error;

    fixture() {
        if (!tq5::bench::read_real_mesh(mesh_path, mesh)) {
            error = "cannot read " + mesh_path + " (--mesh=PATH)";
            return;
        }
        starts.push_back(0);
        starts.push_back(unsigned(mesh.tets.cols()));
        types.push_back(cw::ET_TETRA4);
        props.resize(mesh.tets.cols(), 1u);
    }
    ~fixture() {
        std::remove(ours.c_str());
        std::remove(plain.c_str());
    }
    int write() const { return cw::FEMAP_output(ours.c_str(), mesh.pos, mesh.tets, starts, types, props); }
};

fixture& data() {
    static fixture f;
    return f;
}

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The same text, one fprintf a line or a record.
void plain_write(const fixture& f, const char* path) {
    std::FILE* out = std::fopen(path, "w");
    std::fprintf(out, "%s*********** NODES ***************\n%s-1\n403\n", stars, stars);
    const tq5::dense2D<double>& pos = f.mesh.pos;
    for (std::size_t i = 0; i < pos.cols(); ++i)
        std::fprintf(out, "%zu,0,0,1,0,0,0,0,0,0,0,%g,%g,%g,0,\n", i, pos(0, i), pos(1, i), pos(2, i));
    std::fprintf(out, "-1\n%s********* ELEMENTS **************\n%s-1\n404\n", stars, stars);
    const tq5::dense2D<unsigned>& tets = f.mesh.tets;
    for (std::size_t j = 0; j < tets.cols(); ++j) {
        const unsigned* c = &tets(0, j);
        std::fprintf(out, "%zu,1,0,32,6,1,0,0,0,0,0,0,0,\n%u,%u,%u,0,%u,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n%s", j, c[1],
                     c[0], c[2], c[3], record_tail);
    }
    std::fputs("-1\n", out);
    std::fclose(out);
}

// Reads the nodes and tetrahedra back, a line at a time with fgets and sscanf.
void plain_read(const char* path, std::vector<double>& pos, std::vector<unsigned>& tets, std::vector<unsigned>& props) {
    pos.clear();
    tets.clear();
    props.clear();
    std::FILE* in = std::fopen(path, "r");
    char line[512];
    int block = 0;
    while (std::fgets(line, sizeof line, in)) {
        if (std::strcmp(line, "403\n") == 0 || std::strcmp(line, "404\n") == 0) {
            block = line[2] - '0';
        } else if (std::strcmp(line, "-1\n") == 0) {
            block = 0;
        } else if (block == 3) {
            std::size_t id;
            double x[3];
            std::sscanf(line, "%zu,%*d,%*d,%*d,%*d,%*d,%*d,%*d,%*d,%*d,%*d,%lf,%lf,%lf", &id, x, x + 1, x + 2);
            if (3 * id + 3 > pos.size()) pos.resize(3 * id + 3);
            std::memcpy(&pos[3 * id], x, sizeof x);
        } else if (block == 4) {
            unsigned c[4], prop;
            int code;
            std::sscanf(line, "%*d,%u,%*d,%*d,%d", &prop, &code);
            props.push_back(prop);
            std::fgets(line, sizeof line, in);
            std::sscanf(line, "%u,%u,%u,%*u,%u", c + 1, c, c + 2, c + 3);
            tets.insert(tets.end(), c, c + 4);
            for (int k = 0; k < 5; ++k) std::fgets(line, sizeof line, in);
        }
    }
    std::fclose(in);
}

// Writes both files once, checks that they hold the same bytes and that the
// reader gives the tetrahedra back; the text's size counts for all cases.
bool prepare(benchmark::State& state) {
    fixture& f = data();
    if (f.error.empty() && f.bytes == 0) {
        plain_write(f, f.plain.c_str());
        if (f.write() != 0 || contents(f.ours) != contents(f.plain)) f.error = "FEMAP_output differs from fprintf";
        tq5::dense2D<double> pos;
        tq5::dense2D<unsigned> tets;
        cw::element_type type;
        if (cw::FEMAP_input(f.ours.c_str(), pos, tets, type) != 0 || tets.ld() != 4 ||
            std::memcmp(tets.data(), f.mesh.tets.data(), tets.size() * sizeof(unsigned)) != 0 ||
            tets.size() != f.mesh.tets.size())
            f.error = "FEMAP_input does not give the tetrahedra back";
        f.bytes = std::filesystem::file_size(f.ours);
    }
    if (!f.error.empty()) state.SkipWithError(f.error.c_str());
    return f.error.empty();
}

void report(benchmark::State& state) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(data().bytes));
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(data().mesh.tets.cols()));
}

void BM_FEMAP_output(benchmark::State& state) {
    if (!prepare(state)) return;
    for (auto _ : state)
        if (data().write() != 0) state.SkipWithError("FEMAP_output failed");
    report(state);
}

void BM_fprintf_lines(benchmark::State& state) {
    if (!prepare(state)) return;
    for (auto _ : state) plain_write(data(), data().plain.c_str());
    report(state);
}

void BM_FEMAP_input(benchmark::State& state) {
    if (!prepare(state)) return;
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> connect;
    tq5::dense1D<unsigned> starts, props;
    tq5::dense1D<int> types;
    for (auto _ : state) {
        if (cw::FEMAP_input(data().ours.c_str(), pos, connect, starts, types, props) != 0)
            state.SkipWithError("FEMAP_input failed");
        benchmark::DoNotOptimize(connect.data());
        pos = tq5::dense2D<double>();  // each read grows from nothing, as a caller's first read does
        connect = tq5::dense2D<unsigned>();
    }
    report(state);
}

void BM_fgets_sscanf(benchmark::State& state) {
    if (!prepare(state)) return;
    std::vector<double> pos;
    std::vector<unsigned> tets, props;
    for (auto _ : state) {
        plain_read(data().ours.c_str(), pos, tets, props);
        benchmark::DoNotOptimize(tets.data());
    }
    report(state);
}

}  // namespace

int main(int argc, char** argv) {
    tq5::bench::take_mesh_argument(argc, argv, mesh_path);
    for (auto* b : {benchmark::RegisterBenchmark("FEMAP_output/box1M", BM_FEMAP_output),
                    benchmark::RegisterBenchmark("fprintf_lines/box1M", BM_fprintf_lines),
                    benchmark::RegisterBenchmark("FEMAP_input/box1M", BM_FEMAP_input),
                    benchmark::RegisterBenchmark("fgets_sscanf/box1M", BM_fgets_sscanf)})
        b->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5)->ReportAggregatesOnly(true);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

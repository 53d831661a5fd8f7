// remove_degenerated and simplify on the 1M-tetrahedra block (55 x 55 x 55
// cells, 998,250 tetrahedra, 175,616 nodes), each beside a baseline in the same
// run that reads the job's input once and writes its output once.
//
// Inputs, from fixed seeds: 5% of the tetrahedra degenerated (one node
// repeated), and one unused node slipped in after every tenth node. Each comes
// twice: in the block's own numbering, where neighbours have near ids, and with
// nodes and elements renumbered at random, so that every lookup by node id
// misses the cache.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "peak_memory.hpp"

namespace cw = tq5::cellworks;

namespace {

template <class T> std::size_t bytes(const tq5::dense2D<T>& m) { return m.rows() * m.cols() * sizeof(T); }

struct mesh {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tets;
};

// The block with an unused node after every tenth node (at a far corner, so
// that a bad renumbering shows in the coordinates too).
mesh spaced_block() {
    mesh m;
    tq5::dense2D<double> lattice;
    tq5::fixtures::block_nodes(55, 55, 55, lattice);
    tq5::fixtures::block_tetra(55, 55, 55, m.tets);
    const std::size_t n = lattice.cols();
    std::vector<unsigned> to(n);
    m.pos.resize(3, n + n / 10);
    std::size_t next = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i % 10 == 9) {
            for (unsigned r = 0; r < 3; ++r) m.pos(r, next) = 1e6;
            ++next;
        }
        to[i] = unsigned(next);
        for (unsigned r = 0; r < 3; ++r) m.pos(r, next) = lattice(r, i);
        ++next;
    }
    m.pos.resize(3, next);
    for (unsigned *p = m.tets.data(), *e = p + m.tets.size(); p != e; ++p) *p = to[*p];
    return m;
}

// Nodes and elements in random order.
mesh renumbered(const mesh& in, std::uint32_t seed) {
    std::mt19937 rng(seed);
    const std::size_t n = in.pos.cols(), ne = in.tets.cols();
    std::vector<unsigned> to(n), order(ne);
    std::iota(to.begin(), to.end(), 0u);
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(to.begin(), to.end(), rng);
    std::shuffle(order.begin(), order.end(), rng);
    mesh out;
    out.pos.resize(3, n);
    out.tets.resize(4, ne);
    for (std::size_t i = 0; i < n; ++i)
        for (unsigned r = 0; r < 3; ++r) out.pos(r, to[i]) = in.pos(r, i);
    for (std::size_t j = 0; j < ne; ++j)
        for (unsigned r = 0; r < 4; ++r) out.tets(r, order[j]) = to[in.tets(r, j)];
    return out;
}

// 5% of the columns get their row 1 set to row 0 or row 3 to row 2.
tq5::dense2D<unsigned> degenerated(const tq5::dense2D<unsigned>& tets, std::uint32_t seed) {
    std::mt19937 rng(seed);
    tq5::dense2D<unsigned> out;
    out.copy(tets);
    for (std::size_t j = 0; j < out.cols(); ++j)
        if (rng() % 20 == 0) {
            const unsigned r = rng() % 2 ? 1 : 3;
            out(r, j) = out(r - 1, j);
        }
    return out;
}

// Reads `in` bytes and writes `out` bytes, once each: a copy of as many bytes
// as both have, then a read or a fill of the rest.
struct baseline_buffers {
    std::vector<unsigned char> src, dst;
    void run(std::size_t in, std::size_t out) {
        const std::size_t both = std::min(in, out);
        std::memcpy(dst.data(), src.data(), both);
        if (out > both) std::memset(dst.data() + both, 1, out - both);
        std::uint64_t sum = 0;
        for (std::size_t i = both; i + 8 <= in; i += 8) {
            std::uint64_t w;
            std::memcpy(&w, src.data() + i, 8);
            sum += w;
        }
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
};

void finish(benchmark::State& state, std::size_t items, std::size_t in, std::size_t out) {
    state.SetItemsProcessed(std::int64_t(state.iterations() * items));
    state.SetBytesProcessed(std::int64_t(state.iterations() * (in + out)));
    state.counters["in_MB"] = double(in) / 1e6;
    state.counters["out_MB"] = double(out) / 1e6;
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}

// A job: the call timed, the restoring of its inputs before each call (not
// timed), and the bytes it reads and writes, which its baseline moves.
struct job {
    std::string name;
    std::size_t items, in, out;
    std::function<void()> restore;
    std::function<int()> call;
};

void register_job(const job& j) {
    benchmark::RegisterBenchmark((j.name + "/baseline_pass").c_str(), [j](benchmark::State& state) {
        baseline_buffers buf{std::vector<unsigned char>(j.in, 1), std::vector<unsigned char>(j.out, 0)};
        for (auto _ : state) buf.run(j.in, j.out);
        finish(state, j.items, j.in, j.out);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(j.name.c_str(), [j](benchmark::State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            j.restore();
            state.ResumeTiming();
            if (j.call() < 0) state.SkipWithError("call failed");
        }
        finish(state, j.items, j.in, j.out);
    })->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    static const mesh block = spaced_block(), shuffled = renumbered(block, 2);
    static const tq5::dense2D<unsigned> bad[2] = {degenerated(block.tets, 3), degenerated(shuffled.tets, 3)};
    static const mesh* meshes[2] = {&block, &shuffled};
    // Working copies and outputs live across iterations, so that calls write in place.
    static tq5::dense2D<double> pos;
    static tq5::dense2D<unsigned> conn;
    static tq5::dense1D<unsigned> map;
    const char* order[2] = {"block", "random"};
    for (int k = 0; k < 2; ++k) {
        const mesh& m = *meshes[k];
        const std::size_t ne = m.tets.cols(), n = m.pos.cols();
        const tq5::dense2D<unsigned>& deg = bad[k];
        register_job({std::string("remove_degenerated/") + order[k], ne, bytes(deg), bytes(deg) + ne * sizeof(unsigned),
                      [&deg] { conn.copy(deg); }, [] { return cw::remove_degenerated(conn, map, false); }});
        register_job({std::string("simplify/") + order[k], n, bytes(m.tets) + bytes(m.pos),
                      bytes(m.tets) + bytes(m.pos) + n * sizeof(unsigned),
                      [&m] {
                          conn.copy(m.tets);
                          pos.copy(m.pos);
                      },
                      [] { return cw::simplify(pos, conn, map, 0u); }});
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

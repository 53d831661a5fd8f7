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

#include "baseline_jobs.hpp"
#include "block_mesh.hpp"
#include "real_mesh.hpp"

namespace cw = tq5::cellworks;

namespace {

using tq5::bench::job;
using tq5::bench::register_job;

template <class T> std::size_t bytes(const tq5::dense2D<T>& m) { return m.rows() * m.cols() * sizeof(T); }

using mesh = tq5::bench::real_mesh;

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

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    static const mesh block = spaced_block(), shuffled = tq5::bench::renumbered(block, 2);
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

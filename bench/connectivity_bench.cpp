// Connectivity tools on the 1M-tetrahedra block (55 x 55 x 55 cells, 998,250
// tetrahedra) and on a mixed solid matrix of 1M columns, each beside a baseline
// in the same run: reading its input once and writing its output once (a copy
// of as many bytes as both share, plus a read or a fill of the rest).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

#include "baseline_jobs.hpp"
#include "block_mesh.hpp"

namespace cw = tq5::cellworks;

namespace {

using tq5::bench::job;
using tq5::bench::register_job;

std::size_t bytes(const tq5::dense2D<unsigned>& m) { return m.rows() * m.cols() * sizeof(unsigned); }
std::size_t bytes(const tq5::dense1D<unsigned>& v) { return v.size() * sizeof(unsigned); }

struct fixtures {
    tq5::dense2D<unsigned> tets, neighbors;  // the block and its neighbour matrix
    tq5::dense2D<unsigned> mixed, mixed_nb;  // 1M mixed solids, with random links

    fixtures() {
        tq5::fixtures::block_tetra(55, 55, 55, tets);
        cw::get_neighbors(tets, cw::ET_TETRA4, false, neighbors);
        // Tetrahedra, pyramids, prisms and hexahedra in random order (fixed seed),
        // linked to columns at most 512 places away, as the numbering of a
        // generated mesh keeps neighbours near each other.
        const std::size_t n = 1000000;
        std::mt19937 rng(1);
        mixed.resize(8, n, cw::NO_INDEX);
        mixed_nb.resize(6, n, cw::NO_INDEX);
        const unsigned kinds[] = {4, 5, 6, 8};
        for (std::size_t j = 0; j < n; ++j) {
            const unsigned v = kinds[rng() % 4];
            for (unsigned r = 0; r < v; ++r) mixed(r, j) = rng() % 200000;
            for (unsigned r = 0; r < 6; ++r) {
                const std::size_t near = j + rng() % 1024;
                mixed_nb(r, j) = rng() % 4 && near >= 512 && near - 512 < n ? unsigned(near - 512) : cw::NO_INDEX;
            }
        }
    }
};

const fixtures& data() {
    static const fixtures f;
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const fixtures& f = data();
    const std::size_t ne = f.tets.cols(), nm = f.mixed.cols();

    // Outputs live across iterations, so that later calls write in place.
    static tq5::dense1D<unsigned> idx, vals;
    static tq5::dense2D<unsigned> faces, c, nb, cm, nbm;
    auto node_graph = [&] { return cw::get_node_graph(f.tets, idx, vals); };
    node_graph();
    register_job({"get_node_graph", ne, bytes(f.tets), bytes(idx) + bytes(vals), nullptr, node_graph});

    auto connected = [&] { return cw::get_connected_elements(f.tets, idx, vals); };
    connected();
    register_job({"get_connected_elements", ne, bytes(f.tets), bytes(idx) + bytes(vals), nullptr, connected});

    auto boundaries = [&] {
        faces.clear();
        return cw::get_mesh_boundaries(f.tets, f.neighbors, cw::ET_TETRA4, faces);
    };
    boundaries();
    register_job({"get_mesh_boundaries", ne, bytes(f.tets) + bytes(f.neighbors), bytes(faces), nullptr, boundaries});
    auto with_neighbors = [&] {
        faces.clear();
        const int rc = cw::get_neighbors(f.tets, cw::ET_TETRA4, false, nb);
        return rc ? rc : cw::get_mesh_boundaries(f.tets, nb, cw::ET_TETRA4, faces);
    };
    register_job({"get_neighbors+get_mesh_boundaries", ne, bytes(f.tets), bytes(faces), nullptr, with_neighbors});

    auto listing = [&] { return cw::get_subdomains(f.neighbors, vals, idx); };
    listing();
    register_job({"get_subdomains/list", ne, bytes(f.neighbors), bytes(vals) + bytes(idx), nullptr, listing});

    auto restore_mesh = [&] {
        c.copy(f.tets);
        nb.copy(f.neighbors);
    };
    auto reorder = [&] { return cw::get_subdomains(c, nb, idx); };
    register_job({"get_subdomains/reorder", ne, bytes(f.tets) + bytes(f.neighbors),
                  bytes(f.tets) + bytes(f.neighbors) + sizeof(unsigned) * 2, restore_mesh, reorder});

    static tq5::dense1D<unsigned> sizes, ends, o2n;
    auto restore_mixed = [&] {
        cm.copy(f.mixed);
        nbm.copy(f.mixed_nb);
    };
    auto sort_one = [&] { return cw::sort_elfes(cm, sizes, ends, o2n); };
    register_job(
        {"sort_elfes", nm, bytes(f.mixed), bytes(f.mixed) + nm * sizeof(unsigned) + 32, restore_mixed, sort_one});
    auto sort_two = [&] { return cw::sort_elfes(cm, nbm, sizes, ends, o2n); };
    register_job({"sort_elfes+neighbors", nm, bytes(f.mixed) + bytes(f.mixed_nb),
                  bytes(f.mixed) + bytes(f.mixed_nb) + nm * sizeof(unsigned) + 32, restore_mixed, sort_two});

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

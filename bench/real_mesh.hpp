// Real tetrahedral meshes for the benchmarks, read from the little-endian
// binary layout of the shared data folder: the 8 characters "TETS0001", the
// node count and the tetrahedron count (uint64 each), x y z per node (double),
// then four 0-based node ids per tetrahedron (uint32). Speed is then measured
// on the numbering a mesh generator gives, and, through `renumbered`, on a
// random one, the worst case for locality.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace bench {

struct real_mesh {
    dense2D<double> pos;     // 3 x #nodes
    dense2D<unsigned> tets;  // 4 x #tetrahedra
};

// Takes `--mesh=PATH` out of the command line into `path`, before the
// benchmark library reads the other arguments.
inline void take_mesh_argument(int& argc, char** argv, std::string& path) {
    int kept = 1;
    for (int k = 1; k < argc; ++k) {
        if (std::strncmp(argv[k], "--mesh=", 7) == 0)
            path = argv[k] + 7;
        else
            argv[kept++] = argv[k];
    }
    argc = kept;
}

// Reads `path` into `m`; false (with `m` cleared) when the file is missing,
// malformed or too large for memory.
inline bool read_real_mesh(const std::string& path, real_mesh& m) {
    m.pos.clear();
    m.tets.clear();
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!f) return false;
    char magic[8];
    std::uint64_t counts[2];
    if (std::fread(magic, 1, 8, f.get()) != 8 || std::memcmp(magic, "TETS0001", 8) != 0 ||
        std::fread(counts, sizeof counts[0], 2, f.get()) != 2 || counts[0] >= 0xFFFFFFFFu || counts[1] >= 0xFFFFFFFFu)
        return false;
    const std::size_t nn = std::size_t(counts[0]), nt = std::size_t(counts[1]);
    // The containers pack their columns (ld = rows), so each matrix is read whole.
    const bool ok = m.pos.resize(3, nn) && m.tets.resize(4, nt) && m.pos.ld() == 3 && m.tets.ld() == 4 &&
                    std::fread(m.pos.data(), sizeof(double), 3 * nn, f.get()) == 3 * nn &&
                    std::fread(m.tets.data(), sizeof(unsigned), 4 * nt, f.get()) == 4 * nt &&
                    std::all_of(m.tets.data(), m.tets.data() + 4 * nt, [nn](unsigned id) { return id < nn; });
    if (!ok) {
        m.pos.clear();
        m.tets.clear();
    }
    return ok;
}

// A copy of `m` with nodes and elements in a random order drawn from `seed`:
// new node k is old node perm[k], and the connectivity is renumbered to match.
inline real_mesh renumbered(const real_mesh& m, std::uint64_t seed = 20240601) {
    std::mt19937_64 rng(seed);
    const std::size_t nn = m.pos.cols(), nt = m.tets.cols();
    std::vector<unsigned> node_order(nn), elem_order(nt), new_id(nn);
    std::iota(node_order.begin(), node_order.end(), 0u);
    std::iota(elem_order.begin(), elem_order.end(), 0u);
    std::shuffle(node_order.begin(), node_order.end(), rng);
    std::shuffle(elem_order.begin(), elem_order.end(), rng);
    real_mesh r;
    r.pos.resize(3, nn);
    r.tets.resize(4, nt);
    for (std::size_t k = 0; k < nn; ++k) {
        new_id[node_order[k]] = unsigned(k);
        for (std::size_t a = 0; a < 3; ++a) r.pos(a, k) = m.pos(a, node_order[k]);
    }
    for (std::size_t e = 0; e < nt; ++e)
        for (std::size_t a = 0; a < 4; ++a) r.tets(a, e) = new_id[m.tets(a, elem_order[e])];
    return r;
}

// A mesh in the generator's numbering and its renumbered copy; `ok` is false
// when the file could not be read.
struct real_meshes {
    bool ok = false;
    real_mesh given, shuffled;
};

// The mesh of `path` and its copy, read on the first call and kept: later
// calls return the same, whatever their path.
inline const real_meshes& read_once(const std::string& path) {
    static const real_meshes m = [&path] {
        real_meshes r;
        r.ok = read_real_mesh(path, r.given);
        if (r.ok) r.shuffled = renumbered(r.given);
        return r;
    }();
    return m;
}

}  // namespace bench
}  // namespace tq5

// CellWorks demo: builds structured blocks of tetrahedra and hexahedra,
// validates them, computes element neighbours and reports faces and boundary
// faces with the time taken. Optional argument: cells per block edge.
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"

namespace cw = tq5::cellworks;

namespace {

const char* describe(int code) {
    switch (code) {
        case 0: return "ok";
        case -1: return "bad connectivity";
        case -2: return "unsupported element type";
        case cw::ERR_ALLOC: return "out of memory";
        default: return "error";
    }
}

// Validates one block and reports its faces; returns false on failure.
bool report(const char* name, const tq5::dense2D<double>& pos, const tq5::dense2D<unsigned>& connect,
            cw::element_type type) {
    if (!cw::check_IDs(connect, type, unsigned(pos.cols()))) {
        std::printf("%-12s invalid connectivity\n", name);
        return false;
    }
    tq5::dense2D<unsigned> neighbors;
    const auto t0 = std::chrono::steady_clock::now();
    const int rc = cw::get_neighbors(connect, type, false, neighbors);
    const auto t1 = std::chrono::steady_clock::now();
    if (rc != 0) {
        std::printf("%-12s get_neighbors failed: %s (%d)\n", name, describe(rc), rc);
        return false;
    }
    std::size_t boundary = 0, linked = 0;
    const unsigned* nb = neighbors.data();
    for (std::size_t e = 0; e < neighbors.cols(); ++e)
        for (std::size_t i = 0; i < neighbors.rows(); ++i)
            (nb[e * neighbors.ld() + i] == cw::NO_INDEX ? boundary : linked) += 1;
    const double ms = std::chrono::duration<double, std::milli>(t1 - t0).count();
    std::printf("%-12s %9zu elements  %9zu faces  %8zu boundary faces  %8.1f ms\n", name, connect.cols(),
                linked / 2 + boundary, boundary, ms);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned n = argc > 1 ? unsigned(std::strtoul(argv[1], nullptr, 10)) : 40;
    if (n == 0 || n > 400) {
        std::fprintf(stderr, "usage: %s [cells per edge, 1 to 400]\n", argv[0]);
        return 2;
    }
    std::printf("CellWorks %s: %u x %u x %u cells\n", cw::version(), n, n, n);
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tets, hexa;
    if (!tq5::examples::block_nodes(n, n, n, pos) || !tq5::examples::block_tetra(n, n, n, tets) ||
        !tq5::examples::block_hexa(n, n, n, hexa)) {
        std::fprintf(stderr, "out of memory building the blocks\n");
        return 1;
    }
    std::printf("%-12s %9zu nodes\n", "lattice", pos.cols());
    const bool ok = report("tetrahedra", pos, tets, cw::ET_TETRA4) && report("hexahedra", pos, hexa, cw::ET_HEXA8);
    return ok ? 0 : 1;
}

// Structured blocks of elements for the demo, the examples, the tests and the
// benchmarks: nx x ny x nz cells on a unit lattice, each cell one hexahedron or
// six positively oriented tetrahedra around its main diagonal (so neighbouring
// cells share whole faces). Node (i, j, k) has number i + (nx+1) (j + (ny+1) k).
#pragma once

#include <cstddef>

#include <tq5/cellworks.hpp>

namespace tq5 {
namespace fixtures {

// Fills `pos` (3 x #nodes) with the lattice; false when storage fails.
inline bool block_nodes(unsigned nx, unsigned ny, unsigned nz, dense2D<double>& pos) {
    pos.clear();
    if (!pos.resize(3, std::size_t(nx + 1) * (ny + 1) * (nz + 1))) return false;
    double* p = pos.data();
    for (unsigned k = 0; k <= nz; ++k)
        for (unsigned j = 0; j <= ny; ++j)
            for (unsigned i = 0; i <= nx; ++i, p += 3) p[0] = i, p[1] = j, p[2] = k;
    return true;
}

// Node number of corner `bit` (x, y, z bits) of cell (i, j, k).
inline unsigned block_corner(unsigned nx, unsigned ny, unsigned i, unsigned j, unsigned k, unsigned bit) {
    return i + (bit & 1u) + (nx + 1) * (j + ((bit >> 1) & 1u) + (ny + 1) * (k + ((bit >> 2) & 1u)));
}

// One ET_HEXA8 per cell, bottom face (0,1,2,3) counter-clockwise seen from above.
inline bool block_hexa(unsigned nx, unsigned ny, unsigned nz, dense2D<unsigned>& hexa) {
    static const unsigned corner[8] = {0, 1, 3, 2, 4, 5, 7, 6};
    hexa.clear();
    if (!hexa.resize(8, std::size_t(nx) * ny * nz)) return false;
    unsigned* d = hexa.data();
    for (unsigned k = 0; k < nz; ++k)
        for (unsigned j = 0; j < ny; ++j)
            for (unsigned i = 0; i < nx; ++i, d += 8)
                for (unsigned r = 0; r < 8; ++r) d[r] = block_corner(nx, ny, i, j, k, corner[r]);
    return true;
}

// Six ET_TETRA4 per cell, (0, a, a+b, 7) for each order of the axes, with
// positive volume (the odd orders swap their last two nodes).
inline bool block_tetra(unsigned nx, unsigned ny, unsigned nz, dense2D<unsigned>& tets) {
    static const unsigned path[6][4] = {{0, 1, 3, 7}, {0, 2, 6, 7}, {0, 4, 5, 7},
                                        {0, 1, 7, 5}, {0, 2, 7, 3}, {0, 4, 7, 6}};
    tets.clear();
    if (!tets.resize(4, std::size_t(6) * nx * ny * nz)) return false;
    unsigned* d = tets.data();
    for (unsigned k = 0; k < nz; ++k)
        for (unsigned j = 0; j < ny; ++j)
            for (unsigned i = 0; i < nx; ++i)
                for (unsigned t = 0; t < 6; ++t, d += 4)
                    for (unsigned r = 0; r < 4; ++r) d[r] = block_corner(nx, ny, i, j, k, path[t][r]);
    return true;
}

}  // namespace fixtures
}  // namespace tq5

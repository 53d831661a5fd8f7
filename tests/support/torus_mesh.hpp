// A torus of triangles for the benchmarks: R = 1, r = 0.35 on an nu x nv grid
// of cells, periodic both ways, two triangles (a, b, c), (a, c, d) per cell.
// The conforming mesh has nu nv nodes; the soup gives each triangle its own
// three vertices, rounded through float as a binary file would hold them.
#pragma once

#include <cmath>
#include <cstddef>

#include <tq5/cellworks.hpp>

namespace tq5 {
namespace fixtures {

inline bool torus_mesh(unsigned nu, unsigned nv, dense2D<double>& pos, dense2D<unsigned>& tria) {
    const double two_pi = 6.283185307179586, R = 1, r = 0.35;
    if (!pos.resize(3, std::size_t(nu) * nv) || !tria.resize(3, 2 * std::size_t(nu) * nv)) return false;
    for (unsigned i = 0; i < nu; ++i)
        for (unsigned j = 0; j < nv; ++j) {
            const double u = two_pi * i / nu, v = two_pi * j / nv, w = R + r * std::cos(v);
            double* p = &pos(0, std::size_t(i) * nv + j);
            p[0] = w * std::cos(u), p[1] = w * std::sin(u), p[2] = r * std::sin(v);
        }
    unsigned* t = tria.data();
    for (unsigned i = 0; i < nu; ++i)
        for (unsigned j = 0; j < nv; ++j, t += 6) {
            const unsigned i1 = (i + 1) % nu, j1 = (j + 1) % nv;
            const unsigned a = i * nv + j, b = i1 * nv + j, c = i1 * nv + j1, d = i * nv + j1;
            const unsigned both[6] = {a, b, c, a, c, d};
            for (int k = 0; k < 6; ++k) t[k] = both[k];
        }
    return true;
}

// The soup of a triangle mesh: vertex 3 t + k is corner k of triangle t,
// rounded through float.
inline bool triangle_soup(const dense2D<double>& pos, const dense2D<unsigned>& tria, dense2D<double>& soup) {
    if (!soup.resize(3, 3 * tria.cols())) return false;
    for (std::size_t t = 0; t < tria.cols(); ++t)
        for (unsigned k = 0; k < 3; ++k)
            for (unsigned x = 0; x < 3; ++x) soup(x, 3 * t + k) = double(float(pos(x, tria(k, t))));
    return true;
}

}  // namespace fixtures
}  // namespace tq5

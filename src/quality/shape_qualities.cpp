#include <tq5/cellworks/quality/shape_qualities.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <utility>

#include <tq5/cellworks/core/check_IDs.hpp>

namespace tq5 {
namespace cellworks {

namespace {

// Normalising constants: the regular element of each kind scores 1.
constexpr double C_TRIA = 3.4641016151377544;  // 2 sqrt 3
constexpr double C_QUAD = 5.656854249492381;   // 4 sqrt 2
constexpr double C_TETRA = 4.898979485566356;  // 2 sqrt 6
constexpr double C_WEDGE = 31.17691453623979;  // 18 sqrt 3
constexpr double C_HEXA = 41.569219381653056;  // 24 sqrt 3
const double C_PYRA = std::sqrt(6.0) * 24.0;   // 24 sqrt 6

// At or below: flat or invalid, no further test; a second test below it
// replaces the quality.
constexpr double FLAT = 1e-12;
// A tetrahedron at or above this, free of rounding trouble, is taken at once.
constexpr double TETRA_SURE = 1e-10;
// A pyramid at or above this (24 sqrt 3 x 1e-12) skips its second test.
constexpr double PYRA_SURE = 4.1569219381653057e-11;

struct vec {
    double x, y, z;
};
vec operator-(const vec& a, const vec& b) noexcept { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
double dot(const vec& a, const vec& b) noexcept { return a.x * b.x + a.y * b.y + a.z * b.z; }
vec cross(const vec& a, const vec& b) noexcept {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double det(const vec& a, const vec& b, const vec& c) noexcept { return dot(cross(a, b), c); }
double clamp(double v, double lo, double hi) noexcept { return v < lo ? lo : v > hi ? hi : v; }

// Cosine of the angle between u and v; -1 when either has no length.
double cosine(const vec& u, const vec& v) noexcept {
    const double l2 = dot(u, u) * dot(v, v);
    return l2 > 0 ? dot(u, v) / std::sqrt(l2) : -1.0;
}

// Flatness of the quadrangle p0 p1 p2 p3: 1 when plane and convex, 0 when
// folded flat on itself; opposite corner normals are compared.
double flatness(const vec& p0, const vec& p1, const vec& p2, const vec& p3) noexcept {
    const vec e0 = p1 - p0, e1 = p2 - p1, e2 = p3 - p2, e3 = p0 - p3;
    const double cos1 = cosine(cross(e0, e1), cross(e2, e3)), cos2 = cosine(cross(e3, e0), cross(e1, e2));
    return clamp((std::min(cos1, cos2) + 1) * 0.5, 0.0, 1.0);
}

// ---------------------------------------------------------------------------
// Surface kernels.

double triangle(const vec* p, bool in_3d) noexcept {
    const vec a = p[1] - p[0], b = p[2] - p[0], c = p[2] - p[1];
    const double l0 = std::sqrt(dot(a, a)), l1 = std::sqrt(dot(c, c)), l2 = std::sqrt(dot(b, b));
    const double lmax = std::max(l0, std::max(l1, l2));
    if (!(lmax > 0)) return 0;
    const vec n = cross(a, b);
    const double twice_area = in_3d ? std::sqrt(dot(n, n)) : n.z;
    return clamp(C_TRIA * twice_area / ((l0 + l1 + l2) * lmax), -1.0, 1.0);
}

double quadrangle(const vec* p, bool in_3d) noexcept {
    vec e[4], n[4];
    double perimeter = 0, longest = 0;
    for (int i = 0; i < 4; ++i) {
        e[i] = p[(i + 1) % 4] - p[i];
        const double l = std::sqrt(dot(e[i], e[i]));
        perimeter += l;
        longest = std::max(longest, l);
    }
    const vec d0 = p[2] - p[0], d1 = p[3] - p[1];
    const double diagonal = std::max(std::sqrt(dot(d0, d0)), std::sqrt(dot(d1, d1)));
    longest = std::max(longest, diagonal);
    // The corner normals: incoming edge x outgoing edge.
    double c = 0;
    for (int i = 0; i < 4; ++i) {
        n[i] = cross(e[(i + 3) % 4], e[i]);
        const double ci = in_3d ? std::sqrt(dot(n[i], n[i])) : n[i].z;
        c = i == 0 ? ci : std::min(c, ci);
    }
    const double base = diagonal > 0 ? C_QUAD * c / (longest * perimeter) : 0.0;
    if (!in_3d) return clamp(base, -1.0, 1.0);
    return clamp(base * flatness(p[0], p[1], p[2], p[3]), 0.0, 1.0);
}

// ---------------------------------------------------------------------------
// Tetrahedra.

// 2 sqrt 6 x the inscribed radius over the longest edge of the tetrahedron
// spanned by a, b, c from its fourth vertex; `rounded` is set when a squared
// face area came out negative.
double tetra_measure(const vec& a, const vec& b, const vec& c, bool& rounded) noexcept {
    const double aa = dot(a, a), bb = dot(b, b), cc = dot(c, c), ab = dot(a, b), bc = dot(b, c), ac = dot(a, c);
    const double ab2 = (aa - ab) + (bb - ab), ac2 = (aa - ac) + (cc - ac), bc2 = (bb - bc) + (cc - bc);
    const double abac = (aa - ab) - (ac - bc);  // (a - b) . (a - c)
    double g[4] = {aa * bb - ab * ab, aa * cc - ac * ac, bb * cc - bc * bc, ac2 * ab2 - abac * abac};
    rounded = false;
    double s = 0;
    for (double& gi : g) {
        if (gi < 0) rounded = true, gi = 0;
        s += std::sqrt(gi);
    }
    const double l = std::sqrt(std::max({aa, bb, cc, ab2, ac2, bc2}));
    if (!(s * l > 0)) return 0;
    return clamp(det(a, b, c) * C_TETRA / (s * l), -1.0, 1.0);
}

// The guarded measure of the tetrahedron p0 p1 p2 p3: when the first value is
// small or hit by rounding, the lowest over the 12 even orders of the nodes.
double tetrahedron(const vec& p0, const vec& p1, const vec& p2, const vec& p3) noexcept {
    bool rounded;
    double m = tetra_measure(p0 - p3, p1 - p3, p2 - p3, rounded);
    if ((!rounded && m >= TETRA_SURE) || !(m > FLAT)) return m;
    const vec* p[4] = {&p0, &p1, &p2, &p3};
    for (int k = 1; k < 12 && m > FLAT; ++k) {
        const int q = k / 3, r = k % 3;
        const vec* o[4];
        for (int i = 0; i < 4; ++i) o[i] = p[(i + q) % 4];
        std::rotate(o + 1, o + 1 + r, o + 4);
        if (q % 2) std::swap(o[1], o[2]);
        m = std::min(m, tetra_measure(*o[0] - *o[3], *o[1] - *o[3], *o[2] - *o[3], rounded));
    }
    return m;
}

// ---------------------------------------------------------------------------
// Pyramids, wedges and hexahedra.

// The pyramid on the base p0 p1 p2 p3 with apex p4, second test included.
double pyramid(const vec* p, bool in_3d) noexcept {
    const vec a0 = p[0] - p[4], a1 = p[1] - p[4], a2 = p[2] - p[4], a3 = p[3] - p[4];
    const double d = std::min(std::min(det(a0, a2, a1), det(a0, a2, p[4] - p[3])),
                              std::min(det(a1, a3, a2), det(a1, a3, p[4] - p[0])));
    double s = 2 * (dot(a0, a0) + dot(a1, a1) + dot(a2, a2) + dot(a3, a3));
    for (int i = 0; i < 4; ++i) {
        const vec e = p[(i + 1) % 4] - p[i];
        s += dot(e, e);
    }
    double quality = s > 0 ? C_PYRA * d * std::pow(s, -1.5) : 0.0;
    if (in_3d) quality *= flatness(p[0], p[1], p[2], p[3]);
    quality = clamp(quality, -1.0, 1.0);
    if (quality > FLAT && quality < PYRA_SURE) {
        double t = 1.0;
        for (int i = 0; i < 4; ++i) t = std::min(t, tetrahedron(p[i], p[(i + 2) % 4], p[(i + 1) % 4], p[4]));
        if (t < FLAT) quality = t;
    }
    return quality;
}

// What differs between wedges and hexahedra: corners with their three
// neighbours, edges, quadrangular and triangular faces (each turned so that
// the element's centre lies on its positive side), and the constant.
struct solid_table {
    int nodes;
    const int (*corners)[3];
    int edge_count;
    const int (*edges)[2];
    int quad_count;
    const int (*quads)[4];
    int tria_count;
    const int (*trias)[3];
    double constant;
};

constexpr int hexa_corners[8][3] = {{1, 3, 4}, {2, 0, 5}, {3, 1, 6}, {0, 2, 7},
                                    {7, 5, 0}, {4, 6, 1}, {5, 7, 2}, {6, 4, 3}};
constexpr int hexa_edges[12][2] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                   {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
constexpr int hexa_faces[6][4] = {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
constexpr int wedge_corners[6][3] = {{1, 2, 3}, {2, 0, 4}, {0, 1, 5}, {5, 4, 0}, {3, 5, 1}, {4, 3, 2}};
constexpr int wedge_edges[9][2] = {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}};
constexpr int wedge_quads[3][4] = {{2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}};
constexpr int wedge_trias[2][3] = {{0, 1, 2}, {3, 5, 4}};

const solid_table hexa_table{8, hexa_corners, 12, hexa_edges, 6, hexa_faces, 0, nullptr, C_HEXA};
const solid_table wedge_table{6, wedge_corners, 9, wedge_edges, 3, wedge_quads, 2, wedge_trias, C_WEDGE};

double solid(const solid_table& t, const vec* p, bool in_3d) noexcept {
    double d = 0, s = 0;
    for (int i = 0; i < t.nodes; ++i) {
        const int* n = t.corners[i];
        const double di = det(p[n[0]] - p[i], p[n[1]] - p[i], p[n[2]] - p[i]);
        d = i == 0 ? di : std::min(d, di);
    }
    for (int k = 0; k < t.edge_count; ++k) {
        const vec e = p[t.edges[k][1]] - p[t.edges[k][0]];
        s += dot(e, e);
    }
    double quality = s > 0 ? t.constant * d * std::pow(s, -1.5) : 0.0;
    if (in_3d) {
        double flat = 1.0;
        for (int f = 0; f < t.quad_count; ++f) {
            const int* q = t.quads[f];
            flat = f == 0 ? flatness(p[q[0]], p[q[1]], p[q[2]], p[q[3]])
                          : std::min(flat, flatness(p[q[0]], p[q[1]], p[q[2]], p[q[3]]));
        }
        quality *= flat;
    }
    quality = clamp(quality, -1.0, 1.0);
    if (!(quality > FLAT)) return quality;
    // Second test: the parts that the faces make with the centre.
    vec centre{0, 0, 0};
    for (int i = 0; i < t.nodes; ++i) centre = {centre.x + p[i].x, centre.y + p[i].y, centre.z + p[i].z};
    centre = {centre.x / t.nodes, centre.y / t.nodes, centre.z / t.nodes};
    double test = 1.0;
    for (int f = 0; f < t.tria_count; ++f) {
        const int* tr = t.trias[f];
        test = std::min(test, -tetrahedron(p[tr[0]], p[tr[1]], p[tr[2]], centre));
    }
    for (int f = 0; f < t.quad_count; ++f) {
        const int* q = t.quads[f];
        const vec base[5] = {p[q[0]], p[q[1]], p[q[2]], p[q[3]], centre};
        test = std::min(test, pyramid(base, in_3d));
    }
    return test < FLAT ? test : quality;
}

// ---------------------------------------------------------------------------
// The kernel table.

enum class kernel { bar, triangle, quadrangle, face_mix, tetrahedron, pyramid, wedge, hexahedron, none };

kernel kernel_of(element_type type, std::size_t rows) noexcept {
    switch (type) {
        case ET_BAR2: return kernel::bar;
        case ET_TRIA3: return kernel::triangle;
        case ET_QUAD4: return kernel::quadrangle;
        case ET_FACE_MIX: return rows == 3 ? kernel::triangle : kernel::face_mix;
        case ET_TETRA4: return kernel::tetrahedron;
        case ET_PYRA5: return kernel::pyramid;
        case ET_PENTA6: return kernel::wedge;
        case ET_HEXA8: return kernel::hexahedron;
        case ET_SOLID_MIX:
            return rows == 4   ? kernel::tetrahedron
                   : rows == 5 ? kernel::pyramid
                   : rows == 6 ? kernel::wedge
                               : kernel::hexahedron;
        default: return kernel::none;
    }
}

int corners_of(kernel k) noexcept {
    constexpr int count[] = {2, 3, 4, 4, 4, 5, 6, 8, 0};
    return count[int(k)];
}

// The qualities of the columns of `conn` into q[0 .. cols).
void measure(const dense2D<double>& pos, const dense2D<unsigned>& conn, kernel k, double* q) noexcept {
    const std::size_t cols = conn.cols(), ld = conn.ld(), pld = pos.ld();
    const unsigned* c = conn.data();
    const double* x = pos.data();
    const bool in_3d = pos.rows() == 3;
    if (k == kernel::bar) {
        std::fill(q, q + cols, 1.0);
        return;
    }
    for (std::size_t j = 0; j < cols; ++j, c += ld) {
        kernel here = k;
        if (k == kernel::face_mix) here = c[3] == NO_INDEX ? kernel::triangle : kernel::quadrangle;
        const int n = corners_of(here);
        vec p[8];
        bool padded = false;
        for (int i = 0; i < n; ++i) {
            padded = padded || c[i] == NO_INDEX;
            if (padded) break;
            const double* xi = x + std::size_t(c[i]) * pld;
            p[i] = {xi[0], xi[1], in_3d ? xi[2] : 0.0};
        }
        if (padded) {  // a padded column of a mixed solid matrix
            q[j] = 0;
            continue;
        }
        switch (here) {
            case kernel::triangle: q[j] = triangle(p, in_3d); break;
            case kernel::quadrangle: q[j] = quadrangle(p, in_3d); break;
            case kernel::tetrahedron: q[j] = tetrahedron(p[0], p[1], p[2], p[3]); break;
            case kernel::pyramid: q[j] = pyramid(p, in_3d); break;
            case kernel::wedge: q[j] = solid(wedge_table, p, in_3d); break;
            default: q[j] = solid(hexa_table, p, in_3d); break;
        }
    }
}

// One matrix into q[0 .. conn.cols()), already zeros.
int one_matrix(const dense2D<double>& pos, const dense2D<unsigned>& conn, element_type type, double* q) noexcept {
    const kernel k = kernel_of(type, conn.rows());
    if (k == kernel::none) return -3;
    if (conn.cols() == 0 || (k == kernel::bar && conn.rows() == 0)) return 0;
    if (!check_IDs(conn, type, unsigned(std::min<std::size_t>(pos.cols(), NO_INDEX)))) return -2;
    measure(pos, conn, k, q);
    return 0;
}

template <class F> int into_histogram(misc::histogram& hist, F fill) noexcept {
    dense1D<double> list;
    const int code = fill(list);
    if (code == 0) hist.process(list);
    return code;
}

}  // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& conn, element_type type,
                    dense1D<double>& qualities) noexcept {
    qualities.clear();
    if (!qualities.resize(conn.cols(), 0.0)) return ERR_ALLOC;
    const int code = one_matrix(pos, conn, type, qualities.data());
    if (code != 0) qualities.clear();
    return code;
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& conn, element_type type,
                    misc::histogram& hist) noexcept {
    dense1D<int> types;
    if (!types.push_back(type)) return ERR_ALLOC;
    return into_histogram(hist,
                          [&](dense1D<double>& list) { return shape_qualities(pos, &conn, &conn + 1, types, list); });
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                    const dense1D<int>& types, dense1D<double>& qualities) noexcept {
    qualities.clear();
    if (std::less<const dense2D<unsigned>*>()(last, first)) return -3;
    if (std::size_t(last - first) != types.size()) return -4;
    std::size_t total = 0;
    for (const dense2D<unsigned>* m = first; m != last; ++m) total += m->cols();
    if (!qualities.resize(total, 0.0)) return ERR_ALLOC;
    double* q = qualities.data();
    for (const dense2D<unsigned>* m = first; m != last; q += m->cols(), ++m) {
        if (m->rows() == 0 || m->cols() == 0) continue;
        const int code = one_matrix(pos, *m, element_type(types[std::size_t(m - first)]), q);
        if (code != 0) {
            qualities.clear();
            return code;
        }
    }
    return 0;
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                    const dense1D<int>& types, misc::histogram& hist) noexcept {
    return into_histogram(hist, [&](dense1D<double>& list) { return shape_qualities(pos, first, last, types, list); });
}

}  // namespace cellworks
}  // namespace tq5

// Shape qualities: regular elements score 1, and keep their score when moved,
// turned and scaled; orientation, flat and collapsed elements, the flatness
// factor, the tetrahedron guard, the mixed kinds and every code.
#include <array>

#include "test_support.hpp"

using namespace cwtest;

namespace {

using point = std::array<double, 3>;

struct element {
    cw::element_type type;
    std::vector<point> nodes;
};

const double H = std::sqrt(0.75), R2 = std::sqrt(0.5);
// The regular element of each kind, positively turned.
const std::vector<element> regular = {
    {cw::ET_TRIA3, {{0, 0, 0}, {1, 0, 0}, {0.5, H, 0}}},
    {cw::ET_QUAD4, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}},
    {cw::ET_TETRA4, {{0, 0, 0}, {1, 0, 0}, {0.5, H, 0}, {0.5, H / 3, -std::sqrt(2.0 / 3)}}},
    {cw::ET_PYRA5, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, R2}}},
    {cw::ET_PENTA6, {{0, 0, 0}, {1, 0, 0}, {0.5, H, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, H, 1}}},
    {cw::ET_HEXA8, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}},
};

// The elements as one matrix of columns over their own nodes.
struct mesh {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> conn;
    mesh(const std::vector<std::vector<point>>& elements, unsigned rows = 3) {
        const std::size_t n = elements[0].size();
        pos.resize(rows, n * elements.size());
        conn.resize(n, elements.size());
        for (std::size_t e = 0; e < elements.size(); ++e)
            for (std::size_t i = 0; i < n; ++i) {
                for (unsigned k = 0; k < rows; ++k) pos(k, e * n + i) = elements[e][i][k];
                conn(i, e) = unsigned(e * n + i);
            }
    }
};

std::vector<double> qualities(const std::vector<std::vector<point>>& elements, cw::element_type type,
                              unsigned rows = 3) {
    const mesh m(elements, rows);
    tq5::dense1D<double> q;
    EXPECT_EQ(cw::shape_qualities(m.pos, m.conn, type, q), 0);
    return values(q);
}

// Turned about an axis, scaled and moved.
std::vector<point> moved(std::vector<point> nodes, double angle, double scale, const point& shift) {
    const double c = std::cos(angle), s = std::sin(angle), k = 1 / std::sqrt(3.0);
    for (point& p : nodes) {
        // Rodrigues about (1, 1, 1) / sqrt 3.
        const double d = k * (p[0] + p[1] + p[2]);
        const point x = {k * (p[2] - p[1]), k * (p[0] - p[2]), k * (p[1] - p[0])};  // axis x p
        point r;
        for (int i = 0; i < 3; ++i) r[i] = scale * (p[i] * c + x[i] * s + k * d * (1 - c)) + shift[i];
        p = r;
    }
    return nodes;
}

TEST(ShapeQualities, RegularElementsScoreOneWhereverTheyStand) {
    for (const element& e : regular) {
        for (double q :
             qualities({e.nodes, moved(e.nodes, 0.7, 3.5, {10, -2, 5}), moved(e.nodes, 2.1, 1e-3, {0, 0, 1})}, e.type))
            EXPECT_NEAR(q, 1.0, 1e-12) << "type " << e.type;
    }
    tq5::dense2D<double> pos(3, 2, 0.0);
    tq5::dense1D<double> q;
    ASSERT_EQ(cw::shape_qualities(pos, columns(2, {0, 1, 1, 0}), cw::ET_BAR2, q), 0);
    EXPECT_EQ(values(q), doubles({1.0, 1.0}));
}

TEST(ShapeQualities, OrientationFlatAndCollapsedElements) {
    // Clockwise in 2D scores minus the counter-clockwise value; in 3D both
    // score the same positive value.
    const std::vector<point> tri = {{0, 0, 0}, {2, 0, 0}, {0.3, 0.9, 0}},
                             quad = {{0, 0, 0}, {2, 0, 0}, {2.2, 1, 0}, {0, 1.3, 0}};
    const std::vector<point> tri_cw = {tri[0], tri[2], tri[1]}, quad_cw = {quad[0], quad[3], quad[2], quad[1]};
    const std::vector<double> t2 = qualities({tri, tri_cw}, cw::ET_TRIA3, 2),
                              t3 = qualities({tri, tri_cw}, cw::ET_TRIA3);
    EXPECT_GT(t2[0], 0);
    EXPECT_EQ(t2[1], -t2[0]);
    EXPECT_EQ(t3[0], t2[0]);
    EXPECT_EQ(t3[1], t2[0]);
    const std::vector<double> q2 = qualities({quad, quad_cw}, cw::ET_QUAD4, 2);
    EXPECT_GT(q2[0], 0);
    EXPECT_LT(q2[1], 0);
    EXPECT_GT(qualities({quad_cw}, cw::ET_QUAD4)[0], 0);
    // Mirrored solids score minus the regular value; flat and collapsed ones
    // 0, never NaN.
    for (std::size_t k = 2; k < regular.size(); ++k) {
        const element& e = regular[k];
        std::vector<point> mirrored = e.nodes, flat = e.nodes, point_like(e.nodes.size(), point{1, 2, 3});
        for (point& p : mirrored) p[2] = -p[2];
        for (point& p : flat) p[2] = 0;
        const std::vector<double> q = qualities({mirrored, flat, point_like}, e.type);
        EXPECT_NEAR(q[0], -1.0, 1e-12) << "type " << e.type;
        EXPECT_EQ(q[1], 0.0) << "type " << e.type;
        EXPECT_EQ(q[2], 0.0) << "type " << e.type;
    }
    for (std::size_t k = 0; k < 2; ++k)
        EXPECT_EQ(qualities({std::vector<point>(regular[k].nodes.size(), point{1, 2, 3})}, regular[k].type)[0], 0.0);
}

TEST(ShapeQualities, AWarpedHexahedronLosesItsFlatnessFactor) {
    // Node 6 lifted: the top face folds along its diagonal 5-7. The corner
    // determinants and squared edges are those of the formula; the factor is
    // the flatness of the folded faces, the smallest of which is the top one.
    std::vector<point> hex = regular[5].nodes;
    hex[6][2] = 1.2;
    auto sub = [](const point& a, const point& b) { return point{a[0] - b[0], a[1] - b[1], a[2] - b[2]}; };
    auto crs = [](const point& a, const point& b) {
        return point{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    };
    auto dt = [](const point& a, const point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    // Top face (4, 7, 6, 5): cosines between opposite corner normals.
    const point p[4] = {hex[4], hex[7], hex[6], hex[5]};
    const point e0 = sub(p[1], p[0]), e1 = sub(p[2], p[1]), e2 = sub(p[3], p[2]), e3 = sub(p[0], p[3]);
    auto cosine = [&](const point& u, const point& v) { return dt(u, v) / std::sqrt(dt(u, u) * dt(v, v)); };
    const double flat = (std::min(cosine(crs(e0, e1), crs(e2, e3)), cosine(crs(e3, e0), crs(e1, e2))) + 1) * 0.5;
    // Lifting node 6 leaves the smallest corner determinant at 1; the edges
    // 2-6, 5-6 and 6-7 grow.
    const double s = 12 + (1.2 * 1.2 - 1) + 2 * (0.2 * 0.2);
    const double q3 = qualities({hex}, cw::ET_HEXA8)[0];
    EXPECT_NEAR(q3, 41.569219381653056 * std::pow(s, -1.5) * flat, 1e-14);
    EXPECT_LT(flat, 1.0);
}

TEST(ShapeQualities, NearlyFlatTetrahedraGoThroughTheGuard) {
    // The twelve even orders of one thin tetrahedron: the guard takes the
    // lowest measure over all of them, so each order scores the same.
    const std::vector<point> thin = {{0, 0, 0}, {1, 0.1, 0}, {0.2, 1, 0}, {0.4, 0.4, -3e-11}};
    std::vector<std::vector<point>> orders;
    const int even[12][4] = {{0, 1, 2, 3}, {0, 2, 3, 1}, {0, 3, 1, 2}, {1, 0, 3, 2}, {1, 2, 0, 3}, {1, 3, 2, 0},
                             {2, 0, 1, 3}, {2, 1, 3, 0}, {2, 3, 0, 1}, {3, 0, 2, 1}, {3, 1, 0, 2}, {3, 2, 1, 0}};
    for (const auto& o : even) orders.push_back({thin[o[0]], thin[o[1]], thin[o[2]], thin[o[3]]});
    const std::vector<double> q = qualities(orders, cw::ET_TETRA4);
    EXPECT_GT(q[0], 1e-12);
    EXPECT_LT(q[0], 1e-10);
    for (double v : q) EXPECT_EQ(v, q[0]);
}

TEST(ShapeQualities, MixedKindsAndRanges) {
    const mesh tris({regular[0].nodes, regular[0].nodes}), quads({regular[1].nodes});
    // A 4-row face matrix: NO_INDEX in row 3 makes a triangle.
    tq5::dense2D<unsigned> faces = columns(4, {0, 1, 2, NO, 0, 1, 2, 3});
    tq5::dense1D<double> q;
    ASSERT_EQ(cw::shape_qualities(quads.pos, faces, cw::ET_FACE_MIX, q), 0);
    EXPECT_NEAR(q[1], 1.0, 1e-12);
    EXPECT_NE(q[0], q[1]);  // the first three corners of the square, as a triangle
    // A 4-row solid mix is a tetrahedron matrix; an 8-row one a hexahedron
    // matrix, where a padded column scores 0.
    const mesh tet({regular[2].nodes}), hex({regular[5].nodes});
    ASSERT_EQ(cw::shape_qualities(tet.pos, tet.conn, cw::ET_SOLID_MIX, q), 0);
    EXPECT_NEAR(q[0], 1.0, 1e-12);
    ASSERT_EQ(cw::shape_qualities(hex.pos, columns(8, {0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, NO, NO, NO, NO}),
                                  cw::ET_SOLID_MIX, q),
              0);
    EXPECT_NEAR(q[0], 1.0, 1e-12);
    EXPECT_EQ(q[1], 0.0);
    // Ranges: results end to end; an empty matrix is skipped, type unseen.
    const tq5::dense2D<unsigned> range[3] = {tris.conn, tq5::dense2D<unsigned>(), tris.conn};
    ASSERT_EQ(cw::shape_qualities(tris.pos, range, range + 3, vec<int>({cw::ET_TRIA3, cw::ET_HEXA27, cw::ET_TRIA3}), q),
              0);
    EXPECT_EQ(q.size(), 4u);
    tq5::misc::histogram hist;
    ASSERT_EQ(cw::shape_qualities(tris.pos, tris.conn, cw::ET_TRIA3, hist), 0);
    EXPECT_EQ(hist.count(), 2u);
}

TEST(ShapeQualities, Codes) {
    const mesh tris({regular[0].nodes});
    tq5::dense1D<double> q(5, 1.0);
    tq5::misc::histogram hist;
    const tq5::dense2D<unsigned> range[2] = {tris.conn, tris.conn};
    const tq5::dense1D<int> one = vec<int>({cw::ET_TRIA3});
    expect_codes({
        {cw::shape_qualities(tris.pos, tris.conn, cw::ET_TRIA6, q), -3},
        {cw::shape_qualities(tris.pos, columns(3, {0, 1, 3}), cw::ET_TRIA3, q), -2},
        {cw::shape_qualities(tris.pos, range + 1, range, one, q), -3},
        {cw::shape_qualities(tris.pos, range, range + 2, one, q), -4},
        {cw::shape_qualities(tris.pos, columns(3, {0, 1, 3}), cw::ET_TRIA3, hist), -2},
        {cw::shape_qualities(tris.pos, range, range + 2, vec<int>({cw::ET_TRIA3, cw::ET_QUAD9}), hist), -3},
    });
    EXPECT_EQ(q.size(), 0u);
    EXPECT_EQ(hist.count(), 0u);
    tq5::dense1D<double> fresh;
    tq5::testing::fail_allocations_after(0);
    const int code = cw::shape_qualities(tris.pos, tris.conn, cw::ET_TRIA3, fresh);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(code, cw::ERR_ALLOC);
    EXPECT_EQ(fresh.size(), 0u);
}

}  // namespace

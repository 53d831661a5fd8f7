// STL files written byte by byte, the writer's exact text and bytes, a grid
// through both forms and back, truncations and storage failures.
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "test_support.hpp"

namespace {

std::string temp(const char* name) { return testing::TempDir() + "cw_stl_" + std::to_string(getpid()) + name; }
void put(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
std::string get(const std::string& path) {
    std::ostringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

// A binary file: 80-byte header, signed count, then per triangle a normal,
// three vertices and two attribute bytes.
struct binary_stl {
    std::string bytes;
    binary_stl(std::int32_t count, const std::string& head) : bytes(head + std::string(80 - head.size(), '\0')) {
        word(std::uint32_t(count));
    }
    void word(std::uint32_t u) {
        for (int k = 0; k < 4; ++k) bytes += char(u >> 8 * k);
    }
    binary_stl& tri(std::vector<float> normal_and_vertices) {
        for (float x : normal_and_vertices) {
            std::uint32_t u;
            std::memcpy(&u, &x, 4);
            word(u);
        }
        bytes += std::string(2, '\0');
        return *this;
    }
};

std::string facet(const char* normal, const char* a, const char* b, const char* c) {
    return std::string(" facet normal ") + normal + "\n outer loop\n vertex " + a + "\n vertex " + b + "\n vertex " +
           c + "\n endloop\n endfacet\n";
}

struct read_result {
    int code;
    std::size_t nodes, triangles;
    bool operator==(const read_result& o) const {
        return code == o.code && nodes == o.nodes && triangles == o.triangles;
    }
};
std::ostream& operator<<(std::ostream& os, const read_result& r) {
    return os << r.code << ", " << r.nodes << " nodes, " << r.triangles << " triangles";
}
read_result read(const std::string& path, tq5::dense2D<double>& pos, tq5::dense2D<unsigned>& tri) {
    const int code = cw::STL_input(path.c_str(), pos, tri);
    EXPECT_EQ(tri.rows(), tri.empty() ? tri.rows() : 3u);
    return {code, pos.cols(), tri.cols()};
}

}  // namespace

// Nodes (5, 0), (1, 0), (0, 2), (7, 7) in 2 rows: each is read as three stored
// values, so the third comes from the next column. The second triangle is flat.
TEST(StlOutput, ExactTextAndBytesWithTheThirdValueReadOnward) {
    const auto pos = columns<double>(2, {5, 0, 1, 0, 0, 2, 7, 7});
    const auto tri = columns(3, {0, 1, 2, 1, 1, 1});
    const double inv = 1 / std::sqrt(909.0), n0[3] = {2 * inv, 29 * inv, -8 * inv};  // (-4, 0, -1) x (-5, 2, 6)
    const double v[2][9] = {{5, 0, 1, 1, 0, 0, 0, 2, 7}, {1, 0, 0, 1, 0, 0, 1, 0, 0}}, zero[3] = {0, 0, 0};
    char line[200];
    std::string text = "solid TQ5\n";
    binary_stl bytes(2, "TQ5 STL Binary");
    for (int t = 0; t < 2; ++t) {
        const double* n = t ? zero : n0;
        std::snprintf(line, sizeof line, "   facet normal %e %e %e\n      outer loop\n", n[0], n[1], n[2]);
        text += line;
        std::vector<float> f = {float(n[0]), float(n[1]), float(n[2])};
        for (int k = 0; k < 3; ++k) {
            std::snprintf(line, sizeof line, "         vertex %e %e %e\n", v[t][3 * k], v[t][3 * k + 1],
                          v[t][3 * k + 2]);
            text += line;
            for (int i = 0; i < 3; ++i) f.push_back(float(v[t][3 * k + i]));
        }
        text += "      endloop\n   endfacet\n";
        bytes.tri(f);
    }
    const std::string path = temp("out.stl");
    ASSERT_EQ(cw::STL_output(path.c_str(), pos, tri, true), 0);
    EXPECT_EQ(get(path), text + "endsolid TQ5\n");
    ASSERT_EQ(cw::STL_output(path.c_str(), pos, tri, false), 0);
    EXPECT_EQ(get(path), bytes.bytes);
    // Codes in order; the file is made (empty) before the arguments are checked.
    expect_codes({{cw::STL_output((temp("no/dir") + "/x.stl").c_str(), pos, tri, true), -1},
                  {cw::STL_output(path.c_str(), tq5::dense2D<double>(1, 4, 0.0), columns(3, {0, 1, 9}), true), -2},
                  {cw::STL_output(path.c_str(), pos, columns(3, {0, 1, 4}), false), -3}});
    EXPECT_EQ(get(path), "");
    std::remove(path.c_str());
}

// A jittered grid of 12 x 7 cells written in both forms comes back with its
// nodes shared, each triangle in place: to the printed digits in text, to
// float precision in binary.
TEST(StlInput, GridRoundTripsAsAConformingMesh) {
    const unsigned nx = 12, ny = 7;
    tq5::dense2D<double> pos(3, (nx + 1) * (ny + 1)), back;
    tq5::dense2D<unsigned> tri(3, 2 * nx * ny), got;
    for (unsigned c = 0; c < pos.cols(); ++c)
        pos(0, c) = c % (nx + 1) / 3.0, pos(1, c) = c / (nx + 1) / 7.0, pos(2, c) = std::sin(c);
    for (unsigned j = 0, t = 0; j < ny; ++j)
        for (unsigned i = 0; i < nx; ++i, t += 2) {
            const unsigned a = i + (nx + 1) * j, d = a + nx + 1;
            const unsigned both[6] = {a, a + 1, d + 1, a, d + 1, d};
            std::copy(both, both + 6, &tri(0, t));
        }
    const std::string path = temp("grid.stl");
    for (const bool ascii : {true, false}) {
        ASSERT_EQ(cw::STL_output(path.c_str(), pos, tri, ascii), 0);
        EXPECT_EQ(read(path, back, got), (read_result{0, pos.cols(), tri.cols()}));
        for (unsigned t = 0; t < tri.cols(); ++t)
            for (unsigned k = 0; k < 9; ++k) {
                const double want = pos(k % 3, tri(k / 3, t));
                ASSERT_NEAR(back(k % 3, got(k / 3, t)), want, (ascii ? 1e-6 : 1e-7) * std::fabs(want)) << t;
            }
    }
    // Storage fails at each step in turn: ERR_ALLOC with both outputs empty.
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return read(path, back, got).code; },
                                           [&] { EXPECT_EQ(back.cols() + got.cols(), 0u); }, &failures),
              0);
    EXPECT_GT(failures, 5);
    std::remove(path.c_str());
}

TEST(StlInput, FilesByHandAndTheirCodes) {
    const std::string body = facet("0 0 1", "0 0 0", "1 0 0", "0 1 0");
    const std::string flat = facet("0 0 0", "5 5 5", "5 5 5", "6 5 5");
    const std::vector<float> unit = {0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0};
    // clang-format off
    const struct { const char* what; std::string bytes; read_result want; } cases[] = {
        {"empty: no first line, then a short header", "", {-1, 0, 0}},
        {"solid and nothing", "solid\nendsolid\n", {0, 0, 0}},
        {"keywords in any case, anywhere", "My SoLiD\n FACET NORMAL 0 0 1\n OUTER LOOP\n VERTEX 0 0 0\n vertex 1 0 0\n"
                                           " vertex 0 1 0\n EndLoop\n ENDFACET\nENDSOLID\nsolid\n", {0, 3, 1}},
        // The second triangle's smallest height is about 0.6966 (0.6931) with its
        // third vertex at y = 1.03 (1.04): the tolerance is 0.0348 (0.0347).
        {"a gap below 5% of the smallest height is closed", "solid\n" + body + facet("0 0 1", "1 0 0", "1 1 0", "0 1.03 0") +
                                           "endsolid\n", {0, 4, 2}},
        {"a gap above it stays", "solid\n" + body + facet("0 0 1", "1 0 0", "1 1 0", "0 1.04 0") + "endsolid\n", {0, 5, 2}},
        {"only flat triangles: the soup stays", "solid\n" + flat + flat + "endsolid\n", {0, 6, 2}},
        {"a collapsing triangle and its nodes go", "solid\n" + body + flat + "endsolid\n", {0, 3, 1}},
        {"a blank line fails as text, then the count read from the text", "solid\n\n" + body + body, {-3, 0, 0}},
        {"a binary header that starts with solid", binary_stl(1, "solid x").tri(unit).bytes, {0, 3, 1}},
        {"10 triangles announced, 9 present", [&] { binary_stl b(10, ""); for (int i = 0; i < 9; ++i) b.tri(unit); return b.bytes; }(), {-3, 0, 0}},
        {"1 announced, 2 present", binary_stl(1, "").tri(unit).tri(unit).bytes, {0, 3, 1}},
        {"a negative count", binary_stl(-1, "").tri(unit).bytes, {0, 0, 0}},
    };
    // clang-format on
    const std::string path = temp("hand.stl");
    tq5::dense2D<double> pos = columns<double>(3, {1, 2, 3});
    tq5::dense2D<unsigned> tri = columns(3, {0, 0, 0});
    EXPECT_EQ(read(temp("missing.stl"), pos, tri), (read_result{-1, 0, 0}));
    for (const auto& c : cases) {
        put(path, c.bytes);
        EXPECT_EQ(read(path, pos, tri), c.want) << c.what;
    }
    // A binary file cut at every byte: -1 without a full header, -3 without
    // the count or inside a record, and nothing kept.
    const std::string whole = binary_stl(2, "").tri(unit).tri(unit).bytes;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        put(path, whole.substr(0, n));
        ASSERT_EQ(read(path, pos, tri), (read_result{n < 80 ? -1 : -3, 0, 0})) << n;
    }
    std::remove(path.c_str());
}

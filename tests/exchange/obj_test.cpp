// OBJ reader and writer: files written byte by byte and what is read from
// them, the writer's exact text and codes, round trips, and storage failures.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "exchange/detail/real_text.hpp"
#include "obj_stream.hpp"
#include "test_support.hpp"

namespace {

namespace fs = std::filesystem;
using reals = tq5::dense2D<double>;
using ids = tq5::dense2D<unsigned>;

// Each test in its own temporary directory, removed at its end.
class ObjFiles : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "cellworks-obj-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        dir = name;
    }
    void TearDown() override { fs::remove_all(dir); }

    std::string path(const char* name) const { return (dir / name).string(); }
    std::string write(const std::string& bytes, const char* name = "in.obj") const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string text(const char* name = "out.obj") const {
        std::ifstream in(path(name), std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    fs::path dir;
};
struct ObjInput : ObjFiles {};
struct ObjOutput : ObjFiles {};

struct mesh {
    reals pos, normals, uvs;
    ids tria, quad;
    int rc = 0;
};
mesh read(const std::string& file) {
    mesh m;
    m.rc = cw::WavefrontOBJ_input(file.c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad);
    return m;
}

// What `%.8e` makes of x, and a blank.
std::string num(double x, const char* format = "%.8e ") {
    char b[64];
    std::snprintf(b, sizeof b, format, x);
    return b;
}

// Reals in hexadecimal, so that -0 differs from 0.
std::string exact(const doubles& v) {
    std::string s;
    for (double x : v) s += num(x, "%a ");
    return s;
}

const std::string V = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n";  // four nodes

// Each file: the code, the nodes, the faces and the sizes of normals and uvs read.
TEST_F(ObjInput, LineKindsCornersAndCodes) {
    const unsigned M1 = 0xFFFFFFFEu;  // -1 as its 32 bits, minus 1
    // clang-format off
    const struct { std::string text; int rc; std::size_t nodes; list tria, quad; std::size_t normals, uv_rows, uvs; } cases[] = {
        {"", 0, 0, {}, {}, 0, 0, 0},
        {"\n \t\n# v 1 2 3\ng a\ns 1\nvx 1\nV 1 2 3\nv 1 2 3 4 5\nv 1 2 3", 0, 2, {}, {}, 0, 0, 0},  // last line unended
        {"v 1 2 3 x\nv 1 2 3 1e999\n", 0, 2, {}, {}, 0, 0, 0},
        {"v\n", -2, 0, {}, {}, 0, 0, 0}, {"v \n", -2, 0, {}, {}, 0, 0, 0}, {"v 1 2\n", -2, 0, {}, {}, 0, 0, 0},
        {"v 1 2 x 4\n", -2, 0, {}, {}, 0, 0, 0}, {"v 1 2 3\r\nv\r\n", -2, 1, {}, {}, 0, 0, 0},
        {"vn 1 2 3 x\nvn 1 2 3", 0, 0, {}, {}, 2, 0, 0}, {"vn 1 2\n", -2, 0, {}, {}, 0, 0, 0},
        {"vn 1 2 3 4\n", -2, 0, {}, {}, 0, 0, 0}, {"vn\n", -2, 0, {}, {}, 0, 0, 0},
        {"vt 1 2 3\n", 0, 0, {}, {}, 0, 3, 1}, {"vt 1 2\nvt 5\nvt 1 2 3\nvt 3 4\n", 0, 0, {}, {}, 0, 2, 2},
        {"vt 1 2 3 4\n", -2, 0, {}, {}, 0, 0, 0}, {"vt\n", -2, 0, {}, {}, 0, 0, 0},
        {V + "f 1 2 3\nf 4 3 2 1\n", 0, 4, {0, 1, 2}, {3, 2, 1, 0}, 0, 0, 0},
        {V + "f 1 2 3", 0, 4, {}, {}, 0, 0, 0},                           // last "f" unended: not stored
        {V + "f 1 2 3 4 1\nf 1 2\nf \nf 2 3 4\n", 0, 4, {1, 2, 3}, {}, 0, 0, 0},
        {V + "vt 0 0\nvn 0 0 1\nf 1/ 2/1 3//1 4/1/1/7\n", 0, 4, {}, {0, 1, 2, 3}, 1, 2, 1},
        {V + "f 1 2 x 3\nf 1 2 2147483648 -2147483649 3\n", 0, 4, {0, 1, 2, 0, 1, 2}, {}, 0, 0, 0},  // words skipped
        {V + "f 0 -1 +2 -2147483648\nf 0 1 2\nv 0 0 1\n", 0, 5, {4, 0, 1}, {4, M1, 1, 0x7FFFFFFFu}, 0, 0, 0},
        {V + "f 1 2 3x\nf 1 2 3\n", -2, 4, {}, {}, 0, 0, 0}, {V + "f 1 2.0 3\n", -2, 4, {}, {}, 0, 0, 0},
        {V + "f 0x1 2 3\n", -2, 4, {}, {}, 0, 0, 0}, {V + "f\n", -2, 4, {}, {}, 0, 0, 0},
        {V + "f 1/1 2 3\nvt 0 0\n", -2, 4, {}, {}, 0, 0, 0}, {V + "f 1//1 2 3\nvn 0 0 1\n", -2, 4, {}, {}, 0, 0, 0},
        {V + "vn 0 0 1\nf 1/1/1 2 3\n", -2, 4, {}, {}, 1, 0, 0}, {V + "v 1\nf 1 2 3\n", -2, 4, {}, {}, 0, 0, 0},
    };
    // clang-format on
    for (const auto& c : cases) {
        const mesh m = read(write(c.text));
        EXPECT_EQ(m.rc, c.rc) << c.text;
        EXPECT_EQ(m.pos.cols(), c.nodes) << c.text;
        EXPECT_EQ(values(m.tria), c.tria) << c.text;
        EXPECT_EQ(values(m.quad), c.quad) << c.text;
        EXPECT_EQ(m.normals.cols(), c.normals) << c.text;
        EXPECT_EQ(m.uvs.rows() * 10 + m.uvs.cols(), c.uv_rows * 10 + c.uvs) << c.text;
    }
}

// Reals as stream extraction reads them, ended by the first that fails.
TEST_F(ObjInput, RealsAsStreamExtraction) {
    // clang-format off
    const struct { const char* text; int rc; doubles pos; } cases[] = {
        {"v +1 -2 .5e1\n", 0, {1, -2, 5}},
        {"v 1.5.25 2\n", 0, {1.5, 0.25, 2}},                       // a second point starts a new value
        {"v 1e-400 -0 4.9e-324\n", 0, {0, -0.0, 4.9e-324}},        // underflow is not a failure
        {"v 00012.50 1E+2 1.7976931348623157e308\n", 0, {12.5, 100, 1.7976931348623157e308}},
        {"v 1e5e3 2 3\n", -2, {}}, {"v 0x10 2 3\n", -2, {}}, {"v inf 2 3\n", -2, {}}, {"v nan 2 3\n", -2, {}},
        {"v 1e 2 3\n", -2, {}}, {"v 1e+ 2 3\n", -2, {}}, {"v . 2 3\n", -2, {}}, {"v - 2 3\n", -2, {}},
        {"v 2e308 2 3\n", -2, {}}, {"v -2e308 2 3\n", -2, {}}, {"v 1,5 2 3\n", -2, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        const mesh m = read(write(c.text));
        EXPECT_EQ(m.rc, c.rc) << c.text;
        EXPECT_EQ(exact(values(m.pos)), exact(c.pos)) << c.text;
    }
    const mesh m = read(write("v 0.1 0.2 0.3\nvn 0.1 -1e-5 3\nvt 0.5 1\n"));
    EXPECT_EQ(values(m.normals), (doubles{0.1, -1e-5, 3}));
    EXPECT_EQ(values(m.uvs), (doubles{0.5, 1}));
}

TEST_F(ObjInput, MissingFileClearsTheOutputs) {
    mesh m;
    m.pos = columns<double>(3, {1, 2, 3});
    m.tria = columns(3, {0, 0, 0});
    m.normals = m.uvs = m.pos;
    m.quad = columns(4, {0, 0, 0, 0});
    EXPECT_EQ(cw::WavefrontOBJ_input(path("none.obj").c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad), -1);
    EXPECT_TRUE(m.pos.empty() && m.normals.empty() && m.uvs.empty() && m.tria.empty() && m.quad.empty());
}

// A column that cannot be stored: ERR_ALLOC for nodes and faces, nothing for
// normals and texture coordinates.
TEST_F(ObjInput, StorageFailures) {
    const std::string file = write(V + "vn 0 0 1\nvt 0 1\nf 1 2 3\nf 1 2 3 4\n");
    mesh m;
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return (m = read(file)).rc; }, [] {}, &failures), 0);
    EXPECT_EQ(failures, 5);
    EXPECT_EQ(values(m.quad), (list{0, 1, 2, 3}));
    tq5::testing::fail_allocations_after(1);
    m = read(write("v 1 2 3\nvn 0 0 1\nvt 0 1\n"));
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(m.rc, 0);
    EXPECT_EQ(m.pos.cols() * 100 + m.normals.cols() * 10 + m.uvs.cols(), 100u);
}

// Every line kind with its blanks, reals as `%.8e`, from views with ld > rows.
TEST_F(ObjOutput, ExactText) {
    const doubles p{1.0 / 3, -0.0, 1e-310, 1e300, NaN, -INF};
    const reals pos = padded(3, p), normals = padded(3, doubles{0, 0, 1, 0.6, 0.8, 0});
    const reals uvs = padded(2, doubles{0.25, 1, 0.999999999, 2e-5});
    const ids tria = padded(3, list{0, 1, 1}), quad = padded(4, list{1, 0, 1, NO});
    ASSERT_EQ(cw::WavefrontOBJ_output(path("out.obj").c_str(), pos, normals, uvs, tria, quad), 0);
    const std::string want = " v " + num(p[0]) + num(p[1]) + num(p[2]) + "\n v " + num(p[3]) + num(p[4]) + num(p[5]) +
                             "\n vt " + num(0.25) + num(1) + "\n vt " + num(0.999999999) + num(2e-5) + "\n vn " +
                             num(0) + num(0) + num(1) + "\n vn " + num(0.6) + num(0.8) + num(0) +
                             "\n f 1/1/1 2/2/2 2/2/2 \n f 2/2/2 1/1/1 2/2/2 0/0/0 \n";
    EXPECT_EQ(text(), want);
    ASSERT_EQ(cw::WavefrontOBJ_output(path("out.obj").c_str(), columns<double>(2, {0.5, -2}), reals(), reals(),
                                      columns(3, {0, 0, 0}), ids()),
              0);
    EXPECT_EQ(text(), " v " + num(0.5) + num(-2) + num(0) + "\n f 1// 1// 1// \n");
}

// The short forms: faces by type, two matrices of one type in a row.
TEST_F(ObjOutput, FacesByType) {
    const reals pos = columns<double>(3, {0, 0, 0});
    const ids t = columns(3, {0, 1, 2}), q = columns(4, {3, 2, 1, 0});
    const std::string v = " v " + num(0) + num(0) + num(0) + "\n", ft = " f 1// 2// 3// \n",
                      fq = " f 4// 3// 2// 1// \n";
    const char* out = "out.obj";
    const auto one = [&](const ids& m, cw::element_type fe) {
        return cw::WavefrontOBJ_output(path(out).c_str(), pos, m, fe) == 0 ? text() : "";
    };
    const auto two = [&](const ids& a, const ids& b, cw::element_type fa, cw::element_type fb) {
        return cw::WavefrontOBJ_output(path(out).c_str(), pos, a, b, fa, fb) == 0 ? text() : "";
    };
    EXPECT_EQ(one(t, cw::ET_TRIA3), v + ft);
    EXPECT_EQ(one(q, cw::ET_QUAD4), v + fq);
    EXPECT_EQ(one(q, cw::ET_TETRA4), v);
    EXPECT_EQ(two(t, t, cw::ET_TRIA3, cw::ET_TRIA3), v + ft + ft);
    EXPECT_EQ(two(q, q, cw::ET_QUAD4, cw::ET_QUAD4), v + fq + fq);
    EXPECT_EQ(two(q, t, cw::ET_QUAD4, cw::ET_TRIA3), v + ft + fq);
    EXPECT_EQ(two(t, q, cw::ET_TRIA3, cw::ET_BAR2), v + ft);
    EXPECT_EQ(two(columns(4, {3, 2, 1, 0}), t, cw::ET_TRIA3, cw::ET_TRIA3), v + " f 4// 3// 2// \n" + ft);
}

// The checks in order, each leaving an empty file behind.
TEST_F(ObjOutput, CodesInOrder) {
    const reals p3 = columns<double>(3, {0, 0, 0, 1, 1, 1}), p1 = columns<double>(1, {0, 1});
    const reals n3 = columns<double>(3, {0, 0, 1, 0, 0, 1}), n2 = columns<double>(2, {0, 0, 1, 0, 0, 1});
    const reals u2 = columns<double>(2, {0, 1, 1, 0}), u3 = read(write("vt 0 1 2\nvt 1 2 3\n")).uvs;
    const reals n1 = columns<double>(3, {0, 0, 1});
    const ids t2 = columns(2, {0, 1}), q3 = columns(3, {0, 1, 0}), t3 = columns(3, {0, 1, 0});
    // clang-format off
    const struct { const reals& pos; const reals& normals; const reals& uvs; ids tria, quad; int rc; } cases[] = {
        {p1, n2, u3, t2, q3, -2}, {p3, n2, u3, t2, q3, -3}, {p3, n1, u2, t3, ids(), -3},
        {p3, n3, u3, t2, q3, -4}, {p3, n3, u2, t2, q3, -5}, {p3, n3, u2, t3, q3, -6},
    };
    // clang-format on
    for (const auto& c : cases) {
        write("stale", "out.obj");
        EXPECT_EQ(cw::WavefrontOBJ_output(path("out.obj").c_str(), c.pos, c.normals, c.uvs, c.tria, c.quad), c.rc);
        EXPECT_EQ(text(), "");
    }
    EXPECT_EQ(cw::WavefrontOBJ_output(path("no/out.obj").c_str(), p1, n2, u3, t2, q3), -1);
    EXPECT_EQ(cw::WavefrontOBJ_output(path("out.obj").c_str(), p1, t3, cw::ET_TRIA3), -2);
    EXPECT_EQ(cw::WavefrontOBJ_output(path("out.obj").c_str(), p3, t3, q3, cw::ET_TRIA3, cw::ET_QUAD4), -6);
}

// Written and read back: the same faces, nodes to 9 significant digits.
TEST_F(ObjOutput, RoundTrip) {
    reals pos(3, 40), normals(3, 40), uvs(2, 40);
    ids tria(3, 30), quad(4, 20);
    std::mt19937 rng(7);
    for (std::size_t i = 0; i < pos.size(); ++i) pos.data()[i] = (double(rng() % 2001) - 1000) / 3.0;
    for (std::size_t i = 0; i < normals.size(); ++i) normals.data()[i] = 1.0 / double(1 + i);
    for (std::size_t i = 0; i < uvs.size(); ++i) uvs.data()[i] = double(i) / 7;
    for (std::size_t i = 0; i < tria.size(); ++i) tria.data()[i] = rng() % 40;
    for (std::size_t i = 0; i < quad.size(); ++i) quad.data()[i] = rng() % 40;
    for (const bool extras : {false, true}) {
        const std::string file = path("out.obj");
        ASSERT_EQ(
            cw::WavefrontOBJ_output(file.c_str(), pos, extras ? normals : reals(), extras ? uvs : reals(), tria, quad),
            0);
        const mesh m = read(file);
        ASSERT_EQ(m.rc, 0);
        EXPECT_EQ(values(m.tria), values(tria));
        EXPECT_EQ(values(m.quad), values(quad));
        const std::pair<const reals*, const reals*> pairs[] = {{&m.pos, &pos}, {&m.normals, &normals}, {&m.uvs, &uvs}};
        for (const auto& [got, sent] : pairs) {
            if (!extras && got != &m.pos) {
                EXPECT_TRUE(got->empty());
                continue;
            }
            ASSERT_EQ(got->cols(), sent->cols());
            for (std::size_t i = 0; i < sent->size(); ++i)
                EXPECT_NEAR(got->data()[i], sent->data()[i], 5e-9 * std::fabs(sent->data()[i]));
        }
    }
}

// Random pieces of OBJ text: numbers in all the forms the reader must judge
// as a stream does, corner words, blanks, and lines of the four kinds.
struct obj_noise {
    std::mt19937 rng;
    std::size_t pick(std::size_t n) { return rng() % n; }
    template <std::size_t N> const char* one(const char* const (&words)[N]) { return words[pick(N)]; }

    std::string real() {
        static const char* const odd[] = {"0x1p3",
                                          "inf",
                                          "-nan",
                                          "1e",
                                          "1e+",
                                          ".",
                                          "-",
                                          "+.5",
                                          "1.5.2",
                                          "1e5e3",
                                          "1e400",
                                          "-1e-400",
                                          "4.9e-324",
                                          "2.2250738585072011e-308",
                                          "00.0",
                                          "1,5",
                                          "9007199254740993",
                                          "0.1000000000000000055511151231257827"};
        char b[64];
        const double x = std::ldexp(double(rng()) - 2147483648.0, int(pick(80)) - 60);
        switch (pick(6)) {
            case 0: return one(odd);
            case 1: std::snprintf(b, sizeof b, "%.17g", x); return b;
            case 2: std::snprintf(b, sizeof b, "%.8e", x); return b;
            case 3: std::snprintf(b, sizeof b, "%.*f", int(pick(30)), x); return b;
            case 4: return std::to_string(rng() % 100000) + "." + std::to_string(rng()) + std::to_string(rng());
            default: {
                std::string s;
                for (std::size_t n = 1 + pick(8); n--;) s += "0123456789.+-eE"[pick(15)];
                return s;
            }
        }
    }
    std::string corner() {
        static const char* const forms[] = {"%d", "%d/", "%d/%d", "%d//%d", "%d/%d/%d", "/%d", "%dx", "%d/%d/%d/%d"};
        static const int ids[] = {0, 1, 2, 3, 4, 5, 6, -1, -2147483647 - 1, 2147483647};
        char b[80];
        std::snprintf(b, sizeof b, one(forms), ids[pick(10)], ids[pick(10)], ids[pick(10)], ids[pick(10)]);
        return pick(20) ? b : one({"x", "2147483648", "-", "+3/", "0x1", "1.0", "//"});
    }
    std::string blank() { return one({" ", " ", " ", "  ", "\t", "\r", "\v", ""}); }
    std::string file() {
        std::string s;
        for (std::size_t lines = pick(12); lines--;) {
            const char* word = one({"v", "v", "v", "vn", "vt", "f", "f", "#", "g", "vx", ""});
            s += (pick(8) ? "" : " ") + std::string(word) + (pick(10) ? " " : blank());
            for (std::size_t n = pick(10) ? 2 + pick(4) : pick(7); n--;)
                s += (*word == 'f' ? corner() : real()) + (n ? blank() + (pick(4) ? "" : blank()) : "");
            s += lines || pick(3) ? one({"\n", "\n", "\n", "\r\n", " \n"}) : "";
        }
        return s;
    }
};

std::string bits(const reals& m) {
    std::string s = std::to_string(m.rows()) + "x" + std::to_string(m.cols()) + ":";
    for (double x : values(m)) s += num(x, "%a ");
    return s;
}

TEST(ObjText, RealsAsStreamsAndPrintf) {
    obj_noise noise{std::mt19937(11)};
    for (int i = 0; i < 20000; ++i) {
        const std::string text = noise.real() + noise.blank() + noise.real() + noise.blank() + noise.real();
        std::istringstream in(text);
        doubles want, got;
        double x;
        while (in >> x) want.push_back(x);
        for (const char* p = text.data(); cw::detail::scan_real(p, text.data() + text.size(), x);) got.push_back(x);
        EXPECT_EQ(exact(got), exact(want)) << text;
    }
    // Bit patterns of every kind, decimal ties and near-ties, and values that round up to 10.
    std::mt19937_64 rng(3);
    const double specials[] = {
        0.0, -0.0,        INF,         -INF, NaN, -NaN, 5e-324, 1e-18, 1e35, 1e308, 9.9999999949999e-5, 9.999999995e22,
        0.5, 123456789.5, 1234567885.0};
    for (int i = 0; i < 200000; ++i) {
        double x;
        if (i < int(sizeof specials / sizeof *specials)) {
            x = specials[i];
        } else if (i % 4 == 0) {
            const std::uint64_t b = rng();
            std::memcpy(&x, &b, sizeof x);
        } else if (i % 4 == 1) {  // ten digits ending in 5, exact: a tie at the ninth
            x = std::ldexp(double((rng() % 900000000 + 100000000) * 10 + 5), -int(rng() % 2));
        } else {
            char t[40];
            std::snprintf(t, sizeof t, "%09llu%s5e%d", (unsigned long long)(rng() % 900000000 + 100000000),
                          i % 4 == 2 ? "" : "49999999", int(rng() % 60) - 25);
            x = std::strtod(t, nullptr) * (rng() % 2 ? 1 : -1);
        }
        char b[cw::detail::e8_room];
        EXPECT_EQ(std::string(b, cw::detail::put_e8(b, x)), num(x, "%.8e")) << num(x, "%a");
    }
}

// Lines across the reader's 64 KiB blocks, and lines longer than a block.
std::string big_file() {
    std::string s = V;
    for (int k = 0; k < 6000; ++k) s += "v " + num(k / 3.0) + std::string(k % 7, ' ') + "1 2\n";
    return s + "v 1 " + std::string(100000, ' ') + "2 3\n# " + std::string(200000, 'x') + "\nf 1 2 3\nf 4 3 2 1";
}

// The buffered reader and writer against the stream versions, on random
// files and on the meshes read from them.
TEST_F(ObjInput, SameAsStreamVersion) {
    obj_noise noise{std::mt19937(5)};
    int read_all = 0;
    for (int i = 0; i < 400; ++i) {
        const std::string file = write(i ? noise.file() : big_file());
        mesh m = read(file), s;
        s.rc = obj_stream::input(file.c_str(), s.pos, s.normals, s.uvs, s.tria, s.quad);
        ASSERT_EQ(m.rc, s.rc) << file;
        ASSERT_EQ(bits(m.pos) + bits(m.normals) + bits(m.uvs), bits(s.pos) + bits(s.normals) + bits(s.uvs));
        ASSERT_EQ(values(m.tria), values(s.tria));
        ASSERT_EQ(values(m.quad), values(s.quad));
        read_all += m.rc == 0;
        EXPECT_TRUE(i != 0 || (m.rc == 0 && m.pos.cols() == 6005 && m.tria.cols() == 1 && m.quad.empty()));
        const std::string out = path("out.obj"), ref = path("ref.obj");
        EXPECT_EQ(cw::WavefrontOBJ_output(out.c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad),
                  obj_stream::output(ref.c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad));
        ASSERT_EQ(text("out.obj"), text("ref.obj"));
    }
    EXPECT_GT(read_all, 60);
    mesh s;  // a directory opens, and reads as nothing
    EXPECT_EQ(read(dir.string()).rc, obj_stream::input(dir.c_str(), s.pos, s.normals, s.uvs, s.tria, s.quad));
}

}  // namespace

// OBJ reader and writer: files written byte by byte and what is read from
// them, the writer's exact text and codes, a round trip, storage failures, and
// the buffered versions against the stream versions of obj_stream.hpp.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "exchange/detail/real_text.hpp"
#include "obj_stream.hpp"
#include "test_support.hpp"

namespace {

namespace fs = std::filesystem;
using reals = tq5::dense2D<double>;
using ids = tq5::dense2D<unsigned>;

// Each test's files in a temporary directory of its own, removed at its end.
class ObjFiles : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "cellworks-obj-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        dir = name;
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string path(const char* name = "out.obj") const { return (dir / name).string(); }
    std::string put(const std::string& bytes) const {
        std::ofstream(path("in.obj"), std::ios::binary) << bytes;
        return path("in.obj");
    }
    std::string text(const char* name = "out.obj") const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
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

// x as `format` writes it, `%.8e` and a blank by default.
std::string num(double x, const char* format = "%.8e ") {
    char b[64];
    std::snprintf(b, sizeof b, format, x);
    return b;
}

// Dimensions and reals in hexadecimal, so that -0 differs from 0.
std::string bits(const reals& m) {
    std::string s = std::to_string(m.rows()) + "x" + std::to_string(m.cols()) + ":";
    for (double x : values(m)) s += num(x, "%a ");
    return s;
}

const std::string V = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n";  // four nodes

// Each file: the code, the nodes, the faces, the normals and uvs (rows x cols).
TEST_F(ObjInput, LineKindsCornersAndCodes) {
    const unsigned M1 = 0xFFFFFFFEu;  // -1 as its 32 bits, minus 1
    // clang-format off
    const struct { std::string text; int rc; std::size_t nodes; list tria, quad; std::size_t normals; const char* uvs; } cases[] = {
        {"", 0, 0, {}, {}, 0, "0x0"},
        {"\n \t\n# v 1 2 3\ng a\ns 1\nvx 1\nV 1 2 3\nv 1 2 3 4 5\nv 1 2 3", 0, 2, {}, {}, 0, "0x0"},  // last line unended
        {"v 1 2 3 x\nv 1 2 3 1e999\nv +1 .5e1 1.5.2\n", 0, 3, {}, {}, 0, "0x0"},
        {"v\n", -2, 0, {}, {}, 0, "0x0"}, {"v \n", -2, 0, {}, {}, 0, "0x0"}, {"v 1 2\n", -2, 0, {}, {}, 0, "0x0"},
        {"v 1 2 x 4\n", -2, 0, {}, {}, 0, "0x0"}, {"v 1 2 3\r\nv\r\n", -2, 1, {}, {}, 0, "0x0"},
        {"v 0x1 2 3\n", -2, 0, {}, {}, 0, "0x0"}, {"v inf 2 3\n", -2, 0, {}, {}, 0, "0x0"},
        {"v 1e5e3 2 3\n", -2, 0, {}, {}, 0, "0x0"}, {"v 1 2e308 3\n", -2, 0, {}, {}, 0, "0x0"},
        {"vn 1 2 3 x\nvn 1 2 3", 0, 0, {}, {}, 2, "0x0"}, {"vn 1 2\n", -2, 0, {}, {}, 0, "0x0"},
        {"vn 1 2 3 4\n", -2, 0, {}, {}, 0, "0x0"}, {"vn\n", -2, 0, {}, {}, 0, "0x0"},
        {"vt 1 2 3\n", 0, 0, {}, {}, 0, "3x1"}, {"vt 1 2\nvt 5\nvt 1 2 3\nvt 3 4\n", 0, 0, {}, {}, 0, "2x2"},
        {"vt 1 2 3 4\n", -2, 0, {}, {}, 0, "0x0"}, {"vt\n", -2, 0, {}, {}, 0, "0x0"},
        {V + "f 1 2 3\nf 4 3 2 1\n", 0, 4, {0, 1, 2}, {3, 2, 1, 0}, 0, "0x0"},
        {V + "f 1 2 3", 0, 4, {}, {}, 0, "0x0"},                           // last "f" unended: not stored
        {V + "f 1 2 3 4 1\nf 1 2\nf \nf 2 3 4\n", 0, 4, {1, 2, 3}, {}, 0, "0x0"},
        {V + "vt 0 0\nvn 0 0 1\nf 1/ 2/1 3//1 4/1/1/7\n", 0, 4, {}, {0, 1, 2, 3}, 1, "2x1"},
        {V + "f 1 2 x 3\nf 1 2 2147483648 -2147483649 3\n", 0, 4, {0, 1, 2, 0, 1, 2}, {}, 0, "0x0"},  // words skipped
        {V + "f 0 -1 +2 -2147483648\nf 0 1 2\nv 0 0 1\n", 0, 5, {4, 0, 1}, {4, M1, 1, 0x7FFFFFFFu}, 0, "0x0"},
        {V + "f 1 2 3x\nf 1 2 3\n", -2, 4, {}, {}, 0, "0x0"}, {V + "f 1 2.0 3\n", -2, 4, {}, {}, 0, "0x0"},
        {V + "f 0x1 2 3\n", -2, 4, {}, {}, 0, "0x0"}, {V + "f\n", -2, 4, {}, {}, 0, "0x0"},
        {V + "f 1/1 2 3\nvt 0 0\n", -2, 4, {}, {}, 0, "0x0"}, {V + "f 1//1 2 3\nvn 0 0 1\n", -2, 4, {}, {}, 0, "0x0"},
        {V + "vn 0 0 1\nf 1/1/1 2 3\n", -2, 4, {}, {}, 1, "0x0"}, {V + "v 1\nf 1 2 3\n", -2, 4, {}, {}, 0, "0x0"},
    };
    // clang-format on
    for (const auto& c : cases) {
        const mesh m = read(put(c.text));
        EXPECT_EQ(m.rc, c.rc) << c.text;
        EXPECT_EQ(m.pos.cols(), c.nodes) << c.text;
        EXPECT_EQ(values(m.tria), c.tria) << c.text;
        EXPECT_EQ(values(m.quad), c.quad) << c.text;
        EXPECT_EQ(m.normals.cols(), c.normals) << c.text;
        EXPECT_EQ(std::to_string(m.uvs.rows()) + "x" + std::to_string(m.uvs.cols()), c.uvs) << c.text;
    }
    EXPECT_EQ(bits(read(put("v +1 -0 1.5.2\nv 1e-400 4.9e-324 .5e1\n")).pos),
              bits(columns<double>(3, {1, -0.0, 1.5, 0, 4.9e-324, 5})));
}

// No file: -1 with every output cleared. A column that cannot be stored:
// ERR_ALLOC for nodes and faces, left out for normals and texture coordinates.
TEST_F(ObjInput, MissingFileAndStorageFailures) {
    mesh m;
    m.pos = m.normals = m.uvs = columns<double>(3, {1, 2, 3});
    m.tria = m.quad = columns(3, {0, 0, 0});
    EXPECT_EQ(cw::WavefrontOBJ_input(path("none").c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad), -1);
    EXPECT_TRUE(m.pos.empty() && m.normals.empty() && m.uvs.empty() && m.tria.empty() && m.quad.empty());
    const std::string file = put(V + "vn 0 0 1\nvt 0 1\nf 1 2 3\nf 1 2 3 4\n");
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return (m = read(file)).rc; }, [] {}, &failures), 0);
    EXPECT_EQ(failures, 5);  // one block each for nodes, normals, uvs, triangles, quadrangles
    tq5::testing::fail_allocations_after(1);
    m = read(file);
    tq5::testing::fail_allocations_after(-1);
    EXPECT_EQ(m.rc, cw::ERR_ALLOC);
    EXPECT_EQ(m.pos.cols() * 100 + m.normals.cols() * 10 + m.uvs.cols(), 400u);
}

// Every line kind with its blanks, reals as `%.8e`, from views with ld > rows.
TEST_F(ObjOutput, ExactText) {
    const doubles p{1.0 / 3, -0.0, 1e-310, 1e300, NaN, -INF};
    const reals pos = padded(3, p), normals = padded(3, doubles{0, 0, 1, 0.6, 0.8, 0});
    const reals uvs = padded(2, doubles{0.25, 1, 0.999999999, 2e-5});
    const ids tria = padded(3, list{0, 1, 1}), quad = padded(4, list{1, 0, 1, NO});
    ASSERT_EQ(cw::WavefrontOBJ_output(path().c_str(), pos, normals, uvs, tria, quad), 0);
    EXPECT_EQ(text(), " v " + num(p[0]) + num(p[1]) + num(p[2]) + "\n v " + num(p[3]) + num(p[4]) + num(p[5]) +
                          "\n vt " + num(0.25) + num(1) + "\n vt " + num(0.999999999) + num(2e-5) + "\n vn " + num(0) +
                          num(0) + num(1) + "\n vn " + num(0.6) + num(0.8) + num(0) +
                          "\n f 1/1/1 2/2/2 2/2/2 \n f 2/2/2 1/1/1 2/2/2 0/0/0 \n");
    ASSERT_EQ(cw::WavefrontOBJ_output(path().c_str(), columns<double>(2, {0.5, -2}), reals(), reals(),
                                      columns(3, {0, 0, 0}), ids()),
              0);
    EXPECT_EQ(text(), " v " + num(0.5) + num(-2) + num(0) + "\n f 1// 1// 1// \n");
}

// The short forms: faces by type, two matrices of one type in a row.
TEST_F(ObjOutput, FacesByType) {
    const ids t = columns(3, {0, 1, 2}), q = columns(4, {3, 2, 1, 0}), t4 = columns(4, {3, 2, 1, 0});
    const std::string ft = " f 1// 2// 3// \n", fq = " f 4// 3// 2// 1// \n";
    const auto T = cw::ET_TRIA3, Q = cw::ET_QUAD4;
    // clang-format off
    const struct { const ids &a, &b; cw::element_type fa, fb; std::string faces; } cases[] = {
        {t, t, T, T, ft + ft}, {q, q, Q, Q, fq + fq}, {q, t, Q, T, ft + fq}, {t, q, T, cw::ET_BAR2, ft},
        {t4, t, T, T, " f 4// 3// 2// \n" + ft},  // a fourth row is not read
    };
    // clang-format on
    const reals pos = columns<double>(3, {0, 0, 0});
    const std::string v = " v " + num(0) + num(0) + num(0) + "\n";
    for (const auto& c : cases) {
        ASSERT_EQ(cw::WavefrontOBJ_output(path().c_str(), pos, c.a, c.b, c.fa, c.fb), 0);
        EXPECT_EQ(text(), v + c.faces);
    }
    for (const auto fe : {T, Q, cw::ET_TETRA4}) {
        ASSERT_EQ(cw::WavefrontOBJ_output(path().c_str(), pos, fe == T ? t : q, fe), 0);
        EXPECT_EQ(text(), v + (fe == T ? ft : fe == Q ? fq : ""));
    }
}

// The checks in order, each leaving an empty file behind.
TEST_F(ObjOutput, CodesInOrder) {
    const reals p3 = columns<double>(3, {0, 0, 0, 1, 1, 1}), p1 = columns<double>(1, {0, 1});
    const reals n3 = columns<double>(3, {0, 0, 1, 0, 0, 1}), n2 = columns<double>(2, {0, 0, 1, 0, 0, 1});
    const reals n1 = columns<double>(3, {0, 0, 1}), u2 = columns<double>(2, {0, 1, 1, 0});
    const reals u3 = read(put("vt 0 1 2\nvt 1 2 3\n")).uvs;  // what the reader takes, the writer refuses
    const ids t2 = columns(2, {0, 1}), q3 = columns(3, {0, 1, 0}), t3 = columns(3, {0, 1, 0});
    // clang-format off
    const struct { const reals &pos, &normals, &uvs; const ids &tria, &quad; int rc; } cases[] = {
        {p1, n2, u3, t2, q3, -2}, {p3, n2, u3, t2, q3, -3}, {p3, n1, u2, t3, t3, -3},
        {p3, n3, u3, t2, q3, -4}, {p3, n3, u2, t2, q3, -5}, {p3, n3, u2, t3, q3, -6},
    };
    // clang-format on
    for (const auto& c : cases) {
        std::ofstream(path()) << "stale";
        EXPECT_EQ(cw::WavefrontOBJ_output(path().c_str(), c.pos, c.normals, c.uvs, c.tria, c.quad), c.rc);
        EXPECT_EQ(text(), "");
    }
    EXPECT_EQ(cw::WavefrontOBJ_output(path("no/out.obj").c_str(), p1, n2, u3, t2, q3), -1);
    EXPECT_EQ(cw::WavefrontOBJ_output(path().c_str(), p1, t3, cw::ET_TRIA3), -2);
    EXPECT_EQ(cw::WavefrontOBJ_output(path().c_str(), p3, t3, q3, cw::ET_TRIA3, cw::ET_QUAD4), -6);
}

// Written without normals and uvs and read back: the same faces, nodes to 9
// significant digits.
TEST_F(ObjOutput, RoundTrip) {
    reals pos(3, 40);
    ids tria(3, 30), quad(4, 20);
    std::mt19937 rng(7);
    for (std::size_t i = 0; i < pos.size(); ++i) pos.data()[i] = (double(rng() % 2001) - 1000) / 3.0;
    for (ids* m : {&tria, &quad})
        for (std::size_t i = 0; i < m->size(); ++i) m->data()[i] = rng() % 40;
    ASSERT_EQ(cw::WavefrontOBJ_output(path().c_str(), pos, reals(), reals(), tria, quad), 0);
    const mesh r = read(path());
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(values(r.tria), values(tria));
    EXPECT_EQ(values(r.quad), values(quad));
    ASSERT_EQ(r.pos.cols(), 40u);
    for (std::size_t i = 0; i < pos.size(); ++i)
        EXPECT_NEAR(r.pos.data()[i], pos.data()[i], 5e-9 * std::fabs(pos.data()[i]));
}

// The writer's reals against printf: bit patterns of every kind, exact ties
// at the ninth digit, near-ties either side, values that round up to 10.
TEST(ObjText, RealsAsPrintf) {
    std::mt19937_64 rng(3);
    const double specials[] = {
        0.0,         -0.0,        INF, -INF, NaN, -NaN, 5e-324, 1e-19, 1e35, 1e308, 9.9999999949999e-5, 9.999999995e22,
        123456789.5, 1234567885.0};
    for (int i = 0; i < 200000; ++i) {
        double x = i < 14 ? specials[i] : 0;
        const std::uint64_t b = rng();
        char t[40];
        std::snprintf(t, sizeof t, "%09llu%s5e%d", (unsigned long long)(b % 900000000 + 100000000),
                      i % 2 ? "" : "49999999", int(b >> 40) % 60 - 25);
        if (i >= 14 && i % 3 == 0) std::memcpy(&x, &b, sizeof x);
        if (i >= 14 && i % 3 == 1) x = std::ldexp(double((b % 900000000 + 100000000) * 10 + 5), -int(b >> 63));
        if (i >= 14 && i % 3 == 2) x = std::strtod(t, nullptr) * (b >> 63 ? 1 : -1);
        char out[cw::detail::e8_room];
        EXPECT_EQ(std::string(out, cw::detail::put_e8(out, x)), num(x, "%.8e")) << num(x, "%a");
    }
}

// Random OBJ text: reals in all the forms the reader must judge as a stream
// does, corner words, blanks, and lines of the four kinds and others.
struct obj_noise {
    std::mt19937 rng;
    std::size_t pick(std::size_t n) { return rng() % n; }
    const char* one(std::initializer_list<const char*> words) { return words.begin()[pick(words.size())]; }
    std::string real() {
        char b[64], c[9] = {};
        std::snprintf(b, sizeof b, one({"%.17g", "%.8e", "%.3f", "%a"}),
                      std::ldexp(rng() - 2147483648.0, int(pick(80)) - 60));
        for (std::size_t n = 1 + pick(8); n--;) c[n] = "0123456789.+-eE"[pick(15)];
        return one({b, b, c, "inf", "-nan", "1e+", ".", "+.5", "1.5.2", "1e5e3", "1e400", "-1e-400", "4.9e-324",
                    "2.2250738585072011e-308", "1,5", "9007199254740993", "12345678901234567890123e-30"});
    }
    std::string corner() {
        char b[80];
        const int i[] = {0, 1, 2, 3, 4, 5, 6, -1, -2147483647 - 1, 2147483647};
        std::snprintf(b, sizeof b, one({"%d", "%d/", "%d/%d", "%d//%d", "%d/%d/%d", "/%d", "%dx", "%d/%d/%d/%d"}),
                      i[pick(10)], i[pick(10)], i[pick(10)], i[pick(10)]);
        return one({b, b, b, b, b, b, b, b, "x", "2147483648", "-", "+3/", "0x1", "1.0", "//"});
    }
    std::string blank() { return one({" ", " ", " ", "  ", "\t", "\r", "\v", ""}); }
    std::string file() {
        std::string s;
        for (std::size_t lines = pick(12); lines--;) {
            const char* word = one({"v", "v", "v", "vn", "vt", "f", "f", "#", "g", "vx", ""});
            s += one({"", "", "", " "}) + std::string(word) + (pick(10) ? " " : blank());
            for (std::size_t n = pick(10) ? 2 + pick(4) : pick(7); n--;)
                s += (*word == 'f' ? corner() : real()) + (n ? blank() + (pick(4) ? "" : blank()) : "");
            s += lines || pick(3) ? one({"\n", "\n", "\n", "\r\n", " \n"}) : "";
        }
        return s;
    }
};

// Lines across the reader's 64 KiB blocks, and lines longer than a block.
std::string big_file() {
    std::string s = V;
    for (int k = 0; k < 6000; ++k) s += "v " + num(k / 3.0) + std::string(k % 7, ' ') + "1 2\n";
    return s + "v 1 " + std::string(100000, ' ') + "2 3\n# " + std::string(200000, 'x') + "\nf 1 2 3\nf 4 3 2 1";
}

// The same codes, matrices and bytes as the stream versions, on random
// files and on what was read from them.
TEST_F(ObjInput, SameAsStreamVersion) {
    obj_noise noise{std::mt19937(5)};
    int read_all = 0;
    for (int i = 0; i < 400; ++i) {
        const std::string file = put(i ? noise.file() : big_file());
        mesh m = read(file), s;
        s.rc = obj_stream::input(file.c_str(), s.pos, s.normals, s.uvs, s.tria, s.quad);
        ASSERT_EQ(m.rc, s.rc) << file;
        ASSERT_EQ(bits(m.pos) + bits(m.normals) + bits(m.uvs), bits(s.pos) + bits(s.normals) + bits(s.uvs));
        ASSERT_EQ(values(m.tria), values(s.tria));
        ASSERT_EQ(values(m.quad), values(s.quad));
        EXPECT_TRUE(i != 0 || (m.rc == 0 && m.pos.cols() == 6005 && m.tria.cols() == 1 && m.quad.empty()));
        read_all += m.rc == 0;
        EXPECT_EQ(cw::WavefrontOBJ_output(path().c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad),
                  obj_stream::output(path("ref.obj").c_str(), m.pos, m.normals, m.uvs, m.tria, m.quad));
        ASSERT_EQ(text(), text("ref.obj"));
    }
    EXPECT_GT(read_all, 60);
    mesh s;  // a directory opens, and reads as nothing
    EXPECT_EQ(read(dir.string()).rc, obj_stream::input(dir.c_str(), s.pos, s.normals, s.uvs, s.tria, s.quad));
}

}  // namespace

// FEMAP neutral reader and writer: blocks, fields and records read from files
// written here, the topology table, the writer's exact text and codes, round
// trips, numbers as atoi and a C++ stream give them, and storage failures.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "file_test.hpp"
#include "test_support.hpp"

namespace {

using reals = tq5::dense2D<double>;
using ids = tq5::dense2D<unsigned>;
using lists = tq5::dense1D<unsigned>;
using types = tq5::dense1D<int>;

struct Femap : cwtest::file_test {
    Femap() : file_test("femap", ".neu") {}
};

struct deck {
    reals pos;
    ids connect;
    lists starts, props;
    types kinds;
    int rc = 0;
};
deck read(const std::string& file) {
    deck d;
    d.rc = cw::FEMAP_input(file.c_str(), d.pos, d.connect, d.starts, d.kinds, d.props);
    return d;
}

const std::string tail = "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
// An element record of topology `code` whose slot s holds 100 + s.
std::string record(int code, const std::string& prop = "1") {
    std::string s = "9," + prop + ",0,32," + std::to_string(code) + ",1,0,0,0,0,0,0,0,\n";
    for (unsigned k = 0; k < 20; ++k) s += std::to_string(100 + k) + (k % 10 == 9 ? ",\n" : ",");
    return s + tail;
}
std::string node(int id, const std::string& xyz) {
    return std::to_string(id) + ",0,0,1,0,0,0,0,0,0,0," + xyz + ",0,\n";
}

// Every code, 11 and 13 unknown: the slots each type takes, its family.
TEST_F(Femap, TopologiesAndFamilies) {
    std::string file = "-1\n404\n";
    for (int code = 0; code <= 13; ++code) file += record(code, std::to_string(code));
    const deck d = read(put(file + "-1\n"));
    // clang-format off
    const std::vector<list> slots = {{0, 1}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2, 4, 5, 3}, {0, 1, 2, 3},
        {0, 1, 2, 3, 4, 5, 6, 7}, {1, 0, 2, 4}, {0, 1, 2, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6, 7}, {0},
        {0, 2, 1, 4, 9, 8, 10, 12, 14, 13}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}};
    // clang-format on
    list expected;
    for (const list& s : slots)
        for (unsigned r = 0; r < 20; ++r) expected.push_back(r < s.size() ? 100 + s[r] : NO);
    EXPECT_EQ(d.rc, 0);
    EXPECT_EQ(d.connect.rows(), 20u);
    EXPECT_EQ(values(d.connect), expected);
    EXPECT_EQ(values(d.props), list({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12}));
    EXPECT_EQ(values(d.starts), list({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 10, 11, 12}));
    EXPECT_EQ(values(d.kinds), std::vector<int>({3, 4, 6, 8, 7, 9, 12, 16, 18, 1, 13, 0, 19, 0}));
}

// Block numbers alone or with blanks, foreign blocks, fields moved by empty
// ones, short lines, ids that need no or too much room, CR LF, cut records.
TEST_F(Femap, BlocksFieldsAndCutFiles) {
    const std::string xyz = "1.5,-2,3e2";
    // clang-format off
    const struct { std::string file; int rc; std::vector<double> pos; } cases[] = {
        {"403\n" + node(1, xyz), 0, {0, 0, 0, 1.5, -2, 300}},
        {"-1\n 4 0\t3\n" + node(1, xyz) + "-1\n-1\n403\n" + node(1, "4,5,6") + "-1\n", 0, {0, 0, 0, 4, 5, 6}},
        {"-1\n100\n" + node(1, xyz) + "-1\n", 0, {}}, {"-1\n100\n403\n" + node(0, xyz), 0, {1.5, -2, 300}},
        {"403\n" + node(1, xyz) + "1,0,0,1,0,0,0,0,0,0,,7,8,9,0,\n", 0, {0, 0, 0, 8, 9, 0}},
        {"403\n" + node(1, xyz) + "\n2 \n", 0, {0, 0, 0, 1.5, -2, 300, 0, 0, 0}},
        {"-1\r\n403\r\n" + node(1, xyz) + "-1\r\n", 0, {0, 0, 0, 1.5, -2, 300}},
        {"403\n" + node(0, xyz) + node(-3, xyz) + node(1, xyz), cw::ERR_ALLOC, {1.5, -2, 300}},
    };
    // clang-format on
    for (const auto& c : cases) {
        const deck d = read(put(c.file));
        EXPECT_EQ(d.rc, c.rc) << c.file;
        EXPECT_EQ(values(d.pos), c.pos) << c.file;
        EXPECT_EQ(values(d.starts), list({0, 0})) << c.file;
    }
    EXPECT_EQ(read(path("none")).rc * 10 + int(read(path("none")).starts.size()), -10);
    // Lines missing from a record read as nothing, or as the last one when no line end closes it.
    const std::string head = "404\n2,5,0,32,2,1";
    EXPECT_EQ(values(read(put(head + "\n")).connect), list({0, 0, 0}));
    EXPECT_EQ(values(read(put(head)).connect), list({2, 5, 0}));
    EXPECT_EQ(values(read(put(head + "\n7,8")).connect), list({7, 8, 0}));
}

// Two matrices: the first family with all rows, the second with its own; one
// matrix: the type is never known.
TEST_F(Femap, ShortReaderForms) {
    const std::string three = put("404\n" + record(2) + record(4) + record(2));
    ids m1, m2, all;
    cw::element_type fe1, fe2, fe = cw::ET_HEXA8;
    reals pos;
    ASSERT_EQ(cw::FEMAP_input(three.c_str(), pos, m1, m2, fe1, fe2), 0);
    EXPECT_EQ(values(m1), list({100, 101, 102, NO}));
    EXPECT_EQ(values(m2), list({100, 101, 102, 103}));
    EXPECT_EQ(fe1 * 100 + fe2, cw::ET_TRIA3 * 100 + cw::ET_QUAD4);
    ASSERT_EQ(cw::FEMAP_input(three.c_str(), pos, all, fe), 0);
    EXPECT_EQ(all.cols() * 100 + fe, 300u);
    ASSERT_EQ(cw::FEMAP_input(put("404\n" + record(2)).c_str(), pos, m1, m2, fe1, fe2), 0);
    EXPECT_EQ(m1.cols() * 100 + m2.cols() * 10 + fe2, 100u);
    EXPECT_EQ(cw::FEMAP_input(path("none").c_str(), pos, m1, m2, fe1, fe2), -1);
    EXPECT_EQ(m1.cols() * 100 + fe1, 100u + cw::ET_TRIA3);
}

// Property ids are `atoi` of their field, whatever the text (the round trip
// reads random ones).
TEST_F(Femap, IntegersAsAtoi) {
    // clang-format off
    const std::vector<std::string> words = {" 7", "\t-12x", "+-3", "0x10", " ", "-", "\v\f\r+0012", "2147483648",
        "-2147483649", "4294967297", "9223372036854775807", "9223372036854775808", "-9223372036854775808",
        "-9223372036854775809", "18446744073709551617", "99999999999999999999999", "000000000000000000000012"};
    // clang-format on
    std::string file = "404\n";
    for (const auto& w : words) file += record(2, w);
    const deck d = read(put(file));
    ASSERT_EQ(d.props.size(), words.size());
    for (std::size_t k = 0; k < words.size(); ++k) EXPECT_EQ(int(d.props[k]), std::atoi(words[k].c_str())) << words[k];
}

const std::string stars = "*********************************\n";
const std::string nodes_head = stars + "*********** NODES ***************\n" + stars + "-1\n403\n";
const std::string elements_head = "-1\n" + stars + "********* ELEMENTS **************\n" + stars + "-1\n404\n";

TEST_F(Femap, ExactText) {
    const reals pos = padded(3, doubles{1.0 / 3, -0.0, 1e-310, 1e300, 123456789, 999999.5, 1e-5, 100000, 0.00012345});
    const ids tets = padded(4, list{10, 11, 12, NO, 0, 1, 2, 3});
    ASSERT_EQ(cw::FEMAP_output(path().c_str(), pos, tets, vec({0, 2}), vec<int>({cw::ET_TETRA4}), vec({7, 8})), 0);
    const std::string zeros = "0,0,0,0,0,0,0,0,0,0,\n";
    EXPECT_EQ(text(), nodes_head + "0,0,0,1,0,0,0,0,0,0,0,0.333333,-0,1e-310,0,\n" +
                          "1,0,0,1,0,0,0,0,0,0,0,1e+300,1.23457e+08,1e+06,0,\n" +
                          "2,0,0,1,0,0,0,0,0,0,0,1e-05,100000,0.00012345,0,\n" + elements_head +
                          "0,7,0,32,6,1,0,0,0,0,0,0,0,\n11,10,12,0,4294967295,0,0,0,0,0,\n" + zeros + tail +
                          "1,8,0,32,6,1,0,0,0,0,0,0,0,\n1,0,2,0,3,0,0,0,0,0,\n" + zeros + tail + "-1\n");
    // Mixed families are of the kind of their first column; a pyramid has no code.
    const ids mix = columns(8, {0, 1, 2, 3,  4, NO, NO, NO, 0, 1, 2, 3, NO, NO, NO, NO,  //
                                5, 6, 7, NO, 0, 0,  0,  0,  5, 6, 7, 8, 0,  0,  0,  0});
    const types kinds = vec<int>({cw::ET_SOLID_MIX, cw::ET_TETRA4, cw::ET_FACE_MIX});
    ASSERT_EQ(
        cw::FEMAP_output(path().c_str(), columns<double>(3, {}), mix, vec({0, 2, 2, 4}), kinds, vec({1, 2, 3, 4})), 0);
    const std::string tria = ",0,32,2,1,0,0,0,0,0,0,0,\n5,6,7,0,0,0,0,0,0,0,\n" + zeros + tail;
    EXPECT_EQ(text(), nodes_head + elements_head + "2,3" + tria + "3,4" + tria + "-1\n");
}

// The tests in order, each leaving an empty file; the short forms' single
// property id per family.
TEST_F(Femap, WriterCodes) {
    const reals p3 = columns<double>(3, {0, 0, 0}), p2 = columns<double>(2, {0, 0});
    const ids t = columns(3, {0, 1, 2, 2, 1, 0}), f = columns(4, {7, NO, 9, 4}), q = columns(4, {0, 1, 2, 3});
    const types T = vec<int>({cw::ET_TRIA3});
    const lists two = vec({0, 2}), props = vec({1, 1});
    // clang-format off
    const struct { const reals& pos; const ids& c; lists starts; types kinds; lists props; int rc; } cases[] = {
        {p2, t, two, T, props, -2}, {p3, t, vec({0, 2, 2}), T, props, -5}, {p3, t, vec({1, 0}), T, props, -5},
        {p3, t, vec({0, 3}), T, props, -5}, {p3, t, two, T, vec({1}), -6}, {p3, f, vec({0, 1}), vec<int>({5}), vec({1}), -3},
        {p3, t, two, vec<int>({99}), props, -3}, {p3, t, two, vec<int>({cw::ET_QUAD4}), props, -3},
    };
    // clang-format on
    for (const auto& c : cases) {
        std::ofstream(path()) << "stale";
        EXPECT_EQ(cw::FEMAP_output(path().c_str(), c.pos, c.c, c.starts, c.kinds, c.props), c.rc);
        EXPECT_EQ(text(), "");
    }
    const std::string none = path("no/out.neu"), out = path(), both = path("two.neu");
    expect_codes({{cw::FEMAP_output(none.c_str(), p3, t, two, T, props), -1},
                  {cw::FEMAP_output(none.c_str(), p3, ids(), two, T, props), 0},
                  {cw::FEMAP_output(out.c_str(), p3, t, cw::ET_TRIA3), -6},
                  {cw::FEMAP_output(out.c_str(), p3, t, q, cw::ET_TRIA3, cw::ET_QUAD4), -6},
                  {cw::FEMAP_output(out.c_str(), p3, q, cw::ET_QUAD4), 0},
                  {cw::FEMAP_output(both.c_str(), p3, t.sub_matrix(0, 0, 3, 1), q, cw::ET_FACE_MIX, cw::ET_QUAD4), 0}});
    const deck d = read(both);
    EXPECT_EQ(values(d.connect), list({0, 1, 2, NO, 0, 1, 2, 3}));
    EXPECT_EQ(values(d.props), list({1, 2}));
    tq5::testing::fail_allocations_after(0);
    EXPECT_EQ(cw::FEMAP_output(out.c_str(), p3, t, q, cw::ET_TRIA3, cw::ET_QUAD4), cw::ERR_ALLOC);
    tq5::testing::fail_allocations_after(-1);
}

// A family of each written type, random ids, read back as written; nodes as
// a C++ stream prints them: bit patterns of every kind, ties and boundaries.
TEST_F(Femap, RoundTrip) {
    std::mt19937_64 rng(11);
    deck w;
    w.pos.resize(3, 3000);
    const double specials[] = {0, -0.0, INF, -INF, NaN, 5e-324, 9.999995e-5, 999999.5, 0.1234565, 1e16, 1e-300};
    for (std::size_t i = 0; i < w.pos.size(); ++i) {
        const std::uint64_t b = rng();
        double x = std::ldexp(double(b % 2000001) - 1e6, int(b >> 58) - 40);
        if (i % 3 == 1) std::memcpy(&x, &b, sizeof x);
        w.pos.data()[i] = i < 11 ? specials[i] : x;
    }
    w.connect.resize(20, 360, NO);
    w.starts.push_back(0);
    for (std::size_t j = 0; j < 360; ++j) {  // 12 families of 30
        if (j % 30 == 0) w.kinds.push_back(std::vector<int>{3, 4, 6, 8, 7, 9, 12, 16, 18, 1, 13, 19}[j / 30]);
        if (j % 30 == 29) w.starts.push_back(unsigned(j + 1));
        for (unsigned r = 0; r < node_count(cw::element_type(w.kinds[j / 30])); ++r) w.connect(r, j) = unsigned(rng());
        w.props.push_back(unsigned(rng()));
    }
    ASSERT_EQ(cw::FEMAP_output(path().c_str(), w.pos, w.connect, w.starts, w.kinds, w.props), 0);
    std::ostringstream nodes;
    for (std::size_t i = 0; i < 3000; ++i)
        nodes << i << ",0,0,1,0,0,0,0,0,0,0," << w.pos(0, i) << "," << w.pos(1, i) << "," << w.pos(2, i) << ",0,\n";
    EXPECT_EQ(text().substr(0, nodes_head.size() + nodes.str().size()), nodes_head + nodes.str());
    const deck r = read(path());
    EXPECT_EQ(r.rc * 10000 + int(r.pos.cols()), 3000);
    EXPECT_EQ(values(r.connect), values(w.connect));
    EXPECT_EQ(values(r.props), values(w.props));
    EXPECT_EQ(values(r.kinds), values(w.kinds));
    EXPECT_EQ(values(r.starts), values(w.starts));
}

// Every allocation failing in turn, elements first so that a failure there
// also fails the nodes behind: ERR_ALLOC each time, then the whole file.
TEST_F(Femap, StorageFailures) {
    const std::string file =
        put("404\n" + record(6) + record(10) + "-1\n403\n" + node(1, "1,2,3") + node(900, "4,5,6"));
    deck d;
    int failures = 0;
    EXPECT_EQ(with_each_allocation_failing([&] { return (d = read(file)).rc; }, [] {}, &failures), 0);
    EXPECT_GT(failures, 5);
    EXPECT_EQ(d.connect.cols() * 10000 + d.pos.cols(), 20901u);
}

}  // namespace

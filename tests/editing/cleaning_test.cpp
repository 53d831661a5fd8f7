// remove_degenerated, simplify and clip: hand cases for padding and strictness,
// random columns of every height against a pairwise search, keep_first, the
// codes in their order, the side of nodes on the plane, and storage failures.
#include <functional>

#include "test_support.hpp"

using namespace cwtest;

namespace {

using v3 = tq5::vector_fixed<double, 3>;

TEST(RemoveDegenerated, RepeatedNodesAlwaysRepeatedPaddingOnlyWhenStrict) {
    // (5, 5, 7), (5, 7, NO), (5, NO, NO), (1, 2, 3), (7, 3, 7), (NO, NO, NO)
    const list cols = {5, 5, 7, 5, 7, NO, 5, NO, NO, 1, 2, 3, 7, 3, 7, NO, NO, NO};
    auto conn = padded(3, cols), strict = padded(3, cols);
    auto map = vec({8u, 8u});
    EXPECT_EQ(cw::remove_degenerated(conn, map, false), 2);
    EXPECT_EQ(cw::remove_degenerated(strict, true), 4);
    EXPECT_EQ(values(conn), (list{5, 7, NO, 5, NO, NO, 1, 2, 3, NO, NO, NO}));
    EXPECT_EQ(values(map), (list{NO, 0, 1, 2, NO, 3}));
    EXPECT_EQ(values(strict), (list{5, 7, NO, 1, 2, 3}));
    EXPECT_TRUE(pad_intact(conn));
}

// Columns of 1 to 40 rows, ids drawn from a few more values than rows, some
// NO_INDEX: the survivors, in order, are the columns without two equal
// entries that are a node, or with `strict`, that are anything.
TEST(RemoveDegenerated, RandomColumnsOfEveryHeightAgainstPairwiseSearch) {
    std::mt19937 rng(5);
    for (unsigned rows = 1; rows <= 40; ++rows) {
        list cols(rows * 60);
        for (auto& x : cols) x = rng() % 8 == 0 ? NO : unsigned(rng() % (rows + rows / 2 + 2));
        for (bool strict : {false, true}) {
            list kept, map;
            for (unsigned j = 0; j < 60; ++j) {
                bool bad = false;
                for (unsigned a = 0; a < rows; ++a)
                    for (unsigned b = a + 1; b < rows; ++b) {
                        const unsigned x = cols[j * rows + a];
                        bad = bad || (x == cols[j * rows + b] && (x != NO || strict));
                    }
                map.push_back(bad ? NO : unsigned(kept.size() / rows));
                if (!bad) kept.insert(kept.end(), cols.begin() + j * rows, cols.begin() + (j + 1) * rows);
            }
            tq5::dense2D<unsigned> m(rows, 60);
            std::copy(cols.begin(), cols.end(), m.data());
            tq5::dense1D<unsigned> got;
            EXPECT_EQ(cw::remove_degenerated(m, got, strict), int(60 - kept.size() / rows)) << rows;
            EXPECT_EQ(values(m), kept) << rows;
            EXPECT_EQ(values(got), map) << rows;
        }
    }
}

// Nodes 0 to 5 at (i, 10 + i); the connectivity uses 5, 0, 3 and 2, so that 1
// and 4 are unused.
tq5::dense2D<double> six_nodes() { return columns<double>(2, {0, 10, 1, 11, 2, 12, 3, 13, 4, 14, 5, 15}); }
const list uses = {5, 0, NO, 3, 2, 5};
doubles nodes_at(const list& ids) {
    doubles xy;
    for (unsigned i : ids) xy.insert(xy.end(), {double(i), 10.0 + i});
    return xy;
}

TEST(Simplify, DropsUnusedNodesFromKeepFirstOn) {
    const struct {
        unsigned keep_first;
        int dropped;
        list nodes, conn, map;
    } cases[] = {
        {0, 2, {0, 2, 3, 5}, {3, 0, NO, 2, 1, 3}, {0, NO, 1, 2, NO, 3}},
        {3, 1, {0, 1, 2, 3, 5}, {4, 0, NO, 3, 2, 4}, {0, 1, 2, 3, NO, 4}},
        {5, 0, {0, 1, 2, 3, 4, 5}, uses, {0, 1, 2, 3, 4, 5}},
        {6, 0, {0, 1, 2, 3, 4, 5}, uses, {}},
    };
    for (const auto& c : cases) {
        auto pos = six_nodes();
        auto conn = padded(2, uses);
        auto map = vec({7u});
        EXPECT_EQ(cw::simplify(pos, conn, map, c.keep_first), c.dropped);
        EXPECT_EQ(values(pos), nodes_at(c.nodes));
        EXPECT_EQ(values(conn), c.conn);
        EXPECT_EQ(values(map), c.map);
        EXPECT_TRUE(pad_intact(conn));
    }
}

TEST(Simplify, FormsOverSeveralMatricesAndCodesInOrder) {
    auto pos = six_nodes();
    auto faces = columns(2, {0, 2, 2, NO}), more = columns(1, {5});
    EXPECT_EQ(cw::simplify(pos, faces, more, 0u), 3);  // 1, 3 and 4 go; both renumbered in place
    EXPECT_EQ(values(pos), nodes_at({0, 2, 5}));
    EXPECT_EQ(values(faces), (list{0, 1, 1, NO}));
    EXPECT_EQ(values(more), list{2});
    // Each code with the arguments of all later ones wrong too; nothing moves.
    pos = six_nodes();
    tq5::dense2D<unsigned> bad[2] = {columns(1, {0}), columns(1, {6})};  // the second refers to no node
    auto map = vec({7u});
    tq5::dense2D<double> none;
    expect_codes({{cw::simplify(pos, bad + 1, bad, map, 9u), -3},
                  {cw::simplify(pos, bad, bad, map, 0u), 0},
                  {cw::simplify(pos, bad, bad + 2, map, 0u), -2},
                  {cw::simplify(pos, bad[1], map, 9u), -2},
                  {cw::simplify(none, bad[0], map, 0u), -2},
                  {cw::simplify(none, bad, bad, map, 0u), 0}});
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(values(pos), nodes_at({0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(values(bad[1]), list{6});
}

// Nodes 0, 1, 2 below z = 1, 3 and 5 on it, 4 and 6 above.
const auto clip_pos = columns<double>(3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 2, 1, 1, 1, 1, 1, 2});
// Above, touching, below, starting with NO_INDEX, on the plane, across.
const list clip_cols = {4, 6, NO, 3, 5, 4, 0, 1, 2, NO, 0, 4, 3, 5, NO, 4, 0, 6};

TEST(Clip, KeepsElementsWhollyOnTheNormalsSideAndAppends) {
    const auto conn = padded(3, clip_cols);
    auto up = columns(3, {9, 9, 9});
    tq5::dense2D<unsigned> down(4, 0);  // empty: takes the rows of conn
    EXPECT_EQ(cw::clip(clip_pos, conn, v3{{5, 5, 1}}, v3{{0, 0, 3}}, up), 0);
    EXPECT_EQ(cw::clip(clip_pos, conn, v3{{5, 5, 1}}, v3{{0, 0, -1e-9}}, down), 0);
    EXPECT_EQ(values(up), (list{9, 9, 9, 4, 6, NO, NO, 0, 4}));
    EXPECT_EQ(values(down), (list{0, 1, 2, NO, 0, 4}));
    // 2 rows: z of point and normal play no part. Nodes (0, 0), (1, 0), (1, 1), (0.5, 3).
    const auto flat = columns<double>(2, {0, 0, 1, 0, 1, 1, 0.5, 3});
    for (const v3 n : {v3{{1, 0, 0}}, v3{{1, 0, 5}}}) {
        tq5::dense2D<unsigned> right;
        EXPECT_EQ(cw::clip(flat, columns(2, {1, 2, 0, 1, 3, 2}), v3{{0.5, -7, 9 * n[2]}}, n, right), 0);
        EXPECT_EQ(values(right), (list{1, 2}));
    }
    // Each code with the arguments of all later ones wrong too; `kept` stays.
    const v3 o{{0, 0, 0}};
    auto two = columns(2, {9, 9});
    expect_codes({{cw::clip(clip_pos, tq5::dense2D<unsigned>(3, 0), o, o, up), 0},
                  {cw::clip(clip_pos, columns(1, {7}), o, o, down), -2},
                  {cw::clip(clip_pos, conn, o, v3{{0, 1e-13, 0}}, two), -4},
                  {cw::clip(clip_pos, conn, o, v3{{NaN, 1, 1}}, up), -4},
                  {cw::clip(clip_pos, conn, o, v3{{0, 0, 1}}, two), -5}});
    EXPECT_EQ(values(up), (list{9, 9, 9, 4, 6, NO, NO, 0, 4}));
    EXPECT_EQ(values(two), (list{9, 9}));
}

TEST(Cleaning, FailedStorageChangesNothing) {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> conn, kept, tall;
    tq5::dense1D<unsigned> map;
    list wide = clip_cols;  // 7 columns, the last degenerate: too many for the slack of a 1-entry map
    wide.insert(wide.end(), {1, 1, 2});
    auto setup = [&] {
        pos = six_nodes();
        conn = padded(2, uses);
        tall = padded(3, wide);
        kept = columns(3, {9, 9, 9});
        map = vec({7u});
    };
    auto unchanged = [&] {
        EXPECT_EQ(values(pos), nodes_at({0, 1, 2, 3, 4, 5}));
        EXPECT_EQ(values(conn), uses);
        EXPECT_EQ(values(tall), wide);
        EXPECT_EQ(values(kept), (list{9, 9, 9}));
        EXPECT_LE(map.size(), 1u);  // cleared, or not touched by clip
    };
    // Each call and its result once storage suffices; clip, last, has then appended 2 columns.
    const std::pair<std::function<int()>, int> calls[] = {
        {[&] { return cw::remove_degenerated(tall, map, true); }, 1},
        {[&] { return cw::simplify(pos, conn, map, 0u); }, 2},
        {[&] {
             return cw::clip(clip_pos, tall, v3{{0, 0, 1}}, v3{{0, 0, 1}}, kept);
         },
         0},
    };
    for (const auto& [call, rc] : calls) {
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing(call, unchanged, &failures, setup), rc);
        EXPECT_GE(failures, 1);
    }
    EXPECT_EQ(kept.cols(), 3u);
}

}  // namespace

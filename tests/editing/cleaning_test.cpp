// remove_degenerated, simplify and clip: random columns of every height against
// a pairwise search, keep_first, the codes in their order, the side of nodes on
// the plane; and, for every editing call that obtains storage (the transforms
// and mesh copies too), what a failure of each allocation leaves.
#include "test_support.hpp"

namespace {

using v3 = tq5::vector_fixed<double, 3>;

// Columns of 1 to 40 rows in views with ld > rows, ids drawn from a few more
// values than rows, some NO_INDEX: the survivors, in order, are the columns
// without two equal entries that are a node, or with `strict`, that are anything
// (sorted, with NO_INDEX left out unless `strict`, no two neighbours equal).
TEST(RemoveDegenerated, RandomColumnsOfEveryHeightAgainstPairwiseSearch) {
    std::mt19937 rng(5);
    for (unsigned rows = 1; rows <= 40; ++rows) {
        list cols(rows * 60);
        for (auto& x : cols) x = rng() % 8 == 0 ? NO : unsigned(rng() % (rows + rows / 2 + 2));
        for (bool strict : {false, true}) {
            list kept, map;
            for (unsigned j = 0; j < 60; ++j) {
                list c(cols.begin() + j * rows, cols.begin() + (j + 1) * rows);
                if (!strict) c.erase(std::remove(c.begin(), c.end(), NO), c.end());
                std::sort(c.begin(), c.end());
                const bool bad = std::adjacent_find(c.begin(), c.end()) != c.end();
                map.push_back(bad ? NO : unsigned(kept.size() / rows));
                if (!bad) kept.insert(kept.end(), cols.begin() + j * rows, cols.begin() + (j + 1) * rows);
            }
            auto m = padded(rows, cols), no_map = padded(rows, cols);
            tq5::dense1D<unsigned> got;
            EXPECT_EQ(cw::remove_degenerated(m, got, strict), int(60 - kept.size() / rows)) << rows;
            EXPECT_EQ(cw::remove_degenerated(no_map, strict), int(60 - kept.size() / rows)) << rows;
            EXPECT_EQ(values(m), kept) << rows;
            EXPECT_EQ(values(no_map), kept) << rows;
            EXPECT_EQ(values(got), map) << rows;
            EXPECT_TRUE(pad_intact(m)) << rows;
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

// The nodes from keep_first on that are not used go; ids that are no node give
// -2 whether or not a node could go, with nothing moved and the map empty.
TEST(Simplify, DropsUnusedNodesFromKeepFirstOn) {
    const list all = {0, 1, 2, 3, 4, 5};
    // keep_first, the connectivity, the result, and the nodes, connectivity and map after.
    const std::tuple<unsigned, list, int, list, list, list> cases[] = {
        {0, uses, 2, {0, 2, 3, 5}, {3, 0, NO, 2, 1, 3}, {0, NO, 1, 2, NO, 3}},
        {3, uses, 1, {0, 1, 2, 3, 5}, {4, 0, NO, 3, 2, 4}, {0, 1, 2, 3, NO, 4}},
        {5, uses, 0, all, uses, all},
        {6, uses, 0, all, uses, {}},
        {9, {0, 6}, -2, all, {0, 6}, {}},
        {0, {0, 6}, -2, all, {0, 6}, {}},
    };
    for (const auto& [keep_first, before, rc, nodes, after, map_after] : cases) {
        auto pos = six_nodes();
        auto conn = padded(2, before);
        auto map = vec({7u});
        EXPECT_EQ(cw::simplify(pos, conn, map, keep_first), rc);
        EXPECT_EQ(values(pos), nodes_at(nodes));
        EXPECT_EQ(values(conn), after);
        EXPECT_EQ(values(map), map_after);
    }
}

// A range the wrong way round comes before the step that returns when no node
// can go; an empty range does nothing.
TEST(Simplify, FormsOverSeveralMatricesAndCodesInOrder) {
    auto pos = six_nodes();
    tq5::dense2D<unsigned> two[2] = {columns(2, {0, 2, 2, NO}), columns(1, {5})};
    auto map = vec({7u});
    expect_codes({{cw::simplify(pos, two + 1, two, map, 9u), -3}, {cw::simplify(pos, two, two, map, 0u), 0}});
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(cw::simplify(pos, two[0], two[1], 0u), 3);  // 1, 3 and 4 go; both renumbered in place
    EXPECT_EQ(values(pos), nodes_at({0, 2, 5}));
    EXPECT_EQ(values(two[0]), (list{0, 1, 1, NO}));
    EXPECT_EQ(values(two[1]), list{2});
}

// Nodes 0, 1, 2 below z = 1, 3 and 5 on it, 4 and 6 above.
const auto clip_pos = columns<double>(3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 2, 1, 1, 1, 1, 1, 2});
// Above, touching, below, starting with NO_INDEX, on the plane, across.
const list clip_cols = {4, 6, NO, 3, 5, 4, 0, 1, 2, NO, 0, 4, 3, 5, NO, 4, 0, 6};

TEST(Clip, KeepsElementsWhollyOnTheNormalsSideAndAppends) {
    const auto conn = padded(3, clip_cols);
    auto up = columns(3, {9, 9, 9});
    tq5::dense2D<unsigned> down(4, 0), right;  // empty: take the rows of conn
    EXPECT_EQ(cw::clip(clip_pos, conn, v3{{5, 5, 1}}, v3{{0, 0, 3}}, up), 0);
    EXPECT_EQ(cw::clip(clip_pos, conn, v3{{5, 5, 1}}, v3{{0, 0, -1e-9}}, down), 0);
    EXPECT_EQ(values(up), (list{9, 9, 9, 4, 6, NO, NO, 0, 4}));
    EXPECT_EQ(values(down), (list{0, 1, 2, NO, 0, 4}));
    // 2 rows: z of point and normal play no part. Nodes (0, 0), (1, 0), (1, 1),
    // (0.5, 3); only the last node of the second column is on the far side.
    const auto flat = columns<double>(2, {0, 0, 1, 0, 1, 1, 0.5, 3});
    EXPECT_EQ(cw::clip(flat, columns(2, {1, 2, 1, 0, 3, 2}), v3{{0.5, -7, 45}}, v3{{1, 0, 5}}, right), 0);
    EXPECT_EQ(values(right), (list{1, 2}));
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

// Each call, with each of its allocations failing in turn, and its result once
// storage suffices. After a failure nothing has changed, except that `pos` may
// be widened by a mirror and hold the nodes of a failed stepped copy.
TEST(Editing, FailedStorageChangesNothing) {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> conn, kept;
    tq5::dense1D<unsigned> map;
    const v3 o{{0, 0, 0}}, z{{0, 0, 1}};
    // Each call, its result and the rows of `pos` once storage suffices, and the
    // rows and columns that `pos` may have after a failure.
    const std::tuple<std::function<int()>, int, std::size_t, std::size_t, std::size_t> calls[] = {
        {[&] { return cw::translate(pos, z); }, 6, 3, 2, 6},
        {[&] { return cw::translate(pos, z, conn); }, 4, 3, 2, 6},
        {[&] { return cw::copy_mesh(pos, kept, conn); }, 0, 2, 2, 6},
        {[&] { return cw::copy_sym_mesh(pos, kept, o, z, conn); }, 0, 3, 3, 6},
        {[&] { return cw::copy_mesh(pos, conn, z, o, z, 1, conn); }, 0, 3, 3, 10},
        // With room in conn for the copy, the widening is the last storage the copy needs.
        {[&] { return conn.reserve(2, 6) ? cw::copy_mesh(pos, conn, z, o, z, 1, conn) : cw::ERR_ALLOC; }, 0, 3, 3, 10},
        {[&] { return cw::remove_degenerated(conn, map, true); }, 0, 2, 2, 6},
        {[&] { return cw::simplify(pos, conn, map, 0u); }, 2, 2, 2, 6},
        {[&] { return cw::clip(clip_pos, conn, z, z, kept); }, 0, 2, 2, 6},
    };
    auto setup = [&] {
        pos = six_nodes();
        conn = padded(2, uses);
        kept = tq5::dense2D<unsigned>(4, 0);  // no storage, and rows that a copy or clip replaces
        map = tq5::dense1D<unsigned>();       // no storage
    };
    for (const auto& [call, rc, rows_after, rows, cols] : calls) {
        auto failed = [&, rows = rows, cols = cols] {
            EXPECT_EQ(values(pos.sub_matrix(0, 0, 2, 6)), nodes_at({0, 1, 2, 3, 4, 5}));
            EXPECT_LE(pos.rows(), rows);
            EXPECT_LE(pos.cols(), cols);
            EXPECT_EQ(values(conn), uses);
            EXPECT_EQ(kept.rows(), 4u);
            EXPECT_EQ(kept.cols(), 0u);
            EXPECT_TRUE(map.empty());
        };
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing(call, failed, &failures, setup), rc);
        EXPECT_GE(failures, 1);
        EXPECT_EQ(pos.rows(), rows_after);  // a failed widening is not taken for success
    }
}

}  // namespace

// copy_mesh and copy_sym_mesh: which nodes are copied and in what order, the
// stepped copies against the transforms applied by hand, mirrors for normals
// of any length, and what storage failures leave.
#include <functional>

#include "test_support.hpp"

using namespace cwtest;

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;

// The unit square, nodes (0, 0), (1, 0), (1, 1), (0, 1); a fresh matrix with
// room for exactly its 4 columns.
tq5::dense2D<double> square() { return columns<double>(2, {0, 0, 1, 0, 1, 1, 0, 1}); }

// Columns `ids` of `pos` in `rows` rows, the missing rows 0.
tq5::dense2D<double> pick(const tq5::dense2D<double>& pos, const list& ids, std::size_t rows) {
    tq5::dense2D<double> out(rows, ids.size(), 0.0);
    for (std::size_t k = 0; k < ids.size(); ++k)
        for (std::size_t r = 0; r < std::min(rows, pos.rows()); ++r) out(r, k) = pos(r, ids[k]);
    return out;
}

const auto tris = columns(3, {1, 2, NO, 2, 3, 1});  // nodes 1, 2, 3 in order of first use

TEST(CopyMesh, OneCopyTakesEachNodeOnceAndReplacesConn) {
    auto pos = square();
    auto conn = columns(2, {7, 7});
    const auto source = padded(3, {2, 0, NO, 0, 2, 3});  // nodes 2, 0, 3
    EXPECT_EQ(cw::copy_mesh(pos, conn, source), 0);
    EXPECT_EQ(values(pos), (doubles{0, 0, 1, 0, 1, 1, 0, 1, 1, 1, 0, 0, 0, 1}));
    EXPECT_EQ(pos.col_capacity(), 8u);  // 4 columns and the greater of 4 and 3
    EXPECT_EQ(conn.rows(), 3u);
    EXPECT_EQ(values(conn), (list{4, 5, NO, 5, 4, 6}));
    EXPECT_TRUE(pad_intact(source));
}

TEST(CopyMesh, SteppedCopiesAreTheNodesTurnedThenShiftedKTimes) {
    const v2 c2{{0.5, 0.5}};
    const v3 c3{{0.5, 0.5, 1}}, w{{0.1, -0.2, 0.7}};
    auto p2 = square(), p3 = square();
    auto k2 = columns(3, {0, 1, 2}), k3 = columns(3, {0, 1, 2});
    EXPECT_EQ(cw::copy_mesh(p2, k2, v2{{2, 0}}, c2, 0.3, 3, tris), 0);
    EXPECT_EQ(cw::copy_mesh(p3, k3, v3{{0, 1, 2}}, c3, w, 3, tris), 0);  // the first turn widens p3
    ASSERT_EQ(p2.cols(), 13u);
    ASSERT_EQ(p3.cols(), 13u);
    EXPECT_EQ(p3.rows(), 3u);
    list want = {0, 1, 2};
    for (unsigned k = 1; k <= 3; ++k) {
        const unsigned b = 4 + 3 * (k - 1);
        want.insert(want.end(), {b, b + 1, NO, b + 1, b + 2, b});
        auto h2 = pick(square(), {1, 2, 3}, 2), h3 = pick(square(), {1, 2, 3}, 3);
        cw::rotate(h2, c2, k * 0.3);
        cw::translate(h2, v2{{2.0 * k, 0}});
        cw::rotate(h3, c3, v3{{k * w[0], k * w[1], k * w[2]}});
        cw::translate(h3, v3{{0, 1.0 * k, 2.0 * k}});
        EXPECT_EQ(values(pick(p2, {b, b + 1, b + 2}, 2)), values(h2)) << k;
        EXPECT_EQ(values(pick(p3, {b, b + 1, b + 2}, 3)), values(h3)) << k;
    }
    EXPECT_EQ(values(k2), want);
    EXPECT_EQ(values(k3), want);
    tq5::dense2D<double> none;
    EXPECT_EQ(cw::copy_mesh(p2, k2, v2{{2, 0}}, c2, 0.3, 0, tris), 0);
    EXPECT_EQ(cw::copy_mesh(none, k3, v3{{1, 1, 1}}, c3, w, 2, tris), 0);
    EXPECT_EQ(p2.cols(), 13u);
    EXPECT_EQ(values(k2), want);
    EXPECT_EQ(values(k3), want);
    EXPECT_TRUE(none.empty());
}

TEST(CopySymMesh, MirrorsTheCopiesWhateverTheNormalsLength) {
    const auto source = columns(3, {2, 0, NO});  // nodes 2, 0
    for (const v2 n : {v2{{1, 0}}, v2{{-8, 0}}}) {
        auto pos = columns<double>(1, {0, 3, 1.5});  // widened to 2 rows
        auto conn = columns(1, {9});
        EXPECT_EQ(cw::copy_sym_mesh(pos, conn, v2{{1, 7}}, n, source), 0);  // about x = 1
        EXPECT_EQ(values(pos), (doubles{0, 0, 3, 0, 1.5, 0, 0.5, 0, 2, 0}));
        EXPECT_EQ(values(conn), (list{3, 4, NO}));
    }
    // Through the plane of (1, 1, 1) and (0, 0.6, 0.8): (0, 0, 0) goes to (0, 1.68, 2.24).
    doubles got[2];
    for (int i = 0; i < 2; ++i) {
        auto pos = columns<double>(3, {0, 0, 0, 0.5, -2, 3, 4, 4, 4});
        tq5::dense2D<unsigned> conn;
        const double s = i ? 5 : 1;
        EXPECT_EQ(cw::copy_sym_mesh(pos, conn, v3{{1, 1, 1}}, v3{{0, 0.6 * s, 0.8 * s}}, columns(2, {0, 1})), 0);
        got[i] = values(pos);
    }
    ASSERT_EQ(got[0].size(), 15u);
    for (std::size_t k = 0; k < 15; ++k) EXPECT_NEAR(got[0][k], got[1][k], 1e-15);
    EXPECT_NEAR(got[0][10], 1.68, 1e-15);
    EXPECT_NEAR(got[0][11], 2.24, 1e-15);
    // A zero normal is refused, except on a matrix without entries.
    auto pos = square();
    tq5::dense2D<double> none;
    auto conn = columns(1, {9});
    expect_codes({{cw::copy_sym_mesh(pos, conn, v2{{0, 0}}, v2{{0, 0}}, tris), -4},
                  {cw::copy_sym_mesh(none, conn, v2{{0, 0}}, v2{{0, 0}}, tris), 0}});
    EXPECT_EQ(values(pos), values(square()));
    EXPECT_EQ(values(conn), list{9});
}

TEST(MeshCopies, FailedStorageLeavesInputsOrWholeCopies) {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> conn;
    // The replaced `conn` starts too small for the copy, so that copying into it fails too.
    auto unchanged = [&] {
        EXPECT_EQ(values(pick(pos, {0, 1, 2, 3}, 2)), values(square()));
        EXPECT_EQ(pos.cols(), 4u);
        EXPECT_EQ(values(conn), list{9});
    };
    auto whole = [&] {  // stepped copies: those made before the failure stay
        EXPECT_EQ(conn.cols() % 2, 0u);
        EXPECT_GE(pos.cols(), 4 + 3 * (conn.cols() / 2));
    };
    struct row {
        bool replaced;
        std::function<int()> call;
        std::function<void()> failed;
    } rows[] = {
        {true, [&] { return cw::copy_mesh(pos, conn, tris); }, unchanged},
        {true,
         [&] {
             return cw::copy_sym_mesh(pos, conn, v3{{0, 0, 0}}, v3{{0, 0, 1}}, tris);
         },
         unchanged},
        {false,
         [&] {
             return cw::copy_mesh(pos, conn, v3{{1, 0, 0}}, v3{{0, 0, 0}}, v3{{0, 0, 1}}, 4, tris);
         },
         whole},
    };
    for (const auto& r : rows) {
        auto setup = [&] {
            pos = square();
            conn = r.replaced ? columns(1, {9}) : tq5::dense2D<unsigned>();
        };
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing(r.call, r.failed, &failures, setup), 0);
        EXPECT_GE(failures, 4);
    }
}

}  // namespace

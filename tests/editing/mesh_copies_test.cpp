// copy_mesh and copy_sym_mesh: the nodes copied and their order, stepped copies
// against the transforms applied by hand, mirrors for normals of any length,
// and what storage failures leave.
#include <functional>

#include "test_support.hpp"

using namespace cwtest;

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;

// The unit square (0, 0), (1, 0), (1, 1), (0, 1), with room for exactly 4 columns.
tq5::dense2D<double> square() { return columns<double>(2, {0, 0, 1, 0, 1, 1, 0, 1}); }
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
}

TEST(CopyMesh, SteppedCopiesAreTheNodesTurnedThenShiftedKTimes) {
    const v2 c2{{0.5, 0.5}};
    const v3 c3{{0.5, 0.5, 1}}, w{{0.1, -0.2, 0.7}};
    auto p2 = square(), p3 = square();
    auto k2 = columns(3, {0, 1, 2}), k3 = columns(3, {0, 1, 2});
    EXPECT_EQ(cw::copy_mesh(p2, k2, v2{{2, 0}}, c2, 0.3, 3, tris), 0);
    EXPECT_EQ(cw::copy_mesh(p3, k3, v3{{0, 1, 2}}, c3, w, 3, tris), 0);  // the first turn widens p3
    doubles h2 = values(square()), h3 = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    list want = {0, 1, 2};
    for (unsigned k = 1; k <= 3; ++k) {
        auto a = columns<double>(2, {1, 0, 1, 1, 0, 1}), b = columns<double>(3, {1, 0, 0, 1, 1, 0, 0, 1, 0});
        cw::rotate(a, c2, k * 0.3);
        cw::translate(a, v2{{2.0 * k, 0}});
        cw::rotate(b, c3, v3{{k * w[0], k * w[1], k * w[2]}});
        cw::translate(b, v3{{0, 1.0 * k, 2.0 * k}});
        h2.insert(h2.end(), a.data(), a.data() + 6);
        h3.insert(h3.end(), b.data(), b.data() + 9);
        const unsigned n = 4 + 3 * (k - 1);
        want.insert(want.end(), {n, n + 1, NO, n + 1, n + 2, n});
    }
    EXPECT_EQ(values(p2), h2);
    EXPECT_EQ(values(p3), h3);
    EXPECT_EQ(values(k2), want);
    EXPECT_EQ(values(k3), want);
    auto self = columns(3, {1, 2, NO});  // copies of itself as it was: 3 columns, not 4
    EXPECT_EQ(cw::copy_mesh(p2, self, v2{{2, 0}}, c2, 0.3, 2, self), 0);
    EXPECT_EQ(values(self), (list{1, 2, NO, 13, 14, NO, 15, 16, NO}));
    tq5::dense2D<double> none;  // nothing done for n = 0 or no entries
    EXPECT_EQ(cw::copy_mesh(p2, k2, v2{{2, 0}}, c2, 0.3, 0, tris), 0);
    EXPECT_EQ(cw::copy_mesh(none, k3, v3{{1, 1, 1}}, c3, w, 2, tris), 0);
    EXPECT_EQ(p2.cols(), 17u);
    EXPECT_EQ(values(k2), want);
    EXPECT_EQ(values(k3), want);
    EXPECT_TRUE(none.empty());
}

TEST(CopySymMesh, MirrorsTheCopiesWhateverTheNormalsLength) {
    for (const v2 n : {v2{{1, 0}}, v2{{-8, 0}}}) {   // about x = 1
        auto pos = columns<double>(1, {0, 3, 1.5});  // widened to 2 rows
        auto conn = columns(1, {9});
        EXPECT_EQ(cw::copy_sym_mesh(pos, conn, v2{{1, 7}}, n, columns(3, {2, 0, NO})), 0);
        EXPECT_EQ(values(pos), (doubles{0, 0, 3, 0, 1.5, 0, 0.5, 0, 2, 0}));
        EXPECT_EQ(values(conn), (list{3, 4, NO}));
    }
    // Through (1, 1, 1) across (0, 0.6, 0.8), and 5 times that: (0, 0, 0) goes to (0, 1.68, 2.24).
    for (double s : {1.0, 5.0}) {
        auto pos = columns<double>(3, {0, 0, 0, 0.5, -2, 3});
        tq5::dense2D<unsigned> conn;
        EXPECT_EQ(cw::copy_sym_mesh(pos, conn, v3{{1, 1, 1}}, v3{{0, 0.6 * s, 0.8 * s}}, columns(1, {0})), 0);
        const doubles v = values(pos);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(v[6 + i], (doubles{0, 1.68, 2.24})[i], 1e-15);
    }
    auto pos = square();
    auto conn = columns(1, {9});
    tq5::dense2D<double> none;
    expect_codes({{cw::copy_sym_mesh(pos, conn, v2{{0, 0}}, v2{{0, 0}}, tris), -4},
                  {cw::copy_sym_mesh(none, conn, v2{{0, 0}}, v2{{0, 0}}, tris), 0}});
    EXPECT_EQ(values(pos), values(square()));
    EXPECT_EQ(values(conn), list{9});
}

TEST(MeshCopies, FailedStorageLeavesInputsOrWholeCopies) {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> conn;
    // Each call, and whether it replaces `conn`, which then starts too small for the copy.
    const std::pair<std::function<int()>, bool> calls[] = {
        {[&] { return cw::copy_mesh(pos, conn, tris); }, true},
        {[&] {
             return cw::copy_sym_mesh(pos, conn, v3{{0, 0, 0}}, v3{{0, 0, 1}}, tris);
         },
         true},
        {[&] {
             return cw::copy_mesh(pos, conn, v3{{1, 0, 0}}, v3{{0, 0, 0}}, v3{{0, 0, 1}}, 4, tris);
         },
         false},
    };
    for (const auto& [call, replaces] : calls) {
        auto setup = [&, r = replaces] {
            pos = square();
            conn = r ? columns(1, {9}) : tq5::dense2D<unsigned>();
        };
        // As it was; for the stepped copies, those made before the failure stay.
        auto failed = [&, r = replaces] {
            EXPECT_EQ(values(pos.sub_matrix(0, 0, 2, 4)), values(square()));
            if (r) {
                EXPECT_EQ(pos.cols(), 4u);
                EXPECT_EQ(values(conn), list{9});
            } else {
                EXPECT_EQ(conn.cols() % 2, 0u);
                EXPECT_GE(pos.cols(), 4 + 3 * conn.cols() / 2);
            }
        };
        int failures = 0;
        EXPECT_EQ(with_each_allocation_failing(call, failed, &failures, setup), 0);
        EXPECT_GE(failures, 4);
    }
}

}  // namespace

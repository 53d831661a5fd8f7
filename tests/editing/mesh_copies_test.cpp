// copy_mesh and copy_sym_mesh: the nodes copied and their order, stepped copies
// against the transforms applied by hand, and mirrors for normals that are not
// of unit length. What storage failures leave is tested in cleaning_test.cpp.
#include "test_support.hpp"

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;

// The unit square (0, 0), (1, 0), (1, 1), (0, 1), with room for exactly 4 columns.
tq5::dense2D<double> square() { return columns<double>(2, {0, 0, 1, 0, 1, 1, 0, 1}); }
const auto tris = columns(3, {1, 2, NO, 2, 3, 1});  // nodes 1, 2, 3 in order of first use

TEST(CopyMesh, OneCopyTakesEachNodeOnceAndReplacesConn) {
    auto pos = square();
    auto conn = columns(2, {7, 7});
    EXPECT_EQ(cw::copy_mesh(pos, conn, padded(3, {2, 0, NO, 0, 2, 3})), 0);  // nodes 2, 0, 3
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
    // The nodes 1, 2, 3 of the last copy turned three times as far and shifted three steps, as by hand.
    auto a = columns<double>(2, {1, 0, 1, 1, 0, 1}), b = columns<double>(3, {1, 0, 0, 1, 1, 0, 0, 1, 0});
    cw::rotate(a, c2, 3 * 0.3);
    cw::translate(a, v2{{6, 0}});
    cw::rotate(b, c3, v3{{3 * w[0], 3 * w[1], 3 * w[2]}});
    cw::translate(b, v3{{0, 3, 6}});
    EXPECT_EQ(values(p2.sub_matrix(0, 10, 2, 3)), values(a));
    EXPECT_EQ(values(p3.sub_matrix(0, 10, 3, 3)), values(b));
    EXPECT_EQ(values(p3.sub_matrix(0, 0, 3, 4)), (doubles{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
    const list want = {0, 1, 2, 4, 5, NO, 5, 6, 4, 7, 8, NO, 8, 9, 7, 10, 11, NO, 11, 12, 10};
    EXPECT_EQ(values(k2), want);
    EXPECT_EQ(values(k3), want);
    auto self = columns(3, {1, 2, NO});  // copies of itself as it was: 3 columns, not 4
    EXPECT_EQ(cw::copy_mesh(p2, self, v2{{2, 0}}, c2, 0.3, 2, self), 0);
    EXPECT_EQ(values(self), (list{1, 2, NO, 13, 14, NO, 15, 16, NO}));
    tq5::dense2D<double> none;  // no entries: nothing done
    EXPECT_EQ(cw::copy_mesh(none, k3, v3{{1, 1, 1}}, c3, w, 2, tris), 0);
    EXPECT_EQ(values(k3), want);
}

TEST(CopySymMesh, MirrorsTheCopiesWhateverTheNormalsLength) {
    auto pos = columns<double>(1, {0, 3, 1.5});  // widened to 2 rows
    auto conn = columns(1, {9});
    EXPECT_EQ(cw::copy_sym_mesh(pos, conn, v2{{1, 7}}, v2{{-8, 0}}, columns(3, {2, 0, NO})), 0);  // about x = 1
    EXPECT_EQ(values(pos), (doubles{0, 0, 3, 0, 1.5, 0, 0.5, 0, 2, 0}));
    EXPECT_EQ(values(conn), (list{3, 4, NO}));
    // Across y + z = 2 (through (1, 1, 1), normal (0, 4, 4)): exact in binary.
    auto p3 = columns<double>(3, {0, 0, 0, 0.5, -2, 3});
    EXPECT_EQ(cw::copy_sym_mesh(p3, conn, v3{{1, 1, 1}}, v3{{0, 4, 4}}, columns(1, {1, 0})), 0);
    EXPECT_EQ(values(p3), (doubles{0, 0, 0, 0.5, -2, 3, 0.5, -1, 4, 0, 2, 2}));
    tq5::dense2D<double> none;
    expect_codes({{cw::copy_sym_mesh(p3, conn, v3{{0, 0, 0}}, v3{{0, 0, 0}}, tris), -4},
                  {cw::copy_sym_mesh(none, conn, v2{{0, 0}}, v2{{0, 0}}, tris), 0}});
    EXPECT_EQ(p3.cols(), 4u);
    EXPECT_EQ(values(conn), (list{2, 3}));
}

}  // namespace

// translate, rotate and zoom: the 3D rotation against the axis-angle formula
// on both sides of the switch to the series, and a table of the steps that
// every form takes before it moves a node. Their storage failures are tested
// with those of the other editing calls, in cleaning_test.cpp.
#include "test_support.hpp"

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;
const double PI = std::acos(-1.0);

// The result of a call and the entries of `pos` after it.
void expect_after(int rc, int want, const tq5::dense2D<double>& pos, const doubles& after, double tol = 1e-15) {
    EXPECT_EQ(rc, want);
    const doubles v = values(pos);
    ASSERT_EQ(v.size(), after.size());
    for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(v[i], after[i], tol) << "entry " << i;
}

// Angles t about the unit axis k, far from 0.1, just either side of it (where
// the series take over), and inside the range of each. The reference is
// c + cos d + sin (k x d) + (1 - cos) (k . d) k, with d = p - c.
TEST(Rotate3D, MatchesTheAxisAngleFormulaOnBothSidesOfTheSeries) {
    const v3 c{{0.5, -1, 2}};
    const double k[3] = {2. / 7, 3. / 7, 6. / 7};
    for (double t : {2.5, -1.0, 0.45, 0.1 + 1e-9, 0.1 - 1e-9, 0.03}) {
        auto pos = columns<double>(3, {1, 2, 3});
        const double d[3] = {1 - c[0], 2 - c[1], 3 - c[2]}, kd = k[0] * d[0] + k[1] * d[1] + k[2] * d[2];
        const double kxd[3] = {k[1] * d[2] - k[2] * d[1], k[2] * d[0] - k[0] * d[2], k[0] * d[1] - k[1] * d[0]};
        doubles want;
        for (int i = 0; i < 3; ++i)
            want.push_back(c[i] + std::cos(t) * d[i] + std::sin(t) * kxd[i] + (1 - std::cos(t)) * kd * k[i]);
        expect_after(cw::rotate(pos, c, v3{{t * k[0], t * k[1], t * k[2]}}), 1, pos, want, 4e-15);
    }
}

// Nodes x = 1, 2, 3, 4 in one row, anew.
tq5::dense2D<double>& reset(tq5::dense2D<double>& p) { return p = columns<double>(1, {1, 2, 3, 4}); }

TEST(Transforms, IdentityEmptyListWideningIdsAndCounts) {
    const auto conn = columns(3, {2, NO, 2, 0, 2, NO}), pad = columns(1, {NO});  // nodes 2 and 0; none
    tq5::dense2D<double> p, none(0, 4);
    // The identity, or no node for translate and zoom: nothing done, not even widening.
    expect_after(cw::translate(reset(p), v2{{0, 0}}), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v2{{5, 5}}, 0.0), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v3{{1, 1, 1}}, v3{{0, 0, 0}}, conn), 0, p, {1, 2, 3, 4});
    expect_after(cw::zoom(reset(p), v3{{9, 9, 9}}, 1.0, conn), 0, p, {1, 2, 3, 4});
    expect_after(cw::translate(reset(p), v2{{1, 1}}, pad), 0, p, {1, 2, 3, 4});
    expect_after(cw::zoom(reset(p), v2{{0, 0}}, 2.0, pad), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v2{{0, 0}}, 1.0, pad), 0, p, {1, 0, 2, 0, 3, 0, 4, 0});
    expect_after(cw::translate(none, v3{{1, 1, 1}}), 0, none, {});
    // Widened, then moved: ids listed twice move twice, ids out of range are skipped and not counted.
    expect_after(cw::translate(reset(p), v2{{1, -1}}), 4, p, {2, -1, 3, -1, 4, -1, 5, -1});
    expect_after(cw::translate(reset(p), v3{{1, 1, 1}}, vec({3u, 3u, 4u, NO})), 2, p,
                 {1, 0, 0, 2, 0, 0, 3, 0, 0, 6, 2, 2});
    expect_after(cw::translate(reset(p), v2{{0, 1}}, conn), 2, p, {1, 1, 2, 0, 3, 1, 4, 0});
    expect_after(cw::rotate(reset(p), v2{{0, 0}}, PI / 2, vec({0u, 9u, 0u})), 2, p, {-1, 0, 2, 0, 3, 0, 4, 0});
    expect_after(cw::rotate(reset(p), v3{{1, 0, 0}}, v3{{0, 0, PI}}, conn), 2, p,
                 {1, 0, 0, 2, 0, 0, -1, 0, 0, 4, 0, 0});
    // zoom: 0 from the list forms; p + (factor - 1)(p - c).
    expect_after(cw::zoom(reset(p), v3{{0, 0, 0}}, 2.0, vec({3u, 3u})), 0, p, {1, 0, 0, 2, 0, 0, 3, 0, 0, 16, 0, 0});
    expect_after(cw::zoom(reset(p), v2{{1, 0}}, 3.0, conn), 0, p, {1, 0, 2, 0, 7, 0, 4, 0});
    expect_after(cw::zoom(reset(p), v2{{1, 0}}, -1.0), 4, p, {1, 0, 0, 0, -1, 0, -2, 0});
}

}  // namespace

// translate, rotate and zoom: the 3D rotation against the axis-angle formula
// on both sides of the switch to the series, and a table of the steps that
// every form takes before it moves a node.
#include "test_support.hpp"

using namespace cwtest;

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;
const double PI = std::acos(-1.0);

void expect_near(const tq5::dense2D<double>& got, const doubles& want, double tol) {
    const doubles v = values(got);
    ASSERT_EQ(v.size(), want.size());
    for (std::size_t i = 0; i < v.size(); ++i) EXPECT_NEAR(v[i], want[i], tol) << "entry " << i;
}

// c + cos d + sin (k x d) + (1 - cos) (k . d) k, with k = w / |w| and d = p - c.
doubles turned(const v3& c, const v3& w, const doubles& p) {
    const double t = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]), co = std::cos(t), si = std::sin(t);
    const double k[3] = {w[0] / t, w[1] / t, w[2] / t};
    doubles out;
    for (std::size_t j = 0; j < p.size(); j += 3) {
        const double d[3] = {p[j] - c[0], p[j + 1] - c[1], p[j + 2] - c[2]},
                     kd = k[0] * d[0] + k[1] * d[1] + k[2] * d[2];
        const double kxd[3] = {k[1] * d[2] - k[2] * d[1], k[2] * d[0] - k[0] * d[2], k[0] * d[1] - k[1] * d[0]};
        for (int i = 0; i < 3; ++i) out.push_back(c[i] + co * d[i] + si * kxd[i] + (1 - co) * kd * k[i]);
    }
    return out;
}

TEST(Rotate3D, MatchesTheAxisAngleFormulaOnBothSidesOfTheSeries) {
    const doubles p = {1, 2, 3, -0.5, 0.25, 2, 3, -1, -2};
    const v3 c{{0.5, -1, 2}}, axis{{2. / 7, 3. / 7, 6. / 7}};
    doubles lengths = {2.5, -1.0, 0.03};  // then one ulp at a time across 0.1, where the series takes over
    for (double s = 0.1 * (1 - 8e-16); s < 0.1 * (1 + 8e-16); s = std::nextafter(s, 1.0)) lengths.push_back(s);
    int series = 0;
    for (double s : lengths) {
        const v3 w{{s * axis[0], s * axis[1], s * axis[2]}};
        series += std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]) <= 0.1;
        tq5::dense2D<double> pos(3, 3);
        std::copy(p.begin(), p.end(), pos.data());
        EXPECT_EQ(cw::rotate(pos, c, w), 3);
        expect_near(pos, turned(c, w, p), 4e-15);
    }
    EXPECT_GT(series, 2);
    EXPECT_LT(series, int(lengths.size()) - 3);
    // |w| = 1e-20, by the series without a division: (1e20, 0, 0) moves by w x p
    // = (0, 6/7, -3/7) and (1, 2, 3) stays. Then a 2D move keeps z.
    auto pos = columns<double>(3, {1e20, 0, 0, 1, 2, 3});
    EXPECT_EQ(cw::rotate(pos, v3{{0, 0, 0}}, v3{{2e-20 / 7, 3e-20 / 7, 6e-20 / 7}}), 2);
    EXPECT_EQ(cw::translate(pos, v2{{1, 1}}), 2);
    expect_near(pos, {1e20, 1 + 6. / 7, -3. / 7, 2, 3, 3}, 1e-15);
}

// Nodes x = 1, 2, 3, 4 in one row, anew.
tq5::dense2D<double>& reset(tq5::dense2D<double>& p) { return p = columns<double>(1, {1, 2, 3, 4}); }

void expect_after(int rc, int want, const tq5::dense2D<double>& pos, const doubles& after) {
    EXPECT_EQ(rc, want);
    expect_near(pos, after, 1e-15);
}

TEST(Transforms, IdentityEmptyListWideningIdsAndCounts) {
    const auto conn = columns(3, {2, NO, 2, 0, 2, NO}), pad = columns(1, {NO});  // nodes 2 and 0; none
    const auto ids = vec({3u, 3u, 4u, NO});
    tq5::dense2D<double> p;
    // The identity, or no node for translate and zoom: nothing done, not even widening.
    expect_after(cw::translate(reset(p), v2{{0, 0}}), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v2{{5, 5}}, 0.0), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v3{{1, 1, 1}}, v3{{0, 0, 0}}, conn), 0, p, {1, 2, 3, 4});
    expect_after(cw::zoom(reset(p), v3{{9, 9, 9}}, 1.0, conn), 0, p, {1, 2, 3, 4});
    expect_after(cw::translate(reset(p), v2{{1, 1}}, pad), 0, p, {1, 2, 3, 4});
    expect_after(cw::zoom(reset(p), v2{{0, 0}}, 2.0, pad), 0, p, {1, 2, 3, 4});
    expect_after(cw::rotate(reset(p), v2{{0, 0}}, 1.0, pad), 0, p, {1, 0, 2, 0, 3, 0, 4, 0});
    // Widened, then moved: ids listed twice move twice, ids out of range are skipped and not counted.
    expect_after(cw::translate(reset(p), v2{{1, -1}}), 4, p, {2, -1, 3, -1, 4, -1, 5, -1});
    expect_after(cw::translate(reset(p), v3{{1, 1, 1}}, ids), 2, p, {1, 0, 0, 2, 0, 0, 3, 0, 0, 6, 2, 2});
    expect_after(cw::translate(reset(p), v2{{1, 1}}, conn), 2, p, {2, 1, 2, 0, 4, 1, 4, 0});
    expect_after(cw::rotate(reset(p), v2{{0, 0}}, PI / 2, vec({0u, 9u, 0u})), 2, p, {-1, 0, 2, 0, 3, 0, 4, 0});
    expect_after(cw::rotate(reset(p), v3{{1, 0, 0}}, v3{{0, 0, PI}}, conn), 2, p,
                 {1, 0, 0, 2, 0, 0, -1, 0, 0, 4, 0, 0});
    // zoom: 0 from the list forms; p + (factor - 1)(p - c).
    expect_after(cw::zoom(reset(p), v3{{0, 0, 0}}, 2.0, vec({3u, 3u})), 0, p, {1, 0, 0, 2, 0, 0, 3, 0, 0, 16, 0, 0});
    expect_after(cw::zoom(reset(p), v2{{1, 0}}, 3.0, conn), 0, p, {1, 0, 2, 0, 7, 0, 4, 0});
    expect_after(cw::zoom(reset(p), v2{{1, 0}}, -1.0), 4, p, {1, 0, 0, 0, -1, 0, -2, 0});
    tq5::dense2D<double> none(0, 4);
    EXPECT_EQ(cw::translate(none, v3{{1, 1, 1}}), 0);
    EXPECT_EQ(none.rows(), 0u);
}

// Widening fails, and in the connectivity form also the list of nodes.
TEST(Transforms, FailedStorageMovesNothing) {
    const auto conn = padded(2, {0, 1, 1, 0});
    auto pos = columns<double>(1, {1, 2, 3});
    auto failed = [&] { EXPECT_EQ(values(pos), (doubles{1, 2, 3})); };
    int failures[2];
    EXPECT_EQ(with_each_allocation_failing([&] { return cw::translate(pos, v2{{1, 1}}); }, failed, failures), 3);
    pos = columns<double>(1, {1, 2, 3});
    EXPECT_EQ(with_each_allocation_failing(
                  [&] {
                      return cw::translate(pos, v2{{1, 1}}, conn);
                  },
                  failed, failures + 1),
              2);
    EXPECT_GE(failures[0], 1);
    EXPECT_GE(failures[1], 2);
}

}  // namespace

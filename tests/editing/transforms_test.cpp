// translate, rotate and zoom: closed forms, the 3D rotation against a matrix
// built from cos and sin on both sides of the switch to the series, the rules
// every form follows before it moves a node, and storage failures.
#include <functional>

#include "test_support.hpp"

using namespace cwtest;

namespace {

using v2 = tq5::vector_fixed<double, 2>;
using v3 = tq5::vector_fixed<double, 3>;
const double PI = std::acos(-1.0);

void expect_near(const doubles& got, const doubles& want, double tol) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], want[i], tol) << "entry " << i;
}

// p about c by the angle |w| about the axis k = w / |w|:
// c + cos d + sin (k x d) + (1 - cos) (k . d) k, with d = p - c.
doubles turned(const v3& c, const v3& w, const doubles& p) {
    const double t = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]), co = std::cos(t), si = std::sin(t);
    const double k[3] = {w[0] / t, w[1] / t, w[2] / t};
    doubles out;
    for (std::size_t j = 0; j < p.size(); j += 3) {
        const double d[3] = {p[j] - c[0], p[j + 1] - c[1], p[j + 2] - c[2]};
        const double kd = k[0] * d[0] + k[1] * d[1] + k[2] * d[2];
        const double kxd[3] = {k[1] * d[2] - k[2] * d[1], k[2] * d[0] - k[0] * d[2], k[0] * d[1] - k[1] * d[0]};
        for (int i = 0; i < 3; ++i) out.push_back(c[i] + co * d[i] + si * kxd[i] + (1 - co) * kd * k[i]);
    }
    return out;
}

const doubles points = {1, 2, 3, -0.5, 0.25, 2, 3, -1, -2, 0, 0, 0};

tq5::dense2D<double> nodes3(const doubles& xyz) {
    tq5::dense2D<double> m(3, xyz.size() / 3);
    std::copy(xyz.begin(), xyz.end(), m.data());
    return m;
}

TEST(Transforms, MoveNodesAsTheirClosedFormsSay) {
    auto pos = columns<double>(3, {1, 2, 3, -4, 0.5, 8});
    EXPECT_EQ(cw::translate(pos, v2{{0.25, -1}}), 2);  // z kept
    EXPECT_EQ(values(pos), (doubles{1.25, 1, 3, -3.75, -0.5, 8}));
    EXPECT_EQ(cw::zoom(pos, v3{{0, 0, 0}}, 2.0), 2);  // doubles p exactly
    EXPECT_EQ(values(pos), (doubles{2.5, 2, 6, -7.5, -1, 16}));
    EXPECT_EQ(cw::zoom(pos, v3{{1, 1, 1}}, -1.0), 2);  // p - 2 (p - c): the mirror through c
    EXPECT_EQ(values(pos), (doubles{-0.5, 0, -4, 9.5, 3, -14}));
    EXPECT_EQ(cw::zoom(pos, v2{{3, 4}}, 0.0), 2);  // onto the center, z kept
    EXPECT_EQ(values(pos), (doubles{3, 4, -4, 3, 4, -14}));
    auto flat = columns<double>(2, {2, 1, 1, 3});  // a quarter turn about (1, 1)
    EXPECT_EQ(cw::rotate(flat, v2{{1, 1}}, PI / 2), 2);
    expect_near(values(flat), {1, 2, -1, 1}, 1e-15);
}

TEST(Rotate3D, MatchesTheAxisAngleMatrixOnBothSidesOfTheSeries) {
    const v3 c{{0.5, -1, 2}};
    for (const v3 axis : {v3{{2. / 7, 3. / 7, 6. / 7}}, v3{{-0.6, 0, 0.8}}, v3{{0, 1, 0}}}) {
        for (double t : {2.5, -1.0, 0.03}) {
            auto pos = nodes3(points);
            const v3 w{{t * axis[0], t * axis[1], t * axis[2]}};
            EXPECT_EQ(cw::rotate(pos, c, w), 4);
            expect_near(values(pos), turned(c, w, points), 1e-14);
        }
        // Steps of one ulp across |w| = 0.1, where the series hands over to sin and cos.
        int below = 0, above = 0;
        for (double s = 0.1 * (1 - 8e-16); s < 0.1 * (1 + 8e-16); s = std::nextafter(s, 1.0)) {
            const v3 w{{s * axis[0], s * axis[1], s * axis[2]}};
            const double t = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
            (t > 0.1 ? above : below)++;
            auto pos = nodes3(points);
            cw::rotate(pos, c, w);
            expect_near(values(pos), turned(c, w, points), 4e-15);
        }
        EXPECT_GT(below, 0);
        EXPECT_GT(above, 0);
    }
    // |w| = 1e-20 goes by the series, with no division: (1e20, 0, 0) about the
    // origin moves by w x p = (0, 6/7, -3/7), and (1, 2, 3) stays.
    auto pos = columns<double>(3, {1e20, 0, 0, 1, 2, 3});
    EXPECT_EQ(cw::rotate(pos, v3{{0, 0, 0}}, v3{{2e-20 / 7, 3e-20 / 7, 6e-20 / 7}}), 2);
    expect_near(values(pos), {1e20, 6. / 7, -3. / 7, 1, 2, 3}, 1e-15);
}

// Each call on a fresh 1-row matrix of 4 nodes x = 1, 2, 3, 4: its result and
// the matrix after it, column by column.
TEST(Transforms, IdentityEmptyListWideningIdsAndCounts) {
    const auto conn = columns(3, {2, NO, 2, 0, 2, NO});  // nodes 2 and 0, once each
    const auto mid = columns(1, {NO});
    struct row {
        const char* what;
        std::function<int(tq5::dense2D<double>&)> call;
        int rc;
        doubles after;
    };
    const row rows[] = {
        {"translate by 0",
         [](auto& p) {
             return cw::translate(p, v2{{0, 0}});
         },
         0,
         {1, 2, 3, 4}},
        {"rotate by 0",
         [](auto& p) {
             return cw::rotate(p, v2{{5, 5}}, 0.0);
         },
         0,
         {1, 2, 3, 4}},
        {"rotate by w 0",
         [](auto& p) {
             return cw::rotate(p, v3{{1, 1, 1}}, v3{{0, 0, 0}}, vec({0u}));
         },
         0,
         {1, 2, 3, 4}},
        {"zoom by 1",
         [&](auto& p) {
             return cw::zoom(p, v3{{9, 9, 9}}, 1.0, conn);
         },
         0,
         {1, 2, 3, 4}},
        {"translate, no id",
         [](auto& p) {
             return cw::translate(p, v2{{1, 1}}, vec(list{}));
         },
         0,
         {1, 2, 3, 4}},
        {"zoom, no node",
         [&](auto& p) {
             return cw::zoom(p, v2{{0, 0}}, 2.0, mid);
         },
         0,
         {1, 2, 3, 4}},
        {"rotate, no id",
         [](auto& p) {
             return cw::rotate(p, v2{{0, 0}}, 1.0, vec(list{}));
         },
         0,
         {1, 0, 2, 0, 3, 0, 4, 0}},
        {"translate all",
         [](auto& p) {
             return cw::translate(p, v2{{1, -1}});
         },
         4,
         {2, -1, 3, -1, 4, -1, 5, -1}},
        {"translate 3, 3",
         [](auto& p) {
             return cw::translate(p, v3{{1, 1, 1}}, vec({3u, 3u, 4u, NO}));
         },
         2,
         {1, 0, 0, 2, 0, 0, 3, 0, 0, 6, 2, 2}},
        {"translate conn",
         [&](auto& p) {
             return cw::translate(p, v2{{1, 1}}, conn);
         },
         2,
         {2, 1, 2, 0, 4, 1, 4, 0}},
        {"rotate 0, 0",
         [](auto& p) {
             return cw::rotate(p, v2{{0, 0}}, PI / 2, vec({0u, 9u, 0u}));
         },
         2,
         {-1, 0, 2, 0, 3, 0, 4, 0}},
        {"rotate conn",
         [&](auto& p) {
             return cw::rotate(p, v3{{0, 0, 0}}, v3{{0, 0, PI}}, conn);
         },
         2,
         {-1, 0, 0, 2, 0, 0, -3, 0, 0, 4, 0, 0}},
        {"zoom 1, 1",
         [](auto& p) {
             return cw::zoom(p, v3{{0, 0, 0}}, 2.0, vec({1u, 1u}));
         },
         0,
         {1, 0, 0, 8, 0, 0, 3, 0, 0, 4, 0, 0}},
        {"zoom conn",
         [&](auto& p) {
             return cw::zoom(p, v2{{1, 0}}, 3.0, conn);
         },
         0,
         {1, 0, 2, 0, 7, 0, 4, 0}},
        {"zoom all",
         [](auto& p) {
             return cw::zoom(p, v2{{1, 0}}, 3.0);
         },
         4,
         {1, 0, 4, 0, 7, 0, 10, 0}},
    };
    for (const auto& r : rows) {
        auto pos = columns<double>(1, {1, 2, 3, 4});
        EXPECT_EQ(r.call(pos), r.rc) << r.what;
        EXPECT_EQ(pos.cols(), 4u) << r.what;
        expect_near(values(pos), r.after, 1e-15);
    }
    tq5::dense2D<double> none(0, 4);
    EXPECT_EQ(cw::translate(none, v3{{1, 1, 1}}), 0);
    EXPECT_EQ(none.rows(), 0u);
}

TEST(Transforms, FailedStorageMovesNothing) {
    const auto conn = padded(2, {0, 1, 1, 0});
    const auto ids = vec({0u});
    std::function<int(tq5::dense2D<double>&)> calls[] = {
        [](auto& p) {
            return cw::translate(p, v2{{1, 1}});
        },
        [&](auto& p) {
            return cw::rotate(p, v3{{0, 0, 0}}, v3{{1, 0, 0}}, ids);
        },
        [&](auto& p) {
            return cw::translate(p, v3{{1, 1, 1}}, conn);
        },
        [&](auto& p) {
            return cw::zoom(p, v2{{0, 0}}, 2.0, conn);
        },
    };
    for (auto& call : calls) {
        auto pos = columns<double>(1, {1, 2, 3});
        int failures = 0;
        with_each_allocation_failing([&] { return call(pos); },
                                     [&] {
                                         EXPECT_EQ(values(pos), (doubles{1, 2, 3}));
                                     },
                                     &failures);
        EXPECT_GE(failures, 1);
        EXPECT_GE(pos.rows(), 2u);
    }
}

}  // namespace

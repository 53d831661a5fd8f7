// Included by every unit test: GoogleTest, the library, the generated meshes
// and metrics, and the shared helpers (vectors and matrices from literals, views
// with ld > rows, contents as std::vector, packed tensor products, and a driver
// that fails each raw allocation of a call in turn). The tests use its names
// unqualified.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "random_metrics.hpp"

namespace cw = tq5::cellworks;

namespace cwtest {

constexpr unsigned NO = tq5::cellworks::NO_INDEX;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
using list = std::vector<unsigned>;
using doubles = std::vector<double>;

// Keeps T out of deduction, so that `columns(3, {0, 1, NO})` is unsigned and
// `columns<double>(...)` takes plain numbers.
template <class T> struct same { using type = T; };
template <class T> using lit = std::initializer_list<typename same<T>::type>;

template <class T> tq5::dense1D<T> vec(const std::vector<T>& entries) {
    tq5::dense1D<T> v(entries.size());
    std::copy(entries.begin(), entries.end(), v.begin());
    return v;
}
template <class T = unsigned> tq5::dense1D<T> vec(lit<T> entries) { return vec(std::vector<T>(entries)); }

// A matrix of `rows` rows from its entries given column by column (ld = rows).
template <class T = unsigned> tq5::dense2D<T> columns(std::size_t rows, lit<T> entries) {
    tq5::dense2D<T> m(rows, rows ? entries.size() / rows : 0);
    std::size_t i = 0;
    for (T x : entries) m.data()[i++] = x;
    return m;
}

// The same matrix as a view inside a bigger one, with one row of `pad` above
// and below each column: ld > rows and the offset is not 0.
template <class T = unsigned> tq5::dense2D<T> padded(std::size_t rows, const std::vector<T>& entries, T pad = T(7777)) {
    tq5::dense2D<T> all(rows + 2, rows ? entries.size() / rows : 0, pad);
    for (std::size_t i = 0; i < entries.size(); ++i) all(1 + i % rows, i / rows) = entries[i];
    return all.sub_matrix(1, 0, rows, all.cols());
}

// The pad rows of a view made by `padded` were neither written nor moved.
template <class T> bool pad_intact(const tq5::dense2D<T>& m, T pad = T(7777)) {
    for (std::size_t j = 0; j < m.cols(); ++j)
        if (m.data()[j * m.ld() - 1] != pad || m.data()[j * m.ld() + m.rows()] != pad) return false;
    return true;
}

template <class T> std::vector<T> values(const tq5::dense1D<T>& v) { return std::vector<T>(v.begin(), v.end()); }

// Entries column by column, stepping by ld.
template <class T> std::vector<T> values(const tq5::dense2D<T>& m) {
    std::vector<T> out;
    for (std::size_t c = 0; c < m.cols(); ++c)
        for (std::size_t r = 0; r < m.rows(); ++r) out.push_back(m(r, c));
    return out;
}

// Each pair is (result, expected code), evaluated in order; a failure names the case by its place.
inline void expect_codes(std::initializer_list<std::pair<int, int>> cases) {
    int i = 0;
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second) << "case " << i++;
}

// Packed upper N x N tensors (m00, m01, m11[, m02, m12, m22]): (M v)_i, a . b and uT M u.
template <int N> double times(const double* m, const double* v, int i) {
    double s = 0;
    for (int j = 0; j < N; ++j) s += m[std::min(i, j) + std::max(i, j) * (std::max(i, j) + 1) / 2] * v[j];
    return s;
}
template <int N> double dot(const double* a, const double* b) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += a[i] * b[i];
    return s;
}
template <int N> double form(const double* m, const double* u) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += u[i] * times<N>(m, u, i);
    return s;
}
using tq5::fixtures::random_metric;
using tq5::fixtures::random_rotation;
using tq5::fixtures::tensor_from_eigen;

// Calls `run()` with the first 0, 1, 2, ... raw allocations allowed, until it
// returns something other than ERR_ALLOC; `failed()` checks the state after each
// failure, `setup()` (not counted) prepares each run. Returns the result of the
// first successful run; `failures` gets the number of failed runs.
template <class Run, class Failed>
int with_each_allocation_failing(Run run, Failed failed, int* failures = nullptr,
                                 const std::function<void()>& setup = nullptr) {
    for (long n = 0;; ++n) {
        if (setup) setup();
        tq5::testing::fail_allocations_after(n);
        const int rc = run();
        tq5::testing::fail_allocations_after(-1);
        if (rc != tq5::cellworks::ERR_ALLOC) {
            if (failures) *failures = int(n);
            return rc;
        }
        failed();
    }
}

}  // namespace cwtest

using namespace cwtest;

// Helpers of the metric tests: packed access, small matrices written column
// by column, and the random tensors of the examples' helpers.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>

#include <tq5/containers/dense2D.hpp>

#include "random_metrics.hpp"

namespace metric_testing {

// Entry (i, j) of a packed upper N x N tensor.
inline double entry(const double* m, int i, int j) {
    if (i > j) std::swap(i, j);
    return m[i + j * (j + 1) / 2];
}

// (M v)_i for a packed N x N tensor.
template <int N>
double times(const double* m, const double* v, int i) {
    double s = 0;
    for (int j = 0; j < N; ++j) s += entry(m, i, j) * v[j];
    return s;
}

// a . b for N values.
template <int N>
double dot(const double* a, const double* b) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += a[i] * b[i];
    return s;
}

// uT M u.
template <int N>
double form(const double* m, const double* u) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += u[i] * times<N>(m, u, i);
    return s;
}

// A vector of the given values.
template <class T>
tq5::dense1D<T> values(std::initializer_list<T> v) {
    tq5::dense1D<T> r;
    for (T x : v) r.push_back(x);
    return r;
}

// Rows of `rows` entries, given column by column.
template <class T>
tq5::dense2D<T> columns(std::size_t rows, std::initializer_list<std::initializer_list<T>> cols) {
    tq5::dense2D<T> m(rows, cols.size());
    std::size_t c = 0;
    for (auto& col : cols) {
        std::size_t r = 0;
        for (T x : col) m(r++, c) = x;
        ++c;
    }
    return m;
}

using tq5::examples::random_metric;
using tq5::examples::random_rotation;
using tq5::examples::tensor_from_eigen;

}  // namespace metric_testing

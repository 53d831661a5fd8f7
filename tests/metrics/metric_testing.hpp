// Helpers of the metric tests: packed tensor products and the random tensors
// of the examples' helpers.
#pragma once

#include <algorithm>

#include "random_metrics.hpp"
#include "test_support.hpp"

namespace metric_testing {

using namespace cwtest;
using tq5::fixtures::random_metric;
using tq5::fixtures::random_rotation;
using tq5::fixtures::tensor_from_eigen;

// (M v)_i for a packed upper N x N tensor.
template <int N> double times(const double* m, const double* v, int i) {
    double s = 0;
    for (int j = 0; j < N; ++j) s += m[std::min(i, j) + std::max(i, j) * (std::max(i, j) + 1) / 2] * v[j];
    return s;
}

// a . b for N values.
template <int N> double dot(const double* a, const double* b) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += a[i] * b[i];
    return s;
}

// uT M u.
template <int N> double form(const double* m, const double* u) {
    double s = 0;
    for (int i = 0; i < N; ++i) s += u[i] * times<N>(m, u, i);
    return s;
}

}  // namespace metric_testing

// Tensors for the metric tests: packed access, tensors built from chosen
// eigen pairs, and random ones from a fixed seed.
#pragma once

#include <cmath>
#include <random>

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

// Random orthonormal basis in the columns of q (N x N, column-major).
template <int N>
void random_rotation(std::mt19937& rng, double* q) {
    std::normal_distribution<double> g;
    for (int k = 0; k < N; ++k) {
        for (;;) {
            for (int i = 0; i < N; ++i) q[k * N + i] = g(rng);
            for (int p = 0; p < k; ++p) {
                double d = 0;
                for (int i = 0; i < N; ++i) d += q[k * N + i] * q[p * N + i];
                for (int i = 0; i < N; ++i) q[k * N + i] -= d * q[p * N + i];
            }
            double nn = 0;
            for (int i = 0; i < N; ++i) nn += q[k * N + i] * q[k * N + i];
            if (nn < 1e-6) continue;
            for (int i = 0; i < N; ++i) q[k * N + i] /= std::sqrt(nn);
            break;
        }
    }
}

// Packed tensor sum of l[k] q_k q_kT.
template <int N>
void from_eigen(const double* l, const double* q, double* m) {
    for (int j = 0; j < N; ++j)
        for (int i = 0; i <= j; ++i) {
            double s = 0;
            for (int k = 0; k < N; ++k) s += l[k] * q[k * N + i] * q[k * N + j];
            m[i + j * (j + 1) / 2] = s;
        }
}

// Random metric: random axes, sizes log-uniform in [hlo, hhi].
template <int N>
void random_metric(std::mt19937& rng, double hlo, double hhi, double* m) {
    std::uniform_real_distribution<double> u(std::log(hlo), std::log(hhi));
    double q[N * N], l[N];
    random_rotation<N>(rng, q);
    for (int k = 0; k < N; ++k) {
        const double h = std::exp(u(rng));
        l[k] = 1 / (h * h);
    }
    from_eigen<N>(l, q, m);
}

}  // namespace metric_testing

// Random metric tensors from a caller's generator, for the tests and the
// benchmarks: random orthonormal axes and sizes log-uniform in a range.
// Tensors are packed upper by columns (m00, m01, m11[, m02, m12, m22]).
#pragma once

#include <cmath>
#include <random>

namespace tq5 {
namespace fixtures {

// Random orthonormal basis in the columns of q (N x N, column-major).
template <int N> void random_rotation(std::mt19937& rng, double* q) {
    std::normal_distribution<double> g;
    for (int k = 0; k < N; ++k) {
        double nn = 0;
        while (nn < 1e-6) {  // Gram-Schmidt on a normal vector; redrawn if nearly dependent
            for (int i = 0; i < N; ++i) q[k * N + i] = g(rng);
            for (int p = 0; p < k; ++p) {
                double d = 0;
                for (int i = 0; i < N; ++i) d += q[k * N + i] * q[p * N + i];
                for (int i = 0; i < N; ++i) q[k * N + i] -= d * q[p * N + i];
            }
            nn = 0;
            for (int i = 0; i < N; ++i) nn += q[k * N + i] * q[k * N + i];
        }
        for (int i = 0; i < N; ++i) q[k * N + i] /= std::sqrt(nn);
    }
}

// The packed tensor sum over k of l[k] q_k q_kT, q_k the columns of q.
template <int N> void tensor_from_eigen(const double* l, const double* q, double* m) {
    for (int j = 0; j < N; ++j)
        for (int i = 0; i <= j; ++i) {
            double s = 0;
            for (int k = 0; k < N; ++k) s += l[k] * q[k * N + i] * q[k * N + j];
            m[i + j * (j + 1) / 2] = s;
        }
}

// A random metric: random axes, sizes log-uniform in [hlo, hhi].
template <int N> void random_metric(std::mt19937& rng, double hlo, double hhi, double* m) {
    std::uniform_real_distribution<double> u(std::log(hlo), std::log(hhi));
    double q[N * N], l[N];
    random_rotation<N>(rng, q);
    for (int k = 0; k < N; ++k) {
        const double h = std::exp(u(rng));
        l[k] = 1 / (h * h);
    }
    tensor_from_eigen<N>(l, q, m);
}

}  // namespace fixtures
}  // namespace tq5

#include <tq5/cellworks/metrics/conversion.hpp>

#include "detail/metric_core.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// BT S B for a packed 3x3 tensor s and the basis b (two 3-vectors), packed 2x2.
void project(const double* s, const double* b, double* m) noexcept {
    const double* b0 = b;
    const double* b1 = b + 3;
    const double s0[3] = {s[0] * b0[0] + s[1] * b0[1] + s[3] * b0[2], s[1] * b0[0] + s[2] * b0[1] + s[4] * b0[2],
                          s[3] * b0[0] + s[4] * b0[1] + s[5] * b0[2]};
    m[0] = b0[0] * s0[0] + b0[1] * s0[1] + b0[2] * s0[2];
    m[1] = b1[0] * s0[0] + b1[1] * s0[1] + b1[2] * s0[2];
    m[2] = detail::quadratic_form<3>(s, b1);
}

// v BT B for a size h, or the zero tensor when v is 0.
void project_size(double h, const double* b, double* m) noexcept {
    const double v = detail::size_to_eigenvalue(h);
    const double* b0 = b;
    const double* b1 = b + 3;
    if (v == 0) {
        m[0] = m[1] = m[2] = 0.0;
        return;
    }
    m[0] = v * (b0[0] * b0[0] + b0[1] * b0[1] + b0[2] * b0[2]);
    m[1] = v * (b0[0] * b1[0] + b0[1] * b1[1] + b0[2] * b1[2]);
    m[2] = v * (b1[0] * b1[0] + b1[1] * b1[1] + b1[2] * b1[2]);
}

// Sizes to isotropic tensors of dimension N in the first h.size() columns of m.
template <int N> int sizes_to_tensors(const dense1D<double>& h, dense2D<double>& m) noexcept {
    const std::size_t n = h.size();
    if (n == 0 && m.empty()) return 0;
    if (m.rows() != std::size_t(detail::packed<N>) || m.cols() < n) return -2;
    const double* hd = h.data();
    double* d = m.data();
    for (std::size_t i = 0; i < n; ++i)
        if (hd[i] > 0) detail::isotropic_metric<N>(hd[i], d + i * m.ld());
    return 0;
}

}  // namespace

void metric_iso_to_aniso(double h, symmetric_fixed<double, 2>& M) noexcept { detail::isotropic_metric<2>(h, M.data()); }
void metric_iso_to_aniso(double h, symmetric_fixed<double, 3>& M) noexcept { detail::isotropic_metric<3>(h, M.data()); }

void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& B, symmetric_fixed<double, 2>& M) noexcept {
    project_size(h, B.data(), M.data());
}

void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3, const matrix_fixed<double, 3, 2>& B,
                               symmetric_fixed<double, 2>& M) noexcept {
    project(M3.data(), B.data(), M.data());
}

int metrics_iso_to_aniso2d(const dense1D<double>& h, dense2D<double>& m) noexcept { return sizes_to_tensors<2>(h, m); }
int metrics_iso_to_aniso3d(const dense1D<double>& h, dense2D<double>& m) noexcept { return sizes_to_tensors<3>(h, m); }

int metrics_iso_to_aniso2d(const dense1D<double>& h, const dense2D<double>& B, dense2D<double>& m) noexcept {
    const std::size_t n = h.size();
    if (n == 0 && B.empty() && m.empty()) return 0;
    if (B.rows() != 6 || B.cols() != n) return -2;
    if (m.rows() != 3 || m.cols() < n) return -3;
    const double* hd = h.data();
    const double* bd = B.data();
    double* d = m.data();
    for (std::size_t i = 0; i < n; ++i) project_size(hd[i], bd + i * B.ld(), d + i * m.ld());
    return 0;
}

int metrics_aniso3d_to_aniso2d(const dense2D<double>& m3, const dense2D<double>& B, dense2D<double>& m) noexcept {
    if (m3.empty() && B.empty()) return 0;
    const std::size_t n = m3.cols();
    if (m3.rows() != 6) return -1;
    if (B.rows() != 6 || B.cols() != n) return -2;
    if (m.rows() != 3 || m.cols() < n) return -3;
    const double* sd = m3.data();
    const double* bd = B.data();
    double* d = m.data();
    for (std::size_t i = 0; i < n; ++i) project(sd + i * m3.ld(), bd + i * B.ld(), d + i * m.ld());
    return 0;
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/metrics/bounds.hpp>

#include <cfloat>
#include <cmath>

#include "detail/metric_core.hpp"
#include "detail/metric_field.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// The tests shared by all forms: 0 with no bound at all, -2 and -3 for a
// bound that is not finite, 1 to go on.
int test_bounds(double hmin, double hmax) noexcept {
    if (!(hmin > 0) && hmax == DBL_MAX) return 0;
    if (!std::isfinite(hmin)) return -2;
    if (!std::isfinite(hmax)) return -3;
    return 1;
}

template <int N> int bound_one(double* m, double hmin, double hmax) noexcept {
    const int rc = test_bounds(hmin, hmax);
    if (rc != 1) return rc;
    return detail::bound_metric_core<N>(m, detail::eigen_bounds_of(hmin, hmax)) ? 1 : 0;
}

// Walks n items, clamping each with `clamp(i)` (true when changed); counts the
// changes and lists them when `changed` is given.
template <class Clamp> int walk(std::size_t n, dense1D<unsigned>* changed, Clamp clamp) noexcept {
    int count = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!clamp(i)) continue;
        if (!changed)
            ++count;
        else
            changed->push_back(static_cast<unsigned>(i));
    }
    return changed ? static_cast<int>(changed->size()) : count;
}

int bound_sizes(dense1D<double>& h, double hmin, double hmax, dense1D<unsigned>* changed) noexcept {
    if (changed) changed->clear();
    if (h.empty()) return 0;
    const int rc = test_bounds(hmin, hmax);
    if (rc != 1) return rc;
    double* d = h.data();
    return walk(h.size(), changed, [=](std::size_t i) {
        // Both tests read the entry as it came: with hmin > hmax an entry at
        // or above hmin becomes hmax, one below hmin becomes hmin.
        const double v = d[i];
        if (v >= hmin && v > hmax)
            d[i] = hmax;
        else if (!(v >= hmin))
            d[i] = hmin;
        else
            return false;
        return true;
    });
}

int bound_tensors(dense2D<double>& m, double hmin, double hmax, dense1D<unsigned>* changed) noexcept {
    if (changed) changed->clear();
    if (m.empty()) return 0;
    if (!(hmin > 0) && hmax == DBL_MAX) return 0;
    return detail::by_tensor_rows(m.rows(), -1, [&](auto n) {
        constexpr int N = decltype(n)::value;
        const int rc = test_bounds(hmin, hmax);
        if (rc != 1) return rc;
        const detail::eigen_bounds b = detail::eigen_bounds_of(hmin, hmax);
        double* d = m.data();
        const std::size_t ld = m.ld();
        return walk(m.cols(), changed, [=](std::size_t i) {
            // Clamped on a stack copy, written back only when changed (the
            // same bits otherwise).
            double t[detail::packed<N>];
            double* col = d + i * ld;
            for (int k = 0; k < detail::packed<N>; ++k) t[k] = col[k];
            if (!detail::bound_metric_core<N>(t, b)) return false;
            for (int k = 0; k < detail::packed<N>; ++k) col[k] = t[k];
            return true;
        });
    });
}

}  // namespace

int bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax) noexcept {
    return bound_one<2>(M.data(), hmin, hmax);
}
int bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax) noexcept {
    return bound_one<3>(M.data(), hmin, hmax);
}

int bound_metrics(dense1D<double>& h, double hmin, double hmax) noexcept { return bound_sizes(h, hmin, hmax, nullptr); }
int bound_metrics(dense1D<double>& h, double hmin, double hmax, dense1D<unsigned>& changed) noexcept {
    return bound_sizes(h, hmin, hmax, &changed);
}
int bound_metrics(dense2D<double>& m, double hmin, double hmax) noexcept {
    return bound_tensors(m, hmin, hmax, nullptr);
}
int bound_metrics(dense2D<double>& m, double hmin, double hmax, dense1D<unsigned>& changed) noexcept {
    return bound_tensors(m, hmin, hmax, &changed);
}

}  // namespace cellworks
}  // namespace tq5

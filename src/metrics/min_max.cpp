#include <tq5/cellworks/metrics/min_max.hpp>

#include "detail/metric_core.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// Works on copies, so that M may be M1 or M2; falls back on M1.
template <int N, bool Maximum>
bool combine(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
             symmetric_fixed<double, N>& M) noexcept {
    const symmetric_fixed<double, N> a = M1, b = M2;
    symmetric_fixed<double, N> out;
    const bool good = Maximum ? detail::maximum_metric_core<N>(a.data(), b.data(), out.data())
                              : detail::minimum_metric_core<N>(a.data(), b.data(), out.data());
    M = good ? out : a;
    return good;
}

}  // namespace

bool maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) noexcept {
    return combine<2, true>(M1, M2, M);
}
bool maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) noexcept {
    return combine<3, true>(M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) noexcept {
    return combine<2, false>(M1, M2, M);
}
bool minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) noexcept {
    return combine<3, false>(M1, M2, M);
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/metrics/eigen.hpp>

#include "detail/metric_core.hpp"

namespace tq5 {
namespace cellworks {

bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& D,
                 matrix_fixed<double, 2, 2>& Q) noexcept {
    return detail::symmetric_eigen<2>(M.data(), D.data(), Q.data());
}

bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& D,
                 matrix_fixed<double, 3, 3>& Q) noexcept {
    return detail::symmetric_eigen<3>(M.data(), D.data(), Q.data());
}

bool eigen_pairs(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2, vector_fixed<double, 2>& D,
                 matrix_fixed<double, 2, 2>& Q) noexcept {
    return detail::eigen_pairs_general<2>(M1.data(), M2.data(), D.data(), Q.data());
}

bool eigen_pairs(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2, vector_fixed<double, 3>& D,
                 matrix_fixed<double, 3, 3>& Q) noexcept {
    return detail::eigen_pairs_general<3>(M1.data(), M2.data(), D.data(), Q.data());
}

}  // namespace cellworks
}  // namespace tq5

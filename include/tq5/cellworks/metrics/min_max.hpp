/// @file
/// Combination of two metric tensors through their simultaneous reduction:
/// `maximum_metric` keeps the larger size in every direction, `minimum_metric`
/// the smaller one (the intersection of the two metrics).
///
/// Both solve M2 x = d M1 x for the basis in which both tensors are diagonal,
/// choose in each direction of that basis one of the two diagonal values, and
/// rebuild the tensor from them. For isotropic tensors the result is the
/// tensor of the larger (smaller) size.
///
/// \code
///   tq5::symmetric_fixed<double, 2> fine{{100, 0, 1}};   // size 0.1 along x, 1 along y
///   tq5::symmetric_fixed<double, 2> coarse{{4, 0, 4}};   // size 0.5 everywhere
///   tq5::symmetric_fixed<double, 2> both;
///   tq5::cellworks::minimum_metric(fine, coarse, both);  // {100, 0, 4}: 0.1 along x, 0.5 along y
/// \endcode
/// @note Reentrant; nothing allocated. The 2D forms never call LAPACK.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// The tensor with, in each direction of the common basis of M1 and M2, the
/// larger size of the two (the lower eigenvalue).
/// @param[in]  M1, M2 packed tensors m00, m01, m11.
/// @param[out] M      the combination; may be the same object as M1 or M2.
/// @return true when the combination is good (its eigenvalues in the common
///   basis are > 0, below DBL_MAX, and the lowest above 1e-24 times the
///   highest). Otherwise false and M = M1: also when M1 and M2 can't be
///   reduced together (M1 not positive definite).
CELLWORKS_API bool maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                                  symmetric_fixed<double, 2>& M) noexcept;

/// \overload 3x3 tensors m00, m01, m11, m02, m12, m22.
CELLWORKS_API bool maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                                  symmetric_fixed<double, 3>& M) noexcept;

/// The tensor with, in each direction of the common basis of M1 and M2, the
/// smaller size of the two (the higher eigenvalue): the intersection.
/// Parameters and result as for `maximum_metric`.
CELLWORKS_API bool minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                                  symmetric_fixed<double, 2>& M) noexcept;

/// \overload 3x3 tensors m00, m01, m11, m02, m12, m22.
CELLWORKS_API bool minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                                  symmetric_fixed<double, 3>& M) noexcept;

}  // namespace cellworks
}  // namespace tq5

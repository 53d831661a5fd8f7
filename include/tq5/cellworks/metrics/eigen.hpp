/// @file
/// Eigen pairs of small symmetric tensors: one tensor, or two tensors as the
/// generalized problem M2 x = d M1 x.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Eigenvalues and unit eigenvectors of a symmetric 2x2 tensor: M q = d q.
///
/// Closed form: the lower root is taken from the determinant when it is lost to
/// cancellation (below 1e-12 times the other), so a tensor with eigenvalues 1
/// and 1e14 keeps its 1 accurately. The first vector is built from the better
/// conditioned row of M - d0 I and is (1, 0) for a multiple of the unit matrix;
/// the second is the first turned a quarter counter-clockwise.
/// @param[in]  M packed upper tensor m00, m01, m11.
/// @param[out] D eigenvalues, ascending.
/// @param[out] Q eigenvectors in columns (column k in entries 2k, 2k+1), column 0
///               for D[0].
/// @return false when an eigenvalue is not finite (D and Q are then partly written).
///
/// \code
///   tq5::symmetric_fixed<double, 2> M{{2, 1, 2}};
///   tq5::vector_fixed<double, 2> D;
///   tq5::matrix_fixed<double, 2, 2> Q;
///   tq5::cellworks::eigen_pairs(M, D, Q);  // D == {1, 3}, Q(:,0) == +-(1, -1)/sqrt(2)
/// \endcode
/// @note Reentrant; nothing allocated. The 2x2 forms never call LAPACK.
CELLWORKS_API bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& D,
                               matrix_fixed<double, 2, 2>& Q) noexcept;

/// \overload A 3x3 tensor m00, m01, m11, m02, m12, m22 through LAPACK's `dspev`
/// on a copy: D ascending, Q orthonormal columns as `dspev` gives them.
/// @return false when `dspev` reports a failure.
CELLWORKS_API bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& D,
                               matrix_fixed<double, 3, 3>& Q) noexcept;

/// \overload The generalized problem M2 q = d M1 q in 2D, by the congruence
/// that turns M1 into a multiple of the unit matrix.
/// @param[in]  M1 must have m00 != 0 and a positive determinant. A negative m00
///                with a positive determinant is accepted; D is then descending.
/// @param[in]  M2 any symmetric tensor.
/// @param[out] D  the two values d.
/// @param[out] Q  the vectors in columns, scaled to unit length.
/// @return false when M1 is refused or an eigenvalue is not finite.
CELLWORKS_API bool eigen_pairs(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                               vector_fixed<double, 2>& D, matrix_fixed<double, 2, 2>& Q) noexcept;

/// \overload The generalized problem M2 q = d M1 q in 3D, through the factor
/// M1 = L LT and `dspev`. M1 may be semi-definite with an empty first or second
/// row and column, or with a zero last pivot: D is then not finite and the
/// result still true. D ascending, Q in unit columns (a zero column stays zero).
/// @return false when M1 can't be factored or `dspev` fails.
CELLWORKS_API bool eigen_pairs(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                               vector_fixed<double, 3>& D, matrix_fixed<double, 3, 3>& Q) noexcept;

}  // namespace cellworks
}  // namespace tq5

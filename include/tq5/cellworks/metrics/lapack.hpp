/// @file
/// Binding of the system LAPACK routine used by the metric tools: the eigen
/// decomposition of a real symmetric matrix in packed storage.
#pragma once

#include <tq5/cellworks/export.hpp>

namespace tq5 {
namespace lapack {

/// All eigenvalues and, optionally, eigenvectors of a real symmetric n x n
/// matrix in packed storage: LAPACK's `dspev`, called as it is.
///
/// The arguments are checked first as LAPACK checks them, and a bad one is
/// reported through `info` without calling the routine, so that the process is
/// never stopped by LAPACK's own error handler.
///
/// @param[in]     jobz 'N' for eigenvalues only, 'V' for eigenvalues and vectors
///                     (either case).
/// @param[in]     uplo 'U' when `ap` holds the upper triangle packed by columns
///                     (entry (i, j), i <= j, at i + j(j+1)/2), 'L' for the lower
///                     triangle.
/// @param[in]     n    order of the matrix, >= 0.
/// @param[in,out] ap   n(n+1)/2 values; destroyed on exit (pass a copy).
/// @param[out]    w    n eigenvalues, ascending.
/// @param[out]    z    with 'V': ldz x n, orthonormal eigenvectors in columns,
///                     column k for w[k]. Not referenced with 'N' (may be null).
/// @param[in]     ldz  leading dimension of z: >= 1, and >= n with 'V'.
/// @param[out]    work 3n doubles of scratch.
/// @param[out]    info 0 on success; -i when argument i is bad; i > 0 when the
///                     iteration failed to converge (i off-diagonal entries did
///                     not reach zero).
/// @return `info`, as an int.
///
/// \code
///   double ap[6] = {2, 0, 3, 0, 0, 1};  // diag(2, 3, 1), upper packed
///   double w[3], z[9], work[9];
///   long info = 0;
///   tq5::lapack::dspev('V', 'U', 3, ap, w, z, 3, work, info);
///   // info == 0, w == {1, 2, 3}, z column 0 == +-(0, 0, 1)
/// \endcode
/// @note Reentrant: no state beyond the arrays passed in.
CELLWORKS_API int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work,
                        long& info) noexcept;

}  // namespace lapack
}  // namespace tq5

/// @file
/// Clamping of metric tensors and fields between a smallest and a largest size.
///
/// Sizes hmin and hmax bound the eigenvalues of a tensor: from above by
/// lmax = 1/(hmin*hmin) (DBL_MAX when hmin is not > 0), from below by
/// lmin = 1/(hmax*hmax) (0 when hmax is not > 0). hmin <= 0 together with
/// hmax == DBL_MAX means no bound at all: nothing is looked at and the result
/// is 0. Otherwise a bound that is not finite is refused (-2 for hmin, -3 for
/// hmax).
///
/// \code
///   tq5::dense2D<double> m(6, n);     // one 3x3 tensor per node
///   // ... fill m ...
///   tq5::dense1D<unsigned> changed;
///   int rc = tq5::cellworks::bound_metrics(m, 0.01, 1.0, changed);
///   // rc >= 0: sizes now within [0.01, 1] in every direction; `changed` lists
///   // the columns that were rewritten
/// \endcode
/// @note Reentrant. The 2D paths never call LAPACK; only the list forms obtain storage.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Clamps the eigenvalues of a 2x2 tensor to [lmin, lmax], keeping its
/// eigenvectors.
///
/// Each eigenvalue is limited first from above (a NaN one becomes lmax), then
/// from below, so with hmin > hmax the smallest size wins. A tensor that can't
/// be decomposed (a non-finite eigenvalue) becomes lmax times the unit matrix.
/// An unchanged tensor keeps its exact bits.
/// @param[in,out] M    packed tensor m00, m01, m11.
/// @param[in]     hmin smallest size (distance), or <= 0 for none.
/// @param[in]     hmax largest size (distance), or DBL_MAX for none.
/// @return 1 when M changed, 0 when not (or with no bound); -2 when hmin is not
///   finite; -3 when hmax is not finite.
CELLWORKS_API int bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax) noexcept;

/// \overload A 3x3 tensor m00, m01, m11, m02, m12, m22, decomposed by `dspev`;
/// a failure of `dspev` counts as a tensor that can't be decomposed.
CELLWORKS_API int bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax) noexcept;

/// Clamps a size field: an entry h becomes hmax when h >= hmin and h > hmax,
/// and hmin when not h >= hmin (NaN included). With hmin > hmax, an entry
/// between the two becomes hmin, one at or above hmin becomes hmax.
/// @param[in,out] h    sizes, changed in place.
/// @param[in]     hmin smallest size, hmax largest size, as for `bound_metric`.
/// @return the number of entries changed; 0 for an empty h; -2, -3 as for
///   `bound_metric`.
CELLWORKS_API int bound_metrics(dense1D<double>& h, double hmin, double hmax) noexcept;

/// \overload Also lists the changed entries.
/// @param[out] changed cleared first (before any test), then the index of each
///   changed entry, ascending. An index whose append fails for want of storage
///   is dropped.
/// @return the size of changed, or -2, -3.
CELLWORKS_API int bound_metrics(dense1D<double>& h, double hmin, double hmax, dense1D<unsigned>& changed) noexcept;

/// \overload A tensor field: each column clamped as by `bound_metric`.
/// @param[in,out] m tensors, 3 or 6 rows x #nodes, changed in place.
/// @return the number of columns changed; 0 for an empty m or with no bound;
///   -1 when m has neither 3 nor 6 rows; -2, -3 as for `bound_metric`.
CELLWORKS_API int bound_metrics(dense2D<double>& m, double hmin, double hmax) noexcept;

/// \overload A tensor field, listing the changed columns.
/// @param[out] changed cleared first (before any test), then the index of each
///   changed column, ascending. An index whose append fails is dropped.
/// @return the size of changed, or -1, -2, -3.
CELLWORKS_API int bound_metrics(dense2D<double>& m, double hmin, double hmax, dense1D<unsigned>& changed) noexcept;

}  // namespace cellworks
}  // namespace tq5

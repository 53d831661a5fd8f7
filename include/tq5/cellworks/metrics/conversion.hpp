/// @file
/// Conversion of metrics: isotropic sizes to tensors, and sizes or 3x3 tensors
/// to 2x2 tensors on a surface tangent basis.
///
/// A tangent basis B is a `matrix_fixed<double, 3, 2>` of two 3-vectors b0, b1
/// in columns; a field of them is a `dense2D<double>` of 6 rows (b0 then b1),
/// one column per node. The 2x2 tensor on B measures a vector of tangent
/// coordinates u as the 3D metric measures B u. A size h gives the eigenvalue
/// v = 1/(h*h) when h > 0 and 0 otherwise.
///
/// \code
///   tq5::dense1D<double> h(n, 0.5);
///   tq5::dense2D<double> m(6, n);
///   int rc = tq5::cellworks::metrics_iso_to_aniso3d(h, m);       // 0: each column 4 * unit tensor
///   tq5::dense2D<double> m2(3, n);
///   rc = tq5::cellworks::metrics_aniso3d_to_aniso2d(m, tangents, m2);  // 0: BT M B per node
/// \endcode
/// @note Reentrant; nothing allocated: field outputs must already have their
///   columns, and are written in place.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// The isotropic 2x2 tensor of a size: v = 1/(h*h) on the diagonal when h > 0,
/// the zero tensor otherwise.
/// @param[in]  h size (distance).
/// @param[out] M packed tensor m00, m01, m11.
CELLWORKS_API void metric_iso_to_aniso(double h, symmetric_fixed<double, 2>& M) noexcept;

/// \overload The isotropic 3x3 tensor m00, m01, m11, m02, m12, m22.
CELLWORKS_API void metric_iso_to_aniso(double h, symmetric_fixed<double, 3>& M) noexcept;

/// The 2x2 tensor of a size on a tangent basis: M = v BT B, the zero tensor
/// when h <= 0 or v == 0 (a size so large that 1/(h*h) underflows).
/// @param[in]  h size (distance).
/// @param[in]  B tangent basis, two 3-vectors in columns.
/// @param[out] M packed tensor m00, m01, m11.
CELLWORKS_API void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& B,
                                         symmetric_fixed<double, 2>& M) noexcept;

/// The 2x2 tensor that a 3x3 tensor induces on a tangent basis: M = BT M3 B.
/// @param[in]  M3 packed tensor m00, m01, m11, m02, m12, m22.
/// @param[in]  B  tangent basis, two 3-vectors in columns.
/// @param[out] M  packed tensor m00, m01, m11.
CELLWORKS_API void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3, const matrix_fixed<double, 3, 2>& B,
                                             symmetric_fixed<double, 2>& M) noexcept;

/// A size field to 2x2 tensors: each node with h > 0 gets its isotropic
/// tensor; the columns of the other nodes are left as they were.
/// @param[in]     h sizes, n = size of h.
/// @param[in,out] m tensors, 3 rows x at least n columns; the first n columns
///                  are written in place, the others untouched.
/// @return 0; also when h and m are both empty; -2 unless m has 3 rows and at
///   least n columns (m untouched).
CELLWORKS_API int metrics_iso_to_aniso2d(const dense1D<double>& h, dense2D<double>& m) noexcept;

/// A size field to 3x3 tensors, as `metrics_iso_to_aniso2d(h, m)` with m of 6
/// rows. @return 0, or -2 unless m has 6 rows and at least n columns.
CELLWORKS_API int metrics_iso_to_aniso3d(const dense1D<double>& h, dense2D<double>& m) noexcept;

/// \overload A size field to 2x2 tensors on a field of tangent bases. Every
/// one of the first n columns is written: v BT B, or the zero tensor when
/// h <= 0 or v == 0 (unlike the form without bases, which leaves such a
/// column as it was).
/// @param[in]     h sizes, n = size of h.
/// @param[in]     B tangent bases, 6 rows x exactly n columns.
/// @param[in,out] m tensors, 3 rows x at least n columns.
/// @return 0; also when all three are empty; -2 unless B has 6 rows and n
///   columns; -3 unless m has 3 rows and at least n columns.
CELLWORKS_API int metrics_iso_to_aniso2d(const dense1D<double>& h, const dense2D<double>& B,
                                         dense2D<double>& m) noexcept;

/// A 3x3 tensor field to 2x2 tensors on a field of tangent bases: column i of
/// m becomes BiT m3_i Bi.
/// @param[in]     m3 tensors, 6 rows x n columns.
/// @param[in]     B  tangent bases, 6 rows x n columns.
/// @param[in,out] m  tensors, 3 rows x at least n columns; the first n are written.
/// @return 0; also when m3 and B are both empty; -1 unless m3 has 6 rows; -2
///   unless B has 6 rows and n columns; -3 unless m has 3 rows and at least n
///   columns.
CELLWORKS_API int metrics_aniso3d_to_aniso2d(const dense2D<double>& m3, const dense2D<double>& B,
                                             dense2D<double>& m) noexcept;

}  // namespace cellworks
}  // namespace tq5

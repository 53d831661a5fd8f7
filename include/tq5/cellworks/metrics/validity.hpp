/// @file
/// Validity of metric tensors and fields, and the repair of a field from a
/// second one.
///
/// A tensor is valid when its lowest eigenvalue is not <= 0. There is no upper
/// bound and no finiteness test on tensors, so a tensor with a NaN or an
/// infinite eigenvalue counts as valid. A size, in contrast, is valid only when
/// it is > 0 and finite. Tensor fields have 3 rows (2x2 tensors m00, m01, m11)
/// or 6 rows (3x3 tensors m00, m01, m11, m02, m12, m22), one column per node;
/// any other row count is not a metric field.
///
/// \code
///   tq5::dense2D<double> m(6, n);          // one 3x3 tensor per node
///   // ... fill m ...
///   unsigned bad = tq5::cellworks::first_invalid_metric(m);
///   if (bad != m.cols()) { /* column `bad` is not positive definite */ }
///   tq5::dense1D<double> h(n, 0.1);        // fallback sizes
///   int fixed = tq5::cellworks::overwrite_invalid_metrics(m, h);  // isotropic 0.1 there
/// \endcode
/// @note All functions are reentrant; only `valid_metrics` obtains storage.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Whether a 2x2 tensor is a usable metric: its lowest eigenvalue (closed
/// form, finite or not) is not <= 0. A NaN entry gives true; a zero tensor false.
/// @param[in] M packed tensor m00, m01, m11.
CELLWORKS_API bool is_valid_metric(const symmetric_fixed<double, 2>& M) noexcept;

/// \overload A 3x3 tensor m00, m01, m11, m02, m12, m22; eigenvalues from
/// `dspev`, whose failure report is not looked at.
CELLWORKS_API bool is_valid_metric(const symmetric_fixed<double, 3>& M) noexcept;

/// The first entry of a size field that is not > 0 or not finite.
/// @param[in] h sizes, one per node.
/// @return its index, or the size of h when all are valid.
CELLWORKS_API unsigned first_invalid_metric(const dense1D<double>& h) noexcept;

/// \overload The first column of a tensor field that fails `is_valid_metric`.
/// @param[in] m tensors, 3 or 6 rows x #nodes.
/// @return its index; the column count when all are valid; 0 when m has
///   neither 3 nor 6 rows.
CELLWORKS_API unsigned first_invalid_metric(const dense2D<double>& m) noexcept;

/// \overload The nodes of a list, in list order.
/// @param[in] ids node indices, 0-based.
/// @param[in] h   sizes, one per node.
/// @return the position in ids (not the id) of the first id that is not below
///   the size of h or whose size is invalid; the size of ids when none.
CELLWORKS_API unsigned first_invalid_metric(const dense1D<unsigned>& ids, const dense1D<double>& h) noexcept;

/// \overload The columns of a list, in list order.
/// @return the position in ids of the first id that is not below the column
///   count of m or whose tensor is invalid; the size of ids when none; 0 when m
///   has neither 3 nor 6 rows.
CELLWORKS_API unsigned first_invalid_metric(const dense1D<unsigned>& ids, const dense2D<double>& m) noexcept;

/// Whether a whole field is valid: `first_invalid_metric` equals the size of h.
CELLWORKS_API bool are_valid_metrics(const dense1D<double>& h) noexcept;
/// \overload `first_invalid_metric` equals the column count; a field of another
/// row count than 3 or 6 is valid only when it has no column.
CELLWORKS_API bool are_valid_metrics(const dense2D<double>& m) noexcept;
/// \overload `first_invalid_metric(ids, h)` equals the size of ids.
CELLWORKS_API bool are_valid_metrics(const dense1D<unsigned>& ids, const dense1D<double>& h) noexcept;
/// \overload `first_invalid_metric(ids, m)` equals the size of ids.
CELLWORKS_API bool are_valid_metrics(const dense1D<unsigned>& ids, const dense2D<double>& m) noexcept;

/// Lists the valid columns of a tensor field.
/// @param[in]     m   tensors, 3 or 6 rows x #nodes; any other row count
///                    lists nothing.
/// @param[in,out] ids the index of each valid column is appended, in order;
///                    ids is never cleared. An index whose append fails for
///                    want of storage is dropped silently.
CELLWORKS_API void valid_metrics(const dense2D<double>& m, dense1D<unsigned>& ids) noexcept;

/// Replaces the sizes that are not > 0 by the sizes of a second field.
/// Over the first min(size of m, size of repl) entries, entry i is replaced
/// when repl[i] > 0 and 0 >= m[i]; a NaN in m is not replaced.
/// @param[in,out] m    sizes, changed in place.
/// @param[in]     repl replacement sizes.
/// @return the number of entries replaced.
CELLWORKS_API int overwrite_invalid_metrics(dense1D<double>& m, const dense1D<double>& repl) noexcept;

/// \overload Tensors from tensors: over the first min(column counts) columns,
/// column i is replaced when `is_valid_metric` holds for repl and fails for m.
/// @param[in,out] m    tensors, 3 or 6 rows x #nodes, changed in place.
/// @param[in]     repl tensors with the row count of m.
/// @return the number of columns replaced; 0 for an empty m; -1 when m has
///   neither 3 nor 6 rows; -2 when repl has another row count than m.
CELLWORKS_API int overwrite_invalid_metrics(dense2D<double>& m, const dense2D<double>& repl) noexcept;

/// \overload Tensors from sizes: over the first min(columns of m, size of repl)
/// nodes, the columns with 0 >= repl[i] are skipped, and each other column that
/// fails `is_valid_metric` becomes the isotropic tensor of repl[i]: 1/(h*h) on
/// the diagonal when h > 0, the zero tensor otherwise (a NaN size).
/// @param[in,out] m    tensors, 3 or 6 rows x #nodes, changed in place.
/// @param[in]     repl sizes, one per node.
/// @return the number of columns written; 0 for an empty m; -1 when m has
///   neither 3 nor 6 rows.
CELLWORKS_API int overwrite_invalid_metrics(dense2D<double>& m, const dense1D<double>& repl) noexcept;

}  // namespace cellworks
}  // namespace tq5

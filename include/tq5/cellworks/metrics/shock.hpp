/// @file
/// Shock of a metric field along the edges of a mesh: how fast the size
/// changes along each edge, reported per node.
///
/// The shock of an edge is s - 1 with s = (la/lb)^(1/L), or 1/s - 1 when s < 1,
/// where la and lb are its lengths seen from the metrics at its two ends and L
/// its metric length (see `edge_qualities`). For a size varying linearly from
/// hi to hj along an edge of length |d| it is exp(|hj - hi| / |d|) - 1: 0 for
/// a constant size. An edge of infinite metric length has shock 0; one of
/// metric length 0 (coincident nodes, or a metric that is not > 0 along it)
/// has shock 0 when its two end metrics are equal entry by entry and DBL_MAX
/// otherwise.
///
/// \code
///   tq5::dense2D<unsigned> edges;
///   tq5::cellworks::copy_edges(tets, tq5::cellworks::ET_TETRA4, edges);
///   tq5::dense1D<double> shock;
///   int rc = tq5::cellworks::H_shock(pos, edges, metrics, shock);
///   // rc == 0: shock[i] is the largest shock of the edges at node i
/// \endcode
/// @note Reentrant; the only storage obtained is the growth of `shock`.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// The largest shock of the edges at each node, for a tensor field.
/// @param[in]     pos     coordinates, 2 or 3 rows x #nodes; the row count
///                        chooses 2D or 3D.
/// @param[in]     edges   edge list, 2 rows, 0-based node ids.
/// @param[in]     metrics tensors, one column per node: 3 rows (m00, m01, m11)
///                        in 2D, 6 rows (m00, m01, m11, m02, m12, m22) in 3D.
///                        Extra rows are not read. An edge with an end beyond
///                        the columns, or a field with too few rows, is not
///                        measured.
/// @param[in,out] shock   resized to the column count of pos, new entries 0.
///                        Entries already there stay and act as a floor: each
///                        becomes the maximum of itself and the shocks of the
///                        node's edges, so a caller clears it between fields.
/// @return 0 (also for an empty edge list, shock then untouched); -1 unless pos
///   has 2 or 3 rows; -2 when edges fails `check_IDs(edges, ET_BAR2, columns of
///   pos)`; `ERR_ALLOC` when shock can't grow (shock unchanged).
CELLWORKS_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& edges, const dense2D<double>& metrics,
                          dense1D<double>& shock) noexcept;

/// \overload With a size per node; an edge with an end beyond the sizes is not
/// measured.
CELLWORKS_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& edges, const dense1D<double>& sizes,
                          dense1D<double>& shock) noexcept;

}  // namespace cellworks
}  // namespace tq5

/// @file
/// Control of the gradation and of the variation of a metric field: the field
/// is smoothed in place, on the node graph of a mesh, until no edge changes
/// size faster than a limit.
///
/// Two nodes are neighbours when they share an element (for quadrangles and
/// hexahedra this includes the diagonals, for high-order elements the
/// mid-side nodes). The worst edge is repaired first, through a priority
/// queue: one of its nodes is moved toward the other by the smallest fraction
/// that meets the limit (a tensor by interpolation of its sizes in the basis
/// that reduces both tensors), and that node's edges are queued again. A
/// fraction of 0.001 or less is not applied, so a run ends, and it can end
/// with edges slightly above the limit (or well above it, where the direction
/// of change or held nodes forbid a repair). `H_shock` measures what remains.
///
/// - Gradation limits the shock of an edge: a limit g means
///   exp(|dh| / L) - 1 <= g, a size difference of log(1 + g) per unit length.
/// - Variation limits the plain slope: |dh| / L <= g.
///
/// dh is the difference of the sizes at the two ends along the edge, L its
/// Euclidean length. Results are reproducible: no randomness, a fixed order.
///
/// \code
///   tq5::dense1D<unsigned> none;
///   // Shock at most 0.3: sizes differ by at most log(1.3) ~ 0.26 per unit of
///   // length along any edge; where they differ more, the larger one shrinks.
///   int changed = tq5::cellworks::bound_metric_gradations(pos, tets, tq5::cellworks::ET_TETRA4, none,
///                                                         true, -1, 0.3, sizes);
///   if (changed < 0) return changed;  // an argument code or ERR_ALLOC
/// \endcode
/// @note Reentrant. The field must not be read or written elsewhere during a
///   call. Scratch: 5 bytes per node, the node graph (4 bytes per neighbour)
///   and a queue of 16-byte entries: one per edge end waiting for repair, and
///   superseded ones until they surface.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Bounds the gradation of a tensor field along the edges of a mesh, in place.
/// @param[in]     pos        coordinates, 2 or 3 rows x #nodes; the row count
///                           chooses 2D or 3D.
/// @param[in]     connectM   connectivity, `#local nodes x #elements`, 0-based;
///                           only the nodes it uses take part.
/// @param[in]     FE         element type of connectM, for its check only.
/// @param[in]     hard_nodes node ids, 0-based; `NO_INDEX` entries are skipped.
/// @param[in]     hold       true: the listed nodes are held (never changed)
///                           and all others free; false: only the listed
///                           nodes may change.
/// @param[in]     direction  0: each node keeps the sign of its first change;
///                           1: sizes only grow; -1: sizes only shrink. Only
///                           the low byte counts, and one other than 0, 1 or
///                           255 lets no node change. A growing tensor loses
///                           size in no direction, a shrinking one gains none.
/// @param[in]     limit      g >= 0: the largest allowed shock, exp(|dh| / L) - 1;
///                           DBL_MAX switches the control off.
/// @param[in,out] metrics    tensors, one column per node: 3 rows (m00, m01,
///                           m11) in 2D, 6 rows (m00, m01, m11, m02, m12, m22)
///                           in 3D, at least as many columns as pos. Changed in
///                           place (other views of the block see it); changes
///                           made before an `ERR_ALLOC` stay.
/// @return the number of nodes changed (0 also for an empty connectM or
///   limit == DBL_MAX, whatever the other arguments); -1 unless pos has 2 or 3
///   rows; -2 when connectM fails `check_IDs(connectM, FE, columns of pos)`;
///   -4 when hard_nodes fails `check_IDs(hard_nodes, columns of pos)`; -7
///   unless limit >= 0; -8 when metrics has fewer columns than pos or not 3
///   (2D) or 6 (3D) rows; `ERR_ALLOC` when storage can't be obtained.
CELLWORKS_API int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned>& connectM,
                                          element_type FE, const dense1D<unsigned>& hard_nodes, bool hold,
                                          int direction, double limit, dense2D<double>& metrics) noexcept;

/// \overload With a size per node (distance); -8 when sizes has fewer entries
/// than pos has columns. A size moves linearly toward its neighbour's.
CELLWORKS_API int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned>& connectM,
                                          element_type FE, const dense1D<unsigned>& hard_nodes, bool hold,
                                          int direction, double limit, dense1D<double>& sizes) noexcept;

/// Bounds the variation of a tensor field along the edges of a mesh, in
/// place: as `bound_metric_gradations`, with the limit g >= 0 on the slope
/// |dh| / L of the size (a dimensionless ratio; DBL_MAX switches the control
/// off). Parameters, field shapes and codes are those of
/// `bound_metric_gradations`.
CELLWORKS_API int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned>& connectM,
                                          element_type FE, const dense1D<unsigned>& hard_nodes, bool hold,
                                          int direction, double limit, dense2D<double>& metrics) noexcept;

/// \overload With a size per node.
CELLWORKS_API int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned>& connectM,
                                          element_type FE, const dense1D<unsigned>& hard_nodes, bool hold,
                                          int direction, double limit, dense1D<double>& sizes) noexcept;

}  // namespace cellworks
}  // namespace tq5

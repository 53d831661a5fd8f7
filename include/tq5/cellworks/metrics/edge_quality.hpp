/// @file
/// Quality of the edges of a mesh against a metric field: their metric lengths.
///
/// The metric length of an edge from node i to node j, d = pos_j - pos_i, is
/// the integral of 1/h(s) along it when the size h varies linearly between
/// the sizes at its ends, so 1 means that the edge has the prescribed length:
/// - with sizes: |d| (ln hj - ln hi) / (hj - hi), that is |d| / hi for hi == hj;
/// - with tensors: la = sqrt(dT Mi d) and lb = sqrt(dT Mj d) are the lengths
///   seen from each end, and the length is la lb (ln la - ln lb) / (la - lb),
///   0 when a quadratic form is not > 0.
///
/// \code
///   tq5::misc::histogram hist(0.0, 2.0, 20);
///   tq5::dense2D<unsigned> none;
///   int rc = tq5::cellworks::edge_qualities(pos, tets, tq5::cellworks::ET_TETRA4, metrics, hist, none);
///   // rc == 0: hist holds the metric length of every edge of the mesh, once each
/// \endcode
/// @note Reentrant, given that the histogram belongs to the caller.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/core/histogram.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// The metric length of one edge from its Euclidean length and its end sizes:
/// q = length (ln h1 - ln h0) / (h1 - h0).
/// @param[in]  length Euclidean length (distance).
/// @param[in]  h0, h1 sizes at the ends (distance).
/// @param[out] q      the metric length; unchanged on error.
/// @return 0; -2 unless h0 > 0; -3 unless h1 > 0.
CELLWORKS_API int edge_quality(double length, double h0, double h1, double& q) noexcept;

/// Hands the metric length of every edge of a mesh of one element type to a
/// histogram.
///
/// The edges are extracted (see `copy_edges` for the edges of each type;
/// `ET_HEXA20` yields none), each measured once in ascending order of (low
/// node, high node), less those listed in `excluded`. An edge with an invalid
/// metric at an end (a tensor failing `is_valid_metric`, a size not > 0, or a
/// node beyond the field) is not measured, and the walk goes on.
/// @param[in]     pos      coordinates, 2 or 3 rows x #nodes; the row count
///                         chooses 2D or 3D.
/// @param[in]     connectM connectivity, `#local nodes x #elements`, 0-based.
/// @param[in]     FE       element type.
/// @param[in]     metrics  tensors, one column per node: 3 rows (m00, m01, m11)
///                         in 2D, 6 rows (m00, m01, m11, m02, m12, m22) in 3D.
///                         Extra rows are not read; too few rows leave every
///                         edge unmeasured.
/// @param[in,out] hist     receives one `process(length)` per measured edge;
///                         never reset nor read.
/// @param[in]     excluded edges not to measure, 2 rows, either node first;
///                         may be empty.
/// @return 0; -1 unless pos has 2 or 3 rows; -2 when connectM fails
///   `check_IDs(connectM, FE, columns of pos)`; -4 when the field has another
///   column count than pos or some edge was not measured for its metric;
///   -6 when excluded fails `check_IDs(excluded, ET_BAR2, columns of pos)`.
///   Storage failures are not reported by a code: when the edge list can't
///   grow, only the edges of the elements listed before are measured (maybe
///   none); when the scratch of the exclusion can't be had, `excluded` is not
///   applied and its edges are measured too. `ERR_ALLOC` comes back only when
///   not even an empty scratch vector can be made.
CELLWORKS_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                                 const dense2D<double>& metrics, misc::histogram& hist,
                                 const dense2D<unsigned>& excluded) noexcept;

/// \overload With a size per node (`sizes` entries, a size being valid when > 0).
CELLWORKS_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                                 const dense1D<double>& sizes, misc::histogram& hist,
                                 const dense2D<unsigned>& excluded) noexcept;

/// \overload Blocks of connectivities [first, last), each of its own type, with
/// the edges unique over all blocks.
/// @param[in] first, last the blocks.
/// @param[in] types       one `element_type` value per block.
/// @return 0 (also for first == last); -1 unless pos has 2 or 3 rows; -4 when
///   types has not one entry per block; -2 when a block fails `check_IDs` with
///   its type against the columns of pos; -7 when excluded fails its check; -5
///   when the field has another column count than pos or some edge was not
///   measured for its metric.
CELLWORKS_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                                 const dense2D<unsigned>* last, const dense1D<int>& types,
                                 const dense2D<double>& metrics, misc::histogram& hist,
                                 const dense2D<unsigned>& excluded) noexcept;

/// \overload Blocks of connectivities with a size per node.
CELLWORKS_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                                 const dense2D<unsigned>* last, const dense1D<int>& types, const dense1D<double>& sizes,
                                 misc::histogram& hist, const dense2D<unsigned>& excluded) noexcept;

}  // namespace cellworks
}  // namespace tq5

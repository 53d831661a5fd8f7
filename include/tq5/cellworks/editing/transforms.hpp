/// @file
/// Rigid and scaling moves of node coordinates, in place: `translate`, `rotate`
/// and `zoom`, each for all nodes, for a list of ids, or for the nodes of a
/// connectivity, in 2D (rows 0, 1) and 3D (rows 0, 1, 2).
///
/// Rows beyond the dimension are left alone (a 2D move keeps z). Every form
/// follows the same steps, in this order:
/// 1. `pos` without entries: 0, nothing done.
/// 2. The identity (v all 0, angle or w all exactly 0, factor exactly 1):
///    0, nothing done.
/// 3. The list forms of `translate` and `zoom` return 0 on an empty list.
/// 4. `pos` with fewer rows than the dimension grows to it, the new rows 0.0.
/// 5. Each node is moved.
///
/// The list is taken as it stands: an id listed twice is moved twice.
/// `translate` and `rotate` skip ids at or beyond the columns of `pos` and do
/// not count them; `zoom` does not test its ids, which the caller must keep in
/// range. The connectivity forms move each node that the connectivity refers
/// to once (`NO_INDEX` padding is no node).
///
/// \code
///   using namespace tq5::cellworks;
///   // Turn a 3D part a quarter turn about the z axis through (1, 0, 0), then
///   // lift it by 2.
///   rotate(pos, tq5::vector_fixed<double, 3>{{1, 0, 0}}, tq5::vector_fixed<double, 3>{{0, 0, 1.5707963267948966}},
///   part); translate(pos, tq5::vector_fixed<double, 3>{{0, 0, 2}}, part);
/// \endcode
/// @note Reentrant; the all-node and list forms obtain storage only to widen
///   `pos`, the connectivity forms also for the list of their nodes.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Moves every node p to p + v.
/// @param[in,out] pos coordinates, `#rows x #nodes`, changed in place (other
///                    views of its block see the moves); a matrix with fewer
///                    rows than `v` is first resized to them, which may give it
///                    a new block.
/// @param[in]     v   the translation.
/// @return the number of columns moved; 0 when nothing was done;
///   `ERR_ALLOC` when `pos` could not be widened (nothing moved).
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v) noexcept;
/// \overload 3D.
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v) noexcept;
/// \overload The listed nodes.
/// @param[in] ids 0-based columns of `pos`; others are skipped.
/// @return the number of ids applied (a repeated id counts each time); 0 when
///   nothing was done or the list is empty; `ERR_ALLOC` as above.
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v,
                            const dense1D<unsigned>& ids) noexcept;
/// \overload
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v,
                            const dense1D<unsigned>& ids) noexcept;
/// \overload The nodes of a connectivity, each once.
/// @param[in] conn `#local nodes x #elements`, 0-based; `NO_INDEX` entries are
///                 no node.
/// @return the number of distinct nodes moved; `ERR_ALLOC` also when their list
///   could not be made (nothing moved).
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v,
                            const dense2D<unsigned>& conn) noexcept;
/// \overload
CELLWORKS_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v,
                            const dense2D<unsigned>& conn) noexcept;

/// Turns every node about `center` by `angle`: with d = p - center, p becomes
/// center + (c dx - s dy, s dx + c dy), where c and s are the cosine and sine
/// of the angle, taken once per call.
/// @param[in,out] pos    coordinates, as for `translate`.
/// @param[in]     center the fixed point.
/// @param[in]     angle  radians, counter-clockwise.
/// @return the number of columns moved; 0 when nothing was done; `ERR_ALLOC`
///   when `pos` could not be widened.
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) noexcept;
/// \overload The listed nodes; ids beyond the columns are skipped and not
/// counted. An empty list still widens `pos`.
/// @return the number of ids applied.
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                         const dense1D<unsigned>& ids) noexcept;
/// \overload The nodes of a connectivity, each once.
/// @return the number of distinct nodes moved; `ERR_ALLOC` also when their list
///   could not be made.
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                         const dense2D<unsigned>& conn) noexcept;
/// \overload 3D: p becomes center + R (p - center), with R = I + a W + b W^2,
/// W the cross-product matrix of w (W v = w x v), t = |w|, a = sin(t) / t and
/// b = (1 - cos(t)) / t^2. For t <= 0.1, a and b come from their Taylor series
/// to x^5 and x^4 in x = t^2, so a tiny w gives a matrix near the identity
/// with no division. R is built once per call.
/// @param[in] w rotation vector: axis w / |w|, angle |w| in radians, right-handed.
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                         const vector_fixed<double, 3>& w) noexcept;
/// \overload
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w,
                         const dense1D<unsigned>& ids) noexcept;
/// \overload
CELLWORKS_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w,
                         const dense2D<unsigned>& conn) noexcept;

/// Scales every node about `center`: p becomes p + (factor - 1)(p - center),
/// evaluated in that form. A factor of 0 gathers the nodes at the center; a
/// negative one also mirrors them through it.
/// @param[in,out] pos    coordinates, as for `translate`.
/// @param[in]     center the fixed point.
/// @param[in]     factor the scale.
/// @return the number of columns moved; 0 when nothing was done; `ERR_ALLOC`
///   when `pos` could not be widened.
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) noexcept;
/// \overload 3D.
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) noexcept;
/// \overload The listed nodes.
/// @param[in] ids 0-based columns of `pos`, all of them below its number of
///                columns: unlike the other transforms, `zoom` does not test them.
/// @return 0, whether or not nodes moved; `ERR_ALLOC` when `pos` could not be
///   widened.
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                       const dense1D<unsigned>& ids) noexcept;
/// \overload
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                       const dense1D<unsigned>& ids) noexcept;
/// \overload The nodes of a connectivity, each once; they must be columns of `pos`.
/// @return 0; `ERR_ALLOC` also when the list of nodes could not be made.
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                       const dense2D<unsigned>& conn) noexcept;
/// \overload
CELLWORKS_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                       const dense2D<unsigned>& conn) noexcept;

}  // namespace cellworks
}  // namespace tq5

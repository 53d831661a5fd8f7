/// @file
/// Cleaning a mesh after other edits, each in one pass over the columns:
/// `remove_degenerated` drops elements that hold a node twice (as merging
/// nodes leaves them), `simplify` drops nodes that no element refers to and
/// renumbers, and `clip` collects the elements that lie wholly on one side of a
/// plane.
///
/// \code
///   using namespace tq5::cellworks;
///   int removed = remove_degenerated(tris, false);    // after merging nodes
///   int dropped = simplify(pos, tris, 0u);             // then the nodes left unused
///   tq5::dense2D<unsigned> upper;
///   int rc = clip(pos, tris, tq5::vector_fixed<double, 3>{{0, 0, 0}},
///                 tq5::vector_fixed<double, 3>{{0, 0, 1}}, upper);   // the elements above z = 0
/// \endcode
/// @note Reentrant; every call has its own scratch. On any negative code the
///   coordinates, connectivities and `kept` are as they were.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Removes the degenerate columns of a connectivity: those in which two
/// entries are equal and are a node, or, with `strict`, are both `NO_INDEX`.
/// So a column with one `NO_INDEX` (a triangle of a mixed matrix) is never
/// degenerate for it, and one with two or more only when `strict`.
/// @param[in,out] conn   `#local nodes x #elements`; the surviving columns are
///                       moved forward in place, in their order, and the
///                       columns cut to their number (same rows and storage).
/// @param[out]    map    cleared, then one entry per old column: its new
///                       column, or `NO_INDEX` when removed (written in place).
/// @param[in]     strict whether repeated `NO_INDEX` makes a column degenerate.
/// @return the number of columns removed; `ERR_ALLOC` when `map` could not be
///   sized (it is then empty, and `conn` untouched).
CELLWORKS_API int remove_degenerated(dense2D<unsigned>& conn, dense1D<unsigned>& map, bool strict) noexcept;
/// \overload Without a map; never fails.
CELLWORKS_API int remove_degenerated(dense2D<unsigned>& conn, bool strict) noexcept;

/// Drops the nodes that no connectivity of a range refers to, and renumbers
/// the connectivities. Surviving nodes keep their order; the nodes below
/// `keep_first` all stay where they are, used or not.
/// @param[in,out] pos        coordinates, `#rows x #nodes`: the surviving
///                           columns are moved forward in place and the columns
///                           cut to their number.
/// @param[in,out] first,last the matrices `*first` to `last[-1]`, 0-based,
///                           renumbered in place (`NO_INDEX` entries stay). They
///                           must not share storage: shared entries would be
///                           renumbered twice.
/// @param[out]    map        cleared; when a node could go, one entry per old
///                           node: its new id, or `NO_INDEX` when dropped.
///                           Left empty when nothing was looked at.
/// @param[in]     keep_first the number of leading nodes that stay in any case.
/// @return the number of nodes dropped; 0 with `map` empty when `first` equals
///   `last`, `pos` has no entries or `keep_first` is not below its columns;
///   -3 when `first` is above `last`; -2 when an entry of a matrix is neither
///   `NO_INDEX` nor a column of `pos`; `ERR_ALLOC` when the map or the scratch
///   could not be obtained (`map` then empty).
CELLWORKS_API int simplify(dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                           dense1D<unsigned>& map, unsigned keep_first) noexcept;
/// \overload One connectivity.
CELLWORKS_API int simplify(dense2D<double>& pos, dense2D<unsigned>& conn, dense1D<unsigned>& map,
                           unsigned keep_first) noexcept;
/// \overload One connectivity, without a map.
CELLWORKS_API int simplify(dense2D<double>& pos, dense2D<unsigned>& conn, unsigned keep_first) noexcept;
/// \overload Two connectivities, e.g. the faces and the solids of one mesh;
/// they must be different matrices.
CELLWORKS_API int simplify(dense2D<double>& pos, dense2D<unsigned>& conn1, dense2D<unsigned>& conn2,
                           unsigned keep_first) noexcept;

/// Appends to `kept` the columns of `conn` whose nodes all lie strictly on the
/// side of the plane that `normal` points to: t = (p - point) . normal > 0,
/// over the first min(3, rows of `pos`) coordinates. An element with a node on
/// the plane is dropped; no element is cut. The walk down a column ends at
/// `NO_INDEX`, so a column that starts with it is kept. Each node's side is
/// computed once.
/// @param[in]     pos    coordinates, `#rows x #nodes`; unchanged.
/// @param[in]     conn   `#local nodes x #elements`, 0-based.
/// @param[in]     point  a point of the plane.
/// @param[in]     normal normal of the plane, any length of at least 1e-12;
///                       only the sign of t matters.
/// @param[in,out] kept   appended to, never cleared; empty, or of the rows of
///                       `conn`.
/// @return 0, also for an empty `conn` (`kept` untouched); -2 when an entry of
///   `conn` is neither `NO_INDEX` nor a column of `pos`; -4 when `normal` is
///   shorter than 1e-12 or not a number; -5 when `kept` has entries and other
///   rows than `conn`; `ERR_ALLOC` when storage could not be obtained.
CELLWORKS_API int clip(const dense2D<double>& pos, const dense2D<unsigned>& conn, const vector_fixed<double, 3>& point,
                       const vector_fixed<double, 3>& normal, dense2D<unsigned>& kept) noexcept;

}  // namespace cellworks
}  // namespace tq5

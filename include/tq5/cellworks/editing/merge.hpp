/// @file
/// `merge`: joins nodes that lie within a distance tolerance of each other,
/// redirecting each joined node to a surviving node.
///
/// Nothing is removed: coordinates and connectivities keep all their columns,
/// so an element whose nodes were joined can hold one node twice or more
/// (`remove_degenerated` and `simplify` drop such elements and unused nodes).
///
/// Two nodes are close when their Euclidean distance, the square root of
/// dx^2 + dy^2 (+ dz^2), is at most `tol` and the second lies in the closed box
/// x - tol to x + tol around the first on every axis. `tol` is a distance in
/// the units of the coordinates; 0 joins exactly coincident nodes.
///
/// Which node survives depends on `mode`:
/// - 0, global: every pair of nodes counts. Nodes are ranked (by id for
///   all columns, in order of first appearance for lists and connectivities,
///   reading the matrices column by column, each from row 0), and each node
///   goes to the lowest-ranked node of lower rank within `tol` of it. Chains
///   are followed (A, B, C with A close to B and B close to C all end on A),
///   but a node close to two nodes far from each other joins only the first.
/// - 1, within elements: only nodes that stand in one element column count;
///   pairs are taken by rising distance, then by the id of the node that
///   stays (so of two close nodes the lower id survives); a node that was
///   joined takes no further part, its survivor may take more.
/// - 2: as 1, repeated until a pass joins nothing.
///
/// `map` gets one entry per column of the coordinates: the survivor of each
/// node, final (`map[map[i]] == map[i]`); nodes not joined, or not looked at,
/// map to themselves. Results are the same for every run on the same input.
///
/// \code
///   tq5::dense1D<unsigned> map;
///   // A triangle soup: join the corners that lie within 1e-7 of each other.
///   int joined = tq5::cellworks::merge(pos, tris, map, 1e-7, 0);
///   if (joined < 0) return joined;  // an argument code or ERR_ALLOC
///   // tris now refers to the survivors; pos is unchanged.
/// \endcode
/// @note Reentrant: each call keeps its scratch to itself. Scratch in mode 0:
///   two arrays of 8-byte entries, one for each cell (of side about 16 tol)
///   that a node's box meets, about 1.4 per node in 3D while `tol` is small
///   next to the spacing of the nodes; the form that moves nodes keeps them in
///   its new coordinate block when they fit. When a node that takes part has
///   a coordinate that is not finite (or any column has, when the nodes are
///   more than a quarter of the columns), the search goes through a k-d tree
///   instead: 12 bytes per node and 8 per close pair, slower, same rules.
///   Modes 1 and 2 keep a 16-byte record per close pair of an element.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Joins the close nodes among all columns of `pos`, ranked by id, and moves
/// each joined node onto its survivor.
/// @param[in,out] pos coordinates, `2 x #nodes` or `3 x #nodes`. On success
///                its storage is replaced by a new block (ld = rows) in which
///                each joined column holds its survivor's coordinates; other
///                views of the old block keep the old values.
/// @param[out]    map cleared first, then one survivor per column of `pos`
///                (0-based), written in its own block when there is room.
/// @param[in]     tol distance, at least 0.
/// @return the number of nodes joined; 0 when `pos` has no column (before any
///   other test); -1 when `pos` has neither 2 nor 3 rows; -3 unless
///   `tol >= 0` (NaN included); `ERR_ALLOC` when storage could not be
///   obtained. On every code `map` is empty and `pos` untouched.
CELLWORKS_API int merge(dense2D<double>& pos, dense1D<unsigned>& map, double tol) noexcept;

/// \overload Without a map; codes -1 and -3 as above.
CELLWORKS_API int merge(dense2D<double>& pos, double tol) noexcept;

/// \overload Joins nodes of `ids1` onto nodes of `ids2`, mode 0: the nodes of
/// `ids2` are ranked and searched around, so only they survive a join; a node
/// of `ids1` that is not in `ids2` can only join a node of `ids2`. Repeated
/// ids and `NO_INDEX` entries count once and not at all.
/// @param[in]  pos  coordinates, `2 x #nodes` or `3 x #nodes`; not changed.
/// @param[in]  ids1 0-based columns of `pos`, the nodes that may be joined.
/// @param[in]  ids2 0-based columns of `pos`, the nodes that may survive.
/// @param[out] map  cleared first; then one entry per column of `pos` unless
///                  `ids1` or `ids2` is empty.
/// @return the number of nodes joined; 0 when `pos` has no column, or when
///   `ids1` or `ids2` is empty after the tests; -1 unless `pos` has 2 or 3
///   rows; -2 when `ids1`, -3 when `ids2` has an entry other than `NO_INDEX`
///   that is not a column of `pos`; -4 unless `tol >= 0`; `ERR_ALLOC`. On
///   every code `map` is empty.
CELLWORKS_API int merge(const dense2D<double>& pos, const dense1D<unsigned>& ids1, const dense1D<unsigned>& ids2,
                        dense1D<unsigned>& map, double tol) noexcept;

/// \overload The nodes of `ids` among themselves: `ids` as both lists.
/// @return as above, with -1, -2 and -4.
CELLWORKS_API int merge(const dense2D<double>& pos, const dense1D<unsigned>& ids, dense1D<unsigned>& map,
                        double tol) noexcept;

/// \overload Joins the nodes used by the connectivities `*first` to
/// `last[-1]` and renumbers those matrices in place to the survivors (other
/// views of their blocks see the change). Columns of `pos` that no entry uses
/// are never joined. `NO_INDEX` entries stay as they are.
/// @param[in]     pos   coordinates, `2 x #nodes` or `3 x #nodes`; not changed.
/// @param[in,out] first,last a range of connectivities, `#local nodes x
///                      #elements` each, 0-based; changed only on success.
/// @param[out]    map   cleared first; then one entry per column of `pos`
///                      unless no entry names a node.
/// @param[in]     tol   distance, at least 0.
/// @param[in]     mode  0 global, 1 within elements, 2 within elements until
///                      nothing changes.
/// @return the number of nodes joined; 0 when `pos` has no column or `first`
///   equals `last` (both before any other test), or when every entry is
///   `NO_INDEX`; -1 unless `pos` has 2 or 3 rows; -3 when `first` lies above
///   `last`; -5 unless `tol >= 0`; -6 when `mode` is above 2; then -2 when an
///   entry other than `NO_INDEX` is not a column of `pos`; `ERR_ALLOC`. On
///   every code `map` is empty and the matrices untouched.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                        dense1D<unsigned>& map, double tol, unsigned mode) noexcept;

/// \overload Without a map; the codes keep their numbers (-3, -5, -6).
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last, double tol,
                        unsigned mode) noexcept;

/// \overload One connectivity, changed in place.
/// @return as the range form, with -1, -5, -6, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, dense1D<unsigned>& map, double tol,
                        unsigned mode) noexcept;

/// \overload Without a map; codes -1, -5, -6, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect, double tol, unsigned mode) noexcept;

/// \overload With `tol` 1e-6 and mode 0; codes -1, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect) noexcept;

/// \overload Two connectivities, as a range of two (ranked `connect1` first),
/// both changed in place.
/// @return as the range form, with -1, -5, -6, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2,
                        dense1D<unsigned>& map, double tol, unsigned mode) noexcept;

/// \overload Without a map; codes -1, -5, -6, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2,
                        double tol, unsigned mode) noexcept;

/// \overload With `tol` 1e-6 and mode 0; codes -1, then -2.
CELLWORKS_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connect1, dense2D<unsigned>& connect2) noexcept;

}  // namespace cellworks
}  // namespace tq5

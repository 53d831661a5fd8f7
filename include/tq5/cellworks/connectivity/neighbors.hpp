/// @file
/// Adjacency of elements across their local faces.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// For each element and each of its local faces (edges of a surface element,
/// end nodes of a bar), the element across that face.
///
/// Local entity i is, by type: `ET_BAR2` the node opposite node i; `ET_TRIA3`
/// the edge opposite node i; `ET_QUAD4` the edge from node i to node i+1;
/// `ET_TETRA4` the face opposite node i; `ET_PYRA5` faces (i, 4, i+1) then the
/// base (0, 1, 2, 3); `ET_PENTA6` (0,1,2), (3,5,4), (2,1,4,5), (5,3,0,2),
/// (0,3,4,1); `ET_HEXA8` (0,3,7,4), (1,5,6,2), (0,4,5,1), (3,2,6,7), (0,1,2,3),
/// (4,7,6,5). `ET_FACE_MIX` and `ET_SOLID_MIX` columns use the table of the
/// kind they hold. Edges match whatever their direction; faces match when they
/// are the same cycle of nodes in either direction (the same node set in
/// another cyclic order does not match). In `ET_PYRA5` and `ET_HEXA8` a
/// triangle is compared as a 4-cycle closed by `NO_INDEX`; in `ET_PENTA6` and
/// `ET_SOLID_MIX` as a triangle, and never equal to a quadrangle.
///
/// Works through a flat hash of all local faces (one allocation for all
/// cells in the normal case), then one pairing pass over its buckets.
///
/// @param[in]  connect  connectivity, `#local nodes x #elements`, 0-based node ids.
/// @param[in]  type     one of `ET_BAR2`, `ET_TRIA3`, `ET_QUAD4`, `ET_FACE_MIX`,
///                      `ET_TETRA4`, `ET_PYRA5`, `ET_PENTA6`, `ET_HEXA8`,
///                      `ET_SOLID_MIX`. A 3-row `ET_FACE_MIX` counts as `ET_TRIA3`.
/// @param[in]  link_non_manifold  what becomes of a face shared by three or more
///                      elements: false, it links nothing (each side keeps
///                      `NO_INDEX`); true, the first element of the group is
///                      linked with each of the others (each later one gets the
///                      first; the first ends with the last). A face shared by
///                      exactly two elements links them in both modes.
/// @param[out] neighbors cleared first (in place: other views of its block see
///                      the new values), then `#entities x #elements`:
///                      `neighbors(i, e)` is the element across entity i of
///                      element e, or `NO_INDEX` (also for slots of a mixed
///                      column beyond its entities).
/// @return 0 on success (also for an empty `connect`, with `neighbors` empty,
///   and for non-manifold meshes); -1 when `connect` fails the shape check or
///   has not the rows of the type (exactly 8 for `ET_SOLID_MIX`, 4 for
///   `ET_FACE_MIX` unless 3); -2 for any other type (all quadratic ones);
///   `ERR_ALLOC` when storage could not be obtained (`neighbors` is then empty,
///   or full of `NO_INDEX` if only the hash failed).
///
/// \code
///   tq5::dense2D<unsigned> nb;
///   int rc = tq5::cellworks::get_neighbors(tets, tq5::cellworks::ET_TETRA4, false, nb);
///   // rc == 0: nb(i, e) == NO_INDEX marks a boundary face i of element e
/// \endcode
/// @note Reentrant; keeps nothing between calls.
CELLWORKS_API int get_neighbors(const dense2D<unsigned>& connect, element_type type, bool link_non_manifold,
                                dense2D<unsigned>& neighbors) noexcept;

}  // namespace cellworks
}  // namespace tq5

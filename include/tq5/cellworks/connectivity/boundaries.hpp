/// @file
/// Local faces of a mesh: all faces of all elements, the faces without a
/// neighbour, and the identities of those faces.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Appends every local face of every element to `faces`, one column per face.
///
/// Elements are walked in column order and their local entities in increasing
/// index, with the entity tables of `get_neighbors`: `ET_BAR2` the node opposite
/// node i (face height 1); `ET_TRIA3`, `ET_QUAD4`, `ET_FACE_MIX` the edges
/// (height 2); `ET_TETRA4` the triangles (height 3); `ET_PYRA5`, `ET_PENTA6`,
/// `ET_HEXA8`, `ET_SOLID_MIX` the faces in height 4, a triangle closed by
/// `NO_INDEX` in row 3. A face lists its nodes in its table's cycle, which faces
/// outward, so a face shared by two elements is appended twice, once in the
/// direction of each.
///
/// @param[in]     connect connectivity, `#local nodes x #elements`, 0-based node ids.
/// @param[in]     type    `ET_BAR2`, `ET_TRIA3`, `ET_QUAD4`, `ET_FACE_MIX` (4 rows;
///                        3 rows count as `ET_TRIA3`), `ET_TETRA4`, `ET_PYRA5`,
///                        `ET_PENTA6`, `ET_HEXA8` or `ET_SOLID_MIX` (8 rows).
/// @param[in,out] faces   `face height x #faces`; not cleared: the faces are
///                        appended behind its columns (growth by doubling).
///                        If not empty it must have the face height; an empty
///                        one of any shape (say 0 x 7) starts from no column.
/// @return 0 on success (also for an empty `connect`, `faces` unchanged);
///   -1 when `connect` fails the shape check of its type or has not its rows;
///   -2 for a type without face tables (all quadratic ones) and, as well, for a
///   non-empty `faces` of another height; `ERR_ALLOC` when a column could not
///   be appended: the walk stops at the end of that element and what was
///   appended stays.
///
/// \code
///   tq5::dense2D<unsigned> nb, skin;
///   int rc = tq5::cellworks::get_neighbors(tets, tq5::cellworks::ET_TETRA4, false, nb);
///   if (rc == 0) rc = tq5::cellworks::get_mesh_boundaries(tets, nb, tq5::cellworks::ET_TETRA4, skin);
///   // rc == 0: skin is 3 x #boundary triangles, each oriented outward
/// \endcode
/// @note Reentrant; keeps nothing between calls.
CELLWORKS_API int get_element_boundaries(const dense2D<unsigned>& connect, element_type type,
                                         dense2D<unsigned>& faces) noexcept;

/// Appends the local faces that have no neighbour (`neighbors(i, e)` equal to
/// `NO_INDEX`) to `faces`, in the layout of `get_element_boundaries`. A
/// non-manifold face that `get_neighbors` linked to nobody comes once per element.
///
/// @param[in]     connect   connectivity, `#local nodes x #elements`.
/// @param[in]     neighbors the neighbour matrix of `connect` from `get_neighbors`,
///                          `#entities x #elements`; any entry other than
///                          `NO_INDEX` counts as a neighbour.
/// @param[in]     type      as for `get_element_boundaries`.
/// @param[in,out] faces     not cleared: the faces are appended; if not empty it
///                          must have the face height.
/// @return 0 on success (also for an empty `connect`); -1 for a bad `connect`;
///   -2 when `neighbors` has not the columns of `connect` and the entity count
///   of the type as rows, and -2 as well for an unsupported type; -3 for a
///   non-empty `faces` of another height; `ERR_ALLOC` as for
///   `get_element_boundaries`.
CELLWORKS_API int get_mesh_boundaries(const dense2D<unsigned>& connect, const dense2D<unsigned>& neighbors,
                                      element_type type, dense2D<unsigned>& faces) noexcept;

/// Appends the identities of the local faces that have no neighbour to
/// `entities`: element times k plus local index, in 32-bit arithmetic, where k
/// is the entity count of the type (2, 3, 4, 4, 4, 5, 5, 6, 6 for `ET_BAR2`,
/// `ET_TRIA3`, `ET_QUAD4`, `ET_FACE_MIX`, `ET_TETRA4`, `ET_PYRA5`, `ET_PENTA6`,
/// `ET_HEXA8`, `ET_SOLID_MIX`), also for mixed columns with fewer faces.
///
/// @param[in]     connect   connectivity, `#local nodes x #elements`.
/// @param[in]     neighbors its neighbour matrix, `#entities x #elements`.
/// @param[in]     type      as for `get_element_boundaries`.
/// @param[in,out] entities  not cleared: the identities are appended (growth by doubling).
/// @return 0 on success (also for an empty `connect`); -1 for a bad `connect`;
///   -2 for a `neighbors` of the wrong shape or an unsupported type;
///   `ERR_ALLOC` when an identity could not be appended (the walk stops at the
///   end of that element; what was appended stays).
CELLWORKS_API int get_mesh_bounding_elements(const dense2D<unsigned>& connect, const dense2D<unsigned>& neighbors,
                                             element_type type, dense1D<unsigned>& entities) noexcept;

}  // namespace cellworks
}  // namespace tq5

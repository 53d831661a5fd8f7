/// @file
/// `shape_qualities`: how close each element is to the regular element of its
/// kind, from the coordinates alone: 1 for the regular element, 0 for a flat
/// one, negative for an inverted one.
///
/// | Kind        | Measure                                                      | Range            |
/// |-------------|--------------------------------------------------------------|------------------|
/// | bar         | always 1                                                     | 1                |
/// | triangle    | 2 sqrt 3 x twice the area / (perimeter x longest edge)       | -1..1 in 2D, 0..1 in 3D |
/// | quadrangle  | 4 sqrt 2 x smallest corner cross product / (longest edge or diagonal x perimeter), in 3D times the
/// flatness | as triangles | | tetrahedron | 2 sqrt 6 x inscribed radius / longest edge                   | -1..1 | |
/// pyramid, wedge, hexahedron | smallest corner determinant scaled by the sum of squared edges, times the flatness of
/// the quadrangular faces | -1..1 |
///
/// Solids are positive when, for a tetrahedron, nodes 0, 1, 2 seen from node 3
/// form a right-handed triple; for a pyramid, when its base 0, 1, 2, 3 turns
/// counter-clockwise seen from the apex 4; for a wedge or hexahedron, when the
/// first face turns counter-clockwise seen from the second. In 2D (a `pos` of
/// 2 rows) a clockwise triangle or quadrangle scores negative; in 3D a surface
/// element has no orientation and scores 0 to 1.
///
/// The flatness of a quadrangle (1 when plane and convex, 0 when folded flat on
/// itself) compares the normals at opposite corners. Pyramids, wedges and
/// hexahedra that pass their measure get a second test: the pyramids (and for
/// wedges, tetrahedra) that each face makes with the element's centre, or for
/// a pyramid of quality just above 0 its four corner tetrahedra; a second test
/// below 1e-12 replaces the quality. Tetrahedra of almost no volume, or whose
/// measure was hit by rounding, are measured again with their nodes in the 11
/// other even orders and keep the lowest value.
///
/// Served types: `ET_BAR2`, `ET_TRIA3`, `ET_QUAD4`, `ET_FACE_MIX` (a column
/// with `NO_INDEX` in row 3 is a triangle), `ET_TETRA4`, `ET_PYRA5`,
/// `ET_PENTA6`, `ET_HEXA8`, and `ET_SOLID_MIX`, whose whole matrix takes the
/// kind of its row count (4 tetrahedra, 5 pyramids, 6 wedges, else
/// hexahedra; a column padded with `NO_INDEX` there scores 0). Higher-order
/// elements are refused. Solids measured over a 2-row `pos` take z as 0.
/// @note Each call works on its own data; calls may run side by side.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/core/histogram.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// The quality of each column of `conn`, elements of kind `type`.
/// @param[in] pos coordinates, 2 or 3 rows.
/// @param[in] conn `#local nodes x #elements`.
/// @param[out] qualities replaced: one value per column, in column order.
/// @return 0; -2 when `conn` fails `check_IDs` for `type` and the columns of
///   `pos`; -3 when `type` is not served; `ERR_ALLOC` when `qualities` cannot
///   be sized. On failure `qualities` is empty.
CELLWORKS_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& conn, element_type type,
                                  dense1D<double>& qualities) noexcept;

/// \overload The qualities go into `hist` (`process` of each), which is
/// touched only on success. As the range form over `conn` alone: an empty
/// `conn` gives 0 whatever its type.
CELLWORKS_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& conn, element_type type,
                                  misc::histogram& hist) noexcept;

/// \overload A mixed mesh: the matrices `*first` to `last[-1]`, matrix k of
/// type `types[k]`, their qualities end to end in `qualities` (replaced).
/// Matrices without entries are skipped and their type is not looked at.
/// @return as above, and -3 when `first` lies above `last`, -4 when `types`
///   does not have one entry per matrix; `qualities` empty on failure.
CELLWORKS_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                                  const dense2D<unsigned>* last, const dense1D<int>& types,
                                  dense1D<double>& qualities) noexcept;

/// \overload The range form into `hist`, touched only on success.
CELLWORKS_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                                  const dense2D<unsigned>* last, const dense1D<int>& types,
                                  misc::histogram& hist) noexcept;

}  // namespace cellworks
}  // namespace tq5

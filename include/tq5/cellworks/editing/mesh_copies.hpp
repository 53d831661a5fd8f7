/// @file
/// Copies of a part of a mesh within the same coordinate matrix: `copy_mesh`
/// makes one plain copy, or a series of copies stepped along a rotation and a
/// translation; `copy_sym_mesh` makes the mirror image through a plane.
///
/// A copy takes the nodes that `source` refers to, once each, in the order of
/// their first appearance (`NO_INDEX` padding is no node), appends a copy of
/// their columns to `pos`, and gives back `source` renumbered to the new
/// columns, with its `NO_INDEX` entries kept. The ids of `source` are not
/// checked: they must be columns of `pos`.
///
/// `pos` grows by the greater of its columns and the columns added when its
/// storage is full, so a long series of copies is not quadratic.
///
/// \code
///   using namespace tq5::cellworks;
///   // Six sectors of a wheel from one: five copies, each turned a further 60 degrees.
///   tq5::dense2D<unsigned> wheel;
///   wheel.copy(sector);
///   int rc = copy_mesh(pos, wheel, tq5::vector_fixed<double, 2>{{0, 0}}, tq5::vector_fixed<double, 2>{{0, 0}},
///                      1.0471975511965976, 5, sector);
/// \endcode
/// @note Reentrant. `source` may be `conn` itself: the stepped copies are then
///   of its columns as they were before the call.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// One copy of the elements of `source` on new nodes.
/// @param[in,out] pos    coordinates, `#rows x #nodes`: a copy of each node of
///                       `source` is appended, all rows copied.
/// @param[out]    conn   replaced by `source` renumbered to the new nodes,
///                       written in `conn`'s own storage (a new block only
///                       when it shares the block of `source`).
/// @param[in]     source `#local nodes x #elements`, 0-based ids below the
///                       columns of `pos`.
/// @return 0; `ERR_ALLOC` when storage could not be obtained, `pos` and `conn`
///   then unchanged apart from reserved room.
CELLWORKS_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const dense2D<unsigned>& source) noexcept;

/// \overload n copies; copy k (from 1) is rotated about `center` by k `angle`,
/// then translated by k `step`.
/// @param[in,out] conn   the elements of each copy are appended, in order of
///                       the copies; it must be empty or have the rows of
///                       `source`.
/// @param[in]     step   translation between two copies.
/// @param[in]     center the fixed point of the rotations, the same for all copies.
/// @param[in]     angle  rotation between two copies, radians, counter-clockwise.
/// @param[in]     n      the number of copies.
/// @return 0, also when `pos` has no entries or n is 0, which does nothing;
///   `ERR_ALLOC` when storage failed, with the copies made before kept (and the
///   nodes of the failed one possibly appended to `pos`).
CELLWORKS_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 2>& step,
                            const vector_fixed<double, 2>& center, double angle, unsigned n,
                            const dense2D<unsigned>& source) noexcept;
/// \overload 3D: copy k is rotated by the rotation vector k w (see `rotate`).
CELLWORKS_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 3>& step,
                            const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w, unsigned n,
                            const dense2D<unsigned>& source) noexcept;

/// One mirror copy through the plane of `point` and `normal`: each new node p
/// becomes p - 2 ((p - point) . normal) normal / |normal|^2. The elements keep
/// their node order, so the mirrored ones are of the opposite orientation.
/// @param[in,out] pos    coordinates; grown to 2 (3) rows first if narrower,
///                       the new rows 0.0, then the copies appended.
/// @param[out]    conn   replaced, as by the one-copy `copy_mesh`.
/// @param[in]     point  a point of the plane.
/// @param[in]     normal normal of the plane, of any length but 0.
/// @param[in]     source as for `copy_mesh`.
/// @return 0, also when `pos` has no entries (nothing done); -4 when `normal`
///   is exactly 0; `ERR_ALLOC` when storage failed (`pos` possibly widened,
///   `conn` unchanged).
CELLWORKS_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 2>& point,
                                const vector_fixed<double, 2>& normal, const dense2D<unsigned>& source) noexcept;
/// \overload 3D.
CELLWORKS_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 3>& point,
                                const vector_fixed<double, 3>& normal, const dense2D<unsigned>& source) noexcept;

}  // namespace cellworks
}  // namespace tq5

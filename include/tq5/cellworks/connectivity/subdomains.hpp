/// @file
/// Connected parts of a mesh, from its neighbour matrix.
/// @note Reentrant: each call walks with its own scratch and keeps nothing. The
///   reordering form changes the caller's matrices in place, so it must not run
///   while another thread reads them.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Splits a mesh into its connected parts by a breadth-first walk of its
/// neighbour matrix (one bit per element, no recursion, so the depth of a mesh
/// is no limit).
///
/// Each part starts from the lowest element not yet visited, so parts come in
/// the order of their lowest element and each starts with it; in a part the
/// neighbours of an element are visited in the order of their local slot.
///
/// @param[in]  neighbors neighbour matrix from `get_neighbors`, `#entities x
///                       #elements`. Entries must be element numbers below the
///                       column count or `NO_INDEX` (which links nothing).
///                       An empty matrix has no element.
/// @param[out] elements  all elements in the order of their visit; emptied first,
///                       written in place (storage reserved exactly).
/// @param[out] indices   `#parts + 1` entries: part k is `elements[indices[k]]` up
///                       to, not including, `elements[indices[k + 1]]`; emptied
///                       first, grown by doubling. A failed append to it is not
///                       reported: it is then shorter.
/// @return 0 (an empty `neighbors` gives `indices` (0) and no element);
///   `ERR_ALLOC` when storage could not be obtained, both outputs then empty.
///
/// \code
///   tq5::dense2D<unsigned> nb;
///   tq5::dense1D<unsigned> order, parts;
///   int rc = tq5::cellworks::get_neighbors(tris, tq5::cellworks::ET_TRIA3, false, nb);
///   if (rc == 0) rc = tq5::cellworks::get_subdomains(nb, order, parts);
///   // rc == 0: parts.size() - 1 connected parts; order[parts[k]] is the lowest element of part k
///   if (rc == 0) rc = tq5::cellworks::get_subdomains(tris, nb, parts);
///   // rc == 0: part k is now columns parts[k] up to parts[k + 1] of tris and nb
/// \endcode
CELLWORKS_API int get_subdomains(const dense2D<unsigned>& neighbors, dense1D<unsigned>& elements,
                                 dense1D<unsigned>& indices) noexcept;

/// \overload Reorders the mesh so that each connected part is one run of
/// columns, in the visit order of the form above.
///
/// @param[in,out] connect   connectivity, `#local nodes x #elements`; it must
///                          have the columns of `neighbors` (not tested; columns
///                          it lacks come out `NO_INDEX`). Its storage is replaced
///                          by a new matrix of the gathered columns (ld = rows):
///                          other views of the old block keep the old order.
/// @param[in,out] neighbors neighbour matrix of `connect`; replaced the same way,
///                          and its entries renumbered to the new columns
///                          (`NO_INDEX` stays).
/// @param[out]    indices   `#parts + 1` entries: part k is the columns from
///                          `indices[k]` up to, not including, `indices[k + 1]`.
/// @return 0 (an empty `neighbors` gives `indices` (0) and changes nothing);
///   `ERR_ALLOC` when storage could not be obtained: if that happened while
///   reordering, `connect` and `neighbors` are cleared (0 x 0) and `indices` is
///   emptied; if it happened before, nothing was reordered.
CELLWORKS_API int get_subdomains(dense2D<unsigned>& connect, dense2D<unsigned>& neighbors,
                                 dense1D<unsigned>& indices) noexcept;

}  // namespace cellworks
}  // namespace tq5

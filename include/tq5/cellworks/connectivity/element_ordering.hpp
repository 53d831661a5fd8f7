/// @file
/// Ordering of mixed connectivities into runs of like elements.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Brings a mixed connectivity into runs of like elements, in place: columns
/// with the most valid nodes first, columns of equal count in their old order,
/// columns without any valid node dropped. A neighbour matrix follows the same
/// reordering and is renumbered.
///
/// The valid nodes of a column are the entries before its first `NO_INDEX`;
/// what stands behind that is ignored and travels with the column. The order is
/// that of the pairs (rows - valid nodes, old column), reached by a counting
/// sort on the first member; columns then move by exchange, at most one per
/// column, without a copy of the matrix.
///
/// @param[in,out] connect     `#rows x #elements`, any number of rows (typically
///                            an `ET_FACE_MIX` or `ET_SOLID_MIX` matrix); sorted in
///                            its own storage, then cut to the columns kept.
/// @param[in,out] neighbors   empty (no second matrix) or any number of rows and
///                            the columns of `connect`: its columns move with
///                            those of `connect` (its rows stay, they go with the
///                            local faces), it is cut the same way, and each entry
///                            below `NO_INDEX` is renumbered through `old_to_new`,
///                            so that a link to a dropped column becomes `NO_INDEX`.
/// @param[out]    group_sizes emptied, then the valid node count of each run, in
///                            decreasing order. No kept column gives (`NO_INDEX`).
/// @param[out]    group_ends  emptied, then the first column behind each run; the
///                            last entry is the number of columns kept.
/// @param[out]    old_to_new  emptied, then `#elements` entries: the new column of
///                            each old column, `NO_INDEX` for a dropped one.
/// @return 0, also when storage could not be obtained: that failure is not
///   reported. Before any column moves, every scratch is obtained; if that fails,
///   `connect` and `neighbors` are unchanged and the three outputs are empty, so
///   `old_to_new.size()` differing from the column count tells the caller. A
///   failed append to `group_sizes` or `group_ends` leaves it shorter.
///   -1 when `neighbors` is not empty and its column count differs from that of
///   `connect` (the second matrix is the faulty one); nothing is changed then.
/// @note The three outputs must be distinct storage: views of one block
///   (as made by `a = b = dense1D<unsigned>()`) overwrite each other.
///
/// \code
///   tq5::dense1D<unsigned> sizes, ends, old_to_new;
///   tq5::cellworks::sort_elfes(solids, sizes, ends, old_to_new);
///   // hexahedra (sizes[0] == 8) in columns 0 to ends[0] - 1, then prisms, and so on
/// \endcode
CELLWORKS_API int sort_elfes(dense2D<unsigned>& connect, dense2D<unsigned>& neighbors, dense1D<unsigned>& group_sizes,
                             dense1D<unsigned>& group_ends, dense1D<unsigned>& old_to_new) noexcept;

/// \overload Without a second matrix; no check can fail, the result is 0.
CELLWORKS_API int sort_elfes(dense2D<unsigned>& connect, dense1D<unsigned>& group_sizes, dense1D<unsigned>& group_ends,
                             dense1D<unsigned>& old_to_new) noexcept;

}  // namespace cellworks
}  // namespace tq5

/// @file
/// Tools on index lists and connectivities: renumbering, shifting, permuting,
/// collecting distinct ids, matching two sets of ids, and growing a bounding box.
///
/// `NO_INDEX` entries count as absent unless a function says otherwise. Matrices
/// are walked column by column, down each column, stepping by their leading
/// dimension, so `sub_matrix` views work everywhere.
///
/// \code
///   using namespace tq5::cellworks;
///   // Nodes used by a set of tetrahedra, in order of first use, and their box.
///   tq5::dense1D<unsigned> used;
///   int rc = unique_indices(used, tets, tq5::dense1D<unsigned>());
///   tq5::vector_fixed<double, 3> lo, hi;
///   lo = 1e300; hi = -1e300;                         // the box only ever grows
///   if (rc == 0) rc = inc_bounding_box(pos, used, lo, hi);
///   // Renumber them 0..used.size()-1 and match two lists of elements.
///   tq5::dense1D<unsigned> old_to_new(max_ID(tets) + 1, NO_INDEX);
///   for (unsigned i = 0; i < used.size(); ++i) old_to_new[used[i]] = i;
///   change_indices(tets, old_to_new);
/// \endcode
/// @note All functions are reentrant and keep nothing between calls. Outputs
///   must not share storage with inputs unless a function says it may.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

/// Renumbers in place: each entry x with x < `new_ids.size()` becomes
/// `new_ids[x]`; every other entry, `NO_INDEX` among them, stays as it is.
/// @param[in,out] ids     the indices, written in place.
/// @param[in]     new_ids new number of each old index (may hold `NO_INDEX`).
CELLWORKS_API void change_indices(dense1D<unsigned>& ids, const dense1D<unsigned>& new_ids) noexcept;

/// \overload All entries of a matrix, e.g. a connectivity after nodes were renumbered.
CELLWORKS_API void change_indices(dense2D<unsigned>& ids, const dense1D<unsigned>& new_ids) noexcept;

/// The greatest entry that is not `NO_INDEX`.
/// @return `NO_INDEX` for an empty container; 0 when every entry is `NO_INDEX`.
CELLWORKS_API unsigned max_ID(const dense1D<unsigned>& ids) noexcept;

/// \overload Over all entries of a matrix (`NO_INDEX` when rows * cols is 0).
CELLWORKS_API unsigned max_ID(const dense2D<unsigned>& ids) noexcept;

/// Adds `shift` to every entry below `NO_INDEX`, in place, with wrap-around on
/// 32 bits (so -1 turns 1-based ids into 0-based ones). Nothing happens when
/// `shift` is 0.
/// @return 0.
CELLWORKS_API int shift_indices(dense1D<unsigned>& ids, int shift) noexcept;

/// \overload A connectivity of kind `type`: for `ET_FACE_MIX` and `ET_SOLID_MIX`
/// the `NO_INDEX` padding is kept; for every other kind, `ET_BAR_MIX` included,
/// all entries are shifted, `NO_INDEX` too (a fixed-kind column has no padding).
/// `type` is not otherwise tested. @return 0.
CELLWORKS_API int shift_indices(dense2D<unsigned>& connect, int shift, element_type type) noexcept;

/// Moves values to new places: the value at i goes to place `perm[i]`, for i
/// below the smaller of both sizes. Entries of `perm` at or beyond the size of
/// `v` (`NO_INDEX` among them) leave that value where it is, and places that
/// nothing is moved to keep their value. `perm` is not checked to be one-to-one:
/// of two values sent to one place the later wins.
/// @param[in,out] v    the values. Its storage is replaced by a new block: other
///                     views of the old block keep the old order.
/// @param[in]     perm new place of each old place (`#v` or fewer entries).
/// @return 0 (also for an empty `v`, which is left alone); `ERR_ALLOC` when the
///   new block could not be obtained, `v` untouched.
CELLWORKS_API int permutation(dense1D<unsigned>& v, const dense1D<unsigned>& perm) noexcept;

/// \overload Values of a field, e.g. a size per node.
CELLWORKS_API int permutation(dense1D<double>& v, const dense1D<unsigned>& perm) noexcept;

/// Appends to `out` the distinct ids of `ids` in the order of their first
/// appearance, leaving out the values of `excluded` and `NO_INDEX`.
///
/// Dense ids (a greatest id within a small multiple of the input size) are
/// tracked in a bitmap, others in a hash set.
/// @param[in,out] out      appended to, never cleared. Room for its old size
///                         plus the number of input entries (with matrices, of
///                         columns) is reserved first, exactly; if that reserve
///                         fails the appends grow it as they go. `out` may share
///                         its block with `ids` (the new values are then
///                         gathered apart and appended at the end).
/// @param[in]     ids      the ids.
/// @param[in]     excluded ids that must not be appended (a shallow copy).
/// @return 0 (also for empty input); `ERR_ALLOC` when storage could not be
///   obtained, with `out` at its old size.
CELLWORKS_API int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids,
                                 dense1D<unsigned> excluded) noexcept;

/// \overload All entries of a matrix, e.g. the nodes used by a connectivity.
CELLWORKS_API int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>& ids,
                                 dense1D<unsigned> excluded) noexcept;

/// \overload The matrices `*first` to `last[-1]`, in order, as one sequence of ids.
/// @return as above; -3 when `first` is above `last`; 0 when they are equal.
CELLWORKS_API int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                                 dense1D<unsigned> excluded) noexcept;

/// The number of distinct entries other than `NO_INDEX` of a matrix.
/// @return the count (at most `INT_MAX`); `ERR_ALLOC` when storage could not be obtained.
CELLWORKS_API int count_unique_indices(const dense2D<unsigned>& ids) noexcept;

/// \overload Over all the matrices `*first` to `last[-1]` together.
/// @return the count; -2 when `first` is above `last`; `ERR_ALLOC`.
CELLWORKS_API int count_unique_indices(const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept;

/// Matches two lists of ids: position j of `ids2` and position i of `ids1` are
/// paired when they hold the same id (not `NO_INDEX`).
/// An id present twice in `ids1` pairs with its last position; a position of
/// `ids1` wanted by several positions of `ids2` keeps the last of them (the
/// earlier ones still point at it in `map2to1`).
/// @param[in]  ids1    first list; at most `NO_INDEX` - 1 entries.
/// @param[in]  ids2    second list; at most `NO_INDEX` - 1 entries.
/// @param[out] map2to1 cleared, then `#ids2` entries: the position in `ids1` of
///                     each entry of `ids2`, or `NO_INDEX` (written in place).
/// @param[out] map1to2 cleared, then `#ids1` entries: the matching position in
///                     `ids2`, or `NO_INDEX` (written in place).
/// @return 0. Exhaustion is not reported by a code: both maps are then left
///   empty, which a caller with non-empty input tells by their sizes.
CELLWORKS_API int get_IDs(const dense1D<unsigned>& ids1, const dense1D<unsigned>& ids2, dense1D<unsigned>& map2to1,
                          dense1D<unsigned>& map1to2) noexcept;

/// \overload Matches the columns of `m2` with those of `m1`, e.g. the elements
/// of two meshes. With `exact_order` true two columns match when they are equal
/// entry by entry; with false, when they are the same cycle in either direction
/// (each is compared from its first greatest entry, forward, then the candidate
/// backward). A column of `m2` takes the lowest-numbered matching column of
/// `m1`, so a repeated column of `m1` is only matched at its first place; a
/// column of `m1` matched by several columns of `m2` keeps the last of them.
/// `NO_INDEX` entries are compared as ordinary values.
/// @param[in]  m1 `#rows x #columns1`; at most `NO_INDEX` - 1 columns.
/// @param[in]  m2 `#rows x #columns2`, the same number of rows.
/// @param[out] map2to1 cleared, then `#columns2` entries, the matching column of `m1` or `NO_INDEX`.
/// @param[out] map1to2 cleared, then `#columns1` entries, the matching column of `m2` or `NO_INDEX`.
/// @return 0; -2 when the numbers of rows differ (both maps are left empty).
///   Exhaustion is not reported: both maps are then left empty.
CELLWORKS_API int get_IDs(const dense2D<unsigned>& m1, const dense2D<unsigned>& m2, dense1D<unsigned>& map2to1,
                          dense1D<unsigned>& map1to2, bool exact_order) noexcept;

/// Grows the box [`min`, `max`] to hold the nodes of `pos`; the box is never
/// reset, so start it from +inf / -inf (or a box to extend).
/// Each coordinate x updates component k by two separate tests: unless
/// x >= `min[k]`, `min[k]` = x; if x > `max[k]`, `max[k]` = x. So a NaN
/// coordinate lands in `min`, is replaced by the next value, and never reaches `max`.
/// @param[in]     pos coordinates, `2 x #nodes` (or 3 with the 3D box).
/// @param[in,out] min lower corner.
/// @param[in,out] max upper corner.
/// @return 0 (also when `pos` has no column); -1 when `pos` has not 2 (3) rows.
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min,
                                   vector_fixed<double, 2>& max) noexcept;

/// \overload 3D.
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min,
                                   vector_fixed<double, 3>& max) noexcept;

/// \overload The nodes listed in `ids`, in list order (0-based columns of `pos`).
/// `NO_INDEX` ids pass the range test and are then skipped.
/// @return 0 for an empty `ids` before any other test; -1 when `pos` has not 2
///   (3) rows; -2 when an id other than `NO_INDEX` is not below the number of
///   columns of `pos` (the box is then unchanged).
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                                   vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) noexcept;

/// \overload 3D.
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                                   vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) noexcept;

/// \overload The nodes used by a connectivity, taken once each in order of first
/// use (`unique_indices`, so `NO_INDEX` padding is dropped).
/// @return as the form on `ids`, and `ERR_ALLOC` when the list of nodes could
///   not be made (the box is then unchanged).
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connect,
                                   vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) noexcept;

/// \overload 3D.
CELLWORKS_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connect,
                                   vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) noexcept;

}  // namespace cellworks
}  // namespace tq5

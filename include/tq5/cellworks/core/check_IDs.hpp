/// @file
/// Validation of index lists and connectivities.
/// @note Every check only reads its arguments and keeps nothing: reentrant,
///   and safe to run side by side on shared matrices that nobody writes.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Tests that every entry of `ids` is `NO_INDEX` or less than `max_node`.
/// @param[in] ids      the indices.
/// @param[in] max_node one more than the greatest allowed index, usually the
///                     number of nodes; `NO_INDEX` accepts everything.
/// @return true when `ids` is empty, `max_node` is `NO_INDEX`, or all entries pass.
///
/// \code
///   if (!tq5::cellworks::check_IDs(connect, tq5::cellworks::ET_TETRA4, unsigned(pos.cols())))
///       return;  // a node index is out of range or the shape is wrong
/// \endcode
CELLWORKS_API bool check_IDs(const dense1D<unsigned>& ids, unsigned max_node) noexcept;

/// \overload Over all entries of a matrix (stepping by its leading dimension).
CELLWORKS_API bool check_IDs(const dense2D<unsigned>& ids, unsigned max_node) noexcept;

/// \overload A connectivity of element kind `type`.
/// - Empty matrix: true.
/// - `ET_FACE_MIX`: 3 or 4 rows; `NO_INDEX` in row 3 ends a column (a
///   triangle); every other entry must be below `max_node`.
/// - `ET_SOLID_MIX`: 4, 5, 6 or 8 rows; `NO_INDEX` in row 4, 5 or 6 ends the
///   nodes of a column and all rows behind it must be `NO_INDEX`; every entry
///   before must be below `max_node`. So a mixed solid never has 7 nodes.
/// - Any other type: true at once when `max_node` is `NO_INDEX`; otherwise rows
///   must equal `node_count(type)` (never true for a count of 0) and every
///   entry, `NO_INDEX` included, must be below `max_node`.
/// The mixed kinds have no shortcut for `max_node` = `NO_INDEX`: that limit
/// checks the shape of mixed columns only.
CELLWORKS_API bool check_IDs(const dense2D<unsigned>& connect, element_type type, unsigned max_node) noexcept;

}  // namespace cellworks
}  // namespace tq5

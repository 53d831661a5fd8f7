/// @file
/// Extraction of the unique edges of a mesh.
///
/// The edges of an element are pairs of its corner nodes (mid-side nodes of
/// high order elements take no part), by position in its column:
/// - `ET_BAR2`, `ET_BAR3`: (0,1).
/// - `ET_TRIA3`, `ET_TRIA6`: (0,1), (1,2), (2,0).
/// - `ET_QUAD4`, `ET_QUAD8`, `ET_QUAD9`: (0,1), (1,2), (2,3), (3,0).
/// - `ET_FACE_MIX`: a column with `NO_INDEX` in row 3 (or of a 3-row matrix) as
///   a triangle, any other as a quadrangle.
/// - `ET_TETRA4`, `ET_TETRA10`: (1,2), (2,0), (0,1), (3,0), (3,1), (3,2).
/// - `ET_PYRA5`, `ET_PYRA14`: (0,4), (1,4), (2,4), (3,4), (0,1), (1,2), (2,3), (3,0).
/// - `ET_PENTA6`, `ET_PENTA18`: (0,3), (1,4), (2,5), (1,2), (2,0), (0,1), (4,5),
///   (5,3), (3,4).
/// - `ET_HEXA8`, `ET_HEXA27`: the 12 edges (0,1), (1,2), (2,3), (3,0), (4,5),
///   (5,6), (6,7), (7,4), (0,4), (1,5), (2,6), (3,7).
/// - `ET_SOLID_MIX`: per column, `NO_INDEX` in row 4 gives the tetrahedron, else
///   in row 5 the pyramid, else in row 6 the prism, else the hexahedron (rows
///   beyond the matrix count as `NO_INDEX`).
/// - `ET_HEXA20`, `ET_NODE`, `ET_BAR_MIX`, `ET_UNKNOWN` and any other value:
///   no edge, and no error. (`ET_HEXA20` yields none although `ET_HEXA8` and
///   `ET_HEXA27` do.)
///
/// \code
///   tq5::dense2D<unsigned> edges;   // empty: gets 2 rows
///   int rc = tq5::cellworks::copy_edges(tets, tq5::cellworks::ET_TETRA4, edges);
///   // rc == 0: edges(0, e) < edges(1, e), columns sorted, each edge once
/// \endcode
/// @note Reentrant. Works by sorting all element edges (a radix sort on 64-bit
///   keys), so the scratch is 8 bytes per element edge, plus as much again
///   while sorting.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Appends the unique edges of a mesh of one element type to an edge list.
/// @param[in]     connectM connectivity, `#local nodes x #elements`, 0-based;
///                         a fixed type needs its node count of rows.
/// @param[in]     FE       element type (see the file's table).
/// @param[in,out] edges    edge list, 2 rows. The edges found, lower node in
///                row 0, sorted by (row 0, row 1) and each once, are appended
///                behind the columns already there (repeats against those are
///                not looked for: two calls on one mesh give every edge twice).
///                An empty list first gets 2 rows and 0 columns.
/// @return 0 (also for an empty connectivity); -1 when connectM fails
///   `check_IDs(connectM, FE, NO_INDEX)` or a fixed type has another row count;
///   -3 when a non-empty edges has another row count than 2; `ERR_ALLOC` when
///   edges can't grow (edges unchanged). When the scratch list of edges can't
///   be obtained, nothing is appended and the result is still 0.
CELLWORKS_API int copy_edges(const dense2D<unsigned>& connectM, element_type FE, dense2D<unsigned>& edges) noexcept;

/// \overload Blocks of connectivities [first, last), each of its own type: the
/// edges are unique over all blocks.
/// @param[in] first, last the blocks.
/// @param[in] types       one `element_type` value per block.
/// @return 0; -2 when last < first; -3 when types has not one entry per block;
///   -4 when a non-empty edges has another row count than 2; -1 when a block
///   fails `check_IDs` with its type (or has not the node count of rows of a
///   fixed type); `ERR_ALLOC` as above. A scratch failure at a block keeps the
///   edges of the blocks before it, and the result is 0.
CELLWORKS_API int copy_edges(const dense2D<unsigned>* first, const dense2D<unsigned>* last, const dense1D<int>& types,
                             dense2D<unsigned>& edges) noexcept;

}  // namespace cellworks
}  // namespace tq5

/// @file
/// A connectivity turned inside out: the last element of each node, the
/// elements of each node, the nodes next to each node.
///
/// The two graphs come in compressed form: `indices` has one entry more than
/// there are nodes, `indices[0]` is 0, and the values of node i lie from
/// `indices[i]` up to, not including, `indices[i + 1]`. An empty graph has
/// `indices` (0) and no value. Nodes run from 0 to the greatest node used;
/// nodes that no element holds have an empty range. `NO_INDEX` entries of a
/// connectivity are neither counted nor listed.
/// @note Reentrant: the graphs are built in scratch of each call and nothing is
///   kept. The outputs are the caller's; their storage is replaced or resized
///   in place as each function says, so other views of them may see the change.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// For each node, the highest element that holds it.
///
/// @param[in]     connect   connectivity, `#local nodes x #elements`, any number
///                          of rows, `NO_INDEX` entries skipped.
/// @param[in,out] ancestors one entry per node. If empty, it is first resized (in
///                          place) to the greatest node + 1, all `NO_INDEX`.
///                          Otherwise it keeps its size: the entries of nodes
///                          not met stay, and nodes at or beyond its size are skipped.
/// @return 0 (also for an empty `connect`, `ancestors` then unchanged);
///   `ERR_ALLOC` when the sizing failed (`ancestors` then untouched).
///
/// \code
///   tq5::dense1D<unsigned> idx, elems, ring;
///   int rc = tq5::cellworks::get_connected_elements(tets, idx, elems);
///   // elements of node 7: elems[idx[7]] up to, not including, elems[idx[8]]
///   if (rc == 0) rc = tq5::cellworks::get_node_graph(tets, idx, ring);
///   // nodes next to node 7: ring[idx[7]] up to, not including, ring[idx[8]]
/// \endcode
CELLWORKS_API int get_ancestors(const dense2D<unsigned>& connect, dense1D<unsigned>& ancestors) noexcept;

/// The elements of each node, in increasing order; an element with a repeated
/// node is listed once per occurrence. Two linear passes (a counting sort) and
/// exact-size outputs; a connectivity whose ld equals its rows is read without
/// a copy.
///
/// @param[in]  connect  connectivity, `#local nodes x #elements`.
/// @param[out] indices  `#nodes + 1` starts; emptied first, written in place.
/// @param[out] elements the elements, `indices[#nodes]` of them; emptied first.
/// @return 0 (an empty `connect` gives `indices` (0)); `ERR_ALLOC` when storage
///   could not be obtained or the entries exceed 32-bit counts, both outputs
///   then empty.
CELLWORKS_API int get_connected_elements(const dense2D<unsigned>& connect, dense1D<unsigned>& indices,
                                         dense1D<unsigned>& elements) noexcept;

/// The nodes that share an element with each node (never the node itself), in
/// order of first encounter: by element in increasing order, then by position
/// in the column. Built from the elements of each node in two linear passes
/// with exact-size outputs and one marker entry per node.
///
/// @param[in]  connect connectivity, `#local nodes x #elements`.
/// @param[out] indices `#nodes + 1` starts; emptied first, written in place.
/// @param[out] nodes   the neighbouring nodes; emptied first.
/// @return 0 (an empty `connect` gives `indices` (0)); `ERR_ALLOC` when storage
///   could not be obtained, both outputs then empty.
CELLWORKS_API int get_node_graph(const dense2D<unsigned>& connect, dense1D<unsigned>& indices,
                                 dense1D<unsigned>& nodes) noexcept;

}  // namespace cellworks
}  // namespace tq5

/// @file
/// `node_detector`: which node lies closest to a point, and which nodes lie in
/// an axis-aligned box, over the columns of a 2D or 3D coordinate matrix.
///
/// Behind it stands a k-d tree that holds one node id per tree node, with no
/// buckets and no balancing step: the ids go in in a pseudo-random but fully
/// reproducible order (an MT19937 seeded with 1, made anew for each call), so
/// the same input always gives the same tree and the same answers, also among
/// equally close nodes.
///
/// \code
///   tq5::cellworks::node_detector nd;
///   if (nd.reinit(pos) != 0) return;            // pos: 2 or 3 rows
///   unsigned near = nd.find_closest(tq5::vector_fixed<double, 3>{{0.5, 0.5, 0.0}});
///   unsigned twin = nd.find_closest(7u);        // closest node to node 7, not 7 itself
///   tq5::dense1D<unsigned> found;
///   nd.find_in_box(tq5::vector_fixed<double, 3>{{0, 0, 0}}, tq5::vector_fixed<double, 3>{{1, 1, 1}}, found);
/// \endcode
/// @note Lifetime: the detector owns its tree and keeps a view of the
///   coordinate matrix it was given (it shares that matrix's storage); for
///   its searches the tree also holds a copy of its nodes' coordinates. The
///   coordinates must stay unchanged while the detector is used; after moving
///   nodes, call `reinit`.
/// @note Memory: about 52 bytes per tree node in 3D (44 in 2D), and while a
///   tree is built in one go, 32 (24) bytes more per node for a moment. A tree
///   of 16,384 nodes or more that has answered as many searches as a 32nd of
///   its nodes adds a bucket grid for the next ones: about 34 (26) bytes more
///   per node, built once, after which most searches take a few bucket reads
///   instead of a walk down the tree. The answers stay those of the tree, ties
///   and the order of box results included; `insert` drops the grid.
/// @note Threads: the searches are const and may run side by side on one
///   detector, each with its own `out`; the one build of the grid is locked
///   (the other searches go on through the tree meanwhile). `reinit`,
///   `insert`, `clear` and assignment need exclusive access.
#pragma once

#include <memory>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

template <unsigned DIM> class node_tree;

/// Closest-node and box searches over the nodes of a mesh; see the file
/// comment. An empty detector (default, cleared, or after a rejected
/// `reinit(pos)`) holds no tree: its searches find nothing and its size is 0.
class CELLWORKS_API node_detector {
public:
    /// An empty detector.
    node_detector() noexcept;
    /// A copy of `other`'s tree, over the same coordinates; empty on exhaustion.
    node_detector(const node_detector& other) noexcept;
    /// `reinit(pos)`; the code is not kept, so a rejected argument leaves an
    /// empty detector.
    explicit node_detector(const dense2D<double>& pos) noexcept;
    /// `reinit(pos, ids)`, the code not kept.
    node_detector(const dense2D<double>& pos, const dense1D<unsigned>& ids) noexcept;
    /// `reinit(pos, connectivity)`, the code not kept.
    node_detector(const dense2D<double>& pos, const dense2D<unsigned>& connectivity) noexcept;
    /// `reinit(pos, first, last)`, the code not kept.
    node_detector(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept;
    /// As `clear`.
    ~node_detector();

    /// Makes this detector a copy of `other`: a new tree of the same dimension
    /// over the same coordinates, its slots copied. Assigning a detector to
    /// itself does nothing.
    /// @return `*this`; empty when the copy could not be stored.
    node_detector& operator=(const node_detector& other) noexcept;

    /// Destroys the tree: the detector becomes empty.
    void clear() noexcept;

    /// A new tree over all columns of `pos`.
    /// @param[in] pos coordinates, `2 x #nodes` or `3 x #nodes`; the detector
    ///                keeps a view of it (see the lifetime note).
    /// @return 0 (also for no column); -1 when `pos` has neither 2 nor 3 rows;
    ///   `ERR_ALLOC` when storage could not be obtained. The old tree is
    ///   destroyed first in every case, so on failure the detector is empty.
    int reinit(const dense2D<double>& pos) noexcept;

    /// \overload A new tree over the listed nodes, in the order given (a
    /// repeated id gives a tree node each time; `NO_INDEX` entries are skipped).
    /// @param[in] ids 0-based columns of `pos`.
    /// @return 0; -1 when `pos` has neither 2 nor 3 rows; -2 when an id other
    ///   than `NO_INDEX` is not a column of `pos`; with -1 and -2 the old tree
    ///   stays in place. `ERR_ALLOC` when storage could not be obtained, the
    ///   detector then empty.
    int reinit(const dense2D<double>& pos, const dense1D<unsigned>& ids) noexcept;

    /// \overload A new tree over the distinct nodes of a connectivity
    /// (`NO_INDEX` padding is left out).
    /// @param[in] connectivity `#local nodes x #elements`.
    /// @return as above; `ERR_ALLOC` also when the list of nodes could not be
    ///   made, the old tree then kept.
    int reinit(const dense2D<double>& pos, const dense2D<unsigned>& connectivity) noexcept;

    /// \overload A new tree over the distinct nodes of the connectivities
    /// `*first` to `last[-1]`.
    /// @return as above; -3 when `first` is above `last` (the old tree kept).
    int reinit(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept;

    /// Adds nodes to the tree, in a reproducible shuffled order; the list
    /// itself is not changed. Nothing checks for nodes already in the tree.
    /// @param[in] ids 0-based columns of the detector's coordinates; others
    ///                (`NO_INDEX` among them) are skipped.
    /// @return the number of ids taken: those that are columns of the
    ///   coordinates; 0 for an empty detector. When storage for the new tree
    ///   nodes cannot be obtained they are dropped, the tree stays as it was,
    ///   and the ids are counted all the same.
    unsigned insert(const dense1D<unsigned>& ids) noexcept;

    /// \overload The distinct nodes of a connectivity; 0 as well when their
    /// list could not be made.
    unsigned insert(const dense2D<unsigned>& connectivity) noexcept;

    /// The node closest to `p` (Euclidean distance). Of equally close nodes the
    /// one met first in the tree is returned, always the same for one input.
    /// @param[in] p the point; a 2D detector drops a third coordinate, a 3D
    ///              detector takes a missing one as 0 (and so measures from
    ///              the plane z = 0).
    /// @return the node's column in the coordinates; `NO_INDEX` for an empty
    ///   detector or tree.
    unsigned find_closest(const vector_fixed<double, 2>& p) const noexcept;
    /// \overload
    unsigned find_closest(const vector_fixed<double, 3>& p) const noexcept;
    /// \overload The node closest to node `id`, other than `id` itself: a
    /// different node at the same place is an answer at distance 0.
    /// @param[in] id a column of the coordinates; it need not be in the tree.
    /// @return `NO_INDEX` also when `id` is not a column of the coordinates, or
    ///   when the first descent from `id` meets no node but `id` itself: the
    ///   search then ends there, even if other nodes stand elsewhere in the tree.
    unsigned find_closest(unsigned id) const noexcept;

    /// Appends to `out` the nodes in the closed box [`p_min`, `p_max`]: nodes on
    /// a face or a corner are found. The box is not normalised: `p_min` above
    /// `p_max` on an axis finds nothing.
    /// @param[in]     p_min,p_max corners; a 2D detector drops a third
    ///                coordinate, a 3D one takes a missing z as 0, and so
    ///                finds only nodes with z exactly 0.
    /// @param[in,out] out appended to, never cleared: one entry per tree node,
    ///                so a node inserted twice is listed twice, in tree order.
    ///                Left alone by an empty detector, and left at its old size
    ///                when storage runs out.
    void find_in_box(const vector_fixed<double, 2>& p_min, const vector_fixed<double, 2>& p_max,
                     dense1D<unsigned>& out) const noexcept;
    /// \overload
    void find_in_box(const vector_fixed<double, 3>& p_min, const vector_fixed<double, 3>& p_max,
                     dense1D<unsigned>& out) const noexcept;

    /// The number of tree nodes (ids inserted and stored); 0 when empty.
    unsigned size() const noexcept;

private:
    std::unique_ptr<node_tree<2>> tree2;
    std::unique_ptr<node_tree<3>> tree3;
};

}  // namespace cellworks
}  // namespace tq5

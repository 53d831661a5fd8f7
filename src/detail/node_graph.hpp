// Builders of the compressed node graphs, on a flat form of a connectivity: the
// one place where the node-graph tools and every other area that needs a node
// graph (the gradation control of metric fields among them) build it.
//
// Flat form: `offsets` holds one entry more than there are elements; element e
// owns the entries `flat[offsets[e]]` up to, not including, `flat[offsets[e + 1]]`,
// so elements may differ in size. `NO_INDEX` entries are skipped everywhere.
//
// Compressed graph: `indices` holds one entry more than there are items, with
// `indices[0]` = 0; the values of item i are `values[indices[i]]` up to, not
// including, `values[indices[i + 1]]`.
//
// The builders return 0 or ERR_ALLOC and never leave a half-built output: on
// failure their outputs have size 0. They may throw std::bad_alloc when the
// small block object of a scratch vector cannot be made; exported callers catch it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

// Greatest entry of a run that is not NO_INDEX, or `m` if that is greater.
// Adding 1 wraps NO_INDEX to 0, so that a plain maximum skips it; eight
// independent maxima let the compiler use vector lanes.
inline unsigned max_node(const unsigned* p, std::size_t n, unsigned m = 0) noexcept {
    unsigned lane[8] = {m + 1, 0, 0, 0, 0, 0, 0, 0};
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8)
        for (std::size_t k = 0; k < 8; ++k) lane[k] = std::max(lane[k], p[i + k] + 1u);
    for (; i < n; ++i) lane[0] = std::max(lane[0], p[i] + 1u);
    return *std::max_element(lane, lane + 8) - 1;
}

// Flat form of a connectivity: `offsets[e]` = e * rows for e up to #elements,
// `flat` the entries column by column: a view of the matrix's own block when ld
// equals rows, a copy otherwise. An empty matrix gives both empty. ERR_ALLOC
// when storage fails or the entries would not fit 32-bit offsets.
inline int flatten(const dense2D<unsigned>& connect, dense1D<unsigned>& offsets, dense1D<unsigned>& flat) {
    offsets.clear();
    flat.clear();
    if (connect.empty()) return 0;
    const std::size_t rows = connect.rows(), cols = connect.cols();
    if (rows * cols > NO_INDEX || !offsets.resize(cols + 1)) return ERR_ALLOC;
    unsigned* o = offsets.data();
    for (std::size_t e = 0; e <= cols; ++e) o[e] = unsigned(e * rows);
    if (connect.ld() == rows) {
        flat.shallow_copy(connect.as_vector());
        return 0;
    }
    if (!flat.resize(rows * cols)) {
        offsets.clear();
        return ERR_ALLOC;
    }
    const unsigned* src = connect.data();
    unsigned* dst = flat.data();
    for (std::size_t e = 0; e < cols; ++e)
        std::copy(src + e * connect.ld(), src + e * connect.ld() + rows, dst + e * rows);
    return 0;
}

// Elements of each node, by a two-pass counting sort: node x gets the elements
// that hold it, in increasing order, an element once per occurrence. The graph
// runs from node 0 to the greatest node used (0 when none is), unused nodes with
// an empty range. Fewer than 2 offsets give `indices` (0).
inline int elements_of_nodes(const dense1D<unsigned>& offsets, const dense1D<unsigned>& flat,
                             dense1D<unsigned>& indices, dense1D<unsigned>& elements) {
    indices.clear();
    elements.clear();
    if (offsets.size() < 2) return indices.resize(1, 0u) ? 0 : ERR_ALLOC;
    const std::size_t ne = offsets.size() - 1;
    const unsigned* off = offsets.data();
    const unsigned* x = flat.data();
    const std::size_t first = off[0], last = off[ne];
    if (last - first > NO_INDEX) return ERR_ALLOC;  // counts would not fit 32 bits
    const std::size_t nn = std::size_t(max_node(x + first, last - first)) + 1;

    // Counts land two places up and are summed in place, so that indices[x + 1]
    // is the start of node x; the fill then moves it to the start of node x + 1.
    if (!indices.resize(nn + 3, 0u)) return ERR_ALLOC;
    unsigned* count = indices.data() + 2;
    for (std::size_t p = first; p < last; ++p)
        if (x[p] != NO_INDEX) ++count[x[p]];
    unsigned total = 0;
    for (std::size_t i = 0; i <= nn; ++i) count[i] = total += count[i];

    if (!elements.resize(total)) {
        indices.clear_hard();
        return ERR_ALLOC;
    }
    unsigned* start = indices.data() + 1;
    unsigned* el = elements.data();
    for (std::size_t e = 0; e < ne; ++e)
        for (std::size_t p = off[e], end = off[e + 1]; p < end; ++p)
            if (x[p] != NO_INDEX) el[start[x[p]]++] = unsigned(e);
    indices.resize(nn + 1);  // shrinks: no storage needed
    return 0;
}

// Nodes that share an element with each node, never the node itself, in order
// of first encounter (by element, then by position in it). Two passes over the
// graph of `elements_of_nodes` (`node_indices`, `node_elements`) of the same
// flat form, counting and then storing; a marker holding the current node's
// number stands in for a set. An empty `flat` gives `indices` (0).
inline int nodes_of_nodes(const dense1D<unsigned>& offsets, const dense1D<unsigned>& flat,
                          const dense1D<unsigned>& node_indices, const dense1D<unsigned>& node_elements,
                          dense1D<unsigned>& indices, dense1D<unsigned>& nodes) {
    indices.clear();
    nodes.clear();
    if (flat.empty()) return indices.resize(1, 0u) ? 0 : ERR_ALLOC;
    const std::size_t nn = node_indices.empty() ? 0 : node_indices.size() - 1;
    if (!indices.resize(nn + 1)) return ERR_ALLOC;
    dense1D<unsigned> marker;
    if (!marker.resize(nn)) {
        indices.shallow_copy(dense1D<unsigned>());
        return ERR_ALLOC;
    }
    const unsigned* off = offsets.data();
    const unsigned* fx = flat.data();
    const unsigned* ni = node_indices.data();
    const unsigned* ne = node_elements.data();
    unsigned* mk = marker.data();
    unsigned* ix = indices.data();
    ix[0] = 0;

    // One walk for both passes: the first counts into `indices`, the second
    // stores. The marker of a node holds the number of the last node that met it.
    auto walk = [&](auto store, unsigned* out) -> std::size_t {
        std::fill(mk, mk + nn, NO_INDEX);
        std::size_t count = 0;
        for (std::size_t i = 0; i < nn; ++i) {
            const unsigned self = unsigned(i);
            mk[i] = self;
            for (std::size_t q = ni[i], qend = ni[i + 1]; q < qend; ++q) {
                const unsigned e = ne[q];
                for (std::size_t p = off[e], pend = off[e + 1]; p < pend; ++p) {
                    const unsigned n = fx[p];
                    if (n == NO_INDEX || mk[n] == self) continue;
                    mk[n] = self;
                    if (decltype(store)::value) out[count] = n;
                    ++count;
                }
            }
            if (!decltype(store)::value) {
                if (count > NO_INDEX) return std::size_t(-1);
                ix[i + 1] = unsigned(count);
            }
        }
        return count;
    };
    const std::size_t total = walk(std::false_type{}, nullptr);
    if (total == std::size_t(-1) || !nodes.resize(total)) {
        indices.clear_hard();
        return ERR_ALLOC;
    }
    walk(std::true_type{}, nodes.data());
    return 0;
}

// The graph of nodes next to each node of a connectivity, by the three steps
// above: flat form, elements of each node, nodes of each node. Scratch lives
// only for the call. On failure `indices` and `nodes` are empty.
inline int build_node_graph(const dense2D<unsigned>& connect, dense1D<unsigned>& indices, dense1D<unsigned>& nodes) {
    dense1D<unsigned> offsets, flat, node_indices, node_elements;
    int rc = flatten(connect, offsets, flat);
    if (rc == 0) rc = elements_of_nodes(offsets, flat, node_indices, node_elements);
    return rc != 0 ? rc : nodes_of_nodes(offsets, flat, node_indices, node_elements, indices, nodes);
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

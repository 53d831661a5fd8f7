#include <tq5/cellworks/metrics/edges.hpp>

#include <limits>
#include <new>

#include "detail/edge_list.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// Extracts the edges of the blocks and appends them to `edges`. A failure of
// the extraction is not reported: what was found is appended.
int append_edges(const dense2D<unsigned>* first, const int* types, std::size_t n, dense2D<unsigned>& edges) {
    dense1D<detail::edge_key> list;
    detail::sorted_unique_edges(first, types, n, list);
    const std::size_t found = list.size();
    if (found == 0) return 0;
    if (edges.empty()) edges.clear();
    const std::size_t old = edges.cols();
    if (found > std::numeric_limits<std::size_t>::max() - old) return ERR_ALLOC;
    if (!edges.reserve(2, old + found) || !edges.resize(2, old + found)) return ERR_ALLOC;
    unsigned* d = edges.data() + old * edges.ld();
    const std::size_t ld = edges.ld();
    const detail::edge_key* k = list.data();
    for (std::size_t e = 0; e < found; ++e, d += ld) {
        d[0] = detail::edge_low(k[e]);
        d[1] = detail::edge_high(k[e]);
    }
    return 0;
}

}  // namespace

int copy_edges(const dense2D<unsigned>& connectM, element_type FE, dense2D<unsigned>& edges) noexcept {
    try {
        if (connectM.empty()) return 0;
        if (!detail::edge_block_ok(connectM, FE, NO_INDEX)) return -1;
        if (!edges.empty() && edges.rows() != 2) return -3;
        const int type = FE;
        return append_edges(&connectM, &type, 1, edges);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int copy_edges(const dense2D<unsigned>* first, const dense2D<unsigned>* last, const dense1D<int>& types,
               dense2D<unsigned>& edges) noexcept {
    try {
        if (last < first) return -2;
        const std::size_t n = static_cast<std::size_t>(last - first);
        if (n != types.size()) return -3;
        if (!edges.empty() && edges.rows() != 2) return -4;
        const int* t = types.data();
        for (std::size_t b = 0; b < n; ++b)
            if (!detail::edge_block_ok(first[b], static_cast<element_type>(t[b]), NO_INDEX)) return -1;
        return append_edges(first, t, n, edges);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace cellworks
}  // namespace tq5

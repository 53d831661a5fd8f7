#include <tq5/cellworks/connectivity/node_graph.hpp>

#include <cstddef>
#include <new>

#include "../detail/node_graph.hpp"

namespace tq5 {
namespace cellworks {

int get_ancestors(const dense2D<unsigned>& connect, dense1D<unsigned>& ancestors) noexcept {
    if (connect.empty()) return 0;
    const unsigned* cd = connect.data();
    const std::size_t rows = connect.rows(), cols = connect.cols(), ld = connect.ld();
    if (ancestors.empty()) {
        unsigned m = 0;
        for (std::size_t e = 0; e < cols; ++e) m = detail::max_node(cd + e * ld, rows, m);
        if (!ancestors.resize(std::size_t(m) + 1, NO_INDEX)) return ERR_ALLOC;
    }
    unsigned* a = ancestors.data();
    const std::size_t n = ancestors.size();
    for (std::size_t e = 0; e < cols; ++e)
        for (const unsigned *x = cd + e * ld, *end = x + rows; x != end; ++x)
            if (*x != NO_INDEX && *x < n) a[*x] = unsigned(e);
    return 0;
}

int get_connected_elements(const dense2D<unsigned>& connect, dense1D<unsigned>& indices,
                           dense1D<unsigned>& elements) noexcept {
    indices.clear();
    elements.clear();
    try {
        dense1D<unsigned> offsets, flat;
        const int rc = detail::flatten(connect, offsets, flat);
        return rc != 0 ? rc : detail::elements_of_nodes(offsets, flat, indices, elements);
    } catch (const std::bad_alloc&) {
        indices.clear();
        return ERR_ALLOC;
    }
}

int get_node_graph(const dense2D<unsigned>& connect, dense1D<unsigned>& indices, dense1D<unsigned>& nodes) noexcept {
    indices.clear();
    nodes.clear();
    try {
        return detail::build_node_graph(connect, indices, nodes);
    } catch (const std::bad_alloc&) {
        indices.clear();
        nodes.clear();
        return ERR_ALLOC;
    }
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/connectivity/subdomains.hpp>

#include <cstddef>
#include <new>

#include <tq5/cellworks/core/element_type.hpp>

namespace tq5 {
namespace cellworks {

namespace {

// Breadth-first walk over all elements, seeding each part with the lowest
// element not yet visited. `elements`, reserved for all of them, is its own
// queue: an element is appended when first met and its neighbours are read when
// the walk reaches it. That is the order of a queue that takes every unvisited
// neighbour and skips an element removed a second time, without the duplicates.
int visit(const dense2D<unsigned>& neighbors, dense1D<unsigned>& elements, dense1D<unsigned>& indices) {
    elements.clear();
    indices.clear();
    const std::size_t n = neighbors.empty() ? 0 : neighbors.cols();
    if (n > NO_INDEX || !elements.reserve(n, 1)) return ERR_ALLOC;
    dense1D<unsigned> visited;
    if (!visited.resize((n + 31) / 32, 0u)) return ERR_ALLOC;
    indices.push_back(0);

    unsigned* bits = visited.data();
    unsigned* queue = elements.data();
    const unsigned* nd = neighbors.data();
    const std::size_t rows = neighbors.rows(), ld = neighbors.ld();
    auto seen = [bits](std::size_t e) { return (bits[e >> 5] >> (e & 31)) & 1u; };
    auto take = [&](std::size_t e, std::size_t& size) {
        bits[e >> 5] |= 1u << (e & 31);
        queue[size++] = unsigned(e);
    };
    std::size_t size = 0;
    for (std::size_t seed = 0; size < n; ++seed) {
        if (seen(seed)) continue;
        take(seed, size);
        for (std::size_t head = size - 1; head < size; ++head) {
            const unsigned* across = nd + queue[head] * ld;
            for (std::size_t r = 0; r < rows; ++r)
                if (across[r] < n && !seen(across[r])) take(across[r], size);
        }
        indices.push_back(unsigned(size));
    }
    elements.resize(n);  // reserved above: no storage needed
    return 0;
}

// The columns of `src` in the order of `order`, into `dst` (ld = rows); entries
// below the size of `map` go through it. A column beyond `src` comes out NO_INDEX.
bool gather(const dense2D<unsigned>& src, const dense1D<unsigned>& order, const dense1D<unsigned>* map,
            dense2D<unsigned>& dst) {
    const std::size_t rows = src.rows(), ld = src.ld(), n = order.size(), cols = src.cols();
    if (!dst.resize(rows, n)) return false;
    const unsigned* s = src.data();
    const unsigned* o = order.data();
    const unsigned* m = map ? map->data() : nullptr;
    const std::size_t msize = map ? map->size() : 0;
    unsigned* d = dst.data();
    for (std::size_t k = 0; k < n; ++k, d += rows) {
        if (o[k] >= cols) {
            std::fill(d, d + rows, NO_INDEX);
            continue;
        }
        const unsigned* col = s + o[k] * ld;
        for (std::size_t r = 0; r < rows; ++r) d[r] = col[r] < msize ? m[col[r]] : col[r];
    }
    return true;
}

}  // namespace

int get_subdomains(const dense2D<unsigned>& neighbors, dense1D<unsigned>& elements,
                   dense1D<unsigned>& indices) noexcept {
    try {
        return visit(neighbors, elements, indices);
    } catch (const std::bad_alloc&) {
        elements.clear();
        indices.clear();
        return ERR_ALLOC;
    }
}

int get_subdomains(dense2D<unsigned>& connect, dense2D<unsigned>& neighbors, dense1D<unsigned>& indices) noexcept {
    bool reordering = false;
    try {
        dense1D<unsigned> order;
        const int rc = visit(neighbors, order, indices);
        if (rc != 0 || order.empty()) return rc;
        reordering = true;
        // inverse[old column] = new column; it renumbers the links while they are gathered.
        dense1D<unsigned> inverse;
        dense2D<unsigned> new_connect, new_neighbors;
        if (inverse.resize(connect.cols(), NO_INDEX) && gather(connect, order, nullptr, new_connect)) {
            unsigned* inv = inverse.data();
            for (std::size_t k = 0; k < order.size(); ++k)
                if (order[k] < inverse.size()) inv[order[k]] = unsigned(k);
            if (gather(neighbors, order, &inverse, new_neighbors)) {
                connect.shallow_copy(new_connect);
                neighbors.shallow_copy(new_neighbors);
                return 0;
            }
        }
    } catch (const std::bad_alloc&) {
        if (!reordering) {
            indices.clear();
            return ERR_ALLOC;
        }
    }
    connect.clear();
    neighbors.clear();
    indices.clear();
    return ERR_ALLOC;
}

}  // namespace cellworks
}  // namespace tq5

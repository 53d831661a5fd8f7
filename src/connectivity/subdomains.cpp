#include <tq5/cellworks/connectivity/subdomains.hpp>

#include <cstddef>
#include <new>

#include <tq5/cellworks/core/element_type.hpp>

#include "../detail/prefetch.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::prefetch;

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
    std::size_t size = 0;
    for (std::size_t seed = 0; size < n; ++seed) {
        if (seen(seed)) continue;
        bits[seed >> 5] |= 1u << (seed & 31);
        queue[size++] = unsigned(seed);
        for (std::size_t head = size - 1; head < size; ++head) {
            // The column a few places ahead is fetched while this one is read.
            if (head + 16 < size) prefetch(nd + queue[head + 16] * ld);
            const unsigned* across = nd + queue[head] * ld;
            for (std::size_t r = 0; r < rows; ++r) {
                const unsigned x = across[r];
                if (x < n && !seen(x)) {
                    bits[x >> 5] |= 1u << (x & 31);
                    queue[size++] = x;
                }
            }
        }
        indices.push_back(unsigned(size));
    }
    elements.resize(n);  // reserved above: no storage needed
    return 0;
}

// The columns of `src` in the order of `order`, into `dst` (ld = rows); with a
// map, entries below its size go through it. A column beyond `src` comes out
// NO_INDEX. Columns are fetched a few places ahead.
template <bool Mapped>
bool gather(const dense2D<unsigned>& src, const dense1D<unsigned>& order, const dense1D<unsigned>& map,
            dense2D<unsigned>& dst) {
    const std::size_t rows = src.rows(), ld = src.ld(), n = order.size(), cols = src.cols();
    if (!dst.resize(rows, n)) return false;
    const unsigned* s = src.data();
    const unsigned* o = order.data();
    const unsigned* m = map.data();
    const std::size_t msize = map.size();
    const bool mapped = Mapped && msize > 0;
    unsigned* d = dst.data();
    for (std::size_t k = 0; k < n; ++k, d += rows) {
        if (k + 16 < n && o[k + 16] < cols) prefetch(s + o[k + 16] * ld);
        if (o[k] >= cols) {
            std::fill(d, d + rows, NO_INDEX);
            continue;
        }
        const unsigned* col = s + o[k] * ld;
        for (std::size_t r = 0; r < rows; ++r) {
            const unsigned v = col[r];
            if (!mapped) {
                d[r] = v;
                continue;
            }
            // Masks and not a branch: the gaps of a neighbour matrix fall anywhere.
            const unsigned keep = 0u - unsigned(v >= msize);
            d[r] = (m[v & ~keep] & ~keep) | (v & keep);
        }
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
        if (inverse.resize(connect.cols(), NO_INDEX) && gather<false>(connect, order, inverse, new_connect)) {
            unsigned* inv = inverse.data();
            for (std::size_t k = 0; k < order.size(); ++k)
                if (order[k] < inverse.size()) inv[order[k]] = unsigned(k);
            if (gather<true>(neighbors, order, inverse, new_neighbors)) {
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

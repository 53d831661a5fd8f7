#include <tq5/cellworks/connectivity/element_ordering.hpp>

#include <algorithm>
#include <cstddef>
#include <new>

#include <tq5/cellworks/core/element_type.hpp>

namespace tq5 {
namespace cellworks {

namespace {

// Entries before the first NO_INDEX of a column of h rows.
inline unsigned valid_nodes(const unsigned* col, std::size_t h) noexcept {
    std::size_t v = 0;
    while (v < h && col[v] != NO_INDEX) ++v;
    return unsigned(v);
}

inline void swap_columns(dense2D<unsigned>& m, std::size_t a, std::size_t b) noexcept {
    unsigned* d = m.data();
    const std::size_t ld = m.ld();
    std::swap_ranges(d + a * ld, d + a * ld + m.rows(), d + b * ld);
}

int sort_columns(dense2D<unsigned>& connect, dense2D<unsigned>* neighbors, dense1D<unsigned>& group_sizes,
                 dense1D<unsigned>& group_ends, dense1D<unsigned>& old_to_new) {
    if (neighbors && neighbors->empty()) neighbors = nullptr;
    if (neighbors && neighbors->cols() != connect.cols()) return -1;
    group_sizes.clear();
    group_ends.clear();
    old_to_new.clear();
    const std::size_t n = connect.cols(), h = connect.rows();

    // All scratch comes first: if it fails, nothing has changed (and the result is still 0).
    dense1D<unsigned> new_to_old, order, bucket_end;
    if (n > NO_INDEX || !old_to_new.resize(n) || !new_to_old.resize(n) || !order.resize(n) ||
        !bucket_end.resize(h, 0u)) {
        old_to_new.clear();
        return 0;
    }
    unsigned* o2n = old_to_new.data();
    unsigned* n2o = new_to_old.data();
    unsigned* sorted = order.data();
    unsigned* end = bucket_end.data();

    // Counting sort of the pairs (gap, column) with gap = h - valid nodes: the
    // columns are scanned in increasing order, so each gap keeps them so. The
    // valid counts wait in old_to_new until it becomes the identity.
    const unsigned* cd = connect.data();
    const std::size_t cld = connect.ld();
    for (std::size_t j = 0; j < n; ++j) {
        o2n[j] = valid_nodes(cd + j * cld, h);
        if (o2n[j] > 0) ++end[h - o2n[j]];
    }
    std::size_t m = 0;
    for (std::size_t d = 0; d < h; ++d) {
        const std::size_t count = end[d];
        end[d] = unsigned(m);
        m += count;
    }
    for (std::size_t j = 0; j < n; ++j) {
        if (o2n[j] > 0) sorted[end[h - o2n[j]]++] = unsigned(j);
        o2n[j] = n2o[j] = unsigned(j);
    }

    // One run per non-empty gap, most nodes first.
    for (std::size_t d = 0; d < h; ++d)
        if (end[d] > (d ? end[d - 1] : 0u)) {
            group_sizes.push_back(unsigned(h - d));
            group_ends.push_back(end[d]);
        }
    if (m == 0) {
        group_sizes.push_back(NO_INDEX);
        group_ends.push_back(0);
    }

    // Column k takes the element it should hold from wherever it now stands;
    // each column moves at most once more.
    for (std::size_t k = 0; k < m; ++k) {
        const unsigned c = o2n[sorted[k]];
        if (c == k) continue;
        swap_columns(connect, c, k);
        if (neighbors) swap_columns(*neighbors, c, k);
        const unsigned a = n2o[k], b = n2o[c];
        o2n[a] = c;
        o2n[b] = unsigned(k);
        n2o[k] = b;
        n2o[c] = a;
    }

    // Same rows: cutting columns needs no storage.
    connect.resize(h, m);
    for (std::size_t j = 0; j < n; ++j)
        if (o2n[j] >= m) o2n[j] = NO_INDEX;
    if (neighbors) {
        neighbors->resize(neighbors->rows(), m);
        unsigned* nd = neighbors->data();
        const std::size_t rows = neighbors->rows(), ld = neighbors->ld();
        for (std::size_t e = 0; e < m; ++e)
            for (unsigned *x = nd + e * ld, *xend = x + rows; x != xend; ++x)
                if (*x < n) *x = o2n[*x];
    }
    return 0;
}

}  // namespace

int sort_elfes(dense2D<unsigned>& connect, dense2D<unsigned>& neighbors, dense1D<unsigned>& group_sizes,
               dense1D<unsigned>& group_ends, dense1D<unsigned>& old_to_new) noexcept {
    try {
        return sort_columns(connect, &neighbors, group_sizes, group_ends, old_to_new);
    } catch (const std::bad_alloc&) {
        old_to_new.clear();  // nothing moved: the scratch comes before any exchange
        return 0;
    }
}

int sort_elfes(dense2D<unsigned>& connect, dense1D<unsigned>& group_sizes, dense1D<unsigned>& group_ends,
               dense1D<unsigned>& old_to_new) noexcept {
    try {
        return sort_columns(connect, nullptr, group_sizes, group_ends, old_to_new);
    } catch (const std::bad_alloc&) {
        old_to_new.clear();
        return 0;
    }
}

}  // namespace cellworks
}  // namespace tq5

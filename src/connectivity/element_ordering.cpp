#include <tq5/cellworks/connectivity/element_ordering.hpp>

#include <algorithm>
#include <cstddef>
#include <new>

#include <tq5/cellworks/core/element_type.hpp>

#include "../detail/prefetch.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::prefetch;

// Entries before the first NO_INDEX of a column of h rows; without a branch on
// the entries, since the kinds of a mixed matrix follow no pattern.
inline unsigned valid_nodes(const unsigned* col, std::size_t h) noexcept {
    unsigned v = 0, run = 1;
    for (std::size_t r = 0; r < h; ++r) v += run &= col[r] != NO_INDEX;
    return v;
}

inline void swap_columns(dense2D<unsigned>& m, std::size_t a, std::size_t b) noexcept {
    unsigned* d = m.data();
    const std::size_t ld = m.ld();
    std::swap_ranges(d + a * ld, d + a * ld + m.rows(), d + b * ld);
}

// Counting sort of the columns by gap = h - valid nodes, most nodes first and
// columns of one gap in increasing order; columns without a valid node are left
// out. Writes the order into `sorted`, the end of each gap's run into `end` (h
// entries, zeroed), and returns how many columns were sorted. `valid` (n
// entries) is scratch.
std::size_t order_by_gap(const dense2D<unsigned>& connect, unsigned* valid, unsigned* sorted, unsigned* end) {
    const std::size_t n = connect.cols(), h = connect.rows(), ld = connect.ld();
    const unsigned* cd = connect.data();
    for (std::size_t j = 0; j < n; ++j) {
        valid[j] = valid_nodes(cd + j * ld, h);
        if (valid[j] > 0) ++end[h - valid[j]];
    }
    std::size_t m = 0;
    for (std::size_t d = 0; d < h; ++d) {
        const std::size_t count = end[d];
        end[d] = unsigned(m);
        m += count;
    }
    for (std::size_t j = 0; j < n; ++j)
        if (valid[j] > 0) sorted[end[h - valid[j]]++] = unsigned(j);
    return m;
}

// One group per non-empty gap run: its node count and the end of its run; a
// single (NO_INDEX, 0) group when no column has a valid node.
void record_groups(const unsigned* end, std::size_t h, std::size_t m, dense1D<unsigned>& group_sizes,
                   dense1D<unsigned>& group_ends) {
    for (std::size_t d = 0; d < h; ++d)
        if (end[d] > (d ? end[d - 1] : 0u)) {
            group_sizes.push_back(unsigned(h - d));
            group_ends.push_back(end[d]);
        }
    if (m == 0) {
        group_sizes.push_back(NO_INDEX);
        group_ends.push_back(0);
    }
}

// Puts the m columns of `sorted` in front, in that order, by exchanges in
// place: column k takes the element it should hold from wherever it now stands,
// so each column moves at most once more. `o2n` and `n2o` start as the identity
// and follow every exchange.
void move_columns(dense2D<unsigned>& connect, dense2D<unsigned>* neighbors, const unsigned* sorted, std::size_t m,
                  unsigned* o2n, unsigned* n2o) {
    const unsigned* cd = connect.data();
    const std::size_t cld = connect.ld();
    const unsigned* nd = neighbors ? neighbors->data() : nullptr;
    const std::size_t nld = neighbors ? neighbors->ld() : 0;
    for (std::size_t k = 0; k < m; ++k) {
        // Where the columns a few places ahead stand, and then those columns, are
        // fetched early; a later exchange may move one, which costs nothing.
        if (k + 32 < m) prefetch(o2n + sorted[k + 32]);
        if (k + 16 < m) {
            const std::size_t ahead = o2n[sorted[k + 16]];
            prefetch(cd + ahead * cld);
            if (nd) prefetch(nd + ahead * nld);
        }
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
}

// Rewrites the links of the first m columns of a neighbour matrix through
// old_to_new; gaps (entries >= n, NO_INDEX among them) stay as they are.
void renumber_links(dense2D<unsigned>& neighbors, std::size_t m, std::size_t n, const unsigned* o2n) {
    unsigned* links = neighbors.data();
    const std::size_t rows = neighbors.rows(), ld = neighbors.ld();
    for (std::size_t e = 0; e < m; ++e)
        for (unsigned *x = links + e * ld, *xend = x + rows; x != xend; ++x) {
            // Masks and not a branch: the gaps of a neighbour matrix fall anywhere.
            const unsigned v = *x, keep = 0u - unsigned(v >= n);
            *x = (o2n[v & ~keep] & ~keep) | (v & keep);
        }
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

    // The valid counts wait in old_to_new until it becomes the identity.
    const std::size_t m = order_by_gap(connect, o2n, order.data(), bucket_end.data());
    for (std::size_t j = 0; j < n; ++j) o2n[j] = n2o[j] = unsigned(j);
    record_groups(bucket_end.data(), h, m, group_sizes, group_ends);
    move_columns(connect, neighbors, order.data(), m, o2n, n2o);

    // Same rows: cutting columns needs no storage.
    connect.resize(h, m);
    for (std::size_t j = 0; j < n; ++j)
        if (o2n[j] >= m) o2n[j] = NO_INDEX;
    if (neighbors) {
        neighbors->resize(neighbors->rows(), m);
        renumber_links(*neighbors, m, n, o2n);
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

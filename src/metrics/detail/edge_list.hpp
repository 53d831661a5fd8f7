// Edges of elements and the sorted list of the unique edges of a mesh.
//
// The working list holds one 64-bit key per edge, (low << 32) | high, so that
// ascending keys are the edges in lexicographic order of (low, high).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

using edge_key = std::uint64_t;

inline edge_key make_edge_key(unsigned a, unsigned b) noexcept {
    return a < b ? (edge_key(a) << 32) | b : (edge_key(b) << 32) | a;
}
inline unsigned edge_low(edge_key k) noexcept { return static_cast<unsigned>(k >> 32); }
inline unsigned edge_high(edge_key k) noexcept { return static_cast<unsigned>(k); }

// Node pairs of the edges of one element kind, as positions in its column.
// Only corner nodes take part.
struct edge_table {
    unsigned char count;
    unsigned char pair[12][2];
};

constexpr edge_table bar_edges = {1, {{0, 1}}};
constexpr edge_table tria_edges = {3, {{0, 1}, {1, 2}, {2, 0}}};
constexpr edge_table quad_edges = {4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
constexpr edge_table tetra_edges = {6, {{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}}};
constexpr edge_table pyra_edges = {8, {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}};
constexpr edge_table penta_edges = {9, {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}};
constexpr edge_table hexa_edges = {
    12, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}};

// The edge table of a fixed element type; null for the mixed kinds and for the
// types that yield no edge. ET_HEXA20 yields none although ET_HEXA8 and
// ET_HEXA27 do: that gap is part of the behaviour and kept on purpose.
inline const edge_table* fixed_edge_table(element_type type) noexcept {
    switch (type) {
        case ET_BAR2:
        case ET_BAR3: return &bar_edges;
        case ET_TRIA3:
        case ET_TRIA6: return &tria_edges;
        case ET_QUAD4:
        case ET_QUAD8:
        case ET_QUAD9: return &quad_edges;
        case ET_TETRA4:
        case ET_TETRA10: return &tetra_edges;
        case ET_PYRA5:
        case ET_PYRA14: return &pyra_edges;
        case ET_PENTA6:
        case ET_PENTA18: return &penta_edges;
        case ET_HEXA8:
        case ET_HEXA27: return &hexa_edges;
        default: return nullptr;
    }
}

// Most edges one column of `type` can have; 0 when the type yields none.
inline unsigned max_edges_per_element(element_type type) noexcept {
    if (type == ET_FACE_MIX) return quad_edges.count;
    if (type == ET_SOLID_MIX) return hexa_edges.count;
    const edge_table* t = fixed_edge_table(type);
    return t ? t->count : 0;
}

// Whether the edge walk may read a block of `type`: a fixed type with edges
// needs its own node count of rows (a limit of NO_INDEX lets `check_IDs`
// pass any row count). The mixed kinds read only the rows they have.
inline bool edge_rows_fit(const dense2D<unsigned>& block, element_type type) noexcept {
    return block.empty() || !fixed_edge_table(type) || block.rows() == node_count(type);
}

// `check_IDs` of a block, plus the row count the edge walk needs.
inline bool edge_block_ok(const dense2D<unsigned>& block, element_type type, unsigned max_node) noexcept {
    return check_IDs(block, type, max_node) && edge_rows_fit(block, type);
}

// Appends the edge keys of every column of `block` to `out`, each column's
// table chosen by `table_of(column)`. Returns the end of what was written.
template <class TableOf>
inline edge_key* append_edge_keys(const dense2D<unsigned>& block, edge_key* out, TableOf table_of) noexcept {
    const unsigned* d = block.data();
    const std::size_t ld = block.ld();
    for (std::size_t e = 0, n = block.cols(); e < n; ++e) {
        const unsigned* col = d + e * ld;
        const edge_table& t = table_of(col);
        for (unsigned k = 0; k < t.count; ++k) *out++ = make_edge_key(col[t.pair[k][0]], col[t.pair[k][1]]);
    }
    return out;
}

constexpr unsigned RADIX_BITS = 12, RADIX_DIGITS = (64 + RADIX_BITS - 1) / RADIX_BITS;
constexpr std::size_t RADIX = std::size_t(1) << RADIX_BITS;

// Least-significant-digit radix sort of n keys through `scratch` (n keys) with
// `c` (RADIX_DIGITS * RADIX zeroed counters). The digits are taken from the
// key packed to its significant bits, (low << b) | high with b the width of
// the greatest high node, so that a mesh of N nodes needs about
// 2 log2(N) / 12 passes.
inline void radix_sort(edge_key* a, std::size_t n, edge_key* scratch, std::size_t* c) noexcept {
    constexpr unsigned BITS = RADIX_BITS;
    unsigned top_low = 0, top_high = 0;
    for (std::size_t i = 0; i < n; ++i) {
        top_low |= edge_low(a[i]);
        top_high |= edge_high(a[i]);
    }
    unsigned b = 0, width = 0;
    while (b < 32 && (top_high >> b) != 0) ++b;
    while (width < 32 && (top_low >> width) != 0) ++width;
    width += b;
    const unsigned digits = width == 0 ? 0 : (width + BITS - 1) / BITS;
    auto packed = [b](edge_key k) { return (k >> 32 << b) | (k & 0xFFFFFFFFu); };
    for (std::size_t i = 0; i < n; ++i) {
        const edge_key k = packed(a[i]);
        for (unsigned g = 0; g < digits; ++g) ++c[g * RADIX + ((k >> (g * BITS)) & (RADIX - 1))];
    }
    edge_key* src = a;
    edge_key* dst = scratch;
    for (unsigned g = 0; g < digits; ++g) {
        std::size_t* cg = c + g * RADIX;
        std::size_t sum = 0;
        for (std::size_t r = 0; r < RADIX; ++r) {
            const std::size_t k = cg[r];
            cg[r] = sum;
            sum += k;
        }
        for (std::size_t i = 0; i < n; ++i) dst[cg[(packed(src[i]) >> (g * BITS)) & (RADIX - 1)]++] = src[i];
        std::swap(src, dst);
    }
    if (src != a) std::copy(src, src + n, a);
}

// Sorts n keys ascending: by radix when the scratch can be obtained and the
// list is not small, by std::sort otherwise.
inline void sort_edge_keys(edge_key* a, std::size_t n) noexcept {
    if (n >= 256) {
        try {
            dense1D<edge_key> scratch;
            dense1D<std::size_t> counts;
            if (scratch.resize(n) && counts.resize(RADIX_DIGITS * RADIX, 0))
                return radix_sort(a, n, scratch.data(), counts.data());
        } catch (const std::bad_alloc&) {
        }
    }
    std::sort(a, a + n);
}

// Sorts a list of keys ascending and removes repeats, in place.
inline void sort_unique_edge_keys(dense1D<edge_key>& list) noexcept {
    edge_key* d = list.data();
    sort_edge_keys(d, list.size());
    list.resize(static_cast<std::size_t>(std::unique(d, d + list.size()) - d));
}

// Adds the edges of one block of `type` to the working list, which stays
// sorted and free of repeats. A column of ET_FACE_MIX with NO_INDEX in row 3
// is a triangle, any other a quadrangle; a column of ET_SOLID_MIX is a
// tetrahedron, pyramid or prism by NO_INDEX in row 4, 5 or 6, else a
// hexahedron. Rows beyond a mixed matrix count as NO_INDEX.
// Returns 0, or ERR_ALLOC when the list can't hold the new edges (the list is
// then as it was).
inline int sorted_unique_edges(const dense2D<unsigned>& block, element_type type, dense1D<edge_key>& list) noexcept {
    const unsigned per = max_edges_per_element(type);
    if (per == 0 || block.empty()) return 0;
    const std::size_t cols = block.cols(), old = list.size();
    if (cols > (std::numeric_limits<std::size_t>::max() - old) / per) return ERR_ALLOC;
    if (!list.reserve(old + cols * per, 2)) return ERR_ALLOC;
    edge_key* begin = list.data() + old;
    edge_key* end = begin;
    const std::size_t rows = block.rows();
    auto absent = [rows](const unsigned* col, std::size_t r) { return r >= rows || col[r] == NO_INDEX; };
    if (type == ET_FACE_MIX) {
        end = append_edge_keys(block, begin, [&](const unsigned* col) -> const edge_table& {
            return absent(col, 3) ? tria_edges : quad_edges;
        });
    } else if (type == ET_SOLID_MIX) {
        end = append_edge_keys(block, begin, [&](const unsigned* col) -> const edge_table& {
            if (absent(col, 4)) return tetra_edges;
            if (absent(col, 5)) return pyra_edges;
            if (absent(col, 6)) return penta_edges;
            return hexa_edges;
        });
    } else {
        const edge_table& t = *fixed_edge_table(type);
        end = append_edge_keys(block, begin, [&](const unsigned*) -> const edge_table& { return t; });
    }
    list.resize(old + static_cast<std::size_t>(end - begin));
    sort_unique_edge_keys(list);
    return 0;
}

// The same over blocks [first, first + n) with their types; stops at the
// first failure and returns it.
inline int sorted_unique_edges(const dense2D<unsigned>* first, const int* types, std::size_t n,
                               dense1D<edge_key>& list) noexcept {
    for (std::size_t b = 0; b < n; ++b) {
        const int rc = sorted_unique_edges(first[b], static_cast<element_type>(types[b]), list);
        if (rc < 0) return rc;
    }
    return 0;
}

// Removes from the sorted, unique list every edge of `excluded` (2 rows, either
// node first), by one parallel walk of both sorted lists, in place. An empty
// `excluded` does nothing. Returns 0, or ERR_ALLOC when the scratch for the
// excluded keys can't be obtained (the list is then as it was).
inline int exclude_edges(const dense2D<unsigned>& excluded, dense1D<edge_key>& list) noexcept {
    if (excluded.empty()) return 0;
    try {
        dense1D<edge_key> drop;
        if (!drop.resize(excluded.cols())) return ERR_ALLOC;
        const unsigned* x = excluded.data();
        const std::size_t xld = excluded.ld();
        for (std::size_t e = 0, n = excluded.cols(); e < n; ++e) drop[e] = make_edge_key(x[e * xld], x[e * xld + 1]);
        sort_unique_edge_keys(drop);
        edge_key* d = list.data();
        const edge_key* x0 = drop.data();
        const edge_key* x1 = x0 + drop.size();
        std::size_t kept = 0;
        for (std::size_t i = 0, n = list.size(); i < n; ++i) {
            while (x0 != x1 && *x0 < d[i]) ++x0;
            if (x0 != x1 && *x0 == d[i]) continue;
            d[kept++] = d[i];
        }
        list.resize(kept);
        return 0;
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

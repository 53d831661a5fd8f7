#include <tq5/cellworks/connectivity/neighbors.hpp>

#include <algorithm>
#include <cstdint>
#include <new>

#include <tq5/cellworks/core/check_IDs.hpp>

#include "detail/faces.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::local_entities;
using u64 = std::uint64_t;

constexpr u64 ALL_ONES = ~u64(0);

// How two faces of a kind are compared.
enum class match { node, edge, cycle, cycle_all_words, cycle_tri_or_quad };

// What differs between the nine element kinds: rows, entities per column, key
// words per face, the comparison, and the entity table of a column.
struct bar2_kind {
    static constexpr unsigned rows = 2, entities = 2, words = 1;
    static constexpr match how = match::node;
    static const local_entities& of(const unsigned*) noexcept { return detail::bar2_ends; }
};
struct tria3_kind {
    static constexpr unsigned rows = 3, entities = 3, words = 2;
    static constexpr match how = match::edge;
    static const local_entities& of(const unsigned*) noexcept { return detail::tria_edges; }
};
struct quad4_kind {
    static constexpr unsigned rows = 4, entities = 4, words = 2;
    static constexpr match how = match::edge;
    static const local_entities& of(const unsigned*) noexcept { return detail::quad_edges; }
};
struct face_mix_kind {
    static constexpr unsigned rows = 4, entities = 4, words = 2;
    static constexpr match how = match::edge;
    static const local_entities& of(const unsigned* c) noexcept { return detail::face_mix_kind(c); }
};
struct tetra4_kind {
    static constexpr unsigned rows = 4, entities = 4, words = 3;
    static constexpr match how = match::cycle;
    static const local_entities& of(const unsigned*) noexcept { return detail::tetra_face; }
};
struct pyra5_kind {
    static constexpr unsigned rows = 5, entities = 5, words = 4;
    static constexpr match how = match::cycle_all_words;
    static const local_entities& of(const unsigned*) noexcept { return detail::pyra_face; }
};
struct penta6_kind {
    static constexpr unsigned rows = 6, entities = 5, words = 4;
    static constexpr match how = match::cycle_tri_or_quad;
    static const local_entities& of(const unsigned*) noexcept { return detail::penta_face; }
};
struct hexa8_kind {
    static constexpr unsigned rows = 8, entities = 6, words = 4;
    static constexpr match how = match::cycle_all_words;
    static const local_entities& of(const unsigned*) noexcept { return detail::hexa_face; }
};
struct solid_mix_kind {
    static constexpr unsigned rows = 8, entities = 6, words = 4;
    static constexpr match how = match::cycle_tri_or_quad;
    static const local_entities& of(const unsigned* c) noexcept { return detail::solid_mix_kind(c); }
};

template <unsigned W>
inline u64 face_key(const unsigned* w) noexcept {
    u64 k = 0;
    for (unsigned i = 0; i < W; ++i) k += (u64(w[i]) ^ u64(0x811C9DC5u)) * u64(16777619u);
    return k;
}

template <match How>
inline bool same_face(const unsigned* a, const unsigned* b) noexcept {
    switch (How) {
        case match::node: return a[0] == b[0];
        case match::edge: return (a[0] == b[0] && a[1] == b[1]) || (a[0] == b[1] && a[1] == b[0]);
        case match::cycle: return detail::compare_cycles(a, b, 3) != 0;
        case match::cycle_all_words: return detail::compare_cycles(a, b, 4) != 0;
        case match::cycle_tri_or_quad: {
            const bool ta = a[3] == NO_INDEX, tb = b[3] == NO_INDEX;
            if (ta != tb) return false;
            return detail::compare_cycles(a, b, ta ? 3 : 4) != 0;
        }
    }
    return false;
}

constexpr u64 primes[28] = {53ull,        97ull,        193ull,       389ull,       769ull,       1543ull,
                            3079ull,      6151ull,      12289ull,     24593ull,     49157ull,     98317ull,
                            196613ull,    393241ull,    786433ull,    1572869ull,   3145739ull,   6291469ull,
                            12582917ull,  25165843ull,  50331653ull,  100663319ull, 201326611ull, 402653189ull,
                            805306457ull, 1610612741ull, 3221225473ull, 4294967291ull};

// Smallest listed prime not below total / 4; the last one beyond the list.
u64 bucket_count(u64 total) noexcept {
    const u64 want = total / 4;
    const u64* p = std::lower_bound(primes, primes + 28, want);
    return p == primes + 28 ? primes[27] : *p;
}

// Flat hash of local entities: pairs (value, next) of 64-bit words. The first
// `buckets` pairs are the bucket heads; overflow pairs follow in order of
// creation. `next` is the distance in words to the next pair of the chain.
struct connectivity_hash {
    u64 buckets = 0;
    u64 entries = 0;
    dense1D<u64> cells;
    u64 used = 0;  // words used behind the bucket heads

    bool prepare(u64 nbuckets, u64 total) noexcept {
        buckets = nbuckets;
        used = 0;
        entries = 0;
        cells.clear();
        if (!cells.reserve(2 * (nbuckets + total), 1) || !cells.resize(2 * nbuckets)) return false;
        std::fill(cells.begin(), cells.end(), ALL_ONES);
        return true;
    }

    // Appends entity v to the chain of its bucket; the chain stays in insertion order.
    bool insert(u64 v, u64 key) noexcept {
        u64 pos = 2 * (key % buckets);
        u64* c = cells.data();
        ++entries;
        if (c[pos] == ALL_ONES && c[pos + 1] == ALL_ONES) {
            c[pos] = v;
            return true;
        }
        const u64 fresh = cells.size();
        if (!cells.push_back(v) || !cells.push_back(ALL_ONES)) return false;
        used += 2;
        c = cells.data();
        while (c[pos + 1] != ALL_ONES) pos += c[pos + 1];
        c[pos + 1] = fresh - pos;
        return true;
    }
};

template <class Kind>
int neighbors_of(const dense2D<unsigned>& connect, bool link_non_manifold, dense2D<unsigned>& neighbors) {
    constexpr unsigned E = Kind::entities, W = Kind::words;
    if (connect.rows() != Kind::rows) return -1;
    const std::size_t ncols = connect.cols();
    if (!neighbors.resize(E, ncols, NO_INDEX)) return ERR_ALLOC;

    const u64 total = u64(ncols) * E;
    connectivity_hash hash;
    if (!hash.prepare(bucket_count(total), total)) return ERR_ALLOC;

    const unsigned* cd = connect.data();
    const std::size_t cld = connect.ld();
    unsigned face[4];

    // Fill: every local entity in element order.
    for (std::size_t e = 0; e < ncols; ++e) {
        const unsigned* col = cd + e * cld;
        const local_entities& k = Kind::of(col);
        for (unsigned i = 0; i < k.count; ++i) {
            detail::entity_nodes(k, col, i, W, face);
            if (!hash.insert(u64(e) * E + i, face_key<W>(face))) return ERR_ALLOC;
        }
    }

    // Nodes of entity v, recomputed from the connectivity.
    auto nodes_of = [&](u64 v, unsigned* out) {
        const unsigned* col = cd + (v / E) * cld;
        detail::entity_nodes(Kind::of(col), col, unsigned(v % E), W, out);
    };
    unsigned* nd = neighbors.data();
    const std::size_t nld = neighbors.ld();
    auto slot = [&](u64 v) -> unsigned& { return nd[(v / E) * nld + v % E]; };
    auto element = [](u64 v) { return unsigned(v / E); };

    // Pairing: each unconsumed cell a gathers the later cells of its chain with an equal face.
    u64* c = hash.cells.data();
    unsigned other[4];
    for (u64 b = 0; b < hash.buckets; ++b) {
        for (u64 a = 2 * b;; a += c[a + 1]) {
            if (c[a] != ALL_ONES) {
                const u64 va = c[a];
                nodes_of(va, face);
                unsigned count = 0;
                u64 last = a;
                for (u64 p = a; c[p + 1] != ALL_ONES;) {
                    p += c[p + 1];
                    const u64 vb = c[p];
                    if (vb == ALL_ONES) continue;
                    nodes_of(vb, other);
                    if (!same_face<Kind::how>(face, other)) continue;
                    if (link_non_manifold) {
                        slot(va) = element(vb);
                        slot(vb) = element(va);
                        c[p] = ALL_ONES;
                    } else if (count > 0) {
                        slot(c[last]) = NO_INDEX;
                        c[last] = ALL_ONES;
                    }
                    last = p;
                    ++count;
                }
                if (count == 1 && !link_non_manifold) {
                    slot(va) = element(c[last]);
                    slot(c[last]) = element(va);
                } else if (count >= 2 && !link_non_manifold) {
                    slot(va) = NO_INDEX;
                    slot(c[last]) = NO_INDEX;
                }
                if (count > 0) {
                    c[a] = ALL_ONES;
                    c[last] = ALL_ONES;
                }
            }
            if (c[a + 1] == ALL_ONES) break;
        }
    }
    return 0;
}

}  // namespace

int get_neighbors(const dense2D<unsigned>& connect, element_type type, bool link_non_manifold,
                  dense2D<unsigned>& neighbors) noexcept {
    try {
        neighbors.clear();
        if (connect.empty()) return 0;
        if (type == ET_FACE_MIX && connect.rows() == 3) type = ET_TRIA3;
        if (!check_IDs(connect, type, NO_INDEX)) return -1;
        switch (type) {
            case ET_BAR2: return neighbors_of<bar2_kind>(connect, link_non_manifold, neighbors);
            case ET_TRIA3: return neighbors_of<tria3_kind>(connect, link_non_manifold, neighbors);
            case ET_QUAD4: return neighbors_of<quad4_kind>(connect, link_non_manifold, neighbors);
            case ET_FACE_MIX: return neighbors_of<face_mix_kind>(connect, link_non_manifold, neighbors);
            case ET_TETRA4: return neighbors_of<tetra4_kind>(connect, link_non_manifold, neighbors);
            case ET_PYRA5: return neighbors_of<pyra5_kind>(connect, link_non_manifold, neighbors);
            case ET_PENTA6: return neighbors_of<penta6_kind>(connect, link_non_manifold, neighbors);
            case ET_HEXA8: return neighbors_of<hexa8_kind>(connect, link_non_manifold, neighbors);
            case ET_SOLID_MIX: return neighbors_of<solid_mix_kind>(connect, link_non_manifold, neighbors);
            default: return -2;
        }
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/connectivity/neighbors.hpp>

#include <algorithm>
#include <cstdint>
#include <new>

#include "../detail/prefetch.hpp"
#include "detail/faces.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::local_entities;
using u64 = std::uint64_t;

constexpr u64 ALL_ONES = ~u64(0);

// How two faces of a kind are compared: a bar's end node, an edge in either
// direction, or a cycle in either direction. In ET_PYRA5 and ET_HEXA8 a
// triangle is compared as a 4-cycle closed by NO_INDEX; in ET_PENTA6 and
// ET_SOLID_MIX as a triangle, never equal to a quadrangle.
enum class match { node, edge, cycle, cycle_all_words, cycle_tri_or_quad };

template <class Kind>
constexpr match face_match = Kind::words == 1   ? match::node
                             : Kind::words == 2 ? match::edge
                                                : match::cycle;
template <> constexpr match face_match<detail::linear_kind<ET_PYRA5>> = match::cycle_all_words;
template <> constexpr match face_match<detail::linear_kind<ET_HEXA8>> = match::cycle_all_words;
template <> constexpr match face_match<detail::linear_kind<ET_PENTA6>> = match::cycle_tri_or_quad;
template <> constexpr match face_match<detail::linear_kind<ET_SOLID_MIX>> = match::cycle_tri_or_quad;

template <unsigned W> inline u64 face_key(const unsigned* w) noexcept {
    u64 k = 0;
    for (unsigned i = 0; i < W; ++i) k += (u64(w[i]) ^ u64(0x811C9DC5u)) * u64(16777619u);
    return k;
}

template <match How> inline bool same_face(const unsigned* a, const unsigned* b) noexcept {
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

constexpr u64 primes[28] = {53ull,        97ull,         193ull,        389ull,       769ull,       1543ull,
                            3079ull,      6151ull,       12289ull,      24593ull,     49157ull,     98317ull,
                            196613ull,    393241ull,     786433ull,     1572869ull,   3145739ull,   6291469ull,
                            12582917ull,  25165843ull,   50331653ull,   100663319ull, 201326611ull, 402653189ull,
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

    u64 head(u64 key) const noexcept { return 2 * (key % buckets); }

    // Appends entity v to the chain that starts at word `pos` (its bucket
    // head); the chain stays in insertion order.
    bool insert_at(u64 v, u64 pos) noexcept {
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

// The slot of entity v in the neighbour matrix, and the element of v.
template <unsigned E> struct entity_slots {
    unsigned* data;
    std::size_t ld;
    unsigned& operator[](u64 v) const noexcept { return data[(v / E) * ld + v % E]; }
    static unsigned element(u64 v) noexcept { return unsigned(v / E); }
};

// A chain read into a local buffer: values and faces by position.
template <class Kind> struct buffered_chain {
    static constexpr unsigned W = Kind::words;
    static constexpr unsigned MAX_BUFFERED = 64;
    static constexpr unsigned END = MAX_BUFFERED;
    unsigned n = 0;
    u64 val[MAX_BUFFERED];
    unsigned words[MAX_BUFFERED][W];

    // Reads the chain from word `head`; false when it is longer than the buffer.
    bool load(const u64* c, u64 head, const unsigned* cd, std::size_t cld) noexcept {
        n = 0;
        for (u64 p = head;; p += c[p + 1]) {
            if (c[p] != ALL_ONES) {
                if (n == MAX_BUFFERED) return false;
                const u64 v = c[p];
                const unsigned* col = cd + (v / Kind::entities) * cld;
                detail::entity_nodes(Kind::of(col), col, unsigned(v % Kind::entities), W, words[n]);
                val[n++] = v;
            }
            if (c[p + 1] == ALL_ONES) break;
        }
        return true;
    }
    unsigned first() const noexcept { return n ? 0 : END; }
    unsigned next(unsigned i) const noexcept { return i + 1 < n ? i + 1 : END; }
    u64 value(unsigned i) const noexcept { return val[i]; }
    void consume(unsigned i) noexcept { val[i] = ALL_ONES; }
    const unsigned* face(unsigned i, unsigned*) const noexcept { return words[i]; }
};

// A chain walked in the hash itself, faces recomputed from the connectivity.
template <class Kind> struct in_place_chain {
    static constexpr u64 END = ALL_ONES;
    u64* c;
    const unsigned* cd;
    std::size_t cld;
    u64 head = 0;

    in_place_chain& at(u64 h) noexcept {
        head = h;
        return *this;
    }
    u64 first() const noexcept { return head; }
    u64 next(u64 p) const noexcept { return c[p + 1] == ALL_ONES ? END : p + c[p + 1]; }
    u64 value(u64 p) const noexcept { return c[p]; }
    void consume(u64 p) noexcept { c[p] = ALL_ONES; }
    const unsigned* face(u64 p, unsigned* out) const noexcept {
        const unsigned* col = cd + (c[p] / Kind::entities) * cld;
        detail::entity_nodes(Kind::of(col), col, unsigned(c[p] % Kind::entities), Kind::words, out);
        return out;
    }
};

// Pairs the cells of one chain. Each unconsumed cell a gathers the later
// unconsumed cells with an equal face: two sides link, three or more link
// nothing unless non-manifold links are wanted, in which case the first is
// linked with every other (and ends with the last).
template <class Kind, class Chain, class Slots>
void pair_chain(Chain& ch, bool link_non_manifold, const Slots& slot) noexcept {
    unsigned sa[4], sb[4];
    for (auto a = ch.first(); a != Chain::END; a = ch.next(a)) {
        const u64 va = ch.value(a);
        if (va == ALL_ONES) continue;
        const unsigned* fa = ch.face(a, sa);
        unsigned count = 0;
        auto last = a;
        for (auto p = ch.next(a); p != Chain::END; p = ch.next(p)) {
            const u64 vb = ch.value(p);
            if (vb == ALL_ONES || !same_face<face_match<Kind>>(fa, ch.face(p, sb))) continue;
            if (link_non_manifold) {
                slot[va] = Slots::element(vb);
                slot[vb] = Slots::element(va);
                ch.consume(p);
            } else if (count > 0) {
                slot[ch.value(last)] = NO_INDEX;
                ch.consume(last);
            }
            last = p;
            ++count;
        }
        if (count == 0) continue;
        if (!link_non_manifold) {
            const u64 vl = ch.value(last);
            slot[va] = count == 1 ? Slots::element(vl) : NO_INDEX;
            slot[vl] = count == 1 ? Slots::element(va) : NO_INDEX;
            ch.consume(last);
        }
        ch.consume(a);
    }
}

template <class Kind>
int neighbors_of(const dense2D<unsigned>& connect, bool link_non_manifold, dense2D<unsigned>& neighbors) {
    constexpr unsigned E = Kind::entities, W = Kind::words;
    const std::size_t ncols = connect.cols();
    if (!neighbors.resize(E, ncols, NO_INDEX)) return ERR_ALLOC;

    const u64 total = u64(ncols) * E;
    connectivity_hash hash;
    if (!hash.prepare(bucket_count(total), total)) return ERR_ALLOC;

    const unsigned* cd = connect.data();
    const std::size_t cld = connect.ld();
    unsigned face[4];

    // Fill: every local entity in element order. Bucket heads are prefetched
    // a few entities ahead and inserted first in, first out, so the chains
    // are the same as with plain in-order insertion.
    constexpr unsigned LAG = 16;
    u64 ring_v[LAG], ring_pos[LAG];
    u64 queued = 0;
    const u64* cells = hash.cells.data();
    for (std::size_t e = 0; e < ncols; ++e) {
        const unsigned* col = cd + e * cld;
        const local_entities& k = Kind::of(col);
        for (unsigned i = 0; i < k.count; ++i, ++queued) {
            detail::entity_nodes(k, col, i, W, face);
            const u64 pos = hash.head(face_key<W>(face));
            detail::prefetch_for_write(cells + pos);
            const unsigned r = unsigned(queued % LAG);
            if (queued >= LAG && !hash.insert_at(ring_v[r], ring_pos[r])) return ERR_ALLOC;
            ring_v[r] = u64(e) * E + i;
            ring_pos[r] = pos;
        }
    }
    for (u64 q = queued > LAG ? queued - LAG : 0; q < queued; ++q)
        if (!hash.insert_at(ring_v[q % LAG], ring_pos[q % LAG])) return ERR_ALLOC;

    // Pairing, bucket by bucket. Chains of up to MAX_BUFFERED cells are read
    // once into a local buffer with their faces; longer ones are walked in
    // place. Chains and connectivity columns of the buckets a few steps ahead
    // are prefetched, since both lie scattered in memory.
    entity_slots<E> slots{neighbors.data(), neighbors.ld()};
    buffered_chain<Kind> buf;
    in_place_chain<Kind> direct{hash.cells.data(), cd, cld};
    const u64* c = hash.cells.data();
    // Prefetch pipeline: the k-th cell of the chain AHEAD * (DEPTH - k) buckets
    // ahead (read from memory that the previous stage prefetched) brings in
    // its connectivity column and the following cell. Chains of the key's
    // buckets run to about ten cells on structured meshes, hence the depth.
    constexpr u64 AHEAD = 4;
    constexpr unsigned DEPTH = 10;
    for (u64 b = 0; b < hash.buckets; ++b) {
        for (unsigned k = 0; k < DEPTH; ++k) {
            const u64 ahead = b + AHEAD * (DEPTH - k);
            if (ahead >= hash.buckets) continue;
            u64 p = 2 * ahead;
            unsigned hop = 0;
            for (; hop < k && c[p + 1] != ALL_ONES; ++hop) p += c[p + 1];
            if (hop < k) continue;
            if (c[p] != ALL_ONES) detail::prefetch(cd + (c[p] / E) * cld);
            if (c[p + 1] != ALL_ONES) detail::prefetch(c + p + c[p + 1]);
        }
        if (buf.load(c, 2 * b, cd, cld))
            pair_chain<Kind>(buf, link_non_manifold, slots);
        else
            pair_chain<Kind>(direct.at(2 * b), link_non_manifold, slots);
    }
    return 0;
}

}  // namespace

int get_neighbors(const dense2D<unsigned>& connect, element_type type, bool link_non_manifold,
                  dense2D<unsigned>& neighbors) noexcept {
    try {
        neighbors.clear();
        return detail::with_linear_kind(connect, type, [&](auto kind) {
            return neighbors_of<decltype(kind)>(connect, link_non_manifold, neighbors);
        });
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace cellworks
}  // namespace tq5

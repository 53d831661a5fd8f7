#include <tq5/cellworks/core/indices.hpp>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <type_traits>

#include "detail/id_tables.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::id_map;
using detail::id_set;
using u64 = std::uint64_t;

// Layout of a vector or matrix as columns of contiguous entries; a vector is
// one column. An empty container has no column.
struct runs {
    std::size_t rows, cols, ld;
};
template <class T> runs runs_of(const dense1D<T>& v) noexcept { return {v.size(), v.empty() ? 0u : 1u, v.size()}; }
template <class T> runs runs_of(const dense2D<T>& m) noexcept { return {m.rows(), m.empty() ? 0u : m.cols(), m.ld()}; }

// Calls f(column pointer, rows) for each column of `c` (const or not), in
// order, until f returns false. Returns false when f did.
template <class C, class F> bool for_each_run(C& c, F&& f) {
    const runs r = runs_of(c);
    auto* d = c.data();
    for (std::size_t j = 0; j < r.cols; ++j)
        if (!f(d + j * r.ld, r.rows)) return false;
    return true;
}

// One more than the greatest entry that is not NO_INDEX, over [first, last);
// 0 when there is no such entry. NO_INDEX + 1 wraps to 0, so the loop has no branch.
template <class C> unsigned max_plus_one(const C* first, const C* last) noexcept {
    unsigned top = 0;
    for (const C* c = first; c != last; ++c)
        for_each_run(*c, [&](const unsigned* p, std::size_t n) {
            for (std::size_t i = 0; i < n; ++i) top = std::max(top, p[i] + 1u);
            return true;
        });
    return top;
}

// Entries and columns of [first, last); a vector counts its entries as columns.
template <class C>
void count_entries(const C* first, const C* last, std::size_t& entries, std::size_t& columns) noexcept {
    entries = columns = 0;
    for (const C* c = first; c != last; ++c) {
        const runs r = runs_of(*c);
        entries += r.rows * r.cols;
        columns += std::is_same<C, dense1D<unsigned>>::value ? r.rows * r.cols : r.cols;
    }
}

// Offers each entry other than NO_INDEX of [first, last) to `insert` (1: new,
// 0: known, -1: exhausted) and passes the new ones to `fresh`. 0 or ERR_ALLOC.
template <class C, class Insert, class Fresh>
int offer_all(const C* first, const C* last, Insert&& insert, Fresh&& fresh) {
    auto offer = [&](const unsigned* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            if (p[i] == NO_INDEX) continue;
            const int r = insert(p[i]);
            if (r < 0 || (r > 0 && !fresh(p[i]))) return false;
        }
        return true;
    };
    for (const C* c = first; c != last; ++c)
        if (!for_each_run(*c, offer)) return ERR_ALLOC;
    return 0;
}

// Offers each entry other than NO_INDEX of [first, last) to a set that starts
// with `excluded`, and calls fresh(x) for each entry new to the set, so in order
// of first appearance; fresh returns false on exhaustion. 0 or ERR_ALLOC.
template <class C, class Fresh>
int for_each_distinct(const C* first, const C* last, const dense1D<unsigned>& excluded, Fresh&& fresh) {
    const unsigned top_plus = max_plus_one(first, last);
    if (top_plus == 0) return 0;  // nothing but NO_INDEX
    const unsigned top = top_plus - 1;
    std::size_t entries, columns;
    count_entries(first, last, entries, columns);
    id_set seen;
    if (!seen.init(top, entries, columns / 4)) return ERR_ALLOC;
    // Excluded values above `top` cannot occur; NO_INDEX is above it too.
    const unsigned* ex = excluded.data();
    for (std::size_t i = 0, n = excluded.size(); i < n; ++i)
        if (ex[i] <= top && seen.insert(ex[i]) < 0) return ERR_ALLOC;
    if (std::uint64_t* bits = seen.bitmap())
        return offer_all(
            first, last, [bits](unsigned x) { return id_set::insert_bit(bits, x); }, fresh);
    return offer_all(
        first, last, [&seen](unsigned x) { return seen.insert(x); }, fresh);
}

template <class C> bool shares_block(const dense1D<unsigned>& out, const C* first, const C* last) noexcept {
    for (const C* c = first; c != last; ++c)
        if (c->block() == out.block()) return true;
    return false;
}

// unique_indices for every form. When `out` shares its block with an input,
// growing or appending to it could move or overwrite the ids being read (growth
// keeps only what `out` spans), so the new values are gathered apart and
// appended at the end.
template <class C>
int append_unique(dense1D<unsigned>& out, const C* first, const C* last, const dense1D<unsigned>& excluded) {
    const std::size_t old = out.size();
    std::size_t entries, columns;
    count_entries(first, last, entries, columns);
    const bool apart = shares_block(out, first, last) || excluded.block() == out.block();
    dense1D<unsigned> gathered;
    dense1D<unsigned>& sink = apart ? gathered : out;
    if (columns <= std::numeric_limits<std::size_t>::max() - sink.size())
        sink.reserve(sink.size() + columns, 1);  // a failure here only costs later growth
    int rc = for_each_distinct(first, last, excluded, [&](unsigned x) { return sink.push_back(x); });
    if (rc == 0 && apart && !gathered.empty()) {
        if (out.resize(old + gathered.size()))
            std::memcpy(out.data() + old, gathered.data(), gathered.size() * sizeof(unsigned));
        else
            rc = ERR_ALLOC;
    }
    if (rc != 0) out.resize(old);  // shrinking needs no memory
    return rc;
}

template <class C> int count_unique(const C* first, const C* last) {
    std::size_t n = 0;
    const int rc = for_each_distinct(first, last, dense1D<unsigned>(), [&](unsigned) {
        ++n;
        return true;
    });
    if (rc != 0) return rc;
    return n > std::size_t(INT_MAX) ? INT_MAX : int(n);
}

// Entries below NO_INDEX get `s` added; with `all`, NO_INDEX too. Wraps on 32 bits.
template <bool All, class C> void shift_all(C& ids, unsigned s) noexcept {
    for_each_run(ids, [s](unsigned* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            if (All || p[i] != NO_INDEX) p[i] += s;
        return true;
    });
}

template <class C> void renumber(C& ids, const dense1D<unsigned>& new_ids) noexcept {
    const unsigned* map = new_ids.data();
    const std::size_t m = new_ids.size();
    for_each_run(ids, [map, m](unsigned* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            if (p[i] < m) p[i] = map[p[i]];
        return true;
    });
}

template <class C> unsigned greatest_id(const C& ids) noexcept {
    if (ids.empty()) return NO_INDEX;
    const unsigned top_plus = max_plus_one(&ids, &ids + 1);
    return top_plus ? top_plus - 1 : 0;
}

template <class T> int permute(dense1D<T>& v, const dense1D<unsigned>& perm) {
    const std::size_t n = v.size();
    if (n == 0) return 0;
    dense1D<T> moved;  // a new block, so other views of `v` keep the old order
    if (!moved.copy(v)) return ERR_ALLOC;
    const T* src = v.data();
    T* dst = moved.data();
    const unsigned* p = perm.data();
    for (std::size_t i = 0, m = std::min(n, perm.size()); i < m; ++i)
        if (p[i] < n && p[i] != i) dst[p[i]] = src[i];
    v.shallow_copy(moved);
    return 0;
}

// get_IDs leaves both maps empty on exhaustion and still returns 0.
int give_up(dense1D<unsigned>& map2to1, dense1D<unsigned>& map1to2) noexcept {
    map2to1.clear();
    map1to2.clear();
    return 0;
}

int match_ids(const dense1D<unsigned>& ids1, const dense1D<unsigned>& ids2, dense1D<unsigned>& map2to1,
              dense1D<unsigned>& map1to2) {
    map2to1.clear();
    map1to2.clear();
    if (!map2to1.resize(ids2.size(), NO_INDEX) || !map1to2.resize(ids1.size(), NO_INDEX))
        return give_up(map2to1, map1to2);
    const unsigned top_plus = max_plus_one(&ids1, &ids1 + 1);
    if (top_plus == 0 || ids2.empty()) return 0;
    id_map where;
    if (!where.init(top_plus - 1, ids1.size())) return give_up(map2to1, map1to2);
    const unsigned* a = ids1.data();
    for (std::size_t i = 0, n = ids1.size(); i < n; ++i)
        if (a[i] != NO_INDEX) where.put(a[i], unsigned(i));  // a repeated id keeps its last place
    const unsigned* b = ids2.data();
    unsigned* m21 = map2to1.data();
    unsigned* m12 = map1to2.data();
    for (std::size_t j = 0, n = ids2.size(); j < n; ++j) {
        if (b[j] == NO_INDEX) continue;
        const unsigned i = where.find(b[j]);
        if (i == NO_INDEX) continue;
        m21[j] = i;
        m12[i] = unsigned(j);
    }
    return 0;
}

// Key of a column that does not depend on the order of its entries: the sum of
// its entries, each first mixed through a 64-bit finaliser. Without the mixing,
// a key nearly linear in the entries gives the shifted copies of a structured
// mesh equal keys (14 candidates per column on a block of tetrahedra).
u64 column_key(const unsigned* c, std::size_t n) noexcept {
    u64 k = 0;
    for (std::size_t i = 0; i < n; ++i) {
        u64 x = c[i];
        x = (x ^ (x >> 33)) * 0xFF51AFD7ED558CCDull;
        x = (x ^ (x >> 33)) * 0xC4CEB9FE1A85EC53ull;
        k += x ^ (x >> 33);
    }
    return k;
}

// Writes the cycle c[0..n) into out from its first greatest entry on, walking
// forward. Backward, it is the reversed cycle from its first greatest entry,
// which is the last greatest one of c. Columns are short: plain loops.
void from_greatest(const unsigned* c, std::size_t n, bool backward, unsigned* out) noexcept {
    std::size_t m = 0;
    for (std::size_t i = 1; i < n; ++i)
        if (backward ? c[i] >= c[m] : c[i] > c[m]) m = i;
    for (std::size_t i = 0; i < n; ++i) {
        out[i] = c[m];
        if (backward)
            m = m ? m - 1 : n - 1;
        else if (++m == n)
            m = 0;
    }
}

bool same_entries(const unsigned* a, const unsigned* b, std::size_t n) noexcept {
    for (std::size_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

// Column `cand` against `col`, which is already taken from its greatest entry
// when the order is free. `buf` holds n entries.
bool same_column(const unsigned* col, const unsigned* cand, std::size_t n, bool exact_order, unsigned* buf) noexcept {
    if (exact_order) return same_entries(col, cand, n);
    from_greatest(cand, n, false, buf);
    if (same_entries(col, buf, n)) return true;
    from_greatest(cand, n, true, buf);
    return same_entries(col, buf, n);
}

int match_columns(const dense2D<unsigned>& m1, const dense2D<unsigned>& m2, dense1D<unsigned>& map2to1,
                  dense1D<unsigned>& map1to2, bool exact_order) {
    map2to1.clear();
    map1to2.clear();
    if (m1.rows() != m2.rows()) return -2;
    const std::size_t rows = m1.rows(), n1 = m1.cols(), n2 = m2.cols();
    if (!map2to1.resize(n2, NO_INDEX) || !map1to2.resize(n1, NO_INDEX)) return give_up(map2to1, map1to2);
    if (n1 == 0 || n2 == 0) return 0;

    // Columns of m1 by key: chains through `next` from `heads`, in increasing
    // column order, with the key of each column kept to skip other keys fast.
    const unsigned bits = detail::table_bits(n1);
    dense1D<u64> keys(n1);
    dense1D<unsigned> next(n1), heads(std::size_t(1) << bits, NO_INDEX), scratch(2 * rows + 1);
    if (keys.size() != n1 || next.size() != n1 || heads.size() != std::size_t(1) << bits ||
        scratch.size() != 2 * rows + 1)
        return give_up(map2to1, map1to2);
    const unsigned* d1 = m1.data();
    const unsigned* d2 = m2.data();
    const std::size_t ld1 = m1.ld(), ld2 = m2.ld();
    u64* key = keys.data();
    unsigned* nx = next.data();
    unsigned* head = heads.data();
    for (std::size_t c = n1; c-- > 0;) {
        key[c] = column_key(d1 + c * ld1, rows);
        unsigned& h = head[detail::spread(key[c], bits)];
        nx[c] = h;
        h = unsigned(c);
    }

    unsigned* col = scratch.data();
    unsigned* buf = col + rows;
    unsigned* m21 = map2to1.data();
    unsigned* m12 = map1to2.data();
    for (std::size_t j = 0; j < n2; ++j) {
        const unsigned* src = d2 + j * ld2;
        const u64 k = column_key(src, rows);
        if (exact_order)
            std::copy(src, src + rows, col);
        else
            from_greatest(src, rows, false, col);
        for (unsigned c = head[detail::spread(k, bits)]; c != NO_INDEX; c = nx[c]) {
            if (key[c] != k || !same_column(col, d1 + c * ld1, rows, exact_order, buf)) continue;
            m21[j] = c;
            m12[c] = unsigned(j);
            break;
        }
    }
    return 0;
}

// Widens [lo, hi] by one point: a NaN lands in lo and never in hi.
template <std::size_t N> inline void take_point(const double* p, double* lo, double* hi) noexcept {
    for (std::size_t k = 0; k < N; ++k) {
        const double x = p[k];
        if (!(x >= lo[k])) lo[k] = x;
        if (x > hi[k]) hi[k] = x;
    }
}

// Runs `body(pos data, ld, lo, hi)` on local copies of the box and writes them back.
template <std::size_t N, class Body>
void with_box(const dense2D<double>& pos, vector_fixed<double, N>& min, vector_fixed<double, N>& max, Body&& body) {
    double lo[N], hi[N];
    std::copy(min.data(), min.data() + N, lo);
    std::copy(max.data(), max.data() + N, hi);
    body(pos.data(), pos.ld(), lo, hi);
    std::copy(lo, lo + N, min.data());
    std::copy(hi, hi + N, max.data());
}

template <std::size_t N>
int box_of_all(const dense2D<double>& pos, vector_fixed<double, N>& min, vector_fixed<double, N>& max) {
    if (pos.rows() != N) return -1;
    const std::size_t cols = pos.cols();
    with_box(pos, min, max, [cols](const double* d, std::size_t ld, double* lo, double* hi) {
        for (std::size_t j = 0; j < cols; ++j) take_point<N>(d + j * ld, lo, hi);
    });
    return 0;
}

template <std::size_t N>
int box_of_ids(const dense2D<double>& pos, const dense1D<unsigned>& ids, vector_fixed<double, N>& min,
               vector_fixed<double, N>& max) {
    if (ids.empty()) return 0;
    if (pos.rows() != N) return -1;
    const unsigned* id = ids.data();
    const std::size_t n = ids.size(), cols = pos.cols();
    if (cols < NO_INDEX)
        for (std::size_t i = 0; i < n; ++i)
            if (id[i] != NO_INDEX && id[i] >= cols) return -2;
    // NO_INDEX passes the test above; it names no node and is skipped here.
    with_box(pos, min, max, [id, n](const double* d, std::size_t ld, double* lo, double* hi) {
        for (std::size_t i = 0; i < n; ++i)
            if (id[i] != NO_INDEX) take_point<N>(d + std::size_t(id[i]) * ld, lo, hi);
    });
    return 0;
}

template <std::size_t N>
int box_of_connect(const dense2D<double>& pos, const dense2D<unsigned>& connect, vector_fixed<double, N>& min,
                   vector_fixed<double, N>& max) {
    dense1D<unsigned> nodes;
    const int rc = append_unique(nodes, &connect, &connect + 1, dense1D<unsigned>());
    return rc != 0 ? rc : box_of_ids(pos, nodes, min, max);
}

// True when a range of matrices runs backwards (the range forms refuse it).
bool backwards(const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept {
    return std::less<const dense2D<unsigned>*>()(last, first);
}

// Runs `f`; a failed `new` of a block object inside it gives `failed()` instead.
template <class F, class Failed> int guarded(F&& f, Failed&& failed) noexcept {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return failed();
    }
}
template <class F> int guarded(F&& f) noexcept {
    return guarded(f, [] { return ERR_ALLOC; });
}

}  // namespace

void change_indices(dense1D<unsigned>& ids, const dense1D<unsigned>& new_ids) noexcept { renumber(ids, new_ids); }
void change_indices(dense2D<unsigned>& ids, const dense1D<unsigned>& new_ids) noexcept { renumber(ids, new_ids); }

unsigned max_ID(const dense1D<unsigned>& ids) noexcept { return greatest_id(ids); }
unsigned max_ID(const dense2D<unsigned>& ids) noexcept { return greatest_id(ids); }

int shift_indices(dense1D<unsigned>& ids, int shift) noexcept {
    if (shift != 0) shift_all<false>(ids, unsigned(shift));
    return 0;
}

int shift_indices(dense2D<unsigned>& connect, int shift, element_type type) noexcept {
    if (shift == 0) return 0;
    if (type == ET_FACE_MIX || type == ET_SOLID_MIX)
        shift_all<false>(connect, unsigned(shift));
    else
        shift_all<true>(connect, unsigned(shift));
    return 0;
}

int permutation(dense1D<unsigned>& v, const dense1D<unsigned>& perm) noexcept {
    return guarded([&] { return permute(v, perm); });
}
int permutation(dense1D<double>& v, const dense1D<unsigned>& perm) noexcept {
    return guarded([&] { return permute(v, perm); });
}

int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids, dense1D<unsigned> excluded) noexcept {
    return guarded([&] { return append_unique(out, &ids, &ids + 1, excluded); });
}
int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>& ids, dense1D<unsigned> excluded) noexcept {
    return guarded([&] { return append_unique(out, &ids, &ids + 1, excluded); });
}
int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                   dense1D<unsigned> excluded) noexcept {
    if (backwards(first, last)) return -3;
    return guarded([&] { return append_unique(out, first, last, excluded); });
}

int count_unique_indices(const dense2D<unsigned>& ids) noexcept { return count_unique_indices(&ids, &ids + 1); }
int count_unique_indices(const dense2D<unsigned>* first, const dense2D<unsigned>* last) noexcept {
    if (backwards(first, last)) return -2;
    return guarded([&] { return count_unique(first, last); });
}

int get_IDs(const dense1D<unsigned>& ids1, const dense1D<unsigned>& ids2, dense1D<unsigned>& map2to1,
            dense1D<unsigned>& map1to2) noexcept {
    return guarded([&] { return match_ids(ids1, ids2, map2to1, map1to2); }, [&] { return give_up(map2to1, map1to2); });
}
int get_IDs(const dense2D<unsigned>& m1, const dense2D<unsigned>& m2, dense1D<unsigned>& map2to1,
            dense1D<unsigned>& map1to2, bool exact_order) noexcept {
    return guarded([&] { return match_columns(m1, m2, map2to1, map1to2, exact_order); },
                   [&] { return give_up(map2to1, map1to2); });
}

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) noexcept {
    return box_of_all(pos, min, max);
}
int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) noexcept {
    return box_of_all(pos, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids, vector_fixed<double, 2>& min,
                     vector_fixed<double, 2>& max) noexcept {
    return box_of_ids(pos, ids, min, max);
}
int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids, vector_fixed<double, 3>& min,
                     vector_fixed<double, 3>& max) noexcept {
    return box_of_ids(pos, ids, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connect, vector_fixed<double, 2>& min,
                     vector_fixed<double, 2>& max) noexcept {
    return guarded([&] { return box_of_connect(pos, connect, min, max); });
}
int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connect, vector_fixed<double, 3>& min,
                     vector_fixed<double, 3>& max) noexcept {
    return guarded([&] { return box_of_connect(pos, connect, min, max); });
}

}  // namespace cellworks
}  // namespace tq5

// Local faces of the linear element kinds: one source of truth for adjacency
// and boundaries. Faces of solids list their nodes in a fixed cycle that faces
// outward; entity i of a simplex lies opposite node i.
#pragma once

#include <cstddef>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

// Positions in the column of the nodes of each local entity (face, edge or end
// node). A face shorter than 4 nodes has `size` below 4; unused slots are 0.
struct local_entities {
    unsigned char count;       // entities of this kind
    unsigned char size[6];     // nodes of each entity
    unsigned char node[6][4];  // positions in the column
};

// The sides of the face kinds are their local entities: side i of a triangle
// lies opposite node i, side i of a quadrangle runs from node i to node i + 1.
inline constexpr local_entities bar2_ends = {2, {1, 1}, {{1}, {0}}};
inline constexpr local_entities tria_sides = {3, {2, 2, 2}, {{1, 2}, {2, 0}, {0, 1}}};
inline constexpr local_entities quad_sides = {4, {2, 2, 2, 2}, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
inline constexpr local_entities tetra_faces = {4, {3, 3, 3, 3}, {{1, 2, 3}, {2, 0, 3}, {1, 3, 0}, {2, 1, 0}}};
inline constexpr local_entities pyra_faces = {
    5, {3, 3, 3, 3, 4}, {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}}};
inline constexpr local_entities penta_faces = {
    5, {3, 3, 4, 4, 4}, {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}}};
inline constexpr local_entities hexa_faces = {
    6, {4, 4, 4, 4, 4, 4}, {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}}};

// The linear kind of one column of a mixed matrix (ld-stepped column pointer).
inline const local_entities& face_mix_kind(const unsigned* col) noexcept {
    return col[3] == NO_INDEX ? tria_sides : quad_sides;
}
inline const local_entities& solid_mix_kind(const unsigned* col) noexcept {
    if (col[4] == NO_INDEX) return tetra_faces;
    if (col[5] == NO_INDEX) return pyra_faces;
    if (col[6] == NO_INDEX) return penta_faces;
    return hexa_faces;
}

// Nodes of entity i of a column; slots from the entity's size up to `words`
// are NO_INDEX. Returns the entity's size.
inline unsigned entity_nodes(const local_entities& k, const unsigned* col, unsigned i, unsigned words,
                             unsigned* out) noexcept {
    const unsigned n = k.size[i];
    for (unsigned w = 0; w < n; ++w) out[w] = col[k.node[i][w]];
    for (unsigned w = n; w < words; ++w) out[w] = NO_INDEX;
    return n;
}

// Cycle comparison of two faces of n nodes: each starts at its (first) smallest
// node. 1 when they run the same way, -1 the opposite way, 0 when unequal.
inline int compare_cycles(const unsigned* a, const unsigned* b, unsigned n) noexcept {
    unsigned ia = 0, ib = 0;
    for (unsigned k = 1; k < n; ++k) {
        if (a[k] < a[ia]) ia = k;
        if (b[k] < b[ib]) ib = k;
    }
    if (a[ia] != b[ib]) return 0;
    bool same = true;
    for (unsigned k = 1; k < n && same; ++k) same = a[(ia + k) % n] == b[(ib + k) % n];
    if (same) return 1;
    for (unsigned k = 1; k < n; ++k)
        if (a[(ia + k) % n] != b[(ib + n - k) % n]) return 0;
    return -1;
}

// What differs between the nine linear kinds, for the tools that walk local
// entities: connectivity rows, entities per column (the rows of a neighbour
// matrix), words of a face (1 to 4; a triangle in 4 words is closed by
// NO_INDEX), and the entity table of one column.
template <element_type T> struct linear_kind;
template <unsigned Rows, unsigned Entities, unsigned Words, const local_entities& Table> struct fixed_linear_kind {
    static constexpr unsigned rows = Rows, entities = Entities, words = Words;
    static const local_entities& of(const unsigned*) noexcept { return Table; }
};
template <> struct linear_kind<ET_BAR2> : fixed_linear_kind<2, 2, 1, bar2_ends> {};
template <> struct linear_kind<ET_TRIA3> : fixed_linear_kind<3, 3, 2, tria_sides> {};
template <> struct linear_kind<ET_QUAD4> : fixed_linear_kind<4, 4, 2, quad_sides> {};
template <> struct linear_kind<ET_TETRA4> : fixed_linear_kind<4, 4, 3, tetra_faces> {};
template <> struct linear_kind<ET_PYRA5> : fixed_linear_kind<5, 5, 4, pyra_faces> {};
template <> struct linear_kind<ET_PENTA6> : fixed_linear_kind<6, 5, 4, penta_faces> {};
template <> struct linear_kind<ET_HEXA8> : fixed_linear_kind<8, 6, 4, hexa_faces> {};
template <> struct linear_kind<ET_FACE_MIX> {
    static constexpr unsigned rows = 4, entities = 4, words = 2;
    static const local_entities& of(const unsigned* col) noexcept { return face_mix_kind(col); }
};
template <> struct linear_kind<ET_SOLID_MIX> {
    static constexpr unsigned rows = 8, entities = 6, words = 4;
    static const local_entities& of(const unsigned* col) noexcept { return solid_mix_kind(col); }
};

// The front of the tools on local entities: an empty connectivity gives 0 at
// once; a 3-row ET_FACE_MIX is taken as ET_TRIA3; a connectivity that fails the
// shape check, or has not the rows of its kind, gives -1; a kind without a
// table (all quadratic ones) gives -2. Otherwise returns `f(linear_kind<T>{})`.
template <class F> int with_linear_kind(const dense2D<unsigned>& connect, element_type type, F&& f) {
    if (connect.empty()) return 0;
    if (type == ET_FACE_MIX && connect.rows() == 3) type = ET_TRIA3;
    if (!check_IDs(connect, type, NO_INDEX)) return -1;
    auto run = [&](auto kind) -> int { return connect.rows() == decltype(kind)::rows ? f(kind) : -1; };
    switch (type) {
        case ET_BAR2: return run(linear_kind<ET_BAR2>{});
        case ET_TRIA3: return run(linear_kind<ET_TRIA3>{});
        case ET_QUAD4: return run(linear_kind<ET_QUAD4>{});
        case ET_FACE_MIX: return run(linear_kind<ET_FACE_MIX>{});
        case ET_TETRA4: return run(linear_kind<ET_TETRA4>{});
        case ET_PYRA5: return run(linear_kind<ET_PYRA5>{});
        case ET_PENTA6: return run(linear_kind<ET_PENTA6>{});
        case ET_HEXA8: return run(linear_kind<ET_HEXA8>{});
        case ET_SOLID_MIX: return run(linear_kind<ET_SOLID_MIX>{});
        default: return -2;
    }
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/connectivity/boundaries.hpp>

#include <cstddef>

#include "detail/faces.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::local_entities;

// Whether one of N entries is NO_INDEX; without a branch, so that the compiler
// compares whole vectors.
template <std::size_t N> inline bool any_unlinked(const unsigned* p) noexcept {
    unsigned hit = 0;
    for (std::size_t i = 0; i < N; ++i) hit |= p[i] == NO_INDEX;
    return hit != 0;
}

// Walks the local entities of all elements in order and hands each one taken to
// `append`: every entity, or with a neighbour matrix those without a neighbour.
// After a failed append the walk ends with the current element.
template <class Kind, class Append>
int walk_entities(const dense2D<unsigned>& connect, const dense2D<unsigned>* neighbors, Append&& append) {
    constexpr unsigned E = Kind::entities;
    constexpr std::size_t G = 16;  // elements skipped at once when all are linked
    const unsigned* cd = connect.data();
    const std::size_t cld = connect.ld(), ncols = connect.cols();
    const unsigned* nd = neighbors ? neighbors->data() : nullptr;
    const std::size_t nld = neighbors ? neighbors->ld() : 0;
    bool failed = false;
    for (std::size_t e = 0; e < ncols && !failed; ++e) {
        const unsigned* across = nd ? nd + e * nld : nullptr;
        if (across) {
            // Most elements of a mesh lie inside: skip them a run at a time.
            if (nld == E && e + G <= ncols && !any_unlinked<G * E>(across)) {
                e += G - 1;
                continue;
            }
            if (!any_unlinked<E>(across)) continue;
        }
        const unsigned* col = cd + e * cld;
        const local_entities& k = Kind::of(col);
        for (unsigned i = 0; i < k.count; ++i)
            if ((!across || across[i] == NO_INDEX) && !append(col, k, e, i)) failed = true;
    }
    return failed ? ERR_ALLOC : 0;
}

template <class Kind> bool neighbors_fit(const dense2D<unsigned>& connect, const dense2D<unsigned>& neighbors) {
    return neighbors.cols() == connect.cols() && neighbors.rows() == Kind::entities;
}

// Appends the faces taken by the walk, one column of the kind's face height each.
template <class Kind>
int append_faces(const dense2D<unsigned>& connect, const dense2D<unsigned>* neighbors, dense2D<unsigned>& faces,
                 int bad_height) {
    constexpr unsigned H = Kind::words;
    if (!faces.empty() && faces.rows() != H) return bad_height;
    // An empty matrix of any shape (say 0 x 7) starts from no column at all.
    if (faces.empty()) faces.clear();
    return walk_entities<Kind>(connect, neighbors,
                               [&](const unsigned* col, const local_entities& k, std::size_t, unsigned i) {
                                   vector_fixed<unsigned, H> face;
                                   detail::entity_nodes(k, col, i, H, face.data());
                                   return faces.push_back(face);
                               });
}

}  // namespace

int get_element_boundaries(const dense2D<unsigned>& connect, element_type type, dense2D<unsigned>& faces) noexcept {
    return detail::with_linear_kind(
        connect, type, [&](auto kind) { return append_faces<decltype(kind)>(connect, nullptr, faces, -2); });
}

int get_mesh_boundaries(const dense2D<unsigned>& connect, const dense2D<unsigned>& neighbors, element_type type,
                        dense2D<unsigned>& faces) noexcept {
    return detail::with_linear_kind(connect, type, [&](auto kind) {
        using Kind = decltype(kind);
        if (!neighbors_fit<Kind>(connect, neighbors)) return -2;
        return append_faces<Kind>(connect, &neighbors, faces, -3);
    });
}

int get_mesh_bounding_elements(const dense2D<unsigned>& connect, const dense2D<unsigned>& neighbors, element_type type,
                               dense1D<unsigned>& entities) noexcept {
    return detail::with_linear_kind(connect, type, [&](auto kind) {
        using Kind = decltype(kind);
        if (!neighbors_fit<Kind>(connect, neighbors)) return -2;
        // Identities in 32-bit arithmetic, with the kind's full entity count.
        return walk_entities<Kind>(connect, &neighbors,
                                   [&](const unsigned*, const local_entities&, std::size_t e, unsigned i) {
                                       return entities.push_back(unsigned(e) * Kind::entities + i);
                                   });
    });
}

}  // namespace cellworks
}  // namespace tq5

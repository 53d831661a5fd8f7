// Mixed connectivities split into matrices of one element type each, for the
// writers of formats without mixed cells, and the checks that the writers'
// range forms share.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

/// One matrix of one element type, and the position in the caller's range of
/// the matrix it came from.
struct family {
    dense2D<unsigned> connect;  // shares storage with the caller's matrix or its sorted copy
    element_type type;
    unsigned label;
};

/// Clears `out`, then, for each matrix of [begin, end) in order: nothing for
/// an empty one; the matrix itself (a shallow copy) for a type other than
/// `ET_FACE_MIX` and `ET_SOLID_MIX`; for a mixed one, a copy sorted by
/// `sort_elfes` and cut into one view per run of like columns, typed by its
/// node count (hexahedra, prisms, pyramids, tetrahedra; quadrangles,
/// triangles), a run of any other count left out. `family_types` has one
/// entry per matrix.
/// @return 0, or `ERR_ALLOC` when a copy or the list could not be stored.
int expand_families(const dense2D<unsigned>* begin, const dense2D<unsigned>* end, const dense1D<int>& family_types,
                    std::vector<family>& out) noexcept;

/// The checks of a range of matrices, in this order: -4 when `begin` lies
/// behind `end`, -5 when `family_types` does not have one entry per matrix, -3
/// when a matrix fails `check_IDs` with its type and `max_node` (clamped to
/// `NO_INDEX`). 0 otherwise.
int check_families(const dense2D<unsigned>* begin, const dense2D<unsigned>* end, const dense1D<int>& family_types,
                   std::size_t max_node) noexcept;

/// `check_families`, then, when it passes, `expand_families`: the first
/// result other than 0.
inline int checked_families(const dense2D<unsigned>* begin, const dense2D<unsigned>* end,
                            const dense1D<int>& family_types, std::size_t max_node, std::vector<family>& out) noexcept {
    const int rc = check_families(begin, end, family_types, max_node);
    return rc != 0 ? rc : expand_families(begin, end, family_types, out);
}

/// `type` as an `element_type`, `ET_UNKNOWN` when it lies outside 0 to 20.
inline element_type to_element_type(int type) noexcept {
    return type >= 0 && type <= int(ET_HEXA27) ? element_type(type) : ET_UNKNOWN;
}

/// The range form of a writer.
using range_writer = int (*)(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>* begin,
                             const dense2D<unsigned>* end, const dense1D<int>& family_types) noexcept;

/// Calls `write` on a range of shallow copies of the N matrices, with their
/// types: the short forms of the writers.
/// @return the result of `write`, or `ERR_ALLOC` when the range could not be made.
template <std::size_t N>
int write_range(range_writer write, const char* filename, const dense2D<double>& pos,
                const dense2D<unsigned>* const (&connect)[N], const element_type (&types)[N]) noexcept {
    try {
        dense2D<unsigned> range[N];
        dense1D<int> family_types(N);
        if (family_types.size() != N) return ERR_ALLOC;
        for (std::size_t i = 0; i < N; ++i) {
            range[i] = *connect[i];
            family_types[i] = int(types[i]);
        }
        return write(filename, pos, range, range + N, family_types);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

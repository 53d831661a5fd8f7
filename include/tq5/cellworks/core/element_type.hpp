/// @file
/// Element kinds, their node and corner counts, and the shared sentinels and codes.
/// @note Everything here is a compile-time constant or a constexpr lookup: free
///   of state and safe from any thread.
#pragma once

#include <cstdint>

namespace tq5 {
namespace cellworks {

/// An absent node, element or result; pads the columns of the mixed kinds.
constexpr unsigned NO_INDEX = 0xFFFFFFFFu;

/// Return code of every function that could not obtain storage.
constexpr int ERR_ALLOC = -199;

/// Element kinds. A connectivity of a fixed kind has `node_count(type)` rows;
/// the mixed kinds `ET_FACE_MIX` (3 or 4 rows) and `ET_SOLID_MIX` (4, 5, 6 or
/// 8 rows) pad shorter columns with `NO_INDEX`.
enum element_type : std::int32_t {
    ET_UNKNOWN = 0,
    ET_NODE = 1,
    ET_BAR_MIX = 2,
    ET_BAR2 = 3,
    ET_BAR3 = 4,
    ET_FACE_MIX = 5,
    ET_TRIA3 = 6,
    ET_QUAD4 = 7,
    ET_TRIA6 = 8,
    ET_QUAD8 = 9,
    ET_QUAD9 = 10,
    ET_SOLID_MIX = 11,
    ET_TETRA4 = 12,
    ET_TETRA10 = 13,
    ET_PYRA5 = 14,
    ET_PYRA14 = 15,
    ET_PENTA6 = 16,
    ET_PENTA18 = 17,
    ET_HEXA8 = 18,
    ET_HEXA20 = 19,
    ET_HEXA27 = 20,
};

namespace detail {
constexpr unsigned char node_counts[21] = {0, 1, 0, 2, 3, 0, 3, 4, 6, 8, 9, 0, 4, 10, 5, 14, 6, 18, 8, 20, 27};
constexpr unsigned char corner_counts[21] = {0, 1, 2, 2, 2, 0, 3, 4, 3, 4, 4, 0, 4, 4, 5, 5, 6, 6, 8, 8, 8};
}  // namespace detail

/// Rows that a connectivity of `type` must have: 0 for the mixed kinds and
/// `ET_UNKNOWN`. The argument's range is not tested (0 to 20 only).
constexpr unsigned node_count(element_type type) noexcept { return detail::node_counts[type]; }

/// Corner nodes of `type`: 0 for `ET_FACE_MIX`, `ET_SOLID_MIX` and
/// `ET_UNKNOWN`, 2 for `ET_BAR_MIX`. The argument's range is not tested.
constexpr unsigned corner_count(element_type type) noexcept { return detail::corner_counts[type]; }

}  // namespace cellworks
}  // namespace tq5

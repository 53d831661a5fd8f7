// What the deck formats with element families share: the growth of the node
// matrix to a node id and of the connectivity by columns and rows, the block of
// one family for the two-matrix readers, and the writers' tests of the family
// lists with the resolution of a mixed family on its first column.
//
// Family lists: `starts` holds the first column of each family and, last, the
// column count; `types` the element type of each family; `property_ids` one
// entry per column.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

/// Makes column `id` of the 3-row node matrix exist. When `id` is beyond the
/// capacity, room for the smallest power of two above `id` is reserved first,
/// so that rising ids cost few copies; then the matrix grows to `id` + 1
/// columns, the new ones at 0.0. Columns that exist are left alone.
/// @return false when the column cannot be had (the matrix is unchanged).
inline bool reach_node_column(dense2D<double>& pos, std::size_t id) noexcept {
    if (id < pos.cols()) return true;
    const std::size_t capacity = pos.rows() == 3 ? pos.col_capacity() : 0;
    if (id >= capacity && id < (std::size_t(1) << 62)) {
        std::size_t room = 1;
        while (room <= id) room <<= 1;
        pos.reserve(3, room);  // a failure shows in the resize
    }
    return id + 1 != 0 && pos.resize(3, id + 1, 0.0);
}

/// Grows the connectivity to at least `rows` rows, with `NO_INDEX` in the new
/// entries. @return false when the storage cannot be had (unchanged).
inline bool reach_rows(dense2D<unsigned>& connect, std::size_t rows) noexcept {
    const std::size_t old = connect.rows(), cols = connect.cols();
    if (rows <= old) return true;
    if (!connect.resize(rows, cols)) return false;
    for (std::size_t j = 0; j < cols; ++j) std::fill(&connect(old, j), &connect(0, j) + rows, NO_INDEX);
    return true;
}

/// Appends a column of `connect.rows()` entries; when full, the capacity
/// doubles, with at least 4 columns. @return false when the storage cannot be
/// had (unchanged).
inline bool append_column(dense2D<unsigned>& connect, const unsigned* column) noexcept {
    const std::size_t rows = connect.rows(), j = connect.cols();
    if (j == connect.col_capacity()) connect.reserve(rows, std::max<std::size_t>(4, 2 * j));
    if (!connect.resize(rows, j + 1)) return false;
    if (rows) std::copy(column, column + rows, &connect(0, j));
    return true;
}

/// The columns of family `k` with their first `rows` rows, sharing the
/// storage of `connect`. A family that the lists do not close, or a range
/// beyond the matrix, gives what of it lies inside, down to nothing.
inline dense2D<unsigned> family_block(const dense2D<unsigned>& connect, const dense1D<unsigned>& starts, std::size_t k,
                                      std::size_t rows) noexcept {
    if (k + 1 >= starts.size()) return dense2D<unsigned>();
    const std::size_t end = std::min<std::size_t>(starts[k + 1], connect.cols());
    const std::size_t begin = std::min<std::size_t>(starts[k], end);
    return connect.sub_matrix(0, begin, std::min(rows, connect.rows()), end - begin);
}

/// Whether `type` is a value of `element_type`.
inline bool known_type(int type) noexcept { return type >= ET_UNKNOWN && type <= ET_HEXA27; }

/// The rows of a family of `type` that the family test looks at: at most 4
/// for mixed faces, at most 20 for mixed solids, else the node count.
inline std::size_t family_rows(element_type type, std::size_t rows) noexcept {
    if (type == ET_FACE_MIX) return std::min<std::size_t>(4, rows);
    if (type == ET_SOLID_MIX) return std::min<std::size_t>(20, rows);
    return node_count(type);
}

/// The writers' tests, in their order: 0; -2 unless `pos` has 3 rows; -5 when
/// `starts` is not one longer than `types`, or its entries fall or pass the
/// columns of `connect`; -6 when `property_ids` is not one per column; -3 when
/// a family's type is not an `element_type`, a family with columns has more
/// nodes than `connect` has rows, or its columns fail `check_IDs` for that type with no bound on
/// the node index.
inline int check_families(const dense2D<double>& pos, const dense2D<unsigned>& connect, const dense1D<unsigned>& starts,
                          const dense1D<int>& types, const dense1D<unsigned>& property_ids) noexcept {
    if (pos.rows() != 3) return -2;
    if (types.size() + 1 != starts.size()) return -5;
    for (std::size_t k = 0; k < starts.size(); ++k)
        if (starts[k] > connect.cols() || (k && starts[k] < starts[k - 1])) return -5;
    if (property_ids.size() != connect.cols()) return -6;
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (!known_type(types[k])) return -3;
        const element_type type = element_type(types[k]);
        const std::size_t rows = family_rows(type, connect.rows()), cols = starts[k + 1] - starts[k];
        if (rows > connect.rows() && cols) return -3;
        const dense2D<unsigned> block = connect.sub_matrix(0, starts[k], rows, cols);
        if (!check_IDs(block, type, NO_INDEX)) return -3;
    }
    return 0;
}

/// The type that a family of `type` starting at column `first` is written as:
/// a mixed family takes the kind of its first column (an entry beyond the
/// rows counting as `NO_INDEX`), every other type stays.
inline element_type resolve_family(const dense2D<unsigned>& connect, std::size_t first, element_type type) noexcept {
    const std::size_t rows = family_rows(type, connect.rows());
    const auto absent = [&](std::size_t r) { return r >= rows || connect(r, first) == NO_INDEX; };
    if (type == ET_FACE_MIX) return absent(3) ? ET_TRIA3 : ET_QUAD4;
    if (type != ET_SOLID_MIX) return type;
    return absent(4) ? ET_TETRA4 : absent(5) ? ET_PYRA5 : absent(6) ? ET_PENTA6 : ET_HEXA8;
}

/// The lists of one family of `type` over all columns of `connect`, with
/// property id 1 for each column, or a single entry when `single_property`.
/// @return false when storage cannot be had.
inline bool one_family(const dense2D<unsigned>& connect, element_type type, bool single_property,
                       dense1D<unsigned>& starts, dense1D<int>& types, dense1D<unsigned>& property_ids) noexcept {
    return starts.push_back(0) && starts.push_back(unsigned(connect.cols())) && types.push_back(type) &&
           property_ids.resize(single_property ? 1 : connect.cols(), 1u);
}

/// A full reader: (file name, pos, connect, family starts, family types,
/// property ids) to a code.
using deck_reader = int (*)(const char*, dense2D<double>&, dense2D<unsigned>&, dense1D<unsigned>&, dense1D<int>&,
                            dense1D<unsigned>&) noexcept;

/// The two-family reader form over the full reader `read`: on success `FE1`,
/// `FE2` are the first two types (`ET_UNKNOWN` where there is none) and `m1`,
/// `m2` their blocks, sharing storage; `m2` has the rows of its type, `m1`
/// those of its type, or all rows with `m1_all_rows`. On failure the four
/// keep what they held.
inline int read_two_families(deck_reader read, const char* filename, dense2D<double>& pos, dense2D<unsigned>& m1,
                             dense2D<unsigned>& m2, element_type& FE1, element_type& FE2, bool m1_all_rows) noexcept {
    dense2D<unsigned> connect;
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    const int code = read(filename, pos, connect, starts, types, property_ids);
    if (code != 0) return code;
    FE1 = types.size() > 0 ? element_type(types[0]) : ET_UNKNOWN;
    FE2 = types.size() > 1 ? element_type(types[1]) : ET_UNKNOWN;
    m1 = family_block(connect, starts, 0, m1_all_rows ? connect.rows() : node_count(FE1));
    m2 = family_block(connect, starts, 1, node_count(FE2));
    return 0;
}

/// The one-matrix reader form: all families in `connect`; on success `FE`
/// becomes `ET_UNKNOWN` whenever the family starts have more than one entry.
inline int read_one_matrix(deck_reader read, const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                           element_type& FE) noexcept {
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    const int code = read(filename, pos, connect, starts, types, property_ids);
    if (code == 0 && starts.size() > 1) FE = ET_UNKNOWN;
    return code;
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

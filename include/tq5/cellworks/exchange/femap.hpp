/// @file
/// FEMAP neutral text files: the node block (403) and the element block (404).
///
/// A block is a line "-1", a line with the block number, its records, and a
/// closing "-1". Node ids are the column numbers of the coordinate matrix,
/// with no renumbering: a file from `FEMAP_output` reads back with the same
/// numbering, its coordinates rounded to six significant digits. Elements are
/// reported in families, runs of records of one type, as three lists:
/// `family_starts` (the first column of each family, closed by the number of
/// element records), `family_types` (the `element_type` of each family) and
/// `property_ids` (one per column).
///
/// Topology codes and where the 20 node slots of a record go:
///
/// | Code | Type        | Library node k from slot         |
/// |------|-------------|----------------------------------|
/// | 0    | `ET_BAR2`   | 0, 1                             |
/// | 1    | `ET_BAR3`   | 0, 1, 2                          |
/// | 2    | `ET_TRIA3`  | 0, 1, 2                          |
/// | 3    | `ET_TRIA6`  | 0, 1, 2, 4, 5, 3                 |
/// | 4    | `ET_QUAD4`  | 0 to 3                           |
/// | 5    | `ET_QUAD8`  | 0 to 7                           |
/// | 6    | `ET_TETRA4` | 1, 0, 2, 4                       |
/// | 7    | `ET_PENTA6` | 0, 1, 2, 4, 5, 6                 |
/// | 8    | `ET_HEXA8`  | 0 to 7                           |
/// | 9    | `ET_NODE`   | 0                                |
/// | 10   | `ET_TETRA10`| 0, 2, 1, 4, 9, 8, 10, 12, 14, 13 |
/// | 12   | `ET_HEXA20` | 0 to 19                          |
///
/// Limitations:
/// - Only blocks 403 and 404 are read; all other blocks, and any line outside
///   a block, are passed over. A line of another block that reads "403" or
///   "404" once its blanks are removed opens a block, and a block number line
///   alone, without "-1" in front, opens its block.
/// - Blanks (space, tab, CR, VT, FF) are removed before a line is compared
///   with "-1", "403" or "404", so "4 0 4" opens the element block.
/// - Fields are split at commas and empty fields are dropped, so a record with
///   ",," has its later fields moved one place down and misread.
/// - Node ids are columns: a file needs room for 24 bytes for every id up to
///   its largest, used or not; unused columns stay at the origin. An id whose
///   room cannot be had, and every negative id, ends the reading with
///   `ERR_ALLOC`. A node of an id that came before overwrites it.
/// - Numbers are read as `atoi` and `atof` read them: text that is not a
///   number reads as 0 or as its leading number, and integers beyond the 32
///   bits of `int` come out wrapped. A line with too few fields reads 0 for the
///   missing ones: a blank line inside the node block sets node 0 to the
///   origin, and one inside the element block starts a bar record (code 0).
/// - Element records of other topology codes (11, 13 and above, negative) are
///   skipped with their six lines, and they still take part in the family
///   lists as `ET_UNKNOWN`: a file with them can give more types than
///   families, and the writers then refuse the lists (-5).
/// - A file cut inside an element record keeps that element; its missing node
///   lines read as empty (ids 0), or, when the last line of the file has no
///   line end, as that last line again.
/// - Element ids, the other fields of the records and all other blocks
///   (properties, materials, loads, groups, coordinate systems) are dropped.
///   Node ids in elements are not checked against the nodes.
/// - A connectivity column or a list entry that cannot be stored is left out
///   without an error; a line too long to be held in memory gives `ERR_ALLOC`.
///
/// \code
///   tq5::dense2D<double> pos;
///   tq5::dense2D<unsigned> connect;
///   tq5::dense1D<unsigned> starts, props;
///   tq5::dense1D<int> types;
///   if (tq5::cellworks::FEMAP_input("part.neu", pos, connect, starts, types, props) != 0) return;
///   tq5::cellworks::FEMAP_output("copy.neu", pos, connect, starts, types, props);
/// \endcode
/// @note Reals are read with `atof`, which follows `LC_NUMERIC`: callers keep
///   it at "C". Reals are written with six significant digits and a "." in
///   every locale. Reentrant: each call opens and closes its own file and
///   keeps nothing; outputs must not share storage with each other.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Reads the nodes and elements of a neutral file.
///
/// In the node block, a line "id,...": field 0 is the id, fields 11, 12 and 13
/// are x, y, z. In the element block, a record of seven lines: field 1 of the
/// first is the property id and field 4 the topology code; the next two lines
/// hold ten node ids each (slots 0 to 19), which go to the column as the table
/// above says; the last four lines are skipped.
///
/// @param[in]  filename      path of the file.
/// @param[out] pos           cleared, then `3 x (largest node id + 1)`.
/// @param[out] connect       cleared, then one column per known element
///                           record, as many rows as the largest type has
///                           nodes; shorter columns end in `NO_INDEX`. Grows
///                           by doubling, at least 4 columns.
/// @param[out] family_starts cleared, then 0, the first column of each later
///                           family, and the number of known element records.
/// @param[out] family_types  cleared, then the type of each family.
/// @param[out] property_ids  cleared, then one per known element record.
/// @return 0, also for a file with no known block; -1 when the file cannot be
///   opened (all outputs empty); `ERR_ALLOC` when a node column or a line
///   cannot be had: what was read stays, and `family_starts` is closed.
CELLWORKS_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                              dense1D<unsigned>& family_starts, dense1D<int>& family_types,
                              dense1D<unsigned>& property_ids) noexcept;

/// \overload The first two families as two matrices, sharing one block.
/// @param[out] pos       cleared, then as above.
/// @param[out] connectM1 the columns of the first family with all the rows of
///                       the whole connectivity; empty when there is none.
/// @param[out] connectM2 the columns of the second family with the node rows
///                       of its type; empty when there is none.
/// @param[out] FE1, FE2  the types of the first and second family, or
///                       `ET_UNKNOWN` when there is none. Later families are
///                       dropped.
/// @return as above; on failure `connectM1`, `connectM2`, `FE1` and `FE2`
///   keep what they held.
CELLWORKS_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connectM1,
                              dense2D<unsigned>& connectM2, element_type& FE1, element_type& FE2) noexcept;

/// \overload All element columns in one matrix.
/// @param[out] pos, connect cleared, then as above.
/// @param[out] FE           set to `ET_UNKNOWN` after every successful read,
///                          whatever the file holds; kept on failure.
CELLWORKS_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                              element_type& FE) noexcept;

/// Writes a node block of every column of `pos` and an element block of every
/// family, families in list order, columns in order. Ids are column numbers
/// from 0. A node line is "i,0,0,1,0,0,0,0,0,0,0,x,y,z,0,"; an element of
/// column j is "j,property,0,32,code,1,0,0,0,0,0,0,0,", the slots 0 to 9 and
/// 10 to 19 each followed by "," (unused slots 0), and four lines of zeros.
/// Reals are written as a C++ stream writes them by default, with six
/// significant digits ("%.6g"). A mixed family (`ET_FACE_MIX`,
/// `ET_SOLID_MIX`) is written wholly as the kind of its first column: a
/// triangle or quadrangle; a tetrahedron, pyramid, prism or hexahedron.
/// Families of a type without a code (`ET_UNKNOWN`, `ET_BAR_MIX`, `ET_QUAD9`,
/// `ET_PYRA5`, `ET_PYRA14`, `ET_PENTA18`, `ET_HEXA27`) write nothing, and the
/// ids behind them keep their column numbers.
///
/// @param[in] filename     created, or emptied, before any test: a refused
///                         mesh leaves an empty file.
/// @param[in] pos          `3 x #nodes`.
/// @param[in] connect      element columns; the rows that a type has nodes
///                         are read. Node ids are written as they stand.
/// @param[in] family_starts, family_types, property_ids  as the reader gives
///                         them; `family_starts` never falling, within the
///                         columns.
/// @return 0, also when `connect` is empty: the file is then left empty, and
///   a path that cannot be created is not reported; -1 when the file cannot
///   be created; -2 unless `pos` has 3 rows; -5 when `family_starts` is not
///   one longer than `family_types`, falls, or passes the columns; -6 when
///   `property_ids` is not one per column; -3 when a family's type is not an
///   `element_type`, when a family with columns has more nodes than `connect`
///   has rows, or when its columns are not of that type's shape; `ERR_ALLOC`
///   when no room for the text could be had. A failure to write, such as a
///   full disk, is not reported.
CELLWORKS_API int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                               const dense1D<unsigned>& family_starts, const dense1D<int>& family_types,
                               const dense1D<unsigned>& property_ids) noexcept;

/// \overload One family of type `FE`, with the single property id 1. As that
/// is one id for all columns, a mesh of more than one element gives -6 and an
/// empty file.
CELLWORKS_API int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                               element_type FE) noexcept;

/// \overload Two families, `connectM1` of `FE1` then `connectM2` of `FE2`,
/// appended into one matrix of the larger height (the rows a matrix lacks read
/// as `NO_INDEX`), with the two property ids 1 and 2: a mesh of other than
/// two elements gives -6 and an empty file.
/// @return as above; `ERR_ALLOC`, with no file made, when the matrices cannot
///   be joined.
CELLWORKS_API int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                               const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept;

}  // namespace cellworks
}  // namespace tq5

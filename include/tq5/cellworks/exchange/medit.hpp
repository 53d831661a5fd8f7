/// @file
/// MEDIT mesh files, with a reference number on every element, and the
/// solution files that go with them: written only.
///
/// The mesh file: "MeshVersionFormatted 1", "Dimension d", a comment line and
/// a blank line; "Vertices", the node count and one line per node, its
/// coordinates as `%E` each followed by a blank, then the reference "0 "; a
/// blank line; one section per element type present, by rising
/// `element_type`; "End". A section is its keyword, its element count and one
/// line per element, the 1-based node indices and the element's reference
/// (label), each followed by a blank, then a blank line. Only corners are
/// written:
///
/// | element types                         | keyword          | nodes written            |
/// |---------------------------------------|------------------|--------------------------|
/// | `ET_BAR2`, `ET_BAR3`                  | "Edges"          | 0, 1                     |
/// | `ET_TRIA3`, `ET_TRIA6`                | "Triangles"      | 0, 1, 2                  |
/// | `ET_QUAD4`, `ET_QUAD8`, `ET_QUAD9`    | "Quadrilaterals" | 0 to 3                   |
/// | `ET_TETRA4`, `ET_TETRA10`             | "Tetrahedra"     | 0 to 3                   |
/// | `ET_PYRA5`, `ET_PYRA14`               | "Hexahedra"      | 0, 1, 2, 3, 4, 4, 4, 4   |
/// | `ET_PENTA6`, `ET_PENTA18`             | "Hexahedra"      | 0, 1, 2, 2, 3, 4, 5, 5   |
/// | `ET_HEXA8`, `ET_HEXA20`, `ET_HEXA27`  | "Hexahedra"      | 0 to 7                   |
///
/// Pyramids and prisms thus go out as degenerate hexahedra, each type in its
/// own section, so that "Hexahedra" may head several sections of one file.
/// Mixed matrices are sorted into runs of one kind each.
///
/// \code
///   tq5::cellworks::medit_output("part.mesh", pos, tets, tq5::cellworks::ET_TETRA4, region_of_each_tet);
///   tq5::cellworks::medit_scalar("part.sol", 3, sizes);
/// \endcode
/// Limitations:
/// - Indices and counts are printed as `%d`: above 2^31 - 1 they read negative.
/// - High-order nodes stay in "Vertices" without any element using them.
/// - Failed writes, such as on a full disk, are not reported.
/// @note Numbers are printed as the C library prints them in the "C" locale:
///   callers keep `LC_NUMERIC` at "C". Reentrant: each call keeps nothing.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Writes a mesh of several connectivities; the reference of an element is
/// the position of its matrix in the range, from 0.
/// @param[in] filename      created or emptied once the arguments have passed.
/// @param[in] pos           1, 2 or 3 x #nodes; the rows are the dimension.
/// @param[in] connect_begin first of the connectivities; empty ones, and types
///                          without a keyword, write no element.
/// @param[in] connect_end   one past the last.
/// @param[in] family_types  the `element_type` of each matrix; `ET_FACE_MIX`
///                          and `ET_SOLID_MIX` are accepted.
/// @return 0; checked in this order: -2 unless `pos` has 1, 2 or 3 rows; -4
///   when `connect_begin` lies behind `connect_end`; -5 when `family_types`
///   has not one entry per matrix; -3 when a matrix fails `check_IDs` with its
///   type and the columns of `pos`; `ERR_ALLOC` when a mixed matrix could not
///   be sorted; -1 when the file cannot be opened. No file is made unless the
///   arguments pass.
CELLWORKS_API int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>* connect_begin,
                               const dense2D<unsigned>* connect_end, const dense1D<int>& family_types) noexcept;

/// \overload One connectivity: every reference is 0.
CELLWORKS_API int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                               element_type FE) noexcept;

/// \overload Two connectivities, with the references 0 and 1.
CELLWORKS_API int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                               const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept;

/// \overload One connectivity with a reference for each element.
/// @param[in] labels one per column of `connect`: its reference; a column with
///                   `NO_INDEX` is left out. The columns are gathered into one
///                   matrix per label from 0 to the largest, kept in their
///                   order, and the matrices are written as a range, so that
///                   the elements come out grouped by rising label.
/// @return 0 at once, and no file, when `connect` has no entries; -5 when
///   `labels` has not one entry per column; -6 when the matrices of the labels
///   could not be stored (the largest label decides their number, used or
///   not); otherwise as the range form.
CELLWORKS_API int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                               element_type FE, const dense1D<unsigned>& labels) noexcept;

/// Writes a solution file of one value per node: the header "dim 1 n 2", then
/// the values as `%E` each followed by a blank, eight a line, and a last line
/// with the rest, written (empty) also when n is a multiple of 8.
/// @return 0; -1 when the file cannot be opened.
CELLWORKS_API int medit_scalar(const char* filename, unsigned dim, const dense1D<double>& values) noexcept;

/// Writes a solution file of one vector per column: the header "dim rows cols
/// 2", then one line per column, its values as `%E` each followed by a blank.
/// @return 0; -1 when the file cannot be opened.
CELLWORKS_API int medit_vector(const char* filename, unsigned dim, const dense2D<double>& field) noexcept;

/// Writes a solution file of one packed symmetric tensor per column, in its
/// stored order: the header "2 3 cols 2" or "3 6 cols 2", then one line per
/// column as in `medit_vector`.
/// @return 0; -1 when the file cannot be opened; -2 when `field` has neither 3
///   nor 6 rows: the file is then left empty and open.
CELLWORKS_API int medit_tensor(const char* filename, const dense2D<double>& field) noexcept;

}  // namespace cellworks
}  // namespace tq5

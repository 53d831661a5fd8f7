/// @file
/// NASTRAN bulk data decks: grid points and element cards, read and written.
///
/// The reader takes the lines between a line holding "BEGIN BULK" and a line
/// holding "ENDDATA" (or the end of the file). GRID cards come in three forms:
/// small field (8 columns), large field ("GRID*", two lines) and free field
/// (commas). Grid ids are the column numbers of the coordinate matrix, with no
/// renumbering: `pos` gets the largest id plus one columns, and columns of ids
/// that the deck does not define stay at the origin. Element cards are read by
/// name:
///
/// | Card names                               | Type        | Library nodes from file nodes |
/// |------------------------------------------|-------------|-------------------------------|
/// | BAR, BEAM, ROD, CBAR, CBEAM, CROD        | `ET_BAR2`   | as in the file                |
/// | TRIA3, CTRIA3                            | `ET_TRIA3`  | as in the file                |
/// | TRIA6, CTRIA6                            | `ET_TRIA6`  | 0, 1, 2, 4, 5, 3              |
/// | QUAD4, CQUAD4 / QUAD8, CQUAD8            | `ET_QUAD4` / `ET_QUAD8` | as in the file    |
/// | TETRA, CTETRA                            | `ET_TETRA4` | 0, 2, 1, 3                    |
/// | PENTA, CPENTA                            | `ET_PYRA5`  | none: a column of `NO_INDEX`  |
/// | HEXA, CHEXA                              | `ET_HEXA8`  | as in the file                |
///
/// Elements are reported in families, runs of cards of one type, as three
/// lists: `family_starts` (the first column of each family, closed by the
/// number of columns), `family_types` (the `element_type` of each family) and
/// `property_ids` (the card's property id, one per column). `connect` has as
/// many rows as the largest family has nodes; the columns of smaller families
/// end in `NO_INDEX`.
///
/// The writer puts out a fixed banner, one placeholder MAT1 card, the grid
/// points in large field ("GRID*" with `%16E` coordinates) and the elements in
/// free field, ids from 1: node i of the library is grid i + 1, so a deck
/// written and read back has one column more, column 0 at the origin.
///
/// Limitations of the reader:
/// - Lines before "BEGIN BULK" and from the line holding "ENDDATA" on are not
///   read; a deck without "BEGIN BULK" is refused (-1). Some generators (gmsh
///   among them) write none: add the line in front of their cards. Lines that
///   start with "$" are comments everywhere.
/// - Continuation lines are followed only for an element card whose name
///   carries a star ("CHEXA*"): one more line. Any other continuation, such as
///   a CHEXA whose last two nodes stand on a "+" line, is dropped: those nodes
///   read as 0.
/// - Small-field GRID ids must be right-justified in columns 9 to 16: a
///   left-justified id shifts the fields behind it. A coordinate system
///   (field 3 of GRID) is ignored, and in the large form a coordinate-system
///   field in front of the coordinates is taken for the first coordinate.
/// - Reals without an exponent letter ("1.5-3") lose their exponent in small
///   field, stop the line in free field (the later coordinates stay 0) and
///   run into the next coordinate in large field.
/// - Element fields are cut at commas or every eight characters: a free-field
///   value longer than eight characters is split and shifts the fields behind
///   it. Node ids are read as `atoi` reads them and are not checked against
///   the grid points; missing fields read 0.
/// - "PENTA" and "CPENTA" cards give `ET_PYRA5` columns of `NO_INDEX`: wedges
///   are not read. All other cards (materials, properties, loads, coordinate
///   systems, other elements) are skipped.
/// - Grid ids cost 24 bytes each up to the largest: an id whose room cannot
///   be had ends the reading with `ERR_ALLOC`. An element column that cannot
///   be stored is left out without an error.
/// @note Each call works on its own stream and data; calls on different
///   outputs may run side by side.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Reads the grid points and element cards of a deck, with its families.
/// @param[in] filename the deck.
/// @param[out] pos cleared, then 3 x (largest grid id + 1).
/// @param[out] connect cleared, then one column per element card read.
/// @param[out] family_starts cleared, then the first column of each family and
///   the column count; a deck without "BEGIN BULK" leaves 0 and 0.
/// @param[out] family_types cleared, then the type of each family.
/// @param[out] property_ids cleared, then one per column.
/// @return 0; -1 when the file cannot be opened, has no "BEGIN BULK" line, or
///   has a GRID line with nothing to convert; `ERR_ALLOC` when a grid's column
///   cannot be stored. On the last two, what was read stays and the closing
///   entry of `family_starts` is missing.
CELLWORKS_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                                dense1D<unsigned>& family_starts, dense1D<int>& family_types,
                                dense1D<unsigned>& property_ids) noexcept;

/// \overload For a deck of at most two families: clears `pos` only. On
/// success `FE1` and `connectM1` are the first family (its columns, with the
/// rows of its type, sharing storage) and `FE2`, `connectM2` the second
/// (`ET_UNKNOWN` and empty when there is none); further families are dropped.
/// On failure the four keep what they held.
CELLWORKS_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connectM1,
                                dense2D<unsigned>& connectM2, element_type& FE1, element_type& FE2) noexcept;

/// \overload All families in one matrix: clears `pos` and `connect`. On
/// success `FE` becomes `ET_UNKNOWN`, whatever the deck holds.
CELLWORKS_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                                element_type& FE) noexcept;

/// Writes a deck of the nodes and the element families.
/// Card names by type: CBAR, CTRIA3, CQUAD4, CTRIA6, CQUAD8, CTETRA, CHEXA, and
/// CPENTA for `ET_PYRA5` (its nodes written as 1); `ET_NODE`, `ET_TETRA10`,
/// `ET_PENTA6` and `ET_HEXA20` have no name (their lines start with a comma).
/// Families of `ET_BAR3`, `ET_QUAD9`, `ET_PYRA5`, `ET_PYRA14`, `ET_PENTA18`,
/// `ET_HEXA27`, `ET_UNKNOWN` and `ET_BAR_MIX` write no line; a mixed family is
/// written whole as the kind of its first column.
/// @param[in] pos 3 x #nodes.
/// @param[in] connect the elements, families in column runs.
/// @param[in] family_starts, family_types, property_ids the families, as the
///   reader gives them.
/// @return 0, also for an empty `connect`, which creates no file; -1 when the
///   file cannot be opened; then, with the file left open and empty: -2 unless
///   `pos` has 3 rows; -5 when `family_starts` is not one longer than
///   `family_types` or its entries fall or pass the columns; -6 unless
///   `property_ids` has one entry per column; -3 when a family's type is
///   unknown or its columns fail `check_IDs`.
CELLWORKS_API int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                                 const dense1D<unsigned>& family_starts, const dense1D<int>& family_types,
                                 const dense1D<unsigned>& property_ids) noexcept;

/// \overload One family of type `FE`, property id 1 for every column.
CELLWORKS_API int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                                 element_type FE) noexcept;

/// \overload Two families, property ids 1 and 2, joined in one matrix first
/// (each with the rows of its type); `ERR_ALLOC` when that matrix cannot be
/// had.
CELLWORKS_API int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                                 const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept;

}  // namespace cellworks
}  // namespace tq5

/// @file
/// STL files: `STL_input` reads an ASCII or binary STL triangle soup and makes
/// it a conforming mesh; `STL_output` writes a triangle mesh as ASCII or binary
/// STL.
///
/// An STL file has no node table: each triangle carries its own three
/// vertices. The reader appends them as three new nodes per triangle, then
/// joins the vertices that lie within 5% of the smallest positive triangle
/// height of the file (exact duplicates first, in batches of 100,000
/// triangles), drops the triangles that collapsed and the nodes no triangle
/// uses, and renumbers.
///
/// \code
///   tq5::dense2D<double> pos;
///   tq5::dense2D<unsigned> tria;
///   if (tq5::cellworks::STL_input("part.stl", pos, tria) != 0) return;
///   tq5::cellworks::STL_output("copy.stl", pos, tria, false);  // binary
/// \endcode
/// Limitations:
/// - The kind of file is not sniffed: the ASCII reading is tried first and any
///   failure sends the file to the binary reading, so a broken ASCII file ends
///   with the binary reader's code.
/// - One solid only: whatever follows the first "endsolid" is not read.
/// - ASCII lines are read in pieces of at most 255 characters; a longer line
///   arrives as several lines. Keywords are found anywhere in a line, in any
///   case. Blank lines inside a solid are refused.
/// - Facet normals and the binary attribute bytes are read and dropped.
/// - The binary triangle count is trusted: a count above the records present
///   fails with -3, a count below leaves the rest of the file unread.
/// - On some early failures the file is left open, as listed under each
///   function: that file handle is not released.
/// - Numbers are read and written by the C library's formatted conversions:
///   callers keep `LC_NUMERIC` at "C".
/// @note Threads: calls on different files and matrices may run side by side.
#pragma once

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Reads an STL file, ASCII or binary, into a conforming triangle mesh.
/// @param[in]  filename the file; tried as ASCII first, then as binary when the
///             ASCII reading fails with a code from -198 to -1.
/// @param[out] pos cleared, then 3 x #nodes: the merged vertices.
/// @param[out] connect cleared, then 3 x #triangles (`ET_TRIA3`, 0-based): the
///             triangles that did not collapse in the merge, in file order.
///             Both are cleared (sizes 0, storage kept) on every failure.
/// @return 0; -1 when the file cannot be opened or (binary) its 80-byte header
///   is short; -2 when (ASCII) the first line is missing or lacks "solid";
///   -3 on a missing or malformed line or number, a short binary record or a
///   missing triangle count; `ERR_ALLOC` when storage fails. After a binary
///   reading the ASCII reading's code is not returned. A file with no
///   triangle of positive height comes back unmerged, 3 nodes per triangle.
///   The file stays open after an ASCII -2 and after a binary -1 on a short
///   header or -3 on a missing count.
CELLWORKS_API int STL_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect) noexcept;

/// Writes a triangle mesh as an STL file, with each facet normal computed
/// from its triangle: (b - a) x (c - a), of unit length, or zero for a
/// triangle of zero area.
/// @param[in] filename created or truncated before anything is checked.
/// @param[in] pos 2 or 3 x #nodes. Each node is read as three consecutive
///            stored values from its column: with 2 rows the third value is the
///            first coordinate of the next column (0 past the end of storage).
/// @param[in] connect 3 x #triangles, node ids below the columns of `pos`.
/// @param[in] ascii true for the text form ("solid TQ5", "%le" numbers),
///            false for the binary form (little-endian 32-bit floats, header
///            "TQ5 STL Binary" padded with zeros to 80 bytes).
/// @return 0; -1 when the file cannot be opened or a write fails (the file is
///   then closed and partial); -2 when `pos` has neither 2 nor 3 rows; -3 when
///   `connect` is not valid 3-node triangles over `pos`. On -2 and -3 an empty
///   file is left, still open.
CELLWORKS_API int STL_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                             bool ascii) noexcept;

}  // namespace cellworks
}  // namespace tq5

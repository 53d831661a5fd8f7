/// @file
/// Wavefront OBJ surface meshes: nodes, one normal and one texture coordinate
/// per node, triangles and quadrangles.
///
/// The reader understands four line kinds, "v", "vn", "vt" and "f", and
/// passes over every other line. Of the slots of a face corner
/// (`node/texture/normal`) it keeps the node index: textures and normals are
/// held per node, not per corner, so the other two slots are only tested for
/// presence. The writer puts out the same four kinds, node lines first.
///
/// Limitations:
/// - Relative (negative) indices are not resolved: -k is kept as the unsigned
///   value of its 32 bits minus 1, a large index that names no node. An index
///   0 names the node one past the last one read so far. Indices are 32-bit
///   signed integers on file: a larger one leaves its slot empty.
/// - The texture and normal indices of the corners are dropped; normals and
///   texture coordinates are paired with nodes by their order on file.
/// - Faces of other than 3 or 4 corners are skipped without an error.
/// - Groups, objects, materials, smoothing groups, lines, points, curves and
///   surfaces are ignored; line continuations ("\" at the end) are not joined.
/// - Reals are read as C++ stream extraction reads them: no hexadecimal
///   reals, no "inf" or "nan", and a value beyond the range of `double` ends
///   the values of its line.
/// - A last "f" line without a newline behind it is not stored.
/// - The reader does not check that a face names existing nodes.
/// - A path that opens but cannot be read, such as a directory, reads as an
///   empty file; a read error ends the file where it happens.
/// - A failure to write, such as a full disk, is not reported: the writer
///   returns 0 once its arguments have passed.
///
/// \code
///   tq5::dense2D<double> pos, normals, uvs;
///   tq5::dense2D<unsigned> tria, quad;
///   int rc = tq5::cellworks::WavefrontOBJ_input("part.obj", pos, normals, uvs, tria, quad);
///   if (rc != 0) return rc;  // -1: not opened, -2: a malformed line, ERR_ALLOC
///   rc = tq5::cellworks::WavefrontOBJ_output("copy.obj", pos, normals, uvs, tria, quad);
/// \endcode
/// @note Numbers are parsed and printed by the C library's locale-dependent
///   functions: callers keep `LC_NUMERIC` at "C". Reentrant: each call opens and closes its own file and keeps
///   nothing. Outputs must not share storage with each other.
#pragma once

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense2D.hpp>

namespace tq5 {
namespace cellworks {

/// Reads an OBJ file line by line, and stops at the first malformed line.
///
/// - "v x y z [w]": a node, its first three values; at least three are needed.
/// - "vn x y z": a normal; exactly three values.
/// - "vt u [v [w]]": a texture coordinate of at most three values. The first
///   "vt" line fixes the rows of `uvs`; a later line with another count is
///   skipped without an error.
/// - "f c1 c2 c3 [c4]": each corner `n`, `n/`, `n/t`, `n//m` or `n/t/m`. A
///   texture index is refused before the first "vt" line, a normal index
///   before the first "vn" line.
///
/// The values of a line are read one after the other until one cannot be
/// read, and the rest of the line is ignored: "v 1 2 3 x" is a node, "v 1 2 x
/// 4" is refused. A word of a face that does not start with a number or "/"
/// is skipped; a number followed by anything but "/" is refused.
///
/// @param[in]  filename path of the file.
/// @param[out] pos          cleared, then `3 x #nodes`.
/// @param[out] normals      cleared, then `3 x #"vn" lines`, or empty.
/// @param[out] uvs          cleared, then `#values of the first "vt" line x
///                          #"vt" lines of that count`, or empty.
/// @param[out] connect_tria cleared, then `3 x #triangles`, 0-based node ids.
/// @param[out] connect_quad cleared, then `4 x #quadrangles`, 0-based node ids.
///                          The outputs are cleared in place and grow by
///                          doubling (at least 4 columns); all that was read
///                          before a failure stays.
/// @return 0; -1 when the file cannot be opened; -2 on the first malformed
///   line: a "v", "vn", "vt" or "f" with nothing behind it, a "v" with fewer
///   than three values, a "vn" without exactly three, a "vt" with four or
///   more, a corner with a character other than "/" behind a number, or a
///   texture or normal index before any "vt" or "vn" line; `ERR_ALLOC` when
///   a node or a face could not be stored, or a line not held in memory. A
///   normal or a texture coordinate that could not be stored is left out
///   without an error.
CELLWORKS_API int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals,
                                     dense2D<double>& uvs, dense2D<unsigned>& connect_tria,
                                     dense2D<unsigned>& connect_quad) noexcept;

/// Writes a surface mesh to an OBJ file: all nodes, then the texture
/// coordinates, the normals, the triangles and the quadrangles, one per line.
///
/// Each line starts with a blank and ends with a blank before the newline.
/// Reals are in the form of `%.8e` (" v 1.00000000e+00 ..."); a 2-row `pos`
/// gets the third coordinate 0. A corner is written `n/t/m` with 1-based ids,
/// where t and m are n itself when `uvs` and `normals` are given and nothing
/// otherwise (so "12//" without either).
///
/// @param[in] filename     path of the file; created, or emptied if it
///                         exists, before any test, so a refused mesh leaves
///                         an empty file.
/// @param[in] pos          `2 x #nodes` or `3 x #nodes`.
/// @param[in] normals      `3 x #nodes`, or empty (no rows or no columns:
///                         no "vn" line and no normal slot is written).
/// @param[in] uvs          `2 x #nodes`, or empty (no "vt" line, no slot).
/// @param[in] connect_tria 0-based node ids; the first 3 rows are written.
/// @param[in] connect_quad 0-based node ids; the first 4 rows are written.
///                         Node ids are not tested against `pos`.
/// @return 0; -1 when the file cannot be created; -2 unless `pos` has 2 or 3
///   rows; -3 when `normals` is not empty and not `3 x #nodes`; -4 when `uvs`
///   is not empty and not `2 x #nodes`; -5 when `connect_tria` is not empty
///   and has fewer than 3 rows; -6 when `connect_quad` is not empty and has
///   fewer than 4 rows; `ERR_ALLOC` when no room for the text could be
///   obtained.
CELLWORKS_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos, const dense2D<double>& normals,
                                      const dense2D<double>& uvs, const dense2D<unsigned>& connect_tria,
                                      const dense2D<unsigned>& connect_quad) noexcept;

/// \overload Nodes and one kind of face, without normals or texture
/// coordinates.
/// @param[in] connect written as triangles when `FE` is `ET_TRIA3`, as
///                    quadrangles when `ET_QUAD4`; no face is written for any
///                    other type.
/// @return as above (-5 or -6 for `connect`).
CELLWORKS_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned>& connect, element_type FE) noexcept;

/// \overload Nodes and two connectivities: with `FE1` equal to `FE2` and
/// `ET_TRIA3` or `ET_QUAD4`, both are written as that kind, `connectM1` first;
/// otherwise each as triangles or quadrangles by its own type, and one of
/// another type is left out.
/// @return as above (-5 or -6 for the first matrix of that kind that fails).
CELLWORKS_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                      const dense2D<unsigned>& connectM1, const dense2D<unsigned>& connectM2,
                                      element_type FE1, element_type FE2) noexcept;

}  // namespace cellworks
}  // namespace tq5

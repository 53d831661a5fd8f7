#include <tq5/cellworks/exchange/obj.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "detail/real_text.hpp"
#include "detail/text_files.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::file_ptr;
using detail::is_blank;
using detail::line_reader;
using detail::put_text;
using detail::put_unsigned;
using detail::skip_blanks;
using detail::text_writer;

// Appends one column of N values, growing by doubling with at least 4
// columns. A matrix that holds columns keeps its height.
template <std::size_t N, class T> bool append_column(dense2D<T>& m, const T* v) noexcept {
    if (m.cols() != 0 && m.rows() != N) return false;
    const std::size_t c = m.cols();
    if (c == m.col_capacity()) m.reserve(N, std::max<std::size_t>(4, 2 * c));  // a failure shows in resize
    if (!m.resize(N, c + 1)) return false;
    T* column = N ? &m(0, c) : nullptr;
    for (std::size_t k = 0; k < N; ++k) column[k] = v[k];
    return true;
}

// The same for n = 0 to 3 values.
bool append_column(dense2D<double>& m, const double* v, std::size_t n) noexcept {
    switch (n) {
        case 0: return append_column<0>(m, v);
        case 1: return append_column<1>(m, v);
        case 2: return append_column<2>(m, v);
        default: return append_column<3>(m, v);
    }
}

struct obj_reader {
    dense2D<double>& pos;
    dense2D<double>& normals;
    dense2D<double>& uvs;
    dense2D<unsigned>& tria;
    dense2D<unsigned>& quad;
    bool seen_vt = false, seen_vn = false;
    std::size_t uv_rows = 0;

    // Line by line until the first code other than 0 or a last line without
    // a newline.
    int read(line_reader& lines) {
        const char *begin, *end;
        bool ended;
        while (lines.next(begin, end, ended)) {
            const int code = line(begin, end, ended);
            if (code != 0 || !ended) return code;
        }
        return 0;
    }

    // The first blank-delimited word tells the kind; a known word must be
    // followed by something, if only a blank.
    int line(const char* p, const char* end, bool ended) {
        const char* const word = p = skip_blanks(p, end);
        while (p != end && !is_blank(*p)) ++p;
        const std::size_t n = std::size_t(p - word);
        char kind = 0;
        if (n == 1 && (word[0] == 'v' || word[0] == 'f')) kind = word[0];
        if (n == 2 && word[0] == 'v' && (word[1] == 'n' || word[1] == 't')) kind = word[1];
        if (!kind) return 0;
        if (p == end) return -2;
        if (kind == 'f') return face(p, end, ended);
        // Values are read until one fails; four are enough to judge any line.
        double x[4];
        std::size_t count = 0;
        while (count < 4 && detail::scan_real(p, end, x[count])) ++count;
        return point(kind, x, count);
    }

    // A "v", "vn" or "vt" line with its first `count` values (4 for 4 or more).
    int point(char kind, const double* x, std::size_t count) {
        if (kind == 'v') {
            if (count < 3) return -2;
            return append_column<3>(pos, x) ? 0 : ERR_ALLOC;
        }
        if (kind == 'n') {
            seen_vn = true;
            if (count != 3) return -2;
            append_column<3>(normals, x);
            return 0;
        }
        if (!seen_vt) uv_rows = count;
        seen_vt = true;
        if (count >= 4) return -2;
        if (count == uv_rows) append_column(uvs, x, count);
        return 0;
    }

    // An "f" line. Each word holds up to three slots, node/texture/normal:
    // nothing, or an integer ended by "/" or by the end of the word; what
    // follows the third slot is not read. A word whose integer cannot be read
    // leaves that slot and the following ones empty. Only the node indices are kept; the face is stored when its line
    // was ended by a newline.
    int face(const char* p, const char* end, bool ended) {
        unsigned c[4];
        std::size_t n = 0;
        bool textures = false, normal_ids = false;
        while ((p = skip_blanks(p, end)) != end) {
            for (int slot = 0; slot < 3 && p != end && !is_blank(*p); ++slot) {
                if (*p == '/') {
                    ++p;
                    continue;
                }
                int id;
                if (!detail::scan_int(p, end, id)) break;
                if (slot == 0 && n < 4) c[n] = static_cast<unsigned>(id);
                n += slot == 0;
                textures |= slot == 1;
                normal_ids |= slot == 2;
                if (p == end || is_blank(*p)) break;
                if (*p++ != '/') return -2;
            }
            while (p != end && !is_blank(*p)) ++p;  // what the slots left of the word
        }
        if ((textures && !seen_vt) || (normal_ids && !seen_vn)) return -2;
        if (!ended || (n != 3 && n != 4)) return 0;
        // 1-based on file; 0 names the node after the last one read so far.
        for (std::size_t k = 0; k < n; ++k) c[k] = c[k] != 0 ? c[k] - 1 : static_cast<unsigned>(pos.cols());
        return (n == 3 ? append_column<3>(tria, c) : append_column<4>(quad, c)) ? 0 : ERR_ALLOC;
    }
};

// One line per column, each real followed by a blank; `three` closes a
// 2-row column with 0.
void write_columns(text_writer& out, const char* head, const dense2D<double>* m, bool three = false) {
    for (std::size_t j = 0; m && j < m->cols(); ++j) {
        char* o = put_text(out.line(), head);
        for (std::size_t r = 0; r < m->rows(); ++r) *(o = detail::put_e8(o, (*m)(r, j)))++ = ' ';
        if (three && m->rows() == 2) *(o = detail::put_e8(o, 0.0))++ = ' ';
        *o++ = '\n';
        out.done(o);
    }
}

// Corners as `n/t/m` with 1-based ids, t and m being n or nothing.
void write_faces(text_writer& out, const dense2D<unsigned>* m, std::size_t corners, bool uvs, bool normals) {
    for (std::size_t j = 0; m && j < m->cols(); ++j) {
        char* o = put_text(out.line(), " f ");
        for (std::size_t k = 0; k < corners; ++k) {
            const unsigned id = (*m)(k, j) + 1;
            o = put_unsigned(o, id);
            *o++ = '/';
            if (uvs) o = put_unsigned(o, id);
            *o++ = '/';
            if (normals) o = put_unsigned(o, id);
            *o++ = ' ';
        }
        *o++ = '\n';
        out.done(o);
    }
}

// The faces to write: up to two matrices of each kind.
struct face_blocks {
    const dense2D<unsigned>* tria[2] = {nullptr, nullptr};
    const dense2D<unsigned>* quad[2] = {nullptr, nullptr};
};

// A matrix with columns must have the corner rows of its kind.
bool shaped(const dense2D<unsigned>* m, std::size_t corners) { return !m || m->empty() || m->rows() >= corners; }

// Normals and texture coordinates are given when their pointer is not null
// and their matrix not empty.
int write_obj(const char* filename, const dense2D<double>& pos, const dense2D<double>* normals,
              const dense2D<double>* uvs, const face_blocks& faces) noexcept {
    if (normals && normals->empty()) normals = nullptr;
    if (uvs && uvs->empty()) uvs = nullptr;
    const file_ptr file(std::fopen(filename, "w"));
    if (!file) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    if (normals && (normals->rows() != 3 || normals->cols() != pos.cols())) return -3;
    if (uvs && (uvs->rows() != 2 || uvs->cols() != pos.cols())) return -4;
    if (!shaped(faces.tria[0], 3) || !shaped(faces.tria[1], 3)) return -5;
    if (!shaped(faces.quad[0], 4) || !shaped(faces.quad[1], 4)) return -6;
    try {
        text_writer out(file.get());
        write_columns(out, " v ", &pos, true);
        write_columns(out, " vt ", uvs);
        write_columns(out, " vn ", normals);
        for (const auto* m : faces.tria) write_faces(out, m, 3, uvs != nullptr, normals != nullptr);
        for (const auto* m : faces.quad) write_faces(out, m, 4, uvs != nullptr, normals != nullptr);
        return 0;
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace

int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals, dense2D<double>& uvs,
                       dense2D<unsigned>& connect_tria, dense2D<unsigned>& connect_quad) noexcept {
    pos.clear();
    normals.clear();
    uvs.clear();
    connect_tria.clear();
    connect_quad.clear();
    const file_ptr file(std::fopen(filename, "r"));
    if (!file) return -1;
    try {
        line_reader lines(file.get());
        obj_reader reader{pos, normals, uvs, connect_tria, connect_quad};
        return reader.read(lines);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos, const dense2D<double>& normals,
                        const dense2D<double>& uvs, const dense2D<unsigned>& connect_tria,
                        const dense2D<unsigned>& connect_quad) noexcept {
    face_blocks faces;
    faces.tria[0] = &connect_tria;
    faces.quad[0] = &connect_quad;
    return write_obj(filename, pos, &normals, &uvs, faces);
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                        element_type FE) noexcept {
    face_blocks faces;
    if (FE == ET_TRIA3) faces.tria[0] = &connect;
    if (FE == ET_QUAD4) faces.quad[0] = &connect;
    return write_obj(filename, pos, nullptr, nullptr, faces);
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                        const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept {
    face_blocks faces;
    const dense2D<unsigned>* m[2] = {&connectM1, &connectM2};
    const element_type fe[2] = {FE1, FE2};
    for (int i = 0; i < 2; ++i) {
        if (fe[i] == ET_TRIA3) faces.tria[i] = m[i];
        if (fe[i] == ET_QUAD4) faces.quad[i] = m[i];
    }
    return write_obj(filename, pos, nullptr, nullptr, faces);
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/exchange/obj.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "detail/real_text.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::is_blank;
using detail::skip_blanks;

struct file_closer {
    void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};
using file_ptr = std::unique_ptr<std::FILE, file_closer>;

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

// The lines of a file read in blocks, as std::getline hands them out: a line
// ends before a '\n', or at the end of the file when no '\n' follows; an
// empty rest after the last '\n' is no line.
class line_reader {
public:
    // 64 KiB: a read is a few hundred lines, and a small file costs little.
    explicit line_reader(std::FILE* file) : file_(file), buffer_(new char[1u << 16]), size_(1u << 16) {}

    // The next line in [begin, end); `ended` tells whether a '\n' closed it.
    // False when no line is left. Throws std::bad_alloc for a line that does
    // not fit the buffer when a bigger one cannot be had.
    bool next(const char*& begin, const char*& end, bool& ended) {
        for (;;) {
            char* const first = buffer_.get() + first_;
            if (void* nl = std::memchr(first, '\n', last_ - first_)) {
                begin = first;
                end = static_cast<char*>(nl);
                first_ = std::size_t(end - buffer_.get()) + 1;
                ended = true;
                return true;
            }
            if (at_end_) {
                if (first_ == last_) return false;
                begin = first;
                end = buffer_.get() + last_;
                first_ = last_;
                ended = false;
                return true;
            }
            refill();
        }
    }

private:
    // Moves the unfinished line to the front, doubles a full buffer, reads on.
    // A read error counts as the end of the file.
    void refill() {
        std::memmove(buffer_.get(), buffer_.get() + first_, last_ - first_);
        last_ -= first_;
        first_ = 0;
        if (last_ == size_) {
            std::unique_ptr<char[]> bigger(new char[2 * size_]);
            std::memcpy(bigger.get(), buffer_.get(), last_);
            buffer_ = std::move(bigger);
            size_ *= 2;
        }
        const std::size_t got = std::fread(buffer_.get() + last_, 1, size_ - last_, file_);
        last_ += got;
        at_end_ = got == 0;
    }

    std::FILE* file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t size_, first_ = 0, last_ = 0;
    bool at_end_ = false;
};

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

// Text gathered in a buffer and written out in blocks. Each line is built in
// place, where `line_room` characters are free.
class text_writer {
public:
    static constexpr std::size_t line_room = 256;

    explicit text_writer(std::FILE* file) : file_(file), buffer_(new char[size + line_room]) {}
    ~text_writer() { flush(); }

    char* line() {
        if (used_ > size) flush();
        return buffer_.get() + used_;
    }
    void done(char* end) { used_ = std::size_t(end - buffer_.get()); }

private:
    static constexpr std::size_t size = 1u << 16;
    void flush() {
        std::fwrite(buffer_.get(), 1, used_, file_);
        used_ = 0;
    }
    std::FILE* file_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

char* put_text(char* out, const char* text) {
    const std::size_t n = std::strlen(text);
    std::memcpy(out, text, n);
    return out + n;
}

char* put_unsigned(char* out, unsigned v) {
    char digits[10];
    int n = 0;
    do digits[n++] = char('0' + v % 10);
    while (v /= 10);
    while (n) *out++ = digits[--n];
    return out;
}

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

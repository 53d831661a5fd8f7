#include <tq5/cellworks/exchange/obj.hpp>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iomanip>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace tq5 {
namespace cellworks {

namespace {

// Appends one column of n values, growing by doubling with at least 4
// columns. A matrix that holds columns keeps its height.
template <class T> bool append_column(dense2D<T>& m, const T* v, std::size_t n) noexcept {
    if (m.cols() != 0 && m.rows() != n) return false;
    const std::size_t c = m.cols();
    if (c == m.col_capacity()) m.reserve(n, std::max<std::size_t>(4, 2 * c));  // a failure shows in resize
    if (!m.resize(n, c + 1)) return false;
    if (n) std::copy(v, v + n, &m(0, c));
    return true;
}

// The reals of `rest`, read one after the other until one cannot be read.
std::vector<double> values_of(const std::string& rest) {
    std::istringstream in(rest);
    std::vector<double> v;
    double x;
    while (in >> x) v.push_back(x);
    return v;
}

// One slot of a face corner: nothing, or a number, ended by "/" or by the end
// of the word. A word that cannot be read as a number leaves the stream
// failed, and so this slot and the following ones empty.
int read_slot(std::istringstream& corner, std::vector<int>& list) {
    char c;
    if (!(corner >> c) || c == '/') return 0;
    corner.putback(c);
    int id;
    if (!(corner >> id)) return 0;
    list.push_back(id);
    if (!corner.get(c) || c == '/') return 0;
    return -2;
}

struct obj_reader {
    dense2D<double>& pos;
    dense2D<double>& normals;
    dense2D<double>& uvs;
    dense2D<unsigned>& tria;
    dense2D<unsigned>& quad;
    bool seen_vt = false, seen_vn = false;
    std::size_t uv_rows = 0;

    int read(std::istream& file) {
        std::string line, word, rest;
        int code = 0;
        while (code == 0 && file.good()) {
            if (!std::getline(file, line)) break;
            std::istringstream in(line);
            if (!(in >> word)) continue;
            const bool known = word == "v" || word == "vn" || word == "vt" || word == "f";
            if (!known) continue;
            if (!std::getline(in, rest)) {  // nothing behind the word
                code = -2;
                break;
            }
            code = word == "f" ? face(rest, file.good()) : point(word, values_of(rest));
        }
        file.clear();
        return code;
    }

    // A "v", "vn" or "vt" line with its values.
    int point(const std::string& word, const std::vector<double>& v) {
        const std::size_t n = v.size();
        if (word == "v") {
            if (n < 3) return -2;
            return append_column(pos, v.data(), 3) ? 0 : ERR_ALLOC;
        }
        if (word == "vn") {
            seen_vn = true;
            if (n != 3) return -2;
            append_column(normals, v.data(), 3);
            return 0;
        }
        if (!seen_vt) uv_rows = n;
        seen_vt = true;
        if (n >= 4) return -2;
        if (n == uv_rows) append_column(uvs, v.data(), n);
        return 0;
    }

    // An "f" line: the node, texture and normal indices of its corners. The
    // face is stored only when its line was ended by a newline.
    int face(const std::string& rest, bool line_ended) {
        std::vector<int> ids[3];
        std::istringstream words(rest);
        std::string w;
        while (words >> w) {
            std::istringstream corner(w);
            for (auto& list : ids)
                if (const int rc = read_slot(corner, list)) return rc;
        }
        if ((!ids[1].empty() && !seen_vt) || (!ids[2].empty() && !seen_vn)) return -2;
        const std::size_t n = ids[0].size();
        if (!line_ended || (n != 3 && n != 4)) return 0;
        unsigned c[4];
        for (std::size_t k = 0; k < n; ++k) {
            const unsigned id = static_cast<unsigned>(ids[0][k]);
            c[k] = id != 0 ? id - 1 : static_cast<unsigned>(pos.cols());
        }
        return append_column(n == 3 ? tria : quad, c, n) ? 0 : ERR_ALLOC;
    }
};

// The faces to write: up to two matrices of each kind.
struct face_blocks {
    const dense2D<unsigned>* tria[2] = {nullptr, nullptr};
    const dense2D<unsigned>* quad[2] = {nullptr, nullptr};
};

// A matrix with columns must have the corner rows of its kind.
bool shaped(const dense2D<unsigned>* m, std::size_t corners) { return !m || m->empty() || m->rows() >= corners; }

void write_faces(std::ostream& out, const dense2D<unsigned>* m, std::size_t corners, bool uvs, bool normals) {
    if (!m) return;
    for (std::size_t j = 0; j < m->cols(); ++j) {
        out << " f ";
        for (std::size_t k = 0; k < corners; ++k) {
            const unsigned id = (*m)(k, j) + 1;
            out << id << "/";
            if (uvs) out << id;
            out << "/";
            if (normals) out << id;
            out << " ";
        }
        out << "\n";
    }
}

// One line per column; `three` closes a 2-row column with 0.
void write_columns(std::ostream& out, const char* head, const dense2D<double>* m, bool three = false) {
    for (std::size_t j = 0; m && j < m->cols(); ++j) {
        out << head;
        for (std::size_t r = 0; r < m->rows(); ++r) out << (*m)(r, j) << " ";
        if (three && m->rows() == 2) out << 0.0 << " ";
        out << "\n";
    }
}

// Normals and texture coordinates are given when their pointer is not null
// and their matrix not empty.
int write_obj(const char* filename, const dense2D<double>& pos, const dense2D<double>* normals,
              const dense2D<double>* uvs, const face_blocks& faces) noexcept {
    if (normals && normals->empty()) normals = nullptr;
    if (uvs && uvs->empty()) uvs = nullptr;
    try {
        std::ofstream out(filename);
        if (!out.is_open()) return -1;
        if (pos.rows() != 2 && pos.rows() != 3) return -2;
        if (normals && (normals->rows() != 3 || normals->cols() != pos.cols())) return -3;
        if (uvs && (uvs->rows() != 2 || uvs->cols() != pos.cols())) return -4;
        if (!shaped(faces.tria[0], 3) || !shaped(faces.tria[1], 3)) return -5;
        if (!shaped(faces.quad[0], 4) || !shaped(faces.quad[1], 4)) return -6;
        out << std::scientific << std::setprecision(8);
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
    try {
        std::ifstream file(filename);
        if (!file.is_open()) return -1;
        obj_reader reader{pos, normals, uvs, connect_tria, connect_quad};
        return reader.read(file);
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

// The OBJ reader and writer written plainly on C++ streams: std::getline for
// the lines, stream extraction for every number, `std::scientific` with
// precision 8 for the reals written. The library's buffered versions must
// give the same codes, matrices and bytes; the tests and the fuzz target
// compare both.
#pragma once

#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

namespace obj_stream {

using reals = tq5::dense2D<double>;
using ids = tq5::dense2D<unsigned>;

template <class T> void append(tq5::dense2D<T>& m, const T* v, std::size_t n) {
    const std::size_t c = m.cols();
    if (c == m.col_capacity()) m.reserve(n, 2 * c + 4);
    m.resize(n, c + 1);
    for (std::size_t r = 0; r < n; ++r) m(r, c) = v[r];
}

// An optional integer ended by "/" or by the end of the word.
inline int read_slot(std::istringstream& corner, std::vector<int>& list) {
    char c;
    if (!(corner >> c) || c == '/') return 0;
    corner.putback(c);
    int id;
    if (!(corner >> id)) return 0;
    list.push_back(id);
    if (!corner.get(c) || c == '/') return 0;
    return -2;
}

inline int input(const char* filename, reals& pos, reals& normals, reals& uvs, ids& tria, ids& quad) {
    pos.clear(), normals.clear(), uvs.clear(), tria.clear(), quad.clear();
    std::ifstream file(filename);
    if (!file.is_open()) return -1;
    bool seen_vt = false, seen_vn = false;
    std::size_t uv_rows = 0;
    std::string line, word, rest;
    int code = 0;
    while (code == 0 && file.good()) {
        if (!std::getline(file, line)) break;
        std::istringstream in(line);
        if (!(in >> word) || (word != "v" && word != "vn" && word != "vt" && word != "f")) continue;
        if (!std::getline(in, rest)) return -2;
        std::istringstream values(rest);
        if (word == "f") {
            std::vector<int> lists[3];
            std::string w;
            while (code == 0 && values >> w) {
                std::istringstream corner(w);
                for (auto& list : lists)
                    if (code == 0) code = read_slot(corner, list);
            }
            if ((!lists[1].empty() && !seen_vt) || (!lists[2].empty() && !seen_vn)) code = -2;
            const std::size_t n = lists[0].size();
            if (code != 0 || !file.good() || (n != 3 && n != 4)) continue;
            unsigned c[4];
            for (std::size_t k = 0; k < n; ++k)
                c[k] = lists[0][k] != 0 ? unsigned(lists[0][k]) - 1 : unsigned(pos.cols());
            append(n == 3 ? tria : quad, c, n);
            continue;
        }
        std::vector<double> v;
        double x;
        while (values >> x) v.push_back(x);
        const std::size_t n = v.size();
        if (word == "v") {
            if (n < 3) return -2;
            append(pos, v.data(), 3);
        } else if (word == "vn") {
            seen_vn = true;
            if (n != 3) return -2;
            append(normals, v.data(), 3);
        } else {
            if (!seen_vt) uv_rows = n;
            seen_vt = true;
            if (n >= 4) return -2;
            if (n == uv_rows) append(uvs, v.data(), n);
        }
    }
    return code;
}

// An empty matrix, also one of no rows and some columns, writes no line.
inline void put_lines(std::ostream& out, const char* head, const reals& m, bool three = false) {
    for (std::size_t j = 0; !m.empty() && j < m.cols(); ++j) {
        out << head;
        for (std::size_t r = 0; r < m.rows(); ++r) out << m(r, j) << " ";
        if (three && m.rows() == 2) out << 0.0 << " ";
        out << "\n";
    }
}

inline int output(const char* filename, const reals& pos, const reals& normals, const reals& uvs, const ids& tria,
                  const ids& quad) {
    std::ofstream out(filename);
    if (!out.is_open()) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    if (!normals.empty() && (normals.rows() != 3 || normals.cols() != pos.cols())) return -3;
    if (!uvs.empty() && (uvs.rows() != 2 || uvs.cols() != pos.cols())) return -4;
    if (!tria.empty() && tria.rows() < 3) return -5;
    if (!quad.empty() && quad.rows() < 4) return -6;
    out << std::scientific << std::setprecision(8);
    put_lines(out, " v ", pos, true);
    put_lines(out, " vt ", uvs);
    put_lines(out, " vn ", normals);
    for (const ids* m : {&tria, &quad})
        for (std::size_t j = 0; j < m->cols(); ++j) {
            out << " f ";
            for (std::size_t k = 0; k < (m == &tria ? 3u : 4u); ++k) {
                const unsigned id = (*m)(k, j) + 1;
                out << id << "/";
                if (!uvs.empty()) out << id;
                out << "/";
                if (!normals.empty()) out << id;
                out << " ";
            }
            out << "\n";
        }
    return 0;
}

}  // namespace obj_stream

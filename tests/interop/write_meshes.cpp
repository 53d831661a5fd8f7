// Writes VTK and Medit files of small meshes of every element type into a
// fresh directory, with a JSON account of what each holds, then has
// read_back.py read them with outside readers and compare. Exit code: that
// of the script, or 1 when a file could not be written.
//
// Usage: cellworks_interop_readers SCRIPT [PYTHON]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

namespace cw = tq5::cellworks;
using ids = tq5::dense2D<unsigned>;

namespace {

constexpr unsigned NO = cw::NO_INDEX;

// A 3 x 3 x 3 grid of nodes with coordinates of many digits, in `rows` rows.
tq5::dense2D<double> grid(unsigned rows) {
    tq5::dense2D<double> pos(rows, 27);
    for (unsigned n = 0; n < 27; ++n)
        for (unsigned r = 0; r < rows; ++r) pos(r, n) = (n / (r == 0 ? 1 : r == 1 ? 3 : 9) % 3) * 0.3721 - 1 / 7.0;
    return pos;
}

// `count` columns of `rows` rows: column j holds j, j + 1, ... (mod 27).
ids block(unsigned rows, unsigned count) {
    ids m(rows, count);
    for (unsigned j = 0; j < count; ++j)
        for (unsigned r = 0; r < rows; ++r) m(r, j) = (j + r) % 27;
    return m;
}

// One file to check: its name, reader kind, nodes, element counts by name,
// and, for VTK, every cell as (code, nodes...).
struct expected {
    std::string file, kind;
    const tq5::dense2D<double>* pos;
    std::map<std::string, unsigned> counts;
    std::vector<std::vector<unsigned>> cells;
};

std::string json(const expected& e) {
    std::string s = "{\"file\": \"" + e.file + "\", \"kind\": \"" + e.kind + "\", \"points\": [";
    char b[64];
    for (std::size_t j = 0; j < e.pos->cols(); ++j) {
        s += j ? ", [" : "[";
        for (std::size_t r = 0; r < 3; ++r) {
            std::snprintf(b, sizeof b, "%s%.17g", r ? ", " : "", r < e.pos->rows() ? (*e.pos)(r, j) : 0.0);
            s += b;
        }
        s += "]";
    }
    s += "], \"counts\": {";
    for (const auto& c : e.counts) s += (s.back() == '{' ? "\"" : ", \"") + c.first + "\": " + std::to_string(c.second);
    s += "}, \"cells\": [";
    for (std::size_t i = 0; i < e.cells.size(); ++i) {
        s += i ? ", [" : "[";
        for (std::size_t k = 0; k < e.cells[i].size(); ++k) s += (k ? ", " : "") + std::to_string(e.cells[i][k]);
        s += "]";
    }
    return s + "]}";
}

// The cells of the VTK file, from the lists that the writer writes.
std::vector<std::vector<unsigned>> vtk_cells(const ids* begin, const ids* end, const std::vector<int>& types) {
    unsigned ncells = 0;
    tq5::dense1D<unsigned> cells, codes;
    for (const ids* m = begin; m < end; ++m) {
        const auto fe = cw::element_type(types[std::size_t(m - begin)]);
        if (fe != cw::ET_FACE_MIX && fe != cw::ET_SOLID_MIX) {
            cw::vtk_convert(*m, fe, ncells, cells, codes);
            continue;
        }
        // Mixed columns in runs by falling node count, as the writer sorts them.
        ids sorted;
        tq5::dense1D<unsigned> sizes, ends, old_to_new;
        sorted.copy(*m);
        cw::sort_elfes(sorted, sizes, ends, old_to_new);
        for (std::size_t g = 0, first = 0; g < sizes.size(); first = ends[g++]) {
            const cw::element_type like[9] = {cw::ET_UNKNOWN, cw::ET_UNKNOWN, cw::ET_UNKNOWN,
                                              cw::ET_TRIA3,   cw::ET_TETRA4,  cw::ET_PYRA5,
                                              cw::ET_PENTA6,  cw::ET_UNKNOWN, cw::ET_HEXA8};
            const auto run = fe == cw::ET_FACE_MIX && sizes[g] == 4 ? cw::ET_QUAD4 : like[sizes[g]];
            cw::vtk_convert(sorted.sub_matrix(0, first, sizes[g], ends[g] - first), run, ncells, cells, codes);
        }
    }
    std::vector<std::vector<unsigned>> out;
    for (std::size_t i = 0, c = 0; c < codes.size(); ++c) {
        out.push_back({codes[c]});
        for (unsigned k = 0; k < cells[i]; ++k) out.back().push_back(cells[i + 1 + k]);
        i += 1 + cells[i];
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: %s SCRIPT [PYTHON]\n", argv[0]), 2;
    const std::string python = argc > 2 ? argv[2] : "/usr/bin/python3";
    std::string dir = (std::filesystem::temp_directory_path() / "cellworks-interop-XXXXXX").string();
    if (!mkdtemp(dir.data())) return std::perror("mkdtemp"), 1;
    const auto pos3 = grid(3), pos2 = grid(2);

    // Every linear type in two columns, and a mixed matrix of each kind.
    const std::vector<int> linear_types = {cw::ET_BAR2,   cw::ET_TRIA3, cw::ET_QUAD4,    cw::ET_TETRA4,   cw::ET_PYRA5,
                                           cw::ET_PENTA6, cw::ET_HEXA8, cw::ET_FACE_MIX, cw::ET_SOLID_MIX};
    std::vector<ids> linear;
    for (std::size_t i = 0; i < 7; ++i) linear.push_back(block(cw::node_count(cw::element_type(linear_types[i])), 2));
    linear.push_back(ids(4, 2));
    const unsigned faces[8] = {1, 2, 3, NO, 4, 5, 6, 7};
    std::copy(faces, faces + 8, linear.back().data());
    linear.push_back(ids(8, 4, NO));
    for (unsigned j = 0, nodes[4] = {4, 5, 6, 8}; j < 4; ++j)
        for (unsigned r = 0; r < nodes[j]; ++r) linear.back()(r, j) = 10 + j + r;
    // Every quadratic type in one column.
    const std::vector<int> quadratic_types = {cw::ET_BAR3,    cw::ET_TRIA6,   cw::ET_QUAD8,
                                              cw::ET_QUAD9,   cw::ET_TETRA10, cw::ET_PYRA14,
                                              cw::ET_PENTA18, cw::ET_HEXA20,  cw::ET_HEXA27};
    std::vector<ids> quadratic;
    for (int t : quadratic_types) quadratic.push_back(block(cw::node_count(cw::element_type(t)), 1));
    const ids flat[2] = {block(3, 3), block(4, 2)};
    const std::vector<int> flat_types = {cw::ET_TRIA3, cw::ET_QUAD4};

    struct mesh {
        const char* name;
        const tq5::dense2D<double>& pos;
        const ids* begin;
        const ids* end;
        const std::vector<int>& types;
        std::map<std::string, unsigned> vtk, medit;
    };
    const mesh meshes[3] = {
        {"linear",
         pos3,
         linear.data(),
         linear.data() + linear.size(),
         linear_types,
         {{"line", 2}, {"triangle", 3}, {"quad", 3}, {"tetra", 3}, {"pyramid", 3}, {"wedge", 3}, {"hexahedron", 3}},
         {{"line", 2}, {"triangle", 3}, {"quad", 3}, {"tetra", 3}, {"hexahedron", 9}}},
        {"quadratic",
         pos3,
         quadratic.data(),
         quadratic.data() + quadratic.size(),
         quadratic_types,
         {{"line", 1},
          {"triangle", 1},
          {"quad", 2},
          {"tetra", 1},
          {"pyramid", 1},
          {"wedge", 1},
          {"hexahedron", 2},
          {"polyvertex", 9}},
         {{"line", 1}, {"triangle", 1}, {"quad", 2}, {"tetra", 1}, {"hexahedron", 4}}},
        {"flat", pos2, flat, flat + 2, flat_types, {{"triangle", 3}, {"quad", 2}}, {{"triangle", 3}, {"quad", 2}}},
    };
    std::string list = "[";
    for (const mesh& m : meshes) {
        const std::string base = dir + "/" + m.name;
        const tq5::dense1D<int> types = [&] {
            tq5::dense1D<int> v(m.types.size());
            std::copy(m.types.begin(), m.types.end(), v.begin());
            return v;
        }();
        if (cw::vtk_output((base + ".vtk").c_str(), m.pos, m.begin, m.end, types) != 0 ||
            cw::medit_output((base + ".mesh").c_str(), m.pos, m.begin, m.end, types) != 0)
            return std::fprintf(stderr, "could not write %s\n", m.name), 1;
        list += (list.size() > 1 ? ", " : "") +
                json({std::string(m.name) + ".vtk", "vtk", &m.pos, m.vtk, vtk_cells(m.begin, m.end, m.types)}) + ", " +
                json({std::string(m.name) + ".mesh", "medit", &m.pos, m.medit, {}});
    }
    std::FILE* f = std::fopen((dir + "/expected.json").c_str(), "w");
    if (!f) return std::perror("expected.json"), 1;
    std::fputs((list + "]\n").c_str(), f);
    std::fclose(f);
    const int status = std::system((python + " " + argv[1] + " " + dir).c_str());
    std::filesystem::remove_all(dir);
    return status == 0 ? 0 : 1;
}

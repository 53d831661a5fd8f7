// Writes VTK and Medit files of small meshes of every element type into a
// fresh directory, then has read_back.py read them with outside readers and
// compare them with what it knows of these meshes. Exit code: 0 when the
// script passes, 1 otherwise.
//
// Usage: cellworks_interop_readers SCRIPT PYTHON
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <tq5/cellworks.hpp>

namespace cw = tq5::cellworks;
using ids = tq5::dense2D<unsigned>;

namespace {

// The nodes n = i + 3 j + 9 k of a 3 x 3 x 3 grid at (i, j, k) 0.3721 - 1/7,
// in their first `rows` coordinates.
tq5::dense2D<double> grid(unsigned rows) {
    tq5::dense2D<double> pos(rows, 27);
    for (unsigned n = 0; n < 27; ++n)
        for (unsigned r = 0, step = 1; r < rows; ++r, step *= 3) pos(r, n) = (n / step % 3) * 0.3721 - 1 / 7.0;
    return pos;
}

// `count` columns of `rows` rows: column j holds j, j + 1, ...
ids block(unsigned rows, unsigned count) {
    ids m(rows, count);
    for (unsigned j = 0; j < count; ++j)
        for (unsigned r = 0; r < rows; ++r) m(r, j) = j + r;
    return m;
}

bool write(const std::string& base, const tq5::dense2D<double>& pos, const std::vector<ids>& m,
           const std::vector<int>& types) {
    tq5::dense1D<int> family_types(types.size());
    std::copy(types.begin(), types.end(), family_types.begin());
    const ids* range = m.data();
    return cw::vtk_output((base + ".vtk").c_str(), pos, range, range + m.size(), family_types) == 0 &&
           cw::medit_output((base + ".mesh").c_str(), pos, range, range + m.size(), family_types) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return std::fprintf(stderr, "usage: %s SCRIPT PYTHON\n", argv[0]), 1;
    std::string dir = (std::filesystem::temp_directory_path() / "cellworks-interop-XXXXXX").string();
    if (!mkdtemp(dir.data())) return std::perror("mkdtemp"), 1;
    // linear: each linear type in two columns, a mixed face matrix of a
    // triangle and a quadrangle, a mixed solid one of each solid.
    std::vector<int> types = {cw::ET_BAR2,   cw::ET_TRIA3, cw::ET_QUAD4,    cw::ET_TETRA4,   cw::ET_PYRA5,
                              cw::ET_PENTA6, cw::ET_HEXA8, cw::ET_FACE_MIX, cw::ET_SOLID_MIX};
    std::vector<ids> linear;
    for (int i = 0; i < 7; ++i) linear.push_back(block(cw::node_count(cw::element_type(types[i])), 2));
    linear.push_back(block(4, 2));
    linear.back()(3, 0) = cw::NO_INDEX;
    linear.push_back(ids(8, 4, cw::NO_INDEX));
    for (unsigned j = 0, nodes[4] = {4, 5, 6, 8}; j < 4; ++j)
        for (unsigned r = 0; r < nodes[j]; ++r) linear.back()(r, j) = 10 + j + r;
    bool ok = write(dir + "/linear", grid(3), linear, types);
    // quadratic: each quadratic type in one column.
    types = {cw::ET_BAR3,   cw::ET_TRIA6,   cw::ET_QUAD8,  cw::ET_QUAD9, cw::ET_TETRA10,
             cw::ET_PYRA14, cw::ET_PENTA18, cw::ET_HEXA20, cw::ET_HEXA27};
    std::vector<ids> quadratic;
    for (int t : types) quadratic.push_back(block(cw::node_count(cw::element_type(t)), 1));
    ok = ok && write(dir + "/quadratic", grid(3), quadratic, types);
    // flat: triangles and quadrangles in 2 rows.
    ok = ok && write(dir + "/flat", grid(2), {block(3, 3), block(4, 2)}, {cw::ET_TRIA3, cw::ET_QUAD4});
    const int status = ok ? std::system((std::string(argv[2]) + " " + argv[1] + " " + dir).c_str()) : -1;
    std::filesystem::remove_all(dir);
    if (!ok) std::fprintf(stderr, "a file could not be written\n");
    return status == 0 ? 0 : 1;
}

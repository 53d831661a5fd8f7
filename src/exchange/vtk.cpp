#include <tq5/cellworks/exchange/vtk.hpp>

#include <algorithm>
#include <new>
#include <vector>

#include <tq5/cellworks/connectivity/element_ordering.hpp>
#include <tq5/cellworks/core/check_IDs.hpp>

#include "detail/families.hpp"
#include "detail/real_text.hpp"
#include "detail/text_out.hpp"

namespace tq5 {
namespace cellworks {

namespace detail {

namespace {

// The fixed type of a run of `nodes` valid nodes in a mixed matrix of `mixed`
// type; `ET_UNKNOWN` for a count that names no element.
element_type run_type(element_type mixed, unsigned nodes) noexcept {
    if (mixed == ET_SOLID_MIX) {
        switch (nodes) {
            case 8: return ET_HEXA8;
            case 6: return ET_PENTA6;
            case 5: return ET_PYRA5;
            case 4: return ET_TETRA4;
            default: return ET_UNKNOWN;
        }
    }
    return nodes == 4 ? ET_QUAD4 : nodes == 3 ? ET_TRIA3 : ET_UNKNOWN;
}

// The runs of a mixed matrix as views on a sorted copy of it.
bool expand_mixed(const dense2D<unsigned>& m, element_type mixed, unsigned label, std::vector<family>& out) {
    dense2D<unsigned> sorted;
    dense1D<unsigned> sizes, ends, old_to_new;
    if (!sorted.copy(m)) return false;
    sort_elfes(sorted, sizes, ends, old_to_new);
    // sort_elfes reports no storage failure: it then leaves the map or the run
    // lists short, and the last run does not end at the last column.
    const std::size_t runs = sizes.size();
    if (old_to_new.size() != m.cols() || ends.size() != runs || (runs ? ends[runs - 1] : 0) != sorted.cols())
        return false;
    std::size_t first = 0;
    for (std::size_t g = 0; g < sizes.size(); first = ends[g++]) {
        const element_type type = run_type(mixed, sizes[g]);
        if (type != ET_UNKNOWN) out.push_back({sorted.sub_matrix(0, first, sizes[g], ends[g] - first), type, label});
    }
    return true;
}

}  // namespace

int expand_families(const dense2D<unsigned>* begin, const dense2D<unsigned>* end, const dense1D<int>& family_types,
                    std::vector<family>& out) noexcept {
    out.clear();
    try {
        for (const dense2D<unsigned>* m = begin; m < end; ++m) {
            const unsigned label = unsigned(m - begin);
            const element_type type = element_type(family_types[label]);
            if (m->empty()) continue;
            if (type != ET_FACE_MIX && type != ET_SOLID_MIX)
                out.push_back({*m, type, label});
            else if (!expand_mixed(*m, type, label, out))
                return ERR_ALLOC;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int check_families(const dense2D<unsigned>* begin, const dense2D<unsigned>* end, const dense1D<int>& family_types,
                   std::size_t max_node) noexcept {
    if (begin > end) return -4;
    if (family_types.size() != std::size_t(end - begin)) return -5;
    const unsigned bound = unsigned(std::min<std::size_t>(max_node, NO_INDEX));
    for (const dense2D<unsigned>* m = begin; m < end; ++m)
        if (!check_IDs(*m, element_type(family_types[std::size_t(m - begin)]), bound)) return -3;
    return 0;
}

}  // namespace detail

namespace {

// The cell code of each element type, 0 for a type that makes no cell.
constexpr unsigned char vtk_codes[21] = {0, 0, 0, 3, 3, 0, 5, 9, 5, 9, 9, 0, 10, 10, 14, 14, 13, 13, 12, 12, 12};

// The cells of the list, one a line, walked by their counts to the end of the list.
void write_cells(detail::text_out& out, const dense1D<unsigned>& cells) noexcept {
    // A value takes at most 12 characters: 64 of them fit the room of one `at()`.
    constexpr std::size_t per_room = detail::text_out::room / 16;
    const unsigned* c = cells.data();
    const std::size_t size = cells.size();
    for (std::size_t i = 0; i < size;) {
        const std::size_t stop = i + 1 + std::min<std::size_t>(c[i], size - i - 1);
        while (i < stop) {
            char* o = out.at();
            for (const std::size_t part = std::min(stop, i + per_room); i < part; ++i) {
                o = detail::put_int(o, int(c[i]));
                *o++ = ' ';
            }
            if (i == stop) *o++ = '\n';
            out.done(o);
        }
    }
}

}  // namespace

int vtk_convert(const dense2D<unsigned>& connect, element_type FE, unsigned& ncells, dense1D<unsigned>& cells,
                dense1D<unsigned>& cell_types) noexcept {
    if (!check_IDs(connect, FE, NO_INDEX)) return -1;
    const element_type type = detail::to_element_type(FE);
    const unsigned code = vtk_codes[type];
    if (code == 0) return -2;
    const std::size_t rows = connect.rows(), cols = connect.cols(), corners = corner_count(type);
    if (rows < corners) return -1;
    if (cols == 0) return 0;
    const bool extra = rows > corners;
    const std::size_t old_cells = cells.size(), old_types = cell_types.size();
    const std::size_t new_cells = old_cells + (extra ? rows + 2 : corners + 1) * cols;
    const std::size_t new_types = old_types + (extra ? 2 : 1) * cols;
    if (!cells.reserve(new_cells, 2) || !cell_types.reserve(new_types, 2)) return ERR_ALLOC;
    cells.resize(new_cells);
    cell_types.resize(new_types);
    unsigned* c = cells.data() + old_cells;
    unsigned* t = cell_types.data() + old_types;
    const unsigned* column = connect.data();
    for (std::size_t j = 0; j < cols; ++j, column += connect.ld()) {
        *t++ = code;
        *c++ = unsigned(corners);
        for (std::size_t k = 0; k < corners; ++k) *c++ = column[k];
        if (code == 10) std::swap(c[-1], c[-2]);  // a tetrahedron goes out as 0, 1, 3, 2
        if (!extra) continue;
        *t++ = 2;
        *c++ = unsigned(rows - corners);
        for (std::size_t k = corners; k < rows; ++k) *c++ = column[k];
    }
    ncells += unsigned((extra ? 2 : 1) * cols);
    return 0;
}

int vtk_output(std::FILE* file, const dense2D<double>& pos, unsigned ncells, const dense1D<unsigned>& cells,
               const dense1D<unsigned>& cell_types) noexcept {
    if (!file) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    detail::text_out out(file);
    out.text("# vtk DataFile Version 2.0\nGenerated by TQ5 CellWorks(TM).\nASCII\nDATASET UNSTRUCTURED_GRID\n");
    char* o = detail::put_int(detail::put_text(out.at(), "\nPOINTS "), int(pos.cols()));
    out.done(detail::put_text(o, " double\n"));
    const double* x = pos.data();
    for (std::size_t j = 0; j < pos.cols(); ++j, x += pos.ld()) {
        o = out.at();
        *(o = detail::put_f6(o, x[0]))++ = ' ';
        *(o = detail::put_f6(o, x[1]))++ = ' ';
        *(o = detail::put_f6(o, pos.rows() == 3 ? x[2] : 0.0))++ = '\n';
        out.done(o);
    }
    o = detail::put_int(detail::put_text(out.at(), "\nCELLS "), int(ncells));
    *o++ = ' ';
    out.done(detail::put_text(detail::put_int(o, int(cells.size())), "\n"));
    write_cells(out, cells);
    o = detail::put_int(detail::put_text(out.at(), "\nCELL_TYPES "), int(cell_types.size()));
    out.done(detail::put_text(o, "\n"));
    for (const unsigned code : cell_types) {
        o = detail::put_int(out.at(), int(code));
        *o++ = '\n';
        out.done(o);
    }
    return 0;
}

int vtk_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>* connect_begin,
               const dense2D<unsigned>* connect_end, const dense1D<int>& family_types) noexcept {
    std::FILE* file = std::fopen(filename, "w");
    if (!file) return -1;
    // From here on, every failure leaves the stream open.
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    try {
        std::vector<detail::family> families;
        int rc = detail::checked_families(connect_begin, connect_end, family_types, pos.cols(), families);
        if (rc != 0) return rc;
        unsigned ncells = 0;
        dense1D<unsigned> cells, cell_types;
        for (const detail::family& f : families)
            if ((rc = vtk_convert(f.connect, f.type, ncells, cells, cell_types)) != 0) return rc;
        vtk_output(file, pos, ncells, cells, cell_types);  // 0: the stream and rows have passed
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
    std::fclose(file);
    return 0;
}

int vtk_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
               element_type FE) noexcept {
    return detail::write_range(vtk_output, filename, pos, {&connect}, {FE});
}

int vtk_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
               const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept {
    return detail::write_range(vtk_output, filename, pos, {&connectM1, &connectM2}, {FE1, FE2});
}

}  // namespace cellworks
}  // namespace tq5

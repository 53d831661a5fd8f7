#include <tq5/cellworks/exchange/nastran.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "detail/deck_families.hpp"
#include "detail/real_text.hpp"
#include "detail/text_files.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::file_ptr;
using detail::put_text;
using detail::text_writer;

// ---------------------------------------------------------------------------
// Reading.

struct card {
    const char* name;
    element_type type;
};
constexpr card cards[] = {
    {"BAR", ET_BAR2},      {"BEAM", ET_BAR2},    {"ROD", ET_BAR2},     {"CBAR", ET_BAR2},    {"CBEAM", ET_BAR2},
    {"CROD", ET_BAR2},     {"TRIA3", ET_TRIA3},  {"CTRIA3", ET_TRIA3}, {"TRIA6", ET_TRIA6},  {"CTRIA6", ET_TRIA6},
    {"QUAD4", ET_QUAD4},   {"CQUAD4", ET_QUAD4}, {"QUAD8", ET_QUAD8},  {"CQUAD8", ET_QUAD8}, {"TETRA", ET_TETRA4},
    {"CTETRA", ET_TETRA4}, {"PENTA", ET_PYRA5},  {"CPENTA", ET_PYRA5}, {"HEXA", ET_HEXA8},   {"CHEXA", ET_HEXA8},
};

const card* find_card(const std::string& name) noexcept {
    for (const card& c : cards)
        if (name == c.name) return &c;
    return nullptr;
}

// The lines of the deck as std::getline gives them, '\n' dropped. A failed
// read empties the line.
class deck_lines {
public:
    explicit deck_lines(std::FILE* f) : lines_(f) {}
    bool get(std::string& line) {
        const char *begin, *end;
        bool ended;
        if (!good_ || !lines_.next(begin, end, ended)) {
            good_ = false;
            line.clear();
            return false;
        }
        good_ = ended;
        line.assign(begin, end);
        return true;
    }

private:
    detail::line_reader lines_;
    bool good_ = true;
};

// Fields of an element card: up to eight characters each, cut early by a
// comma, which is dropped; blanks are kept. A line that ends right behind a
// comma has an empty last field.
void split_fields(const std::string& line, std::vector<std::string>& fields) {
    const char* p = line.data();
    const char* const end = p + line.size();
    for (;;) {
        const char* q = p;
        while (q != end && q - p < 8 && *q != ',') ++q;
        fields.emplace_back(p, q);
        if (q == end) return;
        p = *q == ',' ? q + 1 : q;
    }
}

struct nastran_reader {
    dense2D<double>& pos;
    dense2D<unsigned>& connect;
    dense1D<unsigned>& starts;
    dense1D<int>& types;
    dense1D<unsigned>& property_ids;
    std::string line, next;
    std::vector<std::string> fields, more;
    bool first_card = true;
    int last_type = 0;

    int read(deck_lines& in) {
        bool bulk = false;
        while (in.get(line)) {
            if (line.empty() || line[0] == '$') continue;
            if (!bulk) {
                bulk = line.find("BEGIN BULK") != std::string::npos;
                continue;
            }
            if (line.find("ENDDATA") != std::string::npos) break;
            if (line.compare(0, 4, "GRID") == 0) {
                const int code = grid(in);
                if (code < 0) return code;
            } else {
                element(in);
            }
        }
        starts.push_back(unsigned(connect.cols()));
        return bulk ? 0 : -1;
    }

    // One grid point, in the form its first line shows.
    int grid(deck_lines& in) {
        char name[8], system[8], text[4][8], rest[8];
        int id = 0, ignored[4];
        double x[3] = {0, 0, 0};
        if (line.compare(0, 5, "GRID*") == 0) {
            in.get(next);  // always consumed
            const int first = std::sscanf(line.c_str(), "%8c%32d%16lf%16lf%8c", name, &id, &x[0], &x[1], rest);
            const int second = std::sscanf(next.c_str(), "%8c%16lf%32d", rest, &x[2], &ignored[0]);
            if (first == EOF || second == EOF) return -1;
        } else if (line.find(',') != std::string::npos) {
            if (std::sscanf(line.c_str(), "GRID,%d,%d,%lf,%lf,%lf,%d,%d,%d,%d", &id, &ignored[0], &x[0], &x[1], &x[2],
                            &ignored[0], &ignored[1], &ignored[2], &ignored[3]) == EOF)
                return -1;
        } else {
            char z[8];
            std::memset(text, 0, sizeof text);
            if (std::sscanf(line.c_str(), "%8c%8d%8c%8c%8c%8c%8c%8d%8c%8c", name, &id, system, text[0], text[1],
                            text[2], rest, &ignored[0], z, rest) == EOF)
                return -1;
            for (int k = 0; k < 3; ++k) {
                char field[9] = {};
                std::memcpy(field, text[k], 8);
                x[k] = std::atof(field);
            }
        }
        const unsigned column = unsigned(id);
        if (!detail::reach_node_column(pos, column)) return ERR_ALLOC;
        std::copy(x, x + 3, &pos(0, column));
        return 0;
    }

    void element(deck_lines& in) {
        fields.clear();
        split_fields(line, fields);
        std::string name = fields[0];
        name.resize(std::min(name.find(' '), name.size()));
        const std::size_t star = name.find('*');
        name.resize(std::min(star, name.size()));
        const card* c = find_card(name);
        if (!c) return;
        if (star != std::string::npos) {
            in.get(next);
            more.clear();
            split_fields(next, more);
            fields.insert(fields.end(), more.begin() + 1, more.end());
        }
        const std::size_t nodes = node_count(c->type);
        if (nodes > connect.rows()) detail::reach_rows(connect, nodes);
        unsigned file[8], column[8];
        for (std::size_t k = 0; k < nodes; ++k) file[k] = unsigned(integer(3 + k));
        std::fill(column, column + 8, NO_INDEX);
        static constexpr unsigned tria6[6] = {0, 1, 2, 4, 5, 3}, tetra[4] = {0, 2, 1, 3};
        for (std::size_t k = 0; k < nodes; ++k) switch (c->type) {
                case ET_TRIA6: column[k] = file[tria6[k]]; break;
                case ET_TETRA4: column[k] = file[tetra[k]]; break;
                case ET_PYRA5: break;  // no rule for this type: the column stays empty
                default: column[k] = file[k];
            }
        // The column has the rows of `connect`, at least the type's nodes.
        if (connect.rows() >= nodes && connect.rows() <= 8) detail::append_column(connect, column);
        property_ids.push_back(unsigned(integer(2)));
        if (first_card) {
            types.push_back(c->type);
        } else if (c->type != last_type) {
            types.push_back(c->type);
            starts.push_back(unsigned(connect.cols() - 1));
        }
        first_card = false;
        last_type = c->type;
    }

    int integer(std::size_t k) const noexcept { return k < fields.size() ? std::atoi(fields[k].c_str()) : 0; }
};

int read_nastran(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect, dense1D<unsigned>& starts,
                 dense1D<int>& types, dense1D<unsigned>& property_ids) noexcept {
    pos.clear();
    connect.clear();
    starts.clear();
    types.clear();
    property_ids.clear();
    const file_ptr file(std::fopen(filename, "r"));
    if (!file) return -1;
    try {
        starts.push_back(0);
        nastran_reader reader{pos, connect, starts, types, property_ids, {}, {}, {}, {}};
        deck_lines in(file.get());
        return reader.read(in);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

// ---------------------------------------------------------------------------
// Writing.

// Card name and file order by type: file node f is library node order[f];
// `order` null means as stored, `zeros` a type written with that many 1s.
struct out_card {
    const char* name;
    const unsigned char* order;
    unsigned char zeros;
};
constexpr unsigned char tria6_order[] = {0, 1, 2, 5, 3, 4}, tetra4_order[] = {1, 0, 2, 3},
                        tetra10_order[] = {0, 2, 1, 3, 5, 4, 6, 7, 9, 8},
                        hexa20_order[] = {0, 1, 2, 3, 4, 5, 6, 7, 16, 15, 19, 12, 8, 9, 10, 11, 17, 14, 18, 13};

out_card out_card_of(element_type type) noexcept {
    switch (type) {
        case ET_NODE: return {"", nullptr, 1};
        case ET_BAR2: return {"CBAR", nullptr, 0};
        case ET_TRIA3: return {"CTRIA3", nullptr, 0};
        case ET_QUAD4: return {"CQUAD4", nullptr, 0};
        case ET_TRIA6: return {"CTRIA6", tria6_order, 0};
        case ET_QUAD8: return {"CQUAD8", nullptr, 0};
        case ET_TETRA4: return {"CTETRA", tetra4_order, 0};
        case ET_PYRA5: return {"CPENTA", nullptr, 5};
        case ET_TETRA10: return {"", tetra10_order, 0};
        case ET_HEXA20: return {"", hexa20_order, 0};
        default: return {type == ET_HEXA8 ? "CHEXA" : "", nullptr, 0};
    }
}

bool skipped_family(element_type type) noexcept {
    switch (type) {
        case ET_BAR3:
        case ET_QUAD9:
        case ET_PYRA5:
        case ET_PYRA14:
        case ET_PENTA18:
        case ET_HEXA27:
        case ET_UNKNOWN:
        case ET_BAR_MIX: return true;
        default: return false;
    }
}

const char* const rule = "$----------------------------------------\n";
const char* const blank = "$                                        \n";

char* put_e16(char* o, double x) { return detail::pad_left(o, detail::put_e<7, true>(o, x), 16); }

void write_deck(std::FILE* f, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                const dense1D<unsigned>& starts, const dense1D<int>& types, const dense1D<unsigned>& property_ids) {
    text_writer out(f);
    char* o = put_text(out.line(), "$ TQ5 CellWorks NASTRAN exporter\nBEGIN BULK\n");
    o = put_text(o, rule);
    o = put_text(o, "$ Referenced Material Records -----------\n$ Material Record :    ------------------\n");
    o = put_text(o, "$ Description of Material :   -----------\nMAT1    1       0.                 0.  0.\n");
    o = put_text(put_text(put_text(o, rule), blank), "$                GRID POINTS             \n");
    out.done(put_text(put_text(o, blank), rule));
    for (std::size_t i = 0; i < pos.cols(); ++i) {
        const double* x = &pos(0, i);
        o = detail::put_int(put_text(out.line(), "GRID*   "), int(i + 1), 16);
        o = put_e16(put_e16(put_text(o, "                "), x[0]), x[1]);
        out.done(put_text(put_e16(put_text(o, "*\n*       "), x[2]), "\n"));
    }
    o = put_text(put_text(put_text(out.line(), rule), blank), "$                 ELEMENTS               \n");
    out.done(put_text(put_text(o, blank), rule));
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (skipped_family(element_type(types[k])) || starts[k] == starts[k + 1]) continue;
        const element_type type = detail::resolve_family(connect, starts[k], element_type(types[k]));
        const out_card c = out_card_of(type);
        const std::size_t nodes = node_count(type);
        for (std::size_t j = starts[k]; j < starts[k + 1]; ++j) {
            const unsigned* col = &connect(0, j);
            o = put_text(out.line(), c.name);
            *o++ = ',';
            o = detail::put_int(o, int(j + 1));
            *o++ = ',';
            o = detail::put_int(o, int(property_ids[j]));
            for (std::size_t f = 0; f < nodes; ++f) {
                *o++ = ',';
                const unsigned id = c.zeros ? 0u : col[c.order ? c.order[f] : f];
                o = detail::put_int(o, int(id + 1));
            }
            *o++ = '\n';
            out.done(o);
        }
    }
    out.done(put_text(out.line(), "ENDDATA\n"));
}

}  // namespace

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                  dense1D<unsigned>& family_starts, dense1D<int>& family_types,
                  dense1D<unsigned>& property_ids) noexcept {
    return read_nastran(filename, pos, connect, family_starts, family_types, property_ids);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connectM1,
                  dense2D<unsigned>& connectM2, element_type& FE1, element_type& FE2) noexcept {
    return detail::read_two_families(read_nastran, filename, pos, connectM1, connectM2, FE1, FE2, false);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect, element_type& FE) noexcept {
    return detail::read_one_matrix(read_nastran, filename, pos, connect, FE);
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                   const dense1D<unsigned>& family_starts, const dense1D<int>& family_types,
                   const dense1D<unsigned>& property_ids) noexcept {
    if (connect.rows() == 0 || connect.cols() == 0) return 0;
    std::FILE* f = std::fopen(filename, "w");
    if (!f) return -1;
    // On a refused argument the file stays open: callers rely on that.
    const int code = detail::check_families(pos, connect, family_starts, family_types, property_ids);
    if (code != 0) return code;
    const file_ptr file(f);
    try {
        write_deck(f, pos, connect, family_starts, family_types, property_ids);
        return 0;
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                   element_type FE) noexcept {
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    if (!detail::one_family(connect, FE, false, starts, types, property_ids)) return ERR_ALLOC;
    return NASTRAN_output(filename, pos, connect, starts, types, property_ids);
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                   const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept {
    const std::size_t n1 = connectM1.cols(), n2 = connectM2.cols();
    const std::size_t rows = std::max(node_count(FE1), node_count(FE2));
    dense2D<unsigned> connect;
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    if (!connect.resize(rows, n1 + n2, NO_INDEX) || !starts.push_back(0) || !starts.push_back(unsigned(n1)) ||
        !starts.push_back(unsigned(n1 + n2)) || !types.push_back(FE1) || !types.push_back(FE2) ||
        !property_ids.resize(n1 + n2, 1u))
        return ERR_ALLOC;
    const dense2D<unsigned>* from[2] = {&connectM1, &connectM2};
    const element_type type[2] = {FE1, FE2};
    for (std::size_t m = 0, j = 0; m < 2; ++m) {
        const std::size_t r = std::min<std::size_t>(node_count(type[m]), from[m]->rows());
        for (std::size_t c = 0; c < from[m]->cols(); ++c, ++j) {
            if (r) std::copy(&(*from[m])(0, c), &(*from[m])(0, c) + r, &connect(0, j));
            if (m == 1) property_ids[j] = 2;
        }
    }
    return NASTRAN_output(filename, pos, connect, starts, types, property_ids);
}

}  // namespace cellworks
}  // namespace tq5

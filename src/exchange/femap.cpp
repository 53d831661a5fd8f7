#include <tq5/cellworks/exchange/femap.hpp>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "detail/deck_families.hpp"
#include "detail/real_text.hpp"
#include "detail/text_files.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::file_ptr;
using detail::is_blank;
using detail::is_digit;
using detail::put_text;
using detail::put_unsigned;
using detail::text_writer;

// The element kinds of the records: topology code, and for each library node
// k the slot (0 to 19) that holds it. Reader and writer use the same table.
struct topology {
    element_type type;
    int code;
    unsigned char slot[20];
};
constexpr topology topologies[] = {
    {ET_BAR2, 0, {0, 1}},
    {ET_BAR3, 1, {0, 1, 2}},
    {ET_TRIA3, 2, {0, 1, 2}},
    {ET_TRIA6, 3, {0, 1, 2, 4, 5, 3}},
    {ET_QUAD4, 4, {0, 1, 2, 3}},
    {ET_QUAD8, 5, {0, 1, 2, 3, 4, 5, 6, 7}},
    {ET_TETRA4, 6, {1, 0, 2, 4}},
    {ET_PENTA6, 7, {0, 1, 2, 4, 5, 6}},
    {ET_HEXA8, 8, {0, 1, 2, 3, 4, 5, 6, 7}},
    {ET_NODE, 9, {0}},
    {ET_TETRA10, 10, {0, 2, 1, 4, 9, 8, 10, 12, 14, 13}},
    {ET_HEXA20, 12, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}},
};

template <class Key> const topology* find_topology(Key topology::*key, Key value) noexcept {
    for (const topology& t : topologies)
        if (t.*key == value) return &t;
    return nullptr;
}

// A piece of a line: [begin, end).
struct text {
    const char* begin = nullptr;
    const char* end = nullptr;
};

// The lines of a file as std::getline hands them out: after the end a read
// fails and leaves the caller's line as it was, except for the first failing
// read of a file whose last line was ended, which empties it.
class line_source {
public:
    explicit line_source(std::FILE* file) : lines_(file) {}

    // Throws std::bad_alloc for a line that cannot be held.
    bool get(text& line) {
        if (!good_) return false;
        bool ended = false;
        const bool got = lines_.next(line.begin, line.end, ended);
        if (!got) line = {};
        good_ = got && ended;
        return got;
    }

    void skip(int lines) {
        text ignored;
        while (lines-- > 0) get(ignored);
    }

private:
    detail::line_reader lines_;
    bool good_ = true;
};

// Whether `line` is `word` once its blanks are taken out.
bool reads(text line, const char* word) noexcept {
    for (const char* p = line.begin; p != line.end; ++p)
        if (!is_blank(*p) && (*word == '\0' || *word++ != *p)) return false;
    return *word == '\0';
}

// atoi of the text as the C library computes it: strtol's value, which
// saturates at the range of a 64-bit long, cut to its low 32 bits.
int to_int(text t) noexcept {
    const char* p = detail::skip_blanks(t.begin, t.end);
    const bool negative = p != t.end && *p == '-';
    if (p != t.end && (*p == '+' || *p == '-')) ++p;
    constexpr std::uint64_t limit = std::uint64_t(1) << 63;
    std::uint64_t v = 0;
    for (; p != t.end && is_digit(*p); ++p) {
        const unsigned d = unsigned(*p - '0');
        v = v > (limit - d) / 10 ? limit : v * 10 + d;
    }
    const std::uint64_t as_long = negative ? (v >= limit ? limit : 0 - v) : (v >= limit ? limit - 1 : v);
    return static_cast<int>(static_cast<std::uint32_t>(as_long));
}

// atof of the text, which needs it closed by a zero.
double to_real(text t) {
    const std::size_t n = std::size_t(t.end - t.begin);
    char small[64];
    if (n >= sizeof small) return std::atof(std::string(t.begin, t.end).c_str());
    std::memcpy(small, t.begin, n);
    small[n] = '\0';
    return std::atof(small);
}

// The first N fields of a line split at commas, empty fields dropped, as
// std::getline with ',' gives them; a field that is not there reads 0.
template <std::size_t N> struct fields {
    text at[N];
    std::size_t count = 0;

    explicit fields(text line) noexcept {
        for (const char* p = line.begin; p != line.end && count < N;) {
            const void* comma = std::memchr(p, ',', std::size_t(line.end - p));
            const char* q = comma ? static_cast<const char*>(comma) : line.end;
            if (q != p) at[count++] = {p, q};
            p = q == line.end ? q : q + 1;
        }
    }
    int integer(std::size_t k) const noexcept { return k < count ? to_int(at[k]) : 0; }
    double real(std::size_t k) const { return k < count ? to_real(at[k]) : 0.0; }
};

struct femap_reader {
    dense2D<double>& pos;
    dense2D<unsigned>& connect;
    dense1D<unsigned>& starts;
    dense1D<int>& types;
    dense1D<unsigned>& property_ids;
    unsigned records = 0;
    element_type last_type = ET_UNKNOWN;

    // Line by line: outside a block, a line "403" or "404" opens one; inside,
    // "-1" closes it and any other line is a record. Stops at the first
    // negative code.
    int read(line_source& in) {
        enum { none, nodes, elements } block = none;
        bool in_block = false;
        text line;
        int code = 0;
        while (code >= 0 && in.get(line)) {
            if (!in_block) {
                block = reads(line, "403") ? nodes : reads(line, "404") ? elements : none;
                in_block = block != none;
            } else if (reads(line, "-1")) {
                in_block = false;
            } else {
                code = block == nodes ? node(line) : element(in, line);
            }
        }
        return code;
    }

    // Field 0 is the id, fields 11 to 13 the coordinates.
    int node(text line) {
        const fields<14> f(line);
        // A negative id widens to a column beyond any matrix.
        const std::size_t id = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(f.integer(0)));
        if (!detail::reach_node_column(pos, id)) return ERR_ALLOC;
        double* x = &pos(0, id);
        for (std::size_t k = 0; k < 3; ++k) x[k] = f.real(11 + k);
        return 0;
    }

    // A record of seven lines; `line` is the first, and is reused for the
    // next two, so that at the end of the file they read as it is left.
    int element(line_source& in, text& line) {
        const fields<5> head(line);
        const unsigned property = unsigned(head.integer(1));
        const topology* t = find_topology(&topology::code, head.integer(4));
        if (!t) {
            in.skip(6);
        } else {
            unsigned slots[20];
            for (std::size_t half = 0; half < 20; half += 10) {
                in.get(line);
                const fields<10> ids(line);
                for (std::size_t k = 0; k < 10; ++k) slots[half + k] = unsigned(ids.integer(k));
            }
            store(*t, slots);
            in.skip(4);
            property_ids.push_back(property);
            ++records;
        }
        family(t ? t->type : ET_UNKNOWN);
        return 0;
    }

    // The column of the record in as many rows as `connect` has, at least
    // the type's nodes; storage that cannot be had leaves it out.
    void store(const topology& t, const unsigned* slots) noexcept {
        const std::size_t nodes = node_count(t.type);
        if (!detail::reach_rows(connect, nodes)) return;
        unsigned column[20];
        std::fill(column, column + connect.rows(), NO_INDEX);
        for (std::size_t k = 0; k < nodes; ++k) column[k] = slots[t.slot[k]];
        detail::append_column(connect, column);
    }

    // A type other than the last opens a family at the last record; records
    // of unknown topology take part with no column.
    void family(element_type type) noexcept {
        if (last_type != ET_UNKNOWN && last_type != type) {
            types.push_back(type);
            starts.push_back(records - 1);
        }
        if (last_type == ET_UNKNOWN) types.push_back(type);
        last_type = type;
    }
};

int read_femap(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect, dense1D<unsigned>& starts,
               dense1D<int>& types, dense1D<unsigned>& property_ids) noexcept {
    pos.clear();
    connect.clear();
    starts.clear();
    types.clear();
    property_ids.clear();
    const file_ptr file(std::fopen(filename, "r"));
    if (!file) return -1;
    starts.push_back(0);
    femap_reader reader{pos, connect, starts, types, property_ids};
    int code;
    try {
        line_source in(file.get());
        code = reader.read(in);
    } catch (const std::bad_alloc&) {
        code = ERR_ALLOC;
    }
    starts.push_back(reader.records);
    return code;
}

// As a C++ stream writes a double by default: "%.6g" of the classic locale.
char* put_real(char* out, double x) { return std::to_chars(out, out + 32, x, std::chars_format::general, 6).ptr; }

void write_nodes(text_writer& out, const dense2D<double>& pos) {
    for (std::size_t i = 0; i < pos.cols(); ++i) {
        const double* x = &pos(0, i);
        char* o = put_text(put_unsigned(out.line(), i), ",0,0,1,0,0,0,0,0,0,0,");
        for (int k = 0; k < 3; ++k) *(o = put_real(o, x[k]))++ = ',';
        out.done(put_text(o, "0,\n"));
    }
}

// The records of columns [begin, end), all of kind `t`.
void write_elements(text_writer& out, const dense2D<unsigned>& connect, const dense1D<unsigned>& property_ids,
                    std::size_t begin, std::size_t end, const topology& t) {
    const std::size_t nodes = node_count(t.type);
    for (std::size_t j = begin; j < end; ++j) {
        const unsigned* column = &connect(0, j);
        unsigned slots[20] = {};
        for (std::size_t k = 0; k < nodes; ++k) slots[t.slot[k]] = column[k];
        char* o = put_unsigned(out.line(), j);
        *o++ = ',';
        o = put_text(put_unsigned(put_text(put_unsigned(o, property_ids[j]), ",0,32,"), unsigned(t.code)),
                     ",1,0,0,0,0,0,0,0,\n");
        for (std::size_t s = 0; s < 20; ++s) {
            *(o = put_unsigned(o, slots[s]))++ = ',';
            if (s % 10 == 9) *o++ = '\n';
        }
        out.done(put_text(o, "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n"));
    }
}

void write_femap(std::FILE* file, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                 const dense1D<unsigned>& starts, const dense1D<int>& types, const dense1D<unsigned>& property_ids) {
    const char* const stars = "*********************************\n";
    text_writer out(file);
    char* o = put_text(put_text(put_text(out.line(), stars), "*********** NODES ***************\n"), stars);
    out.done(put_text(o, "-1\n403\n"));
    write_nodes(out, pos);
    o = put_text(put_text(put_text(out.line(), "-1\n"), stars), "********* ELEMENTS **************\n");
    out.done(put_text(put_text(o, stars), "-1\n404\n"));
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (starts[k] == starts[k + 1]) continue;
        const element_type type = detail::resolve_family(connect, starts[k], element_type(types[k]));
        if (const topology* t = find_topology(&topology::type, type))
            write_elements(out, connect, property_ids, starts[k], starts[k + 1], *t);
    }
    out.done(put_text(out.line(), "-1\n"));
}

}  // namespace

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect,
                dense1D<unsigned>& family_starts, dense1D<int>& family_types,
                dense1D<unsigned>& property_ids) noexcept {
    return read_femap(filename, pos, connect, family_starts, family_types, property_ids);
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connectM1, dense2D<unsigned>& connectM2,
                element_type& FE1, element_type& FE2) noexcept {
    return detail::read_two_families(read_femap, filename, pos, connectM1, connectM2, FE1, FE2, true);
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect, element_type& FE) noexcept {
    return detail::read_one_matrix(read_femap, filename, pos, connect, FE);
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                 const dense1D<unsigned>& family_starts, const dense1D<int>& family_types,
                 const dense1D<unsigned>& property_ids) noexcept {
    const file_ptr file(std::fopen(filename, "w"));
    if (connect.empty()) return 0;
    if (!file) return -1;
    const int code = detail::check_families(pos, connect, family_starts, family_types, property_ids);
    if (code != 0) return code;
    try {
        write_femap(file.get(), pos, connect, family_starts, family_types, property_ids);
        return 0;
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
                 element_type FE) noexcept {
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    if (!detail::one_family(connect, FE, true, starts, types, property_ids)) return ERR_ALLOC;
    return FEMAP_output(filename, pos, connect, starts, types, property_ids);
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connectM1,
                 const dense2D<unsigned>& connectM2, element_type FE1, element_type FE2) noexcept {
    dense2D<unsigned> connect;
    dense1D<unsigned> starts, property_ids;
    dense1D<int> types;
    if (!connect.push_back(connectM1) || !connect.push_back(connectM2) || !starts.push_back(0) ||
        !starts.push_back(unsigned(connectM1.cols())) || !starts.push_back(unsigned(connect.cols())) ||
        !types.push_back(FE1) || !types.push_back(FE2) || !property_ids.push_back(1) || !property_ids.push_back(2))
        return ERR_ALLOC;
    // The append leaves the rows that a matrix lacks undefined: no node there.
    const std::size_t rows = connect.rows(), first = connectM1.cols();
    for (std::size_t j = 0; j < connect.cols() && rows; ++j) {
        const std::size_t own = j < first ? connectM1.rows() : connectM2.rows();
        std::fill(&connect(0, j) + own, &connect(0, j) + rows, NO_INDEX);
    }
    return FEMAP_output(filename, pos, connect, starts, types, property_ids);
}

}  // namespace cellworks
}  // namespace tq5

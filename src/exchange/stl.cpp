#include <tq5/cellworks/exchange/stl.hpp>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/cellworks/editing/cleaning.hpp>
#include <tq5/cellworks/editing/merge.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {
namespace cellworks {

namespace {

constexpr std::size_t line_size = 256;  // 255 characters and the terminating zero
constexpr std::size_t merge_batch = 100000;

// Smallest squared distance from a vertex of the triangle to the line through
// the two others; an edge of zero length leaves the squared cross length undivided.
double smallest_height2(const double* const v[3]) noexcept {
    static const int others[3][2] = {{1, 2}, {0, 2}, {0, 1}};
    double least = DBL_MAX;
    for (int k = 0; k < 3; ++k) {
        const double *a = v[others[k][0]], *b = v[others[k][1]], *p = v[k];
        const double e[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, w[3] = {p[0] - a[0], p[1] - a[1], p[2] - a[2]};
        const double c[3] = {e[1] * w[2] - e[2] * w[1], e[2] * w[0] - e[0] * w[2], e[0] * w[1] - e[1] * w[0]};
        const double cross2 = c[0] * c[0] + c[1] * c[1] + c[2] * c[2], edge2 = e[0] * e[0] + e[1] * e[1] + e[2] * e[2];
        least = std::min(least, edge2 > 0 ? cross2 / edge2 : cross2);
    }
    return least;
}

// The running minimum of the triangles' heights, and the vertices read so far.
struct soup {
    dense2D<double>& pos;
    double least_height2 = DBL_MAX;

    bool append(double x, double y, double z) noexcept { return pos.push_back(vector_fixed<double, 3>{{x, y, z}}); }
    // Takes the last three vertices as a triangle into the minimum.
    void close_triangle() noexcept {
        const std::size_t c = pos.cols();
        const double* v[3] = {&pos(0, c - 3), &pos(0, c - 2), &pos(0, c - 1)};
        const double h2 = smallest_height2(v);
        if (h2 > 0 && h2 < least_height2) least_height2 = h2;
    }
};

// Exact duplicates joined batch by batch, then the whole mesh within the
// tolerance; collapsed triangles and unused nodes dropped.
int conform(dense2D<double>& pos, dense2D<unsigned>& connect, double tolerance) noexcept {
    dense1D<unsigned> map;
    for (std::size_t first = 0; first < connect.cols(); first += merge_batch) {
        dense2D<unsigned> batch = connect.sub_matrix(0, first, 3, std::min(merge_batch, connect.cols() - first));
        const int rc = merge(pos, batch, map, 0.0, 0);
        if (rc < 0) return rc;
    }
    int rc = merge(pos, connect, map, tolerance, 0);
    if (rc >= 0) rc = remove_degenerated(connect, map, true);
    if (rc >= 0) rc = simplify(pos, connect, map, 0);
    return rc < 0 ? rc : 0;
}

// The soup's triangles as 0, 1, 2, ..., then merged when some triangle has a
// positive height.
int close_soup(soup& s, dense2D<unsigned>& connect) noexcept {
    if (!connect.resize(3, s.pos.cols() / 3)) return ERR_ALLOC;
    unsigned* c = connect.data();
    for (std::size_t i = 0; i < connect.size(); ++i) c[i] = unsigned(i);
    if (!(s.least_height2 > 0) || s.least_height2 == DBL_MAX) return 0;
    return conform(s.pos, connect, 0.05 * std::sqrt(s.least_height2));
}

// One line of at most 255 characters, lower-cased; false at the end of the file.
bool get_line(std::FILE* f, char* line) noexcept {
    if (!std::fgets(line, int(line_size), f)) return false;
    for (char* p = line; *p; ++p)
        if (*p >= 'A' && *p <= 'Z') *p = char(*p - 'A' + 'a');
    return true;
}

bool line_has(std::FILE* f, char* line, const char* word) noexcept {
    return get_line(f, line) && std::strstr(line, word);
}

int read_ascii(const char* filename, soup& s, dense2D<unsigned>& connect) noexcept {
    std::FILE* f = std::fopen(filename, "r");
    if (!f) return -1;
    char line[line_size];
    if (!get_line(f, line) || !std::strstr(line, "solid")) return -2;  // the file stays open
    const auto fail = [f](int code) {
        std::fclose(f);
        return code;
    };
    for (;;) {
        if (!get_line(f, line)) return fail(-3);
        if (std::strstr(line, "endsolid")) break;
        double x, y, z;
        if (std::sscanf(line, " facet normal %lg %lg %lg\n", &x, &y, &z) != 3) return fail(-3);
        if (!line_has(f, line, "outer loop")) return fail(-3);
        for (int k = 0; k < 3; ++k) {
            if (!get_line(f, line) || std::sscanf(line, " vertex %lg %lg %lg\n", &x, &y, &z) != 3) return fail(-3);
            if (!s.append(x, y, z)) return fail(ERR_ALLOC);
        }
        if (!line_has(f, line, "endloop") || !line_has(f, line, "endfacet")) return fail(-3);
        s.close_triangle();
    }
    std::fclose(f);
    return close_soup(s, connect);
}

// Reads a file through a buffer of its own; the bytes come out as with one
// read per value.
class byte_reader {
public:
    explicit byte_reader(std::FILE* f) noexcept : f_(f) {}
    bool read(unsigned char* out, std::size_t n) noexcept {
        while (n > 0) {
            if (at_ == end_ && !refill()) return false;
            const std::size_t k = std::min(n, std::size_t(end_ - at_));
            std::memcpy(out, at_, k);
            at_ += k, out += k, n -= k;
        }
        return true;
    }
    // A little-endian 32-bit float widened to double.
    bool read_float(double& x) noexcept {
        unsigned char b[4];
        if (!read(b, 4)) return false;
        const std::uint32_t u = b[0] | std::uint32_t(b[1]) << 8 | std::uint32_t(b[2]) << 16 | std::uint32_t(b[3]) << 24;
        float v;
        std::memcpy(&v, &u, 4);
        x = v;
        return true;
    }

private:
    bool refill() noexcept {
        at_ = buffer_;
        end_ = buffer_ + std::fread(buffer_, 1, sizeof buffer_, f_);
        return end_ != at_;
    }
    std::FILE* f_;
    unsigned char buffer_[1 << 16];
    unsigned char *at_ = buffer_, *end_ = buffer_;
};

int read_binary(const char* filename, soup& s, dense2D<unsigned>& connect) noexcept {
    std::FILE* f = std::fopen(filename, "rb");
    if (!f) return -1;
    byte_reader in(f);
    unsigned char header[80], count_bytes[4];
    if (!in.read(header, 80)) return -1;      // the file stays open
    if (!in.read(count_bytes, 4)) return -3;  // the file stays open
    const std::int32_t count = std::int32_t(count_bytes[0] | std::uint32_t(count_bytes[1]) << 8 |
                                            std::uint32_t(count_bytes[2]) << 16 | std::uint32_t(count_bytes[3]) << 24);
    // Room for the records the file can hold, so that the vertices are not
    // moved as the matrix grows; on failure the appends grow it step by step.
    struct stat file;
    if (count > 0 && fstat(fileno(f), &file) == 0 && file.st_size > 84)
        s.pos.reserve(3, 3 * std::min<std::size_t>(std::size_t(count), std::size_t(file.st_size - 84) / 50));
    int rc = 0;
    for (std::int32_t t = 0; t < count && rc == 0; ++t) {
        double v[3];
        for (int k = 0; k < 3; ++k)
            if (!in.read_float(v[k])) rc = -3;
        for (int vertex = 0; vertex < 3 && rc == 0; ++vertex) {
            for (int k = 0; k < 3; ++k)
                if (rc == 0 && !in.read_float(v[k])) rc = -3;
            if (rc == 0 && !s.append(v[0], v[1], v[2])) rc = ERR_ALLOC;
        }
        if (rc != 0) break;
        unsigned char attribute[2];
        if (!in.read(attribute, 2)) rc = -3;  // the triangle still counts for the tolerance
        s.close_triangle();
    }
    std::fclose(f);
    return rc != 0 ? rc : close_soup(s, connect);
}

}  // namespace

int STL_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& connect) noexcept {
    pos.clear();
    connect.clear();
    soup s{pos};
    int rc = read_ascii(filename, s, connect);
    if (rc >= -198 && rc <= -1) {
        pos.clear();
        connect.clear();
        s.least_height2 = DBL_MAX;
        rc = read_binary(filename, s, connect);
    }
    if (rc != 0) {
        pos.clear();
        connect.clear();
    }
    return rc;
}

namespace {

// Facet normal of the triangle: the cross product scaled by its inverse
// length, zero when that length is 0.
void facet_normal(const double* a, const double* b, const double* c, double n[3]) noexcept {
    const double e[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, w[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    n[0] = e[1] * w[2] - e[2] * w[1], n[1] = e[2] * w[0] - e[0] * w[2], n[2] = e[0] * w[1] - e[1] * w[0];
    const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    const double scale = len == 0 ? 0 : 1 / len;
    for (int k = 0; k < 3; ++k) n[k] = len == 0 ? 0 : n[k] * scale;
}

// The three values stored from the start of a node's column; with 2 rows the
// third is the next stored value, or 0 past the end of the storage.
struct node_reader {
    const dense2D<double>& pos;
    void operator()(unsigned id, double p[3]) const noexcept {
        const double* x = &pos(0, id);
        p[0] = x[0], p[1] = x[1];
        const std::size_t third = pos.offset() + id * pos.ld() + 2;
        p[2] = pos.rows() == 3 || third < pos.block()->capacity() ? x[2] : 0;
    }
};

int write_ascii(std::FILE* f, const dense2D<unsigned>& connect, node_reader node) noexcept {
    if (std::fprintf(f, "solid TQ5\n") <= 0) return -1;
    for (std::size_t t = 0; t < connect.cols(); ++t) {
        double v[3][3], n[3];
        for (int k = 0; k < 3; ++k) node(connect(k, t), v[k]);
        facet_normal(v[0], v[1], v[2], n);
        if (std::fprintf(f, "   facet normal %le %le %le\n", n[0], n[1], n[2]) <= 0) return -1;
        if (std::fprintf(f, "      outer loop\n") <= 0) return -1;
        for (int k = 0; k < 3; ++k)
            if (std::fprintf(f, "         vertex %le %le %le\n", v[k][0], v[k][1], v[k][2]) <= 0) return -1;
        if (std::fprintf(f, "      endloop\n") <= 0) return -1;
        if (std::fprintf(f, "   endfacet\n") <= 0) return -1;
    }
    return std::fprintf(f, "endsolid TQ5\n") < 0 ? -1 : 0;
}

// Collects little-endian values and writes them in large pieces.
class byte_writer {
public:
    explicit byte_writer(std::FILE* f) noexcept : f_(f) {}
    bool put(const void* bytes, std::size_t n) noexcept {
        if (used_ + n > sizeof buffer_ && !flush()) return false;
        std::memcpy(buffer_ + used_, bytes, n);
        used_ += n;
        return true;
    }
    bool put_u32(std::uint32_t u) noexcept {
        const unsigned char b[4] = {(unsigned char)(u), (unsigned char)(u >> 8), (unsigned char)(u >> 16),
                                    (unsigned char)(u >> 24)};
        return put(b, 4);
    }
    bool put_float(double x) noexcept {
        const float v = float(x);
        std::uint32_t u;
        std::memcpy(&u, &v, 4);
        return put_u32(u);
    }
    bool flush() noexcept {
        const bool ok = std::fwrite(buffer_, 1, used_, f_) == used_;
        used_ = 0;
        return ok;
    }

private:
    std::FILE* f_;
    unsigned char buffer_[1 << 16];
    std::size_t used_ = 0;
};

int write_binary(std::FILE* f, const dense2D<unsigned>& connect, node_reader node) noexcept {
    byte_writer out(f);
    unsigned char header[80] = "TQ5 STL Binary";
    if (!out.put(header, 80) || !out.put_u32(std::uint32_t(connect.cols()))) return -1;
    const unsigned char attribute[2] = {0, 0};
    for (std::size_t t = 0; t < connect.cols(); ++t) {
        double v[3][3], n[3];
        for (int k = 0; k < 3; ++k) node(connect(k, t), v[k]);
        facet_normal(v[0], v[1], v[2], n);
        for (int k = 0; k < 3; ++k)
            if (!out.put_float(n[k])) return -1;
        for (int k = 0; k < 9; ++k)
            if (!out.put_float(v[k / 3][k % 3])) return -1;
        if (!out.put(attribute, 2)) return -1;
    }
    return out.flush() ? 0 : -1;
}

}  // namespace

int STL_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& connect,
               bool ascii) noexcept {
    std::FILE* f = std::fopen(filename, ascii ? "w" : "wb");
    if (!f) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;  // the file stays open
    if (!check_IDs(connect, ET_TRIA3, unsigned(std::min<std::size_t>(pos.cols(), NO_INDEX)))) return -3;  // open
    const node_reader node{pos};
    const int rc = ascii ? write_ascii(f, connect, node) : write_binary(f, connect, node);
    std::fclose(f);
    return rc;
}

}  // namespace cellworks
}  // namespace tq5

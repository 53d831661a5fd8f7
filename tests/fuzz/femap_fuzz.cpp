// Fuzz target of the FEMAP reader and writer. The bytes become a file in
// memory. Whatever they hold, the reader returns 0 or ERR_ALLOC with family
// lists that fit its matrices; when the lists are whole, what was read is
// written and read back to the same connectivity and lists, and written again
// to the same bytes. Blocks above 32 MB cannot be had here, as on a small
// machine, so that large node ids take the ERR_ALLOC path, and only meshes of
// at most 4096 nodes are written, so that runs stay short.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <tq5/cellworks.hpp>

#include "fuzz/memory_file.hpp"

extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1:max_allocation_size_mb=32"; }

namespace {

namespace cw = tq5::cellworks;

void require(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "femap_fuzz: %s\n", what);
    std::abort();
}

// The same entries, with ld = rows on both sides.
template <class V> bool same(const V& a, const V& b) {
    return a.size() == b.size() &&
           (a.size() == 0 || std::memcmp(a.data(), b.data(), a.size() * sizeof(*a.data())) == 0);
}

struct deck {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> connect;
    tq5::dense1D<unsigned> starts, props;
    tq5::dense1D<int> types;
    int read(const memory_file& f) { return cw::FEMAP_input(f.path.c_str(), pos, connect, starts, types, props); }
    int write(const memory_file& f) { return cw::FEMAP_output(f.path.c_str(), pos, connect, starts, types, props); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const memory_file in("femap_in"), out("femap_out");
    in.fill(data, size);
    deck d, back;
    const int rc = d.read(in);
    const std::size_t n = d.connect.cols(), nodes = d.pos.cols();
    require(rc == 0 || rc == cw::ERR_ALLOC, "code");
    require(d.starts.size() >= 2 && d.starts[0] == 0 && d.starts[d.starts.size() - 1] == n, "family starts");
    require(d.props.size() == n && d.connect.rows() <= 20 && (d.pos.rows() == 3 || nodes == 0), "shapes");
    tq5::dense2D<unsigned> m1, m2;
    cw::element_type fe1, fe2;
    require(cw::FEMAP_input(in.path.c_str(), back.pos, m1, m2, fe1, fe2) == rc && m1.cols() + m2.cols() <= n &&
                m2.rows() <= d.connect.rows(),
            "two-matrix form");

    // Records of unknown topology make families of no column, which are not written.
    bool whole = rc == 0 && n != 0 && nodes != 0 && nodes <= 4096 && d.types.size() + 1 == d.starts.size();
    for (std::size_t k = 0; whole && k < d.types.size(); ++k) whole = d.types[k] != cw::ET_UNKNOWN;
    if (!whole) return 0;
    require(d.write(out) == 0 && back.read(out) == 0 && back.pos.cols() == nodes, "writing and reading back");
    require(same(back.connect, d.connect) && back.connect.rows() == d.connect.rows(), "connectivity read back");
    require(same(back.starts, d.starts) && same(back.types, d.types) && same(back.props, d.props), "lists read back");
    const std::string first = out.bytes();
    require(back.write(out) == 0 && out.bytes() == first, "nodes read back");
    return 0;
}

// Fuzz target of the NASTRAN reader and writer. The bytes become a file in
// memory. Whatever they hold, the reader returns 0, -1 or ERR_ALLOC with
// family lists that fit its matrices, and the other two forms agree with it.
// A deck read whole, whose families all have their nodes, is written and read
// back to as many columns. Blocks above 32 MB cannot be had here, so that
// large grid ids take the ERR_ALLOC path; meshes of more than 4096 nodes are
// not written, so that runs stay short.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <tq5/cellworks.hpp>

#include "fuzz/memory_file.hpp"

extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1:max_allocation_size_mb=32"; }

namespace {

namespace cw = tq5::cellworks;

void require(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "nastran_fuzz: %s\n", what);
    std::abort();
}

struct deck {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> connect;
    tq5::dense1D<unsigned> starts, props;
    tq5::dense1D<int> types;
    int read(const memory_file& f) { return cw::NASTRAN_input(f.path.c_str(), pos, connect, starts, types, props); }
};

// Every family has a type with a card and no NO_INDEX among its nodes, so
// that the writer takes the lists.
bool writable(const deck& d) {
    for (std::size_t k = 0; k < d.types.size(); ++k) {
        const cw::element_type type = cw::element_type(d.types[k]);
        if (type == cw::ET_PYRA5) return false;
        for (std::size_t j = d.starts[k]; j < d.starts[k + 1]; ++j)
            for (unsigned r = 0; r < cw::node_count(type); ++r)
                if (d.connect(r, j) == cw::NO_INDEX) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const memory_file in("nastran_in"), out("nastran_out");
    in.fill(data, size);
    deck d, back;
    const int rc = d.read(in);
    const std::size_t n = d.connect.cols();
    require(rc == 0 || rc == -1 || rc == cw::ERR_ALLOC, "code");
    require(d.props.size() == n && d.connect.rows() <= 8 && (d.pos.rows() == 3 || d.pos.cols() == 0), "shapes");
    tq5::dense2D<unsigned> m1, m2, all;
    cw::element_type fe1 = cw::ET_NODE, fe2 = cw::ET_NODE, fe = cw::ET_NODE;
    require(cw::NASTRAN_input(in.path.c_str(), back.pos, m1, m2, fe1, fe2) == rc, "two-matrix form");
    require(cw::NASTRAN_input(in.path.c_str(), back.pos, all, fe) == rc && all.cols() == n, "one-matrix form");
    if (rc != 0) return 0;
    require(d.starts.size() == d.types.size() + 1 || (n == 0 && d.starts.size() == 2), "family starts");
    require(d.starts[0] == 0 && d.starts[d.starts.size() - 1] == n && m1.cols() + m2.cols() <= n, "families");
    if (n == 0 || d.pos.cols() == 0 || d.pos.cols() > 4096 || !writable(d)) return 0;
    require(cw::NASTRAN_output(out.path.c_str(), d.pos, d.connect, d.starts, d.types, d.props) == 0, "writing");
    require(back.read(out) == 0 && back.connect.cols() == n && back.pos.cols() >= d.pos.cols(), "reading back");
    return 0;
}

// Fuzz target of the OBJ reader and writer. The bytes become a file in
// memory, read by the library and by the stream version (obj_stream.hpp),
// which must agree on the code and on every value; what was read is written
// by both, which must give the same bytes. The leading bytes, taken as
// doubles, are also printed by the library's %.8e printer and by snprintf.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <tq5/cellworks.hpp>

#include "exchange/detail/real_text.hpp"
#include "exchange/obj_stream.hpp"
#include "fuzz/memory_file.hpp"

namespace {

using obj_stream::ids;
using obj_stream::reals;

void require(bool same, const char* what) {
    if (same) return;
    std::fprintf(stderr, "obj_fuzz: %s differ\n", what);
    std::abort();
}

template <class T> bool same(const tq5::dense2D<T>& a, const tq5::dense2D<T>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (std::size_t j = 0; j < a.cols() && a.rows(); ++j)
        if (std::memcmp(&a(0, j), &b(0, j), a.rows() * sizeof(T)) != 0) return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const memory_file in("obj_in"), out("obj_out"), ref("obj_ref");
    in.fill(data, size);
    reals pos, normals, uvs, spos, snormals, suvs;
    ids tria, quad, stria, squad;
    const int rc = tq5::cellworks::WavefrontOBJ_input(in.path.c_str(), pos, normals, uvs, tria, quad);
    require(rc == obj_stream::input(in.path.c_str(), spos, snormals, suvs, stria, squad), "codes");
    require(same(pos, spos) && same(normals, snormals) && same(uvs, suvs), "reals read");
    require(same(tria, stria) && same(quad, squad), "faces read");

    const int wrc = tq5::cellworks::WavefrontOBJ_output(out.path.c_str(), pos, normals, uvs, tria, quad);
    require(wrc == obj_stream::output(ref.path.c_str(), pos, normals, uvs, tria, quad), "writer codes");
    require(out.bytes() == ref.bytes(), "files written");

    for (std::size_t i = 0; i + 8 <= size && i < 256; i += 8) {
        double x;
        std::memcpy(&x, data + i, sizeof x);
        char fast[tq5::cellworks::detail::e8_room], plain[64];
        std::snprintf(plain, sizeof plain, "%.8e", x);
        require(std::string(fast, tq5::cellworks::detail::put_e8(fast, x)) == plain, "printed reals");
    }
    return 0;
}

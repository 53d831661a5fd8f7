// Fuzz target of the STL reader. The bytes become a file in memory; whatever
// they hold, the reader must return with both outputs empty on a failure, or
// with valid triangles over its nodes, and what it read must be written and
// read back to the same mesh. The reader leaves the file open on some early
// failures, as documented; the streams opened during a call are noted here
// and those still open afterwards are closed, so that a long run does not
// exhaust its file handles.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <tq5/cellworks.hpp>

#include "fuzz/memory_file.hpp"

namespace {

std::vector<std::FILE*>* open_streams = nullptr;

template <class F> F real(const char* name) { return reinterpret_cast<F>(dlsym(RTLD_NEXT, name)); }

void require(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "stl_fuzz: %s\n", what);
    std::abort();
}

}  // namespace

// The library's calls to fopen and fclose come here first.
extern "C" std::FILE* fopen(const char* path, const char* mode) {
    static const auto open = real<std::FILE* (*)(const char*, const char*)>("fopen");
    std::FILE* f = open(path, mode);
    if (f && open_streams) open_streams->push_back(f);
    return f;
}
extern "C" int fclose(std::FILE* f) {
    static const auto close = real<int (*)(std::FILE*)>("fclose");
    if (open_streams)
        for (auto& s : *open_streams)
            if (s == f) s = nullptr;
    return close(f);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace cw = tq5::cellworks;
    static const memory_file in("stl_in"), out("stl_out");
    in.fill(data, size);
    std::vector<std::FILE*> streams;
    open_streams = &streams;
    tq5::dense2D<double> pos, again;
    tq5::dense2D<unsigned> tria, tria_again;
    const int rc = cw::STL_input(in.path.c_str(), pos, tria);
    int rc_out = 0, rc_again = 0;
    if (rc == 0 && !tria.empty()) {
        require(tria.rows() == 3 && pos.rows() == 3, "shapes");
        require(cw::check_IDs(tria, cw::ET_TRIA3, unsigned(pos.cols())), "node ids");
        rc_out = cw::STL_output(out.path.c_str(), pos, tria, false);
        rc_again = cw::STL_input(out.path.c_str(), again, tria_again);
    }
    open_streams = nullptr;
    for (std::FILE* f : streams)
        if (f) fclose(f);
    require(rc == 0 || rc == -1 || rc == -2 || rc == -3 || rc == cw::ERR_ALLOC, "code");
    require(rc == 0 || (pos.cols() == 0 && tria.cols() == 0), "outputs kept after a failure");
    require(rc_out <= 0, "writing what was read");
    require(rc_again <= 0, "reading what was written");
    return 0;
}

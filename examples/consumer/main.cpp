// Links the library, finds the two triangles of a square as neighbours, and
// checks that the library reports the version its package announced
// (EXPECTED_VERSION, given by the build: CMake package or pkg-config).
#include <cstdio>
#include <cstring>

#include <tq5/cellworks.hpp>

int main() {
    namespace cw = tq5::cellworks;
    tq5::dense2D<unsigned> tria;
    tria.push_back(tq5::vector_fixed<unsigned, 3>{{0, 1, 2}});
    tria.push_back(tq5::vector_fixed<unsigned, 3>{{0, 2, 3}});
    tq5::dense2D<unsigned> nb;
    const int rc = cw::get_neighbors(tria, cw::ET_TRIA3, false, nb);
    if (rc != 0 || nb(1, 0) != 1 || nb(2, 1) != 0) {
        std::printf("consumer: unexpected result %d\n", rc);
        return 1;
    }
#ifdef EXPECTED_VERSION
    if (std::strcmp(cw::version(), EXPECTED_VERSION) != 0) {
        std::printf("consumer: the library says version %s, its package %s\n", cw::version(), EXPECTED_VERSION);
        return 1;
    }
#endif
    std::printf("consumer: CellWorks %s linked and working\n", cw::version());
    return 0;
}

// Links the installed library and finds the two triangles of a square as neighbours.
#include <cstdio>

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
    std::printf("consumer: CellWorks %s linked and working\n", cw::version());
    return 0;
}

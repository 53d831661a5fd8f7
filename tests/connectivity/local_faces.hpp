// The local entities of each linear element kind, written out here as positions
// in the column, so that a wrong table in the library fails the connectivity
// tests instead of feeding their expected results.
#pragma once

#include "test_support.hpp"

namespace local_faces {

using table = std::vector<cwtest::list>;

// Entity i of a bar is the node opposite node i, of a triangle the edge
// opposite node i, of a quadrangle the edge from node i to node i + 1, of a
// tetrahedron the face opposite node i. Faces of solids turn outward.
inline const table bar2 = {{1}, {0}};
inline const table tria3 = {{1, 2}, {2, 0}, {0, 1}};
inline const table quad4 = {{0, 1}, {1, 2}, {2, 3}, {3, 0}};
inline const table tetra4 = {{1, 2, 3}, {2, 0, 3}, {1, 3, 0}, {2, 1, 0}};
inline const table pyra5 = {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}};
inline const table penta6 = {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}};
inline const table hexa8 = {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};

}  // namespace local_faces

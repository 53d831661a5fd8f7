// CellWorks demo: the library's main job on generated blocks of tetrahedra and
// hexahedra. Each mesh is validated, its neighbours, boundary, connected parts
// and node graph are computed; then a size field with a sharp jump is bounded,
// measured along the edges, and graded, with the time of every step.
// Optional argument: cells per block edge (default 40).
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"

namespace cw = tq5::cellworks;

namespace {

const char* describe(int code) {
    if (code >= 0) return "ok";
    if (code == cw::ERR_ALLOC) return "out of memory";
    return "bad argument";
}

// Runs one step, prints its time and detail, and returns false on a negative code.
template <class Step> bool step(const char* name, Step run) {
    char detail[128] = "";
    const auto t0 = std::chrono::steady_clock::now();
    const int rc = run(detail, sizeof detail);
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    if (rc < 0) {
        std::printf("  %-26s failed: %s (%d)\n", name, describe(rc), rc);
        return false;
    }
    std::printf("  %-26s %9.1f ms  %s\n", name, ms, detail);
    return true;
}

bool connectivity(const char* title, const tq5::dense2D<double>& pos, const tq5::dense2D<unsigned>& connect,
                  cw::element_type type) {
    std::printf("%s: %zu elements on %zu nodes\n", title, connect.cols(), pos.cols());
    tq5::dense2D<unsigned> neighbors, faces;
    tq5::dense1D<unsigned> elements, parts, indices, nodes;
    return step("check_IDs",
                [&](char* d, std::size_t n) {
                    const bool ok = cw::check_IDs(connect, type, unsigned(pos.cols()));
                    std::snprintf(d, n, "%s", ok ? "valid" : "invalid");
                    return ok ? 0 : -1;
                }) &&
           step("get_neighbors",
                [&](char* d, std::size_t n) {
                    const int rc = cw::get_neighbors(connect, type, false, neighbors);
                    std::snprintf(d, n, "%zu x %zu neighbour matrix", neighbors.rows(), neighbors.cols());
                    return rc;
                }) &&
           step("get_mesh_boundaries",
                [&](char* d, std::size_t n) {
                    const int rc = cw::get_mesh_boundaries(connect, neighbors, type, faces);
                    std::snprintf(d, n, "%zu boundary faces", faces.cols());
                    return rc;
                }) &&
           step("get_subdomains",
                [&](char* d, std::size_t n) {
                    const int rc = cw::get_subdomains(neighbors, elements, parts);
                    std::snprintf(d, n, "%zu connected part(s)", parts.empty() ? 0 : parts.size() - 1);
                    return rc;
                }) &&
           step("get_node_graph", [&](char* d, std::size_t n) {
               const int rc = cw::get_node_graph(connect, indices, nodes);
               const std::size_t nn = indices.empty() ? 0 : indices.size() - 1;
               std::snprintf(d, n, "%.2f neighbours per node", nn ? double(nodes.size()) / double(nn) : 0.0);
               return rc;
           });
}

// A size field of 1 with a ball of size 0.05 around the block's centre: a jump
// that no mesh can follow until it is graded.
void jump_field(const tq5::dense2D<double>& pos, double centre, tq5::dense1D<double>& sizes) {
    sizes.resize(pos.cols());
    for (std::size_t i = 0; i < pos.cols(); ++i) {
        const double dx = pos(0, i) - centre, dy = pos(1, i) - centre, dz = pos(2, i) - centre;
        sizes[i] = std::sqrt(dx * dx + dy * dy + dz * dz) < centre / 3 ? 0.05 : 1.0;
    }
}

bool size_field(const tq5::dense2D<double>& pos, const tq5::dense2D<unsigned>& tets, double centre) {
    std::printf("size field on the tetrahedra\n");
    tq5::dense1D<double> sizes, shock;
    tq5::dense2D<unsigned> edges;
    tq5::misc::histogram quality(0.0, 2.0, 10);
    jump_field(pos, centre, sizes);
    auto worst_shock = [&](char* d, std::size_t n) {
        shock.clear();  // H_shock keeps what it finds as a floor
        const int rc = cw::H_shock(pos, edges, sizes, shock);
        double worst = 0;
        for (double s : shock) worst = s > worst ? s : worst;
        std::snprintf(d, n, "largest shock %.3g", worst);
        return rc;
    };
    return step("bound_metrics",
                [&](char* d, std::size_t n) {
                    const int rc = cw::bound_metrics(sizes, 0.1, 2.0);
                    std::snprintf(d, n, "sizes clamped to [0.1, 2]");
                    return rc;
                }) &&
           step("copy_edges",
                [&](char* d, std::size_t n) {
                    const int rc = cw::copy_edges(tets, cw::ET_TETRA4, edges);
                    std::snprintf(d, n, "%zu edges", edges.cols());
                    return rc;
                }) &&
           step("H_shock", worst_shock) &&
           step("edge_qualities",
                [&](char* d, std::size_t n) {
                    const int rc =
                        cw::edge_qualities(pos, tets, cw::ET_TETRA4, sizes, quality, tq5::dense2D<unsigned>());
                    std::snprintf(d, n, "metric length %.3g to %.3g, mean %.3g", quality.min(), quality.max(),
                                  quality.mean());
                    return rc;
                }) &&
           step("bound_metric_gradations",
                [&](char* d, std::size_t n) {
                    const int rc = cw::bound_metric_gradations(pos, tets, cw::ET_TETRA4, tq5::dense1D<unsigned>(), true,
                                                               -1, 0.3, sizes);
                    std::snprintf(d, n, "%d nodes changed to a gradation of 0.3", rc);
                    return rc;
                }) &&
           step("H_shock", worst_shock);
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned n = argc > 1 ? unsigned(std::strtoul(argv[1], nullptr, 10)) : 40;
    if (n == 0 || n > 400) {
        std::fprintf(stderr, "usage: %s [cells per block edge, 1 to 400]\n", argv[0]);
        return 2;
    }
    std::printf("CellWorks %s demo, blocks of %u x %u x %u cells\n", cw::version(), n, n, n);
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tets, hexa;
    if (!tq5::fixtures::block_nodes(n, n, n, pos) || !tq5::fixtures::block_tetra(n, n, n, tets) ||
        !tq5::fixtures::block_hexa(n, n, n, hexa)) {
        std::fprintf(stderr, "out of memory building the blocks\n");
        return 1;
    }
    const bool ok = connectivity("tetrahedra", pos, tets, cw::ET_TETRA4) &&
                    connectivity("hexahedra", pos, hexa, cw::ET_HEXA8) && size_field(pos, tets, n / 2.0);
    return ok ? 0 : 1;
}

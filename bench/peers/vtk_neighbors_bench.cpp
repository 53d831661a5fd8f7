// Peer comparison: element neighbours of the 1M-tetrahedra block through the
// visualization toolkit's static point-to-cell links plus face matching, and
// through its per-cell neighbour query, beside get_neighbors in the same run;
// and its node-to-cell links beside get_connected_elements.
#include <vector>

#include <benchmark/benchmark.h>
#include <vtkCellArray.h>
#include <vtkCellType.h>
#include <vtkIdList.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkStaticCellLinks.h>
#include <vtkUnstructuredGrid.h>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"

#include "connectivity/detail/faces.hpp"

namespace cw = tq5::cellworks;

namespace {

struct meshes {
    tq5::dense2D<double> pos;
    tq5::dense2D<unsigned> tets;
    vtkNew<vtkUnstructuredGrid> grid;
    meshes() {
        tq5::fixtures::block_nodes(55, 55, 55, pos);
        tq5::fixtures::block_tetra(55, 55, 55, tets);
        vtkNew<vtkPoints> points;
        points->SetNumberOfPoints(vtkIdType(pos.cols()));
        for (std::size_t i = 0; i < pos.cols(); ++i) points->SetPoint(vtkIdType(i), pos(0, i), pos(1, i), pos(2, i));
        grid->SetPoints(points);
        grid->Allocate(vtkIdType(tets.cols()));
        for (std::size_t e = 0; e < tets.cols(); ++e) {
            vtkIdType ids[4] = {tets(0, e), tets(1, e), tets(2, e), tets(3, e)};
            grid->InsertNextCell(VTK_TETRA, 4, ids);
        }
    }
};

meshes& data() {
    static meshes m;
    return m;
}

void counters(benchmark::State& state) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(data().tets.cols()));
}

void BM_get_neighbors_tetra(benchmark::State& state) {
    tq5::dense2D<unsigned> nb;
    for (auto _ : state) {
        cw::get_neighbors(data().tets, cw::ET_TETRA4, false, nb);
        benchmark::DoNotOptimize(nb.data());
    }
    counters(state);
}

// Static links, then for each face (the three nodes other than one) the cells
// of its first node that hold the other two, all through the grid's own API.
void BM_peer_static_links_tetra(benchmark::State& state) {
    meshes& m = data();
    const std::size_t n = m.tets.cols();
    std::vector<vtkIdType> nb(4 * n);
    for (auto _ : state) {
        vtkNew<vtkStaticCellLinks> links;
        links->BuildLinks(m.grid);
        for (std::size_t e = 0; e < n; ++e) {
            vtkIdType npts = 0;
            const vtkIdType* pts = nullptr;
            m.grid->GetCellPoints(vtkIdType(e), npts, pts);
            for (unsigned i = 0; i < 4; ++i) {
                const vtkIdType f0 = pts[(i + 1) % 4], f1 = pts[(i + 2) % 4], f2 = pts[(i + 3) % 4];
                vtkIdType found = -1;
                const vtkIdType nc = links->GetNcells(f0);
                const vtkIdType* cells = links->GetCells(f0);
                for (vtkIdType k = 0; k < nc && found < 0; ++k) {
                    const vtkIdType c = cells[k];
                    if (c == vtkIdType(e)) continue;
                    vtkIdType on = 0;
                    const vtkIdType* other = nullptr;
                    m.grid->GetCellPoints(c, on, other);
                    int hits = 0;
                    for (vtkIdType r = 0; r < on; ++r) hits += (other[r] == f1) + (other[r] == f2);
                    if (hits == 2) found = c;
                }
                nb[4 * e + i] = found;
            }
        }
        benchmark::DoNotOptimize(nb.data());
    }
    counters(state);
}

// Node to element lists: get_connected_elements against the peer's static links alone.
void BM_get_connected_elements_tetra(benchmark::State& state) {
    tq5::dense1D<unsigned> indices, elements;
    for (auto _ : state) {
        cw::get_connected_elements(data().tets, indices, elements);
        benchmark::DoNotOptimize(elements.data());
    }
    counters(state);
}

void BM_peer_build_links_tetra(benchmark::State& state) {
    for (auto _ : state) {
        vtkNew<vtkStaticCellLinks> links;
        links->BuildLinks(data().grid);
        benchmark::DoNotOptimize(links->GetCells(0));
    }
    counters(state);
}

// The grid's own per-cell neighbour query, face by face.
void BM_peer_get_cell_neighbors_tetra(benchmark::State& state) {
    meshes& m = data();
    const std::size_t n = m.tets.cols();
    vtkNew<vtkIdList> face, cells;
    face->SetNumberOfIds(3);
    std::size_t linked = 0;
    for (auto _ : state) {
        m.grid->BuildLinks();
        for (std::size_t e = 0; e < n; ++e)
            for (unsigned i = 0; i < 4; ++i) {
                unsigned f[3];
                cw::detail::entity_nodes(cw::detail::tetra_face, &m.tets(0, e), i, 3, f);
                for (int k = 0; k < 3; ++k) face->SetId(k, f[k]);
                m.grid->GetCellNeighbors(vtkIdType(e), face, cells);
                linked += std::size_t(cells->GetNumberOfIds());
            }
        benchmark::DoNotOptimize(linked);
    }
    counters(state);
}

}  // namespace

BENCHMARK(BM_get_neighbors_tetra)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_peer_static_links_tetra)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_get_connected_elements_tetra)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_peer_build_links_tetra)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_peer_get_cell_neighbors_tetra)->Unit(benchmark::kMillisecond)->Iterations(1);

BENCHMARK_MAIN();

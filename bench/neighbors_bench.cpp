// get_neighbors on structured blocks of about 1M tetrahedra and 1M hexahedra,
// against a plain sort-based face pairing of the same faces in the same run.
#include <algorithm>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include <tq5/cellworks.hpp>

#include "block_mesh.hpp"
#include "peak_memory.hpp"

#include "connectivity/detail/faces.hpp"

namespace cw = tq5::cellworks;

namespace {

struct block {
    tq5::dense2D<unsigned> connect;
    cw::element_type type;
};

// 55^3 cells x 6 = 998,250 tetrahedra; 100^3 = 1,000,000 hexahedra.
const block& tetra_block() {
    static block b = [] {
        block m{{}, cw::ET_TETRA4};
        tq5::fixtures::block_tetra(55, 55, 55, m.connect);
        return m;
    }();
    return b;
}
const block& hexa_block() {
    static block b = [] {
        block m{{}, cw::ET_HEXA8};
        tq5::fixtures::block_hexa(100, 100, 100, m.connect);
        return m;
    }();
    return b;
}

void report(benchmark::State& state, const block& m) {
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(m.connect.cols()));
    state.counters["elements"] = double(m.connect.cols());
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;  // input included
}

void run_get_neighbors(benchmark::State& state, const block& m) {
    tq5::dense2D<unsigned> nb;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        const int rc = cw::get_neighbors(m.connect, m.type, false, nb);
        if (rc != 0) state.SkipWithError("get_neighbors failed");
        benchmark::DoNotOptimize(nb.data());
    }
    report(state, m);
}

// Baseline: every face as its sorted node list plus entity id, one sort, and
// a pass linking equal neighbours in the sorted order.
struct face_rec {
    unsigned n[4];
    unsigned entity;
    bool operator<(const face_rec& o) const {
        for (int k = 0; k < 4; ++k)
            if (n[k] != o.n[k]) return n[k] < o.n[k];
        return false;
    }
    bool same(const face_rec& o) const { return n[0] == o.n[0] && n[1] == o.n[1] && n[2] == o.n[2] && n[3] == o.n[3]; }
};

void run_sort_baseline(benchmark::State& state, const block& m, const cw::detail::local_entities& k) {
    const std::size_t cols = m.connect.cols(), E = k.count;
    std::vector<face_rec> faces;
    std::vector<unsigned> nb;
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        faces.resize(cols * E);
        nb.assign(cols * E, cw::NO_INDEX);
        const unsigned* d = m.connect.data();
        face_rec* f = faces.data();
        for (std::size_t e = 0; e < cols; ++e) {
            const unsigned* col = d + e * m.connect.ld();
            for (unsigned i = 0; i < E; ++i, ++f) {
                cw::detail::entity_nodes(k, col, i, 4, f->n);
                std::sort(f->n, f->n + 4);
                f->entity = unsigned(e * E + i);
            }
        }
        std::sort(faces.begin(), faces.end());
        for (std::size_t i = 0; i + 1 < faces.size(); ++i)
            if (faces[i].same(faces[i + 1])) {
                nb[faces[i].entity] = unsigned(faces[i + 1].entity / E);
                nb[faces[i + 1].entity] = unsigned(faces[i].entity / E);
                ++i;
            }
        benchmark::DoNotOptimize(nb.data());
    }
    report(state, m);
}

void BM_get_neighbors_tetra(benchmark::State& s) { run_get_neighbors(s, tetra_block()); }
void BM_sort_pairing_tetra(benchmark::State& s) { run_sort_baseline(s, tetra_block(), cw::detail::tetra_faces); }
void BM_get_neighbors_hexa(benchmark::State& s) { run_get_neighbors(s, hexa_block()); }
void BM_sort_pairing_hexa(benchmark::State& s) { run_sort_baseline(s, hexa_block(), cw::detail::hexa_faces); }

}  // namespace

BENCHMARK(BM_get_neighbors_tetra)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_sort_pairing_tetra)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_get_neighbors_hexa)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_sort_pairing_hexa)->Unit(benchmark::kMillisecond)->MinTime(2.0);

BENCHMARK_MAIN();

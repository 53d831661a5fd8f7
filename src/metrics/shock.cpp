#include <tq5/cellworks/metrics/shock.hpp>

#include "detail/edge_list.hpp"
#include "detail/metric_core.hpp"
#include "detail/metric_field.hpp"

namespace tq5 {
namespace cellworks {

namespace {

template <int N, class Field>
void raise_shocks(const dense2D<double>& pos, const dense2D<unsigned>& edges, const Field& field,
                  double* shock) noexcept {
    const auto nodes = detail::nodes_of<N>(field);
    const double* p = pos.data();
    const std::size_t ld = pos.ld(), eld = edges.ld();
    const unsigned* e = edges.data();
    for (std::size_t k = 0, n = edges.cols(); k < n; ++k) {
        const unsigned i = e[k * eld], j = e[k * eld + 1];
        if (i >= nodes.count || j >= nodes.count) continue;
        const double s = detail::edge_shock<N>(p + i * ld, p + j * ld, nodes[i], nodes[j]);
        if (s > shock[i]) shock[i] = s;
        if (s > shock[j]) shock[j] = s;
    }
}

template <class Field>
int shocks(const dense2D<double>& pos, const dense2D<unsigned>& edges, const Field& field,
           dense1D<double>& shock) noexcept {
    if (edges.empty()) return 0;
    return detail::by_coordinate_rows(pos.rows(), -1, [&](auto n) {
        if (!detail::edge_block_ok(edges, ET_BAR2, detail::node_limit(pos.cols()))) return -2;
        if (!shock.resize(pos.cols(), 0.0)) return ERR_ALLOC;
        raise_shocks<decltype(n)::value>(pos, edges, field, shock.data());
        return 0;
    });
}

}  // namespace

int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& edges, const dense2D<double>& metrics,
            dense1D<double>& shock) noexcept {
    return shocks(pos, edges, metrics, shock);
}

int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& edges, const dense1D<double>& sizes,
            dense1D<double>& shock) noexcept {
    return shocks(pos, edges, sizes, shock);
}

}  // namespace cellworks
}  // namespace tq5

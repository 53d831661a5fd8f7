#include <tq5/cellworks/metrics/gradation.hpp>

#include <cfloat>
#include <new>

#include <tq5/cellworks/core/check_IDs.hpp>

#include "../detail/node_graph.hpp"
#include "detail/gradation_control.hpp"
#include "detail/metric_field.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// The field kind of the control loop for each container, and its row test.
template <int N> detail::tensor_values<N> values_of(dense2D<double>& f) noexcept { return {f.data(), f.ld()}; }
template <int N> detail::size_values<N> values_of(dense1D<double>& f) noexcept { return {f.data()}; }
template <int N> bool rows_fit(const dense2D<double>& f) noexcept { return f.rows() == std::size_t(detail::packed<N>); }
template <int N> bool rows_fit(const dense1D<double>&) noexcept { return true; }

// The set-up after the argument tests: per-node stamps and direction bytes,
// the node graph, then the control loop.
template <int N, class Measure, class Field>
int control(const dense2D<double>& pos, const dense2D<unsigned>& connectM, const dense1D<unsigned>& hard_nodes,
            bool hold, int direction, double limit, Field& field) {
    dense1D<unsigned> stamp;
    if (!stamp.resize(pos.cols(), hold ? 0u : NO_INDEX)) return ERR_ALLOC;
    for (const unsigned h : hard_nodes)
        if (h != NO_INDEX) stamp[h] = hold ? NO_INDEX : 0u;

    dense1D<unsigned> indices, neighbours;
    if (const int rc = detail::build_node_graph(connectM, indices, neighbours)) return rc;
    const std::size_t n = indices.size() - 1;
    if (n == 0) return 0;
    dense1D<unsigned char> bytes;
    if (!stamp.resize(n, NO_INDEX) || !bytes.resize(n, static_cast<unsigned char>(direction))) return ERR_ALLOC;

    detail::control_loop<N, decltype(values_of<N>(field)), Measure> loop(
        pos.data(), pos.ld(), {indices.data(), neighbours.data(), n}, stamp.data(), bytes.data(), values_of<N>(field),
        limit);
    return loop.run();
}

// The argument tests in their order, then the control in the dimension of pos.
template <class Measure, class Field>
int bound_field(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                const dense1D<unsigned>& hard_nodes, bool hold, int direction, double limit, Field& field) noexcept {
    if (connectM.empty() || limit == DBL_MAX) return 0;
    return detail::by_coordinate_rows(pos.rows(), -1, [&](auto dim) -> int {
        constexpr int N = decltype(dim)::value;
        const unsigned max_node = detail::node_limit(pos.cols());
        if (!check_IDs(connectM, FE, max_node)) return -2;
        if (!check_IDs(hard_nodes, max_node)) return -4;
        if (!(limit >= 0)) return -7;
        if (detail::field_count(field) < pos.cols() || !rows_fit<N>(field)) return -8;
        try {
            return control<N, Measure>(pos, connectM, hard_nodes, hold, direction, limit, field);
        } catch (const std::bad_alloc&) {
            return ERR_ALLOC;
        }
    });
}

}  // namespace

int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                            const dense1D<unsigned>& hard_nodes, bool hold, int direction, double limit,
                            dense2D<double>& metrics) noexcept {
    return bound_field<detail::shock_measure>(pos, connectM, FE, hard_nodes, hold, direction, limit, metrics);
}

int bound_metric_gradations(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                            const dense1D<unsigned>& hard_nodes, bool hold, int direction, double limit,
                            dense1D<double>& sizes) noexcept {
    return bound_field<detail::shock_measure>(pos, connectM, FE, hard_nodes, hold, direction, limit, sizes);
}

int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                            const dense1D<unsigned>& hard_nodes, bool hold, int direction, double limit,
                            dense2D<double>& metrics) noexcept {
    return bound_field<detail::variation_measure>(pos, connectM, FE, hard_nodes, hold, direction, limit, metrics);
}

int bound_metric_variations(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                            const dense1D<unsigned>& hard_nodes, bool hold, int direction, double limit,
                            dense1D<double>& sizes) noexcept {
    return bound_field<detail::variation_measure>(pos, connectM, FE, hard_nodes, hold, direction, limit, sizes);
}

}  // namespace cellworks
}  // namespace tq5

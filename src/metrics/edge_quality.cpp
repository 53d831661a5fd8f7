#include <tq5/cellworks/metrics/edge_quality.hpp>

#include <new>

#include "detail/edge_list.hpp"
#include "detail/metric_core.hpp"
#include "detail/metric_field.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::edge_key;

// Validity of the metric at a node, remembered per node when the test is
// costly (a tensor) and the scratch could be obtained: 0 not yet tested,
// 1 valid, 2 invalid.
template <class Nodes> struct node_validity {
    const Nodes& nodes;
    unsigned char* memo;
    bool operator()(std::size_t i) const noexcept {
        if (!memo) return nodes.valid(i);
        if (memo[i] == 0) memo[i] = nodes.valid(i) ? 1 : 2;
        return memo[i] == 1;
    }
};

// Measures each edge of the list whose two end metrics are valid. Returns
// false when some edge was not measured.
template <int N, class Field>
bool measure_edges(const dense2D<double>& pos, const dense1D<edge_key>& list, const Field& field,
                   misc::histogram& hist) {
    using Nodes = decltype(detail::nodes_of<N>(field));
    const Nodes nodes = detail::nodes_of<N>(field);
    // A failed memo only costs time: each test is then made per edge end.
    dense1D<unsigned char> memo;
    if (Nodes::costly_validity) memo.resize(nodes.count, 0);
    const node_validity<Nodes> valid{nodes, memo.empty() ? nullptr : memo.data()};
    const double* p = pos.data();
    const std::size_t ld = pos.ld();
    const edge_key* k = list.data();
    bool all = true;
    for (std::size_t e = 0, n = list.size(); e < n; ++e) {
        const unsigned i = detail::edge_low(k[e]), j = detail::edge_high(k[e]);
        if (i >= nodes.count || j >= nodes.count || !valid(i) || !valid(j)) {
            all = false;
            continue;
        }
        hist.process(detail::metric_edge_length<N>(p + i * ld, p + j * ld, nodes[i], nodes[j]));
    }
    return all;
}

// The codes that differ between the forms: the one-block forms report a bad
// excluded list and a bad field one place lower than the block-range forms,
// whose -4 (a count of types that differs from the count of blocks) a single
// block can't have.
struct quality_codes {
    int excluded;  // excluded fails its check
    int field;     // the field's column count differs, or an edge was not measured
};
constexpr quality_codes range_codes{-7, -5};
constexpr quality_codes block_codes{-6, -4};

// Checks the arguments, lists the edges of the blocks once each less the
// excluded ones, and measures them. A failed growth of the list or of the
// exclusion scratch is not reported: fewer edges, or the excluded ones too,
// are then measured.
template <class Field>
int qualities(const dense2D<double>& pos, const dense2D<unsigned>* first, std::size_t nblocks, const int* types,
              std::size_t ntypes, const Field& field, misc::histogram& hist, const dense2D<unsigned>& excluded,
              quality_codes codes) {
    if (nblocks == 0) return 0;
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (nblocks != ntypes) return -4;
    const unsigned limit = detail::node_limit(pos.cols());
    for (std::size_t b = 0; b < nblocks; ++b)
        if (!detail::edge_block_ok(first[b], static_cast<element_type>(types[b]), limit)) return -2;
    if (!detail::edge_block_ok(excluded, ET_BAR2, limit)) return codes.excluded;

    dense1D<edge_key> list;
    detail::sorted_unique_edges(first, types, nblocks, list);
    detail::exclude_edges(excluded, list);

    // Every edge is walked even when the field does not fit the nodes.
    const bool field_fits = detail::field_count(field) == pos.cols();
    const bool all_measured = detail::by_coordinate_rows(
        pos.rows(), false, [&](auto n) { return measure_edges<decltype(n)::value>(pos, list, field, hist); });
    return field_fits && all_measured ? 0 : codes.field;
}

template <class Field>
int qualities_of_range(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                       const dense1D<int>& types, const Field& field, misc::histogram& hist,
                       const dense2D<unsigned>& excluded) noexcept {
    try {
        if (first == last) return 0;
        // A reversed range can't match the count of types.
        const std::size_t n = last < first ? types.size() + 1 : static_cast<std::size_t>(last - first);
        return qualities(pos, first, n, types.data(), types.size(), field, hist, excluded, range_codes);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

template <class Field>
int qualities_of_block(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                       const Field& field, misc::histogram& hist, const dense2D<unsigned>& excluded) noexcept {
    try {
        const int type = FE;
        return qualities(pos, &connectM, 1, &type, 1, field, hist, excluded, block_codes);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace

int edge_quality(double length, double h0, double h1, double& q) noexcept {
    if (!(h0 > 0)) return -2;
    if (!(h1 > 0)) return -3;
    q = detail::inverse_log_mean(h0, h1) * length;
    return 0;
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                   const dense2D<double>& metrics, misc::histogram& hist, const dense2D<unsigned>& excluded) noexcept {
    return qualities_of_block(pos, connectM, FE, metrics, hist, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectM, element_type FE,
                   const dense1D<double>& sizes, misc::histogram& hist, const dense2D<unsigned>& excluded) noexcept {
    return qualities_of_block(pos, connectM, FE, sizes, hist, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                   const dense1D<int>& types, const dense2D<double>& metrics, misc::histogram& hist,
                   const dense2D<unsigned>& excluded) noexcept {
    return qualities_of_range(pos, first, last, types, metrics, hist, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                   const dense1D<int>& types, const dense1D<double>& sizes, misc::histogram& hist,
                   const dense2D<unsigned>& excluded) noexcept {
    return qualities_of_range(pos, first, last, types, sizes, hist, excluded);
}

}  // namespace cellworks
}  // namespace tq5

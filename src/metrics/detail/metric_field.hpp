// Dispatch of metric fields and coordinates on their row counts, and the
// views of fields that the edge walks read at the nodes.
#pragma once

#include <cstddef>
#include <type_traits>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense2D.hpp>

#include "metric_core.hpp"

namespace tq5 {
namespace cellworks {
namespace detail {

template <int N> using dim = std::integral_constant<int, N>;

/// fn(dim<2>{}) for a tensor field of 3 rows, fn(dim<3>{}) for 6 rows, and
/// `other` for any other row count.
template <class R, class Fn> inline R by_tensor_rows(std::size_t rows, R other, Fn&& fn) {
    if (rows == 3) return fn(dim<2>{});
    if (rows == 6) return fn(dim<3>{});
    return other;
}

/// fn(dim<2>{}) for coordinates of 2 rows, fn(dim<3>{}) for 3 rows, and
/// `other` for any other row count.
template <class R, class Fn> inline R by_coordinate_rows(std::size_t rows, R other, Fn&& fn) {
    if (rows == 2) return fn(dim<2>{});
    if (rows == 3) return fn(dim<3>{});
    return other;
}

/// The node limit for `check_IDs` from a column count: ids must lie below it,
/// and a count beyond the range of ids accepts them all.
inline unsigned node_limit(std::size_t cols) noexcept {
    return cols < NO_INDEX ? static_cast<unsigned>(cols) : NO_INDEX;
}

/// The tensors of a field at the nodes, as the edge walks read them: `count`
/// nodes, 0 when the rows can't hold a tensor of dimension N (the rows beyond
/// the tensor are not read, so a 6-row field serves in 2D by its upper 2x2).
template <int N> struct node_tensors {
    const double* m;
    std::size_t ld, count;
    static constexpr bool costly_validity = true;
    explicit node_tensors(const dense2D<double>& f) noexcept
        : m(f.data()), ld(f.ld()), count(f.rows() >= std::size_t(packed<N>) ? f.cols() : 0) {}
    const double* operator[](std::size_t i) const noexcept { return m + i * ld; }
    bool valid(std::size_t i) const noexcept { return is_valid_metric<N>(m + i * ld); }
};

/// The sizes of a field at the nodes; a size is valid when > 0.
struct node_sizes {
    const double* h;
    std::size_t count;
    static constexpr bool costly_validity = false;
    explicit node_sizes(const dense1D<double>& f) noexcept : h(f.data()), count(f.size()) {}
    double operator[](std::size_t i) const noexcept { return h[i]; }
    bool valid(std::size_t i) const noexcept { return h[i] > 0; }
};

/// The node view of a field in dimension N.
template <int N> inline node_tensors<N> nodes_of(const dense2D<double>& f) noexcept { return node_tensors<N>(f); }
template <int N> inline node_sizes nodes_of(const dense1D<double>& f) noexcept { return node_sizes(f); }

/// Number of nodes a field has values for: columns of tensors, entries of sizes.
inline std::size_t field_count(const dense2D<double>& f) noexcept { return f.cols(); }
inline std::size_t field_count(const dense1D<double>& f) noexcept { return f.size(); }

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

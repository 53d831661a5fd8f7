#include <tq5/cellworks/editing/transforms.hpp>

#include <new>

#include <tq5/cellworks/core/indices.hpp>

#include "detail/transform_ops.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::rotation2;
using detail::rotation3;
using detail::scaling;
using detail::translation;

template <unsigned DIM, class Op> int move_all(dense2D<double>& pos, const Op& op) noexcept {
    const int rc = detail::ready<DIM>(pos, op, detail::all);
    if (rc <= 0) return rc;
    detail::move_run(pos, 0, pos.cols(), op);
    return detail::as_count(pos.cols());
}

template <unsigned DIM, class Op>
int move_listed(dense2D<double>& pos, const Op& op, const unsigned* ids, std::size_t n) noexcept {
    const int rc = detail::ready<DIM>(pos, op, n);
    if (rc <= 0) return rc;
    double* d = pos.data();
    const std::size_t ld = pos.ld(), cols = pos.cols();
    std::size_t applied = 0;
    for (std::size_t k = 0; k < n; ++k) {
        if (Op::rules.skips_bad_ids && ids[k] >= cols) continue;
        op(d + std::size_t(ids[k]) * ld);
        ++applied;
    }
    return Op::rules.counts ? detail::as_count(applied) : 0;
}

template <unsigned DIM, class Op> int move_listed(dense2D<double>& pos, const Op& op, const dense1D<unsigned>& ids) {
    return move_listed<DIM>(pos, op, ids.data(), ids.size());
}

// The list is made only when there is something to move.
template <unsigned DIM, class Op>
int move_referenced(dense2D<double>& pos, const Op& op, const dense2D<unsigned>& conn) noexcept {
    if (pos.empty() || op.identity()) return 0;
    try {
        dense1D<unsigned> ids;
        if (unique_indices(ids, conn, dense1D<unsigned>()) != 0) return ERR_ALLOC;
        return move_listed<DIM>(pos, op, ids);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v) noexcept {
    return move_all<2>(pos, translation<2>{v});
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v) noexcept {
    return move_all<3>(pos, translation<3>{v});
}
int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v, const dense1D<unsigned>& ids) noexcept {
    return move_listed<2>(pos, translation<2>{v}, ids);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v, const dense1D<unsigned>& ids) noexcept {
    return move_listed<3>(pos, translation<3>{v}, ids);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 2>& v, const dense2D<unsigned>& conn) noexcept {
    return move_referenced<2>(pos, translation<2>{v}, conn);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& v, const dense2D<unsigned>& conn) noexcept {
    return move_referenced<3>(pos, translation<3>{v}, conn);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) noexcept {
    return move_all<2>(pos, rotation2(center, angle));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense1D<unsigned>& ids) noexcept {
    return move_listed<2>(pos, rotation2(center, angle), ids);
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense2D<unsigned>& conn) noexcept {
    return move_referenced<2>(pos, rotation2(center, angle), conn);
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w) noexcept {
    return move_all<3>(pos, rotation3(center, w));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w,
           const dense1D<unsigned>& ids) noexcept {
    return move_listed<3>(pos, rotation3(center, w), ids);
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w,
           const dense2D<unsigned>& conn) noexcept {
    return move_referenced<3>(pos, rotation3(center, w), conn);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) noexcept {
    return move_all<2>(pos, scaling<2>(center, factor));
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) noexcept {
    return move_all<3>(pos, scaling<3>(center, factor));
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense1D<unsigned>& ids) noexcept {
    return move_listed<2>(pos, scaling<2>(center, factor), ids);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense1D<unsigned>& ids) noexcept {
    return move_listed<3>(pos, scaling<3>(center, factor), ids);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense2D<unsigned>& conn) noexcept {
    return move_referenced<2>(pos, scaling<2>(center, factor), conn);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense2D<unsigned>& conn) noexcept {
    return move_referenced<3>(pos, scaling<3>(center, factor), conn);
}

}  // namespace cellworks
}  // namespace tq5

#include <tq5/cellworks/editing/mesh_copies.hpp>

#include <new>

#include <tq5/cellworks/core/indices.hpp>

#include "detail/transform_ops.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// Appends to `pos` a copy of each node of `source` and makes `out` the copy of
// `source` on them. 0 or ERR_ALLOC; on failure `pos` is cut back to its
// columns and `out` is as it was. Throws only std::bad_alloc.
int copy_once(dense2D<double>& pos, dense2D<unsigned>& out, const dense2D<unsigned>& source) {
    const std::size_t base = pos.cols();
    dense1D<unsigned> list, map;
    const int rc = unique_indices(list, source, dense1D<unsigned>());
    if (rc != 0) return rc;
    // Only the entries of listed nodes are read: the others stay undefined.
    if (!map.resize(base) || !pos.push_back(pos, list)) return ERR_ALLOC;
    if (!out.copy(source)) {
        pos.resize(pos.rows(), base);
        return ERR_ALLOC;
    }
    const unsigned* l = list.data();
    unsigned* m = map.data();
    for (std::size_t k = 0, n = list.size(); k < n; ++k) m[l[k]] = unsigned(base + k);
    change_indices(out, map);
    return 0;
}

// Moves the `added` new columns from `base` as the list form of `op` would
// move them: 0, or ERR_ALLOC when `pos` could not be widened.
template <unsigned DIM, class Op>
int move_new(dense2D<double>& pos, std::size_t base, std::size_t added, const Op& op) noexcept {
    const int rc = detail::ready<DIM>(pos, op, added);
    if (rc > 0) detail::move_run(pos, base, added, op);
    return rc < 0 ? rc : 0;
}

// Copies 1 .. n, copy k turned by `turn(k)` and then shifted by k `step`, their
// elements appended to `conn`. Throws only std::bad_alloc.
template <unsigned DIM, class Turn>
int copy_stepped(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, DIM>& step, unsigned n,
                 const dense2D<unsigned>& source, Turn turn) {
    if (pos.empty() || n == 0) return 0;
    // When `source` is a view of `conn`, the copies are of its columns before
    // the call, not of the growing `conn`.
    dense2D<unsigned> scratch, before;
    const dense2D<unsigned>* from = &source;
    if (source.block() == conn.block()) {
        if (!before.copy(source)) return ERR_ALLOC;
        from = &before;
    }
    for (std::size_t k = 1; k <= n; ++k) {
        const std::size_t base = pos.cols();
        int rc = copy_once(pos, scratch, *from);
        const std::size_t added = pos.cols() - base;
        detail::translation<DIM> shift;
        for (unsigned i = 0; i < DIM; ++i) shift.v[i] = double(k) * step[i];
        if (rc == 0) rc = move_new<DIM>(pos, base, added, turn(double(k)));
        if (rc == 0) rc = move_new<DIM>(pos, base, added, shift);
        if (rc == 0 && !conn.push_back(scratch)) rc = ERR_ALLOC;
        if (rc != 0) return rc;
    }
    return 0;
}

template <unsigned DIM>
int copy_mirrored(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, DIM>& point,
                  const vector_fixed<double, DIM>& normal, const dense2D<unsigned>& source) {
    const std::size_t base = pos.cols();
    double len2 = 0.0;
    for (unsigned k = 0; k < DIM; ++k) len2 += normal[k] * normal[k];
    if (pos.empty()) return 0;
    if (len2 == 0.0) return -4;
    // Widened before the copy, so that a failed copy leaves `conn` as it was.
    if (!detail::widen<DIM>(pos)) return ERR_ALLOC;
    const int rc = copy_once(pos, conn, source);
    if (rc != 0) return rc;
    detail::move_run(pos, base, pos.cols() - base, detail::reflection<DIM>(point, normal, len2));
    return 0;
}

template <class F> int guarded(F&& f) noexcept {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

}  // namespace

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const dense2D<unsigned>& source) noexcept {
    return guarded([&] { return copy_once(pos, conn, source); });
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 2>& step,
              const vector_fixed<double, 2>& center, double angle, unsigned n,
              const dense2D<unsigned>& source) noexcept {
    return guarded([&] {
        return copy_stepped<2>(pos, conn, step, n, source,
                               [&](double k) { return detail::rotation2(center, k * angle); });
    });
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 3>& step,
              const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& w, unsigned n,
              const dense2D<unsigned>& source) noexcept {
    return guarded([&] {
        return copy_stepped<3>(pos, conn, step, n, source, [&](double k) {
            return detail::rotation3(center, vector_fixed<double, 3>{{k * w[0], k * w[1], k * w[2]}});
        });
    });
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 2>& point,
                  const vector_fixed<double, 2>& normal, const dense2D<unsigned>& source) noexcept {
    return guarded([&] { return copy_mirrored<2>(pos, conn, point, normal, source); });
}
int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& conn, const vector_fixed<double, 3>& point,
                  const vector_fixed<double, 3>& normal, const dense2D<unsigned>& source) noexcept {
    return guarded([&] { return copy_mirrored<3>(pos, conn, point, normal, source); });
}

}  // namespace cellworks
}  // namespace tq5

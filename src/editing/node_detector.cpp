#include <tq5/cellworks/editing/node_detector.hpp>

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include <tq5/cellworks/core/check_IDs.hpp>
#include <tq5/cellworks/core/indices.hpp>

#include "detail/node_tree.hpp"

namespace tq5 {
namespace cellworks {

namespace {

// A point for a tree of DIM dimensions: a third coordinate is dropped, a
// missing one is 0.
template <unsigned DIM, std::size_t N> vector_fixed<double, DIM> on_axes(const vector_fixed<double, N>& p) noexcept {
    vector_fixed<double, DIM> q;
    for (std::size_t k = 0; k < DIM; ++k) q[k] = k < N ? p[k] : 0.0;
    return q;
}

// Calls `f` with the detector's tree, or returns `none` when it has none.
template <class R, class T2, class T3, class F> R on_tree(T2* t2, T3* t3, R none, F f) noexcept {
    if (t2) return f(*t2);
    if (t3) return f(*t3);
    return none;
}

template <class T> constexpr unsigned dim_of = std::remove_reference_t<T>::dim;

template <std::size_t N>
unsigned closest(const node_tree<2>* t2, const node_tree<3>* t3, const vector_fixed<double, N>& p) noexcept {
    return on_tree(t2, t3, NO_INDEX,
                   [&p](const auto& tree) { return tree.find_closest(on_axes<dim_of<decltype(tree)>>(p)); });
}

// A failed append leaves `out` as it was, which is all a void search can do.
template <std::size_t N>
void in_box(const node_tree<2>* t2, const node_tree<3>* t3, const vector_fixed<double, N>& lo,
            const vector_fixed<double, N>& hi, dense1D<unsigned>& out) noexcept {
    on_tree(t2, t3, true, [&](const auto& tree) {
        return tree.find_in_box(on_axes<dim_of<decltype(tree)>>(lo), on_axes<dim_of<decltype(tree)>>(hi), out);
    });
}

// A new tree over `pos` holding the ids `id_at(0 .. n-1)`; null when storage
// could not be obtained. Throws only std::bad_alloc.
template <unsigned DIM, class IdAt>
std::unique_ptr<node_tree<DIM>> build(const dense2D<double>& pos, std::size_t n, IdAt insert) {
    std::unique_ptr<node_tree<DIM>> tree(new node_tree<DIM>(pos));
    tree->reserve(n);  // a failure shows in the insertion
    bool stored = true;
    insert(*tree, stored);
    if (!stored) tree.reset();
    return tree;
}

// Sets the one tree of a detector, by the rows of `pos` (2 or 3).
template <class IdAt>
int build_tree(std::unique_ptr<node_tree<2>>& tree2, std::unique_ptr<node_tree<3>>& tree3, const dense2D<double>& pos,
               std::size_t n, IdAt insert) {
    if (pos.rows() == 2)
        tree2 = build<2>(pos, n, insert);
    else
        tree3 = build<3>(pos, n, insert);
    return tree2 || tree3 ? 0 : ERR_ALLOC;
}

template <unsigned DIM> std::unique_ptr<node_tree<DIM>> clone(const node_tree<DIM>& src) {
    std::unique_ptr<node_tree<DIM>> tree(new node_tree<DIM>(src.pos));
    if (!tree->copy(src)) tree.reset();
    return tree;
}

}  // namespace

node_detector::node_detector() noexcept = default;

// The pointers are null here, as assignment wants them.
node_detector::node_detector(const node_detector& other) noexcept { *this = other; }

node_detector::node_detector(const dense2D<double>& pos) noexcept { reinit(pos); }

node_detector::node_detector(const dense2D<double>& pos, const dense1D<unsigned>& ids) noexcept { reinit(pos, ids); }

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned>& connectivity) noexcept {
    reinit(pos, connectivity);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned>* first,
                             const dense2D<unsigned>* last) noexcept {
    reinit(pos, first, last);
}

node_detector::~node_detector() { clear(); }

void node_detector::clear() noexcept {
    tree2.reset();
    tree3.reset();
}

node_detector& node_detector::operator=(const node_detector& other) noexcept {
    if ((tree2 && tree2 == other.tree2) || (tree3 && tree3 == other.tree3)) return *this;
    clear();
    try {
        if (other.tree2) tree2 = clone(*other.tree2);
        if (other.tree3) tree3 = clone(*other.tree3);
    } catch (const std::bad_alloc&) {
        clear();
    }
    return *this;
}

int node_detector::reinit(const dense2D<double>& pos) noexcept {
    clear();
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    try {
        const std::size_t n = pos.cols();
        return build_tree(tree2, tree3, pos, n, [n](auto& tree, bool& stored) { tree.insert_first(n, stored); });
    } catch (const std::bad_alloc&) {
        clear();
        return ERR_ALLOC;
    }
}

int node_detector::reinit(const dense2D<double>& pos, const dense1D<unsigned>& ids) noexcept {
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (!check_IDs(ids, unsigned(std::min<std::size_t>(pos.cols(), NO_INDEX)))) return -2;
    clear();
    try {
        return build_tree(tree2, tree3, pos, ids.size(),
                          [&ids](auto& tree, bool& stored) { tree.insert(ids, stored); });
    } catch (const std::bad_alloc&) {
        clear();
        return ERR_ALLOC;
    }
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned>& connectivity) noexcept {
    try {
        dense1D<unsigned> ids;
        if (unique_indices(ids, connectivity, dense1D<unsigned>()) != 0) return ERR_ALLOC;
        return reinit(pos, ids);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned>* first,
                          const dense2D<unsigned>* last) noexcept {
    try {
        dense1D<unsigned> ids;
        const int rc = unique_indices(ids, first, last, dense1D<unsigned>());
        return rc != 0 ? rc : reinit(pos, ids);
    } catch (const std::bad_alloc&) {
        return ERR_ALLOC;
    }
}

unsigned node_detector::insert(const dense1D<unsigned>& ids) noexcept {
    bool stored;
    return on_tree(tree2.get(), tree3.get(), 0u, [&](auto& tree) { return tree.insert(ids, stored); });
}

unsigned node_detector::insert(const dense2D<unsigned>& connectivity) noexcept {
    if (!tree2 && !tree3) return 0;
    try {
        dense1D<unsigned> ids;
        return unique_indices(ids, connectivity, dense1D<unsigned>()) == 0 ? insert(ids) : 0u;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

unsigned node_detector::find_closest(const vector_fixed<double, 2>& p) const noexcept {
    return closest(tree2.get(), tree3.get(), p);
}

unsigned node_detector::find_closest(const vector_fixed<double, 3>& p) const noexcept {
    return closest(tree2.get(), tree3.get(), p);
}

unsigned node_detector::find_closest(unsigned id) const noexcept {
    return on_tree(tree2.get(), tree3.get(), NO_INDEX, [id](const auto& tree) { return tree.find_closest(id); });
}

void node_detector::find_in_box(const vector_fixed<double, 2>& p_min, const vector_fixed<double, 2>& p_max,
                                dense1D<unsigned>& out) const noexcept {
    in_box(tree2.get(), tree3.get(), p_min, p_max, out);
}

void node_detector::find_in_box(const vector_fixed<double, 3>& p_min, const vector_fixed<double, 3>& p_max,
                                dense1D<unsigned>& out) const noexcept {
    in_box(tree2.get(), tree3.get(), p_min, p_max, out);
}

unsigned node_detector::size() const noexcept {
    return on_tree(tree2.get(), tree3.get(), 0u, [](const auto& tree) { return tree.size(); });
}

}  // namespace cellworks
}  // namespace tq5

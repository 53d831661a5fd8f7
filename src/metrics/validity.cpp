#include <tq5/cellworks/metrics/validity.hpp>

#include <algorithm>
#include <cmath>

#include "detail/metric_core.hpp"
#include "detail/metric_field.hpp"

namespace tq5 {
namespace cellworks {

namespace {

using detail::dim;

// A field seen as n items with the validity test of one item.
struct size_items {
    const double* h;
    std::size_t n;
    bool ok(std::size_t i) const noexcept { return h[i] > 0 && std::isfinite(h[i]); }
};

template <int N> struct tensor_items {
    const double* m;
    std::size_t ld, n;
    bool ok(std::size_t i) const noexcept { return detail::is_valid_metric<N>(m + i * ld); }
};

template <int N> tensor_items<N> items_of(const dense2D<double>& m, dim<N>) noexcept {
    return {m.data(), m.ld(), m.cols()};
}

template <class Items> unsigned first_bad(const Items& f) noexcept {
    for (std::size_t i = 0; i < f.n; ++i)
        if (!f.ok(i)) return static_cast<unsigned>(i);
    return static_cast<unsigned>(f.n);
}

template <class Items> unsigned first_bad(const Items& f, const dense1D<unsigned>& ids) noexcept {
    const unsigned* id = ids.data();
    for (std::size_t p = 0, n = ids.size(); p < n; ++p)
        if (id[p] >= f.n || !f.ok(id[p])) return static_cast<unsigned>(p);
    return static_cast<unsigned>(ids.size());
}

}  // namespace

bool is_valid_metric(const symmetric_fixed<double, 2>& M) noexcept { return detail::is_valid_metric<2>(M.data()); }
bool is_valid_metric(const symmetric_fixed<double, 3>& M) noexcept { return detail::is_valid_metric<3>(M.data()); }

unsigned first_invalid_metric(const dense1D<double>& h) noexcept { return first_bad(size_items{h.data(), h.size()}); }

unsigned first_invalid_metric(const dense2D<double>& m) noexcept {
    return detail::by_tensor_rows(m.rows(), 0u, [&](auto n) { return first_bad(items_of(m, n)); });
}

unsigned first_invalid_metric(const dense1D<unsigned>& ids, const dense1D<double>& h) noexcept {
    return first_bad(size_items{h.data(), h.size()}, ids);
}

unsigned first_invalid_metric(const dense1D<unsigned>& ids, const dense2D<double>& m) noexcept {
    return detail::by_tensor_rows(m.rows(), 0u, [&](auto n) { return first_bad(items_of(m, n), ids); });
}

bool are_valid_metrics(const dense1D<double>& h) noexcept { return first_invalid_metric(h) == h.size(); }
bool are_valid_metrics(const dense2D<double>& m) noexcept { return first_invalid_metric(m) == m.cols(); }
bool are_valid_metrics(const dense1D<unsigned>& ids, const dense1D<double>& h) noexcept {
    return first_invalid_metric(ids, h) == ids.size();
}
bool are_valid_metrics(const dense1D<unsigned>& ids, const dense2D<double>& m) noexcept {
    return first_invalid_metric(ids, m) == ids.size();
}

void valid_metrics(const dense2D<double>& m, dense1D<unsigned>& ids) noexcept {
    detail::by_tensor_rows(m.rows(), 0, [&](auto n) {
        const auto f = items_of(m, n);
        for (std::size_t i = 0; i < f.n; ++i)
            if (f.ok(i)) ids.push_back(static_cast<unsigned>(i));
        return 0;
    });
}

int overwrite_invalid_metrics(dense1D<double>& m, const dense1D<double>& repl) noexcept {
    double* d = m.data();
    const double* r = repl.data();
    int count = 0;
    for (std::size_t i = 0, n = std::min(m.size(), repl.size()); i < n; ++i)
        if (r[i] > 0 && 0 >= d[i]) {
            d[i] = r[i];
            ++count;
        }
    return count;
}

int overwrite_invalid_metrics(dense2D<double>& m, const dense2D<double>& repl) noexcept {
    if (m.empty()) return 0;
    return detail::by_tensor_rows(m.rows(), -1, [&](auto n) {
        constexpr int N = decltype(n)::value;
        if (repl.rows() != m.rows()) return -2;
        double* d = m.data();
        const double* r = repl.data();
        const std::size_t ld = m.ld(), rld = repl.ld();
        int count = 0;
        for (std::size_t i = 0, cols = std::min(m.cols(), repl.cols()); i < cols; ++i) {
            double* mi = d + i * ld;
            const double* ri = r + i * rld;
            if (detail::is_valid_metric<N>(mi) || !detail::is_valid_metric<N>(ri)) continue;
            std::copy(ri, ri + detail::packed<N>, mi);
            ++count;
        }
        return count;
    });
}

int overwrite_invalid_metrics(dense2D<double>& m, const dense1D<double>& repl) noexcept {
    if (m.empty()) return 0;
    return detail::by_tensor_rows(m.rows(), -1, [&](auto n) {
        constexpr int N = decltype(n)::value;
        double* d = m.data();
        const double* r = repl.data();
        const std::size_t ld = m.ld();
        int count = 0;
        for (std::size_t i = 0, cols = std::min(m.cols(), repl.size()); i < cols; ++i) {
            if (0 >= r[i] || detail::is_valid_metric<N>(d + i * ld)) continue;
            detail::isotropic_metric<N>(r[i], d + i * ld);
            ++count;
        }
        return count;
    });
}

}  // namespace cellworks
}  // namespace tq5

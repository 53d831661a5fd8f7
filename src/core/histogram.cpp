#include <tq5/cellworks/core/histogram.hpp>

#include <cmath>
#include <limits>

namespace tq5 {
namespace misc {

histogram::histogram() : histogram(0.0, 1.0, 10) {}

histogram::histogram(double lo, double hi, unsigned nbins)
    : lo_(lo), hi_(hi > lo ? hi : lo + 1.0), bins_(nbins ? nbins : 1, 0) {
    scale_ = static_cast<double>(bins_.size()) / (hi_ - lo_);
    clear();
}

void histogram::process(double x) noexcept {
    ++count_;
    if (std::isnan(x)) {
        ++nan_;
        return;
    }
    sum_ += x;
    if (x < min_) min_ = x;
    if (x > max_) max_ = x;
    if (x < lo_) {
        ++below_;
    } else if (x > hi_) {
        ++above_;
    } else {
        std::size_t b = static_cast<std::size_t>((x - lo_) * scale_);
        if (b >= bins_.size()) b = bins_.size() - 1;
        ++bins_[b];
    }
}

void histogram::process(const dense1D<double>& values) noexcept {
    const double* v = values.data();
    for (std::size_t i = 0, n = values.size(); i < n; ++i) process(v[i]);
}

void histogram::clear() noexcept {
    for (auto& b : bins_) b = 0;
    count_ = below_ = above_ = nan_ = 0;
    sum_ = 0.0;
    min_ = std::numeric_limits<double>::infinity();
    max_ = -std::numeric_limits<double>::infinity();
}

double histogram::mean() const noexcept {
    const std::size_t n = count_ - nan_;
    return n ? sum_ / static_cast<double>(n) : 0.0;
}

}  // namespace misc
}  // namespace tq5

/// @file
/// `misc::histogram`: the caller's accumulator of values (edge and shape qualities).
#pragma once

#include <cstddef>
#include <vector>

#include <tq5/cellworks/export.hpp>
#include <tq5/containers/dense1D.hpp>

namespace tq5 {
namespace misc {

/// Counts values in equal bins over [lo, hi], with running count, minimum,
/// maximum and mean. Values below lo or above hi are counted apart; a value
/// equal to hi falls in the last bin. NaN values are counted in `count()` and
/// as `nan_count()`, and touch neither the bins nor the statistics.
///
/// \code
///   tq5::misc::histogram h;          // 10 bins on [0, 1]
///   h.process(0.25); h.process(0.95);
///   // h.bin(2) == 1, h.bin(9) == 1, h.mean() == 0.6
/// \endcode
/// @note Not synchronised: one histogram per thread.
class CELLWORKS_API histogram {
public:
    /// 10 bins on [0, 1].
    histogram();
    /// `nbins` bins on [lo, hi]; `nbins` 0 counts as 1, and hi <= lo gives
    /// one bin of width 1 from lo.
    histogram(double lo, double hi, unsigned nbins);

    /// Adds one value.
    void process(double x) noexcept;
    /// Adds every value of `values`.
    void process(const dense1D<double>& values) noexcept;
    /// Forgets all values; the bins stay.
    void clear() noexcept;

    /// Number of values processed, NaN included.
    std::size_t count() const noexcept { return count_; }
    /// Smallest and greatest value (+inf and -inf before any value).
    double min() const noexcept { return min_; }
    double max() const noexcept { return max_; }
    /// Mean of the non-NaN values (0 before any value).
    double mean() const noexcept;
    /// Number of bins and their bounds.
    unsigned bins() const noexcept { return static_cast<unsigned>(bins_.size()); }
    double lower() const noexcept { return lo_; }
    double upper() const noexcept { return hi_; }
    /// Values in bin i (i below `bins()`).
    std::size_t bin(unsigned i) const noexcept { return bins_[i]; }
    /// Values below `lower()`, above `upper()`, and NaN values.
    std::size_t below() const noexcept { return below_; }
    std::size_t above() const noexcept { return above_; }
    std::size_t nan_count() const noexcept { return nan_; }

private:
    double lo_, hi_, scale_;
    std::vector<std::size_t> bins_;
    std::size_t count_ = 0, below_ = 0, above_ = 0, nan_ = 0;
    double min_, max_, sum_ = 0.0;
};

}  // namespace misc
}  // namespace tq5

// Small helpers for the connectivity tests: matrices from literals, contents as
// std::vector, and a driver that fails each allocation of a call in turn.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include <tq5/cellworks.hpp>

namespace cwtest {

constexpr unsigned NO = tq5::cellworks::NO_INDEX;
using list = std::vector<unsigned>;

// A matrix of `rows` rows from its entries given column by column.
inline tq5::dense2D<unsigned> columns(std::size_t rows, std::initializer_list<unsigned> entries) {
    tq5::dense2D<unsigned> m(rows, rows ? entries.size() / rows : 0);
    std::size_t i = 0;
    for (unsigned x : entries) m.data()[i++] = x;
    return m;
}

inline list values(const tq5::dense1D<unsigned>& v) { return list(v.begin(), v.end()); }

// Entries column by column, stepping by ld.
inline list values(const tq5::dense2D<unsigned>& m) {
    list out;
    for (std::size_t c = 0; c < m.cols(); ++c)
        for (std::size_t r = 0; r < m.rows(); ++r) out.push_back(m(r, c));
    return out;
}

// Calls `run()` with the first 0, 1, 2, ... raw allocations allowed, until it
// returns something other than ERR_ALLOC; `failed()` checks the state after each
// failure. Returns the result of the first successful run and counts the failures.
template <class Run, class Failed>
int with_each_allocation_failing(Run run, Failed failed, int* failures = nullptr) {
    for (long n = 0;; ++n) {
        tq5::testing::fail_allocations_after(n);
        const int rc = run();
        tq5::testing::fail_allocations_after(-1);
        if (rc != tq5::cellworks::ERR_ALLOC) {
            if (failures) *failures = int(n);
            return rc;
        }
        failed();
    }
}

}  // namespace cwtest

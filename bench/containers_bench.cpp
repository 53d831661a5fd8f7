// Growth of the containers against std::vector doing the same job in the same
// run: one-by-one appends (doubling), appends of 8 copies at a time
// (push_back_n), one exact resize with a fill value, and appends of 4-entry
// columns to a dense2D. Each iteration starts from an empty container, so
// allocation and release are part of the job for both sides.
//
// Counters: items/s (elements, or columns for the column append) and peak_MB,
// the peak resident memory of the process during the benchmark (the peak is
// reset before each one where the kernel allows it, else it is the process peak).
//
// The C library's allocator adapts its mmap threshold to what was freed
// before, which made one side pay page faults that the other did not,
// depending on the order of the benchmarks. Both thresholds are pinned at the
// start so that every run sees the same regime: blocks up to 32 MB are reused
// from the heap, larger ones (10^7 doubles, columns) are mapped afresh.
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <array>
#include <cstdio>
#include <vector>

#include <tq5/containers/dense2D.hpp>

#include "peak_memory.hpp"

namespace {

// How each side does each job; the benchmarks below are written once.
template <class T> struct tq5_vector {
    using type = tq5::dense1D<T>;
    using value = T;
    static bool push(type& v, const T& x) { return v.push_back(x); }
    static bool push_n(type& v, const T& x, std::size_t k) { return v.push_back_n(x, k); }
    static bool resize(type& v, std::size_t n, const T& x) { return v.resize(n, x); }
};
template <class T> struct std_vector {
    using type = std::vector<T>;
    using value = T;
    static bool push(type& v, const T& x) { return v.push_back(x), true; }
    static bool push_n(type& v, const T& x, std::size_t k) { return v.insert(v.end(), k, x), true; }
    static bool resize(type& v, std::size_t n, const T& x) { return v.resize(n, x), true; }
};
struct tq5_columns {
    using type = tq5::dense2D<unsigned>;
    using value = tq5::vector_fixed<unsigned, 4>;
    static bool push(type& m, const value& c) { return m.push_back(c); }
};
struct std_columns {
    using type = std::vector<std::array<unsigned, 4>>;
    using value = std::array<unsigned, 4>;
    static bool push(type& m, const value& c) { return m.push_back(c), true; }
};

template <class V> V make(std::size_t i) { return V(i); }
template <> tq5::vector_fixed<unsigned, 4> make(std::size_t i) {
    const unsigned u = unsigned(i);
    return {{u, u + 1, u + 2, u + 3}};
}
template <> std::array<unsigned, 4> make(std::size_t i) {
    const unsigned u = unsigned(i);
    return {{u, u + 1, u + 2, u + 3}};
}

// Runs `job(container, n)` on a fresh container per iteration.
template <class Kind, class Job> void run(benchmark::State& state, Job job) {
    const std::size_t n = std::size_t(state.range(0));
    tq5::bench::reset_peak_rss();
    for (auto _ : state) {
        typename Kind::type c;
        if (!job(c, n)) {
            state.SkipWithError("out of memory");
            break;
        }
        benchmark::DoNotOptimize(c.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(n));
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}

template <class Kind> void append(benchmark::State& state) {
    run<Kind>(state, [](typename Kind::type& c, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            if (!Kind::push(c, make<typename Kind::value>(i))) return false;
        return true;
    });
}

template <class Kind> void append_8(benchmark::State& state) {
    run<Kind>(state, [](typename Kind::type& c, std::size_t n) {
        for (std::size_t i = 0; i < n; i += 8)
            if (!Kind::push_n(c, make<typename Kind::value>(i), 8)) return false;
        return true;
    });
}

template <class Kind> void resize_fill(benchmark::State& state) {
    run<Kind>(state, [](typename Kind::type& c, std::size_t n) { return Kind::resize(c, n, 1); });
}

void sizes(benchmark::internal::Benchmark* b) {
    b->RangeMultiplier(10)->Range(10000, 10000000)->MinTime(0.05)->Unit(benchmark::kMicrosecond);
}

}  // namespace

BENCHMARK_TEMPLATE(append, tq5_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(append, std_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(append, tq5_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(append, std_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(append_8, tq5_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(append_8, std_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(append_8, tq5_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(append_8, std_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(resize_fill, tq5_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(resize_fill, std_vector<unsigned>)->Apply(sizes);
BENCHMARK_TEMPLATE(resize_fill, tq5_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(resize_fill, std_vector<double>)->Apply(sizes);
BENCHMARK_TEMPLATE(append, tq5_columns)->Apply(sizes);
BENCHMARK_TEMPLATE(append, std_columns)->Apply(sizes);

int main(int argc, char** argv) {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

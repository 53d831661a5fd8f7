// Timed jobs beside a baseline in the same run: the baseline reads the job's
// input bytes and writes its output bytes once each, the floor that any pass
// over the same data pays.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "peak_memory.hpp"

namespace tq5 {
namespace bench {

// Reads `in` bytes and writes `out` bytes, once each.
struct baseline_buffers {
    std::vector<unsigned char> src, dst;
    void run(std::size_t in, std::size_t out) {
        const std::size_t both = std::min(in, out);
        std::memcpy(dst.data(), src.data(), both);
        if (out > both) std::memset(dst.data() + both, 1, out - both);
        std::uint64_t sum = 0;
        for (std::size_t i = both; i + 8 <= in; i += 8) {
            std::uint64_t w;
            std::memcpy(&w, src.data() + i, 8);
            sum += w;
        }
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
};

void finish(benchmark::State& state, std::size_t items, std::size_t in, std::size_t out) {
    state.SetItemsProcessed(std::int64_t(state.iterations() * items));
    state.SetBytesProcessed(std::int64_t(state.iterations() * (in + out)));
    state.counters["in_MB"] = double(in) / 1e6;
    state.counters["out_MB"] = double(out) / 1e6;
    state.counters["peak_MB"] = tq5::bench::peak_rss_bytes() / 1e6;
}

// One job: the call to time, the restoring of its inputs between calls (not
// timed), and its input and output sizes, which the baseline reproduces.
struct job {
    std::string name;
    std::size_t items, in, out;
    std::function<void()> restore;
    std::function<int()> call;
};

void register_job(const job& j) {
    benchmark::RegisterBenchmark((j.name + "/baseline_pass").c_str(), [j](benchmark::State& state) {
        baseline_buffers buf{std::vector<unsigned char>(j.in, 1), std::vector<unsigned char>(j.out, 0)};
        for (auto _ : state) buf.run(j.in, j.out);
        finish(state, j.items, j.in, j.out);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(j.name.c_str(), [j](benchmark::State& state) {
        for (auto _ : state) {
            if (j.restore) {
                state.PauseTiming();
                j.restore();
                state.ResumeTiming();
            }
            if (j.call() < 0) state.SkipWithError("call failed");
        }
        finish(state, j.items, j.in, j.out);
    })->Unit(benchmark::kMillisecond);
}

}  // namespace bench
}  // namespace tq5

// Peak resident memory of the process, for the benchmarks' memory counters.
#pragma once

#include <cstdio>

#include <sys/resource.h>

namespace tq5 {
namespace bench {

// Peak resident set size so far, in bytes (Linux reports kilobytes).
inline double peak_rss_bytes() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_maxrss) * 1024.0;
}

// Starts a new peak at the current resident size: Linux resets it on writing 5
// to clear_refs. Elsewhere the peak stays that of the whole process.
inline void reset_peak_rss() {
    if (std::FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
}

}  // namespace bench
}  // namespace tq5

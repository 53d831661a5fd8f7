// Peak resident memory of the process, for the benchmarks' memory counters.
#pragma once

#include <sys/resource.h>

namespace tq5 {
namespace bench {

// Peak resident set size so far, in bytes (Linux reports kilobytes).
inline double peak_rss_bytes() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_maxrss) * 1024.0;
}

}  // namespace bench
}  // namespace tq5

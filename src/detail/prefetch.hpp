// Hints to fetch memory that a loop reads or writes a few steps later: the walks
// of connectivities, hashes, graphs and queues jump across arrays larger than the
// caches, and a hint issued early hides the miss. No effect on results.
#pragma once

namespace tq5 {
namespace cellworks {
namespace detail {

/// Asks for the cache line of `p`, to be read soon.
inline void prefetch(const void* p) noexcept {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

/// Asks for the cache line of `p`, to be written soon.
inline void prefetch_for_write(const void* p) noexcept {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p, 1);
#else
    (void)p;
#endif
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

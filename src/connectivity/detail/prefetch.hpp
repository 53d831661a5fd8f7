// A hint to fetch memory that a loop will read a few steps later: the column
// walks of the connectivity tools jump across matrices larger than the caches.
#pragma once

namespace tq5 {
namespace cellworks {
namespace detail {

inline void prefetch(const void* p) noexcept {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

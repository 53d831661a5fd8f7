#include <tq5/containers/storage.hpp>

#include <cstdlib>

#include "../detail/huge_pages.hpp"

namespace tq5 {

namespace {
// Allocations left before failures start on this thread; -1 is off.
thread_local long allocations_left = -1;
// Blocks from this size up are advised huge pages.
constexpr std::size_t huge_block = std::size_t(8) << 20;
}  // namespace

void* __vector_num_alloc(std::size_t bytes) noexcept {
    if (allocations_left >= 0) {
        if (allocations_left == 0) return nullptr;
        --allocations_left;
    }
    void* raw = std::malloc(bytes);
    // Large blocks are filled soon after they are had: huge pages make that
    // one page fault per 2 MB instead of one per 4 kB.
    if (raw && bytes >= huge_block) cellworks::detail::advise_huge_pages(raw, bytes);
    return raw;
}

void __vector_num_free(void* raw) noexcept { std::free(raw); }

namespace testing {
void fail_allocations_after(long n) noexcept { allocations_left = n < 0 ? -1 : n; }
}  // namespace testing

}  // namespace tq5

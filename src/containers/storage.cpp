#include <tq5/containers/storage.hpp>

#include <cstdlib>

namespace tq5 {

namespace {
// Allocations left before failures start on this thread; -1 is off.
thread_local long allocations_left = -1;
}  // namespace

void* __vector_num_alloc(std::size_t bytes) noexcept {
    if (allocations_left >= 0) {
        if (allocations_left == 0) return nullptr;
        --allocations_left;
    }
    return std::malloc(bytes);
}

void __vector_num_free(void* raw) noexcept { std::free(raw); }

namespace testing {
void fail_allocations_after(long n) noexcept { allocations_left = n < 0 ? -1 : n; }
}  // namespace testing

}  // namespace tq5

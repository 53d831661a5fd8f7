/// @file
/// Reference-counted storage under every vector and matrix view: `ref_counted`,
/// the intrusive pointer `Ptr`, the aligned block `vector_num`, and the raw
/// allocation hooks with their fault injection for tests.
/// @note A block lives while one `Ptr` holds it; the count is atomic, so views
///   of one block may be made and dropped on several threads. The contents are
///   not synchronised. Fault injection is per thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include <tq5/cellworks/export.hpp>

namespace tq5 {

/// Raw allocation used by every storage block.
/// @param[in] bytes number of bytes wanted.
/// @return the memory, or null on exhaustion (never throws). Memory comes from
///   `malloc`; while fault injection is armed on this thread it may return null.
CELLWORKS_API void* __vector_num_alloc(std::size_t bytes) noexcept;

/// Returns memory obtained from `__vector_num_alloc`. Null is ignored.
CELLWORKS_API void __vector_num_free(void* raw) noexcept;

namespace testing {
/// Fault injection: on the calling thread, the next `n` raw allocations succeed
/// and every later one returns null, until called again with -1 (off).
/// When off it costs one thread-local test per allocation.
/// @note Thread-local: other threads are not affected.
CELLWORKS_API void fail_allocations_after(long n) noexcept;
}  // namespace testing

/// Base of reference-counted objects. The count starts at 0 and is changed by
/// atomic increments and decrements only, through `Ptr`.
class ref_counted {
public:
    ref_counted() noexcept : count_(0) {}
    ref_counted(const ref_counted&) = delete;
    ref_counted& operator=(const ref_counted&) = delete;
    virtual ~ref_counted() = default;

    /// Current number of `Ptr` holders.
    int ref_count() const noexcept { return count_.load(std::memory_order_acquire); }

private:
    template <class T> friend class Ptr;
    void __add_ref() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    void __release() noexcept {
        if (count_.fetch_sub(1, std::memory_order_acq_rel) - 1 <= 0) __destroy();
    }
    void __destroy() noexcept { delete this; }

    std::atomic<std::int32_t> count_;
};

/// Intrusive smart pointer on a `ref_counted` descendant. Null is allowed and
/// skipped when counting.
template <class T> class Ptr {
public:
    Ptr() noexcept : p_(nullptr) {}
    Ptr(T* p) noexcept : p_(p) { take(p_); }  // NOLINT: implicit by design
    Ptr(const Ptr& o) noexcept : p_(o.p_) { take(p_); }
    ~Ptr() { drop(p_); }

    Ptr& operator=(const Ptr& o) noexcept { return *this = o.p_; }
    /// Takes the new object, then releases the old one (safe on self-assignment).
    Ptr& operator=(T* p) noexcept {
        take(p);
        T* old = p_;
        p_ = p;
        drop(old);
        return *this;
    }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

private:
    static void take(T* p) noexcept {
        if (p) static_cast<ref_counted*>(p)->__add_ref();
    }
    static void drop(T* p) noexcept {
        if (p) static_cast<ref_counted*>(p)->__release();
    }
    T* p_;
};

/// Storage block: a run of `T` aligned to `A` bytes. Created by `new`, always
/// held by `Ptr`. Memory not owned by the block (a view over caller memory) is
/// marked by a shift of 65535 and is never freed.
template <class T, unsigned A = 16> class vector_num : public ref_counted {
    static_assert(std::is_trivially_copyable<T>::value, "vector_num holds plain values");
    static_assert(A > 0 && (A & (A - 1)) == 0 && A < 65535, "alignment is a power of two");

public:
    static constexpr std::uint16_t EXTERNAL = 65535;

    vector_num() noexcept = default;
    /// A block over caller-owned memory: never freed; growth moves data to owned memory.
    vector_num(T* external, std::size_t n) noexcept : data_(external), capacity_(external ? n : 0), shift_(EXTERNAL) {}
    ~vector_num() override { release(); }

    T* data() const noexcept { return data_; }
    std::size_t capacity() const noexcept { return capacity_; }
    std::uint16_t shift() const noexcept { return shift_; }

    /// Gives the block a new allocation with room for at least `needed`
    /// elements, carrying over the first `keep` (counted from data).
    /// New capacity is the greatest of `needed`, capacity * `factor` and 2.
    /// @return false when the size would overflow or memory is exhausted;
    ///   the block is then untouched.
    bool grow(std::size_t needed, std::size_t keep, std::size_t factor) noexcept {
        constexpr std::size_t max_size = std::numeric_limits<std::size_t>::max();
        std::size_t want = capacity_ * factor;
        if (want < needed) want = needed;
        if (want < 2) want = 2;
        if (factor != 0 && capacity_ > max_size / factor) return false;
        if (want > (max_size - (A - 1)) / sizeof(T)) return false;
        const std::size_t bytes = want * sizeof(T) + (A - 1);
        void* raw = __vector_num_alloc(bytes);
        if (!raw) return false;
        const std::uintptr_t addr = reinterpret_cast<std::uintptr_t>(raw);
        const std::uintptr_t aligned = (addr + (A - 1)) & ~static_cast<std::uintptr_t>(A - 1);
        T* fresh = reinterpret_cast<T*>(aligned);
        const std::size_t shift = static_cast<std::size_t>(aligned - addr);
        if (data_ && keep) {
            if (keep > capacity_) keep = capacity_;
            std::memcpy(static_cast<void*>(fresh), data_, keep * sizeof(T));
        }
        release();
        data_ = fresh;
        shift_ = static_cast<std::uint16_t>(shift);
        capacity_ = (bytes - shift) / sizeof(T);
        return true;
    }

    /// Frees owned memory (never memory marked external); data becomes null,
    /// capacity and shift 0.
    void release() noexcept {
        if (data_ && shift_ != EXTERNAL) __vector_num_free(reinterpret_cast<char*>(data_) - shift_);
        data_ = nullptr;
        capacity_ = 0;
        shift_ = 0;
    }

private:
    T* data_ = nullptr;
    std::size_t capacity_ = 0;
    std::uint16_t shift_ = 0;
};

}  // namespace tq5

/// @file
/// `dense1D`: a light view (block, size, offset) on a shared `vector_num` block.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

#include <tq5/containers/storage.hpp>

namespace tq5 {

template <class T> class dense2D;

/// A vector view on a reference-counted, `A`-aligned block.
///
/// Copying a view shares the block: writes through one view are seen by the
/// others, and growth through one view moves the data of all of them (they keep
/// their own size and offset). `copy` is the deep copy. Element access has no
/// bound check. Operations that obtain memory return false on exhaustion and
/// leave size and contents as they were; none throws on exhaustion of element
/// storage (creating the small block object itself uses `new`).
///
/// \code
///   tq5::dense1D<unsigned> ids;            // empty view on an empty block
///   ids.push_back(4); ids.push_back(7);    // grows by doubling
///   tq5::dense1D<unsigned> alias = ids;    // shares the block
///   alias[0] = 5;                          // ids[0] == 5 too
///   tq5::dense1D<unsigned> own;
///   own.copy(ids);                         // independent storage
/// \endcode
/// @note The reference count is atomic: views of one block may live on several
///   threads. Writes need the callers' own synchronisation.
template <class T, unsigned A = 16> class dense1D {
public:
    using block_type = vector_num<T, A>;
    using value_type = T;

    /// Empty view on a new empty block.
    dense1D() : block_(new block_type), size_(0), offset_(0) {}
    /// `n` elements with undefined values; size stays 0 if memory is exhausted.
    explicit dense1D(std::size_t n) : dense1D() { resize(n); }
    /// `n` elements, all `v`; size stays 0 if memory is exhausted.
    dense1D(std::size_t n, T v) : dense1D() { resize(n, v); }
    /// View over `n` elements of caller-owned memory, which is never freed;
    /// growth moves the data into owned memory.
    dense1D(T* external, std::size_t n) : block_(new block_type(external, n)), size_(external ? n : 0), offset_(0) {}
    /// Shallow copy: shares block, size and offset.
    dense1D(const dense1D& o) noexcept : block_(o.block_), size_(o.size_), offset_(o.offset_) {}
    /// Shallow assignment, as `shallow_copy`.
    dense1D& operator=(const dense1D& o) noexcept {
        shallow_copy(o);
        return *this;
    }
    ~dense1D() = default;

    /// Fills every element in view with `v`; the size is unchanged. Returns `v`.
    T operator=(T v) noexcept {
        std::fill(data_or_null(), data_or_null() + size_, v);
        return v;
    }

    /// True when both views show the same storage: the same elements of the
    /// same block (or both are empty). Values are not compared.
    bool operator==(const dense1D& o) const noexcept {
        if (size_ != o.size_) return false;
        return size_ == 0 || (block_.get() == o.block_.get() && offset_ == o.offset_);
    }
    bool operator!=(const dense1D& o) const noexcept { return !(*this == o); }

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    std::size_t offset() const noexcept { return offset_; }
    /// The storage block; never null.
    block_type* block() const noexcept { return block_.get(); }
    /// Elements that fit from the offset without new memory.
    std::size_t capacity() const noexcept {
        const std::size_t cap = block_->capacity();
        return cap > offset_ ? cap - offset_ : 0;
    }
    /// Block data plus offset; null when the block has no memory.
    T* data() noexcept { return data_or_null(); }
    const T* data() const noexcept { return data_or_null(); }

    T& operator[](std::size_t i) noexcept { return block_->data()[offset_ + i]; }
    const T& operator[](std::size_t i) const noexcept { return block_->data()[offset_ + i]; }
    T* begin() noexcept { return data_or_null(); }
    T* end() noexcept { return data_or_null() + size_; }
    const T* begin() const noexcept { return data_or_null(); }
    const T* end() const noexcept { return data_or_null() + size_; }

    /// Deep copy: size and contents of `src`, in storage that later writes to
    /// `src` do not reach. Writes into this view's own block unless it is the
    /// block of `src`, in which case a new block is made.
    /// @return false on exhaustion (this view unchanged).
    bool copy(const dense1D& src) {
        if (this == &src) return true;
        if (block_.get() == src.block_.get() && src.size_ != 0) {
            dense1D fresh;
            if (!fresh.reserve(src.size_, 1)) return false;
            std::memcpy(static_cast<void*>(fresh.data()), src.data(), src.size_ * sizeof(T));
            fresh.size_ = src.size_;
            shallow_copy(fresh);
            return true;
        }
        if (!resize(src.size_)) return false;
        if (src.size_) std::memcpy(static_cast<void*>(data()), src.data(), src.size_ * sizeof(T));
        return true;
    }

    /// Drops the own block and takes block, size and offset of `src`.
    void shallow_copy(const dense1D& src) noexcept {
        block_ = src.block_;
        size_ = src.size_;
        offset_ = src.offset_;
    }

    /// Size becomes `n`; existing elements stay, new ones are undefined.
    /// Grows exactly (factor 1). @return false on exhaustion (unchanged).
    bool resize(std::size_t n) noexcept {
        if (!reserve(n, 1)) return false;
        size_ = n;
        return true;
    }
    /// As `resize(n)`; elements from the old size up to `n` become `v`.
    bool resize(std::size_t n, T v) noexcept {
        const std::size_t old = size_;
        if (!resize(n)) return false;
        if (n > old) std::fill(data() + old, data() + n, v);
        return true;
    }
    /// Guarantees room for `n` elements from the offset, growing by `factor`
    /// when memory is needed; size unchanged. @return false on exhaustion.
    bool reserve(std::size_t n, std::size_t factor) noexcept {
        if (n <= capacity()) return true;
        if (n > std::numeric_limits<std::size_t>::max() - offset_) return false;
        return block_->grow(n + offset_, offset_ + size_, factor);
    }
    /// Appends `n` copies of `v`, doubling the storage when it must grow.
    bool push_back_n(T v, std::size_t n) noexcept {
        if (n > std::numeric_limits<std::size_t>::max() - size_) return false;
        if (!reserve(size_ + n, 2)) return false;
        std::fill(data() + size_, data() + size_ + n, v);
        size_ += n;
        return true;
    }
    /// Appends one value, doubling the storage when it must grow.
    /// @return false on exhaustion, the vector unchanged.
    bool push_back(T v) noexcept {
        const std::size_t p = offset_ + size_;
        if (block_->capacity() <= p && !block_->grow(p + 1, p, 2)) return false;
        block_->data()[p] = v;
        ++size_;
        return true;
    }

    /// View of elements [first, first + n) on the same block; writes reach the parent.
    dense1D sub_vector(std::size_t first, std::size_t n) noexcept { return dense1D(block_, n, offset_ + first); }
    const dense1D sub_vector(std::size_t first, std::size_t n) const noexcept {
        return dense1D(block_, n, offset_ + first);
    }

    /// Size 0; block and offset stay, so a following `resize` writes in place.
    void clear() noexcept { size_ = 0; }
    /// Size 0 and the storage given up: memory is freed when this view holds
    /// the block alone, otherwise the view moves to a new empty block.
    void clear_hard() {
        size_ = 0;
        offset_ = 0;
        if (block_->ref_count() == 1)
            block_->release();
        else
            block_ = new block_type;
    }

private:
    template <class U> friend class dense2D;
    dense1D(const Ptr<block_type>& b, std::size_t n, std::size_t off) noexcept : block_(b), size_(n), offset_(off) {}
    T* data_or_null() const noexcept {
        T* d = block_->data();
        return d ? d + offset_ : nullptr;
    }

    Ptr<block_type> block_;
    std::size_t size_;
    std::size_t offset_;
};

}  // namespace tq5

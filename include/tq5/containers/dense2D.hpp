/// @file
/// `dense2D`: a column-major matrix view with a leading dimension on a shared block.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include <tq5/containers/dense1D.hpp>
#include <tq5/containers/fixed.hpp>

namespace tq5 {

/// Column-major matrix view: entry (r, c) is block data at offset + c * ld + r.
///
/// Copies are shallow and share the block, as for `dense1D`; `copy` is the deep
/// copy. A view made by `sub_matrix` has ld greater than rows, so code that walks
/// a matrix steps by `ld()`. A matrix is empty when rows * cols is 0.
/// Operations that obtain memory return false on exhaustion and leave
/// dimensions and contents as they were.
/// @note Lifetime and threads as for `dense1D`: the block lives as long as its
///   last view (a `sub_matrix` keeps its parent's block alive); the atomic
///   reference count lets views live on several threads, writes need the
///   callers' own synchronisation.
///
/// \code
///   tq5::dense2D<unsigned> tets;
///   tets.push_back(tq5::vector_fixed<unsigned, 4>{{0, 1, 2, 3}});  // one column
///   tets.resize(4, 10, 0u);               // 10 columns, the new ones all 0
///   unsigned n3 = tets(3, 0);             // row 3 of column 0
/// \endcode
template <class T> class dense2D {
public:
    using vector_type = dense1D<T, 16>;
    using block_type = vector_num<T, 16>;
    using value_type = T;

    /// Empty, all dimensions 0.
    dense2D() : block_(new block_type), offset_(0), rows_(0), cols_(0), ld_(0) {}
    /// r x c entries with undefined values; stays empty if memory is exhausted.
    dense2D(std::size_t r, std::size_t c) : dense2D() { resize(r, c); }
    /// r x c entries, all `v`; stays empty if memory is exhausted.
    dense2D(std::size_t r, std::size_t c, T v) : dense2D() { resize(r, c, v); }
    /// View over caller-owned memory of `rows` x `cols` entries with ld = rows,
    /// never freed; growth moves the data into owned memory.
    dense2D(T* external, std::size_t rows, std::size_t cols)
        : block_(new block_type(external, rows * cols)),
          offset_(0),
          rows_(external ? rows : 0),
          cols_(external ? cols : 0),
          ld_(external ? rows : 0) {}
    /// Shallow copy: shares the block; rows, cols and ld are taken over.
    dense2D(const dense2D& o) noexcept
        : block_(o.block_), offset_(o.offset_), rows_(o.rows_), cols_(o.cols_), ld_(o.ld_) {}
    dense2D& operator=(const dense2D& o) noexcept {
        shallow_copy(o);
        return *this;
    }
    ~dense2D() = default;

    /// Fills every entry in view with `v`; dimensions unchanged. Returns `v`.
    T operator=(T v) noexcept {
        for (std::size_t c = 0; c < cols_ && rows_; ++c) std::fill(data() + c * ld_, data() + c * ld_ + rows_, v);
        return v;
    }

    std::size_t rows() const noexcept { return rows_; }
    std::size_t cols() const noexcept { return cols_; }
    std::size_t ld() const noexcept { return ld_; }
    /// rows * cols.
    std::size_t size() const noexcept { return rows_ * cols_; }
    std::size_t offset() const noexcept { return offset_; }
    bool empty() const noexcept { return rows_ * cols_ == 0; }
    /// The storage block; never null.
    block_type* block() const noexcept { return block_.get(); }
    /// Columns that fit from the offset without new memory (elements when ld is 0).
    std::size_t col_capacity() const noexcept {
        const std::size_t room = room_from_offset();
        return ld_ ? room / ld_ : room;
    }
    /// Block data plus offset; null when the block has no memory.
    T* data() noexcept { return data_or_null(); }
    const T* data() const noexcept { return data_or_null(); }

    T& operator()(std::size_t r, std::size_t c) noexcept { return block_->data()[offset_ + c * ld_ + r]; }
    const T& operator()(std::size_t r, std::size_t c) const noexcept { return block_->data()[offset_ + c * ld_ + r]; }

    /// Dimensions become r x c. With r unchanged, existing columns keep their
    /// place and values and ld stays; cutting columns drops them at the end.
    /// With r changed, ld becomes r and the leading rows of the kept columns are
    /// moved to the new layout. Grows exactly. @return false on exhaustion.
    bool resize(std::size_t r, std::size_t c) noexcept {
        const std::size_t new_ld = (r == rows_ && ld_ >= r && ld_ != 0) ? ld_ : r;
        if (r != 0 && c > std::numeric_limits<std::size_t>::max() / r) return false;
        if (c > 1 && new_ld > (std::numeric_limits<std::size_t>::max() - r) / (c - 1)) return false;
        const std::size_t needed = c ? (c - 1) * new_ld + r : 0;
        if (!ensure(needed, 1)) return false;
        if (new_ld != ld_ && cols_ > 0 && rows_ > 0 && r > 0) relayout(new_ld, std::min(rows_, r), std::min(cols_, c));
        rows_ = r;
        cols_ = c;
        ld_ = new_ld;
        return true;
    }
    /// As `resize(r, c)`; entries that are new become `v` (all entries when r changed).
    bool resize(std::size_t r, std::size_t c, T v) noexcept {
        const bool same_rows = r == rows_;
        const std::size_t old_cols = same_rows ? cols_ : 0;
        if (!resize(r, c)) return false;
        T* d = data();
        for (std::size_t j = old_cols; j < c && r; ++j) std::fill(d + j * ld_, d + j * ld_ + r, v);
        return true;
    }
    /// Room for c columns of r entries (at the current ld when r equals rows);
    /// dimensions unchanged. @return false on exhaustion.
    bool reserve(std::size_t r, std::size_t c) noexcept {
        const std::size_t use_ld = (r == rows_ && ld_ >= r && ld_ != 0) ? ld_ : r;
        if (use_ld != 0 && c > std::numeric_limits<std::size_t>::max() / use_ld) return false;
        return ensure(c * use_ld, 1);
    }
    /// Size, rows, cols and ld become 0; block and offset stay.
    void clear() noexcept { rows_ = cols_ = ld_ = 0; }

    /// Deep copy with the dimensions of `src` and ld = rows, in storage that
    /// later writes to `src` do not reach (a new block when this view shares
    /// the block of `src`). @return false on exhaustion (unchanged).
    bool copy(const dense2D& src) {
        if (this == &src) return true;
        const std::size_t n = src.rows_ * src.cols_;
        if (block_.get() == src.block_.get() && n != 0) {
            dense2D fresh;
            if (!fresh.copy_from(src)) return false;
            shallow_copy(fresh);
            return true;
        }
        return copy_from(src);
    }
    /// Takes block, offset, rows, cols and ld of `src`.
    void shallow_copy(const dense2D& src) noexcept {
        block_ = src.block_;
        offset_ = src.offset_;
        rows_ = src.rows_;
        cols_ = src.cols_;
        ld_ = src.ld_;
    }

    /// View of column j (size rows) on the same block.
    const vector_type col(std::size_t j) const noexcept { return vector_type(block_, rows_, offset_ + j * ld_); }
    vector_type col(std::size_t j) noexcept { return vector_type(block_, rows_, offset_ + j * ld_); }
    /// All entries as one run of rows * cols; meaningful only when ld equals rows.
    const vector_type as_vector() const noexcept { return vector_type(block_, rows_ * cols_, offset_); }
    /// View of nr rows and nc columns from (r0, c0), same ld and block.
    dense2D sub_matrix(std::size_t r0, std::size_t c0, std::size_t nr, std::size_t nc) noexcept {
        return dense2D(block_, offset_ + r0 + c0 * ld_, nr, nc, ld_);
    }
    const dense2D sub_matrix(std::size_t r0, std::size_t c0, std::size_t nr, std::size_t nc) const noexcept {
        return dense2D(block_, offset_ + r0 + c0 * ld_, nr, nc, ld_);
    }

    /// Appends one column of height N. Fails (unchanged) when the matrix is not
    /// empty and has another height. When full it reserves the greater of
    /// `min_cols` and twice cols. @return false on mismatch or exhaustion.
    template <std::size_t N> bool push_back(const vector_fixed<T, N>& v, std::size_t min_cols = 4) noexcept {
        if (!empty() && rows_ != N) return false;
        if (!empty() && ld_ == N && (cols_ + 1) * N <= room_from_offset()) {  // room left: no division
            T* dst = block_->data() + offset_ + cols_ * N;
            for (std::size_t i = 0; i < N; ++i) dst[i] = v[i];
            ++cols_;
            return true;
        }
        if (empty() || cols_ == col_capacity()) reserve(N, std::max(min_cols, 2 * cols_));
        if (!resize(N, cols_ + 1)) return false;
        T* dst = data() + (cols_ - 1) * ld_;
        for (std::size_t i = 0; i < N; ++i) dst[i] = v[i];
        return true;
    }
    /// Appends all columns of `src`; the height becomes the greater of both.
    /// Rows beyond the height of `src` are left undefined in the new columns.
    /// @return the result of the final resize.
    bool push_back(const dense2D& src) noexcept { return append(src, nullptr, src.cols_); }
    /// Appends the columns of `src` numbered in `list`, in list order.
    bool push_back(const dense2D& src, const dense1D<unsigned, 16>& list) noexcept {
        return append(src, list.data(), list.size());
    }

private:
    dense2D(const Ptr<block_type>& b, std::size_t off, std::size_t r, std::size_t c, std::size_t ld) noexcept
        : block_(b), offset_(off), rows_(r), cols_(c), ld_(ld) {}

    T* data_or_null() const noexcept {
        T* d = block_->data();
        return d ? d + offset_ : nullptr;
    }
    std::size_t room_from_offset() const noexcept {
        const std::size_t cap = block_->capacity();
        return cap > offset_ ? cap - offset_ : 0;
    }
    std::size_t span() const noexcept { return cols_ ? (cols_ - 1) * ld_ + rows_ : 0; }
    // Room for `needed` entries from the offset; keeps what this view spans.
    bool ensure(std::size_t needed, std::size_t factor) noexcept {
        if (needed <= room_from_offset()) return true;
        if (needed > std::numeric_limits<std::size_t>::max() - offset_) return false;
        return block_->grow(needed + offset_, offset_ + span(), factor);
    }
    // Moves the leading `keep_rows` rows of the first `keep_cols` columns from ld_ to new_ld.
    void relayout(std::size_t new_ld, std::size_t keep_rows, std::size_t keep_cols) noexcept {
        T* d = data();
        if (new_ld > ld_) {
            for (std::size_t j = keep_cols; j-- > 1;)
                std::memmove(static_cast<void*>(d + j * new_ld), d + j * ld_, keep_rows * sizeof(T));
        } else {
            for (std::size_t j = 1; j < keep_cols; ++j)
                std::memmove(static_cast<void*>(d + j * new_ld), d + j * ld_, keep_rows * sizeof(T));
        }
    }
    bool copy_from(const dense2D& src) noexcept {
        const std::size_t r = src.rows_, c = src.cols_;
        if (!ensure(r * c, 1)) return false;
        rows_ = r;
        cols_ = c;
        ld_ = r;
        T* d = data();
        const T* s = src.data();
        for (std::size_t j = 0; j < c && r; ++j)
            std::memcpy(static_cast<void*>(d + j * r), s + j * src.ld_, r * sizeof(T));
        return true;
    }
    bool append(const dense2D& src, const unsigned* list, std::size_t n) noexcept {
        const std::size_t r = std::max(rows_, src.rows_);
        const std::size_t old = cols_;
        if (n > std::numeric_limits<std::size_t>::max() - old) return false;
        if (old + n > col_capacity()) reserve(r, old + std::max(n, old));
        if (!resize(r, old + n)) return false;
        const std::size_t h = std::min(r, src.rows_);
        T* d = data();
        const T* s = src.data();
        for (std::size_t k = 0; k < n && h; ++k) {
            const std::size_t sc = list ? list[k] : k;
            std::memcpy(static_cast<void*>(d + (old + k) * ld_), s + sc * src.ld_, h * sizeof(T));
        }
        return true;
    }

    Ptr<block_type> block_;
    std::size_t offset_;
    std::size_t rows_;
    std::size_t cols_;
    std::size_t ld_;
};

}  // namespace tq5

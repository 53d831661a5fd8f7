/// @file
/// Small plain values held by value: `vector_fixed`, `matrix_fixed` (column-major)
/// and `symmetric_fixed` (upper triangle packed by columns).
/// @note Plain values without storage of their own elsewhere: copies are deep,
///   and they are as thread-safe as any `T` array.
#pragma once

#include <cstddef>

namespace tq5 {

/// N contiguous values, no other field. An aggregate: `vector_fixed<unsigned,3> f{{1, 2, 3}}`.
template <class T, std::size_t N> struct vector_fixed {
    T v[N];

    static constexpr std::size_t size() noexcept { return N; }
    T& operator[](std::size_t i) noexcept { return v[i]; }
    const T& operator[](std::size_t i) const noexcept { return v[i]; }
    /// Fills all N entries with `x`; returns `x`.
    T operator=(T x) noexcept {
        for (std::size_t i = 0; i < N; ++i) v[i] = x;
        return x;
    }
    T* data() noexcept { return v; }
    const T* data() const noexcept { return v; }
};

/// R x C values in column-major order, ready for LAPACK with leading dimension R.
template <class T, std::size_t R, std::size_t C> struct matrix_fixed {
    T v[R * C];

    /// Flat access, column-major.
    T& operator[](std::size_t i) noexcept { return v[i]; }
    const T& operator[](std::size_t i) const noexcept { return v[i]; }
    /// Entry (r, c).
    T& operator()(std::size_t r, std::size_t c) noexcept { return v[r + c * R]; }
    const T& operator()(std::size_t r, std::size_t c) const noexcept { return v[r + c * R]; }
    T* data() noexcept { return v; }
    const T* data() const noexcept { return v; }
};

/// The N(N+1)/2 entries of the upper triangle of a symmetric N x N matrix,
/// packed by columns: (0,0), (0,1), (1,1), (0,2), (1,2), (2,2), ...
template <class T, std::size_t N> struct symmetric_fixed {
    static constexpr std::size_t packed = N * (N + 1) / 2;
    T v[packed];

    /// Flat access in packed order.
    T& operator[](std::size_t i) noexcept { return v[i]; }
    const T& operator[](std::size_t i) const noexcept { return v[i]; }
    /// Entry (r, c) of the full matrix, either triangle.
    T& operator()(std::size_t r, std::size_t c) noexcept { return v[index(r, c)]; }
    const T& operator()(std::size_t r, std::size_t c) const noexcept { return v[index(r, c)]; }
    T* data() noexcept { return v; }
    const T* data() const noexcept { return v; }

private:
    static constexpr std::size_t index(std::size_t r, std::size_t c) noexcept {
        return r <= c ? r + c * (c + 1) / 2 : c + r * (r + 1) / 2;
    }
};

}  // namespace tq5

// Sets and maps keyed by node or element ids, for the index tools. Each picks
// one of two layouts when it is made: direct addressing (a bitmap, or an array
// of values) when the greatest key is small next to the amount of input, which
// is the common case of node ids 0..n-1, and otherwise an open-addressing hash
// with linear probing. All storage is `dense1D`, so exhaustion shows as a false
// or negative result and never as an exception (except from the `new` of a
// block object).
#pragma once

#include <cstddef>
#include <cstdint>

#include <tq5/cellworks/core/element_type.hpp>
#include <tq5/containers/dense1D.hpp>

namespace tq5 {
namespace cellworks {
namespace detail {

// Fibonacci hashing: the high `bits` bits of key times 2^64 / golden ratio,
// which spreads runs of consecutive ids over the whole table.
inline std::size_t spread(std::uint64_t key, unsigned bits) noexcept {
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> (64 - bits));
}

// Smallest power-of-two exponent with 2^bits >= 2 * n (load at most one half), at least 4.
inline unsigned table_bits(std::size_t n) noexcept {
    unsigned bits = 4;
    while (bits < 63 && (std::size_t(1) << bits) / 2 < n) ++bits;
    return bits;
}

// Direct addressing pays when the key range, in table words, is at most about
// `per_entry` words per input entry plus a fixed 64 KiB allowance.
inline bool direct_fits(unsigned max_key, std::size_t entries, std::size_t keys_per_word,
                        std::size_t per_entry) noexcept {
    const std::size_t words = std::size_t(max_key) / keys_per_word + 1;
    const std::size_t allowance = (std::size_t(1) << 16) / 8;
    return words <= allowance || (words - allowance) / per_entry <= entries;
}

// A set of ids; NO_INDEX is never a member.
class id_set {
public:
    // `max_key`: greatest id that will ever be inserted; `entries`: how many
    // ids will be offered (picks the layout); `expected`: how many distinct ones
    // are likely (sizes a hash table, which grows past it). False on exhaustion.
    bool init(unsigned max_key, std::size_t entries, std::size_t expected) noexcept {
        direct_ = direct_fits(max_key, entries, 64, 1);
        size_ = 0;
        if (direct_) return bits_.resize(std::size_t(max_key) / 64 + 1, 0);
        return make_table(table_bits(expected));
    }

    // 1 when `x` was absent and is now a member, 0 when it was a member,
    // -1 when the table could not grow (the set is unchanged).
    int insert(unsigned x) noexcept { return direct_ ? insert_bit(bits_.data(), x) : insert_hashed(x); }

    // The bitmap of the direct layout, for hot loops that call `insert_bit`
    // themselves; null in the hashed layout.
    std::uint64_t* bitmap() noexcept { return direct_ ? bits_.data() : nullptr; }
    static int insert_bit(std::uint64_t* bits, unsigned x) noexcept {
        std::uint64_t& w = bits[x >> 6];
        const std::uint64_t b = std::uint64_t(1) << (x & 63u);
        if (w & b) return 0;
        w |= b;
        return 1;
    }

private:
    // Grows first when one more key would pass half the table (so at times
    // for a key that is already in: the table is then merely larger).
    int insert_hashed(unsigned x) noexcept {
        if (2 * (size_ + 1) > mask_ + 1 && !rehash()) return -1;
        unsigned* k = keys_.data();
        std::size_t s = spread(x, bits_count_);
        for (; k[s] != NO_INDEX; s = (s + 1) & mask_)
            if (k[s] == x) return 0;
        k[s] = x;
        ++size_;
        return 1;
    }
    bool make_table(unsigned bits) noexcept {
        dense1D<unsigned> fresh(std::size_t(1) << bits, NO_INDEX);
        if (fresh.size() != std::size_t(1) << bits) return false;
        keys_.shallow_copy(fresh);
        bits_count_ = bits;
        mask_ = (std::size_t(1) << bits) - 1;
        return true;
    }
    bool rehash() noexcept {
        const dense1D<unsigned> old = keys_;
        const std::size_t old_n = mask_ + 1;
        if (bits_count_ >= 63 || !make_table(bits_count_ + 1)) return false;
        const unsigned* o = old.data();
        unsigned* k = keys_.data();
        for (std::size_t i = 0; i < old_n; ++i) {
            if (o[i] == NO_INDEX) continue;
            std::size_t s = spread(o[i], bits_count_);
            while (k[s] != NO_INDEX) s = (s + 1) & mask_;
            k[s] = o[i];
        }
        return true;
    }

    bool direct_ = true;
    dense1D<std::uint64_t> bits_;  // direct: bit x of the bitmap is set when x is a member
    dense1D<unsigned> keys_;       // hashed: NO_INDEX marks an empty slot
    unsigned bits_count_ = 0;
    std::size_t mask_ = 0, size_ = 0;
};

// A map from id to one unsigned value (a position), sized once for the number
// of keys it will hold; NO_INDEX is neither a key nor a value.
class id_map {
public:
    // `max_key`: greatest key; `entries`: keys that will be put. False on exhaustion.
    bool init(unsigned max_key, std::size_t entries) noexcept {
        direct_ = direct_fits(max_key, entries, 1, 4);
        if (direct_) return values_.resize(std::size_t(max_key) + 1, NO_INDEX);
        bits_ = table_bits(entries);
        mask_ = (std::size_t(1) << bits_) - 1;
        return slots_.resize(mask_ + 1, EMPTY);
    }

    // Sets the value of `key` (replacing an earlier one). Never fails: the
    // table has room for the `entries` given to `init`.
    void put(unsigned key, unsigned value) noexcept {
        if (direct_) {
            values_.data()[key] = value;
            return;
        }
        std::uint64_t* t = slots_.data();
        std::size_t s = spread(key, bits_);
        while (t[s] != EMPTY && unsigned(t[s] >> 32) != key) s = (s + 1) & mask_;
        t[s] = (std::uint64_t(key) << 32) | value;
    }

    // The value of `key`, or NO_INDEX when it has none.
    unsigned find(unsigned key) const noexcept {
        if (direct_) return key < values_.size() ? values_.data()[key] : NO_INDEX;
        const std::uint64_t* t = slots_.data();
        for (std::size_t s = spread(key, bits_); t[s] != EMPTY; s = (s + 1) & mask_)
            if (unsigned(t[s] >> 32) == key) return unsigned(t[s]);
        return NO_INDEX;
    }

private:
    static constexpr std::uint64_t EMPTY = ~std::uint64_t(0);  // key NO_INDEX: never stored
    bool direct_ = true;
    dense1D<unsigned> values_;      // direct: value of key x at x
    dense1D<std::uint64_t> slots_;  // hashed: key in the high word, value in the low
    unsigned bits_ = 0;
    std::size_t mask_ = 0;
};

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

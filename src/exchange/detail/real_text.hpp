// Numbers in text as the readers and writers of text formats take and give
// them, on byte ranges instead of streams:
// - `scan_real` and `scan_int` accept what `std::istream >> double` and
//   `>> int` accept (libstdc++ with the classic locale), consume the same
//   characters and fail in the same cases;
// - `put_e`, `put_f6` and `put_int` write what `printf("%.8e")` and its
//   kin, `%f` and `%d` write.
// Fast paths cover the common numbers, in exact arithmetic; the others go to
// strtod and snprintf, as the stream functions themselves do. Both depend on
// LC_NUMERIC being "C".
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tq5 {
namespace cellworks {
namespace detail {

/// A blank of the C locale.
inline bool is_blank(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline const char* skip_blanks(const char* p, const char* end) noexcept {
    while (p != end && is_blank(*p)) ++p;
    return p;
}

inline bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }

/// 10^k for k = 0 .. 22: exact in a double.
constexpr double exact_powers_of_ten[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                            1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// Reads a real from `p` after blanks, as stream extraction does: an optional
/// sign, digits with at most one decimal point, then, behind at least one
/// digit, an optional exponent `e` or `E` with an optional sign. The longest
/// such run is consumed; it is a number when its mantissa has a digit, an
/// exponent letter is followed by a digit, and the value is finite (an
/// overflow fails, an underflow gives a subnormal or 0). So "0x1p3" reads 0
/// and stops at "x", and "inf", "nan", "1e" and "." are not numbers.
/// @return false on failure; `p` then points behind what was consumed.
/// May throw std::bad_alloc for a run of more than 63 characters.
inline bool scan_real(const char*& p, const char* end, double& value) {
    p = skip_blanks(p, end);
    const char* const start = p;
    const bool negative = p != end && *p == '-';
    if (p != end && (*p == '+' || *p == '-')) ++p;
    // Up to 19 significant digits in `mantissa`; the point shifts `scale`.
    std::uint64_t mantissa = 0;
    long scale = 0, exponent = 0;
    int digits = 0;
    bool any = false, point = false, more = false;
    for (; p != end; ++p) {
        if (is_digit(*p)) {
            any = true;
            const int d = *p - '0';
            if (mantissa == 0 && d == 0) {
                scale -= point;
            } else if (digits < 19) {
                mantissa = mantissa * 10 + std::uint64_t(d);
                ++digits;
                scale -= point;
            } else {
                more = true;
            }
        } else if (*p == '.' && !point) {
            point = true;
        } else {
            break;
        }
    }
    bool exponent_ok = true;
    if (p != end && (*p == 'e' || *p == 'E') && any) {
        ++p;
        const bool minus = p != end && *p == '-';
        if (p != end && (*p == '+' || *p == '-')) ++p;
        exponent_ok = false;
        for (; p != end && is_digit(*p); ++p) {
            exponent_ok = true;
            if (exponent < 100000) exponent = exponent * 10 + (*p - '0');
        }
        if (minus) exponent = -exponent;
    }
    if (!any || !exponent_ok) return false;
#if FLT_EVAL_METHOD == 0
    const long e10 = scale + exponent;
    if (!more && (mantissa == 0 || (mantissa <= (std::uint64_t(1) << 53) && e10 >= -22 && e10 <= 22))) {
        // One correctly rounded operation on exact operands: strtod's result.
        double x = double(mantissa);
        if (mantissa != 0) x = e10 >= 0 ? x * exact_powers_of_ten[e10] : x / exact_powers_of_ten[-e10];
        value = negative ? -x : x;
        return true;
    }
#endif
    const std::size_t n = std::size_t(p - start);
    char small[64];
    std::string large;
    char* text = small;
    if (n < sizeof small) {
        std::memcpy(small, start, n);
        small[n] = '\0';
    } else {
        large.assign(start, n);
        text = &large[0];
    }
    char* stop;
    const double x = std::strtod(text, &stop);
    if (stop != text + n || std::isinf(x)) return false;
    value = x;
    return true;
}

/// Reads an int from `p` after blanks, as stream extraction does: an optional
/// sign and decimal digits, all of which are consumed. Fails without a digit
/// or outside the range of int.
/// @return false on failure; `p` then points behind what was consumed.
inline bool scan_int(const char*& p, const char* end, int& value) noexcept {
    p = skip_blanks(p, end);
    const bool negative = p != end && *p == '-';
    if (p != end && (*p == '+' || *p == '-')) ++p;
    const char* const first = p;
    std::uint64_t v = 0;
    for (; p != end && is_digit(*p); ++p)
        if (v <= 0x80000000u) v = v * 10 + std::uint64_t(*p - '0');
    if (p == first || v > (negative ? 0x80000000u : 0x7FFFFFFFu)) return false;
    value = negative ? int(-std::int64_t(v)) : int(v);
    return true;
}

/// Room that `put_e8` may need.
constexpr std::size_t e8_room = 32;
/// Room that `put_f6` may need: "-", 309 digits, ".", 6 digits.
constexpr std::size_t f6_room = 320;

/// 10^k for k = 0 .. 9 as integers.
constexpr std::uint32_t powers_of_ten_u32[10] = {1u,      10u,      100u,      1000u,      10000u,
                                                 100000u, 1000000u, 10000000u, 100000000u, 1000000000u};

/// The two digits of 0 .. 99, one pair after the other.
constexpr char digit_pairs[] =
    "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546474849"
    "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

/// Writes the `n` lowest decimal digits of `v`, zero-padded, at `out`.
inline char* put_digits(char* out, std::uint64_t v, int n) noexcept {
    for (int i = n; i >= 2; i -= 2, v /= 100) std::memcpy(out + i - 2, digit_pairs + 2 * (v % 100), 2);
    if (n & 1) out[0] = char('0' + v % 10);
    return out + n;
}

/// The number of decimal digits of `v`, 1 for 0.
inline int digit_count(std::uint64_t v) noexcept {
    int n = 1;
    for (; v >= 100; v /= 100) n += 2;
    return n + (v >= 10);
}

/// Writes `v` in decimal without leading zeros.
inline char* put_unsigned(char* out, std::uint64_t v) noexcept { return put_digits(out, v, digit_count(v)); }

/// Writes `v` as `%d` does, or as `%<width>d` with a width: blanks in front of
/// a shorter number.
inline char* put_int(char* out, int v, std::size_t width = 0) noexcept {
    const std::uint64_t u = v < 0 ? std::uint64_t(-std::int64_t(v)) : std::uint64_t(v);
    const int n = digit_count(u);
    const std::size_t length = std::size_t(n) + (v < 0);
    if (width > length) {
        std::memset(out, ' ', width - length);
        out += width - length;
    }
    if (v < 0) *out++ = '-';
    return put_digits(out, u, n);
}

/// Right-aligns the text [out, end) in a field of `width` characters, as a
/// printf width does; a longer text stays as it is. Returns the new end.
inline char* pad_left(char* out, char* end, std::size_t width) noexcept {
    const std::size_t n = std::size_t(end - out);
    if (n >= width) return end;
    std::memmove(out + (width - n), out, n);
    std::memset(out, ' ', width - n);
    return out + width;
}

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 e8_wide;

/// The D digits of |x| rounded as `%.(D-1)e` rounds them, and the decimal
/// exponent, for finite x with 1e-19 <= |x| < 1e35 and 6 <= D <= 9. With
/// x = m 2^q (m an integer below 2^53) and 10^(D-1-e) = 5^k 2^k, the scaled
/// value is the exact fraction m 5^k 2^(q+k), or m 2^q / 10^-k, in 128-bit
/// integers: the integer part and the remainder decide the rounding, halves
/// going to the even digit.
template <int D> bool e_digits(double a, std::uint32_t& digits, int& e) noexcept {
    static_assert(D >= 6 && D <= 9, "the shifts below hold for 6 to 9 digits");
    std::uint64_t bits;
    std::memcpy(&bits, &a, sizeof bits);
    const int biased = int(bits >> 52 & 0x7FF);
    const std::uint64_t m = (bits & ((std::uint64_t(1) << 52) - 1)) | std::uint64_t(1) << 52;
    const int q = biased - 1075;
    // floor(t log10(2)), with 2^t <= a < 2^(t+1): floor(log10(a)) or one less.
    const int t = biased - 1023;
    e = t >= 0 ? (t * 78913) >> 18 : -((-t * 78913) >> 18) - 1;
    for (int tries = 0; tries < 2; ++tries) {
        const int k = D - 1 - e;
        e8_wide whole, rest, unit;  // whole + rest / unit
        if (k >= 0) {
            static constexpr std::uint64_t fives[28] = {1ull,
                                                        5ull,
                                                        25ull,
                                                        125ull,
                                                        625ull,
                                                        3125ull,
                                                        15625ull,
                                                        78125ull,
                                                        390625ull,
                                                        1953125ull,
                                                        9765625ull,
                                                        48828125ull,
                                                        244140625ull,
                                                        1220703125ull,
                                                        6103515625ull,
                                                        30517578125ull,
                                                        152587890625ull,
                                                        762939453125ull,
                                                        3814697265625ull,
                                                        19073486328125ull,
                                                        95367431640625ull,
                                                        476837158203125ull,
                                                        2384185791015625ull,
                                                        11920928955078125ull,
                                                        59604644775390625ull,
                                                        298023223876953125ull,
                                                        1490116119384765625ull,
                                                        7450580596923828125ull};
            e8_wide p = e8_wide(m) * fives[k < 27 ? k : 27];
            if (k == 28) p *= 5;
            const int shift = -(q + k);  // 0 < shift < 128 in the accepted range
            whole = p >> shift;
            rest = p & ((e8_wide(1) << shift) - 1);
            unit = e8_wide(1) << shift;
        } else {
            e8_wide ten = 1;
            for (int i = 0; i < -k; ++i) ten *= 10;
            const e8_wide num = q >= 0 ? e8_wide(m) << q : e8_wide(m);
            const e8_wide den = q >= 0 ? ten : ten << -q;
            whole = num / den;
            rest = num % den;
            unit = den;
        }
        if (whole >= powers_of_ten_u32[D]) {
            ++e;
            continue;
        }
        std::uint32_t r = std::uint32_t(whole);
        if (rest > unit - rest || (rest == unit - rest && (r & 1))) ++r;
        if (r == powers_of_ten_u32[D]) {
            r = powers_of_ten_u32[D - 1];
            ++e;
        }
        digits = r;
        return r >= powers_of_ten_u32[D - 1];
    }
    return false;
}
#endif

/// Writes `x` as `%.(D-1)e` does (`%.(D-1)E` when `upper`), without a
/// terminating zero, at `out`, which has room for `e8_room` characters.
/// Returns the end of the text.
template <int D, bool upper> char* put_e(char* out, double x) noexcept {
#if defined(__SIZEOF_INT128__)
    const double a = std::fabs(x);
    std::uint32_t r;
    int e;
    if (a == 0 || (a >= 1e-19 && a < 1e35 && e_digits<D>(a, r, e))) {
        if (a == 0) r = 0, e = 0;
        char* o = out;
        if (std::signbit(x)) *o++ = '-';
        o[0] = char('0' + r / powers_of_ten_u32[D - 1]);
        o[1] = '.';
        o = put_digits(o + 2, r, D - 1);
        o[0] = upper ? 'E' : 'e';
        o[1] = e < 0 ? '-' : '+';
        std::memcpy(o + 2, digit_pairs + 2 * (e < 0 ? -e : e), 2);
        return o + 4;
    }
#endif
    static constexpr char format[] = {'%', '.', char('0' + D - 1), upper ? 'E' : 'e', '\0'};
    const int n = std::snprintf(out, e8_room, format, x);
    return out + (n > 0 ? n : 0);
}

/// Writes `x` as `%.8e` does; see `put_e`.
inline char* put_e8(char* out, double x) noexcept { return put_e<9, false>(out, x); }

/// Writes `x` as `%f` does, at `out`, which has room for `f6_room`
/// characters. Returns the end of the text. Below 1e12 the six decimals are
/// x 10^6 rounded in exact integers, halves to even: with x = m 2^q,
/// x 10^6 = m 5^6 / 2^-(q+6), and -(q+6) lies between 7 and 76 there.
inline char* put_f6(char* out, double x) noexcept {
#if defined(__SIZEOF_INT128__)
    const double a = std::fabs(x);
    if (a < 1e12) {
        std::uint64_t n = 0;  // a 10^6, rounded; 0 below 2^-30
        if (a >= 0x1p-30) {
            std::uint64_t bits;
            std::memcpy(&bits, &a, sizeof bits);
            const std::uint64_t m = (bits & ((std::uint64_t(1) << 52) - 1)) | std::uint64_t(1) << 52;
            const int shift = -(int(bits >> 52 & 0x7FF) - 1075 + 6);
            const e8_wide p = e8_wide(m) * 15625u, unit = e8_wide(1) << shift, rest = p & (unit - 1);
            n = std::uint64_t(p >> shift);
            if (rest > unit - rest || (rest == unit - rest && (n & 1))) ++n;
        }
        char* o = out;
        if (std::signbit(x)) *o++ = '-';
        o = put_unsigned(o, n / 1000000u);
        *o++ = '.';
        return put_digits(o, n % 1000000u, 6);
    }
#endif
    const int n = std::snprintf(out, f6_room, "%f", x);
    return out + (n > 0 ? n : 0);
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

// Numbers in text as the readers and writers of text formats take and give
// them, on byte ranges instead of streams:
// - `scan_real` and `scan_int` accept what `std::istream >> double` and
//   `>> int` accept (libstdc++ with the classic locale), consume the same
//   characters and fail in the same cases;
// - `put_e8` writes what `printf("%.8e")` writes.
// Fast paths cover the common numbers; the others go to strtod and snprintf,
// as the stream functions themselves do. Both depend on LC_NUMERIC being "C".
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
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

/// Writes `x` as `%.8e` does, without a terminating zero, at `out`, which has
/// room for `e8_room` characters. Returns the end of the text.
inline char* put_e8(char* out, double x) noexcept {
#if FLT_EVAL_METHOD == 0
    if constexpr (std::numeric_limits<long double>::digits >= 64) {
        // 10^k for k = 0 .. 27: exact in a 64-bit significand.
        static constexpr long double tens[28] = {1e0L,  1e1L,  1e2L,  1e3L,  1e4L,  1e5L,  1e6L,  1e7L,  1e8L,  1e9L,
                                                 1e10L, 1e11L, 1e12L, 1e13L, 1e14L, 1e15L, 1e16L, 1e17L, 1e18L, 1e19L,
                                                 1e20L, 1e21L, 1e22L, 1e23L, 1e24L, 1e25L, 1e26L, 1e27L};
        const double a = std::fabs(x);
        if (a == 0) {
            const char* zero = std::signbit(x) ? "-0.00000000e+00" : "0.00000000e+00";
            const std::size_t n = std::strlen(zero);
            std::memcpy(out, zero, n);
            return out + n;
        }
        if (a >= 1e-18 && a < 1e35) {
            // a * 10^(8 - e) in [1e8, 1e9) with one rounding of relative size
            // below 2^-64, an absolute error below 1e-10: the integer nearest
            // to it is that of the exact product unless the fraction is near
            // one half, and those few are left to snprintf.
            int two;
            std::frexp(a, &two);
            int e = int(std::floor((two - 1) * 0.30102999566398120));  // floor(log10(a)) or one less
            const auto scaled = [a](int k) { return k >= 0 ? a * tens[k] : a / tens[-k]; };
            long double s = scaled(8 - e);
            if (s >= 1e9L) s = scaled(8 - ++e);
            if (s >= 1e8L && s < 1e9L) {
                std::uint64_t r = std::uint64_t(s);
                const long double fraction = s - (long double)r;
                if (std::fabs(fraction - 0.5L) > 1e-6L) {
                    if (fraction > 0.5L) ++r;
                    if (r == 1000000000u) {
                        r = 100000000u;
                        ++e;
                    }
                    char* o = out;
                    if (x < 0) *o++ = '-';
                    o[0] = char('0' + r / 100000000u);
                    o[1] = '.';
                    for (int i = 9; i > 1; --i, r /= 10) o[i] = char('0' + r % 10);
                    o[10] = 'e';
                    o[11] = e < 0 ? '-' : '+';
                    const int m = e < 0 ? -e : e;
                    o[12] = char('0' + m / 10);
                    o[13] = char('0' + m % 10);
                    return o + 14;
                }
            }
        }
    }
#endif
    const int n = std::snprintf(out, e8_room, "%.8e", x);
    return out + (n > 0 ? n : 0);
}

}  // namespace detail
}  // namespace cellworks
}  // namespace tq5

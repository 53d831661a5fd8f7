// The text writers' numbers against printf: `%f`, `%E`, `%12.5e`, `%d` and
// `%8d` on bit patterns of every kind, exact ties at the last digit and
// near-ties either side, and the usual coordinates.
#include <climits>
#include <cstdio>
#include <string>

#include "exchange/detail/real_text.hpp"
#include "test_support.hpp"

namespace {

namespace d = cw::detail;

std::string printed(const char* format, double x) {
    char b[400];
    std::snprintf(b, sizeof b, format, x);
    return b;
}

TEST(NumberText, SameAsPrintf) {
    std::mt19937_64 rng(11);
    const double specials[] = {0.0,         -0.0,
                               INF,         -INF,
                               NaN,         -NaN,
                               5e-324,      -2.2250738585072014e-308,
                               1e-308,      1e308,
                               -DBL_MAX,    1e-19,
                               1e35,        0x1p-30,
                               -0x1p-31,    5e-7,
                               -5e-7,       0.0078125,
                               0.0234375,   999999.9999995,
                               1e12,        999999999999.99988,
                               9765625e-10, 9.9999995e5};
    const int n_specials = int(sizeof specials / sizeof specials[0]);
    char out[d::f6_room];
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t b = rng();
        double x = i < n_specials ? specials[i] : 0;
        char t[64];
        std::snprintf(t, sizeof t, "%0*llu%s5e%d", 6 + int(b % 4), (unsigned long long)(b >> 8) % 1000000000,
                      (b >> 40) % 3 == 0   ? ""
                      : (b >> 40) % 3 == 1 ? "49999999"
                                           : "50000001",
                      int(b >> 50) % 40 - 25);
        switch (i < n_specials ? -1 : i % 5) {
            case 0: std::memcpy(&x, &b, sizeof x); break;
            case 1: x = std::ldexp(double((b >> 20) | 1), -int(b % 48)); break;  // ties of every format
            case 2: x = std::strtod(t, nullptr); break;
            case 3: x = double(std::int64_t(b >> 11) - (std::int64_t(1) << 52)) * 0x1p-42; break;  // |x| < 1024
            case 4: x = double((b >> 16) % 100000000 * 10 + 5) * (b & 1 ? 1 : 1e-8); break;
        }
        if (b >> 63) x = -x;
        ASSERT_EQ(std::string(out, d::put_f6(out, x)), printed("%f", x)) << printed("%a", x);
        ASSERT_EQ(std::string(out, d::put_e<7, true>(out, x)), printed("%E", x)) << printed("%a", x);
        ASSERT_EQ(std::string(out, d::pad_left(out, d::put_e<6, false>(out, x), 12)), printed("%12.5e", x))
            << printed("%a", x);
    }
    for (int i = 0; i < 10000; ++i) {
        const int v = i == 0 ? INT_MIN : i == 1 ? INT_MAX : i == 2 ? 0 : int(std::uint32_t(rng()) >> (i % 32));
        char b[32];
        std::snprintf(b, sizeof b, "%d|%8d", v, v);
        std::string both(out, d::put_int(out, v));
        ASSERT_EQ(both + "|" + std::string(out, d::put_int(out, v, 8)), b);
    }
}

}  // namespace

// Numerics: the random generator and the half floats to the bit, splines against
// their polynomials, ranges and approximations against the mathematics library, and
// awkward values everywhere.
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include <vokra/numerics.h>
#include <zan/symbols.h>

#include "geometry/seeded_numbers.h"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
// What nothing here may trip over.
constexpr double hostile[] = {0, -0.0, 1, -1, 0.5, 1e300, -1e300, 1.7e308, -1.7e308, 5e-324, inf, -inf, nan};

// ---- random numbers ----

TEST(Rand, a_seed_gives_the_known_numbers)
{
    const struct {
        long seed;
        uint64_t hash; // of 10000 numbers, h = h * 31 + number; from a few lines of Python
    } known[] = {{1, 0xeaae458fcd0f5d2e}, {-1138, 0xe7ecaadba50ee35e}, {777, 0x0eac0a287836ad21}};
    vok_rand(); // the first draw of a process goes elsewhere
    for (const auto &row : known)
        for (int again = 0; again < 2; again++) {
            vok_rand_setseed(row.seed);
            numbers_of_seed same(row.seed);
            uint64_t hash = 0;
            for (int i = 0; i < 10000; i++) {
                const long number = vok_rand();
                ASSERT_EQ(number, same.next());
                hash = hash * 31 + static_cast<uint64_t>(number);
            }
            EXPECT_EQ(hash, row.hash) << "seed " << row.seed;
        }
}

TEST(Rand, any_seed_is_safe)
{
    int32_t seed1 = -777, seed2 = -777; // of the caller
    numbers_of_seed same(777);
    for (int i = 0; i < 2; i++) {
        const long expected = same.next();
        EXPECT_EQ(ran1(&seed1), expected);
        EXPECT_EQ(ran2(&seed2), expected);
    }
    EXPECT_EQ(ran1(nullptr), 0);
    for (const long seed : {0L, LONG_MAX, LONG_MIN, 1L << 31, -(1L << 31), 1L << 32, 0xFFFFFFFFL, -1L}) {
        vok_rand_setseed(seed);
        for (int i = 0; i < 2000; i++) {
            const long number = vok_rand();
            ASSERT_GE(number, -1);
            ASSERT_LE(number, 0x7FFFFFFF);
        }
    }
}

// ---- splines ----

struct named_basis {
    const char *name;
    long step;
    const double *matrix;
};
constexpr named_basis bases[] = {{"bezier", 3, g_cubicspline_basismatrix_bezier},
                                 {"bspline", 1, g_cubicspline_basismatrix_bspline},
                                 {"catmullrom", 1, g_cubicspline_basismatrix_catmullrom},
                                 {"hermite", 2, g_cubicspline_basismatrix_hermite},
                                 {"power", 4, g_cubicspline_basismatrix_power}};

template <typename T> void has_basis(const named_basis &b, long (*fill)(symbol *, T *, long *), double one)
{
    T values[16];
    long step = 0;
    EXPECT_EQ(fill(gensym(b.name), values, &step), 0);
    EXPECT_EQ(step, b.step) << b.name;
    for (int i = 0; i < 16; i++)
        EXPECT_EQ(values[i], static_cast<T>(b.matrix[i] * one)) << b.name << ' ' << i;
    for (symbol *name : {gensym("bogus"), static_cast<symbol *>(nullptr)})
        EXPECT_EQ(fill(name, values, &step), VOK_ERR_EROR);
    EXPECT_EQ(fill(gensym(b.name), nullptr, &step), VOK_ERR_EROR);
    EXPECT_EQ(fill(gensym(b.name), values, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(step, b.step) << "untouched";
}

TEST(Spline, bases_are_known_by_name)
{
    for (const named_basis &b : bases) {
        has_basis(b, vok_cubicspline_fillbasis_float64, 1);
        has_basis(b, vok_cubicspline_fillbasis_float32, 1);
        has_basis(b, vok_cubicspline_fillbasis_fixed, 65536);
    }
}

TEST(Spline, values_are_those_of_the_curves)
{
    // one segment each, at u = 0.25: Bernstein weights and the textbook's other bases
    const double k[] = {2, 3, 5, -1}, u = 0.25, v = 0.75;
    const double values[] = {v * v * v * k[0] + 3 * v * v * u * k[1] + 3 * v * u * u * k[2] + u * u * u * k[3],
                             (v * v * v * k[0] + (3 * u * u * u - 6 * u * u + 4) * k[1] +
                              (-3 * u * u * u + 3 * u * u + 3 * u + 1) * k[2] + u * u * u * k[3]) /
                                 6,
                             0.5 *
                                 (2 * k[1] + (k[2] - k[0]) * u + (2 * k[0] - 5 * k[1] + 4 * k[2] - k[3]) * u * u +
                                  (3 * k[1] - k[0] - 3 * k[2] + k[3]) * u * u * u),
                             (2 * u * u * u - 3 * u * u + 1) * k[0] + (3 * u * u - 2 * u * u * u) * k[1] +
                                 (u * u * u - 2 * u * u + u) * k[2] + (u * u * u - u * u) * k[3],
                             ((k[0] * u + k[1]) * u + k[2]) * u + k[3]};
    for (size_t i = 0; i < std::size(bases); i++)
        EXPECT_NEAR(vok_cubicspline_general_eval_float64(u, bases[i].step, 4, k, bases[i].matrix), values[i],
                    1e-14)
            << bases[i].name;
    // catmullrom passes through the inner knots; six knots are three segments
    const double row[7] = {9, 1, 4, 2, 8, 5, 0}, *m = g_cubicspline_basismatrix_catmullrom;
    float row32[7], basis32[16];
    int32_t knots[7], basis_fixed[16];
    long step;
    for (int i = 0; i < 7; i++) {
        row32[i] = static_cast<float>(row[i]);
        knots[i] = static_cast<int32_t>(row[i] * 65536);
    }
    vok_cubicspline_fillbasis_float32(gensym("catmullrom"), basis32, &step);
    vok_cubicspline_fillbasis_fixed(gensym("catmullrom"), basis_fixed, &step);
    for (int i = 0; i <= 3; i++) { // x = 1 reads one knot past the six, told and not clamped
        EXPECT_NEAR(vok_cubicspline_general_eval_float64(i / 3.0, 1, 6, row, m), row[i + 1], 1e-9);
        EXPECT_NEAR(vok_cubicspline_general_eval_float32(static_cast<float>(i) / 3, 1, 6, row32, basis32),
                    row[i + 1], 1e-4);
    }
    for (const int32_t x : {0, 1000, 16384, 32768, 65535}) // one segment in 16.16
        EXPECT_NEAR(vok_cubicspline_general_eval_fixed(x, 1, 4, knots, basis_fixed) / 65536.0,
                    vok_cubicspline_general_eval_float64(x / 65536.0, 1, 4, row, m), 0.08)
            << x;
    // two segments, x in the second: knots 1 to 4 of it, but the powers of 0.75 and not of 0.5
    EXPECT_NEAR(vok_cubicspline_general_eval_fixed(49152, 1, 5, knots, basis_fixed) / 65536.0,
                vok_cubicspline_general_eval_float64(0.75, 1, 4, row + 1, m), 0.02);
}

TEST(Spline, no_segments_and_no_place_give_0)
{
    const double k[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    const double *m = g_cubicspline_basismatrix_bspline;
    for (const auto &[step, count] : {std::pair{1L, 3L}, {0, 8}, {-1, 8}, {1, LONG_MIN}})
        EXPECT_EQ(vok_cubicspline_general_eval_float64(0.5, step, count, k, m), 0) << step << " " << count;
    EXPECT_EQ(vok_cubicspline_general_eval_float64(0.5, 1, 8, nullptr, m), 0);
    EXPECT_EQ(vok_cubicspline_general_eval_float64(0.5, 1, 8, k, nullptr), 0);
    for (const double x : {nan, inf, -inf, 1e300})
        EXPECT_EQ(vok_cubicspline_general_eval_float64(x, 1, 8, k, m), 0) << x;
    EXPECT_NEAR(vok_cubicspline_general_eval_float64(0.5, 1, 8, k, m), 1, 1e-15);
}

// ---- half floats ----

double value_of_half(int h)
{
    const int exponent = h >> 10 & 31, mantissa = h & 1023;
    const double magnitude = exponent == 31  ? (mantissa ? nan : inf)
                             : exponent == 0 ? std::ldexp(mantissa, -24)
                                             : std::ldexp(1024 + mantissa, exponent - 25);
    return h & 0x8000 ? -magnitude : magnitude;
}

TEST(Half, every_pattern_has_its_value_and_its_kind)
{
    for (long h = 0; h < 65536; h++) {
        const double value = value_of_half(static_cast<int>(h));
        const float f = vok_half_to_float(h);
        if (std::isnan(value))
            ASSERT_TRUE(std::isnan(f));
        else
            ASSERT_EQ(std::bit_cast<uint32_t>(f), std::bit_cast<uint32_t>(static_cast<float>(value)))
                << std::hex << h;
        const long back = vok_float_to_half(f);
        ASSERT_EQ(back, h == 0x8000 ? 0 : h) << "-0 loses its sign, all else comes back";
        ASSERT_EQ(vok_half_is_nan(h), std::isnan(value));
        ASSERT_EQ(vok_half_is_inf(h), std::isinf(value));
        ASSERT_EQ(vok_half_is_finite(h), std::isfinite(value));
        ASSERT_EQ(vok_half_is_zero(h), value == 0);
        ASSERT_EQ(vok_half_is_negative(h), h >= 0x8000);
        ASSERT_EQ(vok_half_is_normalized(h), std::isfinite(value) && std::fabs(value) >= std::ldexp(1, -14));
        ASSERT_EQ(vok_half_is_denormalized(h), value != 0 && std::fabs(value) < std::ldexp(1, -14));
        ASSERT_EQ(vok_half_negate(vok_half_negate(h)), h);
    }
    EXPECT_TRUE(vok_half_elut_ok && vok_half_flut_ok);
    EXPECT_TRUE(vok_half_elut[127] == 15 << 10 && !vok_half_elut[112] && !vok_half_elut[142]);
}

TEST(Half, floats_round_to_the_nearest)
{
    const struct {
        float f;
        long h;
    } known[] = {{-0.0f, 0},
                 {65519.0f, 0x7BFF},
                 {65520.0f, 0x7C00},
                 {1e30f, 0x7C00},
                 {-1e30f, 0xFC00},
                 {1e-30f, 0},
                 {-0x1p-24f, 0x8001},
                 {0x1p-25f, 1},
                 {0x1p-26f, 0},
                 {0x1.8p-24f, 2},
                 {0x1.ffep+0f, 0x4000},     // a carry
                 {1.00048828125f, 0x3C01}}; // a tie, and goes up
    for (const auto &row : known)
        EXPECT_EQ(vok_float_to_half(row.f), row.h) << row.f;
    EXPECT_EQ(vok_float_to_half(std::bit_cast<float>(0x7F800001u)), 0x7C01) << "a NaN stays one";
    EXPECT_EQ(vok_float_to_half(std::bit_cast<float>(0xFFC00000u)), 0xFE00);
    for (uint32_t bits = 0; bits < 0x7F800000; bits += 977) {
        const float f = std::bit_cast<float>(bits);
        const double error = std::fabs(vok_half_to_float(vok_float_to_half(f)) - static_cast<double>(f));
        ASSERT_TRUE(f >= 65504 || error <= std::max(std::ldexp(static_cast<double>(f), -11), 0x1p-25)) << f;
    }
}

TEST(Half, arithmetic)
{
    const long one = 0x3C00, two = 0x4000, three = 0x4200;
    EXPECT_EQ(vok_half_sub(three, one), two);
    EXPECT_EQ(vok_half_mul(two, vok_half_div(one, two)), one);
    EXPECT_EQ(vok_half_div_float(one, 0), 0x7C00);
    // the additions name a half by the sum and give its truncated value
    EXPECT_EQ(vok_half_add(one, two), 0) << "half pattern 3 is tiny";
    EXPECT_EQ(vok_half_add_float(0, 18000.0f), static_cast<long>(value_of_half(18000)));
    EXPECT_EQ(vok_half_add_float(0, 48640.0f), -1) << "0xBE00 is -1.5";
    for (const double f : hostile)
        for (const long h : {0L, 0x7C00L, 0x7E00L, 0x7BFFL})
            vok_half_add_float(h, static_cast<float>(std::clamp(f, -3.4e38, 3.4e38)));

    const long rounded[][3] = {{0x3C01, 10, 0x3C01}, {0x3C01, 9, 0x3C02}, {0xBC03, 9, 0xBC04},
                               {0x3DFF, 0, 0x3C00}, // the first bit dropped decides: 0x3DFF >> 9 is even
                               {0x3E00, 0, 0x4000},  {0x7BFF, 5, 0x7BE0}, // what would become infinite is cut
                               {0xFC01, 9, 0xFC00}};
    for (const auto &row : rounded)
        EXPECT_EQ(vok_half_round(row[0], row[1]), row[2]) << row[0] << ' ' << row[1];
    for (long n = -40; n < 12; n++)
        for (long h = 0; h < 65536; h += 13)
            ASSERT_EQ(vok_half_round(h, n) & ~0xFFFFL, 0) << h << " " << n;
}

// ---- mathematics ----

TEST(Math, ranges)
{
    const struct {
        double x, lo, hi, wrapped, folded;
    } known[] = {
        {0.25, 0, 1, 0.25, 0.25}, {1, 0, 1, 0, 1},       {1.25, 0, 1, 0.25, 0.75}, {-0.25, 0, 1, 0.75, 0.25},
        {2, 0, 1, 0, 0},          {7, 2, 5, 4, 3},       {-4, 2, 5, 2, 2},         {5, 5, 5, 5, 5},
        {9, 5, 5, 5, 5},          {3.5, 4, 0, 3.5, 3.5}, {4.5, 4, 0, 0.5, 3.5},    {-1, -3, -2, -3, -3},
        {9, 0, inf, 9, 9},        {-1, 0, inf, 0, 0},    {1, -inf, 0, 0, 0},       {4, -inf, inf, 4, 4}};
    for (const auto &row : known) {
        EXPECT_EQ(vok_math_wrap(row.x, row.lo, row.hi), row.wrapped) << row.x << " in " << row.lo << " " << row.hi;
        EXPECT_EQ(vok_math_fold(row.x, row.lo, row.hi), row.folded) << row.x << " in " << row.lo << " " << row.hi;
    }
    for (const double x : hostile)
        for (const double lo : hostile)
            for (const double hi : hostile) {
                const double wrapped = vok_math_wrap(x, lo, hi), folded = vok_math_fold(x, lo, hi);
                if (std::isnan(lo) || std::isnan(hi) || (lo != hi && !std::isfinite(x))) {
                    EXPECT_TRUE(std::isnan(wrapped) && std::isnan(folded));
                    continue;
                }
                const double bottom = std::min(lo, hi), top = std::max(lo, hi);
                EXPECT_TRUE(wrapped >= bottom && (wrapped < top || lo == hi || std::isinf(bottom)))
                    << x << " in " << lo << " " << hi << ": " << wrapped;
                EXPECT_TRUE(folded >= bottom && folded <= top) << x << " in " << lo << " " << hi << ": " << folded;
            }
    EXPECT_EQ(vok_math_fmod(-7, 3), -1);
    EXPECT_EQ(vok_math_fmod(7, -3), 1);
    EXPECT_EQ(vok_math_fmod(7, 0), 0);
    EXPECT_EQ(vok_math_fmod(nan, -0.0), 0);
}

TEST(Math, forwards)
{
#define PAIR(name)                                                                                                \
    {                                                                                                             \
        vok_math_##name, std::name                                                                                \
    }
    const struct {
        double (*ours)(double), (*library)(double);
    } pairs[] = {PAIR(sin),  PAIR(cos),   PAIR(tan),   PAIR(asin),  PAIR(acos),  PAIR(atan),
                 PAIR(sinh), PAIR(cosh),  PAIR(tanh),  PAIR(asinh), PAIR(acosh), PAIR(atanh),
                 PAIR(exp),  PAIR(expm1), PAIR(exp2),  PAIR(log),   PAIR(log2),  PAIR(log10),
                 PAIR(sqrt), PAIR(ceil),  PAIR(floor), PAIR(round), PAIR(trunc)};
#undef PAIR
    for (volatile double x : {0.7, 1.7, -2.5}) // the library's value, not the compiler's, which may be another
        for (const auto &pair : pairs) {
            const double wanted = pair.library(x), found = pair.ours(x);
            EXPECT_TRUE(found == wanted || (std::isnan(found) && std::isnan(wanted)))
                << &pair - pairs << " of " << x;
        }
    volatile double x = 0.7;
    EXPECT_EQ(vok_math_atan2(x, -2), std::atan2(x, -2));
    EXPECT_EQ(vok_math_pow(x, 3), std::pow(x, 3));
    EXPECT_EQ(vok_math_hypot(3, 4), 5);
}

TEST(Math, bessel)
{
    // from the integral of cos(t - x sin t) over half a turn, 20000 steps
    const struct {
        double x, j1;
    } known[] = {{0.5, 0.24226845767487606},    {1, 0.44005058574493733},   {3, 0.33905895852593687},
                 {-3, -0.33905895852593737},    {7.5, 0.13524842757970512}, {8, 0.23463634685391443},
                 {8.0001, 0.23465057773647313}, {10, 0.04347274616886143},  {20, 0.06683312417585001},
                 {50, -0.09751182812517513}};
    for (const auto &row : known)
        EXPECT_NEAR(vok_math_j1(row.x), row.j1, 1e-13) << row.x;
    EXPECT_EQ(vok_math_j1(-9), 0);
    EXPECT_EQ(vok_math_j1(nan), 0);
    EXPECT_EQ(vok_math_j1(0), 0);
    EXPECT_EQ(vok_math_j1(4), vok_math_j1_0(4));
}

TEST(Math, powers_of_two_and_tests)
{
    const long known[][2] = {{0, 0}, {1, 1}, {3, 4}, {1000, 1024}, {1024, 1024}, {0x80000001, 0x100000000}};
    for (const auto &row : known)
        EXPECT_EQ(vok_math_roundup_poweroftwo(row[0]), row[1]);
    vok_math_roundup_poweroftwo(LONG_MIN);
    vok_math_roundup_poweroftwo(LONG_MAX);
    for (const long v : {0L, 64L, LONG_MIN, 65L})
        EXPECT_EQ(vok_math_is_poweroftwo(v), v != 65);
    for (const double v : hostile) {
        EXPECT_EQ(vok_math_is_nan(v), std::isnan(v));
        EXPECT_EQ(vok_math_is_finite(v), std::isfinite(v));
        EXPECT_EQ(vok_math_is_valid(v), std::isfinite(v));
    }
    EXPECT_NEAR(vok_math_project_to_sphere(1, 0.3, 0.4), std::sqrt(0.75), 1e-15);
    EXPECT_NEAR(vok_math_project_to_sphere(1, 3, 4), 0.1, 1e-7);
}

TEST(Math, approximations_stay_near)
{
    for (const float x : {0.0f, 1.0f, 2.0f})
        EXPECT_EQ(vok_math_fast_sqrt(x * x), x);
    EXPECT_TRUE(g_vok_math_fast_sqrt_table_init);
    EXPECT_EQ(g_vok_math_fast_sqrt_table[0], 0x3504F3u) << "the root of 2";
    EXPECT_EQ(g_vok_math_fast_sqrt_table[32768], 0u);
    for (float x = 1e-30f; x < 1e30f; x *= 1.37f) {
        EXPECT_NEAR(vok_math_fast_sqrt(x) / std::sqrt(x), 1, 1e-4) << x;
        EXPECT_NEAR(vok_math_fast_invsqrt(x) * std::sqrt(x), 1, 2e-3) << x;
    }
    const struct {
        float (*fast)(float), (*exact)(float);
        float to;
        double tolerance;
    } rows[] = {{vok_math_fast_sin, std::sin, 1.5f, 2e-4},  {vok_math_fast_cos, std::cos, 1.5f, 1.2e-3},
                {vok_math_fast_tan, std::tan, 0.78f, 1e-6}, {vok_math_fast_acos, std::acos, 1, 1e-4},
                {vok_math_fast_asin, std::asin, 1, 1e-4},   {vok_math_fast_atan, std::atan, 1, 1e-6}};
    for (const auto &row : rows)
        for (float x = 0; x <= row.to; x += 0.01f)
            EXPECT_NEAR(row.fast(x), row.exact(x), row.tolerance) << &row - rows << " at " << x;
    for (const double v : hostile) {
        const auto f = static_cast<float>(std::clamp(v, -3.4e38, 3.4e38));
        for (auto *fn : {vok_math_fast_sqrt, vok_math_fast_invsqrt, vok_math_fast_sin, vok_math_fast_cos,
                         vok_math_fast_tan, vok_math_fast_asin, vok_math_fast_acos, vok_math_fast_atan})
            fn(f);
    }
}

} // namespace

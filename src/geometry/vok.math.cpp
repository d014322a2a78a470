// Mathematics: forwards to the standard library, own routines in float64, and fast
// approximations in float32 for inner loops.
#include <vokra/numerics.h>

#include <bit>
#include <cmath>
#include <iterator>
#include <utility>

// ---- forwards ----

#define VOKRA_MATH_1(name)                                                                                        \
    double vok_math_##name(double x)                                                                              \
    {                                                                                                             \
        return std::name(x);                                                                                      \
    }
VOKRA_MATH_1(sin)
VOKRA_MATH_1(cos)
VOKRA_MATH_1(tan)
VOKRA_MATH_1(asin)
VOKRA_MATH_1(acos)
VOKRA_MATH_1(atan)
VOKRA_MATH_1(sinh)
VOKRA_MATH_1(cosh)
VOKRA_MATH_1(tanh)
VOKRA_MATH_1(asinh)
VOKRA_MATH_1(acosh)
VOKRA_MATH_1(atanh)
VOKRA_MATH_1(exp)
VOKRA_MATH_1(expm1)
VOKRA_MATH_1(exp2)
VOKRA_MATH_1(log)
VOKRA_MATH_1(log2)
VOKRA_MATH_1(log10)
VOKRA_MATH_1(sqrt)
VOKRA_MATH_1(ceil)
VOKRA_MATH_1(floor)
VOKRA_MATH_1(round)
VOKRA_MATH_1(trunc)
#undef VOKRA_MATH_1

double vok_math_atan2(double y, double x)
{
    return std::atan2(y, x);
}

double vok_math_pow(double x, double y)
{
    return std::pow(x, y);
}

double vok_math_hypot(double x, double y)
{
    return std::hypot(x, y);
}

// ---- ranges ----

double vok_math_fmod(double a, double b)
{
    return b == 0 ? 0 : std::fmod(a, b);
}

namespace {

enum class way { wrapped, folded };

// x brought into lo to hi, the top excluded for a wrap.
double into_range(double x, double lo, double hi, way how)
{
    if (!(lo <= hi)) {
        if (std::isnan(lo) || std::isnan(hi))
            return NAN;
        std::swap(lo, hi);
    } else if (lo == hi)
        return lo;
    if (!std::isfinite(x))
        return NAN;
    if (x >= lo && (how == way::folded ? x <= hi : x < hi))
        return x;
    if (!std::isfinite(lo) || !std::isfinite(hi))
        return std::isfinite(lo) ? lo : hi;
    // a distance that would overflow is taken at half its size
    const double scale =
        std::isfinite(hi - lo) && std::isfinite(2 * (hi - lo)) && std::isfinite(x - lo) ? 1 : 0.25;
    const double range = hi * scale - lo * scale;
    double offset = std::fmod(x * scale - lo * scale, how == way::folded ? 2 * range : range);
    if (how == way::folded) {
        offset = std::fabs(offset); // the reflection at lo
        if (offset > range)
            offset = 2 * range - offset;
        return std::fmin(lo + offset / scale, hi);
    }
    if (offset < 0)
        offset += range;
    const double result = lo + offset / scale;
    return result < hi ? result : lo; // rounding can reach the end that is excluded
}

} // namespace

double vok_math_wrap(double x, double lo, double hi)
{
    return into_range(x, lo, hi, way::wrapped);
}

double vok_math_fold(double x, double lo, double hi)
{
    return into_range(x, lo, hi, way::folded);
}

// ---- the Bessel function ----

namespace {

// A Chebyshev series by Clenshaw's recurrence, coefficients from the top down.
template <size_t count> double chebyshev(double t, const double (&c)[count])
{
    double b0 = 0, b1 = 0, b2 = 0;
    for (const double coefficient : c) {
        b2 = b1;
        b1 = b0;
        b0 = 2 * t * b1 - b2 + coefficient;
    }
    return (b0 - b2) / 2;
}

} // namespace

double vok_math_j1_0(double x)
{
    static constexpr double c[] = {-2e-16,
                                   1.139e-14,
                                   -5.7774e-13,
                                   2.528124e-11,
                                   -9.424213e-10,
                                   2.949707007e-8,
                                   -7.6175878054e-7,
                                   1.588701923993e-5,
                                   -0.00026044438934858,
                                   0.00324027018268386,
                                   -0.02917552480615421,
                                   0.1777091172397283,
                                   -0.6614439341345433,
                                   1.2879940988576777,
                                   -1.1918011605412169,
                                   1.2967175412105298};
    const double y = x / 8;
    return chebyshev(2 * (y * y) - 1, c) * y;
}

double vok_math_p1(double x)
{
    static constexpr double c[] = {-2e-17,
                                   1.1e-16,
                                   -7.2e-16,
                                   5.45e-15,
                                   -4.684e-14,
                                   4.6992e-13,
                                   -5.70486e-12,
                                   8.816899e-11,
                                   -1.87189075e-9,
                                   6.177633961e-8,
                                   -3.98728430049e-6,
                                   0.00089898983308594,
                                   2.0018060817200274};
    const double y = 8 / x;
    return chebyshev(2 * (y * y) - 1, c);
}

double vok_math_q1(double x)
{
    static constexpr double c[] = {2e-17,
                                   -1e-16,
                                   6.5e-16,
                                   -4.56e-15,
                                   3.597e-14,
                                   -3.2643e-13,
                                   3.51522e-12,
                                   -4.683664e-11,
                                   8.2291933e-10,
                                   -2.095978138e-8,
                                   9.138615258e-7,
                                   -9.627723549157e-5,
                                   0.09355557413907065};
    const double y = 8 / x;
    return chebyshev(2 * (y * y) - 1, c) * y;
}

double vok_math_j1(double x)
{
    if (x >= -8 && x <= 8)
        return vok_math_j1_0(x);
    if (!(x > 8))
        return 0; // below -8 too: the function's odd symmetry isn't used, by decision
    const double a = x - 2.356194490192345;
    return (std::cos(a) * vok_math_p1(x) - std::sin(a) * vok_math_q1(x)) * 0.7978845608028654 / std::sqrt(x);
}

// ---- numbers and tests ----

long vok_math_roundup_poweroftwo(long v)
{
    v = static_cast<long>(static_cast<unsigned long>(v) - 1);
    for (const int shift : {1, 2, 4, 8, 16})
        v |= v >> shift;
    return static_cast<long>(static_cast<unsigned long>(v) + 1);
}

long vok_math_is_poweroftwo(long v)
{
    const auto bits = static_cast<unsigned long>(v);
    return (bits & (bits - 1)) == 0;
}

long vok_math_is_finite(double f)
{
    return std::fabs(f) < INFINITY;
}

long vok_math_is_nan(double f)
{
    return std::isnan(f);
}

long vok_math_is_valid(double f)
{
    return std::isfinite(f);
}

double vok_math_project_to_sphere(double r, double x, double y)
{
    const double d = std::sqrt(x * x + y * y);
    if (r * 0.7071067811865476 > d)
        return std::sqrt(r * r - d * d);
    const double t = r / 1.4142135;
    return t * t / d;
}

// ---- approximations ----

uint32_t g_vok_math_fast_sqrt_table[65536];
long g_vok_math_fast_sqrt_table_init;

namespace {

uint32_t root_mantissa(uint32_t bits)
{
    return std::bit_cast<uint32_t>(std::sqrt(std::bit_cast<float>(bits))) & 0x7FFFFF;
}

void build_fast_sqrt_table()
{
    static const bool built = [] {
        for (uint32_t i = 0; i <= 0x7FFF00; i += 256) {
            g_vok_math_fast_sqrt_table[32768 + i / 256] = root_mantissa(i | 0x3F800000);
            g_vok_math_fast_sqrt_table[i / 256] = root_mantissa(i | 0x40000000);
        }
        g_vok_math_fast_sqrt_table_init = 1;
        return true;
    }();
    static_cast<void>(built);
}

} // namespace

float vok_math_fast_sqrt(float f)
{
    build_fast_sqrt_table();
    const auto b = std::bit_cast<uint32_t>(f);
    if (b == 0)
        return 0;
    const uint32_t exponent = (((b - 0x3F800000) >> 1) + 0x3F800000) & 0x7F800000;
    return std::bit_cast<float>(exponent | g_vok_math_fast_sqrt_table[b >> 8 & 0xFFFF]);
}

float vok_math_fast_invsqrt(float f)
{
    const auto half = static_cast<uint32_t>(std::bit_cast<int32_t>(f) >> 1);
    const float y = std::bit_cast<float>(0x5F3759DF - half);
    return (f * -0.5f * y * y + 1.5f) * y;
}

float vok_math_fast_sin(float x)
{
    const float a = x * x;
    return ((0.00761f * a - 0.16605f) * a + 1.0f) * x;
}

float vok_math_fast_cos(float x)
{
    const float a = x * x;
    return (0.03705f * a - 0.4967f) * a + 1.0f;
}

float vok_math_fast_tan(float x)
{
    const float a = x * x;
    const float series =
        ((((0.009516809f * a + 0.002900525f) * a + 0.02456509f) * a + 0.05337406f) * a + 0.1333924f) * a +
        0.3333314f;
    return series * a * x + x;
}

float vok_math_fast_acos(float x)
{
    return (((-0.0187293f * x + 0.074261f) * x - 0.2121144f) * x + 1.5707288f) * std::sqrt(1.0f - x);
}

float vok_math_fast_asin(float x)
{
    return 1.5707964f - vok_math_fast_acos(x);
}

float vok_math_fast_atan(float x)
{
    const float a = x * x;
    const float series =
        ((((((0.0028662258f * a - 0.016165737f) * a + 0.042909615f) * a - 0.07528964f) * a + 0.10656264f) * a -
          0.142089f) *
             a +
         0.19993551f) *
            a -
        0.33333147f;
    return series * a * x + x;
}

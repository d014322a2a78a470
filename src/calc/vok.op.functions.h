// Functions of the mathematics library on float32, many at a time and to the last bit
// what the library gives. A function is first calculated in double by a polynomial whose
// error is known; when everything within that error rounds to the same float32, that is
// the library's result too, since the library's own error in double is smaller. The few
// undecided elements, and those outside a function's range, go to the library.
//
// Included by vok.op.bodies.h. A rule here has `near`, the value in double for the
// arguments that `suits` tells, and `error`, a bound of its relative error with room to
// spare. The polynomials interpolate at Chebyshev points (sixty digits, then rounded):
// theirs are 2^-49 for the exponential, 2^-55 and 2^-51 for sine and cosine, 2^-50 for
// the logarithm, 2^-47 or less for the others; roundings add some 2^-51 each. Every float32 was tried once on every
// function of one argument.

// A fused multiply-add where the processor has one: it changes the last bits of `near`
// alone, which `error` covers.
inline f64 mul_add(f64 a, f64 b, f64 c)
{
#if defined(__FMA__) || defined(__aarch64__)
    return __builtin_fma(a, b, c);
#else
    return a * b + c;
#endif
}

// c[0] x^(count-1) + ... + c[count-1]
template <int count> [[gnu::always_inline]] inline f64 polynomial(f64 x, const f64 (&c)[count])
{
    f64 sum = c[0];
#pragma GCC unroll 16
    for (int i = 1; i < count; i++)
        sum = mul_add(sum, x, c[i]);
    return sum;
}

inline u64 bits_of(f64 x)
{
    return __builtin_bit_cast(u64, x);
}

inline f64 from_bits(u64 bits)
{
    return __builtin_bit_cast(f64, bits);
}

// Added to a number below 2^51 it leaves the nearest integer in the low bits.
constexpr f64 rounder = 0x1.8p52;

constexpr f64 ln2_high = 0x1.62e42fefa3800p-1, ln2_low = 0x1.ef35793c76730p-45; // high: 42 bits
constexpr f64 log2_e = 0x1.71547652b82fep0;

// e^r * 2^k for |r| up to ln(2)/2; `t` is k + rounder.
[[gnu::always_inline]] inline f64 exponential_of(f64 r, f64 t)
{
    constexpr f64 c[] = {0x1.287d108c744eap-22,
                         0x1.72c73b2b43f64p-19,
                         0x1.a019cc556e09ep-16,
                         0x1.a019ad98e6642p-13,
                         0x1.6c16c172de633p-10,
                         0x1.1111111c49a7fp-7,
                         0x1.5555555554e7fp-5,
                         0x1.5555555553b71p-3,
                         0x1.0000000000000p-1,
                         1.0,
                         1.0};
    const f64 e = polynomial(r, c);
    return e * from_bits((bits_of(t) + 1023) << 52);
}

struct near_exp {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return x == x; }
    static f64 near(f64 x)
    {
        x = x < 200 ? x : 200; // infinite as a float32, as its true value is
        x = x > -200 ? x : -200;
        const f64 t = mul_add(x, log2_e, rounder), k = t - rounder;
        return exponential_of(mul_add(k, -ln2_low, mul_add(k, -ln2_high, x)), t);
    }
};

struct near_exp2 {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return x == x; }
    static f64 near(f64 x)
    {
        x = x < 300 ? x : 300;
        x = x > -300 ? x : -300;
        const f64 t = x + rounder, k = t - rounder;
        return exponential_of((x - k) * 0x1.62e42fefa39efp-1, t);
    }
};

// x as m * 2^e with m from the root of a half to that of 2, and ln(m).
struct log_parts {
    f64 e, ln_m;
    [[gnu::always_inline]] explicit log_parts(f64 x)
    {
        constexpr u64 half_root = 0x3FE6A09E667F3BCDu; // bits of the root of a half
        const u64 above = bits_of(x) - half_root;
        const f64 m = from_bits((above & 0x000FFFFFFFFFFFFFu) + half_root);
        // the exponent, by way of the low bits of a double: there is no vector conversion of 64-bit integers
        e = from_bits(((above >> 52) & 0x7FF) | 0x4330000000000000u) - 0x1p52;
        e = e > 1024 ? e - 2048 : e; // it was negative
        const f64 s = (m - 1) / (m + 1), s2 = s * s;
        constexpr f64 c[] = {0x1.546adfbbde082p-3, 0x1.7382d06f0bce8p-3, 0x1.c71fcd1ced0d3p-3,
                             0x1.2492462aa8c89p-2, 0x1.9999999b86b7cp-2, 0x1.55555555553b8p-1};
        ln_m = mul_add(polynomial(s2, c) * s2, s, 2 * s);
    }
};

struct near_log {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return (x > 0) & (x < __builtin_inff()); }
    static f64 near(f64 x)
    {
        const log_parts p(x);
        return mul_add(p.e, ln2_high, mul_add(p.e, ln2_low, p.ln_m));
    }
};

struct near_log2 : near_log {
    static f64 near(f64 x)
    {
        const log_parts p(x);
        return mul_add(p.ln_m, log2_e, p.e);
    }
};

struct near_log10 : near_log {
    static f64 near(f64 x)
    {
        const log_parts p(x);
        return mul_add(p.e, 0x1.34413509f79ffp-2, p.ln_m * 0x1.bcb7b1526e50ep-2);
    }
};

// a^b by the logarithm, whose error the exponent makes up to 150 times as large.
struct near_pow {
    static constexpr f64 error = 0x1p-41;
    static bool suits(f32 a, f32 b) { return (a > 0) & (a < __builtin_inff()) & (b - b == 0); }
    static f64 near(f64 a, f64 b) { return near_exp2::near(b * near_log2::near(a)); }
};

// The sine and cosine of what is left of an angle after quarter turns, whose number
// stands in the low bits of `quarters`.
struct angle_parts {
    u64 quarters;
    f64 sine, cosine;
    [[gnu::always_inline]] explicit angle_parts(f64 x)
    {
        const f64 t = mul_add(x, 0x1.45f306dc9c883p-1, rounder), k = t - rounder;
        quarters = bits_of(t);
        // a quarter turn in three pieces of 33 bits and more: the products with k are exact
        f64 r = mul_add(k, -0x1.921fb54400000p0, x);
        r = mul_add(k, -0x1.0b4611a600000p-34, r);
        r = mul_add(k, -0x1.3198a2e037073p-69, r);
        const f64 r2 = r * r;
        constexpr f64 s[] = {0x1.5e0b05bff20f2p-33,  -0x1.ae600aca92c64p-26, 0x1.71de379654304p-19,
                             -0x1.a01a019e83816p-13, 0x1.1111111110bb2p-7,   -0x1.5555555555555p-3};
        constexpr f64 c[] = {0x1.1c063511f828dp-29,  -0x1.27e0f5440bb64p-22, 0x1.a019fc7ae6b8bp-16,
                             -0x1.6c16c1691d3cep-10, 0x1.5555555554134p-5,   -0x1.ffffffffffffap-2};
        sine = r * mul_add(polynomial(r2, s), r2, 1.0); // -0 for -0
        cosine = mul_add(polynomial(r2, c), r2, 1.0);
    }
    // With the sign of the quarter; `shift` 1 makes it the cosine.
    [[gnu::always_inline]] f64 turned(u64 shift) const
    {
        const u64 q = quarters + shift;
        const f64 value = q & 1 ? cosine : sine;
        return from_bits(bits_of(value) ^ (q & 2) << 62);
    }
};

struct near_sin {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return (x < 0x1p20f) & (x > -0x1p20f); } // beyond, k times a piece isn't exact
    static f64 near(f64 x) { return angle_parts(x).turned(0); }
};

struct near_cos : near_sin {
    static f64 near(f64 x) { return angle_parts(x).turned(1); }
};

struct near_tan : near_sin {
    static f64 near(f64 x)
    {
        const angle_parts p(x);
        return p.turned(0) / p.turned(1);
    }
};

// ---- the arcs ----

constexpr f64 quarter_turn = 0x1.921fb54442d18p0;

inline f64 with_sign_of(f64 magnitude, f64 x)
{
    return __builtin_copysign(magnitude, x);
}

// The arc tangent of 0 to 1, above the tangent of an eighth of a turn's half by way of
// the difference from it.
[[gnu::always_inline]] inline f64 arc_tangent(f64 t)
{
    const bool far = t > 0.4142135;
    const f64 x = far ? (t - 1) / (t + 1) : t;
    const f64 x2 = x * x;
    constexpr f64 c[] = {-0x1.be2cc8ce4c576p-6, 0x1.a76d9ccd50b61p-5,  -0x1.0c53261904510p-4,
                         0x1.3a9d957eff92fp-4,  -0x1.74563dc73c71dp-4, 0x1.c71c382822d19p-4,
                         -0x1.249248aa746dcp-3, 0x1.99999998d16eep-3,  -0x1.55555555553a4p-2};
    const f64 arc = mul_add(polynomial(x2, c) * x2, x, x);
    return far ? arc + quarter_turn / 2 : arc;
}

struct near_atan {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return x == x; }
    static f64 near(f64 x)
    {
        const f64 magnitude = __builtin_fabs(x);
        const bool steep = magnitude > 1;
        const f64 arc = arc_tangent(steep ? 1 / magnitude : magnitude);
        return with_sign_of(steep ? quarter_turn - arc : arc, x);
    }
};

// Two zeros or two infinities make no quotient and so stay undecided.
struct near_atan2 {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 y, f32 x) { return (x == x) & (y == y); }
    static f64 near(f64 y, f64 x)
    {
        const f64 rise = __builtin_fabs(y), run = __builtin_fabs(x);
        const bool steep = rise > run;
        const f64 arc = arc_tangent(steep ? run / rise : rise / run);
        const f64 half = steep ? quarter_turn - arc : arc;
        return with_sign_of(x < 0 ? 2 * quarter_turn - half : half, y);
    }
};

// What both arcs of a sine begin with: the arc of x itself up to a half, above it that
// of the sine of half the rest.
struct arc_parts {
    bool far;
    f64 arc;
    [[gnu::always_inline]] explicit arc_parts(f64 magnitude) : far(magnitude > 0.5)
    {
        const f64 rest = (1 - magnitude) * 0.5;
        const f64 x2 = far ? rest : magnitude * magnitude;
        const f64 x = far ? __builtin_sqrt(rest) : magnitude;
        constexpr f64 c[] = {0x1.c93aa2ce57e43p-6, -0x1.81539c0ca5b76p-9, 0x1.00d485e718f3ep-6,
                             0x1.b0243ec02799cp-7, 0x1.1dc2efa158e63p-6,  0x1.6e72146af3e5dp-6,
                             0x1.f1c81c5a22358p-6, 0x1.6db6d8e712a35p-5,  0x1.33333335a9ce0p-4,
                             0x1.5555555554f05p-3};
        arc = mul_add(polynomial(x2, c) * x2, x, x);
    }
};

struct near_asin {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return (x <= 1) & (x >= -1); }
    static f64 near(f64 x)
    {
        const arc_parts p(__builtin_fabs(x));
        return with_sign_of(p.far ? quarter_turn - 2 * p.arc : p.arc, x);
    }
};

struct near_acos : near_asin {
    static f64 near(f64 x)
    {
        const arc_parts p(__builtin_fabs(x));
        const f64 far = x < 0 ? 2 * quarter_turn - 2 * p.arc : 2 * p.arc;
        return p.far ? far : quarter_turn - with_sign_of(p.arc, x);
    }
};

// ---- hyperbolic functions, by the exponential of the magnitude ----

struct hyperbolic_parts {
    f64 sine, cosine; // of the magnitude
    [[gnu::always_inline]] explicit hyperbolic_parts(f64 magnitude)
    {
        const f64 e = near_exp::near(magnitude), inverse = 1 / e;
        const f64 x2 = magnitude * magnitude;
        constexpr f64 c[] = {0x1.6638f1af8c5b3p-33, 0x1.ae58e1694efe1p-26, 0x1.71de463a9ecfbp-19,
                             0x1.a01a0194f14a8p-13, 0x1.1111111114e4ep-7,  0x1.5555555555548p-3};
        const f64 small = mul_add(polynomial(x2, c) * x2, magnitude, magnitude);
        sine = magnitude < 1 ? small : 0.5 * (e - inverse); // below 1 the difference would lose bits
        cosine = 0.5 * (e + inverse);
    }
};

struct near_sinh {
    static constexpr f64 error = 0x1p-44;
    static bool suits(f32 x) { return x == x; }
    static f64 near(f64 x) { return with_sign_of(hyperbolic_parts(__builtin_fabs(x)).sine, x); }
};

struct near_cosh : near_sinh {
    static f64 near(f64 x) { return hyperbolic_parts(__builtin_fabs(x)).cosine; }
};

struct near_tanh : near_sinh {
    static f64 near(f64 x)
    {
        const hyperbolic_parts p(__builtin_fabs(x));
        return with_sign_of(p.sine / p.cosine, x);
    }
};

struct near_hypot {
    static constexpr f64 error = 0x1p-50;
    static bool suits(f32 a, f32 b) { return (a - a == 0) & (b - b == 0); }
    static f64 near(f64 a, f64 b) { return __builtin_sqrt(a * a + b * b); }
};

// What each operator does to one element. A body has `of` for the element types of
// its domain, with one argument or two. The rules are those of vok.op.table.h; what
// is written in a roundabout way is so because the compiler then finds the vector
// form. Included by the kernel file alone, inside its own namespace, and using no
// function of a shared header (see cmake/VokraCompile.cmake).

using u8 = unsigned char;
using i32 = int;
using u32 = unsigned int;
using i64 = long;
using u64 = unsigned long;
using f32 = float;
using f64 = double;

template <typename T> struct element;
template <> struct element<u8> {
    static constexpr bool is_float = false;
    static constexpr u8 yes = 255;
};
template <> struct element<i32> {
    static constexpr bool is_float = false;
    static constexpr i32 yes = 1;
};
template <> struct element<f32> {
    static constexpr bool is_float = true;
    static constexpr f32 yes = 1;
};
template <> struct element<f64> {
    static constexpr bool is_float = true;
    static constexpr f64 yes = 1;
};
template <typename T>
concept real = element<T>::is_float;

// Marks a body whose float form calls a library, element by element.
template <typename Op>
concept calls_library = requires
{
    Op::library;
};

// ---- arithmetic ----

struct pass {
    template <typename T> static T of(T a) { return a; }
    template <typename T> static T of(T a, T) { return a; }
};

template <typename Op> struct flip : Op {
    template <typename T> static T of(T a, T b) { return Op::of(b, a); }
};

struct mult {
    static u8 of(u8 a, u8 b) { return static_cast<u8>(a * b >> 8); }
    static i32 of(i32 a, i32 b) { return static_cast<i32>(static_cast<u32>(a) * static_cast<u32>(b)); }
    template <real F> static F of(F a, F b) { return a * b; }
};

struct addmod {
    static u8 of(u8 a, u8 b) { return static_cast<u8>(a + b); }
    static i32 of(i32 a, i32 b) { return static_cast<i32>(static_cast<u32>(a) + static_cast<u32>(b)); }
    template <real F> static F of(F a, F b) { return a + b; }
};

struct submod {
    static u8 of(u8 a, u8 b) { return static_cast<u8>(a - b); }
    static i32 of(i32 a, i32 b) { return static_cast<i32>(static_cast<u32>(a) - static_cast<u32>(b)); }
    template <real F> static F of(F a, F b) { return a - b; }
};

struct add {
    static u8 of(u8 a, u8 b)
    {
        const u8 sum = static_cast<u8>(a + b);
        return static_cast<u8>(sum | -(sum < a));
    }
    static i32 of(i32 a, i32 b) { return addmod::of(a, b); }
    template <real F> static F of(F a, F b) { return a + b; }
};

struct sub {
    static u8 of(u8 a, u8 b) { return static_cast<u8>((a > b ? a : b) - b); }
    static i32 of(i32 a, i32 b) { return submod::of(a, b); }
    template <real F> static F of(F a, F b) { return a - b; }
};

// Integer quotients go by a float type that holds them exactly: there is no vector
// division of integers, and a rounded quotient of two such integers lies on the same
// side of every integer as the exact one.
struct quotient {
    static u8 of(u8 a, u8 b)
    {
        const f32 q = static_cast<f32>(a) / static_cast<f32>(b + (b == 0));
        return b == 0 ? u8(0) : static_cast<u8>(static_cast<i32>(q));
    }
    static i32 of(i32 a, i32 b)
    {
        // -1 is left out of the division, since the most negative value has no opposite: it wraps to itself
        const i32 divisor = b == 0 || b == -1 ? 1 : b;
        const i32 q = static_cast<i32>(static_cast<f64>(a) / static_cast<f64>(divisor));
        const i32 signed_q = b == -1 ? static_cast<i32>(0u - static_cast<u32>(a)) : q;
        return b == 0 ? 0 : signed_q;
    }
    template <real F> static F of(F a, F b)
    {
        const F q = a / (b == 0 ? F(1) : b);
        return b == 0 ? F(0) : q;
    }
};

struct remainder {
    static constexpr bool library = true;
    static u8 of(u8 a, u8 b) { return static_cast<u8>(a - quotient::of(a, b) * b); }
    static i32 of(i32 a, i32 b) { return submod::of(a, mult::of(quotient::of(a, b), b)); }
    template <real F> static F of(F a, F b) { return static_cast<F>(vok_math_fmod(a, b)); }
};

struct smaller {
    template <typename T> static T of(T a, T b) { return a < b ? a : b; }
};

struct larger {
    template <typename T> static T of(T a, T b) { return a > b ? a : b; }
};

struct average {
    static u8 of(u8 a, u8 b) { return static_cast<u8>((a & b) + ((a ^ b) >> 1)); }
    static i32 of(i32 a, i32 b) { return addmod::of(a, b) >> 1; }
    template <real F> static F of(F a, F b) { return (a + b) * F(0.5); }
};

struct magnitude {
    static u8 of(u8 a) { return a; }
    static i32 of(i32 a) { return a < 0 ? static_cast<i32>(0u - static_cast<u32>(a)) : a; }
    template <real F> static F of(F a) { return a < 0 ? -a : a; }
};

struct absdiff {
    static u8 of(u8 a, u8 b) { return static_cast<u8>(a > b ? a - b : b - a); }
    template <typename T> static T of(T a, T b) { return magnitude::of(submod::of(a, b)); }
};

struct fold {
    static constexpr bool library = true;
    template <real F> static F of(F a, F b) { return static_cast<F>(vok_math_fold(a, 0, b)); }
};

struct wrap {
    static constexpr bool library = true;
    template <real F> static F of(F a, F b) { return static_cast<F>(vok_math_wrap(a, 0, b)); }
};

// ---- bits ----

struct bits_and {
    template <typename T> static T of(T a, T b) { return static_cast<T>(a & b); }
};

struct bits_or {
    template <typename T> static T of(T a, T b) { return static_cast<T>(a | b); }
};

struct bits_xor {
    template <typename T> static T of(T a, T b) { return static_cast<T>(a ^ b); }
};

struct bits_not {
    template <typename T> static T of(T a) { return static_cast<T>(~a); }
};

// Counts are taken modulo 64 and act on 64 bits, so that counts past the width empty
// the cell. Bytes are shifted in three steps: bytes have no vector shift by bytes.
struct shift_right {
    static u8 of(u8 a, u8 b)
    {
        a = b & 1 ? static_cast<u8>(a >> 1) : a;
        a = b & 2 ? static_cast<u8>(a >> 2) : a;
        a = b & 4 ? static_cast<u8>(a >> 4) : a;
        return b & 0x38 ? u8(0) : a;
    }
    static i32 of(i32 a, i32 b)
    {
        const i32 count = b & 63;
        return a >> (count < 31 ? count : 31);
    }
};

struct shift_left {
    static u8 of(u8 a, u8 b)
    {
        a = b & 1 ? static_cast<u8>(a << 1) : a;
        a = b & 2 ? static_cast<u8>(a << 2) : a;
        a = b & 4 ? static_cast<u8>(a << 4) : a;
        return b & 0x38 ? u8(0) : a;
    }
    static i32 of(i32 a, i32 b)
    {
        const u32 shifted = static_cast<u32>(a) << (b & 31);
        return b & 32 ? 0 : static_cast<i32>(shifted);
    }
};

// ---- logic and comparison: a rule, answered with true or false, or with a or 0 ----

struct both {
    template <typename T> static bool holds(T a, T b) { return (a != 0) & (b != 0); }
};
struct either {
    template <typename T> static bool holds(T a, T b) { return (a != 0) | (b != 0); }
};
struct greater {
    template <typename T> static bool holds(T a, T b) { return a > b; }
};
struct less {
    template <typename T> static bool holds(T a, T b) { return a < b; }
};
struct greater_equal {
    template <typename T> static bool holds(T a, T b) { return a >= b; }
};
struct less_equal {
    template <typename T> static bool holds(T a, T b) { return a <= b; }
};
struct equal {
    template <typename T> static bool holds(T a, T b) { return a == b; }
};
struct unequal {
    template <typename T> static bool holds(T a, T b) { return a != b; }
};

template <typename Rule> struct truth {
    template <typename T> static T of(T a, T b) { return Rule::holds(a, b) ? element<T>::yes : T(0); }
};

template <typename Rule> struct gate {
    template <typename T> static T of(T a, T b) { return Rule::holds(a, b) ? a : T(0); }
};

struct negation {
    template <typename T> static T of(T a) { return a == 0 ? element<T>::yes : T(0); }
};

// ---- the mathematics library: in double for both types, rounded to the element ----

#include "calc/vok.op.functions.h"

// Marks a library function without a rule of its own for many elements.
struct no_rule {};
template <typename Op>
concept has_rule = requires
{
    Op::fast::error;
};

#define VOKRA_OP_LIBRARY_1(body, function, rule)                                                                  \
    struct body {                                                                                                 \
        static constexpr bool library = true;                                                                     \
        using fast = rule;                                                                                        \
        template <real F> static F of(F a) { return static_cast<F>(__builtin_##function(static_cast<f64>(a))); }  \
    };
#define VOKRA_OP_LIBRARY_2(body, function, rule)                                                                  \
    struct body {                                                                                                 \
        static constexpr bool library = true;                                                                     \
        using fast = rule;                                                                                        \
        template <real F> static F of(F a, F b)                                                                   \
        {                                                                                                         \
            return static_cast<F>(__builtin_##function(static_cast<f64>(a), static_cast<f64>(b)));                \
        }                                                                                                         \
    };
VOKRA_OP_LIBRARY_1(sine, sin, near_sin)
VOKRA_OP_LIBRARY_1(cosine, cos, near_cos)
VOKRA_OP_LIBRARY_1(tangent, tan, near_tan)
VOKRA_OP_LIBRARY_1(arcsine, asin, near_asin)
VOKRA_OP_LIBRARY_1(arccosine, acos, near_acos)
VOKRA_OP_LIBRARY_1(arctangent, atan, near_atan)
VOKRA_OP_LIBRARY_2(arctangent2, atan2, near_atan2)
VOKRA_OP_LIBRARY_1(hyperbolic_sine, sinh, near_sinh)
VOKRA_OP_LIBRARY_1(hyperbolic_cosine, cosh, near_cosh)
VOKRA_OP_LIBRARY_1(hyperbolic_tangent, tanh, near_tanh)
VOKRA_OP_LIBRARY_1(area_sine, asinh, no_rule)
VOKRA_OP_LIBRARY_1(area_cosine, acosh, no_rule)
VOKRA_OP_LIBRARY_1(area_tangent, atanh, no_rule)
VOKRA_OP_LIBRARY_1(exponential, exp, near_exp)
VOKRA_OP_LIBRARY_1(exponential2, exp2, near_exp2)
VOKRA_OP_LIBRARY_1(logarithm, log, near_log)
VOKRA_OP_LIBRARY_1(logarithm2, log2, near_log2)
VOKRA_OP_LIBRARY_1(logarithm10, log10, near_log10)
VOKRA_OP_LIBRARY_2(hypotenuse, hypot, near_hypot)
VOKRA_OP_LIBRARY_2(power, pow, near_pow)
#undef VOKRA_OP_LIBRARY_1
#undef VOKRA_OP_LIBRARY_2

// ---- roots and rounding, in the element's own precision ----

struct root {
    static f32 of(f32 a) { return __builtin_sqrtf(a); }
    static f64 of(f64 a) { return __builtin_sqrt(a); }
};

struct ceiling {
    static f32 of(f32 a) { return __builtin_ceilf(a); }
    static f64 of(f64 a) { return __builtin_ceil(a); }
};

struct flooring {
    static f32 of(f32 a) { return __builtin_floorf(a); }
    static f64 of(f64 a) { return __builtin_floor(a); }
};

struct truncation {
    static f32 of(f32 a) { return __builtin_truncf(a); }
    static f64 of(f64 a) { return __builtin_trunc(a); }
};

// There is no vector instruction that rounds halves away from zero: truncate after
// adding the largest number below a half, which gets no smaller fraction over one and
// carries an exact half over it by rounding.
struct rounding {
    static f32 of(f32 a) { return __builtin_truncf(a + __builtin_copysignf(0x1.fffffep-2f, a)); }
    static f64 of(f64 a) { return __builtin_trunc(a + __builtin_copysign(0x1.fffffffffffffp-2, a)); }
};

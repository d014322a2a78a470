// What every operator word means, said a second time and one element at a time: the
// tests hold the library's loops against it. `char` and `long` rules are in wider
// integers, from which the low bits count.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include <vokra/numerics.h>

struct op_rule {
    const char *word;
    const char *alias; // null: none
    long inputs;
    long (*on_char)(long a, long b); // null where the word means nothing for the type
    long (*on_long)(long a, long b);
    float (*on_float32)(float a, float b);
    double (*on_float64)(double a, double b);
};

// What a word gives on an element; where it means nothing, the element.
template <typename T> T applied(const op_rule &r, T a, T b)
{
    if constexpr (std::is_same_v<T, uint8_t>)
        return r.on_char ? static_cast<T>(r.on_char(a, b)) : a;
    else if constexpr (std::is_same_v<T, int32_t>)
        return r.on_long ? static_cast<T>(r.on_long(a, b)) : a;
    else if constexpr (std::is_same_v<T, float>)
        return r.on_float32 ? r.on_float32(a, b) : a;
    else
        return r.on_float64 ? r.on_float64(a, b) : a;
}

namespace op_rules {

inline long saturated(long v)
{
    return std::clamp(v, 0L, 255L);
}
inline long cut(long v) // to 32 bits
{
    return static_cast<int32_t>(v);
}
// The shifts of a machine that takes counts modulo 64.
inline long shifted_left(long a, long count)
{
    return static_cast<long>(static_cast<unsigned long>(a) << (count & 63));
}

#define OP_INT(e) [](long a, long b) -> long { return e; }
#define OP_REAL(e) [](auto a, auto b) -> decltype(a) { return static_cast<decltype(a)>(e); }
// The mathematics library in double, whatever the element.
#define OP_LIB1(f) [](auto a, auto) -> decltype(a) { return static_cast<decltype(a)>(f(static_cast<double>(a))); }
#define OP_LIB2(f)                                                                                                \
    [](auto a, auto b) -> decltype(a) {                                                                           \
        return static_cast<decltype(a)>(f(static_cast<double>(a), static_cast<double>(b)));                       \
    }
#define OP_EVERY(word, alias, inputs, c, l, r)                                                                    \
    {                                                                                                             \
        word, alias, inputs, OP_INT(c), OP_INT(l), OP_REAL(r), OP_REAL(r)                                         \
    }
#define OP_INTEGERS(word, alias, inputs, c, l)                                                                    \
    {                                                                                                             \
        word, alias, inputs, OP_INT(c), OP_INT(l), nullptr, nullptr                                               \
    }
#define OP_FLOATS(word, alias, inputs, f)                                                                         \
    {                                                                                                             \
        word, alias, inputs, nullptr, nullptr, f, f                                                               \
    }
#define OP_TRUTH(word, alias, inputs, e) OP_EVERY(word, alias, inputs, (e) ? 255 : 0, (e) ? 1 : 0, (e) ? 1 : 0)
#define OP_GATE(word, alias, e) OP_EVERY(word, alias, 2, (e) ? a : 0, (e) ? a : 0, (e) ? a : 0)

inline const op_rule all[] = {
    OP_EVERY("pass", nullptr, 1, a, a, a),
    OP_EVERY("mult", "*", 2, (a * b) >> 8, a *b, a *b),
    OP_EVERY("div", "/", 2, b == 0 ? 0 : a / b, b == 0 ? 0 : a / b, b == 0 ? 0 : a / b),
    OP_EVERY("add", "+", 2, saturated(a + b), a + b, a + b),
    OP_EVERY("addmod", "+m", 2, a + b, a + b, a + b),
    OP_EVERY("sub", "-", 2, saturated(a - b), a - b, a - b),
    OP_EVERY("submod", "-m", 2, a - b, a - b, a - b),
    OP_EVERY("mod", "%", 2, b == 0 ? a : a % b, b == 0 ? a : a % b, b == 0 ? 0 : std::fmod(a, b)),
    OP_EVERY("min", nullptr, 2, std::min(a, b), std::min(a, b), a < b ? a : b),
    OP_EVERY("max", nullptr, 2, std::max(a, b), std::max(a, b), a > b ? a : b),
    OP_EVERY("avg", nullptr, 2, (a + b) / 2, cut(a + b) >> 1, (a + b) * decltype(a)(0.5)),
    OP_EVERY("abs", nullptr, 1, a, std::labs(a), a < 0 ? -a : a),
    OP_EVERY("absdiff", nullptr, 2, std::labs(a - b), std::labs(cut(a - b)), (a - b) < 0 ? -(a - b) : (a - b)),
    OP_EVERY("flippass", "!pass", 2, b, b, b),
    OP_EVERY("flipdiv", "!/", 2, a == 0 ? 0 : b / a, a == 0 ? 0 : b / a, a == 0 ? 0 : b / a),
    OP_EVERY("flipsub", "!-", 2, saturated(b - a), b - a, b - a),
    OP_EVERY("flipmod", "!%", 2, a == 0 ? b : b % a, a == 0 ? b : b % a, a == 0 ? 0 : std::fmod(b, a)),
    OP_FLOATS("fold", nullptr, 2, OP_REAL(vok_math_fold(a, 0, b))),
    OP_FLOATS("wrap", nullptr, 2, OP_REAL(vok_math_wrap(a, 0, b))),
    OP_INTEGERS("bitand", "&", 2, a &b, a &b),
    OP_INTEGERS("bitor", "|", 2, a | b, a | b),
    OP_INTEGERS("bitxor", "^", 2, a ^ b, a ^ b),
    OP_INTEGERS("bitnot", "~", 1, ~a, ~a),
    OP_INTEGERS("rshift", ">>", 2, a >> (b & 63), a >> (b & 63)),
    OP_INTEGERS("lshift", "<<", 2, shifted_left(a, b), shifted_left(a, b)),
    OP_TRUTH("and", "&&", 2, a != 0 && b != 0),
    OP_TRUTH("or", "||", 2, a != 0 || b != 0),
    OP_TRUTH("not", "!", 1, a == 0),
    OP_TRUTH("gt", ">", 2, a > b),
    OP_TRUTH("lt", "<", 2, a < b),
    OP_TRUTH("gte", ">=", 2, a >= b),
    OP_TRUTH("lte", "<=", 2, a <= b),
    OP_TRUTH("eq", "==", 2, a == b),
    OP_TRUTH("neq", "!=", 2, a != b),
    OP_GATE("gtp", ">p", a > b),
    OP_GATE("ltp", "<p", a < b),
    OP_GATE("gtep", ">=p", a >= b),
    OP_GATE("ltep", "<=p", a <= b),
    OP_GATE("eqp", "==p", a == b),
    OP_GATE("neqp", "!=p", a != b),
    OP_FLOATS("sin", nullptr, 1, OP_LIB1(std::sin)),
    OP_FLOATS("cos", nullptr, 1, OP_LIB1(std::cos)),
    OP_FLOATS("tan", nullptr, 1, OP_LIB1(std::tan)),
    OP_FLOATS("asin", nullptr, 1, OP_LIB1(std::asin)),
    OP_FLOATS("acos", nullptr, 1, OP_LIB1(std::acos)),
    OP_FLOATS("atan", nullptr, 1, OP_LIB1(std::atan)),
    OP_FLOATS("sinh", nullptr, 1, OP_LIB1(std::sinh)),
    OP_FLOATS("cosh", nullptr, 1, OP_LIB1(std::cosh)),
    OP_FLOATS("tanh", nullptr, 1, OP_LIB1(std::tanh)),
    OP_FLOATS("asinh", nullptr, 1, OP_LIB1(std::asinh)),
    OP_FLOATS("acosh", nullptr, 1, OP_LIB1(std::acosh)),
    OP_FLOATS("atanh", nullptr, 1, OP_LIB1(std::atanh)),
    OP_FLOATS("exp", nullptr, 1, OP_LIB1(std::exp)),
    OP_FLOATS("exp2", nullptr, 1, OP_LIB1(std::exp2)),
    OP_FLOATS("ln", "log", 1, OP_LIB1(std::log)),
    OP_FLOATS("log2", nullptr, 1, OP_LIB1(std::log2)),
    OP_FLOATS("log10", nullptr, 1, OP_LIB1(std::log10)),
    OP_FLOATS("atan2", nullptr, 2, OP_LIB2(std::atan2)),
    OP_FLOATS("hypot", nullptr, 2, OP_LIB2(std::hypot)),
    OP_FLOATS("pow", nullptr, 2, OP_LIB2(std::pow)),
    OP_FLOATS("sqrt", nullptr, 1, OP_REAL(std::sqrt(a))),
    OP_FLOATS("ceil", nullptr, 1, OP_REAL(std::ceil(a))),
    OP_FLOATS("floor", nullptr, 1, OP_REAL(std::floor(a))),
    OP_FLOATS("round", nullptr, 1, OP_REAL(std::round(a))),
    OP_FLOATS("trunc", nullptr, 1, OP_REAL(std::trunc(a))),
};

#undef OP_INT
#undef OP_REAL
#undef OP_LIB1
#undef OP_LIB2
#undef OP_EVERY
#undef OP_INTEGERS
#undef OP_FLOATS
#undef OP_TRUTH
#undef OP_GATE

} // namespace op_rules

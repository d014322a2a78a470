// The cell operators, one row each, and what a kernel file hands out for them. All
// that lists operators (registry, attribute menu, help, tests, benchmarks) is made
// from these rows. To add an operator is to add a row here and its body in
// vok.op.bodies.h.
#pragma once
#include <vokra/op.h>

// X(body, word, sign, inputs, domain, help)
//   body    the type in vok.op.bodies.h
//   word    the registry's word, and `sign` a second one for the same, or ""
//   inputs  1 or 2
//   domain  the element types that it means something for: every, signed_types, integers
//           or floats; for the others the first input is passed
//   help    one sentence; a is the first input's element, b the second's
// The order is that of the menu of the attribute "op".
#define VOKRA_OPERATORS(X)                                                                                        \
    X(mult, "mult", "*", 2, every, "a times b; char: the product divided by 256")                                 \
    X(quotient, "div", "/", 2, every, "a divided by b, 0 where b is 0; integers truncate")                        \
    X(add, "add", "+", 2, every, "a plus b; char: at most 255")                                                   \
    X(sub, "sub", "-", 2, every, "a minus b; char: at least 0")                                                   \
    X(flip<quotient>, "flipdiv", "!/", 2, every, "b divided by a, 0 where a is 0; integers truncate")             \
    X(flip<sub>, "flipsub", "!-", 2, every, "b minus a; char: at least 0")                                        \
    X(addmod, "addmod", "+m", 2, every, "a plus b; char: modulo 256")                                             \
    X(submod, "submod", "-m", 2, every, "a minus b; char: modulo 256")                                            \
    X(remainder, "mod", "%", 2, every, "remainder of a by b; where b is 0: a for integers, 0 for floats")         \
    X(flip<remainder>, "flipmod", "!%", 2, every,                                                                 \
      "remainder of b by a; where a is 0: b for integers, 0 for floats")                                          \
    X(smaller, "min", "", 2, every, "the smaller of a and b")                                                     \
    X(larger, "max", "", 2, every, "the larger of a and b")                                                       \
    X(average, "avg", "", 2, every, "half the sum of a and b; integers round down")                               \
    X(magnitude, "abs", "", 1, signed_types, "a without its sign")                                                \
    X(absdiff, "absdiff", "", 2, every, "the magnitude of a minus b")                                             \
    X(pass, "pass", "", 1, every, "a")                                                                            \
    X(flip<pass>, "flippass", "!pass", 2, every, "b")                                                             \
    X(fold, "fold", "", 2, floats, "a reflected into 0 to b")                                                     \
    X(wrap, "wrap", "", 2, floats, "a wrapped into 0 to b, b excluded")                                           \
    X(bits_and, "bitand", "&", 2, integers, "the bits set in both a and b")                                       \
    X(bits_or, "bitor", "|", 2, integers, "the bits set in a or b")                                               \
    X(bits_xor, "bitxor", "^", 2, integers, "the bits set in one of a and b")                                     \
    X(bits_not, "bitnot", "~", 1, integers, "the complement of a")                                                \
    X(shift_right, "rshift", ">>", 2, integers, "a shifted right by b bits, long with its sign")                  \
    X(shift_left, "lshift", "<<", 2, integers, "a shifted left by b bits")                                        \
    X(truth<both>, "and", "&&", 2, every, "true where a and b are both non-zero")                                 \
    X(truth<either>, "or", "||", 2, every, "true where a or b is non-zero")                                       \
    X(negation, "not", "!", 1, every, "true where a is 0")                                                        \
    X(truth<greater>, "gt", ">", 2, every, "true where a is above b")                                             \
    X(truth<less>, "lt", "<", 2, every, "true where a is below b")                                                \
    X(truth<greater_equal>, "gte", ">=", 2, every, "true where a is at or above b")                               \
    X(truth<less_equal>, "lte", "<=", 2, every, "true where a is at or below b")                                  \
    X(truth<equal>, "eq", "==", 2, every, "true where a equals b")                                                \
    X(truth<unequal>, "neq", "!=", 2, every, "true where a differs from b")                                       \
    X(gate<greater>, "gtp", ">p", 2, every, "a where it is above b, else 0")                                      \
    X(gate<less>, "ltp", "<p", 2, every, "a where it is below b, else 0")                                         \
    X(gate<greater_equal>, "gtep", ">=p", 2, every, "a where it is at or above b, else 0")                        \
    X(gate<less_equal>, "ltep", "<=p", 2, every, "a where it is at or below b, else 0")                           \
    X(gate<equal>, "eqp", "==p", 2, every, "a where it equals b, else 0")                                         \
    X(gate<unequal>, "neqp", "!=p", 2, every, "a where it differs from b, else 0")                                \
    X(sine, "sin", "", 1, floats, "the sine of a")                                                                \
    X(cosine, "cos", "", 1, floats, "the cosine of a")                                                            \
    X(tangent, "tan", "", 1, floats, "the tangent of a")                                                          \
    X(arcsine, "asin", "", 1, floats, "the arc sine of a")                                                        \
    X(arccosine, "acos", "", 1, floats, "the arc cosine of a")                                                    \
    X(arctangent, "atan", "", 1, floats, "the arc tangent of a")                                                  \
    X(arctangent2, "atan2", "", 2, floats, "the angle of the point with y = a and x = b")                         \
    X(hyperbolic_sine, "sinh", "", 1, floats, "the hyperbolic sine of a")                                         \
    X(hyperbolic_cosine, "cosh", "", 1, floats, "the hyperbolic cosine of a")                                     \
    X(hyperbolic_tangent, "tanh", "", 1, floats, "the hyperbolic tangent of a")                                   \
    X(area_sine, "asinh", "", 1, floats, "the inverse hyperbolic sine of a")                                      \
    X(area_cosine, "acosh", "", 1, floats, "the inverse hyperbolic cosine of a")                                  \
    X(area_tangent, "atanh", "", 1, floats, "the inverse hyperbolic tangent of a")                                \
    X(exponential, "exp", "", 1, floats, "e to the power of a")                                                   \
    X(exponential2, "exp2", "", 1, floats, "2 to the power of a")                                                 \
    X(logarithm, "ln", "log", 1, floats, "the natural logarithm of a")                                            \
    X(logarithm2, "log2", "", 1, floats, "the logarithm of a to base 2")                                          \
    X(logarithm10, "log10", "", 1, floats, "the logarithm of a to base 10")                                       \
    X(hypotenuse, "hypot", "", 2, floats, "the length of the vector (a, b)")                                      \
    X(power, "pow", "", 2, floats, "a to the power of b")                                                         \
    X(root, "sqrt", "", 1, floats, "the square root of a")                                                        \
    X(ceiling, "ceil", "", 1, floats, "the integer at or above a")                                                \
    X(flooring, "floor", "", 1, floats, "the integer at or below a")                                              \
    X(rounding, "round", "", 1, floats, "the integer nearest to a, halves away from zero")                        \
    X(truncation, "trunc", "", 1, floats, "the integer next to a towards zero")

namespace vok::op {

enum domain { every, signed_types, integers, floats };

// Element types in the order of vok_op_fn's functions.
enum { type_char, type_long, type_float32, type_float64, type_count };

#define VOKRA_OP_COUNT(...) +1
inline constexpr int operator_count = 0 VOKRA_OPERATORS(VOKRA_OP_COUNT);
#undef VOKRA_OP_COUNT

// What a kernel file hands out for one instruction set.
struct kernel_table {
    // In the order of the rows. Null where the operator means nothing for the type.
    vok_op_vector_fn fn[operator_count][type_count];
    // Whether an element takes so long that it doesn't pay to calculate those that aren't wanted.
    bool dear[operator_count][type_count];
    // Whether it is a function of the mathematics library, however many are calculated at a time.
    bool library[operator_count];
    // Repeats cells of `from` planes as cells of `to` planes, element p being that of plane p % from.
    // Blocks don't overlap.
    void (*spread[type_count])(long cells, const void *in, long from, void *out, long to);
    // Takes the bits of `in` that are set in a mask, which repeats every `period` bytes, a multiple of
    // 64. Works on whole periods, so all blocks have room for them.
    void (*blend)(long bytes, const unsigned char *mask, long period, const unsigned char *in, unsigned char *out);
};

} // namespace vok::op

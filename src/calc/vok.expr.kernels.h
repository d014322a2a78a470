// Kernels that only expressions have: two operators at once, which saves a pass over the
// cache, and single planes of interleaved cells. Filled once per instruction set by
// vok.expr.kernels.cpp; the rest of what a block needs comes from the tables of the
// operators and of the copies.
#pragma once
#include "calc/vok.op.table.h"

namespace vok::expr {

// out = second(first(a, b), c), or second(c, first(a, b)); strides are 0 or 1, not both of a
// and b 0. The output may be an operand.
using pair_function = void(long n, const vok_op_vector_arg *a, const vok_op_vector_arg *b,
                           const vok_op_vector_arg *c, void *out);

// The operators that go in pairs.
enum { pair_mult, pair_add, pair_sub, pair_words };
inline constexpr const char *pair_word[pair_words] = {"mult", "add", "sub"};

struct kernel_table {
    // for float32 and float64; the last index: whether c comes first
    pair_function *pair[2][pair_words][pair_words][2];
    // Every fourth byte, and into every fourth byte.
    void (*take_of_four)(unsigned char *to, const unsigned char *from, long n);
    void (*put_in_four)(unsigned char *to, const unsigned char *from, long n);
};

// Null without an instruction set to speak of.
const kernel_table *kernels();

} // namespace vok::expr

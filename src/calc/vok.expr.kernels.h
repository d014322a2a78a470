// Kernels that only expressions have: up to three operators at once, which saves passes
// over the cache, and single planes of interleaved cells. Filled once per instruction set
// by vok.expr.kernels.cpp; the rest of what a block needs comes from the tables of the
// operators and of the copies.
#pragma once
#include "calc/vok.op.table.h"

namespace vok::expr {

// out = outer(left(a, b), right(c, d)), element by element; strides are 0 or 1. The output may
// be an operand.
using chain_function = void(long n, const vok_op_vector_arg *a, const vok_op_vector_arg *b,
                            const vok_op_vector_arg *c, const vok_op_vector_arg *d, void *out);

// The operators that go in chains. In the place of the left or the right one pass may stand,
// which leaves a, or c, as it is.
enum { chain_mult, chain_add, chain_sub, chain_words, chain_pass = chain_words };
inline constexpr const char *chain_word[chain_words] = {"mult", "add", "sub"};

struct kernel_table {
    // for float32 and float64, by left, right and outer
    chain_function *chain[2][chain_words + 1][chain_words + 1][chain_words];
    // Every fourth byte, and into every fourth byte.
    void (*take_of_four)(unsigned char *to, const unsigned char *from, long n);
    void (*put_in_four)(unsigned char *to, const unsigned char *from, long n);
};

// Null without an instruction set to speak of.
const kernel_table *kernels();

} // namespace vok::expr

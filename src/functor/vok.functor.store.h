// What the store kernels hand out: how a run of values goes into one plane of a row.
#pragma once
#include <cstdint>

namespace vok::functor {

enum { precision_fixed, precision_float32, precision_float64, precision_count };
enum { out_char, out_long, out_float32, out_float64, out_count };

// n values of one precision times `weight`, of the same, into elements `stride` apart.
// `shift` brings products of fixed values down.
using store_fn = void (*)(long n, const void *values, const void *weight, int shift, void *out, long stride);

struct store_table {
    store_fn fn[precision_count][out_count];
};

} // namespace vok::functor
